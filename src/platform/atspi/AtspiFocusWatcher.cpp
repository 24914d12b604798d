#include "platform/atspi/AtspiFocusWatcher.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace trovix {

namespace {

const QString focusEvent = QStringLiteral("object:state-changed:focused");
const QString registryService = QStringLiteral("org.a11y.atspi.Registry");
const QString registryPath = QStringLiteral("/org/a11y/atspi/registry");
const QString registryInterface = QStringLiteral("org.a11y.atspi.Registry");
int connections = 0;

} // namespace

AtspiFocusWatcher::AtspiFocusWatcher(QObject* parent)
    : QObject(parent)
    , m_connectionName(QStringLiteral("trovix-accessibility-focus-%1").arg(++connections)) {
    const QDBusMessage message =
        QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                       QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress"));
    auto* call = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call] {
        call->deleteLater();
        const QDBusPendingReply<QString> reply = *call;
        if (reply.isValid())
            join(reply.value());
    });
}

AtspiFocusWatcher::~AtspiFocusWatcher() {
    if (m_joined) {
        registerEvent(QStringLiteral("DeregisterEvent"));
        QDBusConnection::disconnectFromBus(m_connectionName);
    }
}

void AtspiFocusWatcher::join(const QString& address) {
    QDBusConnection bus = QDBusConnection::connectToBus(address, m_connectionName);
    if (!bus.isConnected())
        return;
    m_joined = true;
    bus.connect(QString(), QString(), QStringLiteral("org.a11y.atspi.Event.Object"),
                QStringLiteral("StateChanged"), this, SLOT(stateChanged(QDBusMessage)));
    // Applications send focus events only while someone has asked the registry for them.
    registerEvent(QStringLiteral("RegisterEvent"));
}

void AtspiFocusWatcher::registerEvent(const QString& method) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(registryService, registryPath, registryInterface, method);
    message.setArguments({focusEvent});
    QDBusConnection(m_connectionName).send(message);
}

void AtspiFocusWatcher::stateChanged(const QDBusMessage& message) {
    const QList<QVariant> arguments = message.arguments();
    if (arguments.size() < 2 || arguments.at(0).toString() != QLatin1String("focused"))
        return;
    const QString service = message.service();
    m_waiting.append({{service, message.path()}, arguments.at(1).toInt() == 1});
    if (!m_own.contains(service) && !m_asking.contains(service)) {
        // The bus daemon says which process an application is; our own window is no field typed into.
        m_asking.append(service);
        QDBusMessage ask = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetConnectionUnixProcessID"));
        ask << service;
        auto* call = new QDBusPendingCallWatcher(QDBusConnection(m_connectionName).asyncCall(ask), this);
        connect(call, &QDBusPendingCallWatcher::finished, this, [this, call, service] {
            call->deleteLater();
            const QDBusPendingReply<uint> reply = *call;
            m_asking.removeAll(service);
            m_own.insert(service,
                         reply.isValid() && qint64(reply.value()) == QCoreApplication::applicationPid());
            handOn();
        });
    }
    handOn();
}

void AtspiFocusWatcher::handOn() {
    while (!m_waiting.isEmpty()) {
        const auto own = m_own.constFind(m_waiting.constFirst().object.constFirst());
        if (own == m_own.constEnd())
            return;
        const Event event = m_waiting.takeFirst();
        if (!*own)
            apply(event.object, event.focused);
    }
}

void AtspiFocusWatcher::apply(const QStringList& object, bool focused) {
    if (focused) {
        if (object == m_focused)
            return;
        m_focused = object;
    } else {
        if (object != m_focused)
            return;
        m_focused.clear();
    }
    Q_EMIT focusChanged(m_focused);
}

} // namespace trovix
