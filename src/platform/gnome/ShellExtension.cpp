#include "platform/gnome/ShellExtension.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace trovix {

namespace {

const QString extensionsInterface = QStringLiteral("org.gnome.Shell.Extensions");
const QString shellPath = QStringLiteral("/org/gnome/Shell");
constexpr int askTimeoutMs = 1000;

// The Shell's ExtensionState values.
enum ShellState {
    shellEnabled = 1,
    shellDisabled = 2,
    shellError = 3,
    shellOutOfDate = 4,
    shellInitialized = 6
};

QString tr(const char* text) {
    return QCoreApplication::translate("trovix::ShellExtension", text);
}

} // namespace

bool ShellExtension::isShellRunning(const QDBusConnection& bus) {
    return bus.isConnected() && bus.interface() &&
           bus.interface()->isServiceRegistered(QString::fromLatin1(shellService)).value();
}

QString ShellExtension::installedFolder() {
    QStringList roots{QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)};
    const QString dataDirs =
        qEnvironmentVariable("XDG_DATA_DIRS", QStringLiteral("/usr/local/share:/usr/share"));
    roots += dataDirs.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString& root : roots) {
        const QString folder = root + QStringLiteral("/gnome-shell/extensions/") + QLatin1String(uuid);
        if (QFileInfo::exists(folder + QStringLiteral("/metadata.json")))
            return folder;
    }
    return {};
}

ShellExtension::State ShellExtension::state(const QDBusConnection& bus) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(shellService), shellPath, extensionsInterface,
                                       QStringLiteral("GetExtensionInfo"));
    call.setArguments({QString::fromLatin1(uuid)});
    const QDBusMessage reply = bus.call(call, QDBus::Block, askTimeoutMs);
    const bool onDisk = !installedFolder().isEmpty();
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return onDisk ? State::notLoaded : State::notInstalled;
    const QVariantMap info = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
    if (info.isEmpty())
        return onDisk ? State::notLoaded : State::notInstalled;
    switch (int(info.value(QStringLiteral("state")).toDouble())) {
    case shellEnabled:
        return State::enabled;
    case shellError:
    case shellOutOfDate:
        return State::failed;
    case shellDisabled:
    case shellInitialized:
    default:
        return State::disabled;
    }
}

bool ShellExtension::canEnable(const QDBusConnection& bus) {
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(shellService), shellPath,
                                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                                       QStringLiteral("Get"));
    call.setArguments({extensionsInterface, QStringLiteral("UserExtensionsEnabled")});
    const QDBusMessage reply = bus.call(call, QDBus::Block, askTimeoutMs);
    // Without the property (an older Shell) enabling is still worth a try.
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool ShellExtension::enable(const QDBusConnection& bus, QString* error) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QString::fromLatin1(shellService), shellPath, extensionsInterface, QStringLiteral("EnableExtension"));
    call.setArguments({QString::fromLatin1(uuid)});
    const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
        reply.arguments().constFirst().toBool())
        return true;
    if (error)
        *error = reply.type() == QDBusMessage::ErrorMessage
                     ? reply.errorMessage()
                     : tr("GNOME Shell did not switch the extension on.");
    return false;
}

QString ShellExtension::reason(State state) {
    switch (state) {
    case State::enabled:
        return {};
    case State::disabled:
        return tr("Click recording in GNOME needs the “Trovix click recording” extension, which is "
                  "installed but switched off. Switch it on in the Extensions application (or run "
                  "“gnome-extensions enable trovix@trovix.github.io”), then try again.");
    case State::failed:
        return tr("GNOME Shell could not run the “Trovix click recording” extension (it may not "
                  "support this version of GNOME). Reinstall Trovix, log out and back in, then try "
                  "again.");
    case State::notLoaded:
        return tr("Click recording in GNOME needs the “Trovix click recording” extension, which "
                  "GNOME Shell loads at login. Log out and back in, switch the extension on in the "
                  "Extensions application, then try again.");
    case State::notInstalled:
        break;
    }
    return tr("Click recording in GNOME needs the “Trovix click recording” Shell extension, which "
              "is not installed. Install Trovix from its package, log out and back in, and switch the "
              "extension on. Until then, capture each step with Capture Region (Ctrl+Alt+S).");
}

} // namespace trovix
