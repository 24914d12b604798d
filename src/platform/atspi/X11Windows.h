#pragma once

#include <QPoint>
#include <QRect>
#include <QString>

#include <cstdint>
#include <optional>

struct xcb_connection_t;

namespace trovix {

// Window facts the accessibility search needs from the X server, on a private connection owned by
// the thread that uses it.
class X11Windows {
public:
    X11Windows();
    ~X11Windows();
    X11Windows(const X11Windows&) = delete;
    X11Windows& operator=(const X11Windows&) = delete;

    bool isConnected() const;

    struct Client {
        std::uint32_t window = 0;
        std::optional<uint> pid;
        QString instance;  // WM_CLASS instance name
        QString className; // WM_CLASS class name
        QRect geometry;    // the top-level window (with its frame) on the root, native pixels
        // A window the window manager manages and gives the focus on a click (not a panel, the
        // desktop or a popup).
        bool takesFocus = false;
    };

    // The topmost visible top-level window at a root point, with the client inside it.
    std::optional<Client> topLevelAt(QPoint point);
    // The window the window manager reports as active.
    std::optional<Client> activeWindow();

private:
    std::uint32_t atom(const char* name);
    std::optional<uint> pidOf(std::uint32_t window);
    // The client window of a top-level: the first one, itself or below, that a window manager
    // manages; none for windows it does not manage.
    std::uint32_t clientOf(std::uint32_t topLevel);
    bool isPanelOrDesktop(std::uint32_t client);
    void readClass(Client& client);

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::uint32_t m_netActiveWindow = 0;
    std::uint32_t m_netWmPid = 0;
    std::uint32_t m_wmState = 0;
    std::uint32_t m_windowType = 0;
    std::uint32_t m_typeDock = 0;
    std::uint32_t m_typeDesktop = 0;
};

} // namespace trovix
