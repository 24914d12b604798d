#pragma once

#include <QObject>
#include <QPoint>
#include <QString>

#include <atomic>
#include <cstdint>
#include <thread>

struct xcb_connection_t;

namespace trovix {

// Reports every press of the left mouse button anywhere on the X display, except in this process's
// own windows. Listens for XInput 2 raw button events, which arrive even while another client grabs
// the pointer, on a private connection read by a thread of its own: raw events carry no position,
// so the pointer is read the moment a press arrives, however busy the main thread is.
class XInputClickMonitor : public QObject {
    Q_OBJECT
public:
    explicit XInputClickMonitor(QObject* parent = nullptr);
    ~XInputClickMonitor() override;

    // False when the display cannot be opened or lacks XInput 2.1; error() then says which.
    bool isActive() const { return m_thread.joinable(); }
    QString error() const { return m_error; }

Q_SIGNALS:
    // The pointer position on the root window, in native pixels. Delivered on the main thread.
    void leftButtonPressed(QPoint position);

private:
    void run();
    void readButtonMapping();
    void pressed();

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::uint8_t m_opcode = 0;
    QByteArray m_buttonMap; // physical button → logical button; index 0 is button 1
    // Windows this process made through Qt's own connection have ids in this range.
    std::uint32_t m_ownBase = 0;
    std::uint32_t m_ownMask = 0;
    int m_wakeFd = -1;
    std::thread m_thread;
    QString m_error;
};

} // namespace trovix
