#pragma once

#include "platform/ScreenGrabber.h"

#include <memory>
#include <mutex>

struct xcb_connection_t;

namespace trovix {

class X11Withdrawal;

// Grabs the root window on a connection of its own, so worker threads can grab while Qt's
// connection keeps serving the event loop. With MIT-SHM the server writes the pixels straight into a
// shared segment that the returned image then uses (no copy); without it, GetImage.
//
// Segments are kept for reuse once their image is gone: the server writing into fresh pages costs
// one page fault per 4 KiB, which made a 3840×2160 grab take 110 ms instead of 15 ms. Idle segments
// are released after a while, so an idle Trovix does not hold a screenful of memory.
class X11ScreenGrabber : public ScreenGrabber {
public:
    // Null when the display cannot be opened. `qtConnection` is Qt's own, used for the requests that
    // must be ordered with Qt's (mapping and unmapping its windows).
    static std::unique_ptr<X11ScreenGrabber> create(xcb_connection_t* qtConnection);
    ~X11ScreenGrabber() override;

    Access access() const override { return Access::granted; }
    QString unavailableReason() const override { return {}; }
    QImage grab(const QRect& rect) override;
    bool hasWindowManager() const override;
    void unmapWindow(WId window) override;
    void mapWindow(WId window) override;
    void withdrawWindow(WId window) override;
    void returnWindows(const QList<WId>& windows, bool minimized) override;
    void whenSettled(const QList<QWindow*>& leaving, QObject* context, std::function<void()> done) override;

    bool usesSharedMemory() const { return m_shm; }

private:
    X11ScreenGrabber(xcb_connection_t* qtConnection, xcb_connection_t* own, quint32 root, int depth);
    QImage grabShared(const QRect& rect);
    QImage grabCopied(const QRect& rect);

    class Settler;
    class SegmentPool;

    xcb_connection_t* m_qt;
    xcb_connection_t* m_conn;
    quint32 m_root;
    int m_depth;
    bool m_shm = false;
    bool m_damage = false;
    quint8 m_damageEvent = 0;
    std::mutex m_mutex; // one grab at a time on m_conn
    std::shared_ptr<SegmentPool> m_pool;
    std::unique_ptr<X11Withdrawal> m_withdrawal; // on Qt's connection, ordered with its requests
};

} // namespace trovix
