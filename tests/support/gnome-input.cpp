// A pointer and keyboard for a headless GNOME Shell, through mutter's remote desktop interface (the
// session lasts as long as this process's bus connection). Reads commands, one a line, from standard
// input, like virtual-pointer.cpp:
//     move X Y [WIDTH HEIGHT]   the pointer to X, Y of the desktop (the size is ignored)
//     press | release           the left button
//     key KEYSYM[+KEYSYM…]      presses the keys in turn and releases them in reverse (X keysyms in
//                               hex: ff1b is Escape, ffe3+61 is Ctrl+A)
//     wait MS                   lets the Shell take the input so far before the next line
// Writes "ready" to standard output once input can be sent.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

const QString remoteDesktop = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString screenCast = QStringLiteral("org.gnome.Mutter.ScreenCast");
constexpr int leftButton = 272; // BTN_LEFT

template <typename T>
T expect(const QDBusReply<T>& reply, const char* what) {
    if (!reply.isValid()) {
        std::fprintf(stderr, "gnome-input: %s failed: %s\n", what, qPrintable(reply.error().message()));
        std::exit(1);
    }
    return reply.value();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusInterface desktop(remoteDesktop, QStringLiteral("/org/gnome/Mutter/RemoteDesktop"), remoteDesktop,
                           bus);
    const QDBusObjectPath sessionPath =
        expect(QDBusReply<QDBusObjectPath>(desktop.call(QStringLiteral("CreateSession"))), "CreateSession");
    QDBusInterface session(remoteDesktop, sessionPath.path(), remoteDesktop + QStringLiteral(".Session"),
                           bus);
    const QString sessionId = session.property("SessionId").toString();

    // Absolute motion is relative to a screen cast stream of the monitor.
    QDBusInterface cast(screenCast, QStringLiteral("/org/gnome/Mutter/ScreenCast"), screenCast, bus);
    const QDBusObjectPath castPath =
        expect(QDBusReply<QDBusObjectPath>(
                   cast.call(QStringLiteral("CreateSession"),
                             QVariantMap{{QStringLiteral("remote-desktop-session-id"), sessionId}})),
               "ScreenCast.CreateSession");
    QDBusInterface castSession(screenCast, castPath.path(), screenCast + QStringLiteral(".Session"), bus);
    const QDBusObjectPath streamPath = expect(QDBusReply<QDBusObjectPath>(castSession.call(
                                                  QStringLiteral("RecordMonitor"), QString(), QVariantMap())),
                                              "RecordMonitor");
    QEventLoop streamReady;
    bus.connect(screenCast, streamPath.path(), screenCast + QStringLiteral(".Stream"),
                QStringLiteral("PipeWireStreamAdded"), &streamReady, SLOT(quit()));
    const QDBusMessage started = session.call(QStringLiteral("Start"));
    if (started.type() == QDBusMessage::ErrorMessage) {
        std::fprintf(stderr, "gnome-input: Start failed: %s\n", qPrintable(started.errorMessage()));
        return 1;
    }
    QTimer::singleShot(20000, &streamReady, &QEventLoop::quit);
    streamReady.exec();

    const auto call = [&](const QString& method, const QVariantList& args) {
        const QDBusMessage reply = session.callWithArgumentList(QDBus::Block, method, args);
        if (reply.type() == QDBusMessage::ErrorMessage)
            std::fprintf(stderr, "gnome-input: %s failed: %s\n", qPrintable(method),
                         qPrintable(reply.errorMessage()));
    };
    std::printf("ready\n");
    std::fflush(stdout);

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    std::string pending;
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[4096];
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got <= 0) {
            app.quit();
            return;
        }
        pending.append(buffer, size_t(got));
        for (size_t end; (end = pending.find('\n')) != std::string::npos; pending.erase(0, end + 1)) {
            const QString line = QString::fromStdString(pending.substr(0, end));
            const QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (words.isEmpty())
                continue;
            if (words[0] == QLatin1String("move") && words.size() >= 3)
                call(QStringLiteral("NotifyPointerMotionAbsolute"),
                     {streamPath.path(), words[1].toDouble(), words[2].toDouble()});
            else if (words[0] == QLatin1String("press") || words[0] == QLatin1String("release"))
                call(QStringLiteral("NotifyPointerButton"), {leftButton, words[0] == QLatin1String("press")});
            else if (words[0] == QLatin1String("wait") && words.size() == 2)
                QThread::msleep(words[1].toULong());
            else if (words[0] == QLatin1String("key") && words.size() == 2) {
                const QStringList keys = words[1].split(QLatin1Char('+'));
                for (const QString& key : keys)
                    call(QStringLiteral("NotifyKeyboardKeysym"), {key.toUInt(nullptr, 16), true});
                for (auto key = keys.crbegin(); key != keys.crend(); ++key)
                    call(QStringLiteral("NotifyKeyboardKeysym"), {key->toUInt(nullptr, 16), false});
            }
        }
    });
    return app.exec();
}
