// The annotate command end to end: the main window's "Annotate…" button, the editor, and its result
// going back into the guide.
#include "EditorTestSupport.h"
#include "app/AppDelegate.h"
#include "app/AppTestSupport.h"
#include "app/MainView.h"
#include "app/MainWindowController.h"
#include "app/StepDetail.h"
#include "document/GuideStore.h"
#include "editor/CanvasView.h"
#include "editor/EditorController.h"
#include "render/Renderer.h"
#include "support/FakeDialogs.h"

#include <QButtonGroup>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

struct Fixture {
    FakeDialogs dialogs;
    AppDelegate app;

    Fixture() {
        app.launch();
        // "Two" carries the mark of a recorded click.
        QList<Step> steps{colouredStep(QStringLiteral("One")),
                          Step::make(colouredStep(QStringLiteral("Two"), Qt::darkGreen, 640, 400, 2).base, 2,
                                     QStringLiteral("Two"), {ring}),
                          colouredStep(QStringLiteral("Three"))};
        guide().replaceContents(QStringLiteral("Demo"), steps, {});
        guide().setDirty(false);
    }
    Guide& guide() { return app.guide(); }
    StepDetail* detail() { return app.mainWindow()->window()->view()->detail(); }
    const Step& step(int i) { return guide().steps()[i]; }

    // Opens an editor on step i through the main window's button.
    EditorController* annotate(int i) {
        const qsizetype before = EditorController::openEditors().size();
        guide().setSelection(step(i).id);
        const QUuid id = step(i).id;
        if (!QTest::qWaitFor([&] { return detail()->shownStep() == id; }))
            return nullptr;
        detail()->annotateButton()->click();
        if (EditorController::openEditors().size() != before + 1)
            return nullptr;
        return EditorController::openEditors().last();
    }

    static inline const Annotation ring{Kind::ring, {100, 80}, {}, {}, 0};
};

QPushButton* doneButton(EditorController* editor) {
    return editor->window()->findChild<QPushButton*>(QStringLiteral("done"));
}

} // namespace

class AnnotateTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
    }

    void init() {
        GuideStore::waitForBackgroundWrites();
        QDir(GuideStore::workingDir()).removeRecursively();
        QSettings().clear();
    }

    void cleanup() {
        for (EditorController* editor : EditorController::openEditors())
            editor->window()->close();
        settle();
    }

    void annotateButton_opensAnEditorOnTheStepInFront() {
        Fixture f;
        EditorController* editor = f.annotate(1);
        QVERIFY(editor);
        QCOMPARE(editor->window()->windowTitle(), QStringLiteral("Two"));
        QVERIFY(editor->canvas()->base().sameAs(f.step(1).base));
        QCOMPARE(editor->canvas()->scale(), 2.0);
        QCOMPARE(editor->canvas()->pointSize(), QSizeF(320, 200));
        QCOMPARE(editor->canvas()->annotations(), QList<Annotation>{Fixture::ring});
        QVERIFY(doneButton(editor));
        QTRY_VERIFY(editor->window()->isActiveWindow());

        // An id that names no step opens nothing.
        f.app.annotate(QUuid::createUuid());
        QCOMPARE(EditorController::openEditors().size(), 1);
    }

    void done_replacesOnlyTheMarks_soARenameMeanwhileSurvives() {
        Fixture f;
        EditorController* editor = f.annotate(1);
        QVERIFY(editor);
        drag(editor->canvas(), QPointF(20, 20), {QPointF(150, 120)});

        // Meanwhile the step is renamed in the main window, given a note, and moved to the front.
        QLineEdit* title = f.detail()->titleField();
        title->selectAll();
        QTest::keyClicks(title, QStringLiteral("Open the settings"));
        QCOMPARE(f.step(1).title, QStringLiteral("Open the settings"));
        const QUuid id = f.step(1).id;
        f.guide().updateStep(id, [](Step& s) { s.note = QStringLiteral("Top right"); });
        QList<Step> reordered = f.guide().steps();
        reordered.move(1, 0);
        f.guide().setSteps(reordered);
        f.guide().setDirty(false);

        QSignalSpy assignments(&f.guide(), &Guide::stepsWillChange);
        doneButton(editor)->click();
        QCOMPARE(assignments.size(), 1);
        const Step& done = f.step(0);
        QCOMPARE(done.id, id);
        QCOMPARE(done.title, QStringLiteral("Open the settings"));
        QCOMPARE(done.note, QStringLiteral("Top right"));
        const QList<Annotation> expected{Fixture::ring, Annotation{Kind::arrow, {20, 20}, {150, 120}, {}, 0}};
        QCOMPARE(done.annotations, expected);
        QCOMPARE(compare(done.rendered.pixels(), Renderer::render(done.base.pixels(), expected, 2)).largest,
                 0);
        QVERIFY(f.guide().isDirty());
        // The other steps are as they were.
        QCOMPARE(titles(f.guide()), (QStringList{"Open the settings", "One", "Three"}));
        QVERIFY(f.step(1).annotations.isEmpty());
        settle();
        QVERIFY(EditorController::openEditors().isEmpty());
    }

    void twoEditorsOnOneStep_theLastDoneWins() {
        Fixture f;
        EditorController* arrows = f.annotate(1);
        EditorController* badges = f.annotate(1);
        QVERIFY(arrows && badges && arrows != badges);
        drag(arrows->canvas(), QPointF(10, 10), {QPointF(90, 60)});
        badges->tools()->button(5)->click();
        QTest::mouseClick(badges->canvas(), Qt::LeftButton, {}, QPoint(200, 150));
        QCOMPARE(badges->canvas()->annotations().last().number, 1);

        doneButton(badges)->click();
        QCOMPARE(f.step(1).annotations.size(), 2);
        QCOMPARE(f.step(1).annotations.last().kind, Kind::step);
        doneButton(arrows)->click();
        QCOMPARE(f.step(1).annotations,
                 (QList<Annotation>{Fixture::ring, Annotation{Kind::arrow, {10, 10}, {90, 60}, {}, 0}}));
    }

    void closingWithoutDone_orDoneOnADeletedStep_changesNothing() {
        Fixture f;
        EditorController* editor = f.annotate(1);
        QVERIFY(editor);
        drag(editor->canvas(), QPointF(10, 10), {QPointF(90, 60)});
        QSignalSpy assignments(&f.guide(), &Guide::stepsWillChange);
        editor->window()->close();
        settle();
        QCOMPARE(assignments.size(), 0);
        QCOMPARE(f.step(1).annotations, QList<Annotation>{Fixture::ring});
        QVERIFY(!f.guide().isDirty());
        QVERIFY(EditorController::openEditors().isEmpty());

        // The step goes while its editor is open: Done drops the result and closes.
        editor = f.annotate(2);
        QVERIFY(editor);
        drag(editor->canvas(), QPointF(10, 10), {QPointF(90, 60)});
        QList<Step> remaining = f.guide().steps();
        remaining.removeAt(2);
        f.guide().setSteps(remaining);
        assignments.clear();
        doneButton(editor)->click();
        QCOMPARE(assignments.size(), 0);
        QCOMPARE(titles(f.guide()), (QStringList{"One", "Two"}));
        QVERIFY(f.step(0).annotations.isEmpty());
        QCOMPARE(f.step(1).annotations, QList<Annotation>{Fixture::ring});
        QVERIFY(!editor->window()->isVisible());
    }
};

QTEST_MAIN(AnnotateTest)
#include "test_annotate.moc"
