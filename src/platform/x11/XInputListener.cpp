#include "platform/x11/XInputListener.h"

#include <QGuiApplication>

#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <cstdlib>
#include <memory>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace trovix {

XInputListener::XInputListener() {
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
    const auto version = ownReply(
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
}

XInputListener::~XInputListener() {
    stop();
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
    if (m_connection)
        xcb_disconnect(m_connection);
}

void XInputListener::stop() {
    if (!m_thread.joinable())
        return;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
    m_thread.join();
}

bool XInputListener::listen(std::uint32_t mask, Handler handler) {
    if (!isOpen() || isListening())
        return false;
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, mask};
    xcb_input_xi_select_events(m_connection, m_root, 1, &selection.head);
    xcb_flush(m_connection);
    m_wakeFd = eventfd(0, EFD_CLOEXEC);
    if (m_wakeFd < 0) {
        m_error = tr("The input monitor cannot make its wake-up descriptor.");
        return false;
    }
    m_handler = std::move(handler);
    m_thread = std::thread([this] { run(); });
    return true;
}

void XInputListener::run() {
    pollfd fds[2] = {{xcb_get_file_descriptor(m_connection), POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
    for (;;) {
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
            m_handler(event);
            std::free(event);
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
