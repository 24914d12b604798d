#include "platform/wayland/PortalRequest.h"

#include <QAtomicInteger>
#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QEventLoop>
#include <QTimer>

namespace trovix {

namespace {

QString nextToken() {
    static QAtomicInteger<quint32> counter;
    return QStringLiteral("trovix%1_%2").arg(QCoreApplication::applicationPid()).arg(++counter);
}

const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

} // namespace

PortalRequest::PortalRequest(const QDBusConnection& bus, const QString& interface, const QString& method,
                             const QVariantList& arguments, QVariantMap options, int timeoutMs,
                             QObject* parent)
    : QObject(parent)
    , m_bus(bus)
    , m_timer(new QTimer(this)) {
    const QString token = nextToken();
    options.insert(QStringLiteral("handle_token"), token);
    // The portal names the request after our unique bus name without its colon, dots made underscores.
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    listen(QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token));

    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, [this] { end({}); });
    m_timer->start(timeoutMs);

    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments + QVariantList{options});
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *call;
        if (reply.isError()) {
            Result failed;
            failed.status = Result::Status::callFailed;
            failed.error = reply.error().message().isEmpty() ? reply.error().name() : reply.error().message();
            end(failed);
            return;
        }
        // Portals older than the handle_token convention choose the path themselves.
        if (reply.value().path() != m_listening)
            listen(reply.value().path());
    });
}

PortalRequest::~PortalRequest() {
    if (!m_listening.isEmpty())
        m_bus.disconnect(service, m_listening, requestInterface, QStringLiteral("Response"), this,
                         SLOT(onResponse(uint, QVariantMap)));
}

void PortalRequest::listen(const QString& requestPath) {
    if (!m_listening.isEmpty())
        m_bus.disconnect(service, m_listening, requestInterface, QStringLiteral("Response"), this,
                         SLOT(onResponse(uint, QVariantMap)));
    m_listening = requestPath;
    m_bus.connect(service, m_listening, requestInterface, QStringLiteral("Response"), this,
                  SLOT(onResponse(uint, QVariantMap)));
}

void PortalRequest::onResponse(uint response, const QVariantMap& results) {
    Result result;
    result.status = Result::Status::answered;
    result.response = response;
    result.results = results;
    end(result);
}

void PortalRequest::end(Result result) {
    if (m_done)
        return;
    m_done = true;
    m_timer->stop();
    if (result.status == Result::Status::noAnswer && !m_listening.isEmpty()) {
        // Withdraw the question, so no dialog stays up for an answer nobody waits for.
        m_bus.asyncCall(
            QDBusMessage::createMethodCall(service, m_listening, requestInterface, QStringLiteral("Close")));
    }
    Q_EMIT finished(result);
}

PortalRequest::Result PortalRequest::call(const QDBusConnection& bus, const QString& interface,
                                          const QString& method, const QVariantList& arguments,
                                          const QVariantMap& options, int timeoutMs) {
    QEventLoop loop;
    Result answer;
    PortalRequest request(bus, interface, method, arguments, options, timeoutMs);
    connect(&request, &PortalRequest::finished, &loop, [&](const Result& result) {
        answer = result;
        loop.quit();
    });
    if (!request.m_done)
        loop.exec();
    return answer;
}

} // namespace trovix
