#include "platform/x11/XInputKeyMonitor.h"

#include "platform/keys/KeySymbols.h"

#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

namespace trovix {

XInputKeyMonitor::XInputKeyMonitor(QObject* parent)
    : QObject(parent) {
    if (!m_input.isOpen()) {
        m_error = m_input.error();
        return;
    }
    if (!xkb_x11_setup_xkb_extension(m_input.connection(), XKB_X11_MIN_MAJOR_XKB_VERSION,
                                     XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                     nullptr, nullptr, nullptr, nullptr)) {
        m_error = tr("The X server lacks the keyboard extension (XKB).");
        return;
    }
    m_context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!m_context || !loadKeymap()) {
        m_error = tr("The keyboard's keymap cannot be read.");
        return;
    }
    // Raw events of the master keyboards: one per press and release, whichever device made it, even
    // while another client grabs the keyboard.
    if (!m_input.listen(XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE,
                        [this](xcb_generic_event_t* event) { handle(event); }))
        m_error = m_input.error();
}

XInputKeyMonitor::~XInputKeyMonitor() {
    m_input.stop(); // before the keymap its thread reads goes
    xkb_state_unref(m_state);
    xkb_keymap_unref(m_keymap);
    xkb_context_unref(m_context);
}

bool XInputKeyMonitor::loadKeymap() {
    m_device = xkb_x11_get_core_keyboard_device_id(m_input.connection());
    if (m_device < 0)
        return false;
    xkb_keymap* keymap = xkb_x11_keymap_new_from_device(m_context, m_input.connection(), m_device,
                                                        XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap)
        return false;
    xkb_state* state = xkb_x11_state_new_from_device(keymap, m_input.connection(), m_device);
    if (!state) {
        xkb_keymap_unref(keymap);
        return false;
    }
    xkb_state_unref(m_state);
    xkb_keymap_unref(m_keymap);
    m_keymap = keymap;
    m_state = state;
    return true;
}

bool XInputKeyMonitor::focusIsOwn() {
    auto focus = ownReply(
        xcb_get_input_focus_reply(m_input.connection(), xcb_get_input_focus(m_input.connection()), nullptr));
    return focus && m_input.isOwn(focus->focus);
}

void XInputKeyMonitor::pressed(std::uint32_t keycode) {
    // Read before the key itself changes the state: what it types depends on what is held with it.
    KeyStroke stroke;
    const auto active = [this](const char* name) {
        return xkb_state_mod_name_is_active(m_state, name, XKB_STATE_MODS_EFFECTIVE) > 0;
    };
    if (active(XKB_MOD_NAME_CTRL))
        stroke.modifiers |= Qt::ControlModifier;
    if (active(XKB_MOD_NAME_ALT))
        stroke.modifiers |= Qt::AltModifier;
    if (active(XKB_MOD_NAME_LOGO))
        stroke.modifiers |= Qt::MetaModifier;
    if (active(XKB_MOD_NAME_SHIFT))
        stroke.modifiers |= Qt::ShiftModifier;
    // The key's name is its first level (S, not the s or the S that Shift makes of it); keys whose
    // first level is no name Qt knows fall back to what they type.
    const xkb_layout_index_t layout = xkb_state_key_get_layout(m_state, keycode);
    const xkb_keysym_t* symbols = nullptr;
    if (layout != XKB_LAYOUT_INVALID &&
        xkb_keymap_key_get_syms_by_level(m_keymap, keycode, layout, 0, &symbols) > 0)
        stroke.key = KeySymbols::qtKey(symbols[0]);
    const xkb_keysym_t typed = xkb_state_key_get_one_sym(m_state, keycode);
    if (!stroke.key)
        stroke.key = KeySymbols::qtKey(typed);
    if (!(stroke.modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))) {
        char text[64] = {};
        if (xkb_state_key_get_utf8(m_state, keycode, text, sizeof text) > 0) {
            const QString characters = QString::fromUtf8(text);
            if (!characters.isEmpty() && characters.at(0).unicode() >= 0x20 &&
                characters.at(0).unicode() != 0x7f)
                stroke.text = characters;
        }
    }
    xkb_state_update_key(m_state, keycode, XKB_KEY_DOWN);
    if (!stroke.key && stroke.text.isEmpty())
        return; // a modifier alone
    if (focusIsOwn())
        return;
    QMetaObject::invokeMethod(
        this, [this, stroke] { Q_EMIT keyPressed(stroke); }, Qt::QueuedConnection);
}

void XInputKeyMonitor::handle(xcb_generic_event_t* event) {
    const std::uint8_t type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        if (reinterpret_cast<xcb_mapping_notify_event_t*>(event)->request == XCB_MAPPING_KEYBOARD)
            loadKeymap();
        return;
    }
    if (type != XCB_GE_GENERIC)
        return;
    const auto* generic = reinterpret_cast<xcb_ge_generic_event_t*>(event);
    if (generic->extension != m_input.opcode())
        return;
    if (generic->event_type == XCB_INPUT_RAW_KEY_PRESS)
        pressed(reinterpret_cast<xcb_input_raw_key_press_event_t*>(event)->detail);
    else if (generic->event_type == XCB_INPUT_RAW_KEY_RELEASE)
        xkb_state_update_key(m_state, reinterpret_cast<xcb_input_raw_key_release_event_t*>(event)->detail,
                             XKB_KEY_UP);
}

std::unique_ptr<QObject> X11KeyMonitor::watch(Handler pressed, QString* error) {
    auto monitor = std::make_unique<XInputKeyMonitor>();
    if (!monitor->isActive()) {
        if (error)
            *error = monitor->error();
        return nullptr;
    }
    QObject::connect(monitor.get(), &XInputKeyMonitor::keyPressed, monitor.get(), std::move(pressed));
    return monitor;
}

} // namespace trovix
