#pragma once

#include "platform/GlobalKeys.h"

#include <QAbstractNativeEventFilter>
#include <QList>

struct xcb_connection_t;
struct _XCBKeySymbols;

namespace trovix {

// Global hot keys as passive grabs of the root window on Qt's own connection: the presses arrive in
// Qt's event stream and are picked out by a native event filter. Each combination is grabbed once
// for every state of the lock keys (none, NumLock, CapsLock, both), since X compares the whole
// modifier state. A keyboard mapping change moves keysyms to other keycodes, so every binding is
// grabbed again then.
class X11GlobalKeys : public GlobalKeys, private QAbstractNativeEventFilter {
public:
    explicit X11GlobalKeys(xcb_connection_t* connection);
    ~X11GlobalKeys() override;

    QString unavailableReason() const override { return {}; }
    void setHandler(Handler handler) override;
    bool bind(Identity identity, quint32 keysym, quint32 modifiers) override;

private:
    struct Binding {
        Identity identity;
        quint32 keysym = 0;
        quint16 mask = 0;       // X modifier mask
        QList<quint8> keycodes; // currently grabbed
    };

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    bool grab(Binding& binding);
    void ungrab(Binding& binding);
    void regrabAll();
    void readLockMasks();

    xcb_connection_t* m_conn;
    quint32 m_root = 0;
    _XCBKeySymbols* m_symbols = nullptr;
    quint16 m_numLock = 0;
    Handler m_handler;
    QList<Binding> m_bindings;
    bool m_filtering = false;
};

} // namespace trovix
