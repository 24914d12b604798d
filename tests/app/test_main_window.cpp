#include "AppTestSupport.h"

#include "app/ExportPopover.h"
#include "app/GrowingTextEdit.h"
#include "app/MainToolBar.h"
#include "app/MainView.h"
#include "app/MainWindowController.h"
#include "app/StepDetail.h"
#include "app/StepListModel.h"
#include "app/StepListView.h"
#include "app/StepPicture.h"
#include "app/StepRowDelegate.h"
#include "app/ThumbnailCache.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

using namespace trovix;
using namespace trovix::testing;

namespace {

// The numbers the list shows, row by row.
QList<int> numbers(const StepListModel& model) {
    QList<int> list;
    for (int row = 0; row < model.rowCount(); ++row)
        list.append(model.index(row).data(StepListModel::NumberRole).toInt());
    return list;
}

QStringList rowTitles(const StepListModel& model) {
    QStringList list;
    for (int row = 0; row < model.rowCount(); ++row)
        list.append(model.index(row).data().toString());
    return list;
}

QList<int> selectedRows(const StepListView& view) {
    QList<int> rows;
    for (const QModelIndex& index : view.selectionModel()->selectedIndexes())
        rows.append(index.row());
    return rows;
}

// Delivers a drag entering the list and a drop at `at`, as a drag from the list itself would.
bool dropAt(StepListView& list, const QMimeData* data, QPoint at) {
    QDragEnterEvent enter(at, Qt::MoveAction, data, Qt::LeftButton, {});
    QApplication::sendEvent(list.viewport(), &enter);
    QDropEvent drop(at, Qt::MoveAction, data, Qt::LeftButton, {});
    QApplication::sendEvent(list.viewport(), &drop);
    return enter.isAccepted() && drop.isAccepted();
}

struct Fixture {
    Guide guide;
    MainActions actions;
    std::unique_ptr<MainWindow> window;

    MainView& view() const { return *window->view(); }
    StepDetail& detail() const { return *window->view()->detail(); }
    StepListView& list() const { return *window->view()->stepList(); }
    StepListModel& model() const { return *window->view()->stepModel(); }
    MainToolBar& toolBar() const { return *window->toolBar(); }

    void open(int steps = 0) {
        fill(guide, steps);
        window = std::make_unique<MainWindow>(guide, actions);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }
};

} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
    }

    void init() { QSettings().clear(); }

    void emptyGuide_showsBothEmptyTextsAndDisablesExport() {
        Fixture f;
        f.open(0);
        QCOMPARE(f.list().emptyText(), QStringLiteral("Take a screenshot\nCtrl+Alt+S"));
        QCOMPARE(f.model().rowCount(), 0);
        QCOMPARE(f.detail().currentWidget(), f.detail().hint());
        QCOMPARE(f.detail().hint()->text(),
                 QStringLiteral("Capture a region or record clicks to add steps."));
        QVERIFY(!f.toolBar().exportButton()->isEnabled());
        QCOMPARE(f.window->windowTitle(), QStringLiteral("Trovix"));
        QCOMPARE(f.view().titleField()->text(), QStringLiteral("Demo"));
        QCOMPARE(f.view().titleField()->placeholderText(), QStringLiteral("Guide title"));

        // Every toolbar button but Export works on an empty guide; none has its own shortcut (the menu's
        // would clash).
        const QList<QToolButton*> buttons{f.toolBar().captureButton(), f.toolBar().recordButton(),
                                          f.toolBar().newGuideButton(), f.toolBar().libraryButton(),
                                          f.toolBar().saveButton()};
        for (QToolButton* button : buttons)
            QVERIFY(button->isEnabled() && button->shortcut().isEmpty());
    }

    void threeSteps_areNumberedAndAskForASelection() {
        Fixture f;
        f.open(3);
        QCOMPARE(numbers(f.model()), (QList<int>{1, 2, 3}));
        QCOMPARE(rowTitles(f.model()), (QStringList{"One", "Two", "Three"}));
        QCOMPARE(f.detail().currentWidget(), f.detail().hint());
        QCOMPARE(f.detail().hint()->text(), QStringLiteral("Select a step."));
        QVERIFY(f.toolBar().exportButton()->isEnabled());
        QVERIFY(selectedRows(f.list()).isEmpty());

        // Clicking a row selects that step in the guide and shows it.
        const QRect second = f.list().visualRect(f.model().index(1));
        QTest::mouseClick(f.list().viewport(), Qt::LeftButton, {}, second.center());
        QCOMPARE(f.guide.selection(), f.guide.steps()[1].id);
        QCOMPARE(f.detail().shownStep(), f.guide.steps()[1].id);
        QCOMPARE(f.detail().titleField()->text(), QStringLiteral("Two"));

        // A selection made elsewhere highlights its row.
        f.guide.setSelection(f.guide.steps()[2].id);
        QCOMPARE(selectedRows(f.list()), QList<int>{2});
        QCOMPARE(f.detail().titleField()->text(), QStringLiteral("Three"));

        // Appending selects the new step, numbered 4, and shows it at once.
        f.guide.append(colouredStep(QStringLiteral("Four")));
        QCOMPARE(numbers(f.model()), (QList<int>{1, 2, 3, 4}));
        QCOMPARE(selectedRows(f.list()), QList<int>{3});
        QCOMPARE(f.detail().titleField()->text(), QStringLiteral("Four"));
    }

    void editing_goesStraightIntoTheGuide() {
        Fixture f;
        f.open(2);
        f.guide.setSelection(f.guide.steps()[0].id);

        f.view().titleField()->selectAll();
        QTest::keyClicks(f.view().titleField(), QStringLiteral("Setup"));
        QCOMPARE(f.guide.title(), QStringLiteral("Setup"));
        QVERIFY(f.guide.isDirty());

        QLineEdit* stepTitle = f.detail().titleField();
        stepTitle->setFocus();
        stepTitle->end(false);
        QTest::keyClicks(stepTitle, QStringLiteral(" more"));
        QCOMPARE(f.guide.steps()[0].title, QStringLiteral("One more"));
        QCOMPARE(rowTitles(f.model())[0], QStringLiteral("One more"));
        // The echo of each keystroke leaves the cursor where the user is typing.
        QCOMPARE(stepTitle->cursorPosition(), 8);

        const int oneLine = f.detail().noteField()->height();
        f.detail().noteField()->setFocus();
        QTest::keyClicks(f.detail().noteField(), QStringLiteral("first"));
        QTest::keyClick(f.detail().noteField(), Qt::Key_Return);
        QTest::keyClicks(f.detail().noteField(), QStringLiteral("second"));
        QTest::keyClick(f.detail().noteField(), Qt::Key_Return);
        QTest::keyClicks(f.detail().noteField(), QStringLiteral("third"));
        QCOMPARE(f.guide.steps()[0].note, QStringLiteral("first\nsecond\nthird"));
        // The note field grows with its lines instead of scrolling.
        QTRY_VERIFY(f.detail().noteField()->height() > 2 * oneLine);

        // A change made elsewhere shows in the fields.
        f.guide.updateStep(f.guide.steps()[0].id, [](Step& step) { step.title = QStringLiteral("Renamed"); });
        QCOMPARE(stepTitle->text(), QStringLiteral("Renamed"));
        f.guide.setTitle(QStringLiteral("Other"));
        QCOMPARE(f.view().titleField()->text(), QStringLiteral("Other"));
    }

    void deleteSelected_selectsTheStepThatTookItsPlace() {
        Fixture f;
        f.open(3);
        // Nothing selected: nothing happens.
        f.view().deleteSelected();
        QCOMPARE(titles(f.guide), (QStringList{"One", "Two", "Three"}));
        QVERIFY(!f.guide.isDirty());
        // A selection naming no step: nothing happens either.
        f.guide.setSelection(QUuid::createUuid());
        f.view().deleteSelected();
        QCOMPARE(f.guide.steps().size(), 3);

        // The second of three, with the Delete key in the list: the former third is selected.
        f.guide.setSelection(f.guide.steps()[1].id);
        f.list().setFocus();
        QTest::keyClick(&f.list(), Qt::Key_Delete);
        QCOMPARE(titles(f.guide), (QStringList{"One", "Three"}));
        QCOMPARE(f.guide.selection(), f.guide.steps()[1].id);
        QCOMPARE(numbers(f.model()), (QList<int>{1, 2}));
        QCOMPARE(selectedRows(f.list()), QList<int>{1});
        QCOMPARE(f.detail().titleField()->text(), QStringLiteral("Three"));

        // The last one, with the "Delete Step" button: the new last step is selected.
        f.detail().deleteButton()->click();
        QCOMPARE(titles(f.guide), QStringList{"One"});
        QCOMPARE(f.guide.selection(), f.guide.steps()[0].id);

        // The only one: no selection and the empty texts are back.
        f.view().deleteSelected();
        QVERIFY(f.guide.steps().isEmpty());
        QVERIFY(f.guide.selection().isNull());
        QCOMPARE(f.detail().hint()->text(),
                 QStringLiteral("Capture a region or record clicks to add steps."));
        QVERIFY(!f.toolBar().exportButton()->isEnabled());
        QVERIFY(f.guide.isDirty());
    }

    void moveRule_insertsBeforeTheStepThatWasAtTheTarget() {
        QList<Step> steps;
        for (const char* t : {"A", "B", "C", "D"})
            steps.append(colouredStep(QString::fromLatin1(t)));
        auto order = [](const QList<Step>& list) {
            QString s;
            for (const Step& step : list)
                s += step.title;
            return s;
        };
        QCOMPARE(order(MainView::moved(steps, {2}, 0)), QStringLiteral("CABD"));
        QCOMPARE(order(MainView::moved(steps, {0}, 4)), QStringLiteral("BCDA"));
        QCOMPARE(order(MainView::moved(steps, {0}, 2)), QStringLiteral("BACD"));
        QCOMPARE(order(MainView::moved(steps, {0, 2}, 4)), QStringLiteral("BDAC"));
        QCOMPARE(order(MainView::moved(steps, {1, 3}, 1)), QStringLiteral("ABDC"));
        QCOMPARE(order(MainView::moved(steps, {1}, 1)), QStringLiteral("ABCD"));
        QCOMPARE(order(MainView::moved(steps, {1}, 2)), QStringLiteral("ABCD"));
    }

    void dragReorder_renumbersAtOnce() {
        Fixture f;
        f.open(3);
        const QUuid third = f.guide.steps()[2].id;
        f.guide.setSelection(third);
        f.guide.setDirty(false);

        // Drop the third row on the upper half of the first.
        std::unique_ptr<QMimeData> data(f.model().mimeData({f.model().index(2)}));
        const QRect first = f.list().visualRect(f.model().index(0));
        const QPoint at(first.center().x(), first.top() + 3);
        QVERIFY(dropAt(f.list(), data.get(), at));

        QCOMPARE(titles(f.guide), (QStringList{"Three", "One", "Two"}));
        QCOMPARE(rowTitles(f.model()), (QStringList{"Three", "One", "Two"}));
        QCOMPARE(f.model().index(0).data(StepListModel::NumberRole).toInt(), 1);
        QCOMPARE(f.guide.selection(), third);
        QCOMPARE(selectedRows(f.list()), QList<int>{0});
        QVERIFY(f.guide.isDirty());

        // Dropping below the last row moves to the end; data from steps no longer in the guide is refused.
        data.reset(f.model().mimeData({f.model().index(0)}));
        QVERIFY(dropAt(f.list(), data.get(), f.list().viewport()->rect().bottomLeft() + QPoint(5, -2)));
        QCOMPARE(titles(f.guide), (QStringList{"One", "Two", "Three"}));

        auto stranger = std::make_unique<QMimeData>();
        stranger->setData(StepListModel::mimeType, uuidString(QUuid::createUuid()).toLatin1());
        QVERIFY(!dropAt(f.list(), stranger.get(), at));
        QCOMPARE(titles(f.guide), (QStringList{"One", "Two", "Three"}));
    }

    void exportButton_followsTheStepsAndTogglesThePanel() {
        Fixture f;
        f.open(0);
        QToolButton* button = f.toolBar().exportButton();
        QVERIFY(!button->isEnabled());
        f.guide.append(colouredStep(QStringLiteral("One")));
        QVERIFY(button->isEnabled());

        button->click();
        QVERIFY(f.toolBar().showExport());
        QVERIFY(f.toolBar().exportPanel()->isVisible());
        button->click();
        QVERIFY(!f.toolBar().showExport());

        // Removing the last step disables the button and closes its panel.
        button->click();
        f.guide.setSteps({});
        QVERIFY(!button->isEnabled());
        QVERIFY(!f.toolBar().showExport());
    }

    void qualityPicker_readsAbsentBalancedAndValidSettings() {
        ExportPopover panel;
        const QList<QToolButton*>& segments = panel.segments();
        QCOMPARE(segments.size(), 3);
        auto checked = [&] {
            QList<bool> list;
            for (QToolButton* segment : segments)
                list.append(segment->isChecked());
            return list;
        };

        // Absent: Balanced, with its description.
        QCOMPARE(checked(), (QList<bool>{false, true, false}));
        QCOMPARE(panel.description()->text(),
                 QStringLiteral("Sharp text with roughly half the file size. Recommended."));
        QVERIFY(!panel.description()->isHidden());

        // The title instead of the stored value names no preset: nothing selected, nothing described.
        QSettings().setValue(QStringLiteral("exportQuality"), QStringLiteral("Balanced"));
        panel.refresh();
        QCOMPARE(checked(), (QList<bool>{false, false, false}));
        QVERIFY(panel.description()->isHidden());

        // Choosing a segment repairs the setting at once.
        segments[2]->click();
        QCOMPARE(QSettings().value(QStringLiteral("exportQuality")).toString(), QStringLiteral("full"));
        QCOMPARE(checked(), (QList<bool>{false, false, true}));
        QCOMPARE(panel.description()->text(), QStringLiteral("Original PNG screenshots. Largest files."));

        QSettings().setValue(QStringLiteral("exportQuality"), QStringLiteral("small"));
        panel.refresh();
        QCOMPARE(checked(), (QList<bool>{true, false, false}));
    }

    void formatButton_closesThePanelBeforeTheExportStarts() {
        Fixture f;
        QList<ExportFormat> exported;
        bool panelOpenDuringExport = true;
        f.actions.exportGuide = [&](ExportFormat format) {
            exported.append(format);
            panelOpenDuringExport = f.toolBar().exportPanel()->isVisible();
        };
        f.open(1);
        f.toolBar().exportButton()->click();
        QVERIFY(f.toolBar().exportPanel()->isVisible());
        f.toolBar().exportPanel()->formatButtons()[2]->click();
        // Closed at once; the export follows on the next turn of the event loop.
        QVERIFY(!f.toolBar().exportPanel()->isVisible());
        QVERIFY(!f.toolBar().exportButton()->isChecked());
        QVERIFY(exported.isEmpty());
        QTRY_COMPARE(exported, QList<ExportFormat>{ExportFormat::pdf});
        QVERIFY(!panelOpenDuringExport);
    }

    void toolbarButtons_callTheirActions_andRecordingTurnsRed() {
        Fixture f;
        QStringList calls;
        f.actions.capture = [&] { calls << "capture"; };
        f.actions.toggleRecording = [&] { calls << "record"; };
        f.actions.newGuide = [&] { calls << "new"; };
        f.actions.library = [&] { calls << "library"; };
        f.actions.save = [&] { calls << "save"; };
        f.actions.annotate = [&](const QUuid& id) { calls << "annotate " + uuidString(id); };
        f.open(1);
        f.toolBar().captureButton()->click();
        f.toolBar().recordButton()->click();
        f.toolBar().newGuideButton()->click();
        f.toolBar().libraryButton()->click();
        f.toolBar().saveButton()->click();
        f.guide.setSelection(f.guide.steps()[0].id);
        f.detail().annotateButton()->click();
        QCOMPARE(calls, (QStringList{"capture", "record", "new", "library", "save",
                                     "annotate " + uuidString(f.guide.steps()[0].id)}));

        QToolButton* record = f.toolBar().recordButton();
        const QColor normal = record->palette().color(QPalette::ButtonText);
        const QImage recordIcon = record->icon().pixmap(24).toImage();
        f.guide.setRecording(true);
        QCOMPARE(record->text(), QStringLiteral("Stop Recording"));
        QCOMPARE(record->palette().color(QPalette::ButtonText), QColor(255, 59, 48));
        QVERIFY(record->icon().pixmap(24).toImage() != recordIcon);
        f.guide.setRecording(false);
        QCOMPARE(record->text(), QStringLiteral("Record Clicks"));
        QCOMPARE(record->palette().color(QPalette::ButtonText), normal);
    }

    void rows_cutLongTitlesAfterTwoLines_butTheDetailShowsThemWhole() {
        const QString longTitle =
            QStringLiteral("Click “Preferences” in the application menu and then choose the Network tab "
                           "to change the proxy settings for every connection");
        const QFont font = QApplication::font();
        const QStringList lines = StepRowDelegate::titleLines(longTitle, font, 140);
        QCOMPARE(lines.size(), 2);
        QVERIFY(lines[1].endsWith(QChar(0x2026)));
        QVERIFY(QFontMetrics(font).horizontalAdvance(lines[1]) <= 140);
        QCOMPARE(StepRowDelegate::titleLines(QStringLiteral("Short"), font, 140), QStringList{"Short"});

        Fixture f;
        f.open(1);
        f.guide.updateStep(f.guide.steps()[0].id, [&](Step& step) { step.title = longTitle; });
        f.guide.setSelection(f.guide.steps()[0].id);
        QCOMPARE(f.detail().titleField()->text(), longTitle);
    }

    void thumbnails_areMadeOnceOffThePaintPath_andForgottenWithTheirSteps() {
        Fixture f;
        f.open(3);
        ThumbnailCache& cache = *f.view().thumbnails();
        QSignalSpy ready(&cache, &ThumbnailCache::ready);
        f.list().viewport()->repaint();
        cache.waitForDone();
        QTRY_COMPARE(ready.count(), 3);
        const QPixmap thumb = cache.thumbnail(f.guide.steps()[0].rendered, f.list().devicePixelRatioF());
        QVERIFY(!thumb.isNull());
        QCOMPARE(thumb.deviceIndependentSize().toSize(), StepRowDelegate::thumbnailBox);

        // A repaint uses the cached pictures and asks for nothing new.
        f.list().viewport()->repaint();
        cache.waitForDone();
        QCoreApplication::processEvents();
        QCOMPARE(ready.count(), 3);

        f.guide.setSelection(f.guide.steps()[0].id);
        f.view().deleteSelected();
        QCOMPARE(cache.size(), 2);
    }

    void thumbnailDrawing_fillsTheBoxWithRoundedCorners() {
        // A wide red picture with a blue centre: the centre fills the box, the corners stay clear.
        QImage wide(400, 100, QImage::Format_ARGB32_Premultiplied);
        wide.fill(Qt::red);
        QPainter(&wide).fillRect(QRect(150, 0, 100, 100), Qt::blue);
        const QImage thumb = ThumbnailCache::draw(wide, {QSize(64, 40), 4, QColor(0, 0, 0, 40)}, 2);
        QCOMPARE(thumb.size(), QSize(128, 80));
        QCOMPARE(thumb.pixelColor(64, 40), QColor(Qt::blue));
        // Filled, not fitted: the left edge shows the red side, with no empty band above or below.
        QCOMPARE(thumb.pixelColor(4, 40).red(), 255);
        QCOMPARE(thumb.pixelColor(64, 3), QColor(Qt::blue));
        QCOMPARE(thumb.pixelColor(0, 0).alpha(), 0);
        QCOMPARE(thumb.pixelColor(127, 79).alpha(), 0);
    }

    void detailPicture_fitsTheWidthKeepingTheAspectRatio() {
        Fixture f;
        f.open(0);
        f.guide.append(colouredStep(QStringLiteral("Wide"), Qt::darkGreen, 1600, 400, 2));
        StepPicture* picture = f.detail().picture();
        QCOMPARE(picture->heightForWidth(800), 200);
        QTRY_VERIFY(picture->isSharp());
        QCOMPARE(picture->height(), picture->heightForWidth(picture->width()));

        // Resizing the window rescales the picture once the resizing pauses.
        QSignalSpy sharpened(picture, &StepPicture::sharpened);
        f.window->resize(f.window->width() + 150, f.window->height());
        QTRY_VERIFY(sharpened.count() >= 1);
        QVERIFY(picture->isSharp());
    }

    void frame_isRememberedUnderTrovixMain() {
        {
            Fixture f;
            f.open(0);
            QCOMPARE(f.window->centralWidget()->minimumSize(), QSize(800, 500));
            f.window->setGeometry(QRect(100, 120, 1000, 700));
            f.window->close();
            QVERIFY(f.window->isHidden());
            QVERIFY(QSettings().contains(QStringLiteral("TrovixMain")));
        }
        Fixture again;
        again.open(0);
        QCOMPARE(again.window->size(), QSize(1000, 700));
    }
};

QTEST_MAIN(MainWindowTest)
#include "test_main_window.moc"
