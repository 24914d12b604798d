#include "platform/gnome/GnomeShellClicks.h"

#include "platform/gnome/ScreenCastFrames.h"
#include "platform/gnome/ShellExtension.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QTimer>

namespace trovix {

namespace {

QDBusMessage clicksCall(const QString& method) {
    return QDBusMessage::createMethodCall(QString::fromLatin1(ShellExtension::shellService),
                                          QString::fromLatin1(ShellExtension::clicksPath),
                                          QString::fromLatin1(ShellExtension::clicksInterface), method);
}

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

// How often the recording checks that the extension still answers: a Shell that hangs, or an
// extension switched off in a way that sends no notice, still ends the recording with a reason.
constexpr int pingIntervalMs = 2000;

} // namespace

// One recording's subscription: started with the extension's Start, ended with its Stop.
class GnomeShellWatch : public QObject {
    Q_OBJECT
public:
    GnomeShellWatch(QDBusConnection bus, ClickMonitor::Handler handler, ClickMonitor::LostHandler lost)
        : m_bus(std::move(bus))
        , m_handler(std::move(handler))
        , m_lost(std::move(lost))
        , m_shell(QString::fromLatin1(ShellExtension::shellService), m_bus,
                  QDBusServiceWatcher::WatchForUnregistration) {}

    ~GnomeShellWatch() override {
        if (m_started)
            m_bus.send(clicksCall(QStringLiteral("Stop")));
    }

    bool start(QString* error) {
        // The extension reports only to the owner of Trovix's name.
        const QString name = QString::fromLatin1(ShellExtension::ownerName);
        QDBusConnectionInterface* bus = m_bus.interface();
        if (bus->serviceOwner(name).value() != m_bus.baseService() && !m_bus.registerService(name)) {
            *error = tr("Another program holds Trovix’s name on the session bus (%1), so GNOME Shell "
                        "would send it the clicks. Quit it, then try again.")
                         .arg(name);
            return false;
        }
        m_bus.connect(QString::fromLatin1(ShellExtension::shellService),
                      QString::fromLatin1(ShellExtension::clicksPath),
                      QString::fromLatin1(ShellExtension::clicksInterface), QStringLiteral("Click"), this,
                      SLOT(clicked(int, int, uint, QVariantMap)));
        m_bus.connect(QString::fromLatin1(ShellExtension::shellService), QStringLiteral("/org/gnome/Shell"),
                      QStringLiteral("org.gnome.Shell.Extensions"), QStringLiteral("ExtensionStateChanged"),
                      this, SLOT(extensionChanged(QString, QVariantMap)));
        const QDBusMessage reply = m_bus.call(clicksCall(QStringLiteral("Start")), QDBus::Block, 3000);
        if (reply.type() != QDBusMessage::ReplyMessage) {
            *error =
                tr("GNOME Shell’s Trovix extension did not start recording: %1").arg(reply.errorMessage());
            return false;
        }
        m_started = true;
        connect(&m_shell, &QDBusServiceWatcher::serviceUnregistered, this,
                [this] { lose(tr("GNOME Shell stopped, so Trovix can no longer see your clicks.")); });
        m_ping.setInterval(pingIntervalMs);
        connect(&m_ping, &QTimer::timeout, this, &GnomeShellWatch::ping);
        m_ping.start();
        // Pictures from mutter's screen cast; where it cannot stream, the recorder takes each
        // click's picture through the screenshot portal instead.
        if (qEnvironmentVariable("TROVIX_GNOME_PICTURES") != QLatin1String("portal")) {
            auto frames = std::make_unique<ScreenCastFrames>(m_bus);
            QString why;
            if (frames->start(&why))
                m_frames = std::move(frames);
            else
                qWarning("trovix: click pictures come from the screenshot portal: %s", qPrintable(why));
        }
        return true;
    }

private Q_SLOTS:
    void clicked(int x, int y, uint time, const QVariantMap& window) {
        if (m_lostAlready)
            return;
        PlatformClick click;
        click.nativePosition = QPoint(x, y);
        ClickedWindow clicked;
        clicked.appId = window.value(QStringLiteral("appId")).toString();
        clicked.wmClass = window.value(QStringLiteral("wmClass")).toString();
        clicked.title = window.value(QStringLiteral("title")).toString();
        clicked.pid = window.value(QStringLiteral("pid")).toLongLong();
        clicked.frame = rectangle(window.value(QStringLiteral("frame")));
        clicked.buffer = rectangle(window.value(QStringLiteral("buffer")));
        clicked.popup = window.value(QStringLiteral("popup")).toBool();
        click.window = clicked;
        // A popup menu closes with the click: its picture is the screen as the press found it, the
        // item still showing under the pointer.
        if (m_frames)
            click.screen = m_frames->after(click.nativePosition, time,
                                           clicked.popup ? ScreenCastFrames::Moment::press
                                                         : ScreenCastFrames::Moment::settled);
        m_handler(click);
    }

    void extensionChanged(const QString& uuid, const QVariantMap& state) {
        if (uuid != QLatin1String(ShellExtension::uuid))
            return;
        if (int(state.value(QStringLiteral("state")).toDouble()) != 1)
            lose(tr("The “Trovix click recording” extension was switched off in GNOME Shell, so "
                    "recording stopped. Switch it on again to record clicks."));
    }

private:
    void ping() {
        if (m_pinging)
            return;
        m_pinging = true;
        QDBusMessage get = QDBusMessage::createMethodCall(QString::fromLatin1(ShellExtension::shellService),
                                                          QString::fromLatin1(ShellExtension::clicksPath),
                                                          QStringLiteral("org.freedesktop.DBus.Properties"),
                                                          QStringLiteral("Get"));
        get.setArguments({QString::fromLatin1(ShellExtension::clicksInterface), QStringLiteral("Version")});
        auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(get, 5000), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            watcher->deleteLater();
            m_pinging = false;
            if (watcher->isError())
                lose(tr("GNOME Shell’s Trovix extension stopped answering (%1), so recording stopped.")
                         .arg(watcher->error().message()));
        });
    }

    void lose(const QString& reason) {
        if (m_lostAlready)
            return;
        m_lostAlready = true;
        m_ping.stop();
        if (m_lost) {
            // The handler usually destroys this object: let it do so outside this object's own call.
            QTimer::singleShot(0, QCoreApplication::instance(), [lost = m_lost, reason] { lost(reason); });
        }
    }

    QDBusConnection m_bus;
    ClickMonitor::Handler m_handler;
    ClickMonitor::LostHandler m_lost;
    QDBusServiceWatcher m_shell;
    QTimer m_ping;
    std::unique_ptr<ScreenCastFrames> m_frames;
    bool m_started = false;
    bool m_pinging = false;
    bool m_lostAlready = false;
};

GnomeShellClicks::GnomeShellClicks(QDBusConnection bus)
    : m_bus(std::move(bus)) {}

QString GnomeShellClicks::unavailableReason() const {
    return ShellExtension::reason(ShellExtension::state(m_bus));
}

QString GnomeShellClicks::enableOffer() const {
    if (ShellExtension::state(m_bus) != ShellExtension::State::disabled || !ShellExtension::canEnable(m_bus))
        return {};
    return QCoreApplication::translate("trovix::GnomeShellClicks", "Switch On");
}

bool GnomeShellClicks::enable(QString* error) {
    return ShellExtension::enable(m_bus, error);
}

std::unique_ptr<QObject> GnomeShellClicks::watch(Handler handler, LostHandler lost, QString* error) {
    QString why = unavailableReason();
    auto watch = std::make_unique<GnomeShellWatch>(m_bus, std::move(handler), std::move(lost));
    if (why.isEmpty() && watch->start(&why))
        return watch;
    if (error)
        *error = why;
    return nullptr;
}

} // namespace trovix

#include "GnomeShellClicks.moc"
