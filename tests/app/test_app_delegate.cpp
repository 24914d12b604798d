#include "AppTestSupport.h"

#include "app/AppDelegate.h"
#include "app/MainMenu.h"
#include "app/MainView.h"
#include "app/MainWindowController.h"
#include "app/SingleInstance.h"
#include "document/GuideStore.h"
#include "library/Library.h"
#include "support/FakeDialogs.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMenu>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QtConcurrent/QtConcurrentRun>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace trovix;
using namespace trovix::testing;

namespace {

const QString saveQuestion = QStringLiteral("Save changes to “%1”?");

QString scratch(const QString& name) {
    const QString path = QDir(qEnvironmentVariable("TROVIX_TEST_TMP")).filePath(name);
    QDir().mkpath(QFileInfo(path).absolutePath());
    return path;
}

// A guide folder on disk with the given title and steps.
QString savedGuide(const QString& path, const QString& title, int steps) {
    Guide guide;
    fill(guide, steps, title);
    GuideStore::write(guide, path, false);
    return path;
}

QJsonObject workingCopyRecord() {
    GuideStore::waitForBackgroundWrites();
    QFile file(QDir(GuideStore::workingDir()).filePath(QStringLiteral("guide.json")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

struct Fixture {
    FakeDialogs dialogs;
    AppDelegate app;

    Fixture() { app.launch(); }
    Guide& guide() { return app.guide(); }
    QMainWindow* window() { return app.mainWindow()->window(); }
    // Two unsaved steps under the title "Demo": dirty, worth a question.
    void makeUnsavedWork() {
        guide().setTitle(QStringLiteral("Demo"));
        guide().append(colouredStep(QStringLiteral("One")));
        guide().append(colouredStep(QStringLiteral("Two")));
    }
};

} // namespace

class AppDelegateTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
    }

    void init() {
        // Each case starts like a first launch.
        GuideStore::waitForBackgroundWrites();
        QDir(GuideStore::workingDir()).removeRecursively();
        QSettings().clear();
        QFile::remove(RecentDocuments::xbelPath());
    }

    void newGuide_asksAboutUnsavedChanges_andFollowsEachAnswer() {
        Fixture f;
        f.makeUnsavedWork();

        f.dialogs.answerAlert(2); // Cancel
        f.app.newGuideAction();
        QCOMPARE(f.dialogs.asked.size(), 1);
        const Dialogs::Alert& question = f.dialogs.asked[0].alert;
        QCOMPARE(question.message, saveQuestion.arg("Demo"));
        QCOMPARE(question.informativeText,
                 QStringLiteral("Your changes will be lost if you don’t save them."));
        QCOMPARE(question.buttons, (QStringList{"Save", "Don’t Save", "Cancel"}));
        QCOMPARE(f.guide().steps().size(), 2);

        // "Save" on an untitled guide shows the save panel; cancelling it cancels the new guide.
        f.dialogs.answerAlert(0);
        f.dialogs.answerSave({});
        f.app.newGuideAction();
        QCOMPARE(f.dialogs.count(FakeDialogs::Kind::save), 1);
        QCOMPARE(f.guide().steps().size(), 2);
        QVERIFY(f.guide().isDirty());

        f.dialogs.answerAlert(1); // Don’t Save
        f.app.newGuideAction();
        QCOMPARE(f.guide().title(), QStringLiteral("Untitled guide"));
        QVERIFY(f.guide().steps().isEmpty());
        QVERIFY(!f.guide().isDirty());
        QVERIFY(f.window()->windowTitle().startsWith(QStringLiteral("Untitled guide")));

        // An untitled empty guide is never worth a question, even when dirty.
        f.guide().setTitle(QStringLiteral("Scratch"));
        QVERIFY(f.guide().isDirty());
        f.app.newGuideAction();
        QCOMPARE(f.dialogs.count(FakeDialogs::Kind::alert), 3);
        QVERIFY(f.dialogs.unexpected.isEmpty());
    }

    void openingAnotherGuide_asksFirst_andOpensItOnlyWhenAllowed() {
        const QString a = savedGuide(scratch("open/A.trovix"), "Alpha", 2);
        const QString b = savedGuide(scratch("open/B.trovix"), "Beta", 3);
        Fixture f;
        f.app.openRequest({a});
        QCOMPARE(f.guide().title(), QStringLiteral("Alpha"));
        QVERIFY(!f.guide().isDirty());
        QCOMPARE(f.guide().selection(), f.guide().steps()[0].id);
        QVERIFY(f.dialogs.asked.isEmpty()); // a clean guide needs no question

        f.guide().setTitle(QStringLiteral("Alpha edited"));
        f.dialogs.answerAlert(2); // Cancel
        f.app.openRequest({b});
        QCOMPARE(f.guide().title(), QStringLiteral("Alpha edited"));
        QCOMPARE(f.guide().fileURL(), QUrl::fromLocalFile(a));

        f.dialogs.answerAlert(1); // Don’t Save
        // Several paths: only the first opens.
        f.app.openRequest({b, a});
        QCOMPARE(f.guide().title(), QStringLiteral("Beta"));
        QCOMPARE(f.guide().steps().size(), 3);
        QCOMPARE(f.guide().fileURL(), QUrl::fromLocalFile(b));
        QVERIFY(!f.guide().isDirty());
        QCOMPARE(f.app.recents().paths().first(), b);
        // The working copy follows at once.
        QCOMPARE(workingCopyRecord().value("sourcePath").toString(), b);
        QCOMPARE(workingCopyRecord().value("dirty").toBool(), false);

        // The open panel: its message, starting next to the open guide.
        f.dialogs.answerOpen({});
        f.app.openAction();
        QCOMPARE(f.dialogs.asked.last().kind, FakeDialogs::Kind::open);
        QCOMPARE(f.dialogs.asked.last().open.title, QStringLiteral("Choose a Trovix file"));
        QCOMPARE(QDir(f.dialogs.asked.last().open.directory), QDir(scratch("open")));
        QVERIFY(f.dialogs.unexpected.isEmpty());
    }

    void openingTheGuideAlreadyOpen_onlyBringsTheWindowForward() {
        const QString a = savedGuide(scratch("same/A.trovix"), "Alpha", 1);
        QDir().mkpath(scratch("same/sub"));
        Fixture f;
        f.app.openRequest({a});
        f.guide().setTitle(QStringLiteral("Changed"));
        f.window()->hide();

        for (const QString& spelling : {scratch("same/./A.trovix"), scratch("same/sub/../A.trovix/")}) {
            f.app.openRequest({spelling});
            QVERIFY(f.dialogs.asked.isEmpty()); // no question, nothing read
            QCOMPARE(f.guide().title(), QStringLiteral("Changed"));
            QVERIFY(f.guide().isDirty());
            QVERIFY(f.window()->isVisible());
            f.window()->hide();
        }
    }

    void openFailure_namesTheFolder_andLeavesTheGuideAlone() {
        QDir().mkpath(scratch("bad/Broken.trovix"));
        QFile json(scratch("bad/Broken.trovix/guide.json"));
        QVERIFY(json.open(QIODevice::WriteOnly));
        json.write("{\"title\": 3}");
        json.close();

        Fixture f;
        f.makeUnsavedWork();
        f.dialogs.answerAlert(1); // Don’t Save
        f.dialogs.answerAlert(0); // OK
        f.app.openRequest({scratch("bad/Broken.trovix")});
        QCOMPARE(f.dialogs.alertMessages().last(), QStringLiteral("Couldn’t open “Broken.trovix”"));
        QCOMPARE(f.dialogs.asked.last().alert.informativeText,
                 QStringLiteral("It doesn’t look like a valid Trovix file."));
        QCOMPARE(f.guide().title(), QStringLiteral("Demo"));
        QCOMPARE(f.guide().steps().size(), 2);
        QVERIFY(f.guide().isDirty());
    }

    void quitting_asksOnlyWhenThereIsSomethingToLose() {
        Fixture f;
        QVERIFY(f.app.applicationShouldTerminate()); // clean
        f.guide().setTitle(QStringLiteral("Only a title"));
        QVERIFY(f.app.applicationShouldTerminate()); // dirty, but no steps and no file
        QVERIFY(f.dialogs.asked.isEmpty());

        f.makeUnsavedWork();
        f.dialogs.answerAlert(2);
        QVERIFY(!f.app.applicationShouldTerminate());
        f.dialogs.answerAlert(0);
        f.dialogs.answerSave({});
        QVERIFY(!f.app.applicationShouldTerminate());
        f.dialogs.answerAlert(1);
        QVERIFY(f.app.applicationShouldTerminate());
        QVERIFY(f.guide().isDirty());

        // Quitting writes the working copy last, with the unsaved state.
        f.guide().setTitle(QStringLiteral("Last words"));
        f.app.applicationWillTerminate();
        const QJsonObject record = workingCopyRecord();
        QCOMPARE(record.value("title").toString(), QStringLiteral("Last words"));
        QCOMPARE(record.value("dirty").toBool(), true);
        QVERIFY(f.dialogs.unexpected.isEmpty());
    }

    void saveAs_appendsTheExtensionCaseSensitively_andStartsInTheLibrary() {
        Fixture f;
        f.makeUnsavedWork();
        const QString dir = scratch("saved");
        QDir().mkpath(dir);
        QSignalSpy posted(&LibraryNotifier::instance(), &LibraryNotifier::guideLibraryChanged);

        f.dialogs.answerSave(dir + "/Demo");
        QVERIFY(f.app.documents().saveDocumentAs());
        const Dialogs::SavePanel& panel = f.dialogs.asked.last().save;
        QCOMPARE(panel.proposedName, QStringLiteral("Demo"));
        QCOMPARE(panel.title, QStringLiteral("Save this guide so you can reopen and edit it later."));
        QCOMPARE(panel.directory, Library::folder());
        QVERIFY(QFileInfo(Library::folder()).isDir());
        QVERIFY(QFile::exists(dir + "/Demo.trovix/guide.json"));
        QCOMPARE(f.guide().fileURL(), QUrl::fromLocalFile(dir + "/Demo.trovix"));

        // Everything a successful save changes.
        QVERIFY(!f.guide().isDirty());
        QVERIFY(!f.window()->isWindowModified());
        QCOMPARE(f.window()->windowTitle(), QStringLiteral("Demo[*]"));
        QCOMPARE(f.window()->windowFilePath(), dir + "/Demo.trovix");
        QCOMPARE(posted.count(), 1);
        QCOMPARE(f.app.recents().paths().first(), dir + "/Demo.trovix");
        QCOMPARE(workingCopyRecord().value("sourcePath").toString(), dir + "/Demo.trovix");
        QFile xbel(RecentDocuments::xbelPath());
        QVERIFY(xbel.open(QIODevice::ReadOnly));
        QVERIFY(xbel.readAll().contains(QUrl::fromLocalFile(dir + "/Demo.trovix").toEncoded()));

        // A name ending in another case of the extension still gets it; the panel now starts next
        // to the saved guide.
        f.dialogs.answerSave(dir + "/Demo.Trovix");
        QVERIFY(f.app.documents().saveDocumentAs());
        QCOMPARE(f.dialogs.asked.last().save.directory, dir);
        QVERIFY(QFile::exists(dir + "/Demo.Trovix.trovix/guide.json"));

        // Save writes to the guide's folder without asking.
        f.guide().setTitle(QStringLiteral("Demo 2"));
        f.app.saveAction();
        QCOMPARE(f.dialogs.count(FakeDialogs::Kind::save), 2);
        QCOMPARE(GuideStore::read(dir + "/Demo.Trovix.trovix").title, QStringLiteral("Demo 2"));
        QCOMPARE(posted.count(), 3);
        QVERIFY(f.dialogs.unexpected.isEmpty());
    }

    void failedSave_keepsTheEditedMark_andPostsNothing() {
        Fixture f;
        f.makeUnsavedWork();
        f.app.documents().refreshWindow();
        QVERIFY(f.window()->isWindowModified());
        QFile blocker(scratch("blocked"));
        QVERIFY(blocker.open(QIODevice::WriteOnly)); // a file where the folder's parent should be
        blocker.close();
        QSignalSpy posted(&LibraryNotifier::instance(), &LibraryNotifier::guideLibraryChanged);

        f.dialogs.answerSave(scratch("blocked") + "/Demo");
        f.dialogs.answerAlert(0);
        QVERIFY(!f.app.documents().saveDocumentAs());
        QCOMPARE(f.dialogs.asked.last().kind, FakeDialogs::Kind::alert);
        QVERIFY(!f.dialogs.asked.last().alert.message.isEmpty());
        QVERIFY(f.guide().isDirty());
        QVERIFY(f.guide().fileURL().isEmpty());
        QVERIFY(f.window()->isWindowModified());
        QCOMPARE(posted.count(), 0);
        QVERIFY(f.app.recents().paths().isEmpty());
        QVERIFY(f.dialogs.unexpected.isEmpty());
    }

    void windowTitle_followsTheGuideAfterAPause() {
        Fixture f;
        QCOMPARE(f.window()->windowTitle(), QStringLiteral("Untitled guide[*]"));
        f.guide().setTitle(QStringLiteral("Fresh"));
        // Not at once: the refresh waits for the edits to pause.
        QCOMPARE(f.window()->windowTitle(), QStringLiteral("Untitled guide[*]"));
        QTRY_COMPARE(f.window()->windowTitle(), QStringLiteral("Fresh[*]"));
        QVERIFY(f.window()->isWindowModified());

        // A title holding Qt's placeholder is shown as written.
        f.guide().setTitle(QStringLiteral("A [*] B"));
        QTRY_COMPARE(f.window()->windowTitle(), QStringLiteral("A [*][*] B[*]"));
    }

    void mainMenu_offersTheCommandsWithTheirShortcuts() {
        const QString a = savedGuide(scratch("menu/A.trovix"), "Alpha", 1);
        const QString b = savedGuide(scratch("menu/B.trovix"), "Beta", 1);
        Fixture f;
        MainMenu* menu = f.app.mainMenu();
        const QList<std::pair<QString, QString>> items{
            {"Trovix", "Hide Trovix"}, {"Trovix", "Quit Trovix"},  {"File", "New Guide"},
            {"File", "Open…"},         {"File", "Capture Region"}, {"File", "Start/Stop Click Recording"},
            {"File", "Save"},          {"File", "Save As…"},       {"File", "Close Window"},
            {"Edit", "Undo"},          {"Edit", "Redo"},           {"Edit", "Cut"},
            {"Edit", "Copy"},          {"Edit", "Paste"},          {"Edit", "Select All"},
            {"Window", "Minimize"},    {"Window", "Show Trovix"},  {"Window", "Guides Library"}};
        const QStringList keys{"Ctrl+H",       "Ctrl+Q", "Ctrl+N",       "Ctrl+O", "Ctrl+Alt+S",
                               "Ctrl+Alt+R",   "Ctrl+S", "Shift+Ctrl+S", "Ctrl+W", "Ctrl+Z",
                               "Shift+Ctrl+Z", "Ctrl+X", "Ctrl+C",       "Ctrl+V", "Ctrl+A",
                               "Ctrl+M",       "",       "Shift+Ctrl+L"};
        for (qsizetype i = 0; i < items.size(); ++i) {
            QAction* action = menu->action(items[i].first, items[i].second);
            QVERIFY2(action, qPrintable(items[i].second));
            QCOMPARE(action->shortcut(), QKeySequence(keys[i]));
        }

        // "Open Recent" lists remembered guides, newest first, and opens them.
        f.app.openRequest({a});
        f.app.openRequest({b});
        QStringList entries;
        Q_EMIT menu->recentMenu()->aboutToShow();
        for (QAction* action : menu->recentMenu()->actions())
            if (!action->isSeparator())
                entries.append(action->text());
        QCOMPARE(entries, (QStringList{"B.trovix", "A.trovix", "Clear Menu"}));
        menu->recentMenu()->actions()[1]->trigger();
        QCOMPARE(f.guide().title(), QStringLiteral("Alpha"));
        menu->recentMenu()->actions().last()->trigger(); // Clear Menu
        QVERIFY(f.app.recents().paths().isEmpty());
        QFile xbel(RecentDocuments::xbelPath());
        QVERIFY(xbel.open(QIODevice::ReadOnly));
        QVERIFY(!xbel.readAll().contains("A.trovix"));

        // Edit items act on the focused text field.
        QLineEdit* title = f.app.mainWindow()->window()->view()->titleField();
        f.window()->activateWindow();
        title->setFocus();
        QTRY_COMPARE(QApplication::focusWidget(), title);
        QTest::keyClicks(title, QStringLiteral("!"));
        QCOMPARE(f.guide().title(), QStringLiteral("Alpha!"));
        menu->action("Edit", "Undo")->trigger();
        QCOMPARE(title->text(), QStringLiteral("Alpha"));
        menu->action("Edit", "Select All")->trigger();
        QCOMPARE(title->selectedText(), QStringLiteral("Alpha"));

        // Document items reach the controller.
        f.dialogs.answerOpen({});
        menu->action("File", "Open…")->trigger();
        QCOMPARE(f.dialogs.count(FakeDialogs::Kind::open), 1);
    }

    void secondLaunch_handsItsPathsToTheRunningInstance() {
        SingleInstance first;
        QVERIFY(first.listen());
        QSignalSpy requests(&first, &SingleInstance::openRequested);

        auto sent = QtConcurrent::run([] {
            return SingleInstance::sendToRunning({"/tmp/A.trovix", "/tmp/B é.trovix"});
        });
        QTRY_COMPARE(requests.count(), 1);
        QCOMPARE(requests[0][0].toStringList(), (QStringList{"/tmp/A.trovix", "/tmp/B é.trovix"}));
        QTRY_VERIFY(sent.isFinished());
        QVERIFY(sent.result());

        // A launch without paths asks the running one to come forward.
        auto bare = QtConcurrent::run([] { return SingleInstance::sendToRunning({}); });
        QTRY_COMPARE(requests.count(), 2);
        QVERIFY(requests[1][0].toStringList().isEmpty());
        QTRY_VERIFY(bare.isFinished());

        SingleInstance second;
        QVERIFY(!second.listen());
    }

    void staleSocket_fromACrashedInstance_isTakenOver() {
        // A socket file nobody listens on any more.
        const QByteArray path = SingleInstance::socketPath().toLocal8Bit();
        QFile::remove(QString::fromLocal8Bit(path));
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, path.constData(), sizeof(address.sun_path));
        QCOMPARE(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        ::close(fd);
        QVERIFY(QFile::exists(QString::fromLocal8Bit(path)));

        QVERIFY(!SingleInstance::sendToRunning({}, 300));
        SingleInstance instance;
        QVERIFY(instance.listen());
    }
};

QTEST_MAIN(AppDelegateTest)
#include "test_app_delegate.moc"
