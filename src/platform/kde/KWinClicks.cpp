#include "platform/kde/KWinClicks.h"

#include "platform/compositor/ReportedClicksWatch.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>

namespace trovix {

namespace {

const QString effectsPath = QStringLiteral("/Effects");
const QString effectsInterface = QStringLiteral("org.kde.kwin.Effects");
constexpr int askTimeoutMs = 1000;

QDBusMessage effectsCall(const QString& method, const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(KWinClicks::kwinService),
                                                       effectsPath, effectsInterface, method);
    call.setArguments(arguments);
    return call;
}

bool answeredTrue(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
           reply.arguments().constFirst().toBool();
}

QString tr(const char* text) {
    return QCoreApplication::translate("trovix::KWinClicks", text);
}

} // namespace

// One recording's subscription, in KWin's words. An effect unloaded in System Settings leaves no
// notice on the bus: the watch's ping finds it gone.
class KWinWatch : public ReportedClicksWatch {
    Q_OBJECT
public:
    KWinWatch(QDBusConnection bus, ClickMonitor::Handler handler, ClickMonitor::LostHandler lost)
        : ReportedClicksWatch(std::move(bus), QString::fromLatin1(KWinClicks::kwinService),
                              std::move(handler), std::move(lost)) {}

protected:
    QString nameTaken(const QString& name) const override {
        return tr("Another program holds Trovix’s name on the session bus (%1), so KWin would send it "
                  "the clicks. Quit it, then try again.")
            .arg(name);
    }
    QString notStarted(const QString& why) const override {
        return tr("KWin’s Trovix effect did not start recording: %1").arg(why);
    }
    QString hostLeft() const override { return tr("KWin stopped, so Trovix can no longer see your clicks."); }
    QString notAnswering(const QString& why) const override {
        return tr("KWin’s Trovix effect stopped answering (%1), so recording stopped.").arg(why);
    }
};

KWinClicks::KWinClicks(QDBusConnection bus)
    : m_bus(std::move(bus)) {}

bool KWinClicks::isKWinRunning(const QDBusConnection& bus) {
    return bus.isConnected() && bus.interface() &&
           bus.interface()->isServiceRegistered(QString::fromLatin1(kwinService)).value();
}

KWinClicks::State KWinClicks::state() const {
    const QString id = QString::fromLatin1(effectId);
    if (answeredTrue(
            m_bus.call(effectsCall(QStringLiteral("isEffectLoaded"), {id}), QDBus::Block, askTimeoutMs)))
        return State::loaded;
    // KWin looks for effects' plugins afresh each time it is asked, so a newly installed effect is
    // listed without a new login.
    QDBusMessage get = QDBusMessage::createMethodCall(QString::fromLatin1(kwinService), effectsPath,
                                                      QStringLiteral("org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("Get"));
    get.setArguments({effectsInterface, QStringLiteral("listOfEffects")});
    const QDBusMessage reply = m_bus.call(get, QDBus::Block, askTimeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
        reply.arguments().constFirst().value<QDBusVariant>().variant().toStringList().contains(id))
        return State::notLoaded;
    return State::notInstalled;
}

QString KWinClicks::unavailableReason() const {
    if (state() != State::notInstalled)
        return {};
    return tr("Click recording in KDE Plasma needs Trovix’s KWin effect, “Trovix click recording”, "
              "which is not installed for the KWin that runs here. Install Trovix from its package "
              "built for this version of Plasma, then try again. Until then, capture each step with "
              "Capture Region (Ctrl+Alt+S).");
}

bool KWinClicks::load(QString* error) {
    const QDBusMessage reply = m_bus.call(
        effectsCall(QStringLiteral("loadEffect"), {QString::fromLatin1(effectId)}), QDBus::Block, 5000);
    if (answeredTrue(reply))
        return true;
    *error = tr("KWin did not load Trovix’s effect “Trovix click recording”%1. Reinstall Trovix from "
                "its package built for this version of Plasma, then try again.")
                 .arg(reply.type() == QDBusMessage::ErrorMessage
                          ? QStringLiteral(" (%1)").arg(reply.errorMessage())
                          : QString());
    return false;
}

std::unique_ptr<QObject> KWinClicks::watch(Handler handler, LostHandler lost, QString* error) {
    QString why;
    switch (state()) {
    case State::notInstalled:
        why = unavailableReason();
        break;
    case State::notLoaded:
        load(&why);
        break;
    case State::loaded:
        break;
    }
    if (why.isEmpty()) {
        auto watch = std::make_unique<KWinWatch>(m_bus, std::move(handler), std::move(lost));
        if (watch->start(&why))
            return watch;
    }
    if (error)
        *error = why;
    return nullptr;
}

} // namespace trovix

#include "KWinClicks.moc"
