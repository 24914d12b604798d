#include "document/Guide.h"
#include "recorder/ClickMark.h"
#include "recorder/Recorder.h"
#include "recorder/ScreenLayout.h"
#include "redact/RedactionOptions.h"

#include <QGuiApplication>
#include <QPromise>
#include <QScreen>
#include <QSettings>
#include <QTest>

using namespace trovix;

namespace {

// Captures and descriptions that the test finishes by hand, in any order.
struct Pending {
    std::shared_ptr<QPromise<QImage>> capture;
    std::function<void(const ClickTarget&)> described;

    // Without an image the job sees a failed capture.
    void finishCapture(const QImage& image = {}) {
        capture->start();
        if (!image.isNull())
            capture->addResult(image);
        capture->finish();
    }
};

class Harness {
public:
    Harness() {
        services.capture = [this](QScreen*) {
            captures.push_back(std::make_shared<QPromise<QImage>>());
            return captures.back()->future();
        };
        services.describe = [this](const RecordedClick&, QObject*,
                                   std::function<void(const ClickTarget&)> done) {
            descriptions.push_back(std::move(done));
        };
        services.installMonitor = [](Recorder&) { return std::make_unique<QObject>(); };
    }

    Pending take(int i) const { return {captures.at(i), descriptions.at(i)}; }

    Recorder::Services services;
    std::vector<std::shared_ptr<QPromise<QImage>>> captures;
    std::vector<std::function<void(const ClickTarget&)>> descriptions;
};

QImage screenImage(const QScreen* screen) {
    QImage image(screen->geometry().size() * 2, QImage::Format_ARGB32_Premultiplied); // at twice its points
    image.fill(Qt::white);
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
    void steps_arriveInClickOrderWhateverOrderTheWorkFinishes() {
        Guide guide;
        Harness h;
        Recorder recorder(guide, h.services);
        recorder.start();
        QScreen* primary = QGuiApplication::screens().at(0);
        recorder.click(QPointF(10, 10));
        recorder.click(QPointF(-5, 20)); // outside every screen: no step
        recorder.click(QPointF(20, 20));
        recorder.click(QPointF(30, 30));
        QCOMPARE(h.captures.size(), 3u);

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
        h.take(0).finishCapture();
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

    // A label read off the screenshot in time completes a plain title; one that misses the deadline
    // leaves it plain without holding up later clicks; a label from the accessibility tree is kept.
    void labelsReadInTime_completeOnlyTitlesWithoutLabel() {
        const QString in = QStringLiteral(" in Editor");
        QList<ClickTarget> targets{{QStringLiteral("Click") + in, std::nullopt, in},
                                   {QStringLiteral("Click the button") + in, QRectF(10, 10, 50, 20), in},
                                   {QStringLiteral("Click “OK”") + in, std::nullopt}};
        QList<QPointF> readAt;
        QPromise<std::optional<QString>> never;
        Recorder::Services services;
        services.describeLimitMs = 300;
        services.capture = [](QScreen* screen) {
            QImage image(screen->geometry().size() * 2, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::white);
            return QtFuture::makeReadyFuture(image);
        };
        services.describe = [&](const RecordedClick&, QObject*, auto done) { done(targets.takeFirst()); };
        services.installMonitor = [](Recorder&) { return std::make_unique<QObject>(); };
        services.readLabel = [&](const QImage&, QPointF click, const std::optional<QRectF>& frame,
                                 double scale, auto) {
            readAt << click << frame.value_or(QRectF()).topLeft() << QPointF(scale, 0);
            return readAt.size() == 3
                       ? QtFuture::makeReadyFuture(std::optional<QString>(QStringLiteral("Save")))
                       : never.future();
        };
        Guide guide;
        Recorder recorder(guide, services);
        recorder.start();
        for (int i = 0; i < 3; ++i)
            recorder.click(QPointF(20 + i, 30));
        QTRY_COMPARE(guide.steps().size(), 3);
        QCOMPARE(guide.steps().at(0).title, QStringLiteral("Click “Save”") + in);
        QCOMPARE(guide.steps().at(1).title, QStringLiteral("Click the button") + in);
        QCOMPARE(guide.steps().at(2).title, QStringLiteral("Click “OK”") + in);
        // The click and the frame in the screenshot's pixels, two per point here.
        QCOMPARE(readAt, (QList<QPointF>{{40, 60}, {0, 0}, {2, 0}, {42, 60}, {20, 20}, {2, 0}}));
    }

    // Keys and clicks make steps in the order made: the click into a field gives way to the typing
    // into it, a click elsewhere ends that typing, own hot keys make nothing, and a password typed
    // as the recording stops still makes its step, covered, without its text.
    void typingAndKeys_takeTheirPlaceAmongTheClicks() {
        Guide guide;
        // Steps stay in the guide's intake until the end: a click there still gives way to typing.
        std::vector<std::pair<std::shared_ptr<QPromise<Step>>, Step>> intake;
        guide.setIntake([&intake](const Step& step) {
            intake.emplace_back(std::make_shared<QPromise<Step>>(), step);
            intake.back().first->start();
            return intake.back().first->future();
        });
        Harness h;
        const QRectF email(0, 0, 100, 30), pin(0, 40, 100, 30);
        h.services.installKeyMonitor = [](Recorder&) { return std::make_unique<QObject>(); };
        h.services.readField = [&](const QVariant& field, const auto&, QObject*, auto done) {
            const bool secret = field.toString() == QLatin1String("pin");
            done(TypedField{secret ? std::nullopt : std::optional<QString>(QStringLiteral("al")),
                            secret ? QStringLiteral("PIN") : QStringLiteral("Email"), secret ? pin : email,
                            secret, QStringLiteral("Editor")});
        };
        h.services.activeApplication = [](const auto&, QObject*, auto done) {
            done(QStringLiteral("Editor"));
        };
        h.services.ownKeys = {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_R)};
        Recorder recorder(guide, h.services);
        recorder.start();
        const QImage image = screenImage(QGuiApplication::screens().at(0));
        const auto key = [&](int code, QString text, const char* field, Qt::KeyboardModifiers held = {}) {
            recorder.key({code, held, text}, field ? QVariant(QString::fromLatin1(field)) : QVariant());
        };
        recorder.click(QPointF(10, 10));
        h.take(0).finishCapture(image);
        h.take(0).described({QStringLiteral("Click in Editor"), email});
        settle();
        key(Qt::Key_A, "a", "email");
        key(Qt::Key_X, "x", "email");
        key(Qt::Key_Backspace, {}, "email");
        recorder.click(QPointF(20, 10)); // the cursor put back in the same field
        key(Qt::Key_L, "l", "email");
        key(Qt::Key_R, {}, "email", Qt::ControlModifier | Qt::AltModifier);
        recorder.click(QPointF(300, 300));
        key(Qt::Key_S, {}, nullptr, Qt::ControlModifier);
        // The click into the PIN field was held back and arrives after the first digit: it goes
        // before the typing and does not cut it in two.
        RecordedClick intoPin{QPointF(10, 50)};
        intoPin.made = std::chrono::steady_clock::now();
        key(Qt::Key_1, "1", "pin");
        recorder.click(intoPin);
        key(Qt::Key_2, "2", "pin");
        QCOMPARE(h.captures.size(), 7u);
        for (int i = 1; i < 7; ++i)
            Pending{h.captures.at(i), {}}.finishCapture(image);
        h.descriptions.at(1)({QStringLiteral("Click in Editor"), email});
        h.descriptions.at(2)({QStringLiteral("Click in Editor"), std::nullopt});
        h.descriptions.at(3)({QStringLiteral("Click “PIN” in Editor"), pin});
        settle();
        recorder.stop();
        QCOMPARE(h.captures.size(), 8u);
        Pending{h.captures.at(7), {}}.finishCapture(image);
        settle();
        QCOMPARE(guide.steps().size(), 0);
        for (auto& [screening, step] : intake) {
            screening->addResult(step);
            screening->finish();
        }
        settle();
        QStringList titles;
        for (const Step& step : guide.steps())
            titles << step.title;
        QCOMPARE(titles, (QStringList{"Type “al” in “Email”", "Click in Editor", "Press Ctrl+S in Editor",
                                      "Type the password in “PIN”"}));
        QCOMPARE(guide.steps().last().redactions.size(), 1);
        QCOMPARE(guide.steps().last().redactions.first().rect, pin);
        QCOMPARE(guide.steps().at(2).annotations.size(), 0);
    }

    // The password fields a click's description names are covered on its step while "Password
    // fields" is on, and left as they are once the user switches it off.
    void passwordFields_followTheirSwitch() {
        for (const bool on : {true, false}) {
            RedactionOptions options;
            options.set(SecretKind::password, on);
            QSettings settings;
            options.save(settings);
            settings.sync();
            Guide guide;
            Harness h;
            Recorder recorder(guide, h.services);
            recorder.start();
            recorder.click(QPointF(10, 10));
            h.take(0).finishCapture(screenImage(QGuiApplication::screens().at(0)));
            ClickTarget target{QStringLiteral("Click in Editor"), std::nullopt};
            target.passwordFields = {QRectF(0, 40, 100, 30)};
            h.take(0).described(target);
            QTRY_COMPARE(guide.steps().size(), 1);
            QCOMPARE(guide.steps().first().redactions.size(), on ? 1 : 0);
        }
        QSettings().clear();
    }

    void marks_removeTheClickedScreensOffset() {
        // A second screen placed right of the primary one and raised above it.
        ScreenLayout layout;
        layout.screens = {{QRectF(0, 0, 1920, 1080), 1}, {QRectF(1920, -500, 1280, 1024), 2}};

        // The first screen containing the point, minimum edges in, maximum edges out.
        QCOMPARE(layout.screenAt(QPointF(1919.5, 1079.5)), 0);
        QCOMPARE(layout.screenAt(QPointF(1920, 0)), 1);
        QCOMPARE(layout.screenAt(QPointF(100, 1080)), -1);
        QCOMPARE(layout.screenAt(QPointF(2000, 524)), -1);

        const QRectF second = layout.screens[1].geometry;
        const Annotation target = ClickMark::make({QStringLiteral("Click"), QRectF(2000, -400, 100, 30)},
                                                  QPointF(2010, -390), second);
        QCOMPARE(target.kind, Kind::target);
        QCOMPARE(target.p1, QPointF(80, 100));
        QCOMPARE(target.p2, QPointF(180, 130));

        const Annotation ring =
            ClickMark::make({QStringLiteral("Click"), std::nullopt}, QPointF(2000, -300), second);
        QCOMPARE(ring.kind, Kind::ring);
        QCOMPARE(ring.p1, QPointF(80, 200));
        QCOMPARE(ring.p2, QPointF(0, 0));

        // Native pixels of the doubled second screen map to points from its own corner.
        QCOMPARE(layout.toPoints(QPointF(1920 + 200, -500 + 100)), QPointF(2020, -450));
        QCOMPARE(layout.toNative(QPointF(2020, -450)), QPointF(2120, -400));
        QCOMPARE(layout.toPoints(QRectF(2120, -400, 64, 32)), QRectF(2020, -450, 32, 16));
    }
};

QTEST_MAIN(RecorderChainTest)
#include "test_recorder_chain.moc"
