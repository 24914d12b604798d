// The library window on a real X server with a session bus: "Show in File Manager" asks the file
// manager over D-Bus, and opens the library folder when no file manager answers.

#include "GuideFolders.h"
#include "document/Guide.h"
#include "library/CardGrid.h"
#include "library/LibraryModel.h"
#include "library/LibraryView.h"
#include "library/LibraryWindowController.h"

#include <QDBusConnection>
#include <QDesktopServices>
#include <QMenu>
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
        for (int i = 0; i < 4; ++i)
            QVERIFY(!writeGuideFolder(m_folder, QStringLiteral("Guide %1.trovix").arg(i),
                                      QStringLiteral("Guide %1").arg(i), i, noon.addDays(-i))
                         .isEmpty());
        relist();
        QCOMPARE(grid()->cards().size(), 4);
    }

    void cleanupTestCase() { m_controller.reset(); }

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
};

QTEST_MAIN(LibraryX11Test)
#include "test_library_x11.moc"
