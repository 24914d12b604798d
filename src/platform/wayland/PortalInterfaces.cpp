#include "platform/wayland/PortalInterfaces.h"

#include "platform/wayland/PortalRequest.h"

#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QXmlStreamReader>

namespace trovix {

PortalInterfaces::PortalInterfaces(const QDBusConnection& bus)
    : m_call(
          bus.asyncCall(QDBusMessage::createMethodCall(PortalRequest::service, PortalRequest::path,
                                                       QStringLiteral("org.freedesktop.DBus.Introspectable"),
                                                       QStringLiteral("Introspect")),
                        10000)) {}

void PortalInterfaces::settle() const {
    QMutexLocker lock(&m_mutex);
    if (m_settled)
        return;
    m_call.waitForFinished();
    m_settled = true;
    const QDBusPendingReply<QString> reply = m_call;
    if (reply.isError()) {
        m_failure = reply.error().message().isEmpty() ? reply.error().name() : reply.error().message();
        return;
    }
    QXmlStreamReader xml(reply.value());
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("interface"))
            m_interfaces.append(xml.attributes().value(QLatin1String("name")).toString());
        if (xml.name() != QLatin1String("node"))
            xml.skipCurrentElement();
    }
}

bool PortalInterfaces::offers(const QString& interface) const {
    settle();
    return m_interfaces.contains(interface);
}

QString PortalInterfaces::failure() const {
    settle();
    return m_failure;
}

} // namespace trovix
