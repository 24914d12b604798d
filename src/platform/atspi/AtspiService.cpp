#include "platform/atspi/AtspiService.h"

#include "platform/atspi/ApplicationIndex.h"
#include "platform/atspi/AtspiClient.h"
#include "platform/atspi/AtspiDesktop.h"
#include "platform/atspi/DesktopEntries.h"
#include "platform/atspi/X11Windows.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

namespace trovix {

namespace {

const QString a11yService = QStringLiteral("org.a11y.Bus");
const QString a11yPath = QStringLiteral("/org/a11y/bus");

QDBusMessage statusCall(const QString& method, const QList<QVariant>& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        a11yService, a11yPath, QStringLiteral("org.freedesktop.DBus.Properties"), method);
    message.setArguments(arguments);
    return message;
}

std::unique_ptr<AtspiService> service;

void stopService() {
    service.reset();
}

} // namespace

// State that lives on the accessibility thread only.
struct AtspiService::Worker {
    std::unique_ptr<AtspiClient> client;
    std::unique_ptr<X11Windows> windows;
    QString connectionName = QStringLiteral("trovix-accessibility");

    ~Worker() {
        client.reset();
        QDBusConnection::disconnectFromBus(connectionName);
    }

    // Connects to the accessibility bus, whose address the session bus hands out.
    AtspiClient* connect(Clock::time_point deadline) {
        if (client && client->bus().isConnected())
            return client.get();
        client.reset();
        QDBusConnection::disconnectFromBus(connectionName);
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return nullptr;
        QDBusMessage message =
            QDBusMessage::createMethodCall(a11yService, a11yPath, a11yService, QStringLiteral("GetAddress"));
        const QDBusMessage reply =
            QDBusConnection::sessionBus().call(message, QDBus::Block, int(std::min<long long>(left, 1000)));
        if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("s"))
            return nullptr;
        const QString address = reply.arguments().constFirst().toString();
        QDBusConnection bus = QDBusConnection::connectToBus(address, connectionName);
        if (!bus.isConnected())
            return nullptr;
        client = std::make_unique<AtspiClient>(bus);
        return client.get();
    }

    // Whether toolkit accessibility is switched on for the session.
    static bool isEnabled(Clock::time_point deadline) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        const QDBusMessage reply = QDBusConnection::sessionBus().call(
            statusCall(QStringLiteral("Get"),
                       {QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled")}),
            QDBus::Block, int(std::min<long long>(left, AtspiClient::callTimeoutMs)));
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            return false;
        return reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
    }
};

AtspiService& AtspiService::instance() {
    if (!service) {
        service.reset(new AtspiService);
        qAddPostRoutine(stopService);
    }
    return *service;
}

AtspiService::AtspiService()
    : m_applications(std::make_unique<ApplicationIndex>()) {
    m_thread = std::thread([this] { loop(); });
}

AtspiService::~AtspiService() {
    stop();
}

void AtspiService::stop() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void AtspiService::loop() {
    Worker worker;
    for (;;) {
        std::function<void(Worker&)> job;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            if (m_stopping)
                return;
            job = std::move(m_queue.front());
            m_queue.pop_front();
        }
        job(worker);
    }
}

void AtspiService::run(Task task, const ScreenLayout& layout, Clock::time_point deadline,
                       std::optional<ClickedWindow> clicked) {
    const uint ownPid = uint(QCoreApplication::applicationPid());
    {
        std::lock_guard lock(m_mutex);
        m_queue.push_back([this, task = std::move(task), layout, deadline, ownPid, clicked](Worker& worker) {
            if (!worker.windows || !worker.windows->isConnected())
                worker.windows = std::make_unique<X11Windows>();
            AtspiDesktop::Context context;
            context.windows = worker.windows->isConnected() ? worker.windows.get() : nullptr;
            // Asked for only once the control is found: the budget goes to the control first.
            context.entries = [this, deadline] { return m_applications->entries(deadline); };
            context.ownPid = ownPid;
            context.clicked = clicked;
            // Without a bus every call fails at once, which leaves the fallback title.
            AtspiClient offline{QDBusConnection(QString())};
            AtspiClient* client = worker.connect(deadline);
            context.client = client ? client : &offline;
            context.client->setDeadline(deadline);
            context.trusted = client && Worker::isEnabled(deadline);
            const AtspiDesktop desktop(context, layout);
            task(desktop);
        });
    }
    m_wake.notify_one();
}

void AtspiService::prepareApplications() {
    m_applications->prepare();
}

void AtspiService::enableAccessibility() {
    QDBusConnection::sessionBus().send(
        statusCall(QStringLiteral("Set"), {QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"),
                                           QVariant::fromValue(QDBusVariant(true))}));
}

} // namespace trovix
