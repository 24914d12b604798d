#include "platform/x11/X11ScreenGrabber.h"

#include "document/Error.h"
#include "platform/x11/X11Withdrawal.h"
#include "platform/x11/XcbReply.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace trovix {

namespace {

// How long the screen must stay unchanged before the programs underneath count as repainted (a bit
// more than one frame at 60 Hz, the longest a toolkit defers a repaint to its next frame), and the
// longest the wait may take when something keeps drawing (a clock, a video).
constexpr int quietMs = 20;
constexpr int capMs = 600;
constexpr int pollMs = 2;

Error grabError(const QRect& rect, const QString& why) {
    return Error(Error::Code::noDisplay,
                 QCoreApplication::translate("trovix::X11ScreenGrabber",
                                             "Trovix couldn’t capture the screen area %1 × %2 "
                                             "at (%3, %4): %5")
                     .arg(rect.width())
                     .arg(rect.height())
                     .arg(rect.x())
                     .arg(rect.y())
                     .arg(why));
}

bool directFormat(const xcb_setup_t* setup, int depth) {
    if (depth != 24 && depth != 32)
        return false;
    if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST)
        return false;
    for (auto it = xcb_setup_pixmap_formats_iterator(setup); it.rem; xcb_format_next(&it)) {
        if (it.data->depth == depth)
            return it.data->bits_per_pixel == 32;
    }
    return false;
}

} // namespace

// Shared-memory segments attached to the server, lent to images and taken back when the image is
// gone. Lent and returned from any thread; the release of idle segments runs on the main thread.
class X11ScreenGrabber::SegmentPool : public std::enable_shared_from_this<SegmentPool> {
public:
    struct Segment {
        int id = -1;
        void* address = nullptr;
        size_t size = 0;
        xcb_shm_seg_t seg = 0;
    };

    explicit SegmentPool(xcb_connection_t* conn)
        : m_conn(conn) {
        m_trim.setSingleShot(true);
        m_trim.setInterval(idleMs);
        QObject::connect(&m_trim, &QTimer::timeout, [this] { trim(); });
    }

    ~SegmentPool() { trim(); }

    // A segment of at least `size` bytes, attached to the server; nullopt when none can be made.
    std::optional<Segment> lend(size_t size) {
        {
            std::lock_guard lock(m_mutex);
            for (auto it = m_idle.begin(); it != m_idle.end(); ++it) {
                if (it->size >= size) {
                    Segment segment = *it;
                    m_idle.erase(it);
                    return segment;
                }
            }
        }
        Segment segment;
        segment.size = size;
        segment.id = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
        if (segment.id < 0)
            return std::nullopt;
        segment.address = shmat(segment.id, nullptr, 0);
        if (segment.address == reinterpret_cast<void*>(-1)) {
            shmctl(segment.id, IPC_RMID, nullptr);
            return std::nullopt;
        }
        segment.seg = xcb_generate_id(m_conn);
        Reply<xcb_generic_error_t> error(
            xcb_request_check(m_conn, xcb_shm_attach_checked(m_conn, segment.seg, quint32(segment.id), 0)));
        // Marked for removal now: the kernel frees it once both sides have detached, even after a crash.
        shmctl(segment.id, IPC_RMID, nullptr);
        if (error) {
            shmdt(segment.address);
            return std::nullopt;
        }
        return segment;
    }

    // Takes a segment back after its image is gone; keeps a few for the next grabs.
    void giveBack(const Segment& segment) {
        bool kept = false;
        {
            std::lock_guard lock(m_mutex);
            if (m_open && m_idle.size() < maxIdle) {
                m_idle.push_back(segment);
                kept = true;
            }
        }
        if (!kept)
            release(segment);
        else
            QMetaObject::invokeMethod(&m_trim, qOverload<>(&QTimer::start), Qt::QueuedConnection);
    }

    // The connection is closing: the server detaches everything itself then.
    void close() {
        trim();
        std::lock_guard lock(m_mutex);
        m_open = false;
    }

private:
    static constexpr size_t maxIdle = 2; // one per screen of a two-screen desk
    static constexpr int idleMs = 20000;

    void trim() {
        std::vector<Segment> idle;
        {
            std::lock_guard lock(m_mutex);
            idle.swap(m_idle);
        }
        for (const Segment& segment : idle)
            release(segment);
    }

    void release(const Segment& segment) {
        bool open;
        {
            std::lock_guard lock(m_mutex);
            open = m_open;
        }
        if (open) {
            xcb_shm_detach(m_conn, segment.seg);
            xcb_flush(m_conn);
        }
        shmdt(segment.address);
    }

    xcb_connection_t* m_conn;
    std::mutex m_mutex;
    std::vector<Segment> m_idle;
    bool m_open = true;
    QTimer m_trim;
};

std::unique_ptr<X11ScreenGrabber> X11ScreenGrabber::create(xcb_connection_t* qtConnection) {
    int screen = 0;
    xcb_connection_t* conn = xcb_connect(nullptr, &screen);
    if (!conn || xcb_connection_has_error(conn)) {
        if (conn)
            xcb_disconnect(conn);
        return nullptr;
    }
    auto it = xcb_setup_roots_iterator(xcb_get_setup(conn));
    for (int i = 0; i < screen && it.rem; ++i)
        xcb_screen_next(&it);
    if (!it.rem) {
        xcb_disconnect(conn);
        return nullptr;
    }
    return std::unique_ptr<X11ScreenGrabber>(
        new X11ScreenGrabber(qtConnection, conn, it.data->root, it.data->root_depth));
}

X11ScreenGrabber::X11ScreenGrabber(xcb_connection_t* qtConnection, xcb_connection_t* own, quint32 root,
                                   int depth)
    : m_qt(qtConnection)
    , m_conn(own)
    , m_root(root)
    , m_depth(depth)
    , m_withdrawal(std::make_unique<X11Withdrawal>(qtConnection, root)) {
    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(m_conn, &xcb_shm_id);
    if (shm && shm->present && directFormat(xcb_get_setup(m_conn), m_depth)) {
        Reply<xcb_shm_query_version_reply_t> version(
            xcb_shm_query_version_reply(m_conn, xcb_shm_query_version(m_conn), nullptr));
        m_shm = version != nullptr;
    }
    m_pool = std::make_shared<SegmentPool>(m_conn);
    const xcb_query_extension_reply_t* damage = xcb_get_extension_data(m_conn, &xcb_damage_id);
    if (damage && damage->present) {
        Reply<xcb_damage_query_version_reply_t> version(xcb_damage_query_version_reply(
            m_conn, xcb_damage_query_version(m_conn, XCB_DAMAGE_MAJOR_VERSION, XCB_DAMAGE_MINOR_VERSION),
            nullptr));
        m_damage = version != nullptr;
        m_damageEvent = damage->first_event + XCB_DAMAGE_NOTIFY;
    }
}

X11ScreenGrabber::~X11ScreenGrabber() {
    m_pool->close();
    xcb_disconnect(m_conn);
}

QImage X11ScreenGrabber::grab(const QRect& rect) {
    std::lock_guard lock(m_mutex);
    if (xcb_connection_has_error(m_conn))
        throw grabError(rect, QCoreApplication::translate("trovix::X11ScreenGrabber",
                                                          "the connection to the X display was lost."));
    Reply<xcb_get_geometry_reply_t> root(
        xcb_get_geometry_reply(m_conn, xcb_get_geometry(m_conn, m_root), nullptr));
    if (!root)
        throw grabError(
            rect, QCoreApplication::translate("trovix::X11ScreenGrabber", "the X display did not answer."));
    if (rect.isEmpty() || !QRect(0, 0, root->width, root->height).contains(rect))
        throw grabError(rect, QCoreApplication::translate("trovix::X11ScreenGrabber",
                                                          "that screen is no longer connected."));
    if (m_shm) {
        QImage image = grabShared(rect);
        if (!image.isNull())
            return image;
    }
    return grabCopied(rect);
}

// Null when shared memory cannot be used after all (no segment could be made or attached, as when
// the server runs on another machine); the caller then copies over the socket instead.
QImage X11ScreenGrabber::grabShared(const QRect& rect) {
    const qsizetype bytesPerLine = qsizetype(rect.width()) * 4;
    const std::optional<SegmentPool::Segment> segment = m_pool->lend(size_t(bytesPerLine) * rect.height());
    if (!segment) {
        m_shm = false;
        return {};
    }
    xcb_generic_error_t* rawError = nullptr;
    Reply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
        m_conn,
        xcb_shm_get_image(m_conn, m_root, qint16(rect.x()), qint16(rect.y()), quint16(rect.width()),
                          quint16(rect.height()), ~0u, XCB_IMAGE_FORMAT_Z_PIXMAP, segment->seg, 0),
        &rawError));
    Reply<xcb_generic_error_t> error(rawError);
    if (!reply || error) {
        m_pool->giveBack(*segment);
        throw grabError(rect,
                        QCoreApplication::translate("trovix::X11ScreenGrabber",
                                                    "the X server refused the image request (error %1).")
                            .arg(error ? error->error_code : 0));
    }
    // The image uses the segment until its last copy goes; then the pool has it back.
    struct Lease {
        std::shared_ptr<SegmentPool> pool;
        SegmentPool::Segment segment;
    };
    auto* lease = new Lease{m_pool, *segment};
    return QImage(
        static_cast<uchar*>(segment->address), rect.width(), rect.height(), bytesPerLine,
        QImage::Format_RGB32,
        [](void* info) {
            auto* lease = static_cast<Lease*>(info);
            lease->pool->giveBack(lease->segment);
            delete lease;
        },
        lease);
}

QImage X11ScreenGrabber::grabCopied(const QRect& rect) {
    xcb_generic_error_t* rawError = nullptr;
    Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        m_conn,
        xcb_get_image(m_conn, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, qint16(rect.x()), qint16(rect.y()),
                      quint16(rect.width()), quint16(rect.height()), ~0u),
        &rawError));
    Reply<xcb_generic_error_t> error(rawError);
    if (!reply || error)
        throw grabError(rect,
                        QCoreApplication::translate("trovix::X11ScreenGrabber",
                                                    "the X server refused the image request (error %1).")
                            .arg(error ? error->error_code : 0));
    const uchar* data = xcb_get_image_data(reply.get());
    const qsizetype length = xcb_get_image_data_length(reply.get());
    const qsizetype sourceLine = length / rect.height();
    QImage::Format format = QImage::Format_Invalid;
    int bytesPerPixel = 0;
    if (directFormat(xcb_get_setup(m_conn), reply->depth)) {
        format = QImage::Format_RGB32;
        bytesPerPixel = 4;
    } else if (reply->depth == 16 && xcb_get_setup(m_conn)->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST) {
        format = QImage::Format_RGB16;
        bytesPerPixel = 2;
    }
    if (format == QImage::Format_Invalid || sourceLine < qsizetype(rect.width()) * bytesPerPixel)
        throw grabError(rect,
                        QCoreApplication::translate("trovix::X11ScreenGrabber",
                                                    "the screen’s pixel format (depth %1) is not supported.")
                            .arg(reply->depth));
    QImage image(rect.size(), format);
    if (image.isNull())
        throw grabError(rect, QCoreApplication::translate("trovix::X11ScreenGrabber",
                                                          "there is not enough memory for the image."));
    for (int y = 0; y < rect.height(); ++y)
        std::memcpy(image.scanLine(y), data + y * sourceLine, size_t(rect.width()) * bytesPerPixel);
    return format == QImage::Format_RGB32 ? image : image.convertToFormat(QImage::Format_RGB32);
}

bool X11ScreenGrabber::hasWindowManager() const {
    static const char name[] = "_NET_SUPPORTING_WM_CHECK";
    Reply<xcb_intern_atom_reply_t> atom(
        xcb_intern_atom_reply(m_conn, xcb_intern_atom(m_conn, 1, sizeof name - 1, name), nullptr));
    if (!atom || atom->atom == XCB_ATOM_NONE)
        return false;
    Reply<xcb_get_property_reply_t> property(xcb_get_property_reply(
        m_conn, xcb_get_property(m_conn, 0, m_root, atom->atom, XCB_ATOM_WINDOW, 0, 1), nullptr));
    if (!property || xcb_get_property_value_length(property.get()) != 4)
        return false;
    const xcb_window_t check = *static_cast<const xcb_window_t*>(xcb_get_property_value(property.get()));
    // A window manager that died leaves the property behind, naming a window that no longer exists.
    Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(m_conn, xcb_get_window_attributes(m_conn, check), nullptr));
    return attributes != nullptr;
}

void X11ScreenGrabber::unmapWindow(WId window) {
    xcb_unmap_window(m_qt, xcb_window_t(window));
    xcb_flush(m_qt);
}

void X11ScreenGrabber::mapWindow(WId window) {
    xcb_map_window(m_qt, xcb_window_t(window));
    xcb_flush(m_qt);
}

void X11ScreenGrabber::withdrawWindow(WId window) {
    m_withdrawal->withdraw(std::uint32_t(window));
}

void X11ScreenGrabber::returnWindows(const QList<WId>& windows, bool minimized) {
    QList<std::uint32_t> ids;
    for (WId window : windows)
        ids.append(std::uint32_t(window));
    m_withdrawal->putBack(ids, minimized);
}

// Watches two things until the screen is settled: the leaving windows' top-level ancestors (the
// window manager's frames, which it may animate towards the taskbar before unmapping them) until
// none is viewable, and the root window's damage (every drawing on the screen reports there) until
// nothing has been drawn for quietMs, so the programs underneath have repainted what was uncovered.
// Polled on a short timer: the private connection's socket is also read by grabbing threads, so a
// socket notifier could miss events.
class X11ScreenGrabber::Settler : public QObject {
public:
    Settler(X11ScreenGrabber& grabber, const QList<QWindow*>& leaving, QObject* context,
            std::function<void()> done)
        : QObject(context)
        , m_grabber(grabber)
        , m_done(std::move(done)) {
        xcb_flush(m_grabber.m_qt);
        for (QWindow* window : leaving)
            m_frames.append(topLevelAncestor(xcb_window_t(window->winId())));
        if (m_grabber.m_damage) {
            m_damage = xcb_generate_id(m_grabber.m_conn);
            xcb_damage_create(m_grabber.m_conn, m_damage, m_grabber.m_root,
                              XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
            xcb_flush(m_grabber.m_conn);
        }
        m_clock.start();
        m_timer.setInterval(pollMs);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] { poll(); });
        m_timer.start();
    }

    ~Settler() override {
        if (m_damage) {
            xcb_damage_destroy(m_grabber.m_conn, m_damage);
            xcb_flush(m_grabber.m_conn);
        }
    }

private:
    xcb_window_t topLevelAncestor(xcb_window_t window) const {
        xcb_connection_t* conn = m_grabber.m_conn;
        for (int depth = 0; depth < 16; ++depth) {
            Reply<xcb_query_tree_reply_t> tree(
                xcb_query_tree_reply(conn, xcb_query_tree(conn, window), nullptr));
            if (!tree || tree->parent == tree->root || tree->parent == XCB_WINDOW_NONE)
                break;
            window = tree->parent;
        }
        return window;
    }

    bool viewable(xcb_window_t window) const {
        Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
            m_grabber.m_conn, xcb_get_window_attributes(m_grabber.m_conn, window), nullptr));
        return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    }

    void poll() {
        const qint64 now = m_clock.elapsed();
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_grabber.m_conn)) {
            if (m_damage && (event->response_type & 0x7f) == m_grabber.m_damageEvent) {
                m_lastChange = now;
                xcb_damage_subtract(m_grabber.m_conn, m_damage, XCB_NONE, XCB_NONE);
            }
            std::free(event);
        }
        xcb_flush(m_grabber.m_conn);
        if (m_goneAt < 0) {
            bool gone = true;
            for (xcb_window_t frame : std::as_const(m_frames))
                gone = gone && !viewable(frame);
            if (gone)
                m_goneAt = now;
        }
        // Without the damage extension there is nothing to watch: the quiet time alone must do.
        const bool quiet = m_goneAt >= 0 && now - std::max(m_goneAt, m_lastChange) >= quietMs;
        if (quiet || now >= capMs) {
            m_timer.stop();
            auto done = std::move(m_done);
            deleteLater();
            done();
        }
    }

    X11ScreenGrabber& m_grabber;
    std::function<void()> m_done;
    QList<xcb_window_t> m_frames;
    quint32 m_damage = 0;
    QElapsedTimer m_clock;
    QTimer m_timer;
    qint64 m_goneAt = -1;
    qint64 m_lastChange = 0;
};

void X11ScreenGrabber::whenSettled(const QList<QWindow*>& leaving, QObject* context,
                                   std::function<void()> done) {
    new Settler(*this, leaving, context, std::move(done));
}

} // namespace trovix
