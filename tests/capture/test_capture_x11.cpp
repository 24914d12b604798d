// Region capture end to end in a real X server with a window manager: the hot key, the grab, the
// overlay and the drag are all real; the picture under them comes from another process.
#include "app/HotKey.h"
#include "capture/Capture.h"
#include "capture/CaptureCommand.h"
#include "capture/OverlayWindow.h"
#include "capture/RegionSelector.h"
#include "capture/SelectionView.h"
#include "document/Guide.h"
#include "support/FakeDialogs.h"
#include "support/PatternWindow.h"
#include "support/TestFiles.h"
#include "support/Xdotool.h"

#include <QApplication>
#include <QFutureWatcher>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

QRgb dimmed(QRgb c) {
    return qRgb(qRed(c) * 153 / 255, qGreen(c) * 153 / 255, qBlue(c) * 153 / 255);
}

bool near(QRgb a, QRgb b) {
    return std::abs(qRed(a) - qRed(b)) <= 1 && std::abs(qGreen(a) - qGreen(b)) <= 1 &&
           std::abs(qBlue(a) - qBlue(b)) <= 1;
}

QImage gradient(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgb(x & 0xff, y & 0xff, (x >> 8) * 16 + (y >> 8)));
    return image;
}

QImage rgb(const Image& image) {
    return image.pixels().convertToFormat(QImage::Format_RGB32);
}

} // namespace

class TestCaptureX11 : public QObject {
    Q_OBJECT
private:
    QProcess m_pattern;
    quint64 m_patternWindow = 0;
    std::unique_ptr<QWidget> m_main;
    std::unique_ptr<Guide> m_guide;
    std::unique_ptr<RegionSelector> m_selector;
    std::unique_ptr<CaptureCommand> m_command;
    std::unique_ptr<FakeDialogs> m_dialogs;
    int m_presses = 0;
    int m_shown = 0;
    QRect m_screen;
    QRect m_pictured; // the part of the screen the pattern covers

    QImage screenNow() const { return Capture::grabNow(m_screen); }
    void activatePattern() {
        xdotool(
            {QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::number(m_patternWindow)});
        QTRY_COMPARE(QGuiApplication::applicationState(), Qt::ApplicationInactive);
    }

private Q_SLOTS:
    void initTestCase() {
        m_screen = Capture::nativeRect(QGuiApplication::primaryScreen());
        m_pictured = PatternWindow::area();
        m_patternWindow = startPatternProcess(m_pattern);
        QVERIFY(m_patternWindow);
        m_dialogs = std::make_unique<FakeDialogs>();

        // Trovix's main window, always on top of the pattern, magenta all over.
        m_main = std::make_unique<QWidget>(nullptr, Qt::Window | Qt::WindowStaysOnTopHint);
        m_main->setWindowTitle(QStringLiteral("Trovix"));
        m_main->setStyleSheet(QStringLiteral("background: #ff00ff"));
        m_main->setGeometry(200, 150, 400, 300);
        m_main->show();
        // The window manager focuses a new window; that must be over before the tests move the focus.
        // Ask for the focus too: on a loaded machine the window manager may map the window before it
        // decides where the focus goes.
        QVERIFY(QTest::qWaitForWindowExposed(m_main.get(), 15000));
        m_main->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_main.get(), 15000));

        m_guide = std::make_unique<Guide>();
        m_selector = std::make_unique<RegionSelector>();
        m_command = std::make_unique<CaptureCommand>(*m_guide, *m_selector, [this] {
            ++m_shown;
            m_main->activateWindow();
        });
        HotKey::registerHotKey(1, HotKey::keyS, HotKey::controlOption, [this] {
            ++m_presses;
            m_command->captureRegion();
        });
    }

    void cleanupTestCase() {
        QVERIFY(m_dialogs->asked.isEmpty());
        m_pattern.kill();
        m_pattern.waitForFinished();
    }

    void hotKey_fromAnotherApplication_capturesTheDraggedRegion() {
        activatePattern();
        QTRY_COMPARE(screenNow().pixel(300, 300), qRgb(255, 0, 255)); // the main window is on top
        QSignalSpy selecting(m_command.get(), &CaptureCommand::selecting);
        QSignalSpy finished(m_command.get(), &CaptureCommand::finished);
        // The pointer rests inside the region that will be chosen.
        xdotool({"mousemove", "60", "35"});
        xdotool({"key", "ctrl+alt+s"});
        QVERIFY(selecting.wait(5000));
        QCOMPARE(m_selector->windows().size(), 1);
        OverlayWindow* overlay = m_selector->windows().first();
        QTRY_VERIFY(overlay->windowHandle()->isExposed());
        QVERIFY(!m_main->windowHandle()->isExposed());

        // The frozen picture is the pattern everywhere: no main window, no window frame, no pointer.
        const QImage frozen = overlay->view()->image();
        QCOMPARE(frozen.size(), m_screen.size());
        QCOMPARE(maxDifference(frozen.copy(m_pictured), PatternWindow::expected(m_pictured)), 0);

        xdotool(
            {"mousemove", "10", "10", "mousedown", "1", "mousemove", "60", "35", "mousemove", "110", "60"});
        // Mid-drag the overlay is what the screen shows: the region clear, the rest dimmed.
        QTRY_VERIFY(near(screenNow().pixel(50, 40), FakePlatform::patternColor(50, 40)));
        QTRY_VERIFY(near(screenNow().pixel(700, 500), dimmed(FakePlatform::patternColor(700, 500))));
        xdotool({"mouseup", "1"});

        QVERIFY(finished.size() == 1 || finished.wait(5000));
        QCOMPARE(finished[0][0].toBool(), true);
        QCOMPARE(m_guide->steps().size(), 1);
        const Step& step = m_guide->steps()[0];
        QCOMPARE(step.title, QStringLiteral("Step 1"));
        QCOMPARE(step.scale, 1.0);
        QCOMPARE(maxDifference(step.base.pixels(), PatternWindow::expected(QRect(10, 10, 100, 50))), 0);
        // Trovix was not the active application: its window stays out of the way.
        QVERIFY(!overlay->isVisible());
        QTRY_VERIFY(m_main->windowState() & Qt::WindowMinimized);
        QTRY_COMPARE(QGuiApplication::applicationState(), Qt::ApplicationInactive);
        QCOMPARE(m_main->geometry(), QRect(200, 150, 400, 300));
        QCOMPARE(screenNow().pixel(300, 300), FakePlatform::patternColor(300, 300));
        QCOMPARE(m_shown, 0);
    }

    void smallDrag_isIgnored_andEscapeCancels() {
        QSignalSpy selecting(m_command.get(), &CaptureCommand::selecting);
        QSignalSpy finished(m_command.get(), &CaptureCommand::finished);
        xdotool({"key", "ctrl+alt+s"});
        QVERIFY(selecting.wait(5000));
        OverlayWindow* overlay = m_selector->windows().first();
        QTRY_VERIFY(overlay->windowHandle()->isExposed());
        xdotool({"mousemove", "300", "300", "mousedown", "1", "mousemove", "303", "400", "mouseup", "1"});
        QTest::qWait(200);
        QCOMPARE(finished.size(), 0);
        QVERIFY(overlay->isVisible());
        QVERIFY(!overlay->view()->selection());

        // Escape reaches the overlay through its keyboard grab, though another application was active.
        xdotool({"key", "Escape"});
        QVERIFY(finished.wait(5000));
        QCOMPARE(finished[0][0].toBool(), false);
        QCOMPARE(m_guide->steps().size(), 1);
        QVERIFY(!overlay->isVisible());
    }

    void secondPressWhileCollecting_startsNoSecondCapture() {
        // Trovix active with its window up, maximized: the window must leave first, which takes a moment.
        m_main->showMaximized();
        m_main->activateWindow();
        QTRY_COMPARE(QGuiApplication::applicationState(), Qt::ApplicationActive);
        QTRY_COMPARE(screenNow().pixel(300, 300), qRgb(255, 0, 255));
        QSignalSpy started(m_command.get(), &CaptureCommand::started);
        QSignalSpy selecting(m_command.get(), &CaptureCommand::selecting);
        QSignalSpy finished(m_command.get(), &CaptureCommand::finished);
        const int presses = m_presses;
        xdotool({"key", "--delay", "5", "ctrl+alt+s", "ctrl+alt+s"});
        QVERIFY(selecting.wait(5000));
        QTRY_COMPARE(m_presses, presses + 2);
        QTest::qWait(300);
        QCOMPARE(started.size(), 1);
        QCOMPARE(selecting.size(), 1);
        QCOMPARE(maxDifference(m_selector->windows().first()->view()->image().copy(m_pictured),
                               PatternWindow::expected(m_pictured)),
                 0);

        // Started while Trovix was active: its main window is back in front afterwards.
        xdotool({"key", "Escape"});
        QVERIFY(finished.wait(5000));
        QCOMPARE(m_shown, 1);
        QTRY_VERIFY(m_main->windowState() == Qt::WindowMaximized && m_main->windowHandle()->isExposed());
        QTRY_COMPARE(screenNow().pixel(300, 300), qRgb(255, 0, 255));
        // It comes back as it was: restoring it still finds the place and size it had before.
        m_main->showNormal();
        QTRY_COMPARE(m_main->geometry(), QRect(200, 150, 400, 300));
        QTRY_COMPARE(QGuiApplication::applicationState(), Qt::ApplicationActive);
    }

    void display_leavesOwnWindowsOut_andPutsThemBack() {
        QTRY_COMPARE(screenNow().pixel(300, 300), qRgb(255, 0, 255));
        QFutureWatcher<QImage> watcher;
        QSignalSpy done(&watcher, &QFutureWatcher<QImage>::finished);
        watcher.setFuture(Capture::display(QGuiApplication::primaryScreen()));
        QVERIFY(done.wait(5000));
        QCOMPARE(maxDifference(watcher.result().copy(m_pictured), PatternWindow::expected(m_pictured)), 0);
        QTRY_VERIFY(!(m_main->windowState() & Qt::WindowMinimized) && m_main->windowHandle()->isExposed());
        QTRY_COMPARE(screenNow().pixel(300, 300), qRgb(255, 0, 255));
    }

    void crop_takesItsScaleFromTheImage_andWidensToWholePixels() {
        // 2880 pixels over a 1440-point frame is 2, whatever ratio the screen claims.
        const QImage image = gradient(QSize(2880, 1800));
        const QRect frame(0, 0, 1440, 900);
        QCOMPARE(RegionSelector::scaleOf(image, frame), 2.0);
        QCOMPARE(RegionSelector::pixelRect(QRectF(10, 10, 100, 50), 2), QRect(20, 20, 200, 100));
        QCOMPARE(RegionSelector::pixelRect(QRectF(10.3, 10, 100, 50), 2),
                 QRect(20, 20, 201, 100)); // 20.6 → 20, 220.6 → 221
        QCOMPARE(RegionSelector::pixelRect(QRectF(10.3, 10.7, 1.1, 1.1), 1.5), QRect(15, 16, 3, 2));

        const std::optional<Shot> shot = RegionSelector::crop(image, frame, QRectF(10, 10, 100, 50));
        QVERIFY(shot);
        QCOMPARE(shot->scale, 2.0);
        QCOMPARE(shot->image.size(), QSize(200, 100));
        QCOMPARE(rgb(shot->image), image.copy(20, 20, 200, 100));

        // Only what lies on the image is kept; nothing at all is a failure.
        const std::optional<Shot> edge =
            RegionSelector::crop(image, frame, QRectF(-10, 1400 / 2.0 - 10, 30, 500));
        QVERIFY(edge);
        QCOMPARE(edge->image.size(), QSize(40, 420)); // pixels (0, 1380) to (40, 1800)
        QVERIFY(!RegionSelector::crop(image, frame, QRectF(2000, 10, 50, 50)));
        QVERIFY(!RegionSelector::crop(QImage(), frame, QRectF(0, 0, 50, 50)));
    }
};

int main(int argc, char** argv) {
    if (argc > 1 && argv[1] == QByteArray("--pattern"))
        return PatternWindow::run(argc, argv);
    QApplication app(argc, argv);
    TestCaptureX11 test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_capture_x11.moc"
