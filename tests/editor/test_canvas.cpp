#include "EditorTestSupport.h"
#include "editor/CanvasView.h"
#include "render/Renderer.h"
#include "support/SyntheticScreenshot.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

Image screenshot(int w, int h, quint32 seed = 1) {
    return Image(syntheticScreenshot(w, h, seed));
}

Annotation mark(Kind kind, QPointF p1, QPointF p2 = {}, QString text = {}, std::int64_t number = 0) {
    return Annotation{kind, p1, p2, text, number};
}

QList<Kind> kindsOf(const QList<Annotation>& list) {
    QList<Kind> kinds;
    for (const Annotation& a : list)
        kinds.append(a.kind);
    return kinds;
}

QList<std::int64_t> badgeNumbers(const QList<Annotation>& list) {
    QList<std::int64_t> numbers;
    for (const Annotation& a : list)
        if (a.kind == Kind::step)
            numbers.append(a.number);
    return numbers;
}

// What the canvas must show: the renderer's drawing of the list at one pixel per point.
QImage expectedView(const CanvasView& canvas, const QList<Annotation>& list) {
    QImage out(canvas.size(), QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    Renderer::draw(canvas.base().pixels(), canvas.pointSize(), list, painter);
    return out;
}

// What is on screen now: the window's backing store after the pending repaints, not a fresh paint.
QImage onScreen(QWidget* window) {
    QApplication::processEvents();
    return window->screen()->grabWindow(window->winId()).toImage();
}

} // namespace

class CanvasTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void drag_commitsOnlyWhenLongerThanFourPoints() {
        CanvasView canvas(screenshot(401, 300), 2, {});
        QCOMPARE(canvas.pointSize(), QSizeF(200.5, 150));
        QCOMPARE(canvas.kind(), Kind::arrow);
        QCOMPARE(canvas.cursor().shape(), Qt::CrossCursor);

        // Exactly 4 points, then a press and release in place: both dropped.
        QTest::mousePress(&canvas, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseMove(&canvas, QPoint(14, 10));
        QVERIFY(canvas.draft());
        QCOMPARE(canvas.draft()->p2, QPointF(14, 10));
        QTest::mouseRelease(&canvas, Qt::LeftButton, {}, QPoint(14, 10));
        QVERIFY(!canvas.draft());
        QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(50, 50));
        QVERIFY(canvas.annotations().isEmpty());

        // 4.01 points along x: kept, exactly as dragged.
        drag(&canvas, QPointF(10, 10), {QPointF(12, 10), QPointF(14.01, 10)});
        QCOMPARE(canvas.annotations().size(), 1);
        QCOMPARE(canvas.annotations()[0], mark(Kind::arrow, QPointF(10, 10), QPointF(14.01, 10)));

        // A drag back to within 4 points of the start is dropped, however far it went meanwhile.
        drag(&canvas, QPointF(100, 100), {QPointF(160, 160), QPointF(102, 103)});
        QCOMPARE(canvas.annotations().size(), 1);

        // p2 is the last dragged position; the release point is not read.
        drag(&canvas, QPointF(20, 20), {QPointF(60, 40)}, QPointF(180, 190));
        QCOMPARE(canvas.annotations().last().p2, QPointF(60, 40));

        // Only the left button draws.
        QTest::mousePress(&canvas, Qt::RightButton, {}, QPoint(30, 30));
        QVERIFY(!canvas.draft());
        QTest::mouseRelease(&canvas, Qt::RightButton, {}, QPoint(30, 30));
        QCOMPARE(canvas.annotations().size(), 2);
    }

    void drag_keepsEachToolsKindAndPointsUnclamped() {
        CanvasView canvas(screenshot(300, 200), 1, {});
        const QList<Kind> drawn{Kind::arrow, Kind::rect, Kind::highlight, Kind::blur};
        for (Kind kind : drawn) {
            canvas.setKind(kind);
            drag(&canvas, QPointF(250, 150), {QPointF(120, 90), QPointF(100, 50)});
        }
        QCOMPARE(kindsOf(canvas.annotations()), drawn);
        // Dragged from lower right to upper left: stored as dragged, not normalised.
        QCOMPARE(canvas.annotations()[1], mark(Kind::rect, QPointF(250, 150), QPointF(100, 50)));

        // Leaving the canvas on either side: the pointer is followed and stored beyond the picture.
        canvas.setKind(Kind::rect);
        drag(&canvas, QPointF(20, 30), {QPointF(-5, 10), QPointF(-40.5, -25)});
        QCOMPARE(canvas.annotations().last(), mark(Kind::rect, QPointF(20, 30), QPointF(-40.5, -25)));
        canvas.setKind(Kind::arrow);
        drag(&canvas, QPointF(280, 180), {QPointF(350, 260), QPointF(1000, 700)});
        QCOMPARE(canvas.annotations().last().p2, QPointF(1000, 700));
    }

    void stepBadges_numberFromTheBadgesPresent() {
        CanvasView canvas(screenshot(300, 200), 1, {});
        canvas.setKind(Kind::step);
        for (int x : {40, 80, 120})
            QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(x, 50));
        QCOMPARE(badgeNumbers(canvas.annotations()), (QList<std::int64_t>{1, 2, 3}));
        QCOMPARE(canvas.annotations()[1], mark(Kind::step, QPointF(80, 50), QPointF(0, 0), {}, 2));

        canvas.undo();
        QCOMPARE(badgeNumbers(canvas.annotations()), (QList<std::int64_t>{1, 2}));
        QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(160, 50));
        QCOMPARE(badgeNumbers(canvas.annotations()), (QList<std::int64_t>{1, 2, 3}));

        // A badge is a click, not a drag: moving does not make a draft.
        QTest::mousePress(&canvas, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseMove(&canvas, QPoint(90, 90));
        QVERIFY(!canvas.draft());
        QTest::mouseRelease(&canvas, Qt::LeftButton, {}, QPoint(90, 90));
        QCOMPARE(badgeNumbers(canvas.annotations()), (QList<std::int64_t>{1, 2, 3, 4}));

        // Badges that came with the step count too.
        CanvasView loaded(screenshot(300, 200), 1, {mark(Kind::step, {10, 10}, {}, {}, 7)});
        loaded.setKind(Kind::step);
        QTest::mouseClick(&loaded, Qt::LeftButton, {}, QPoint(50, 50));
        QCOMPARE(badgeNumbers(loaded.annotations()), (QList<std::int64_t>{7, 2}));
    }

    void undo_skipsClickMarksWhichCountForNothingElse() {
        const Annotation ring = mark(Kind::ring, {40, 40}, {90, 90});
        const Annotation target = mark(Kind::target, {10, 10}, {60, 30});
        CanvasView recorded(screenshot(300, 200), 1, {ring, target});
        recorded.undo();
        QCOMPARE(recorded.annotations(), (QList<Annotation>{ring, target}));

        recorded.setKind(Kind::step);
        QTest::mouseClick(&recorded, Qt::LeftButton, {}, QPoint(100, 100));
        QCOMPARE(recorded.annotations().last().number, 1);
        recorded.undo();
        recorded.undo();
        QCOMPARE(recorded.annotations(), (QList<Annotation>{ring, target}));

        // A user mark between click marks goes; the click marks around it stay.
        const Annotation arrow = mark(Kind::arrow, {5, 5}, {50, 50});
        CanvasView mixed(screenshot(300, 200), 1, {target, arrow, ring});
        mixed.undo();
        QCOMPARE(mixed.annotations(), (QList<Annotation>{target, ring}));
        mixed.undo();
        QCOMPARE(mixed.annotations(), (QList<Annotation>{target, ring}));

        CanvasView empty(screenshot(200, 150), 1, {});
        empty.undo();
        QVERIFY(empty.annotations().isEmpty());
    }

    void textPrompt_addsWhatWasTypedUnlessEmptyOrCancelled() {
        CanvasView canvas(screenshot(300, 200), 1, {});
        canvas.setKind(Kind::text);
        canvas.show();
        QVERIFY(QTest::qWaitForWindowExposed(&canvas));

        // The prompt itself: message, a 280 × 24 empty field with the focus, "Add" (default) and
        // "Cancel".
        bool looked = false;
        answerTextPrompt([&](TextPrompt* prompt) {
            looked = true;
            QVERIFY(prompt->isModal());
            const QList<QLabel*> labels = prompt->findChildren<QLabel*>();
            QVERIFY(std::any_of(labels.begin(), labels.end(),
                                [](QLabel* l) { return l->text() == QLatin1String("Annotation text"); }));
            QCOMPARE(prompt->field()->size(), QSize(280, 24));
            QVERIFY(prompt->field()->text().isEmpty());
            QTRY_COMPARE(QApplication::focusWidget(), prompt->field());
            QCOMPARE(prompt->addButton()->text(), QStringLiteral("Add"));
            QCOMPARE(prompt->cancelButton()->text(), QStringLiteral("Cancel"));
            QVERIFY(prompt->addButton()->isDefault());
            // Typed, then Return: answered with "Add".
            QTest::keyClicks(prompt->field(), QStringLiteral("Click here"));
            QTest::keyClick(prompt->field(), Qt::Key_Return);
        });
        QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(30, 40));
        QVERIFY(looked);
        QCOMPARE(canvas.annotations(), (QList<Annotation>{mark(Kind::text, {30, 40}, {0, 0}, "Click here")}));

        // Two spaces are a text like any other.
        answerTextPrompt([](TextPrompt* prompt) {
            prompt->field()->setText(QStringLiteral("  "));
            prompt->addButton()->click();
        });
        QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(60, 70));
        QCOMPARE(canvas.annotations().size(), 2);
        QCOMPARE(canvas.annotations().last().text, QStringLiteral("  "));

        // Empty with "Add", text with "Cancel", text with Escape: nothing.
        answerTextPrompt([](TextPrompt* prompt) { prompt->addButton()->click(); });
        QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(90, 90));
        answerTextPrompt([](TextPrompt* prompt) {
            prompt->field()->setText(QStringLiteral("Discarded"));
            prompt->cancelButton()->click();
        });
        QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(90, 90));
        answerTextPrompt([](TextPrompt* prompt) {
            prompt->field()->setText(QStringLiteral("Escaped"));
            QTest::keyClick(prompt->field(), Qt::Key_Escape);
        });
        QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(90, 90));
        QCOMPARE(canvas.annotations().size(), 2);
        QVERIFY(!canvas.draft());
    }

    void view_showsTheRendererPictureDuringAndAfterDrags_data() {
        QTest::addColumn<double>("scale");
        QTest::newRow("scale 1") << 1.0;
        QTest::newRow("scale 2") << 2.0;
    }

    void view_showsTheRendererPictureDuringAndAfterDrags() {
        // The canvas repaints only what a drag touches and paints the draft over a cached picture;
        // what is on screen must still be exactly the renderer's picture at every moment.
        QFETCH(double, scale);
        const QList<Annotation> initial{mark(Kind::blur, {20, 20}, {140, 90}),
                                        mark(Kind::target, {200, 30}, {260, 60}),
                                        mark(Kind::arrow, {300, 250}, {180, 150})};
        CanvasView canvas(screenshot(int(400 * scale), int(300 * scale), 7), scale, initial);
        canvas.show();
        QVERIFY(QTest::qWaitForWindowExposed(&canvas));
        const int tolerance = 2;
        auto check = [&](const QList<Annotation>& list) {
            const Difference d = compare(onScreen(&canvas), expectedView(canvas, list), tolerance);
            QVERIFY2(
                d.pixelsOver == 0,
                qPrintable(QStringLiteral("%1 pixels differ, by up to %2").arg(d.pixelsOver).arg(d.largest)));
        };
        check(initial);

        // An arrow swept across earlier marks, ending on the blur: every intermediate head must be
        // wiped again.
        sendMouse(&canvas, QEvent::MouseButtonPress, QPointF(60, 200));
        for (QPointF p : {QPointF(90, 120), QPointF(150, 40), QPointF(240, 45), QPointF(330, 140),
                          QPointF(120.5, 60.25)}) {
            sendMouse(&canvas, QEvent::MouseMove, p);
            check(initial + QList<Annotation>{*canvas.draft()});
        }
        sendMouse(&canvas, QEvent::MouseButtonRelease, QPointF(330, 140));
        QList<Annotation> committed =
            initial + QList<Annotation>{mark(Kind::arrow, {60, 200}, {120.5, 60.25})};
        QCOMPARE(canvas.annotations(), committed);
        check(committed);

        // A blur dragged over the arrow hides it live, and shrinking it brings the arrow back.
        canvas.setKind(Kind::blur);
        sendMouse(&canvas, QEvent::MouseButtonPress, QPointF(100.5, 100.5));
        for (QPointF p : {QPointF(250, 220), QPointF(310.25, 180.75), QPointF(30, 20), QPointF(102, 101)}) {
            sendMouse(&canvas, QEvent::MouseMove, p);
            check(committed + QList<Annotation>{*canvas.draft()});
        }
        // Dropped (under 4 points): the picture is as before.
        sendMouse(&canvas, QEvent::MouseButtonRelease, QPointF(102, 101));
        check(committed);

        // Committed over the arrow and the first blur, then undone: the arrow comes back.
        drag(&canvas, QPointF(70.5, 50), {QPointF(180.25, 230.75)});
        QCOMPARE(canvas.annotations().size(), committed.size() + 1);
        check(canvas.annotations());
        canvas.undo();
        check(committed);

        // A box, then undo of it and of the arrow beneath, and a badge.
        canvas.setKind(Kind::rect);
        drag(&canvas, QPointF(380, 20), {QPointF(320, 120)});
        check(canvas.annotations());
        canvas.undo();
        canvas.undo();
        QCOMPARE(canvas.annotations(), initial);
        check(initial);
        canvas.setKind(Kind::step);
        QTest::mouseClick(&canvas, Qt::LeftButton, {}, QPoint(395, 295));
        check(canvas.annotations());
    }
};

QTEST_MAIN(CanvasTest)
#include "test_canvas.moc"
