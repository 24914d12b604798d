#include "platform/atspi/AtspiRoles.h"

#include <atspi/atspi-constants.h>

namespace trovix {

namespace {

bool has(quint64 states, AtspiStateType state) {
    return states & (quint64(1) << state);
}

} // namespace

QString AtspiRoles::name(uint role, const Facts& facts) {
    switch (role) {
    case ATSPI_ROLE_PUSH_BUTTON:
    case ATSPI_ROLE_TOGGLE_BUTTON:
        return has(facts.states(), ATSPI_STATE_HAS_POPUP) ? QStringLiteral("AXPopUpButton")
                                                          : QStringLiteral("AXButton");
    case ATSPI_ROLE_PUSH_BUTTON_MENU:
        return QStringLiteral("AXMenuButton");
    case ATSPI_ROLE_LINK:
        return QStringLiteral("AXLink");
    case ATSPI_ROLE_MENU_ITEM:
    case ATSPI_ROLE_CHECK_MENU_ITEM:
    case ATSPI_ROLE_RADIO_MENU_ITEM:
    case ATSPI_ROLE_TEAROFF_MENU_ITEM:
        return QStringLiteral("AXMenuItem");
    case ATSPI_ROLE_MENU: {
        // A menu in a menu bar is the bar's item; a menu inside a menu is the item that opens a
        // submenu; any other menu is the popup's container.
        const std::optional<uint> parent = facts.parentRole();
        if (parent == uint(ATSPI_ROLE_MENU_BAR))
            return QStringLiteral("AXMenuBarItem");
        if (parent == uint(ATSPI_ROLE_MENU) || parent == uint(ATSPI_ROLE_POPUP_MENU))
            return QStringLiteral("AXMenuItem");
        return QStringLiteral("AXMenu");
    }
    case ATSPI_ROLE_CHECK_BOX:
        return QStringLiteral("AXCheckBox");
    case ATSPI_ROLE_RADIO_BUTTON:
        return QStringLiteral("AXRadioButton");
    case ATSPI_ROLE_COMBO_BOX:
        return facts.hasEditableTextChild() ? QStringLiteral("AXComboBox") : QStringLiteral("AXPopUpButton");
    case ATSPI_ROLE_ENTRY:
    case ATSPI_ROLE_PASSWORD_TEXT:
    case ATSPI_ROLE_SPIN_BUTTON:
        return QStringLiteral("AXTextField");
    case ATSPI_ROLE_TEXT:
    case ATSPI_ROLE_PARAGRAPH: {
        // Qt and GTK entries report plain text that is editable.
        const quint64 states = facts.states();
        if (!has(states, ATSPI_STATE_EDITABLE))
            return QStringLiteral("AXStaticText");
        return has(states, ATSPI_STATE_MULTI_LINE) ? QStringLiteral("AXTextArea")
                                                   : QStringLiteral("AXTextField");
    }
    case ATSPI_ROLE_PAGE_TAB:
        return QStringLiteral("AXTab");
    case ATSPI_ROLE_SLIDER:
        return QStringLiteral("AXSlider");
    case ATSPI_ROLE_TABLE_CELL:
        return QStringLiteral("AXCell");
    case ATSPI_ROLE_TABLE_ROW:
    case ATSPI_ROLE_LIST_ITEM:
    case ATSPI_ROLE_TREE_ITEM:
        return QStringLiteral("AXRow");
    case ATSPI_ROLE_FRAME:
    case ATSPI_ROLE_WINDOW:
    case ATSPI_ROLE_DIALOG:
    case ATSPI_ROLE_ALERT:
        return QStringLiteral("AXWindow");
    case ATSPI_ROLE_LABEL:
    case ATSPI_ROLE_STATIC:
    case ATSPI_ROLE_HEADING:
        return QStringLiteral("AXStaticText");
    case ATSPI_ROLE_IMAGE:
    case ATSPI_ROLE_ICON:
        return QStringLiteral("AXImage");
    case ATSPI_ROLE_SCROLL_BAR:
        return QStringLiteral("AXScrollBar");
    case ATSPI_ROLE_APPLICATION:
        return QStringLiteral("AXApplication");
    default:
        return QStringLiteral("AXGroup");
    }
}

} // namespace trovix
