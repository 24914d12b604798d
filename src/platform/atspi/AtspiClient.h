#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QList>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <chrono>
#include <optional>

namespace trovix {

// An object on the accessibility bus: the application's bus name and the object's path.
struct AtspiRef {
    QString service;
    QString path;

    bool isNull() const;
    friend bool operator==(const AtspiRef&, const AtspiRef&) = default;

    static AtspiRef desktop();
    static AtspiRef applicationRoot(const QString& service);
};

// The accessibility protocol's calls, spoken directly over D-Bus. Every call blocks for at most
// the per-call timeout and never past the deadline; a call that fails or runs out of time answers
// nothing. Use one client from one thread.
class AtspiClient {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int callTimeoutMs = 400;

    explicit AtspiClient(QDBusConnection bus);
    ~AtspiClient();
    AtspiClient(const AtspiClient&) = delete;
    AtspiClient& operator=(const AtspiClient&) = delete;

    const QDBusConnection& bus() const { return m_bus; }

    // Calls started after this moment fail at once.
    void setDeadline(Clock::time_point deadline) { m_deadline = deadline; }
    bool expired() const { return Clock::now() >= m_deadline; }

    std::optional<QList<AtspiRef>> children(const AtspiRef& object);
    std::optional<AtspiRef> parent(const AtspiRef& object);
    std::optional<uint> role(const AtspiRef& object);
    std::optional<QString> localizedRoleName(const AtspiRef& object);
    std::optional<QString> name(const AtspiRef& object);
    std::optional<QString> description(const AtspiRef& object);
    // The state bits (bit n set for state n).
    std::optional<quint64> states(const AtspiRef& object);
    // Extents in screen coordinates (native pixels).
    std::optional<QRect> extents(const AtspiRef& object);
    // The child under a screen point; a null reference when there is none.
    std::optional<AtspiRef> accessibleAtPoint(const AtspiRef& object, QPoint point);
    // The interfaces the object implements ("org.a11y.atspi.Text", …).
    std::optional<QStringList> interfaces(const AtspiRef& object);
    // The text of an object that has text, at most maxCharacters of it.
    std::optional<QString> text(const AtspiRef& object, int maxCharacters);
    // The first object below root (root included) that has the keyboard focus, asked of the
    // application in one call; a null reference when none has it.
    std::optional<AtspiRef> focusedIn(const AtspiRef& root);
    // The object's descendants (itself included) with all these states and, when given, this role,
    // in one call (the Collection interface); nothing when the application does not offer that.
    std::optional<QList<AtspiRef>> descendantsWith(const AtspiRef& object, quint64 states,
                                                   std::optional<uint> role, int limit);
    // The process behind a bus name; remembered, since a bus name never changes hands.
    std::optional<uint> processId(const QString& service);

private:
    std::optional<QDBusMessage> call(const QString& service, const QString& path, const QString& interface,
                                     const QString& method, const QList<QVariant>& arguments = {});
    std::optional<QDBusMessage> callOn(const QDBusConnection& connection, const QString& service,
                                       const QString& path, const QString& interface, const QString& method,
                                       const QList<QVariant>& arguments);
    // The way to an application: its own direct connection when it offers one, else the bus.
    QDBusConnection connectionFor(const QString& service);
    std::optional<QVariant> property(const AtspiRef& object, const QString& interface, const QString& name);

    QDBusConnection m_bus;
    Clock::time_point m_deadline = Clock::time_point::max();
    QHash<QString, uint> m_pids;
    QHash<QString, QString> m_peers; // bus name → direct connection's name, empty when none
    int m_peerCount = 0;
};

} // namespace trovix
