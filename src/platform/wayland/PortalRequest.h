#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QVariantList>
#include <QVariantMap>

class QTimer;

namespace trovix {

// One call of a desktop portal method that answers later, through the Response signal of a Request
// object: the request's path is known before the call (from a handle_token of our own), so the
// answer cannot slip by before we listen for it.
class PortalRequest : public QObject {
    Q_OBJECT
public:
    struct Result {
        enum class Status {
            answered,  // the portal answered: see response
            noAnswer,  // nothing within the time allowed
            callFailed // the method call itself failed (no portal, no such method): see error
        };
        Status status = Status::noAnswer;
        // 0 success, 1 cancelled by the user, 2 refused or failed in another way.
        uint response = 2;
        QVariantMap results;
        QString error;
    };

    static inline const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
    static inline const QString path = QStringLiteral("/org/freedesktop/portal/desktop");

    // Calls `method` of `interface` with `arguments` followed by `options` (which get a handle_token).
    // finished() is emitted once, on this object's thread; `timeoutMs` after the call at the latest.
    PortalRequest(const QDBusConnection& bus, const QString& interface, const QString& method,
                  const QVariantList& arguments, QVariantMap options, int timeoutMs,
                  QObject* parent = nullptr);
    ~PortalRequest() override;

    // The same, waited for on the calling thread (any thread) with an event loop of its own.
    static Result call(const QDBusConnection& bus, const QString& interface, const QString& method,
                       const QVariantList& arguments, const QVariantMap& options, int timeoutMs);

Q_SIGNALS:
    void finished(const trovix::PortalRequest::Result& result);

private Q_SLOTS:
    void onResponse(uint response, const QVariantMap& results);

private:
    void listen(const QString& requestPath);
    void end(Result result);

    QDBusConnection m_bus;
    QString m_listening;
    QTimer* m_timer;
    bool m_done = false;
};

} // namespace trovix
