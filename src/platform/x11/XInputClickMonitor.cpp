#include "platform/x11/XInputClickMonitor.h"

#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace trovix {

XInputClickMonitor::XInputClickMonitor(QObject* parent)
    : QObject(parent) {
    if (!m_input.isOpen()) {
        m_error = m_input.error();
        return;
    }
    readButtonMapping();
    // Raw events of the master pointers: one per press, whichever physical device made it.
    if (!m_input.listen(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS,
                        [this](xcb_generic_event_t* event) { handle(event); }))
        m_error = m_input.error();
}

XInputClickMonitor::~XInputClickMonitor() = default;

void XInputClickMonitor::readButtonMapping() {
    // Raw events carry the physical button; a left-handed mapping makes button 3 the left one.
    auto reply = ownReply(xcb_get_pointer_mapping_reply(
        m_input.connection(), xcb_get_pointer_mapping(m_input.connection()), nullptr));
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
    std::uint32_t window = m_input.root();
    for (int depth = 0; depth < 6; ++depth) {
        auto reply = ownReply(xcb_query_pointer_reply(
            m_input.connection(), xcb_query_pointer(m_input.connection(), window), nullptr));
        if (!reply)
            return;
        if (depth == 0)
            position = QPoint(reply->root_x, reply->root_y);
        if (reply->child == XCB_WINDOW_NONE)
            break;
        if (m_input.isOwn(reply->child))
            return; // one of ours: a click the user makes on Trovix itself
        window = reply->child;
    }
    QMetaObject::invokeMethod(
        this, [this, position] { Q_EMIT leftButtonPressed(position); }, Qt::QueuedConnection);
}

void XInputClickMonitor::handle(xcb_generic_event_t* event) {
    const std::uint8_t type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        if (reinterpret_cast<xcb_mapping_notify_event_t*>(event)->request == XCB_MAPPING_POINTER)
            readButtonMapping();
        return;
    }
    if (type != XCB_GE_GENERIC)
        return;
    const auto* generic = reinterpret_cast<xcb_ge_generic_event_t*>(event);
    if (generic->extension != m_input.opcode() || generic->event_type != XCB_INPUT_RAW_BUTTON_PRESS)
        return;
    std::uint32_t button = reinterpret_cast<xcb_input_raw_button_press_event_t*>(event)->detail;
    if (button >= 1 && button <= std::uint32_t(m_buttonMap.size()))
        button = std::uint8_t(m_buttonMap.at(int(button - 1)));
    if (button == 1)
        pressed();
}

} // namespace trovix
