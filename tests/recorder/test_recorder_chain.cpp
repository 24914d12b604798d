#include "document/Guide.h"
#include "recorder/Recorder.h"

#include <QGuiApplication>
#include <QPromise>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryFile>
#include <QTest>

#include <deque>

using namespace trovix;

namespace {

// Captures and descriptions that the test finishes by hand, in any order.
struct Pending {
    QScreen* screen = nullptr;
    QPointF location;
    std::shared_ptr<QPromise<QImage>> capture;
    std::function<void(const ClickTarget&)> described;

    void finishCapture(const QImage& image) {
        capture->start();
        capture->addResult(image);
        capture->finish();
    }
    void failCapture() {
        capture->start();
        capture->finish(); // no result: the job sees a null image
    }
};

class Harness {
public:
    Harness() {
        services.capture = [this](QScreen* screen) {
            auto promise = std::make_shared<QPromise<QImage>>();
            captures.push_back(promise);
            screens.push_back(screen);
            return promise->future();
        };
        services.describe = [this](QPointF location, QObject*, std::function<void(const ClickTarget&)> done) {
            locations.push_back(location);
            descriptions.push_back(std::move(done));
        };
        services.installMonitor = [this](Recorder&) {
            ++monitorsInstalled;
            auto token = std::make_unique<QObject>();
            QObject::connect(token.get(), &QObject::destroyed, [this] { ++monitorsRemoved; });
            return token;
        };
        services.enableAccessibility = [this] { ++accessibilityEnabled; };
    }

    Pending take(int i) const { return {screens.at(i), locations.at(i), captures.at(i), descriptions.at(i)}; }

    Recorder::Services services;
    std::vector<std::shared_ptr<QPromise<QImage>>> captures;
    std::vector<QScreen*> screens;
    std::vector<QPointF> locations;
    std::vector<std::function<void(const ClickTarget&)>> descriptions;
    int monitorsInstalled = 0;
    int monitorsRemoved = 0;
    int accessibilityEnabled = 0;
};

QImage screenImage(const QScreen* screen, QColor colour = Qt::white) {
    const QSize pixels = screen->geometry().size() * 2; // a screen captured at twice its point size
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

void settle() {
    // Continuations of finished futures and deferred deletions run from the event loop.
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

} // namespace

class RecorderChainTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { QCOMPARE(QGuiApplication::screens().size(), 2); }

    void startAndStop_switchGuideFlagAccessibilityAndMonitor() {
        Guide guide;
        Harness h;
        Recorder recorder(guide, h.services);
        QVERIFY(!recorder.isRecording());
        recorder.start();
        QVERIFY(recorder.isRecording());
        QVERIFY(guide.isRecording());
        QCOMPARE(h.accessibilityEnabled, 1);
        QCOMPARE(h.monitorsInstalled, 1);
        recorder.stop();
        QVERIFY(!recorder.isRecording());
        QVERIFY(!guide.isRecording());
        QCOMPARE(h.monitorsRemoved, 1);
        recorder.stop(); // stopping again only clears the flag
        QVERIFY(!guide.isRecording());
        QCOMPARE(h.monitorsRemoved, 1);
    }

    void steps_arriveInClickOrderWhateverOrderTheWorkFinishes() {
        Guide guide;
        Harness h;
        Recorder recorder(guide, h.services);
        recorder.start();
        QScreen* primary = QGuiApplication::screens().at(0);
        recorder.click(QPointF(10, 10));
        recorder.click(QPointF(20, 20));
        recorder.click(QPointF(30, 30));
        QCOMPARE(h.captures.size(), 3u);
        for (QScreen* screen : h.screens)
            QCOMPARE(screen, primary);

        // Captures finish last-first, descriptions in another order still.
        h.take(2).finishCapture(screenImage(primary));
        h.take(1).finishCapture(screenImage(primary));
        h.take(1).described({QStringLiteral("Click “Two”"), std::nullopt});
        h.take(2).described({QStringLiteral("Click “Three”"), std::nullopt});
        settle();
        QCOMPARE(guide.steps().size(), 0); // all wait for the first click
        h.take(0).described({QStringLiteral("Click “One”"), std::nullopt});
        settle();
        QCOMPARE(guide.steps().size(), 0);
        h.take(0).finishCapture(screenImage(primary));
        settle();
        QCOMPARE(guide.steps().size(), 3);
        QCOMPARE(guide.steps().at(0).title, QStringLiteral("Click “One”"));
        QCOMPARE(guide.steps().at(1).title, QStringLiteral("Click “Two”"));
        QCOMPARE(guide.steps().at(2).title, QStringLiteral("Click “Three”"));
        QCOMPARE(guide.selection(), guide.steps().at(2).id);
        QVERIFY(guide.isDirty());
    }

    void step_carriesTitleScaleAndOneMarkInTheClickedScreensSpace() {
        Guide guide;
        Harness h;
        Recorder recorder(guide, h.services);
        recorder.start();
        // The second screen sits right of the primary one and above it (see main()).
        QScreen* second = QGuiApplication::screens().at(1);
        QCOMPARE(second->geometry(), QRect(800, -300, 640, 480));

        recorder.click(QPointF(900, -250));
        recorder.click(QPointF(1000, -100));
        QCOMPARE(h.screens.at(0), second);
        h.take(0).described({QStringLiteral("Click “Save” in Editor"), QRectF(850, -280, 100, 40)});
        h.take(0).finishCapture(screenImage(second, Qt::blue));
        h.take(1).described({QStringLiteral("Click in Editor"), std::nullopt});
        h.take(1).finishCapture(screenImage(second));
        settle();
        QCOMPARE(guide.steps().size(), 2);

        const Step& framed = guide.steps().at(0);
        QCOMPARE(framed.title, QStringLiteral("Click “Save” in Editor"));
        QCOMPARE(framed.note, QString());
        QCOMPARE(framed.scale, 2.0);
        QCOMPARE(framed.base.size(), QSize(1280, 960));
        QCOMPARE(framed.annotations.size(), 1);
        QCOMPARE(framed.annotations.at(0).kind, Kind::target);
        QCOMPARE(framed.annotations.at(0).p1, QPointF(50, 20));
        QCOMPARE(framed.annotations.at(0).p2, QPointF(150, 60));
        // The mark is drawn into the picture: the target's red shows where the base is blue.
        const QImage rendered = framed.rendered.pixels();
        QCOMPARE(rendered.size(), QSize(1280, 960));
        QVERIFY(rendered != framed.base.pixels());

        const Step& ringed = guide.steps().at(1);
        QCOMPARE(ringed.annotations.size(), 1);
        QCOMPARE(ringed.annotations.at(0).kind, Kind::ring);
        QCOMPARE(ringed.annotations.at(0).p1, QPointF(200, 200));
        QCOMPARE(ringed.annotations.at(0).p2, QPointF(0, 0));
    }

    void clicksOutsideEveryScreen_areDropped() {
        Guide guide;
        Harness h;
        Recorder recorder(guide, h.services);
        recorder.start();
        recorder.click(QPointF(800, 300));   // right of the primary, below the second screen
        recorder.click(QPointF(1440, -300)); // on the second screen's right edge
        recorder.click(QPointF(-1, 0));
        QCOMPARE(h.captures.size(), 0u);
        QCOMPARE(h.locations.size(), 0u);
        recorder.click(QPointF(799.5, 599.5));
        QCOMPARE(h.captures.size(), 1u);
    }

    void stop_dropsPendingClicks_andRestartLetsThemThrough() {
        Guide guide;
        Harness h;
        Recorder recorder(guide, h.services);
        QScreen* primary = QGuiApplication::screens().at(0);
        recorder.start();
        recorder.click(QPointF(1, 1));
        recorder.click(QPointF(2, 2));
        recorder.stop();
        for (int i = 0; i < 2; ++i) {
            h.take(i).described({QStringLiteral("Click"), std::nullopt});
            h.take(i).finishCapture(screenImage(primary));
        }
        settle();
        QCOMPARE(guide.steps().size(), 0);

        // A job still waiting when recording comes back on does append.
        recorder.click(QPointF(3, 3)); // not recording: the monitor would not report it, but a
                                       // click handled now still runs through the chain
        recorder.start();
        h.take(2).described({QStringLiteral("Click “Late”"), std::nullopt});
        h.take(2).finishCapture(screenImage(primary));
        settle();
        QCOMPARE(guide.steps().size(), 1);
        QCOMPARE(guide.steps().at(0).title, QStringLiteral("Click “Late”"));
    }

    void failedCaptureOrSilentDescription_neitherHoldsUpTheClicksAfter() {
        Guide guide;
        Harness h;
        Recorder recorder(guide, h.services);
        QScreen* primary = QGuiApplication::screens().at(0);
        recorder.start();
        recorder.click(QPointF(5, 5));
        recorder.click(QPointF(6, 6));
        h.take(1).described({QStringLiteral("Click “After”"), std::nullopt});
        h.take(1).finishCapture(screenImage(primary));
        h.take(0).described({QStringLiteral("Click “Failed”"), std::nullopt});
        h.take(0).failCapture();
        settle();
        QCOMPARE(guide.steps().size(), 1);
        QCOMPARE(guide.steps().at(0).title, QStringLiteral("Click “After”"));

        // A description that never comes: after a while the step is added with the plain title.
        recorder.click(QPointF(7, 7));
        h.take(2).finishCapture(screenImage(primary));
        settle();
        QCOMPARE(guide.steps().size(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(guide.steps().size(), 2, 3000);
        QCOMPARE(guide.steps().at(1).title, QStringLiteral("Click"));
        QCOMPARE(guide.steps().at(1).annotations.at(0).kind, Kind::ring);
        // A description that turns up after all changes nothing.
        h.take(2).described({QStringLiteral("Click “Late”"), std::nullopt});
        settle();
        QCOMPARE(guide.steps().at(1).title, QStringLiteral("Click"));
    }
};

int main(int argc, char** argv) {
    // Two screens: the primary 800 × 600, and a second one right of it and raised 300 points.
    QTemporaryFile config;
    config.setFileTemplate(QDir::tempPath() + QStringLiteral("/screens-XXXXXX.json"));
    if (!config.open())
        return 2;
    config.write(R"({"screens": [
        {"name": "primary", "x": 0, "y": 0, "width": 800, "height": 600, "logicalDpi": 96, "dpr": 1},
        {"name": "second", "x": 800, "y": -300, "width": 640, "height": 480, "logicalDpi": 96, "dpr": 1}]})");
    config.flush();
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + config.fileName().toLocal8Bit());
    QGuiApplication app(argc, argv);
    RecorderChainTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_recorder_chain.moc"
