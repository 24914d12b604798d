// Capture in a real Wayland session: the real trovix next to a client of a known picture under
// headless sway, pictures taken through the real screenshot portal; and, under weston, a desktop
// without that portal. Driven the way a user does it, with desktop shortcuts running the command line.
#include "capture/Capture.h"
#include "capture/CaptureCommand.h"
#include "document/Guide.h"
#include "document/GuideStore.h"
#include "e2e/DesktopDriver.h"
#include "platform/Platform.h"
#include "support/FakeDialogs.h"
#include "support/FakePlatform.h"

#include <QApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPainter>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>

#include <optional>

#include <fcntl.h>
#include <unistd.h>

using namespace trovix;

namespace {

bool underWeston() {
    return qEnvironmentVariableIsSet("TROVIX_WESTON");
}

QByteArray run(const QString& program, const QStringList& arguments, int* exitCode = nullptr) {
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(20000);
    if (exitCode)
        *exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return process.readAllStandardOutput();
}

void sway(const QString& command) {
    run(QStringLiteral("swaymsg"), {command});
}

// Moves or clicks the session's pointer (see with-wayland.sh).
void pointer(const QByteArray& command) {
    const int fd = ::open(qgetenv("TROVIX_POINTER").constData(), O_WRONLY | O_NONBLOCK);
    QVERIFY2(fd >= 0, "the session has no pointer");
    QCOMPARE(::write(fd, command + '\n', command.size() + 1), command.size() + 1);
    ::close(fd);
    QTest::qWait(30);
}

void pointerTo(const QPoint& point) {
    const QSize layout = QGuiApplication::primaryScreen()->geometry().size();
    pointer(QStringLiteral("move %1 %2 %3 %4")
                .arg(point.x())
                .arg(point.y())
                .arg(layout.width())
                .arg(layout.height())
                .toUtf8());
}

// The window whose title matches, as sway lays it out.
std::optional<QJsonObject> swayWindow(const QString& title) {
    std::function<std::optional<QJsonObject>(const QJsonObject&)> find = [&](const QJsonObject& node) {
        if (node.value("name").toString().contains(QRegularExpression(title)) && node.contains("pid"))
            return std::optional(node);
        for (const char* kind : {"nodes", "floating_nodes"}) {
            for (const QJsonValue& child : node.value(kind).toArray())
                if (auto found = find(child.toObject()))
                    return found;
        }
        return std::optional<QJsonObject>();
    };
    return find(QJsonDocument::fromJson(run("swaymsg", {"-r", "-t", "get_tree"})).object());
}

// A shot of the output for whoever looks at the test's run, when TROVIX_SHOTS names a folder.
void shot(const QString& name) {
    if (qEnvironmentVariableIsSet("TROVIX_SHOTS"))
        run("grim", {QDir(qEnvironmentVariable("TROVIX_SHOTS")).filePath(name + ".png")});
}

// A full-screen client painting FakePlatform's pattern of its own device pixels.
class Pattern : public QWidget {
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        QImage image(size() * devicePixelRatio(), QImage::Format_RGB32);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                image.setPixel(x, y, FakePlatform::patternColor(x, y));
        image.setDevicePixelRatio(devicePixelRatio());
        painter.drawImage(0, 0, image);
    }
};

// Where in the output an image of the pattern was taken from, if every pixel of it is the pattern.
std::optional<QPoint> patternOrigin(const QImage& image) {
    const QRgb first = image.pixel(0, 0);
    const QPoint origin(qRed(first) | (qBlue(first) >> 4) << 8, qGreen(first) | (qBlue(first) & 0xf) << 8);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if ((image.pixel(x, y) & 0xffffff) !=
                (FakePlatform::patternColor(origin.x() + x, origin.y() + y) & 0xffffff))
                return std::nullopt;
    return origin;
}

QStringList workingCopyPictures() {
    return QDir(GuideStore::workingDir()).entryList({QStringLiteral("*.png")}, QDir::Files);
}

} // namespace

class TestCaptureWayland : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        if (underWeston())
            return;
        desktop::initAccessibility();
        m_trovix.setProcessChannelMode(QProcess::ForwardedChannels);
        m_trovix.start(desktop::trovixBinary(), {});
        QTRY_VERIFY_WITH_TIMEOUT(swayWindow("Trovix$").has_value(), 20000);
    }

    void cleanupTestCase() {
        m_trovix.terminate();
        m_trovix.waitForFinished(10000);
    }

    // The backend reports what this desktop lacks without a warning on the way.
    void waylandBackend_detectsWhatThePortalOffers() {
        QCOMPARE(Platform::current().name(), QStringLiteral("wayland"));
        static QStringList warnings;
        const auto previous =
            qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
                if (type != QtDebugMsg && type != QtInfoMsg)
                    warnings.append(text);
            });
        const QString keysReason = Platform::current().globalKeys().unavailableReason();
        const QString clicksReason = Platform::current().clickMonitor().unavailableReason();
        const auto access = Platform::current().screenGrabber().access();
        qInstallMessageHandler(previous);
        QVERIFY2(warnings.isEmpty(), qPrintable(warnings.join('\n')));
        QVERIFY2(keysReason.contains("trovix --capture"), qPrintable(keysReason));
        QVERIFY2(clicksReason.contains("X11 session"), qPrintable(clicksReason));
        QVERIFY(!Platform::current().clickMonitor().watch([](const PlatformClick&) {}));
        QCOMPARE(access, underWeston() ? ScreenGrabber::Access::needsGrant : ScreenGrabber::Access::granted);
    }

    // Weston has no screenshot portal: a capture asks the user to allow it instead of failing obscurely.
    void noPortal_showsThePermissionAlert() {
        if (!underWeston())
            QSKIP("only where no screenshot portal exists");
        FakeDialogs dialogs;
        Guide guide;
        RegionSelector selector;
        CaptureCommand command(guide, selector, [] {});
        command.captureRegion();
        QCOMPARE(dialogs.asked.size(), 1);
        QCOMPARE(dialogs.asked[0].alert.message, QStringLiteral("Screen Recording permission needed"));
        QVERIFY(dialogs.asked[0].alert.informativeText.contains("privacy settings"));
        try {
            Platform::current().screenGrabber().grab(QRect(0, 0, 10, 10));
            QFAIL("a grab without a portal gave an image");
        } catch (const Error& error) {
            QCOMPARE(error.code(), Error::Code::permissionDenied);
        }
    }

    void captureCommand_takesTheClientsPixelsThroughThePortal() {
        if (underWeston())
            QSKIP("needs the screenshot portal");
        Pattern pattern;
        pattern.setWindowTitle("Pattern");
        pattern.showFullScreen();
        QTRY_VERIFY(swayWindow("^Pattern$").has_value() && pattern.windowHandle()->isExposed());
        QTest::qWait(300);

        int exitCode = -1;
        run(desktop::trovixBinary(), {"--capture"}, &exitCode);
        QCOMPARE(exitCode, 0);
        // The overlay covers the whole output and has the keyboard.
        QTRY_VERIFY_WITH_TIMEOUT(swayWindow("^Trovix Capture").has_value(), 15000);
        const QJsonObject overlay = *swayWindow("^Trovix Capture");
        QCOMPARE(overlay.value("fullscreen_mode").toInt(), 1);
        QCOMPARE(overlay.value("rect").toObject().value("width").toInt(),
                 pattern.screen()->geometry().width());
        QTRY_VERIFY(swayWindow("^Trovix Capture")->value("focused").toBool());
        QTest::qWait(300);
        shot("wayland-overlay");

        // Escape ends it without a step.
        QTest::qWait(200);
        run("wtype", {"-k", "Escape"});
        QTRY_VERIFY_WITH_TIMEOUT(!swayWindow("^Trovix Capture").has_value(), 10000);
        QVERIFY(workingCopyPictures().isEmpty());

        // Again, and a region dragged out becomes a step of exactly the client's pixels.
        sway("[title=\"^Pattern$\"] fullscreen enable");
        QTest::qWait(300);
        run(desktop::trovixBinary(), {"--capture"});
        QTRY_VERIFY_WITH_TIMEOUT(swayWindow("^Trovix Capture").has_value(), 15000);
        QTest::qWait(300);
        pointerTo({100, 120});
        pointer("press");
        for (int step = 1; step <= 5; ++step)
            pointerTo({100 + 60 * step, 120 + 40 * step});
        pointer("release");
        QTRY_COMPARE_WITH_TIMEOUT(workingCopyPictures().size(), 1, 15000);
        QTRY_VERIFY(!swayWindow("^Trovix Capture").has_value());
        const QImage step(QDir(GuideStore::workingDir()).filePath(workingCopyPictures().constFirst()));
        QVERIFY(qAbs(step.width() - 300) <= 2 && qAbs(step.height() - 200) <= 2);
        const auto origin = patternOrigin(step);
        QVERIFY2(origin.has_value(), "the step's pixels are not the client's");
        QVERIFY2((*origin - QPoint(100, 120)).manhattanLength() <= 2,
                 qPrintable(QString::number(origin->x())));
        shot("wayland-after-capture");
    }

    // With a second output at scale 2 (TROVIX_SCREEN2): one portal picture, cut per screen at native pixels.
    void displays_cutsEveryScreenAtItsNativePixels() {
        const QList<QScreen*> screens = QGuiApplication::screens();
        if (underWeston() || screens.size() != 2)
            QSKIP("needs two outputs");
        Pattern pattern;
        pattern.setWindowTitle("Pattern 2");
        pattern.winId();
        pattern.windowHandle()->setScreen(screens[1]);
        pattern.showFullScreen();
        QTRY_VERIFY(swayWindow("^Pattern 2$").has_value() && pattern.windowHandle()->isExposed());
        // The output's scale reaches the window once its surface has entered the output.
        QTRY_COMPARE(pattern.devicePixelRatio(), 2.0);
        pattern.update();
        QTest::qWait(300);
        shot("wayland-two-outputs");
        auto images = Capture::displays(screens, Capture::Windows::alreadyGone);
        images.waitForFinished();
        QCOMPARE(images.result()[0].size(), Capture::pixelSize(screens[0]));
        QCOMPARE(images.result()[1].size(), QSize(1280, 720));
        QCOMPARE(patternOrigin(images.result()[1]), std::optional(QPoint(0, 0)));
    }

    // No client sees other clients' clicks here: Record Clicks is greyed out, and the command handed
    // to the running instance says why instead of starting a recording that would record nothing.
    void toggleRecording_saysWhyItCannotRecord() {
        if (underWeston())
            QSKIP("runs in sway");
        const qint64 pid = m_trovix.processId();
        const auto record = [pid] {
            return desktop::findAccessible(pid, [](const QString& name) { return name == "Record Clicks"; });
        };
        QTRY_VERIFY_WITH_TIMEOUT(record().has_value(), 10000);
        QVERIFY(!record()->enabled);
        int exitCode = -1;
        run(desktop::trovixBinary(), {"--toggle-recording"}, &exitCode);
        QCOMPARE(exitCode, 0);
        const QString alert = QStringLiteral("Click recording isn’t available");
        QTRY_VERIFY_WITH_TIMEOUT(desktop::accessibleNames(pid).contains(alert), 10000);
        QTest::qWait(300);
        shot("wayland-recording-unavailable");
        run("wtype", {"-k", "Return"});
        QTRY_VERIFY_WITH_TIMEOUT(!desktop::accessibleNames(pid).contains(alert), 10000);
        QVERIFY(!desktop::accessibleNames(pid).contains("Stop Recording"));
    }

private:
    QProcess m_trovix;
};

QTEST_MAIN(TestCaptureWayland)
#include "test_capture_wayland.moc"
