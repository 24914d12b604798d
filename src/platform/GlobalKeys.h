#pragma once

#include <QtGlobal>

#include <functional>

namespace trovix {

// System-wide key combinations that reach this process whichever application is in front.
class GlobalKeys {
public:
    // Modifier flags of a combination (the classic Mac toolbox values, which the hot-key registry uses).
    enum Modifier : quint32 {
        command = 0x0100, // the Super key on PC keyboards
        shift = 0x0200,
        option = 0x0800, // Alt
        control = 0x1000,
    };

    // What identifies one registered combination when it is pressed.
    struct Identity {
        quint32 signature = 0;
        quint32 id = 0;
    };
    // Called on the main thread, from inside the platform's event dispatch, once per press.
    using Handler = std::function<void(Identity)>;

    virtual ~GlobalKeys() = default;

    // Why global keys do not work here; empty when they do.
    virtual QString unavailableReason() const = 0;
    // Sets the one function every press is reported to.
    virtual void setHandler(Handler handler) = 0;
    // Binds keysym (an X keysym such as 0x73 for "s") with `modifiers`, whatever the lock keys are.
    // False when the combination cannot be had, e.g. another program holds it. Binding the same
    // combination again replaces its identity.
    virtual bool bind(Identity identity, quint32 keysym, quint32 modifiers) = 0;
};

} // namespace trovix
