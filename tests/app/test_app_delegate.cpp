#include "app/AppDelegate.h"
#include "app/MainWindowController.h"
#include "app/SingleInstance.h"
#include "app/StepListModel.h"
#include "document/GuideStore.h"
#include "support/FakeDialogs.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QListView>
#include <QPainter>
#include <QSettings>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace trovix;
using namespace trovix::testing;

namespace {

const QString saveQuestion = QStringLiteral("Save changes to “%1”?");

struct Fixture {
    FakeDialogs dialogs;
    AppDelegate app;

    Fixture() { app.launch(); }
    Guide& guide() { return app.guide(); }
    QMainWindow* window() { return app.mainWindow()->window(); }
    // Two unsaved steps under the title "Demo": dirty, worth a question.
    void makeUnsavedWork() {
        guide().setTitle(QStringLiteral("Demo"));
        guide().append(Step::make(Image(flat(320, 200)), 1, QStringLiteral("One")));
        guide().append(Step::make(Image(flat(320, 200)), 1, QStringLiteral("Two")));
        guide().settlePending(); // new steps are searched for secrets before they join
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
        QVERIFY(f.dialogs.unexpected.isEmpty());
    }

    void newSteps_showAtOnceAsPending_butJoinOnlyTheGuideTheyWereTakenFor() {
        Fixture f;
        QImage text(520, 48, QImage::Format_RGB32);
        text.fill(Qt::white);
        QPainter painter(&text);
        painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 12));
        painter.drawText(text.rect(), Qt::AlignCenter,
                         QStringLiteral("Write to alice.smith@example.com today"));
        painter.end();
        const auto* rows = f.window()->findChild<QListView*>(QStringLiteral("stepList"))->model();
        const auto pendingAt = [&](int row) {
            return rows->index(row, 0).data(StepListModel::PendingRole).toBool();
        };

        // The step shows at once, marked, while no write of the guide holds it yet.
        f.guide().append(Step::make(Image(text), 1, QStringLiteral("Mail")));
        QCOMPARE(rows->rowCount(), 1);
        QVERIFY(pendingAt(0));
        f.guide().writeWorkingCopy();
        QVERIFY(GuideStore::read(GuideStore::workingDir()).steps.isEmpty());

        // A new guide waits for it: it joins the guide it was taken for, covered, and the question
        // about unsaved changes covers it.
        f.dialogs.answerAlert(2); // Cancel
        f.app.newGuideAction();
        QCOMPARE(f.dialogs.asked.size(), 1);
        QCOMPARE(f.guide().steps().size(), 1);
        QCOMPARE(f.guide().steps()[0].redactions.size(), 1);
        QVERIFY(!pendingAt(0));
        f.guide().writeWorkingCopy();
        QCOMPARE(GuideStore::read(GuideStore::workingDir()).steps.value(0).redactions.size(), 1);
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
