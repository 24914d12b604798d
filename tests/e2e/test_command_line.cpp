// The trovix command line: what works without a display, and commands handed to the running
// instance (or run by a first launch) the way a desktop shortcut does it.
#include "DesktopDriver.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QTest>

using namespace trovix::desktop;

namespace {

struct Result {
    int exitCode = -1;
    QString out;
    QString err;
};

Result runTrovix(const QStringList& arguments, bool withDisplay = true) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!withDisplay)
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            environment.remove(QString::fromLatin1(name));
    process.setProcessEnvironment(environment);
    process.start(trovixBinary(), arguments);
    if (!process.waitForFinished(20000)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromLocal8Bit(process.readAllStandardOutput()),
            QString::fromLocal8Bit(process.readAllStandardError())};
}

} // namespace

class TestCommandLine : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void helpVersionAndErrors_needNoDisplay() {
        const Result version = runTrovix({"--version"}, false);
        QCOMPARE(version.exitCode, 0);
        QVERIFY2(version.out.startsWith("trovix 0.") || version.out.startsWith("trovix 1."),
                 qPrintable(version.out));
        const Result help = runTrovix({"-h"}, false);
        QCOMPARE(help.exitCode, 0);
        for (const char* option : {"--capture", "--toggle-recording", "--library"})
            QVERIFY2(help.out.contains(QLatin1String(option)), option);
        const Result bogus = runTrovix({"--bogus"}, false);
        QCOMPARE(bogus.exitCode, 2);
        QVERIFY2(bogus.err.contains("--bogus"), qPrintable(bogus.err));
        const Result noDisplay = runTrovix({"--capture"}, false);
        QCOMPARE(noDisplay.exitCode, 1);
        QVERIFY2(noDisplay.err.contains("display"), qPrintable(noDisplay.err));
    }

    void commands_startTrovixOrReachTheRunningOne() {
        // No instance yet: this launch becomes Trovix and then shows the library.
        Running first({"--library"});
        QVERIFY2(!waitForWindow("^Guides Library").isEmpty(), "the first launch did not show the library");

        // Handed over: the second launch exits at once and the running instance brings up the overlay.
        const Result capture = runTrovix({"--capture"});
        QCOMPARE(capture.exitCode, 0);
        QVERIFY2(!waitForWindow("^Trovix Capture").isEmpty(), "the running instance did not start a capture");
        QTest::qWait(300);
        key("Escape");
        QVERIFY(waitForWindowGone("^Trovix Capture"));
        QVERIFY2(first.isRunning(), "the running instance went away");
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "test_command_line.moc"
