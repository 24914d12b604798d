#include "platform/atspi/AtspiClient.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>

#include <algorithm>

// A match rule of the collection interface: all of these states, any of these roles (every role when
// none is given), no attributes or interfaces asked, not inverted. States and roles travel as bit sets
// in 32-bit words. Marshalled as a registered type: a structure built by hand in a free-standing
// QDBusArgument is never freed.
struct MatchRule {
    quint64 states = 0;
    QList<int> roles = QList<int>(4, 0);
};
Q_DECLARE_METATYPE(MatchRule)

QDBusArgument& operator<<(QDBusArgument& argument, const MatchRule& rule) {
    constexpr int matchAll = 1, matchAny = 2;
    argument.beginStructure();
    argument << QList<int>{int(quint32(rule.states)), int(quint32(rule.states >> 32))} << matchAll
             << QMap<QString, QString>() << matchAll << rule.roles << matchAny << QStringList() << matchAll
             << false;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, MatchRule&) {
    return argument;
}

namespace trovix {

namespace {

const QString accessibleInterface = QStringLiteral("org.a11y.atspi.Accessible");
const QString componentInterface = QStringLiteral("org.a11y.atspi.Component");
const QString textInterface = QStringLiteral("org.a11y.atspi.Text");
const QString rootPath = QStringLiteral("/org/a11y/atspi/accessible/root");
const QString nullPath = QStringLiteral("/org/a11y/atspi/null");
constexpr uint screenCoordinates = 0;

std::optional<AtspiRef> readRef(const QDBusArgument& argument) {
    if (argument.currentSignature() != QLatin1String("(so)"))
        return std::nullopt;
    AtspiRef ref;
    QDBusObjectPath path;
    argument.beginStructure();
    argument >> ref.service >> path;
    argument.endStructure();
    ref.path = path.path();
    return ref;
}

std::optional<QDBusArgument> firstArgument(const QDBusMessage& reply, QLatin1String signature) {
    if (reply.signature() != signature || reply.arguments().isEmpty())
        return std::nullopt;
    return reply.arguments().constFirst().value<QDBusArgument>();
}

} // namespace

bool AtspiRef::isNull() const {
    return service.isEmpty() || path.isEmpty() || path == nullPath;
}

AtspiRef AtspiRef::desktop() {
    return {QStringLiteral("org.a11y.atspi.Registry"), rootPath};
}

AtspiRef AtspiRef::applicationRoot(const QString& service) {
    return {service, rootPath};
}

AtspiClient::AtspiClient(QDBusConnection bus)
    : m_bus(std::move(bus)) {}

AtspiClient::~AtspiClient() {
    for (const QString& name : std::as_const(m_peers))
        if (!name.isEmpty())
            QDBusConnection::disconnectFromPeer(name);
}

QDBusConnection AtspiClient::connectionFor(const QString& service) {
    // Applications that offer a direct connection answer through it without the bus daemon in
    // between: one process less to wake for every call, which counts on a busy machine.
    if (!service.startsWith(QLatin1Char(':')))
        return m_bus;
    auto known = m_peers.find(service);
    if (known == m_peers.end()) {
        const auto reply = callOn(m_bus, service, rootPath, QStringLiteral("org.a11y.atspi.Application"),
                                  QStringLiteral("GetApplicationBusAddress"), {});
        if (!reply)
            return m_bus; // no answer now; ask again next time
        QString name;
        const QString address =
            reply->signature() == QLatin1String("s") ? reply->arguments().constFirst().toString() : QString();
        if (!address.isEmpty()) {
            name = QStringLiteral("trovix-accessibility-peer-%1").arg(++m_peerCount);
            if (!QDBusConnection::connectToPeer(address, name).isConnected()) {
                QDBusConnection::disconnectFromPeer(name);
                name.clear();
            }
        }
        known = m_peers.insert(service, name);
    }
    if (known->isEmpty())
        return m_bus;
    QDBusConnection peer(*known);
    if (!peer.isConnected()) {
        QDBusConnection::disconnectFromPeer(*known);
        known->clear();
        return m_bus;
    }
    return peer;
}

std::optional<QDBusMessage> AtspiClient::call(const QString& service, const QString& path,
                                              const QString& interface, const QString& method,
                                              const QList<QVariant>& arguments) {
    return callOn(connectionFor(service), service, path, interface, method, arguments);
}

std::optional<QDBusMessage> AtspiClient::callOn(const QDBusConnection& connection, const QString& service,
                                                const QString& path, const QString& interface,
                                                const QString& method, const QList<QVariant>& arguments) {
    using namespace std::chrono;
    const auto left = duration_cast<milliseconds>(m_deadline - Clock::now()).count();
    if (left <= 0 || !connection.isConnected())
        return std::nullopt;
    const int timeout = int(std::min<long long>(left, callTimeoutMs));
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    QDBusMessage reply = connection.call(message, QDBus::Block, timeout);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return std::nullopt;
    return reply;
}

std::optional<QVariant> AtspiClient::property(const AtspiRef& object, const QString& interface,
                                              const QString& name) {
    if (object.isNull())
        return std::nullopt;
    const auto reply = call(object.service, object.path, QStringLiteral("org.freedesktop.DBus.Properties"),
                            QStringLiteral("Get"), {interface, name});
    if (!reply || reply->signature() != QLatin1String("v") || reply->arguments().isEmpty())
        return std::nullopt;
    return reply->arguments().constFirst().value<QDBusVariant>().variant();
}

std::optional<QList<AtspiRef>> AtspiClient::children(const AtspiRef& object) {
    if (object.isNull())
        return std::nullopt;
    const auto reply = call(object.service, object.path, accessibleInterface, QStringLiteral("GetChildren"));
    if (!reply)
        return std::nullopt;
    const auto argument = firstArgument(*reply, QLatin1String("a(so)"));
    if (!argument)
        return std::nullopt;
    QList<AtspiRef> list;
    argument->beginArray();
    while (!argument->atEnd()) {
        const auto ref = readRef(*argument);
        if (!ref)
            return std::nullopt;
        list.append(*ref);
    }
    argument->endArray();
    return list;
}

std::optional<QList<AtspiRef>> AtspiClient::descendantsWith(const AtspiRef& object, quint64 states,
                                                            std::optional<uint> role, int limit) {
    static const QMetaType registered = qDBusRegisterMetaType<MatchRule>();
    Q_UNUSED(registered);
    if (object.isNull() || (role && *role >= 128))
        return std::nullopt;
    MatchRule rule;
    rule.states = states;
    if (role)
        rule.roles[int(*role / 32)] = int(1u << (*role % 32));
    constexpr uint canonicalOrder = 1;
    const auto reply = call(object.service, object.path, QStringLiteral("org.a11y.atspi.Collection"),
                            QStringLiteral("GetMatches"),
                            {QVariant::fromValue(rule), QVariant::fromValue(canonicalOrder),
                             QVariant::fromValue(limit), QVariant::fromValue(true)});
    if (!reply)
        return std::nullopt;
    const auto matches = firstArgument(*reply, QLatin1String("a(so)"));
    if (!matches)
        return std::nullopt;
    QList<AtspiRef> list;
    bool whole = true;
    matches->beginArray();
    while (!matches->atEnd()) {
        const std::optional<AtspiRef> ref = readRef(*matches);
        if (!ref) {
            whole = false;
            break;
        }
        list.append(*ref);
    }
    // Each array read is ended, or its reader stays allocated.
    matches->endArray();
    if (!whole)
        return std::nullopt;
    return list;
}

std::optional<AtspiRef> AtspiClient::parent(const AtspiRef& object) {
    const auto value = property(object, accessibleInterface, QStringLiteral("Parent"));
    if (!value || !value->canConvert<QDBusArgument>())
        return std::nullopt;
    return readRef(value->value<QDBusArgument>());
}

std::optional<uint> AtspiClient::role(const AtspiRef& object) {
    if (object.isNull())
        return std::nullopt;
    const auto reply = call(object.service, object.path, accessibleInterface, QStringLiteral("GetRole"));
    if (!reply || reply->signature() != QLatin1String("u"))
        return std::nullopt;
    return reply->arguments().constFirst().toUInt();
}

std::optional<QString> AtspiClient::localizedRoleName(const AtspiRef& object) {
    if (object.isNull())
        return std::nullopt;
    const auto reply =
        call(object.service, object.path, accessibleInterface, QStringLiteral("GetLocalizedRoleName"));
    if (!reply || reply->signature() != QLatin1String("s"))
        return std::nullopt;
    return reply->arguments().constFirst().toString();
}

std::optional<QString> AtspiClient::name(const AtspiRef& object) {
    const auto value = property(object, accessibleInterface, QStringLiteral("Name"));
    if (!value || value->typeId() != QMetaType::QString)
        return std::nullopt;
    return value->toString();
}

std::optional<QString> AtspiClient::description(const AtspiRef& object) {
    const auto value = property(object, accessibleInterface, QStringLiteral("Description"));
    if (!value || value->typeId() != QMetaType::QString)
        return std::nullopt;
    return value->toString();
}

std::optional<quint64> AtspiClient::states(const AtspiRef& object) {
    if (object.isNull())
        return std::nullopt;
    const auto reply = call(object.service, object.path, accessibleInterface, QStringLiteral("GetState"));
    if (!reply)
        return std::nullopt;
    const auto argument = firstArgument(*reply, QLatin1String("au"));
    if (!argument)
        return std::nullopt;
    QList<uint> words;
    argument->beginArray();
    while (!argument->atEnd()) {
        uint word = 0;
        *argument >> word;
        words.append(word);
    }
    argument->endArray();
    if (words.size() != 2)
        return std::nullopt;
    return quint64(words[0]) | (quint64(words[1]) << 32);
}

std::optional<QRect> AtspiClient::extents(const AtspiRef& object) {
    if (object.isNull())
        return std::nullopt;
    const auto reply = call(object.service, object.path, componentInterface, QStringLiteral("GetExtents"),
                            {QVariant::fromValue(screenCoordinates)});
    if (!reply)
        return std::nullopt;
    const auto argument = firstArgument(*reply, QLatin1String("(iiii)"));
    if (!argument)
        return std::nullopt;
    int x = 0, y = 0, width = 0, height = 0;
    argument->beginStructure();
    *argument >> x >> y >> width >> height;
    argument->endStructure();
    if (width < 0 || height < 0)
        return std::nullopt;
    return QRect(x, y, width, height);
}

std::optional<AtspiRef> AtspiClient::accessibleAtPoint(const AtspiRef& object, QPoint point) {
    if (object.isNull())
        return std::nullopt;
    const auto reply =
        call(object.service, object.path, componentInterface, QStringLiteral("GetAccessibleAtPoint"),
             {QVariant::fromValue(point.x()), QVariant::fromValue(point.y()),
              QVariant::fromValue(screenCoordinates)});
    if (!reply)
        return std::nullopt;
    const auto argument = firstArgument(*reply, QLatin1String("(so)"));
    if (!argument)
        return std::nullopt;
    return readRef(*argument);
}

std::optional<QString> AtspiClient::text(const AtspiRef& object, int maxCharacters) {
    const auto count = property(object, textInterface, QStringLiteral("CharacterCount"));
    if (!count || count->typeId() != QMetaType::Int)
        return std::nullopt;
    const int end = std::min(count->toInt(), maxCharacters);
    if (end <= 0)
        return QString();
    const auto reply = call(object.service, object.path, textInterface, QStringLiteral("GetText"),
                            {QVariant::fromValue(0), QVariant::fromValue(end)});
    if (!reply || reply->signature() != QLatin1String("s"))
        return std::nullopt;
    return reply->arguments().constFirst().toString();
}

std::optional<AtspiRef> AtspiClient::focusedIn(const AtspiRef& root) {
    constexpr int focusedState = 12;
    const auto found = descendantsWith(root, quint64(1) << focusedState, std::nullopt, 1);
    if (!found)
        return std::nullopt;
    return found->isEmpty() ? AtspiRef() : found->constFirst();
}

std::optional<uint> AtspiClient::processId(const QString& service) {
    if (const auto known = m_pids.constFind(service); known != m_pids.constEnd())
        return *known;
    const auto reply =
        call(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
             QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetConnectionUnixProcessID"), {service});
    if (!reply || reply->signature() != QLatin1String("u"))
        return std::nullopt;
    const uint pid = reply->arguments().constFirst().toUInt();
    m_pids.insert(service, pid);
    return pid;
}

} // namespace trovix
