#pragma once

#include "platform/GlobalKeys.h"

#include <QHash>

#include <functional>

namespace trovix {

// System-wide hot keys: a registry from ids to handlers, bound through the platform's global keys.
// A press is looked up and handled later on the main event loop, never inside the platform's event
// dispatch. Registrations last for the whole process.
class HotKey {
public:
    using Handler = std::function<void()>;

    // "TRVX": the signature of every hot key of this application.
    static constexpr quint32 signature =
        (quint32('T') << 24) | (quint32('R') << 16) | (quint32('V') << 8) | 'X';
    // Key codes are X keysyms; modifiers are GlobalKeys::Modifier flags.
    static constexpr quint32 keyS = 0x73;
    static constexpr quint32 keyR = 0x72;
    static constexpr quint32 controlOption = GlobalKeys::control | GlobalKeys::option; // 6144

    // Stores `handler` under `id` (replacing an earlier one) and binds the combination. A combination
    // another program already holds, or a platform without global keys, fails silently: the hot key
    // then does nothing. ("register" itself is a reserved word in C++.)
    static void registerHotKey(quint32 id, quint32 keyCode, quint32 modifiers, Handler handler);

    // What the platform reports for a press: schedules the handler with this id on the main thread.
    // An unknown id does nothing; the signature is not compared.
    static void pressed(GlobalKeys::Identity identity);

    static bool isInstalled() { return s_installed; }

private:
    static inline bool s_installed = false;
    static inline QHash<quint32, Handler> s_handlers;
};

} // namespace trovix
