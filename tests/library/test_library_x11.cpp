// The library window on a real X server with a session bus: the file manager over D-Bus, and
// screenshots of the window's states when TROVIX_SCREENSHOT_DIR is set.

#include "GuideFolders.h"
#include "document/Guide.h"
#include "library/CardGrid.h"
#include "library/LibraryModel.h"
#include "library/LibraryView.h"
#include "library/LibraryWindowController.h"
#include "support/ScreenshotLike.h"

#include <QDBusConnection>
#include <QDesktopServices>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

// Stands in for the desktop's file manager on the session bus.
class FakeFileManager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")
public:
    QList<QStringList> shown;
public Q_SLOTS:
    void ShowItems(const QStringList& uris, const QString&) { shown.append(uris); }
};

class UrlRecorder : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public Q_SLOTS:
    void open(const QUrl& url) { opened.append(url); }
};

void screenshot(const QString& name) {
    const QString dir = qEnvironmentVariable("TROVIX_SCREENSHOT_DIR");
    if (dir.isEmpty())
        return;
    QTest::qWait(300); // let the window manager draw the frame
    QProcess::execute(QStringLiteral("import"),
                      {QStringLiteral("-window"), QStringLiteral("root"), QDir(dir).filePath(name)});
}

} // namespace

class LibraryX11Test : public QObject {
    Q_OBJECT

    Guide m_guide;
    QList<QUrl> m_openRequests;
    QString m_folder;
    std::unique_ptr<LibraryWindowController> m_controller;

    CardGrid* grid() const { return m_controller->view()->grid(); }

    void relist() {
        QSignalSpy finished(&m_controller->model(), &LibraryModel::scanFinished);
        m_controller->model().reload();
        QVERIFY(finished.wait());
    }

private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
        if (QIcon::themeName().isEmpty() || QIcon::themeName() == QStringLiteral("hicolor"))
            QIcon::setThemeName(QStringLiteral("Adwaita"));
        m_folder = QDir(qEnvironmentVariable("TROVIX_TEST_TMP")).filePath(QStringLiteral("Guides"));
        QSettings().setValue(QStringLiteral("libraryFolder"), m_folder);
        Library::ensureFolder();
        m_controller = std::make_unique<LibraryWindowController>(
            m_guide, [this](const QUrl& url) { m_openRequests.append(url); });
        m_controller->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_controller->window()));
        relist();
    }

    void cleanupTestCase() { m_controller.reset(); }

    void emptyLibrary_showsTheSaveHint() {
        QVERIFY(m_controller->view()->isShowingEmptyState());
        screenshot(QStringLiteral("library-empty.png"));
    }

    void dozenGuides_selectedAndOpenCards() {
        const QStringList titles{
            QStringLiteral("Connect to the office Wi-Fi"), QStringLiteral("Set up a printer"),
            QStringLiteral("Export a report as PDF"),      QStringLiteral("Share a calendar"),
            QStringLiteral("Reset your password"),         QStringLiteral("Install the VPN client"),
            QStringLiteral("Create an email signature"),   QStringLiteral("Book a meeting room"),
            QStringLiteral("Submit an expense claim"),     QStringLiteral("Join a video call"),
            QStringLiteral("Back up your laptop"),         QStringLiteral("Change the display scaling")};
        const QDateTime start(QDate(2026, 11, 16), QTime(9, 0), Qt::UTC);
        for (int i = 0; i < titles.size(); ++i) {
            // Two guides without a thumbnail show the placeholder.
            const QImage thumbnail = i % 5 == 3 ? QImage() : screenshotLike(640, 360, quint32(i + 1));
            QVERIFY(!writeGuideFolder(m_folder, QStringLiteral("Guide %1.trovix").arg(i), titles[i],
                                      i == 1 ? 1 : i * 2 % 13, start.addDays(-i), thumbnail)
                         .isEmpty());
        }
        relist();
        QCOMPARE(grid()->cards().size(), 12);
        // Thumbnails arrive decoded no larger than the widest card needs.
        for (const GuideSummary& card : grid()->cards()) {
            if (!card.thumbnail.isNull())
                QVERIFY(card.thumbnail.width() <= 2 * CardGrid::maxColumnWidth);
        }

        m_guide.setFileURL(grid()->cards()[0].url);
        QTest::mouseClick(grid()->viewport(), Qt::LeftButton, {}, grid()->cardRect(1).center());
        QCOMPARE(grid()->selected(), grid()->cards()[1].url);
        screenshot(QStringLiteral("library-dozen.png"));
    }

    void showInFileManager_asksTheFileManagerElseOpensTheParent() {
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.isConnected());
        FakeFileManager manager;
        QVERIFY(bus.registerObject(QStringLiteral("/org/freedesktop/FileManager1"), &manager,
                                   QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.FileManager1")));
        const GuideSummary card = grid()->cards()[3];
        std::unique_ptr<QMenu> menu(grid()->contextMenu(3, nullptr));
        menu->actions()[1]->trigger();
        QTRY_COMPARE(manager.shown.size(), 1);
        QCOMPARE(manager.shown[0], QStringList{card.url.toString()});

        bus.unregisterService(QStringLiteral("org.freedesktop.FileManager1"));
        bus.unregisterObject(QStringLiteral("/org/freedesktop/FileManager1"));
        UrlRecorder recorder;
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &recorder, "open");
        menu->actions()[1]->trigger();
        QTRY_COMPARE(recorder.opened.size(), 1);
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QCOMPARE(recorder.opened[0], QUrl::fromLocalFile(m_folder));
        QCOMPARE(manager.shown.size(), 1);
    }

    void searchWithoutMatches_namesTheSearch() {
        QLineEdit* field = m_controller->view()->searchField();
        field->setFocus();
        QTest::keyClicks(field, QStringLiteral("zebra crossing"));
        QVERIFY(m_controller->view()->isShowingEmptyState());
        screenshot(QStringLiteral("library-no-match.png"));
        field->clear();
        QCOMPARE(grid()->cards().size(), 12);
    }
};

QTEST_MAIN(LibraryX11Test)
#include "test_library_x11.moc"
