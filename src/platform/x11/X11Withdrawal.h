#pragma once

#include <QHash>
#include <QList>
#include <QPoint>

#include <cstdint>
#include <optional>

struct xcb_connection_t;

namespace trovix {

// Takes managed windows off the screen by withdrawing them (ICCCM 4.1.4): the window manager drops
// the frame at once, where minimizing would first play its animation. Withdrawing makes the window
// manager forget the window, so what it would otherwise lose is kept here and handed back before the
// window is mapped again: its place, its EWMH states (maximized, above …), its desktop and its place
// in the stack among the others put back with it.
class X11Withdrawal {
public:
    X11Withdrawal(xcb_connection_t* connection, std::uint32_t root);

    void withdraw(std::uint32_t window);
    // Maps the windows again, lowest first, where they were; `iconic` has the window manager take them
    // back minimized. Windows never withdrawn here are left alone.
    void putBack(const QList<std::uint32_t>& windows, bool iconic);

private:
    struct Kept {
        QPoint clientOrigin;          // the client area's top-left in root coordinates
        QPoint frameOffset;           // the frame's left and top extents
        QList<std::uint32_t> states;  // _NET_WM_STATE
        std::optional<std::uint32_t> desktop; // _NET_WM_DESKTOP
        int stackIndex = 0;
    };

    std::uint32_t atom(const char* name);
    QList<std::uint32_t> cardinals(std::uint32_t window, std::uint32_t property, std::uint32_t type, int most);
    void setCardinals(std::uint32_t window, std::uint32_t property, std::uint32_t type,
                      const QList<std::uint32_t>& values);
    std::uint32_t topLevelAncestor(std::uint32_t window);
    void restore(std::uint32_t window, const Kept& kept, bool iconic);

    xcb_connection_t* m_conn;
    std::uint32_t m_root;
    QHash<std::uint32_t, Kept> m_kept;
    QHash<QByteArray, std::uint32_t> m_atoms;
};

} // namespace trovix
