#include "WidgetFactory.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QThread>

#include <atspi/atspi-constants.h>
#include <csignal>

namespace trovix {

WidgetFactory::WidgetFactory() = default;

WidgetFactory::~WidgetFactory() {
    if (m_process.state() != QProcess::NotRunning) {
        resume();
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

bool WidgetFactory::start() {
    const QDBusMessage reply = QDBusConnection::sessionBus().call(
        QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                       QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress")));
    if (reply.type() != QDBusMessage::ReplyMessage) {
        m_error = QStringLiteral("the accessibility bus does not answer: ") + reply.errorMessage();
        return false;
    }
    QDBusConnection bus = QDBusConnection::connectToBus(reply.arguments().constFirst().toString(),
                                                        QStringLiteral("widget-factory-test"));
    if (!bus.isConnected()) {
        m_error = QStringLiteral("cannot connect to the accessibility bus");
        return false;
    }
    m_client = std::make_unique<AtspiClient>(bus);

    m_process.setProgram(QStringLiteral("gtk3-widget-factory"));
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start();
    if (!m_process.waitForStarted(10000)) {
        m_error = QStringLiteral("gtk3-widget-factory does not start: ") + m_process.errorString();
        return false;
    }
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 30000) {
        if (find(QStringLiteral("toggle button"), QStringLiteral("togglebutton")))
            return true;
        QThread::msleep(200);
    }
    m_error = QStringLiteral("gtk3-widget-factory shows no controls on the accessibility bus");
    return false;
}

void WidgetFactory::walk(const AtspiRef& object, int depth, QList<Control>& out) {
    if (depth > 40)
        return;
    const auto children = m_client->children(object);
    if (!children)
        return;
    for (const AtspiRef& child : *children) {
        const quint64 states = m_client->states(child).value_or(0);
        if (!(states & (quint64(1) << ATSPI_STATE_SHOWING)))
            continue;
        Control control;
        control.role = m_client->localizedRoleName(child).value_or(QString());
        control.name = m_client->name(child).value_or(QString());
        control.text = m_client->text(child, 200).value_or(QString());
        control.extents = m_client->extents(child).value_or(QRect());
        out.append(control);
        walk(child, depth + 1, out);
    }
}

QList<WidgetFactory::Control> WidgetFactory::controls() {
    QList<Control> out;
    const auto applications = m_client->children(AtspiRef::desktop());
    if (!applications)
        return out;
    for (const AtspiRef& application : *applications) {
        if (m_client->processId(application.service) == uint(pid()))
            walk(AtspiRef::applicationRoot(application.service), 0, out);
    }
    return out;
}

std::optional<WidgetFactory::Control> WidgetFactory::find(const QString& role, const QString& label,
                                                          int index) {
    for (const Control& control : controls()) {
        if (control.role == role && (control.name == label || control.text == label) &&
            !control.extents.isEmpty() && index-- == 0)
            return control;
    }
    return std::nullopt;
}

void WidgetFactory::activate() {
    // The window manager may still be settling in; try again for a few seconds.
    const QString script = QStringLiteral("xdotool search --onlyvisible --pid %1 | head -n1 | "
                                          "xargs -r xdotool windowactivate --sync")
                               .arg(pid());
    for (int attempt = 0; attempt < 20; ++attempt) {
        if (QProcess::execute(QStringLiteral("sh"),
                              {QStringLiteral("-c"), script + QStringLiteral(" 2>/dev/null")}) == 0)
            return;
        QThread::msleep(200);
    }
}

void WidgetFactory::pause() {
    ::kill(pid_t(pid()), SIGSTOP);
}

void WidgetFactory::resume() {
    ::kill(pid_t(pid()), SIGCONT);
}

} // namespace trovix
