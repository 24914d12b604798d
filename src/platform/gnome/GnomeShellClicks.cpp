#include "platform/gnome/GnomeShellClicks.h"

#include "platform/compositor/ReportedClicksWatch.h"
#include "platform/gnome/ScreenCastFrames.h"
#include "platform/gnome/ShellExtension.h"

#include <QCoreApplication>

namespace trovix {

// One recording's subscription, in GNOME Shell's words: the extension may also be switched off.
class GnomeShellWatch : public ReportedClicksWatch {
    Q_OBJECT
public:
    GnomeShellWatch(QDBusConnection bus, ClickMonitor::Handler handler, ClickMonitor::LostHandler lost)
        : ReportedClicksWatch(std::move(bus), QString::fromLatin1(ShellExtension::shellService),
                              std::move(handler), std::move(lost)) {}

protected:
    QString nameTaken(const QString& name) const override {
        return tr("Another program holds Trovix’s name on the session bus (%1), so GNOME Shell "
                  "would send it the clicks. Quit it, then try again.")
            .arg(name);
    }
    QString notStarted(const QString& why) const override {
        return tr("GNOME Shell’s Trovix extension did not start recording: %1").arg(why);
    }
    QString hostLeft() const override {
        return tr("GNOME Shell stopped, so Trovix can no longer see your clicks.");
    }
    QString notAnswering(const QString& why) const override {
        return tr("GNOME Shell’s Trovix extension stopped answering (%1), so recording stopped.").arg(why);
    }
    void watchHost() override {
        m_bus.connect(m_host, QStringLiteral("/org/gnome/Shell"),
                      QStringLiteral("org.gnome.Shell.Extensions"), QStringLiteral("ExtensionStateChanged"),
                      this, SLOT(extensionChanged(QString, QVariantMap)));
    }
    // Pictures from mutter's screen cast; where it cannot stream, the recorder takes each click's
    // picture through the screenshot portal instead.
    void reporting() override {
        if (qEnvironmentVariable("TROVIX_GNOME_PICTURES") == QLatin1String("portal"))
            return;
        auto frames = std::make_unique<ScreenCastFrames>(m_bus);
        QString why;
        if (frames->start(&why))
            m_frames = std::move(frames);
        else
            qWarning("trovix: click pictures come from the screenshot portal: %s", qPrintable(why));
    }
    // A popup menu closes with the click: its picture is the screen as the press found it, the item
    // still showing under the pointer.
    void complete(PlatformClick& click, uint time) override {
        if (m_frames)
            click.screen = m_frames->after(click.nativePosition, time,
                                           click.window->popup ? ScreenCastFrames::Moment::press
                                                               : ScreenCastFrames::Moment::settled);
    }

private Q_SLOTS:
    void extensionChanged(const QString& uuid, const QVariantMap& state) {
        if (uuid != QLatin1String(ShellExtension::uuid))
            return;
        if (int(state.value(QStringLiteral("state")).toDouble()) != 1)
            lose(tr("The “Trovix click recording” extension was switched off in GNOME Shell, so "
                    "recording stopped. Switch it on again to record clicks."));
    }

private:
    std::unique_ptr<ScreenCastFrames> m_frames;
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
