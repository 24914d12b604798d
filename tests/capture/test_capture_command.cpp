// The capture command over two screens of different pixel ratios (Qt's offscreen platform), with a
// scripted platform: grab order, the busy guard, titles, failures, and where windows end up.
#include "capture/Capture.h"
#include "capture/CaptureCommand.h"
#include "capture/OverlayWindow.h"
#include "capture/RegionSelector.h"
#include "capture/SelectionView.h"
#include "document/Guide.h"
#include "support/FakeDialogs.h"
#include "support/FakePlatform.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>

using namespace trovix;

namespace {

// Left: 1440 × 900 points at ratio 1. Right: 1001 × 701 points at ratio 1.5, which makes
// 1501.5 × 1051.5 pixels, cut down to 1501 × 1051.
const char screensJson[] = R"({"screens": [
  {"name": "left", "x": 0, "y": 0, "width": 1440, "height": 900, "logicalDpi": 96, "dpr": 1},
  {"name": "right", "x": 1440, "y": 0, "width": 1001, "height": 701, "logicalDpi": 96, "dpr": 1.5}
]})";

QImage desktopPattern(const QRect& rect) {
    QImage image(rect.size(), QImage::Format_RGB32);
    for (int y = 0; y < rect.height(); ++y)
        for (int x = 0; x < rect.width(); ++x)
            image.setPixel(x, y, FakePlatform::patternColor(rect.x() + x, rect.y() + y));
    return image;
}

QImage rgb(const Image& image) {
    return image.pixels().convertToFormat(QImage::Format_RGB32);
}

struct Rig {
    Guide guide;
    RegionSelector selector;
    int shown = 0;
    CaptureCommand command{guide, selector, [this] { ++shown; }};
    QSignalSpy started{&command, &CaptureCommand::started};
    QSignalSpy selecting{&command, &CaptureCommand::selecting};
    QSignalSpy finished{&command, &CaptureCommand::finished};

    OverlayWindow* overlayOn(int screen) const {
        for (OverlayWindow* overlay : selector.windows())
            if (overlay->targetScreen() == QGuiApplication::screens().at(screen))
                return overlay;
        return nullptr;
    }
    void drag(int screen, QPoint from, QPoint to) const {
        SelectionView* view = overlayOn(screen)->view();
        QTest::mousePress(view, Qt::LeftButton, {}, from);
        QTest::mouseMove(view, to);
        QTest::mouseRelease(view, Qt::LeftButton, {}, to);
    }
};

} // namespace

class TestCaptureCommand : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void screens_areConfiguredWithTheirRatios() {
        const QList<QScreen*> screens = QGuiApplication::screens();
        QCOMPARE(screens.size(), 2);
        QCOMPARE(Capture::pixelSize(screens[0]), QSize(1440, 900));
        QCOMPARE(Capture::pixelSize(screens[1]), QSize(1501, 1051));
        QCOMPARE(Capture::nativeRect(screens[1]), QRect(1440, 0, 1501, 1051));
    }

    void capture_grabsEveryScreenInOrder_thenAppendsTheRegionAsTheNextStep() {
        FakePlatform platform;
        Rig rig;
        rig.command.captureRegion();
        QVERIFY(rig.command.isBusy());
        rig.command.captureRegion(); // a second press while collecting: ignored
        QCOMPARE(rig.started.size(), 1);
        QVERIFY(!rig.selector.isActive()); // no overlay before every screen is in
        QVERIFY(rig.selecting.wait());
        QVERIFY(!rig.command.isBusy());
        QCOMPARE(platform.grabber.grabs, (QList<QRect>{QRect(0, 0, 1440, 900), QRect(1440, 0, 1501, 1051)}));
        QCOMPARE(rig.selector.windows().size(), 2);
        QCOMPARE(rig.overlayOn(1)->geometry(), QRect(1440, 0, 1001, 701));
        QCOMPARE(rig.overlayOn(1)->view()->image().size(), QSize(1501, 1051));

        // A drag on the right screen: scale from its image, 1501 / 1001.
        rig.drag(1, QPoint(10, 10), QPoint(110, 60));
        QCOMPARE(rig.finished.size(), 1);
        QCOMPARE(rig.finished[0][0].toBool(), true);
        QCOMPARE(rig.guide.steps().size(), 1);
        const Step& step = rig.guide.steps()[0];
        QCOMPARE(step.title, QStringLiteral("Step 1"));
        QCOMPARE(step.scale, 1501.0 / 1001.0);
        QVERIFY(step.annotations.isEmpty());
        QVERIFY(step.note.isEmpty());
        // 10 × 1.4995 = 14.995 → 14; 110 × 1.4995 = 164.9 → 165; 60 × 1.4995 = 89.97 → 90.
        QCOMPARE(rgb(step.base), desktopPattern(QRect(1440 + 14, 14, 151, 76)));
        QVERIFY(step.rendered.sameAs(step.base));
        QCOMPARE(rig.guide.selection(), step.id);
        QVERIFY(rig.guide.isDirty());
        QVERIFY(!rig.selector.isActive());
    }

    void titles_followTheStepCount_notACounter() {
        FakePlatform platform;
        Rig rig;
        for (int i = 0; i < 3; ++i)
            rig.guide.append(Step::make(Image(desktopPattern(QRect(0, 0, 8, 8))), 1, QStringLiteral("x")));
        rig.command.captureRegion();
        QVERIFY(rig.selecting.wait());
        rig.drag(0, QPoint(100, 100), QPoint(200, 150));
        QCOMPARE(rig.guide.steps().last().title, QStringLiteral("Step 4"));
        QCOMPARE(rgb(rig.guide.steps().last().base), desktopPattern(QRect(100, 100, 100, 50)));

        QList<Step> steps = rig.guide.steps();
        steps.removeAt(1);
        rig.guide.setSteps(steps);
        rig.command.captureRegion();
        QVERIFY(rig.selecting.wait());
        // Dragged off the left edge of the right screen: the shot keeps to that screen.
        rig.drag(1, QPoint(20, 20), QPoint(-50, 80));
        QCOMPARE(rig.guide.steps().size(), 4);
        QCOMPARE(rig.guide.steps().last().title, QStringLiteral("Step 4"));
        // Points (-50, 20)–(20, 80) at 1.4995: pixels x −75 → 0 (cut at the edge) to 30, y 29 to 120.
        QCOMPARE(rgb(rig.guide.steps().last().base), desktopPattern(QRect(1440, 29, 30, 91)));
    }

    void overlays_finishOnlyOnce_andEscapeOnAnyCancels() {
        FakePlatform platform;
        Rig rig;
        rig.command.captureRegion();
        QVERIFY(rig.selecting.wait());
        SelectionView* left = rig.overlayOn(0)->view();
        SelectionView* right = rig.overlayOn(1)->view();
        // Escape on the overlay without the keyboard grab cancels both.
        QTest::keyClick(right, Qt::Key_Escape);
        QCOMPARE(rig.finished.size(), 1);
        QCOMPARE(rig.finished[0][0].toBool(), false);
        QVERIFY(rig.guide.steps().isEmpty());
        QVERIFY(!rig.overlayOn(0) && !rig.overlayOn(1));

        rig.command.captureRegion();
        QVERIFY(rig.selecting.wait());
        // Two overlays finishing back to back: the second finds the capture over.
        QTest::mousePress(left, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mousePress(right, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseRelease(left, Qt::LeftButton, {}, QPoint(60, 60));
        QTest::mouseRelease(right, Qt::LeftButton, {}, QPoint(60, 60));
        QCOMPARE(rig.finished.size(), 2);
        QCOMPARE(rig.guide.steps().size(), 1);
    }

    void failureOnTheSecondScreen_showsOneAlert_andNoOverlay() {
        FakePlatform platform;
        FakeDialogs dialogs;
        dialogs.answerAlert(0);
        platform.grabber.failAt = 1;
        Rig rig;
        rig.command.captureRegion();
        QVERIFY(rig.finished.wait());
        QCOMPARE(rig.finished[0][0].toBool(), false);
        QCOMPARE(rig.selecting.size(), 0);
        QVERIFY(!rig.selector.isActive());
        QVERIFY(!rig.command.isBusy());
        QCOMPARE(dialogs.alertMessages(), QStringList{QStringLiteral("Trovix couldn’t capture the screen.")});
        QVERIFY(dialogs.asked[0].alert.informativeText.contains(QStringLiteral("no longer connected")));
        QVERIFY(rig.guide.steps().isEmpty());

        // The guard is released: the next capture runs.
        platform.grabber.failAt = -1;
        rig.command.captureRegion();
        QVERIFY(rig.selecting.wait());
        QVERIFY(dialogs.unexpected.isEmpty());
    }

    void ownWindows_leaveForTheGrab_andTheActiveApplicationGetsItsWindowBack() {
        FakePlatform platform;
        QWidget main;
        main.setWindowTitle(QStringLiteral("Main"));
        main.resize(400, 300);
        main.show();
        main.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&main));
        QCOMPARE(QGuiApplication::applicationState(), Qt::ApplicationActive);

        // Without a window manager the window is unmapped directly, and mapped again afterwards.
        Rig rig;
        rig.command.captureRegion();
        QVERIFY(rig.selecting.wait());
        QCOMPARE(platform.grabber.unmapped, QList<WId>{main.winId()});
        QCOMPARE(platform.grabber.settled.size(), 1);
        QCOMPARE(platform.grabber.settled[0], QList<QWindow*>{main.windowHandle()});
        QVERIFY(main.isVisible()); // Qt's own state untouched: a modal dialog's loop would go on
        QTest::keyClick(rig.overlayOn(0)->view(), Qt::Key_Escape);
        QCOMPARE(platform.grabber.mapped, QList<WId>{main.winId()});
        QCOMPARE(rig.shown, 1);

        // With a window manager, and Trovix in front, it is withdrawn rather than minimized (no
        // animation to wait for), then put back.
        platform.grabber.windowManager = true;
        main.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&main));
        Qt::WindowStates duringGrab;
        connect(&rig.command, &CaptureCommand::selecting, &main, [&] { duringGrab = main.windowState(); });
        rig.command.captureRegion();
        QVERIFY(rig.selecting.wait());
        QVERIFY(!(duringGrab & Qt::WindowMinimized));
        QCOMPARE(platform.grabber.unmapped, (QList<WId>{main.winId(), main.winId()}));
        rig.drag(0, QPoint(500, 500), QPoint(520, 520));
        QCOMPARE(platform.grabber.mapped, (QList<WId>{main.winId(), main.winId()}));
        QCOMPARE(rig.shown, 2);
        QCOMPARE(rig.guide.steps().size(), 1);
    }

    void withoutScreenCapture_theUserIsToldWhy() {
        // No scripted platform: the offscreen session gets the null backend.
        FakeDialogs dialogs;
        dialogs.answerAlert(0);
        dialogs.answerAlert(0);
        QVERIFY(!Capture::ensureAccess());
        QCOMPARE(dialogs.alertMessages().value(0), QStringLiteral("Screen capture isn’t available"));
        QVERIFY(dialogs.asked[0].alert.informativeText.contains(QStringLiteral("“offscreen”")));

        Rig rig;
        rig.command.captureRegion();
        QCOMPARE(rig.started.size(), 0);
        QVERIFY(!rig.command.isBusy());
        QCOMPARE(dialogs.asked.size(), 2);

        QFuture<QImage> gone = Capture::display(nullptr);
        try {
            gone.waitForFinished();
            QFAIL("a missing screen gave an image");
        } catch (const Error& error) {
            QCOMPARE(error.code(), Error::Code::noDisplay);
        }
        bool failed = false;
        Capture::display(QGuiApplication::primaryScreen())
            .then(this, [](const QImage&) {})
            .onFailed(this, [&](const Error& error) { failed = error.code() == Error::Code::noDisplay; });
        QTRY_VERIFY(failed);
    }
};

int main(int argc, char** argv) {
    const QString dir = qEnvironmentVariable("TROVIX_TEST_TMP", QDir::tempPath());
    const QString config = dir + QStringLiteral("/screens.json");
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly) || file.write(screensJson) < 0)
        return 2;
    file.close();
    qputenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + config).toUtf8());
    QApplication app(argc, argv);
    TestCaptureCommand test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_capture_command.moc"
