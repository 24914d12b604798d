#include "platform/atspi/X11Windows.h"

#include <QByteArray>
#include <QList>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace trovix {

namespace {

template <typename Reply>
using ReplyPtr = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply>
ReplyPtr<Reply> own(Reply* reply) {
    return ReplyPtr<Reply>(reply, &std::free);
}

} // namespace

X11Windows::X11Windows() {
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    if (!screens.rem) {
        xcb_disconnect(connection);
        return;
    }
    m_connection = connection;
    m_root = screens.data->root;
    m_netActiveWindow = atom("_NET_ACTIVE_WINDOW");
    m_netWmPid = atom("_NET_WM_PID");
    m_wmState = atom("WM_STATE");
    m_windowType = atom("_NET_WM_WINDOW_TYPE");
    m_typeDock = atom("_NET_WM_WINDOW_TYPE_DOCK");
    m_typeDesktop = atom("_NET_WM_WINDOW_TYPE_DESKTOP");
}

X11Windows::~X11Windows() {
    if (m_connection)
        xcb_disconnect(m_connection);
}

bool X11Windows::isConnected() const {
    return m_connection && !xcb_connection_has_error(m_connection);
}

std::uint32_t X11Windows::atom(const char* name) {
    auto reply = own(xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, std::uint16_t(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : std::uint32_t(XCB_ATOM_NONE);
}

std::optional<uint> X11Windows::pidOf(std::uint32_t window) {
    auto reply = own(xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, window, m_netWmPid, XCB_ATOM_CARDINAL, 0, 1),
        nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
        return std::nullopt;
    return *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
}

std::uint32_t X11Windows::clientOf(std::uint32_t topLevel) {
    // A reparenting window manager puts the client (the window with WM_STATE) inside its frame;
    // look two levels down at most.
    std::vector<std::uint32_t> level{topLevel};
    for (int depth = 0; depth < 3 && !level.empty(); ++depth) {
        std::vector<xcb_get_property_cookie_t> cookies;
        for (std::uint32_t window : level)
            cookies.push_back(xcb_get_property(m_connection, 0, window, m_wmState, XCB_ATOM_ANY, 0, 0));
        std::uint32_t found = 0;
        for (std::size_t i = 0; i < cookies.size(); ++i) {
            auto reply = own(xcb_get_property_reply(m_connection, cookies[i], nullptr));
            if (!found && reply && reply->type != XCB_ATOM_NONE)
                found = level[i];
        }
        if (found)
            return found;
        std::vector<xcb_query_tree_cookie_t> trees;
        for (std::uint32_t window : level)
            trees.push_back(xcb_query_tree(m_connection, window));
        std::vector<std::uint32_t> next;
        for (auto cookie : trees) {
            auto tree = own(xcb_query_tree_reply(m_connection, cookie, nullptr));
            if (!tree)
                continue;
            const xcb_window_t* children = xcb_query_tree_children(tree.get());
            next.insert(next.end(), children, children + xcb_query_tree_children_length(tree.get()));
        }
        level = std::move(next);
    }
    return XCB_WINDOW_NONE;
}

bool X11Windows::isPanelOrDesktop(std::uint32_t client) {
    auto reply = own(xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, client, m_windowType, XCB_ATOM_ATOM, 0, 16),
        nullptr));
    if (!reply || reply->format != 32)
        return false;
    const auto* types = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    const int count = xcb_get_property_value_length(reply.get()) / 4;
    for (int i = 0; i < count; ++i)
        if (types[i] == m_typeDock || types[i] == m_typeDesktop)
            return true;
    return false;
}

void X11Windows::readClass(Client& client) {
    auto reply = own(xcb_get_property_reply(
        m_connection,
        xcb_get_property(m_connection, 0, client.window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256),
        nullptr));
    if (!reply || reply->format != 8)
        return;
    const char* data = static_cast<const char*>(xcb_get_property_value(reply.get()));
    const int length = xcb_get_property_value_length(reply.get());
    const QList<QByteArray> parts = QByteArray(data, length).split('\0');
    if (!parts.isEmpty())
        client.instance = QString::fromLocal8Bit(parts.at(0));
    if (parts.size() > 1)
        client.className = QString::fromLocal8Bit(parts.at(1));
}

std::optional<X11Windows::Client> X11Windows::topLevelAt(QPoint point) {
    if (!m_connection)
        return std::nullopt;
    auto tree = own(xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, m_root), nullptr));
    if (!tree)
        return std::nullopt;
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    const int count = xcb_query_tree_children_length(tree.get());

    // Ask for every top-level window's state and geometry at once, then walk them top down.
    std::vector<xcb_get_window_attributes_cookie_t> attributes(count);
    std::vector<xcb_get_geometry_cookie_t> geometries(count);
    for (int i = 0; i < count; ++i) {
        attributes[i] = xcb_get_window_attributes(m_connection, children[i]);
        geometries[i] = xcb_get_geometry(m_connection, children[i]);
    }
    std::optional<Client> found;
    for (int i = count - 1; i >= 0; --i) {
        auto attribute = own(xcb_get_window_attributes_reply(m_connection, attributes[i], nullptr));
        auto geometry = own(xcb_get_geometry_reply(m_connection, geometries[i], nullptr));
        if (found || !attribute || !geometry)
            continue;
        if (attribute->map_state != XCB_MAP_STATE_VIEWABLE ||
            attribute->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
            continue;
        const int border = geometry->border_width;
        const QRect rect(geometry->x, geometry->y, geometry->width + 2 * border,
                         geometry->height + 2 * border);
        if (!rect.contains(point))
            continue;
        found = Client{children[i], std::nullopt, {}, {}, rect};
    }
    if (!found)
        return std::nullopt;
    found->pid = pidOf(found->window);
    const std::uint32_t managed = clientOf(found->window);
    const std::uint32_t client = managed != XCB_WINDOW_NONE ? managed : found->window;
    if (!found->pid && client != found->window)
        found->pid = pidOf(client);
    found->takesFocus = managed != XCB_WINDOW_NONE && !isPanelOrDesktop(managed);
    const std::uint32_t topLevel = found->window;
    found->window = client;
    readClass(*found);
    found->window = topLevel;
    return found;
}

std::optional<X11Windows::Client> X11Windows::activeWindow() {
    if (!m_connection)
        return std::nullopt;
    auto reply = own(xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, m_root, m_netActiveWindow, XCB_ATOM_WINDOW, 0, 1),
        nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
        return std::nullopt;
    const std::uint32_t window = *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    if (window == XCB_WINDOW_NONE)
        return std::nullopt;
    Client client;
    client.window = window;
    client.pid = pidOf(window);
    readClass(client);
    if (!client.pid && client.instance.isEmpty() && client.className.isEmpty())
        return std::nullopt;
    return client;
}

} // namespace trovix
