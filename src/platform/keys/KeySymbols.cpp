#include "platform/keys/KeySymbols.h"

#include <QChar>
#include <Qt>

#include <xkbcommon/xkbcommon.h>

namespace trovix::KeySymbols {

int qtKey(std::uint32_t keysym) {
    if (keysym >= XKB_KEY_F1 && keysym <= XKB_KEY_F35)
        return Qt::Key_F1 + int(keysym - XKB_KEY_F1);
    switch (keysym) {
    case XKB_KEY_Return:
    case XKB_KEY_KP_Enter:
    case XKB_KEY_ISO_Enter:
        return Qt::Key_Enter;
    case XKB_KEY_Tab:
    case XKB_KEY_ISO_Left_Tab:
    case XKB_KEY_KP_Tab:
        return Qt::Key_Tab;
    case XKB_KEY_BackSpace:
        return Qt::Key_Backspace;
    case XKB_KEY_Escape:
        return Qt::Key_Escape;
    case XKB_KEY_Delete:
    case XKB_KEY_KP_Delete:
        return Qt::Key_Delete;
    case XKB_KEY_Insert:
    case XKB_KEY_KP_Insert:
        return Qt::Key_Insert;
    case XKB_KEY_Home:
    case XKB_KEY_KP_Home:
        return Qt::Key_Home;
    case XKB_KEY_End:
    case XKB_KEY_KP_End:
        return Qt::Key_End;
    case XKB_KEY_Page_Up:
    case XKB_KEY_KP_Page_Up:
        return Qt::Key_PageUp;
    case XKB_KEY_Page_Down:
    case XKB_KEY_KP_Page_Down:
        return Qt::Key_PageDown;
    case XKB_KEY_Left:
    case XKB_KEY_KP_Left:
        return Qt::Key_Left;
    case XKB_KEY_Right:
    case XKB_KEY_KP_Right:
        return Qt::Key_Right;
    case XKB_KEY_Up:
    case XKB_KEY_KP_Up:
        return Qt::Key_Up;
    case XKB_KEY_Down:
    case XKB_KEY_KP_Down:
        return Qt::Key_Down;
    case XKB_KEY_Print:
        return Qt::Key_Print;
    case XKB_KEY_Menu:
        return Qt::Key_Menu;
    case XKB_KEY_space:
    case XKB_KEY_KP_Space:
        return Qt::Key_Space;
    default:
        break;
    }
    // Modifier keys, like every other keysym that types nothing, have no character.
    const std::uint32_t code = xkb_keysym_to_utf32(keysym);
    if (code <= 0x20 || code == 0x7f)
        return 0;
    const char32_t upper = QChar::toUpper(char32_t(code));
    return int(upper);
}

} // namespace trovix::KeySymbols
