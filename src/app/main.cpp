#include "app/AppDelegate.h"
#include "app/Icons.h"
#include "app/SingleInstance.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QSessionManager>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

// SIGTERM (logout, shutdown, `kill`) and SIGINT end the application the orderly way, so the working
// copy is written one last time.
void quitOnSignals(trovix::AppDelegate& app) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char byte;
        [[maybe_unused]] const auto read = ::read(signalPipe[0], &byte, 1);
        app.applicationWillTerminate();
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

} // namespace

int main(int argc, char** argv) {
    QApplication::setOrganizationName(QStringLiteral("Trovix"));
    QApplication::setApplicationName(QStringLiteral("Trovix"));
    QApplication::setDesktopFileName(QStringLiteral("trovix"));
    QApplication application(argc, argv);
    QApplication::setApplicationDisplayName(QStringLiteral("Trovix"));
    // Closing every window leaves Trovix running; it quits from its menus.
    QApplication::setQuitOnLastWindowClosed(false);
    trovix::Icons::ensureTheme();
    QApplication::setWindowIcon(trovix::Icons::application());

    // Guide folders to open, as absolute paths (a second launch may run in another folder).
    QStringList paths;
    for (const QString& argument : application.arguments().mid(1))
        if (!argument.startsWith(u'-'))
            paths.append(QFileInfo(argument).absoluteFilePath());

    if (trovix::SingleInstance::sendToRunning(paths))
        return 0;
    trovix::SingleInstance instance;
    instance.listen();

    trovix::AppDelegate app;
    QObject::connect(&instance, &trovix::SingleInstance::openRequested, &app,
                     &trovix::AppDelegate::openRequest);
    quitOnSignals(app);
    // A desktop session that ends asks about unsaved changes when it lets the user answer.
    QObject::connect(&application, &QGuiApplication::commitDataRequest, &app,
                     [&app](QSessionManager& manager) {
                         if (manager.allowsInteraction()) {
                             const bool quit = app.applicationShouldTerminate();
                             manager.release();
                             if (!quit) {
                                 manager.cancel();
                                 return;
                             }
                         }
                         app.applicationWillTerminate();
                     });
    QObject::connect(&application, &QCoreApplication::aboutToQuit, &app,
                     [&app] { app.applicationWillTerminate(); });

    app.launch();
    if (!paths.isEmpty())
        app.openRequest(paths);
    return application.exec();
}
