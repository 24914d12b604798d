#include "platform/x11/X11GlobalKeys.h"

#include <QCoreApplication>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>
#include <memory>

namespace trovix {

namespace {

constexpr quint32 numLockKeysym = 0xff7f;
constexpr quint16 relevantMods = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

quint16 xMask(quint32 modifiers) {
    quint16 mask = 0;
    if (modifiers & GlobalKeys::shift)
        mask |= XCB_MOD_MASK_SHIFT;
    if (modifiers & GlobalKeys::control)
        mask |= XCB_MOD_MASK_CONTROL;
    if (modifiers & GlobalKeys::option)
        mask |= XCB_MOD_MASK_1;
    if (modifiers & GlobalKeys::command)
        mask |= XCB_MOD_MASK_4;
    return mask;
}

} // namespace

X11GlobalKeys::X11GlobalKeys(xcb_connection_t* connection)
    : m_conn(connection) {
    // Qt's connection serves the default screen, whose root is the first of the setup.
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_conn)).data->root;
    m_symbols = xcb_key_symbols_alloc(m_conn);
    readLockMasks();
}

X11GlobalKeys::~X11GlobalKeys() {
    if (m_filtering && QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
    if (m_symbols)
        xcb_key_symbols_free(m_symbols);
}

void X11GlobalKeys::setHandler(Handler handler) {
    m_handler = std::move(handler);
    if (!m_filtering && QCoreApplication::instance()) {
        QCoreApplication::instance()->installNativeEventFilter(this);
        m_filtering = true;
    }
}

// NumLock sits on whichever modifier the mapping puts it (usually Mod2); CapsLock is always Lock.
void X11GlobalKeys::readLockMasks() {
    m_numLock = 0;
    std::unique_ptr<xcb_get_modifier_mapping_reply_t, decltype(&std::free)> mapping(
        xcb_get_modifier_mapping_reply(m_conn, xcb_get_modifier_mapping(m_conn), nullptr), &std::free);
    if (!mapping || !m_symbols)
        return;
    std::unique_ptr<xcb_keycode_t, decltype(&std::free)> numLockCodes(
        xcb_key_symbols_get_keycode(m_symbols, numLockKeysym), &std::free);
    if (!numLockCodes)
        return;
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(mapping.get());
    const int perModifier = mapping->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int k = 0; k < perModifier; ++k) {
            const xcb_keycode_t code = codes[modifier * perModifier + k];
            for (const xcb_keycode_t* n = numLockCodes.get(); code && *n != XCB_NO_SYMBOL; ++n) {
                if (*n == code)
                    m_numLock = quint16(1u << modifier);
            }
        }
    }
}

bool X11GlobalKeys::bind(Identity identity, quint32 keysym, quint32 modifiers) {
    const quint16 mask = xMask(modifiers);
    for (qsizetype i = 0; i < m_bindings.size(); ++i) {
        if (m_bindings[i].keysym == keysym && m_bindings[i].mask == mask) {
            ungrab(m_bindings[i]);
            m_bindings.removeAt(i);
            break;
        }
    }
    Binding binding{identity, keysym, mask, {}};
    const bool ok = grab(binding);
    // Kept even when another program holds it now, so a later mapping change tries again.
    m_bindings.append(binding);
    return ok;
}

bool X11GlobalKeys::grab(Binding& binding) {
    if (!m_symbols)
        return false;
    std::unique_ptr<xcb_keycode_t, decltype(&std::free)> codes(
        xcb_key_symbols_get_keycode(m_symbols, binding.keysym), &std::free);
    if (!codes)
        return false;
    const quint16 locks[] = {0, XCB_MOD_MASK_LOCK, m_numLock, quint16(m_numLock | XCB_MOD_MASK_LOCK)};
    bool ok = true;
    for (const xcb_keycode_t* code = codes.get(); *code != XCB_NO_SYMBOL; ++code) {
        if (binding.keycodes.contains(*code))
            continue;
        QList<xcb_void_cookie_t> cookies;
        for (int i = 0; i < 4; ++i) {
            if (i >= 2 && !m_numLock)
                break;
            // owner_events false: the press is reported on the root even when one of our own windows
            // has the focus, so the filter sees every press of the combination.
            cookies.append(xcb_grab_key_checked(m_conn, 0, m_root, binding.mask | locks[i], *code,
                                                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
        bool held = false;
        for (const xcb_void_cookie_t& cookie : cookies) {
            if (xcb_generic_error_t* error = xcb_request_check(m_conn, cookie)) {
                held = true; // BadAccess: another client has this combination
                std::free(error);
            }
        }
        if (held) {
            for (int i = 0; i < cookies.size(); ++i)
                xcb_ungrab_key(m_conn, *code, m_root, binding.mask | locks[i]);
            ok = false;
        } else {
            binding.keycodes.append(*code);
        }
    }
    xcb_flush(m_conn);
    return ok && !binding.keycodes.isEmpty();
}

void X11GlobalKeys::ungrab(Binding& binding) {
    const quint16 locks[] = {0, XCB_MOD_MASK_LOCK, m_numLock, quint16(m_numLock | XCB_MOD_MASK_LOCK)};
    for (quint8 code : std::as_const(binding.keycodes)) {
        for (int i = 0; i < 4; ++i)
            xcb_ungrab_key(m_conn, code, m_root, binding.mask | locks[i]);
    }
    binding.keycodes.clear();
    xcb_flush(m_conn);
}

void X11GlobalKeys::regrabAll() {
    for (Binding& binding : m_bindings)
        ungrab(binding);
    readLockMasks();
    for (Binding& binding : m_bindings)
        grab(binding);
}

bool X11GlobalKeys::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t")
        return false;
    auto* event = static_cast<xcb_generic_event_t*>(message);
    const quint8 type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        auto* mapping = reinterpret_cast<xcb_mapping_notify_event_t*>(event);
        if (mapping->request != XCB_MAPPING_POINTER && m_symbols) {
            xcb_refresh_keyboard_mapping(m_symbols, mapping);
            regrabAll();
        }
        return false; // Qt updates its own keymap from it too
    }
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
        return false;
    auto* key = reinterpret_cast<xcb_key_press_event_t*>(event);
    if (key->event != m_root)
        return false;
    for (const Binding& binding : std::as_const(m_bindings)) {
        if (!binding.keycodes.contains(key->detail) || (key->state & relevantMods) != binding.mask)
            continue;
        if (type == XCB_KEY_PRESS && m_handler)
            m_handler(binding.identity);
        return true;
    }
    return false;
}

} // namespace trovix
