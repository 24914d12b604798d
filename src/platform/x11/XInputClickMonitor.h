#pragma once

#include "platform/x11/XInputListener.h"

#include <QObject>
#include <QPoint>
#include <QString>

#include <cstdint>

namespace trovix {

// Reports every press of the left mouse button anywhere on the X display, except in this process's
// own windows, from XInput 2 raw button events. Raw events carry no position, so the pointer is read
// on the listening thread the moment a press arrives, however busy the main thread is.
class XInputClickMonitor : public QObject {
    Q_OBJECT
public:
    explicit XInputClickMonitor(QObject* parent = nullptr);
    ~XInputClickMonitor() override;

    // False when the display cannot be opened or lacks XInput 2.1; error() then says which.
    bool isActive() const { return m_input.isListening(); }
    QString error() const { return m_error; }

Q_SIGNALS:
    // The pointer position on the root window, in native pixels. Delivered on the main thread.
    void leftButtonPressed(QPoint position);

private:
    void handle(xcb_generic_event_t* event);
    void readButtonMapping();
    void pressed();

    QByteArray m_buttonMap; // physical button → logical button; index 0 is button 1
    QString m_error;
    XInputListener m_input; // last: its thread stops before the members it reads go
};

} // namespace trovix
