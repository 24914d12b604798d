#include "app/AppDelegate.h"
#include "app/CommandLine.h"
#include "app/Icons.h"
#include "app/SingleInstance.h"
#include "document/GuideStore.h"
#include "i18n/Translations.h"
#include "library/Library.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QSessionManager>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
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

// Whether Qt can open a display at all; without one it would abort with its own platform error.
bool hasDisplay() {
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY") ||
           qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
}

void print(FILE* stream, const QString& text) {
    std::fputs(text.toLocal8Bit().constData(), stream);
}

// Help, version, a usage error or the lack of a display: what is printed, and the exit status.
int answerWithoutWindows(const trovix::CommandLine& line) {
    switch (line.action) {
    case trovix::CommandLine::Action::help:
        print(stdout, trovix::CommandLine::usage());
        return 0;
    case trovix::CommandLine::Action::version:
        print(stdout, trovix::CommandLine::versionText());
        return 0;
    case trovix::CommandLine::Action::invalid:
        print(stderr, QStringLiteral("trovix: %1\n\n").arg(line.error) + trovix::CommandLine::usage());
        return 2;
    case trovix::CommandLine::Action::run:
        break;
    }
    print(stderr, QStringLiteral("trovix: %1\n")
                      .arg(QCoreApplication::translate("trovix::CommandLine",
                                                       "cannot start: no display to show windows on "
                                                       "(neither DISPLAY nor WAYLAND_DISPLAY is set)")));
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const trovix::CommandLine line = trovix::CommandLine::parse(arguments);
    if (line.action != trovix::CommandLine::Action::run || !hasDisplay()) {
        // No window is needed, but the texts are in the user's language, so parsed again once it is loaded.
        QCoreApplication core(argc, argv);
        trovix::Translations::install();
        return answerWithoutWindows(trovix::CommandLine::parse(arguments));
    }

    QApplication::setOrganizationName(QStringLiteral("Trovix"));
    QApplication::setApplicationName(QStringLiteral("Trovix"));
    QApplication::setDesktopFileName(QStringLiteral("io.github.trovix.Trovix"));
    QApplication application(argc, argv);
    trovix::Translations::install();
    QApplication::setApplicationDisplayName(QStringLiteral("Trovix"));
    // Closing every window leaves Trovix running; it quits from its menus.
    QApplication::setQuitOnLastWindowClosed(false);
    trovix::Icons::ensureTheme();
    QApplication::setWindowIcon(trovix::Icons::application());

    // Guide folders to open, as absolute paths (a second launch may run in another folder).
    QStringList paths;
    for (const QString& argument : line.paths)
        paths.append(QFileInfo(argument).absoluteFilePath());

    if (trovix::SingleInstance::sendToRunning(paths, 2000, line.command))
        return 0;
    trovix::SingleInstance instance;
    instance.listen();

    trovix::AppDelegate app;
    QObject::connect(&instance, &trovix::SingleInstance::openRequested, &app,
                     &trovix::AppDelegate::openRequest);
    QObject::connect(&instance, &trovix::SingleInstance::commandRequested, &app,
                     &trovix::AppDelegate::runCommand);
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
    if (!line.command.isEmpty()) // once the event loop runs, as from a running instance
        QMetaObject::invokeMethod(
            &app, [&app, command = line.command] { app.runCommand(command); }, Qt::QueuedConnection);
    const int status = application.exec();
    // A library scan may have left a thread in a read that never returns (a hung network mount). Once
    // the working copy is on the disk, Trovix ends without it: the process must not wait on the disk.
    if (!trovix::Library::waitForScanThreads(300)) {
        trovix::GuideStore::waitForBackgroundWrites();
        std::fflush(nullptr);
        ::_exit(status);
    }
    return status;
}
