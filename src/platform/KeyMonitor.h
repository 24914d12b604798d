#pragma once

#include "platform/ClickMonitor.h"

#include <QObject>
#include <QString>
#include <Qt>

#include <functional>
#include <memory>
#include <optional>

namespace trovix {

// One key pressed in another application, as a keyboard source reports it: the key as Qt names it
// (Qt::Key_S for the S key whatever Shift does to it, Qt::Key_Return, Qt::Key_F5), the modifiers held
// with it (Ctrl, Alt, Super as Meta, Shift; AltGr is no modifier here, it types), and the characters
// it types, empty when it types none (with Ctrl, Alt or Super held it types none).
struct KeyStroke {
    int key = 0;
    Qt::KeyboardModifiers modifiers = Qt::NoModifier;
    QString text;
    // The window with the keyboard, where the source knows it (native pixels): on Wayland, where
    // the accessibility bus counts a field's place from its window.
    std::optional<ClickedWindow> window = std::nullopt;
};

// The keys pressed in other applications' windows, where the session lets an application see them.
class KeyMonitor {
public:
    using Handler = std::function<void(const KeyStroke&)>;

    virtual ~KeyMonitor() = default;

    virtual bool isAvailable() const = 0;
    // Reports each key to `pressed`, on the main thread and in the order pressed, until the returned
    // object is destroyed. Null when the keys cannot be watched; `error` then says why.
    virtual std::unique_ptr<QObject> watch(Handler pressed, QString* error = nullptr) = 0;

    // The monitor of a session that shows no application other applications' keys.
    static KeyMonitor& none();
};

} // namespace trovix
