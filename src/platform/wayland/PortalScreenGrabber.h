#pragma once

#include "platform/ScreenGrabber.h"

#include <QDBusConnection>
#include <QMutex>

#include <memory>

namespace trovix {

class PortalInterfaces;

// Takes stills through the desktop's screenshot portal, the sanctioned way for a Wayland client to
// see the screen: one picture of the whole layout of outputs per request, cut into the rectangles
// asked for. The desktop may ask the user first; a refusal, or a desktop without the portal, fails
// with Error::Code::permissionDenied.
class PortalScreenGrabber : public ScreenGrabber {
public:
    PortalScreenGrabber(const QDBusConnection& bus, std::shared_ptr<PortalInterfaces> interfaces);
    ~PortalScreenGrabber() override;

    // Granted when the portal offers screenshots; otherwise the user has to see to it (needsGrant).
    Access access() const override;
    QString unavailableReason() const override { return {}; }
    QImage grab(const QRect& rect) override;
    QList<QImage> grabAll(const QList<QRect>& rects) override;
    // The compositor owns every window, and may not minimize any (sway does not): windows leave the
    // screen by being unmapped.
    bool hasWindowManager() const override { return false; }
    void unmapWindow(WId window) override;
    void mapWindow(WId window) override;
    void whenSettled(const QList<QWindow*>& leaving, QObject* context, std::function<void()> done) override;

    // How long a request may wait for the portal (the desktop may be asking the user).
    static constexpr int timeoutMs = 30000;

protected:
    // The whole layout as the portal shows it, in the outputs' largest scale. Throws Error.
    virtual QImage desktop();
    QList<QRect> screenFrames() const;

private:
    QDBusConnection m_bus;
    std::shared_ptr<PortalInterfaces> m_interfaces;
    std::unique_ptr<QObject> m_watcher; // keeps m_frames current, on the main thread
    mutable QMutex m_mutex;
    // One request at a time: GNOME's backend refuses a second while the first runs.
    QMutex m_requestMutex;
    QList<QRect> m_frames; // the screens' geometries, as Qt reports them
};

} // namespace trovix
