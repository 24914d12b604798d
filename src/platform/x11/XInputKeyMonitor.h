#pragma once

#include "platform/KeyMonitor.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>
#include <thread>

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace trovix {

// Reports every key pressed on the X display while the input focus is in another application's
// window. Listens for XInput 2 raw key events on a private connection read by a thread of its own,
// and names the keys with the keyboard's own keymap, following the modifiers it sees pressed.
class XInputKeyMonitor : public QObject {
    Q_OBJECT
public:
    explicit XInputKeyMonitor(QObject* parent = nullptr);
    ~XInputKeyMonitor() override;

    // False when the display cannot be opened or lacks XInput 2.1 or XKB; error() then says which.
    bool isActive() const { return m_thread.joinable(); }
    QString error() const { return m_error; }

    // The Qt key of an X keysym (letters as their upper case), 0 for modifier keys and keysyms
    // that name no key Qt knows.
    static int qtKey(std::uint32_t keysym);

Q_SIGNALS:
    // Delivered on the main thread, in the order pressed.
    void keyPressed(const trovix::KeyStroke& stroke);

private:
    bool loadKeymap();
    void run();
    void pressed(std::uint32_t keycode);
    bool focusIsOwn();

    xcb_connection_t* m_connection = nullptr;
    std::uint8_t m_opcode = 0;
    xkb_context* m_context = nullptr;
    xkb_keymap* m_keymap = nullptr;
    xkb_state* m_state = nullptr;
    std::int32_t m_device = -1;
    std::uint32_t m_ownBase = 0;
    std::uint32_t m_ownMask = 0;
    int m_wakeFd = -1;
    std::thread m_thread;
    QString m_error;
};

// The key service of an X session: each watch runs a monitor of its own.
class X11KeyMonitor : public KeyMonitor {
public:
    bool isAvailable() const override { return true; }
    std::unique_ptr<QObject> watch(Handler pressed, QString* error) override;
};

} // namespace trovix
