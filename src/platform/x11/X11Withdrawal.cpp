#include "platform/x11/X11Withdrawal.h"

#include "platform/x11/XcbReply.h"

#include <xcb/xcb.h>

#include <algorithm>

namespace trovix {

namespace {

// WM_NORMAL_HINTS and WM_HINTS fields (ICCCM 4.1.2.3 and 4.1.2.4).
constexpr std::uint32_t userPosition = 1;
constexpr std::uint32_t programWinGravity = 1 << 9;
constexpr int sizeHintsLength = 18;
constexpr int sizeHintsGravity = 17;
constexpr std::uint32_t staticGravity = 10;
constexpr std::uint32_t stateHint = 1 << 1;
constexpr int wmHintsLength = 9;
constexpr std::uint32_t normalState = 1;
constexpr std::uint32_t iconicState = 3;

} // namespace

X11Withdrawal::X11Withdrawal(xcb_connection_t* connection, std::uint32_t root)
    : m_conn(connection)
    , m_root(root) {}

std::uint32_t X11Withdrawal::atom(const char* name) {
    const QByteArray key(name);
    if (const auto found = m_atoms.constFind(key); found != m_atoms.constEnd())
        return *found;
    Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        m_conn, xcb_intern_atom(m_conn, 0, std::uint16_t(key.size()), key.constData()), nullptr));
    const std::uint32_t value = reply ? reply->atom : std::uint32_t(XCB_ATOM_NONE);
    m_atoms.insert(key, value);
    return value;
}

QList<std::uint32_t> X11Withdrawal::cardinals(std::uint32_t window, std::uint32_t property, std::uint32_t type,
                                              int most) {
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        m_conn, xcb_get_property(m_conn, 0, window, property, type, 0, std::uint32_t(most)), nullptr));
    QList<std::uint32_t> values;
    if (!reply || reply->format != 32)
        return values;
    const int count = xcb_get_property_value_length(reply.get()) / 4;
    const auto* data = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    values = QList<std::uint32_t>(data, data + count);
    return values;
}

void X11Withdrawal::setCardinals(std::uint32_t window, std::uint32_t property, std::uint32_t type,
                                 const QList<std::uint32_t>& values) {
    xcb_change_property(m_conn, XCB_PROP_MODE_REPLACE, window, property, type, 32, std::uint32_t(values.size()),
                        values.constData());
}

std::uint32_t X11Withdrawal::topLevelAncestor(std::uint32_t window) {
    for (int depth = 0; depth < 16; ++depth) {
        Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_conn, xcb_query_tree(m_conn, window), nullptr));
        if (!tree || tree->parent == tree->root || tree->parent == XCB_WINDOW_NONE)
            break;
        window = tree->parent;
    }
    return window;
}

void X11Withdrawal::withdraw(std::uint32_t window) {
    Kept kept;
    Reply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
        m_conn, xcb_translate_coordinates(m_conn, window, m_root, 0, 0), nullptr));
    if (origin)
        kept.clientOrigin = QPoint(origin->dst_x, origin->dst_y);
    const QList<std::uint32_t> extents = cardinals(window, atom("_NET_FRAME_EXTENTS"), XCB_ATOM_CARDINAL, 4);
    if (extents.size() == 4)
        kept.frameOffset = QPoint(int(extents[0]), int(extents[2]));
    kept.states = cardinals(window, atom("_NET_WM_STATE"), XCB_ATOM_ATOM, 32);
    // The window manager's own states of a window it hides; it sets them again itself.
    kept.states.removeAll(atom("_NET_WM_STATE_HIDDEN"));
    kept.states.removeAll(atom("_NET_WM_STATE_FOCUSED"));
    const QList<std::uint32_t> desktop = cardinals(window, atom("_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL, 1);
    if (desktop.size() == 1)
        kept.desktop = desktop[0];
    const std::uint32_t frame = topLevelAncestor(window);
    Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_conn, xcb_query_tree(m_conn, m_root), nullptr));
    if (tree) {
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        const int count = xcb_query_tree_children_length(tree.get());
        kept.stackIndex = int(std::find(children, children + count, frame) - children);
    }
    m_kept.insert(window, kept);

    xcb_unmap_window(m_conn, window);
    // The synthetic notice tells the window manager that the window is withdrawn, not just hidden.
    xcb_unmap_notify_event_t notice{};
    notice.response_type = XCB_UNMAP_NOTIFY;
    notice.event = m_root;
    notice.window = window;
    xcb_send_event(m_conn, 0, m_root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&notice));
    xcb_flush(m_conn);
}

void X11Withdrawal::restore(std::uint32_t window, const Kept& kept, bool iconic) {
    // The window manager places a window it takes on anew; a user-specified position overrides that.
    const std::uint32_t normalHints = atom("WM_NORMAL_HINTS");
    QList<std::uint32_t> hints = cardinals(window, normalHints, atom("WM_SIZE_HINTS"), sizeHintsLength);
    hints.resize(sizeHintsLength, 0);
    const bool staticPlace = (hints[0] & programWinGravity) && hints[sizeHintsGravity] == staticGravity;
    const QPoint place = staticPlace ? kept.clientOrigin : kept.clientOrigin - kept.frameOffset;
    hints[0] |= userPosition;
    hints[1] = std::uint32_t(place.x());
    hints[2] = std::uint32_t(place.y());
    setCardinals(window, normalHints, atom("WM_SIZE_HINTS"), hints);

    QList<std::uint32_t> wmHints = cardinals(window, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, wmHintsLength);
    wmHints.resize(wmHintsLength, 0);
    wmHints[0] |= stateHint;
    wmHints[2] = iconic ? iconicState : normalState;
    setCardinals(window, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, wmHints);

    setCardinals(window, atom("_NET_WM_STATE"), XCB_ATOM_ATOM, kept.states);
    if (kept.desktop)
        setCardinals(window, atom("_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL, {*kept.desktop});
    xcb_map_window(m_conn, window);
}

void X11Withdrawal::putBack(const QList<std::uint32_t>& windows, bool iconic) {
    QList<std::pair<int, std::uint32_t>> order;
    for (std::uint32_t window : windows) {
        if (m_kept.contains(window))
            order.append({m_kept.value(window).stackIndex, window});
    }
    std::sort(order.begin(), order.end());
    for (const auto& [index, window] : std::as_const(order))
        restore(window, m_kept.take(window), iconic);
    xcb_flush(m_conn);
}

} // namespace trovix
