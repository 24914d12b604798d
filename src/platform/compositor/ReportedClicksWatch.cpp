#include "platform/compositor/ReportedClicksWatch.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>

namespace trovix {

namespace {

QRect rectangle(const QVariant& value) {
    if (!value.canConvert<QDBusArgument>())
        return {};
    const QDBusArgument argument = value.value<QDBusArgument>();
    int x = 0, y = 0, width = 0, height = 0;
    argument.beginStructure();
    argument >> x >> y >> width >> height;
    argument.endStructure();
    return QRect(x, y, width, height);
}

// How often the recording checks that the plugin still answers: a host that hangs, or a plugin
// switched off in a way that sends no notice, still ends the recording with a reason.
constexpr int pingIntervalMs = 2000;

} // namespace

ReportedClicksWatch::ReportedClicksWatch(QDBusConnection bus, const QString& host,
                                         ClickMonitor::Handler handler, ClickMonitor::LostHandler lost)
    : m_bus(std::move(bus))
    , m_host(host)
    , m_handler(std::move(handler))
    , m_lost(std::move(lost))
    , m_hostWatcher(host, m_bus, QDBusServiceWatcher::WatchForUnregistration) {}

ReportedClicksWatch::~ReportedClicksWatch() {
    if (m_started)
        m_bus.send(QDBusMessage::createMethodCall(m_host, QString::fromLatin1(clicksPath),
                                                  QString::fromLatin1(clicksInterface),
                                                  QStringLiteral("Stop")));
}

bool ReportedClicksWatch::start(QString* error) {
    const QString name = QString::fromLatin1(ownerName);
    QDBusConnectionInterface* bus = m_bus.interface();
    if (bus->serviceOwner(name).value() != m_bus.baseService() && !m_bus.registerService(name)) {
        *error = nameTaken(name);
        return false;
    }
    m_bus.connect(m_host, QString::fromLatin1(clicksPath), QString::fromLatin1(clicksInterface),
                  QStringLiteral("Click"), this, SLOT(clicked(int, int, uint, QVariantMap)));
    watchHost();
    const QDBusMessage reply = m_bus.call(
        QDBusMessage::createMethodCall(m_host, QString::fromLatin1(clicksPath),
                                       QString::fromLatin1(clicksInterface), QStringLiteral("Start")),
        QDBus::Block, 3000);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        *error = notStarted(reply.errorMessage());
        return false;
    }
    m_started = true;
    connect(&m_hostWatcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] { lose(hostLeft()); });
    m_ping.setInterval(pingIntervalMs);
    connect(&m_ping, &QTimer::timeout, this, &ReportedClicksWatch::ping);
    m_ping.start();
    reporting();
    return true;
}

void ReportedClicksWatch::clicked(int x, int y, uint time, const QVariantMap& window) {
    Q_UNUSED(time);
    if (m_lostAlready)
        return;
    PlatformClick click;
    click.nativePosition = QPoint(x, y);
    click.window = ReportedClicksWatch::window(window);
    complete(click, time);
    m_handler(click);
}

ClickedWindow ReportedClicksWatch::window(const QVariantMap& description) {
    ClickedWindow window;
    window.appId = description.value(QStringLiteral("appId")).toString();
    window.wmClass = description.value(QStringLiteral("wmClass")).toString();
    window.title = description.value(QStringLiteral("title")).toString();
    window.pid = description.value(QStringLiteral("pid")).toLongLong();
    window.frame = rectangle(description.value(QStringLiteral("frame")));
    window.buffer = rectangle(description.value(QStringLiteral("buffer")));
    window.popup = description.value(QStringLiteral("popup")).toBool();
    window.x11 = description.value(QStringLiteral("x11")).toBool();
    return window;
}

void ReportedClicksWatch::ping() {
    if (m_pinging)
        return;
    m_pinging = true;
    QDBusMessage get = QDBusMessage::createMethodCall(m_host, QString::fromLatin1(clicksPath),
                                                      QStringLiteral("org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("Get"));
    get.setArguments({QString::fromLatin1(clicksInterface), QStringLiteral("Version")});
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(get, 5000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        m_pinging = false;
        if (watcher->isError())
            lose(notAnswering(watcher->error().message()));
    });
}

void ReportedClicksWatch::lose(const QString& reason) {
    if (m_lostAlready)
        return;
    m_lostAlready = true;
    m_ping.stop();
    if (m_lost) {
        // The handler usually destroys this object: let it do so outside this object's own call.
        QTimer::singleShot(0, QCoreApplication::instance(), [lost = m_lost, reason] { lost(reason); });
    }
}

} // namespace trovix
