#include "GuideFolders.h"
#include "document/Guide.h"
#include "library/CardGrid.h"
#include "library/LibraryModel.h"
#include "library/LibraryView.h"
#include "library/LibraryWindowController.h"
#include "support/FakeDialogs.h"

#include <QAccessible>
#include <QAction>
#include <QDesktopServices>
#include <QLineEdit>
#include <QMenu>
#include <QScrollBar>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QToolBar>

using namespace trovix;
using namespace trovix::testing;

namespace {

GuideSummary card(const QString& title, qint64 steps = 1, const QImage& thumbnail = {}) {
    GuideSummary summary;
    summary.url = QUrl::fromLocalFile(QStringLiteral("/library/") + title + QStringLiteral(".trovix"));
    summary.title = title;
    summary.stepCount = steps;
    summary.modified = noon;
    summary.thumbnail = thumbnail;
    return summary;
}

// Records what the window asks the desktop to open.
class UrlRecorder : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public Q_SLOTS:
    void open(const QUrl& url) { opened.append(url); }
};

} // namespace

class LibraryWindowTest : public QObject {
    Q_OBJECT

    Guide m_guide;
    QList<QUrl> m_openRequests;
    QString m_root;

    std::unique_ptr<LibraryWindowController> makeController() {
        return std::make_unique<LibraryWindowController>(
            m_guide, [this](const QUrl& url) { m_openRequests.append(url); });
    }

    // Lists `items` (through the model's own path: a background scan stored on this thread).
    static void list(LibraryWindowController& controller, const QList<GuideSummary>& items) {
        controller.model().setScanner([items](const QString&) { return items; });
        QSignalSpy finished(&controller.model(), &LibraryModel::scanFinished);
        controller.model().reload();
        QVERIFY(finished.wait());
    }

private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
        m_root = QDir(qEnvironmentVariable("TROVIX_TEST_TMP")).filePath(QStringLiteral("window"));
        QVERIFY(QDir().mkpath(m_root));
    }

    void init() {
        m_openRequests.clear();
        m_guide.setFileURL({});
        QSettings().remove(QStringLiteral("libraryFolder"));
        QSettings().remove(LibraryWindow::frameName);
    }

    void filter_trimsSpacesButNotLineBreaksAndMatchesTitlesOnlyIgnoringCase() {
        QCOMPARE(LibraryView::trimmedSearch(QStringLiteral("  wifi ")), QStringLiteral("wifi"));
        QCOMPARE(LibraryView::trimmedSearch(QStringLiteral("\t\u00A0wifi\u2003\u3000")),
                 QStringLiteral("wifi"));
        QCOMPARE(LibraryView::trimmedSearch(QStringLiteral("wifi\n")), QStringLiteral("wifi\n"));
        QCOMPARE(LibraryView::trimmedSearch(QStringLiteral(" \t ")), QString());

        GuideSummary pathOnly = card(QStringLiteral("Printer"));
        pathOnly.url = QUrl::fromLocalFile(QStringLiteral("/library/wifi.trovix"));
        const QList<GuideSummary> items{card(QStringLiteral("WiFi setup")),
                                        card(QStringLiteral("Set up Wi-Fi")), pathOnly,
                                        card(QStringLiteral("Reset the WIFI router"))};
        QCOMPARE(titles(LibraryView::filtered(items, QStringLiteral("  wifi "))),
                 (QStringList{QStringLiteral("WiFi setup"), QStringLiteral("Reset the WIFI router")}));
        QCOMPARE(LibraryView::filtered(items, QStringLiteral("wifi\n")).size(), 0);
        QCOMPARE(LibraryView::filtered(items, QStringLiteral("\t")).size(), items.size());
        QCOMPARE(titles(LibraryView::filtered(items, QStringLiteral("ÉTÉ"))), QStringList());
        QCOMPARE(titles(LibraryView::filtered({card(QStringLiteral("Été"))}, QStringLiteral("éT"))),
                 QStringList{QStringLiteral("Été")});
    }

    void caption_countsStepsAndShowsTheAbbreviatedDate() {
        const QLocale english(QLocale::English, QLocale::UnitedStates);
        QCOMPARE(CardGrid::captionLine(1, noon, english), QStringLiteral("1 step \u00B7 Nov 3, 2026"));
        QCOMPARE(CardGrid::captionLine(0, noon, english), QStringLiteral("0 steps \u00B7 Nov 3, 2026"));
        QCOMPARE(CardGrid::captionLine(12, noon.addDays(13), english),
                 QStringLiteral("12 steps \u00B7 Nov 16, 2026"));
        QCOMPARE(CardGrid::abbreviatedDateFormat(QLocale(QLocale::German, QLocale::Germany)),
                 QStringLiteral("d. MMM yyyy"));
        QCOMPARE(CardGrid::abbreviatedDateFormat(QLocale::c()), QStringLiteral("d MMM yyyy"));
        // The time of day never shows, whatever the time zone does to the date.
        QVERIFY(!CardGrid::captionLine(2, noon, QLocale::system()).contains(u':'));
    }

    void searchRow_showsTheFolderWithHomeAsTilde() {
        QCOMPARE(LibraryView::displayPath(QStringLiteral("/home/ann/Documents/Trovix"),
                                          QStringLiteral("/home/ann")),
                 QStringLiteral("~/Documents/Trovix"));
        QCOMPARE(LibraryView::displayPath(QStringLiteral("/srv/Guides"), QStringLiteral("/home/ann")),
                 QStringLiteral("/srv/Guides"));
        QCOMPARE(LibraryView::displayPath(QStringLiteral("/srv/x"), QStringLiteral("/")),
                 QStringLiteral("/srv/x"));

        auto controller = makeController();
        QCOMPARE(controller->view()->shownPath(),
                 LibraryView::displayPath(Library::folder(), QDir::homePath()));
        QVERIFY(controller->view()->shownPath().startsWith(QStringLiteral("~/")));
        QSettings().setValue(QStringLiteral("libraryFolder"), QStringLiteral("/srv/Guides"));
        list(*controller, {});
        QCOMPARE(controller->view()->shownPath(), QStringLiteral("/srv/Guides"));
    }

    void search_filtersTheGridAndShowsTheEmptyStates() {
        auto controller = makeController();
        LibraryView* view = controller->view();
        // Nothing listed yet: the empty library's state, whatever the search.
        QVERIFY(view->isShowingEmptyState());
        const QStringList emptyLibrary{QStringLiteral("No saved guides yet"),
                                       QStringLiteral("Guides you save with Ctrl+S appear here.")};
        QCOMPARE(view->emptyStateLines(), emptyLibrary);
        view->searchField()->setText(QStringLiteral("wifi"));
        QCOMPARE(view->emptyStateLines(), emptyLibrary);
        view->searchField()->clear();

        list(*controller, {card(QStringLiteral("WiFi setup"), 1), card(QStringLiteral("Set up Wi-Fi"), 0),
                           card(QStringLiteral("Printer"), 3)});
        QVERIFY(!view->isShowingEmptyState());
        QCOMPARE(view->grid()->cards().size(), 3);

        QTest::keyClicks(view->searchField(), QStringLiteral("  wifi "));
        QCOMPARE(view->search(), QStringLiteral("  wifi ")); // the field keeps what was typed
        QCOMPARE(titles(view->grid()->cards()), QStringList{QStringLiteral("WiFi setup")});

        view->searchField()->setText(QStringLiteral(" zebra "));
        QVERIFY(view->isShowingEmptyState());
        QCOMPARE(view->emptyStateLines(), QStringList{QStringLiteral("No guides match \u201C zebra \u201D")});

        view->searchField()->clear();
        QVERIFY(!view->isShowingEmptyState());
        QCOMPARE(view->grid()->cards().size(), 3);

        // The grid follows a new listing under the same search.
        view->searchField()->setText(QStringLiteral("print"));
        list(*controller, {card(QStringLiteral("Printer"), 3), card(QStringLiteral("Print a page"), 1)});
        QCOMPARE(titles(view->grid()->cards()),
                 (QStringList{QStringLiteral("Printer"), QStringLiteral("Print a page")}));
        list(*controller, {});
        QCOMPARE(view->emptyStateLines(), emptyLibrary);
    }

    void openBadge_followsTheMainWindowsGuideAndBlocksItsTrash() {
        auto controller = makeController();
        CardGrid* grid = controller->view()->grid();
        list(*controller, {card(QStringLiteral("A")), card(QStringLiteral("B"))});
        const QUrl a = grid->cards()[0].url;
        const QUrl b = grid->cards()[1].url;
        QVERIFY(!grid->isOpen(a) && !grid->isOpen(b));

        // Written with "." and ".." components, it is still the same folder.
        m_guide.setFileURL(QUrl::fromLocalFile(QStringLiteral("/library/./sub/../A.trovix")));
        QVERIFY(grid->isOpen(a));
        QVERIFY(!grid->isOpen(b));

        std::unique_ptr<QMenu> menu(grid->contextMenu(0, nullptr));
        QStringList texts;
        for (QAction* action : menu->actions())
            texts.append(action->isSeparator() ? QStringLiteral("-") : action->text());
        QCOMPARE(texts, (QStringList{QStringLiteral("Open"), QStringLiteral("Show in File Manager"),
                                     QStringLiteral("-"), QStringLiteral("Move to Trash")}));
        QVERIFY(menu->actions()[0]->isEnabled());
        QVERIFY(!menu->actions()[3]->isEnabled());
        menu.reset(grid->contextMenu(1, nullptr));
        QVERIFY(menu->actions()[3]->isEnabled());

        m_guide.setFileURL(b);
        QVERIFY(!grid->isOpen(a));
        QVERIFY(grid->isOpen(b));
        menu.reset(grid->contextMenu(0, nullptr));
        QVERIFY(menu->actions()[3]->isEnabled());

        // The menu's "Open" goes to the application's open command.
        menu->actions()[0]->trigger();
        QCOMPARE(m_openRequests, QList<QUrl>{a});
    }

    void cards_selectOnClickOpenOnDoubleClickAndDrawWhatTheyHold() {
        auto controller = makeController();
        controller->show();
        QVERIFY(QTest::qWaitForWindowExposed(controller->window()));
        CardGrid* grid = controller->view()->grid();
        const QColor shot(30, 140, 90);
        list(*controller,
             {card(QStringLiteral("Pictured"), 2, thumbnailOf(shot)), card(QStringLiteral("Bare"), 0)});
        m_guide.setFileURL(grid->cards()[0].url);

        const QRect first = grid->cardRect(0);
        const QRect second = grid->cardRect(1);
        QVERIFY(grid->viewport()->rect().contains(second));
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, second.center());
        QCOMPARE(grid->selected(), grid->cards()[1].url);
        QVERIFY(m_openRequests.isEmpty());

        QImage image = grid->viewport()->grab().toImage();
        const qreal ratio = image.devicePixelRatio();
        auto pixel = [&](QPoint p) { return image.pixelColor(p * ratio); };
        // The thumbnail fills its box; the bare guide shows the faint placeholder instead.
        const QColor inFirst = pixel(QPoint(first.center().x(), first.top() + 20));
        QVERIFY2(qAbs(inFirst.green() - shot.green()) < 12 && qAbs(inFirst.red() - shot.red()) < 12,
                 qPrintable(inFirst.name()));
        const QColor placeholder = pixel(QPoint(second.left() + 20, second.top() + 20));
        QVERIFY(qAbs(placeholder.green() - shot.green()) > 40);
        // The selected card's outline is the accent colour, 3 wide; the other's is faint.
        const QColor accent = grid->palette().color(QPalette::Highlight);
        const QColor outline = pixel(QPoint(second.center().x(), second.top()));
        QVERIFY2(qAbs(outline.blue() - accent.blue()) < 30 && qAbs(outline.red() - accent.red()) < 30,
                 qPrintable(outline.name()));
        QVERIFY(pixel(QPoint(first.center().x(), first.top() + 140)) != accent);
        // The open card carries its badge in the top-right corner: accent-filled, white text.
        const QColor badge = pixel(QPoint(first.right() - 10, first.top() + 10));
        QVERIFY2(qAbs(badge.blue() - accent.blue()) < 30, qPrintable(badge.name()));

        // The selection outlives a listing that drops the card and comes back with it.
        const QUrl selected = grid->selected();
        list(*controller, {card(QStringLiteral("Pictured"), 2)});
        QCOMPARE(grid->selected(), selected);
        list(*controller, {card(QStringLiteral("Pictured"), 2), card(QStringLiteral("Bare"), 0)});
        QCOMPARE(grid->selected(), selected);

        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, first.center());
        QCOMPARE(m_openRequests, QList<QUrl>{grid->cards()[0].url});
        // Clicks between cards do nothing.
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {},
                           QPoint(first.right() + 9, first.center().y()));
        QCOMPARE(m_openRequests.size(), 1);
    }

    void cards_areListItemsForScreenReaders_andFollowTheListing() {
        auto controller = makeController();
        controller->show();
        QVERIFY(QTest::qWaitForWindowExposed(controller->window()));
        CardGrid* grid = controller->view()->grid();
        list(*controller, {card(QStringLiteral("Pictured"), 2), card(QStringLiteral("Bare"), 0)});

        QAccessibleInterface* cards = QAccessible::queryAccessibleInterface(grid);
        QVERIFY(cards);
        QCOMPARE(cards->role(), QAccessible::List);
        QCOMPARE(cards->childCount(), 2);
        QAccessibleInterface* second = cards->child(1);
        QCOMPARE(second->role(), QAccessible::ListItem);
        QCOMPARE(second->text(QAccessible::Name), QStringLiteral("Bare"));
        QCOMPARE(second->text(QAccessible::Description), CardGrid::captionLine(0, noon, QLocale::system()));
        QCOMPARE(cards->indexOfChild(second), 1);
        // Where the card is drawn, in screen coordinates, and found there again.
        const QRect drawn = grid->cardRect(1);
        QCOMPARE(second->rect(), QRect(grid->viewport()->mapToGlobal(drawn.topLeft()), drawn.size()));
        QCOMPARE(cards->childAt(second->rect().center().x(), second->rect().center().y()), second);
        // The default action opens the guide, as a double-click does.
        second->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(m_openRequests, QList<QUrl>{grid->cards()[1].url});
        QCOMPARE(grid->selected(), grid->cards()[1].url);
        QVERIFY(second->state().selected);

        // A new listing replaces the items: the old ones go, the new ones name the new cards.
        list(*controller, {card(QStringLiteral("Only"), 1)});
        QCOMPARE(cards->childCount(), 1);
        QCOMPARE(cards->child(0)->text(QAccessible::Name), QStringLiteral("Only"));
        QVERIFY(!cards->child(1));
        QCOMPARE(QAccessible::queryAccessibleInterface(controller->view()->findChild<QLineEdit*>())
                     ->text(QAccessible::Name),
                 QStringLiteral("Search guides"));
    }

    void grid_adaptsColumnsToTheWidthAndPaintsOnlyWhatIsInView() {
        for (int width = 300; width <= 3000; width += 37) {
            const CardGrid::Layout layout = CardGrid::layoutFor(width, 100, 200);
            const int available = width - 2 * CardGrid::padding;
            QVERIFY(layout.columnWidth <= CardGrid::maxColumnWidth);
            QVERIFY(layout.columnWidth >= CardGrid::minColumnWidth);
            const int used =
                layout.columns * layout.columnWidth + (layout.columns - 1) * CardGrid::columnSpacing;
            QVERIFY(used <= available);
            // One more column would not fit at the narrowest width.
            QVERIFY((layout.columns + 1) * CardGrid::minColumnWidth +
                        layout.columns * CardGrid::columnSpacing >
                    available);
            QVERIFY(qAbs(layout.left - (width - (layout.left + used))) <= 1); // centred
            QCOMPARE(layout.cardRect(layout.columns).top(), CardGrid::padding + 200 + CardGrid::rowSpacing);
        }

        auto controller = makeController();
        QList<GuideSummary> many;
        for (int i = 0; i < 1000; ++i)
            many.append(card(QStringLiteral("Guide %1").arg(i), i % 7,
                             thumbnailOf(QColor::fromHsv(i % 360, 120, 200))));
        list(*controller, many);
        controller->show();
        QVERIFY(QTest::qWaitForWindowExposed(controller->window()));
        CardGrid* grid = controller->view()->grid();

        controller->window()->resize(620, 500);
        QTRY_COMPARE(controller->view()->width(), 620);
        QVERIFY(grid->currentLayout().columns <= 2);
        controller->window()->resize(1600, 900);
        QTRY_COMPARE(controller->view()->width(), 1600);
        const CardGrid::Layout wide = grid->currentLayout();
        QVERIFY(wide.columns >= 6);

        grid->viewport()->repaint();
        const int visibleRows = grid->viewport()->height() / (wide.cardHeight + CardGrid::rowSpacing) + 2;
        QVERIFY(grid->lastPaintedCount() > 0);
        QVERIFY(grid->lastPaintedCount() <= visibleRows * wide.columns);

        // Scrolled to the end, the last cards are the ones painted.
        grid->verticalScrollBar()->setValue(grid->verticalScrollBar()->maximum());
        grid->viewport()->repaint();
        QVERIFY(grid->lastPaintedCount() <= visibleRows * wide.columns);
        QCOMPARE(grid->cardAt(grid->cardRect(999).center()), 999);
    }

    void window_isTitledSizedAndRemembersItsFrame() {
        QRect saved;
        {
            auto controller = makeController();
            LibraryWindow* window = controller->window();
            QCOMPARE(window->windowTitle(), QStringLiteral("Guides Library"));
            QVERIFY(!window->isVisible()); // made hidden
            controller->show();
            QVERIFY(QTest::qWaitForWindowExposed(window));
            QCOMPARE(controller->view()->size(), QSize(860, 600));
            QCOMPARE(controller->view()->minimumSize(), QSize(620, 420));

            window->setGeometry(QRect(window->geometry().topLeft() + QPoint(40, 30), QSize(900, 700)));
            QTRY_COMPARE(window->size(), QSize(900, 700));
            saved = window->geometry();
            window->close();
            QVERIFY(!window->isVisible());
            QVERIFY(QSettings().contains(LibraryWindow::frameName));
            // Closing only hides: showing again brings back the same window.
            controller->show();
            QVERIFY(window->isVisible());
            QCOMPARE(window->size(), QSize(900, 700));
        }
        auto again = makeController();
        again->show();
        QVERIFY(QTest::qWaitForWindowExposed(again->window()));
        QCOMPARE(again->window()->size(), saved.size());
    }

    void toolbar_choosesFoldersOpensTheFolderAndRefreshes() {
        auto controller = makeController();
        for (QAction* action : controller->window()->findChild<QToolBar*>()->actions())
            QVERIFY2(!action->icon().isNull(), qPrintable(action->text()));

        const QString before = controller->model().folder();
        {
            FakeDialogs dialogs;
            dialogs.answerOpen(QString()); // cancelled
            controller->chooseFolderAction()->trigger();
            QCOMPARE(dialogs.count(FakeDialogs::Kind::open), 1);
            QCOMPARE(dialogs.asked[0].parent, controller->window());
            QCOMPARE(controller->model().folder(), before);
            QVERIFY(!QSettings().contains(QStringLiteral("libraryFolder")));
            QCOMPARE(controller->model().pendingScans(), 0);

            const QString chosen = QDir(m_root).filePath(QStringLiteral("Chosen"));
            QVERIFY(QDir().mkpath(chosen));
            writeGuideFolder(chosen, QStringLiteral("Here.trovix"), QStringLiteral("Here"), 2, noon);
            dialogs.answerOpen(chosen);
            controller->chooseFolderAction()->trigger();
            QCOMPARE(controller->model().folder(), chosen);
            QCOMPARE(controller->view()->shownPath(), LibraryView::displayPath(chosen, QDir::homePath()));
            QTRY_COMPARE(titles(controller->view()->grid()->cards()), QStringList{QStringLiteral("Here")});
            QVERIFY(dialogs.unexpected.isEmpty());
        }

        UrlRecorder recorder;
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &recorder, "open");
        controller->showFolderAction()->trigger();
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QCOMPARE(recorder.opened, QList<QUrl>{QUrl::fromLocalFile(controller->model().folder())});

        writeGuideFolder(controller->model().folder(), QStringLiteral("Later.trovix"),
                         QStringLiteral("Later"), 1, noon.addDays(1));
        controller->refreshAction()->trigger();
        QTRY_COMPARE(titles(controller->view()->grid()->cards()),
                     (QStringList{QStringLiteral("Later"), QStringLiteral("Here")}));
    }

    void trashFromTheMenu_removesTheCard() {
        const QString folder = QDir(m_root).filePath(QStringLiteral("Saved"));
        QVERIFY(QDir().mkpath(folder));
        QSettings().setValue(QStringLiteral("libraryFolder"), folder);
        writeGuideFolder(folder, QStringLiteral("First.trovix"), QStringLiteral("First"), 1, noon);
        writeGuideFolder(folder, QStringLiteral("Second.trovix"), QStringLiteral("Second"), 4,
                         noon.addSecs(60));
        auto controller = makeController();
        CardGrid* grid = controller->view()->grid();
        controller->model().reload();
        QTRY_COMPARE(titles(grid->cards()), (QStringList{QStringLiteral("Second"), QStringLiteral("First")}));

        std::unique_ptr<QMenu> menu(grid->contextMenu(0, nullptr));
        menu->actions()[3]->trigger(); // "Move to Trash", at once
        QTRY_COMPARE(titles(grid->cards()), QStringList{QStringLiteral("First")});
        QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/Second.trovix")));
    }
};

QTEST_MAIN(LibraryWindowTest)
#include "test_library_window.moc"
