#pragma once

#include "platform/KeyMonitor.h"
#include "platform/x11/XInputListener.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>

struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace trovix {

// Reports every key pressed on the X display while the input focus is in another application's
// window, from XInput 2 raw key events, and names the keys with the keyboard's own keymap, following
// the modifiers it sees pressed.
class XInputKeyMonitor : public QObject {
    Q_OBJECT
public:
    explicit XInputKeyMonitor(QObject* parent = nullptr);
    ~XInputKeyMonitor() override;

    // False when the display cannot be opened or lacks XInput 2.1 or XKB; error() then says which.
    bool isActive() const { return m_input.isListening(); }
    QString error() const { return m_error; }

Q_SIGNALS:
    // Delivered on the main thread, in the order pressed.
    void keyPressed(const trovix::KeyStroke& stroke);

private:
    bool loadKeymap();
    void handle(xcb_generic_event_t* event);
    void pressed(std::uint32_t keycode);
    bool focusIsOwn();

    xkb_context* m_context = nullptr;
    xkb_keymap* m_keymap = nullptr;
    xkb_state* m_state = nullptr;
    std::int32_t m_device = -1;
    QString m_error;
    XInputListener m_input;
};

// The key service of an X session: each watch runs a monitor of its own.
class X11KeyMonitor : public KeyMonitor {
public:
    bool isAvailable() const override { return true; }
    std::unique_ptr<QObject> watch(Handler pressed, QString* error) override;
};

} // namespace trovix
