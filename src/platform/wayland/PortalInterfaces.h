#pragma once

#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QMutex>
#include <QStringList>

namespace trovix {

// Which portal interfaces this session's desktop offers. What a desktop offers depends on its portal
// backend, not on its name, so it is read from the portal itself: asked once, in the background,
// from the start, and remembered.
class PortalInterfaces {
public:
    explicit PortalInterfaces(const QDBusConnection& bus);

    // Waits for the answer the first time (a portal started on demand takes a moment).
    bool offers(const QString& interface) const;
    // Why nothing is offered, when the portal could not be asked; empty otherwise.
    QString failure() const;

private:
    void settle() const;

    mutable QMutex m_mutex;
    mutable QDBusPendingCall m_call;
    mutable bool m_settled = false;
    mutable QStringList m_interfaces;
    mutable QString m_failure;
};

} // namespace trovix
