// The library window as the application uses it: shown from the controller, opening guides through
// the document commands, and listing again after a save.

#include "GuideFolders.h"
#include "app/AppDelegate.h"
#include "document/Guide.h"
#include "document/GuideStore.h"
#include "library/CardGrid.h"
#include "library/LibraryModel.h"
#include "library/LibraryView.h"
#include "library/LibraryWindowController.h"
#include "support/FakeDialogs.h"

#include <QLineEdit>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

QImage picture(QColor colour) {
    QImage image(320, 200, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

} // namespace

class LibraryAppTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
    }

    void showLibrary_makesTheFolderListsItAndOpensGuidesThroughTheApplication() {
        // A library folder that does not exist yet is made when the library is first shown.
        const QString folder =
            QDir(qEnvironmentVariable("TROVIX_TEST_TMP")).filePath(QStringLiteral("new/place/Guides"));
        QSettings().setValue(QStringLiteral("libraryFolder"), folder);

        FakeDialogs dialogs;
        AppDelegate app;
        app.launch();
        QVERIFY(!app.libraryWindow()); // made on first use
        app.showLibrary();
        LibraryWindowController* library = app.libraryWindow();
        QVERIFY(library);
        QVERIFY(QFileInfo(folder).isDir());
        QVERIFY(library->window()->isVisible());
        QTRY_COMPARE(library->model().pendingScans(), 0);
        QVERIFY(library->view()->isShowingEmptyState());

        const QString first = writeGuideFolder(folder, QStringLiteral("First.trovix"),
                                               QStringLiteral("First"), 1, noon, {}, picture(Qt::darkGreen));
        const QString second =
            writeGuideFolder(folder, QStringLiteral("Second.trovix"), QStringLiteral("Second"), 1,
                             noon.addSecs(60), {}, picture(Qt::darkBlue));
        const QString broken = writeGuideFolder(folder, QStringLiteral("Broken.trovix"),
                                                QStringLiteral("Broken"), 2, noon.addSecs(-60));
        // Shown again: the same window, listed afresh, the search kept.
        library->view()->searchField()->setText(QStringLiteral("s"));
        library->window()->close();
        app.showLibrary();
        QCOMPARE(app.libraryWindow(), library);
        QCOMPARE(library->view()->search(), QStringLiteral("s"));
        CardGrid* grid = library->view()->grid();
        QTRY_COMPARE(titles(grid->cards()), (QStringList{QStringLiteral("Second"), QStringLiteral("First")}));

        // Opening a card goes through the open command, which puts the library away.
        Q_EMIT grid->openRequested(grid->cards()[1].url);
        QCOMPARE(app.guide().title(), QStringLiteral("First"));
        QCOMPARE(app.guide().fileURL().toLocalFile(), first);
        QVERIFY(!library->window()->isVisible());
        QVERIFY(grid->isOpen(grid->cards()[1].url));
        QVERIFY(!grid->isOpen(grid->cards()[0].url));

        // The open guide again: nothing is read or asked, and the library stays where it is.
        app.showLibrary();
        Q_EMIT grid->openRequested(grid->cards()[1].url);
        QVERIFY(library->window()->isVisible());
        QVERIFY(dialogs.asked.isEmpty());

        // A guide that cannot be read is reported by the open command; the library stays.
        library->view()->searchField()->clear();
        QTRY_COMPARE(grid->cards().size(), 3);
        dialogs.answerAlert(0);
        Q_EMIT grid->openRequested(QUrl::fromLocalFile(broken));
        QCOMPARE(dialogs.alertMessages(),
                 QStringList{QStringLiteral("Couldn\u2019t open \u201CBroken.trovix\u201D")});
        QVERIFY(library->window()->isVisible());
        QCOMPARE(app.guide().fileURL().toLocalFile(), first);

        // A successful save lists the library again; the saved guide moves to the top.
        QTRY_COMPARE(library->model().pendingScans(), 0);
        app.guide().setTitle(QStringLiteral("First, renamed"));
        app.saveAction();
        QCOMPARE(library->model().pendingScans(), 1); // at once, from the save's announcement
        QTRY_COMPARE(titles(grid->cards()).first(), QStringLiteral("First, renamed"));
        Q_UNUSED(second);
        QVERIFY(dialogs.unexpected.isEmpty());
    }
};

QTEST_MAIN(LibraryAppTest)
#include "test_library_app.moc"
