// The record command in the real application controller, on a real X server: Control+Alt+R
// starts recording and puts Trovix out of the way, clicks in another application become steps,
// Control+Alt+R again stops and brings the main window back; quitting stops recording first.
#include "WidgetFactory.h"
#include "app/AppDelegate.h"
#include "app/MainWindowController.h"
#include "document/Guide.h"
#include "recorder/Recorder.h"
#include "support/FakeDialogs.h"
#include "support/Xdotool.h"

#include <QApplication>
#include <QMainWindow>
#include <QProcess>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

QStringList clickAt(const QRect& r) {
    return {QStringLiteral("mousemove"), QString::number(r.x() + r.width() / 2),
            QString::number(r.y() + r.height() / 2), QStringLiteral("click"), QStringLiteral("1")};
}

} // namespace

class RecordingCommandTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void hotKey_startsAndStopsRecording_andClicksBecomeSteps() {
        FakeDialogs dialogs;
        AppDelegate app;
        app.launch();
        QMainWindow* main = app.mainWindow()->window();
        QVERIFY(QTest::qWaitForWindowExposed(main));
        WidgetFactory factory;
        QVERIFY2(factory.start(), qPrintable(factory.error()));
        factory.activate();
        const auto toggle = factory.find(QStringLiteral("toggle button"), QStringLiteral("togglebutton"));
        const auto check = factory.find(QStringLiteral("check box"), QStringLiteral("checkbutton"));
        QVERIFY(toggle && check);
        const qsizetype before = app.guide().steps().size();

        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+r")});
        QTRY_VERIFY_WITH_TIMEOUT(app.guide().isRecording(), 10000);
        QVERIFY(app.recorder().isRecording());
        QTRY_VERIFY(main->isMinimized());

        factory.activate();
        xdotool(clickAt(toggle->extents) + QStringList{QStringLiteral("sleep"), QStringLiteral("0.3")} +
                clickAt(check->extents));
        QTRY_COMPARE_WITH_TIMEOUT(app.guide().steps().size(), before + 2, 15000);
        QCOMPARE(app.guide().steps().at(before).title,
                 QStringLiteral("Click “togglebutton” in Widget Factory"));
        QCOMPARE(app.guide().steps().at(before + 1).title,
                 QStringLiteral("Click “checkbutton” in Widget Factory"));

        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+r")});
        QTRY_VERIFY_WITH_TIMEOUT(!app.guide().isRecording(), 10000);
        QVERIFY(!app.recorder().isRecording());
        QTRY_VERIFY(!main->isMinimized() && main->isVisible());
        QTRY_VERIFY(main->isActiveWindow());

        // Quitting while recording stops recording before the working copy's last write.
        app.toggleRecording();
        QVERIFY(app.guide().isRecording());
        app.applicationWillTerminate();
        QVERIFY(!app.guide().isRecording());
        QVERIFY(!app.recorder().isRecording());
    }
};

QTEST_MAIN(RecordingCommandTest)
#include "test_recording_command.moc"
