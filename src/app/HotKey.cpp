#include "app/HotKey.h"

#include "platform/Platform.h"

#include <QCoreApplication>

namespace trovix {

void HotKey::registerHotKey(quint32 id, quint32 keyCode, quint32 modifiers, Handler handler) {
    GlobalKeys& keys = Platform::current().globalKeys();
    if (!s_installed) {
        s_installed = true;
        keys.setHandler(&HotKey::pressed);
    }
    s_handlers.insert(id, std::move(handler));
    keys.bind(GlobalKeys::Identity{signature, id}, keyCode, modifiers);
}

void HotKey::pressed(GlobalKeys::Identity identity) {
    const quint32 id = identity.id;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [id] {
            // A copy: the handler may register hot keys itself.
            const Handler handler = s_handlers.value(id);
            if (handler)
                handler();
        },
        Qt::QueuedConnection);
}

} // namespace trovix
