// The editor on a real X server with a window manager, driven by real pointer input (XTEST through
// xdotool). Also leaves a picture of the editor with one mark of every kind in the build folder.
#include "editor/CanvasView.h"
#include "editor/EditorController.h"
#include "render/Renderer.h"
#include "support/SyntheticScreenshot.h"
#include "support/Xdotool.h"

#include <QDir>
#include <QProcess>
#include <QScreen>
#include <QScrollArea>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

QList<Annotation> everyKind() {
    return {
        {Kind::target, {40, 40}, {210, 80}, {}, 0},
        {Kind::ring, {330, 60}, {}, {}, 0},
        {Kind::highlight, {420, 40}, {640, 90}, {}, 0},
        {Kind::blur, {40, 140}, {300, 260}, {}, 0},
        {Kind::rect, {360, 140}, {600, 280}, {}, 0},
        {Kind::arrow, {760, 380}, {620, 250}, {}, 0},
        {Kind::text, {80, 320}, {}, QStringLiteral("Type your name here"), 0},
        {Kind::step, {700, 80}, {}, {}, 1},
        {Kind::step, {760, 80}, {}, {}, 2},
    };
}

} // namespace

class EditorX11Test : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void realPointer_drawsAtPointsAndTheWindowHasItsSize() {
        QList<QList<Annotation>> results;
        auto* editor = new EditorController(Image(testing::syntheticScreenshot(900, 500, 21)), 1, everyKind(),
                                            QStringLiteral("Step 3"),
                                            [&](const QList<Annotation>& list) { results.append(list); });
        QWidget* window = editor->window();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        QTRY_VERIFY(window->isActiveWindow());
        QCOMPARE(window->size(), QSize(900, 544));
        // Centred on the screen, give or take the window manager's frame.
        const QPoint offCentre =
            window->frameGeometry().center() - window->screen()->availableGeometry().center();
        QVERIFY2(offCentre.manhattanLength() < 80,
                 qPrintable(QStringLiteral("%1, %2").arg(offCentre.x()).arg(offCentre.y())));

        // A real drag from the canvas to beyond the window's right edge: the mark follows the pointer.
        CanvasView* canvas = editor->canvas();
        const QPoint from = canvas->mapToGlobal(QPoint(500, 420));
        const QPoint beyond = canvas->mapToGlobal(QPoint(960, 470));
        xdotool({"mousemove", QString::number(from.x()), QString::number(from.y()), "mousedown", "1"});
        for (int step = 1; step <= 4; ++step) {
            const QPoint p = from + (beyond - from) * step / 4;
            xdotool({"mousemove", QString::number(p.x()), QString::number(p.y())});
        }
        xdotool({"mouseup", "1"});
        QTRY_COMPARE(canvas->annotations().size(), everyKind().size() + 1);
        const Annotation drawn = canvas->annotations().last();
        QCOMPARE(drawn.kind, Kind::arrow);
        QCOMPARE(drawn.p1, QPointF(500, 420));
        QCOMPARE(drawn.p2, QPointF(960, 470));

        // The picture for the record, then Return for Done.
        QTest::qWait(200);
        const QString shot =
            qEnvironmentVariable("TROVIX_BINARY_DIR") + QStringLiteral("/editor-every-kind.png");
        QVERIFY(window->screen()->grabWindow(0).save(shot));

        QTest::keyClick(window, Qt::Key_Return);
        QCOMPARE(results.size(), 1);
        QCOMPARE(results[0].size(), everyKind().size() + 1);
        QTRY_VERIFY(EditorController::openEditors().isEmpty());
    }
};

QTEST_MAIN(EditorX11Test)
#include "test_editor_x11.moc"
