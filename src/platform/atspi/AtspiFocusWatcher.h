#pragma once

#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

namespace trovix {

// Follows the keyboard focus across the desktop's applications through the accessibility bus's
// focus events, which applications send once someone has asked the registry for them. Lives on the
// main thread and never blocks it: the bus is found and joined asynchronously. Focus inside this
// process's own windows is none of its business: those events are dropped, the others kept in order.
class AtspiFocusWatcher : public QObject {
    Q_OBJECT
public:
    explicit AtspiFocusWatcher(QObject* parent = nullptr);
    ~AtspiFocusWatcher() override;

    // The object that has the focus as {bus name, object path}; empty when none is known.
    QStringList focused() const { return m_focused; }

Q_SIGNALS:
    // The focus moved to another object, or away from the known one to something unknown (empty).
    void focusChanged(const QStringList& focused);

private Q_SLOTS:
    void stateChanged(const QDBusMessage& message);

private:
    void join(const QString& address);
    void registerEvent(const QString& method);
    // Hands on the waiting events in order, up to the first from an application not yet known.
    void handOn();
    void apply(const QStringList& object, bool focused);

    struct Event {
        QStringList object;
        bool focused;
    };

    QString m_connectionName;
    bool m_joined = false;
    QStringList m_focused;
    QList<Event> m_waiting;
    // Whether an application's bus name is this process's own; absent while being asked.
    QHash<QString, bool> m_own;
    QStringList m_asking;
};

} // namespace trovix
