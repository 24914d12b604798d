#include "platform/x11/XInputClickMonitor.h"

#include <QGuiApplication>

#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <cstdlib>
#include <memory>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace trovix {

namespace {

template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> own(Reply* reply) {
    return {reply, &std::free};
}

} // namespace

XInputClickMonitor::XInputClickMonitor(QObject* parent)
    : QObject(parent) {
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        m_error = tr("The X display cannot be opened.");
        return;
    }
    m_connection = connection;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    if (!screens.rem) {
        m_error = tr("The X display has no screen %1.").arg(screenNumber);
        return;
    }
    m_root = screens.data->root;

    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_input_id);
    if (!extension || !extension->present) {
        m_error = tr("The X server lacks the XInput extension.");
        return;
    }
    m_opcode = extension->major_opcode;
    auto version = own(
        xcb_input_xi_query_version_reply(connection, xcb_input_xi_query_version(connection, 2, 1), nullptr));
    if (!version || version->major_version < 2 ||
        (version->major_version == 2 && version->minor_version < 1)) {
        m_error = tr("The X server lacks XInput 2.1.");
        return;
    }

    if (auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr) {
        const xcb_setup_t* setup = xcb_get_setup(x11->connection());
        m_ownBase = setup->resource_id_base;
        m_ownMask = setup->resource_id_mask;
    }

    // Raw events of the master pointers: one per press, whichever physical device made it.
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS};
    xcb_input_xi_select_events(connection, m_root, 1, &selection.head);
    readButtonMapping();
    xcb_flush(connection);

    m_wakeFd = eventfd(0, EFD_CLOEXEC);
    if (m_wakeFd < 0) {
        m_error = tr("The click monitor cannot make its wake-up descriptor.");
        return;
    }
    m_thread = std::thread([this] { run(); });
}

XInputClickMonitor::~XInputClickMonitor() {
    if (m_thread.joinable()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
        m_thread.join();
    }
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
    if (m_connection)
        xcb_disconnect(m_connection);
}

void XInputClickMonitor::readButtonMapping() {
    // Raw events carry the physical button; a left-handed mapping makes button 3 the left one.
    auto reply =
        own(xcb_get_pointer_mapping_reply(m_connection, xcb_get_pointer_mapping(m_connection), nullptr));
    if (!reply)
        return;
    const std::uint8_t* map = xcb_get_pointer_mapping_map(reply.get());
    m_buttonMap =
        QByteArray(reinterpret_cast<const char*>(map), xcb_get_pointer_mapping_map_length(reply.get()));
}

void XInputClickMonitor::pressed() {
    // Down from the root through the windows under the pointer (the window manager's frame, the
    // client inside it, Qt's native children) to see whose window takes the click.
    QPoint position;
    std::uint32_t window = m_root;
    for (int depth = 0; depth < 6; ++depth) {
        auto reply =
            own(xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, window), nullptr));
        if (!reply)
            return;
        if (depth == 0)
            position = QPoint(reply->root_x, reply->root_y);
        if (reply->child == XCB_WINDOW_NONE)
            break;
        if (m_ownMask && (reply->child & ~m_ownMask) == m_ownBase)
            return; // one of ours: a click the user makes on Trovix itself
        window = reply->child;
    }
    QMetaObject::invokeMethod(
        this, [this, position] { Q_EMIT leftButtonPressed(position); }, Qt::QueuedConnection);
}

void XInputClickMonitor::run() {
    pollfd fds[2] = {{xcb_get_file_descriptor(m_connection), POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
    for (;;) {
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
            const auto owned = own(event);
            const std::uint8_t type = event->response_type & 0x7f;
            if (type == XCB_MAPPING_NOTIFY) {
                if (reinterpret_cast<xcb_mapping_notify_event_t*>(event)->request == XCB_MAPPING_POINTER)
                    readButtonMapping();
                continue;
            }
            if (type != XCB_GE_GENERIC)
                continue;
            const auto* generic = reinterpret_cast<xcb_ge_generic_event_t*>(event);
            if (generic->extension != m_opcode || generic->event_type != XCB_INPUT_RAW_BUTTON_PRESS)
                continue;
            std::uint32_t button = reinterpret_cast<xcb_input_raw_button_press_event_t*>(event)->detail;
            if (button >= 1 && button <= std::uint32_t(m_buttonMap.size()))
                button = std::uint8_t(m_buttonMap.at(int(button - 1)));
            if (button == 1)
                pressed();
        }
        if (xcb_connection_has_error(m_connection))
            return;
        if (::poll(fds, 2, -1) < 0 && errno != EINTR)
            return;
        if (fds[1].revents)
            return;
    }
}

} // namespace trovix
