#include "EditorTestSupport.h"
#include "editor/CanvasView.h"
#include "editor/EditorController.h"
#include "render/ImageCodec.h"
#include "render/Renderer.h"
#include "support/FakeDialogs.h"
#include "support/SyntheticScreenshot.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QHBoxLayout>
#include <QMimeData>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

Image screenshot(int w, int h, quint32 seed = 3) {
    if (h >= 200)
        return Image(syntheticScreenshot(w, h, seed));
    QImage strip(w, h, QImage::Format_RGB32); // too short for a desktop
    strip.fill(QColor(90, 120, 160));
    return Image(strip);
}

QPushButton* buttonNamed(EditorController& editor, const QString& text) {
    for (QPushButton* button : editor.window()->findChildren<QPushButton*>())
        if (button->text() == text)
            return button;
    return nullptr;
}

} // namespace

class EditorTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void cleanup() {
        for (EditorController* editor : EditorController::openEditors())
            editor->window()->close();
        settle();
        QVERIFY(EditorController::openEditors().isEmpty());
    }

    void window_isSizedByThePictureWithinItsBounds_data() {
        QTest::addColumn<QSize>("pixels");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QSize>("content");
        QTest::newRow("400×300 at scale 2") << QSize(800, 600) << 2.0 << QSize(640, 344);
        QTest::newRow("1600×1000") << QSize(1600, 1000) << 1.0 << QSize(1300, 844);
        QTest::newRow("900×500") << QSize(900, 500) << 1.0 << QSize(900, 544);
        QTest::newRow("wide and short") << QSize(1200, 60) << 1.0 << QSize(1200, 104);
    }

    void window_isSizedByThePictureWithinItsBounds() {
        QFETCH(QSize, pixels);
        QFETCH(double, scale);
        QFETCH(QSize, content);
        auto* editor = new EditorController(screenshot(pixels.width(), pixels.height()), scale, {},
                                            QStringLiteral("Step 2"), [](const QList<Annotation>&) {});
        QVERIFY(QTest::qWaitForWindowExposed(editor->window()));
        QCOMPARE(editor->window()->size(), content);
        QCOMPARE(editor->window()->windowTitle(), QStringLiteral("Step 2"));
        QVERIFY(editor->window()->isActiveWindow());
        QCOMPARE(editor->scrollArea()->geometry(), QRect(0, 44, content.width(), content.height() - 44));
        // The picture fits without scrolling unless it is larger than the window.
        const QSizeF points = editor->canvas()->pointSize();
        QCOMPARE(editor->scrollArea()->horizontalScrollBar()->isVisible(), points.width() > 1300);
        QCOMPARE(editor->scrollArea()->verticalScrollBar()->isVisible(), points.height() > 800);
    }

    void toolBar_listsToolsAndButtonsWithDoneOnlyForACallback() {
        auto* editor = new EditorController(screenshot(400, 300), 1, {}, QStringLiteral("A"),
                                            [](const QList<Annotation>&) {});
        QVERIFY(buttonNamed(*editor, QStringLiteral("Done")));
        QCOMPARE(editor->tools()->buttons().size(), 6);
        QCOMPARE(editor->tools()->checkedId(), 0);
        QVERIFY(editor->tools()->exclusive());

        auto* viewer = new EditorController(screenshot(400, 300), 1, {}, QStringLiteral("B"));
        QVERIFY(!buttonNamed(*viewer, QStringLiteral("Done")));
        // Return does nothing without a callback: the window stays.
        QTest::keyClick(viewer->window(), Qt::Key_Return);
        settle();
        QVERIFY(EditorController::openEditors().contains(viewer));
        QCOMPARE(EditorController::openEditors().size(), 2);
    }

    void tools_setTheCanvasKindAndUndoActsOnTheNewestMark() {
        auto* editor = new EditorController(screenshot(400, 300), 1, {}, QStringLiteral("A"));
        CanvasView* canvas = editor->canvas();
        const QList<Kind> expected{Kind::arrow, Kind::rect, Kind::highlight,
                                   Kind::blur,  Kind::text, Kind::step};
        for (int i = expected.size() - 1; i >= 0; --i) {
            editor->tools()->button(i)->click();
            QCOMPARE(canvas->kind(), expected[i]);
        }
        QCOMPARE(canvas->kind(), Kind::arrow);
        editor->tools()->button(5)->click();
        QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(30, 30)); // a badge
        editor->tools()->button(1)->click();
        drag(canvas, QPointF(50, 50), {QPointF(120, 90)});
        editor->tools()->button(5)->click();
        buttonNamed(*editor, QStringLiteral("Undo"))->click();
        QCOMPARE(canvas->annotations().size(), 1);
        QCOMPARE(canvas->annotations()[0].kind, Kind::step);
        QCOMPARE(canvas->kind(), Kind::step);
        // Ctrl+Z is Undo too.
        QVERIFY(QTest::qWaitForWindowActive(editor->window()));
        QTest::keyClick(editor->window(), Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(canvas->annotations().isEmpty());
    }

    void done_handsBackTheListAndClosesWhileCloseDiscards() {
        const Annotation ring{Kind::ring, {40, 40}, {}, {}, 0};
        QList<QList<Annotation>> results;
        auto* editor = new EditorController(screenshot(400, 300), 1, {ring}, QStringLiteral("A"),
                                            [&](const QList<Annotation>& list) { results.append(list); });
        QPointer<EditorController> alive(editor);
        QPointer<QWidget> window(editor->window());
        QVERIFY(QTest::qWaitForWindowExposed(window));
        drag(editor->canvas(), QPointF(10, 10), {QPointF(100, 80)});
        QTest::keyClick(window, Qt::Key_Return);
        QCOMPARE(results.size(), 1);
        QCOMPARE(results[0], (QList<Annotation>{ring, Annotation{Kind::arrow, {10, 10}, {100, 80}, {}, 0}}));
        QVERIFY(!window->isVisible());
        QVERIFY(!EditorController::openEditors().contains(editor));
        settle();
        QVERIFY(!alive);
        QVERIFY(!window);

        // Marks made, then the window's close button: nothing is handed back.
        auto* discarded = new EditorController(screenshot(400, 300), 1, {}, QStringLiteral("B"),
                                               [&](const QList<Annotation>& list) { results.append(list); });
        alive = discarded;
        drag(discarded->canvas(), QPointF(10, 10), {QPointF(100, 80)});
        discarded->window()->close();
        settle();
        QCOMPARE(results.size(), 1);
        QVERIFY(!alive);
        QVERIFY(EditorController::openEditors().isEmpty());
    }

    void copy_putsAPngOfTheRenderedPictureOnTheClipboard() {
        const Image base = screenshot(600, 400, 11);
        const QList<Annotation> marks{{Kind::highlight, {10, 10}, {120, 60}, {}, 0},
                                      {Kind::blur, {100, 100}, {200, 180}, {}, 0}};
        auto* editor = new EditorController(base, 2, marks, QStringLiteral("A"));
        QGuiApplication::clipboard()->setText(QStringLiteral("old"));
        buttonNamed(*editor, QStringLiteral("Copy"))->click();

        const QMimeData* mime = QGuiApplication::clipboard()->mimeData();
        QVERIFY(mime);
        QVERIFY(!mime->hasText());
        const QImage pasted = ImageCodec::decode(mime->data(QStringLiteral("image/png")));
        QCOMPARE(pasted.size(), QSize(600, 400));
        const QImage expected = Renderer::render(base.pixels(), marks, 2);
        QCOMPARE(compare(pasted, expected).largest, 0);
        QVERIFY(compare(pasted, base.pixels()).pixelsOver > 0); // the marks are in it
        // 144 dots per inch: 300 × 200 points.
        QCOMPARE(qRound(pasted.dotsPerMeterX() * 0.0254), 144);
    }

    void save_writesThePictureAsItWasWhenAsked() {
        FakeDialogs dialogs;
        const QString dir = qEnvironmentVariable("TROVIX_TEST_TMP");
        const Image base = screenshot(500, 300, 5);
        const QList<Annotation> marks{{Kind::rect, {20, 20}, {200, 120}, {}, 0}};
        auto* editor =
            new EditorController(base, 1, marks, QStringLiteral("A"), [](const QList<Annotation>&) {});
        const QImage expected = Renderer::render(base.pixels(), marks, 1);

        // A mark added while the panel is up is not in the file: the picture was encoded before.
        const QString path = dir + QStringLiteral("/Shot.png");
        QFile::remove(path);
        QFile stale(path);
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.write("not a picture, to be replaced");
        stale.close();
        dialogs.answerSave(path);
        dialogs.onAsk = [&](const FakeDialogs::Asked&) {
            editor->tools()->button(5)->click();
            QTest::mouseClick(editor->canvas(), Qt::LeftButton, {}, QPoint(300, 200));
        };
        buttonNamed(*editor, QStringLiteral("Save…"))->click();
        QCOMPARE(dialogs.count(FakeDialogs::Kind::save), 1);
        QCOMPARE(dialogs.asked[0].save.proposedName, QStringLiteral("Screenshot.png"));
        QCOMPARE(dialogs.asked[0].save.suffixes, QStringList{QStringLiteral("png")});
        QCOMPARE(dialogs.asked[0].parent, editor->window());
        QCOMPARE(editor->canvas()->annotations().size(), 2);
        QFile written(path);
        QVERIFY(written.open(QIODevice::ReadOnly));
        const QByteArray bytes = written.readAll();
        QVERIFY(bytes.startsWith("\x89PNG"));
        QCOMPARE(compare(ImageCodec::decode(bytes), expected).largest, 0);

        // A name without the suffix gets it; cancel and an unwritable place write nothing.
        dialogs.onAsk = {};
        dialogs.answerSave(dir + QStringLiteral("/Named"));
        dialogs.answerSave(QString());
        dialogs.answerSave(dir + QStringLiteral("/missing/folder/Shot.png"));
        for (int i = 0; i < 3; ++i)
            editor->save();
        QVERIFY(QFile::exists(dir + QStringLiteral("/Named.png")));
        QVERIFY(!QFile::exists(dir + QStringLiteral("/missing")));
        QVERIFY(dialogs.unexpected.isEmpty());
        // The editor and its marks are untouched by saving.
        QVERIFY(EditorController::openEditors().contains(editor));
        QCOMPARE(editor->canvas()->annotations().size(), 2);
    }
};

QTEST_MAIN(EditorTest)
#include "test_editor.moc"
