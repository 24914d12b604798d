#include "GuideFolders.h"
#include "library/Library.h"
#include "library/LibraryModel.h"

#include <QSemaphore>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QThreadPool>

#include <atomic>

using namespace trovix;
using namespace trovix::testing;

namespace {

GuideSummary summaryAt(const QString& title, const QDateTime& modified) {
    GuideSummary summary;
    summary.url = QUrl::fromLocalFile(QStringLiteral("/guides/") + title + QStringLiteral(".trovix"));
    summary.title = title;
    summary.modified = modified;
    return summary;
}

} // namespace

class LibraryTest : public QObject {
    Q_OBJECT

    QString m_root;
    int m_counter = 0;

    // A fresh empty folder for one case.
    QString freshFolder() {
        const QString path = QDir(m_root).filePath(QStringLiteral("case%1").arg(++m_counter));
        QDir().mkpath(path);
        return path;
    }

    void useLibrary(const QString& folder) { QSettings().setValue(QStringLiteral("libraryFolder"), folder); }

private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
        m_root = QDir(qEnvironmentVariable("TROVIX_TEST_TMP")).filePath(QStringLiteral("library"));
        QVERIFY(QDir().mkpath(m_root));
        // The ordering test parks one scan on a worker; make sure another worker is free.
        QThreadPool::globalInstance()->setMaxThreadCount(std::max(4, QThread::idealThreadCount()));
    }

    void init() { QSettings().remove(QStringLiteral("libraryFolder")); }

    void folder_isTheSettingElseDocumentsTrovix_andIsMadeWithItsParents() {
        const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
        QCOMPARE(Library::folder(), documents + QStringLiteral("/Trovix"));

        const QString nested = QDir(m_root).filePath(QStringLiteral("a/b/c/Library"));
        useLibrary(nested);
        Library::ensureFolder();
        QVERIFY(QFileInfo(nested).isDir());

        const QString guide =
            writeGuideFolder(nested, QStringLiteral("Kept.trovix"), QStringLiteral("Kept"), 1, noon);
        Library::ensureFolder();
        QVERIFY(QFileInfo::exists(guide + QStringLiteral("/guide.json")));

        // A file where the folder should be: silent, and the scan of it is empty.
        const QString blocked = QDir(m_root).filePath(QStringLiteral("blocked"));
        QFile file(blocked);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        useLibrary(blocked + QStringLiteral("/Library"));
        Library::ensureFolder();
        QVERIFY(!QFileInfo::exists(blocked + QStringLiteral("/Library")));
        QVERIFY(Library::scan(Library::folder()).isEmpty());
    }

    void scan_keepsOnlyTheExactExtensionAndDropsUnreadableEntries() {
        const QString dir = freshFolder();
        for (const QString& name :
             {QStringLiteral("A.trovix"), QStringLiteral("b.TROVIX"), QStringLiteral("notes.txt"),
              QStringLiteral("C.trovix.zip"), QStringLiteral(".hidden.trovix")}) {
            QVERIFY(!writeGuideFolder(dir, name, name.section(u'.', 0, 0, QString::SectionSkipEmpty), 1, noon)
                         .isEmpty());
        }
        // Right extension, but not a readable guide: dropped without disturbing the rest.
        QVERIFY(QDir(dir).mkpath(QStringLiteral("Empty.trovix")));
        QFile broken(writeGuideFolder(dir, QStringLiteral("X.trovix"), QStringLiteral("X"), 1, noon) +
                     QStringLiteral("/guide.json"));
        QVERIFY(broken.open(QIODevice::WriteOnly | QIODevice::Truncate));
        broken.write("{\"title\": \"X\", \"steps\": [");
        broken.close();
        QFile plain(QDir(dir).filePath(QStringLiteral("File.trovix")));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        plain.write("not a folder");
        plain.close();

        QStringList found = titles(Library::scan(dir));
        found.sort();
        QCOMPARE(found, (QStringList{QStringLiteral("A"), QStringLiteral("hidden")}));

        const QList<GuideSummary> list = Library::scan(dir);
        for (const GuideSummary& summary : list) {
            QVERIFY(summary.url.isLocalFile());
            QVERIFY(QFileInfo(summary.url.toLocalFile()).isDir());
            QCOMPARE(summary.stepCount, 1);
        }

        QVERIFY(Library::scan(QDir(m_root).filePath(QStringLiteral("does-not-exist"))).isEmpty());
    }

    void scan_isNewestFirstWithTiesInListingOrder() {
        const QString dir = freshFolder();
        const QDateTime day(QDate(2026, 11, 16), QTime(0, 0), Qt::UTC);
        writeGuideFolder(dir, QStringLiteral("Ten.trovix"), QStringLiteral("Ten"), 1, day.addSecs(10 * 3600));
        writeGuideFolder(dir, QStringLiteral("Twelve.trovix"), QStringLiteral("Twelve"), 2,
                         day.addSecs(12 * 3600));
        writeGuideFolder(dir, QStringLiteral("Eleven.trovix"), QStringLiteral("Eleven"), 0,
                         day.addSecs(11 * 3600));
        const QStringList tied{QStringLiteral("TieA"), QStringLiteral("TieB"), QStringLiteral("TieC"),
                               QStringLiteral("TieD")};
        for (const QString& title : tied)
            writeGuideFolder(dir, title + QStringLiteral(".trovix"), title, 1, day.addSecs(9 * 3600));

        const QStringList list = titles(Library::scan(dir));
        QCOMPARE(list.mid(0, 3),
                 (QStringList{QStringLiteral("Twelve"), QStringLiteral("Eleven"), QStringLiteral("Ten")}));
        // Equal dates: the order the file system lists the folders in.
        QStringList listing;
        for (const QString& name :
             QDir(dir).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Unsorted)) {
            const QString title = name.section(u'.', 0, 0);
            if (tied.contains(title))
                listing.append(title);
        }
        QCOMPARE(list.mid(3), listing);
    }

    void sort_putsUnknownDatesLastAndKeepsTies() {
        const QDateTime unknown = GuideStore::distantPast();
        QList<GuideSummary> list{
            summaryAt(QStringLiteral("old"), unknown), summaryAt(QStringLiteral("a"), noon),
            summaryAt(QStringLiteral("older"), unknown), summaryAt(QStringLiteral("new"), noon.addDays(1)),
            summaryAt(QStringLiteral("b"), noon)};
        Library::sortNewestFirst(list);
        QCOMPARE(titles(list), (QStringList{QStringLiteral("new"), QStringLiteral("a"), QStringLiteral("b"),
                                            QStringLiteral("old"), QStringLiteral("older")}));
    }

    void scan_keepsThumbnailsJustLargeEnoughForACard() {
        const QString dir = freshFolder();
        writeGuideFolder(dir, QStringLiteral("Wide.trovix"), QStringLiteral("Wide"), 1, noon,
                         thumbnailOf(Qt::darkCyan));
        writeGuideFolder(dir, QStringLiteral("Small.trovix"), QStringLiteral("Small"), 1, noon.addSecs(-60),
                         thumbnailOf(Qt::darkRed, QSize(100, 50)));
        writeGuideFolder(dir, QStringLiteral("Bare.trovix"), QStringLiteral("Bare"), 0, noon.addSecs(-120));
        // No thumbnail.jpg: the first step's screenshot stands in.
        writeGuideFolder(dir, QStringLiteral("Shot.trovix"), QStringLiteral("Shot"), 2, noon.addSecs(-180),
                         {}, thumbnailOf(Qt::darkMagenta, QSize(1920, 1080)));

        const QList<GuideSummary> whole = Library::scan(dir);
        QCOMPARE(titles(whole), (QStringList{QStringLiteral("Wide"), QStringLiteral("Small"),
                                             QStringLiteral("Bare"), QStringLiteral("Shot")}));
        QCOMPARE(whole[0].thumbnail.size(), QSize(640, 360));
        QCOMPARE(whole[3].thumbnail.size(), QSize(640, 360));

        // At card size: the largest 1/2, 1/4, 1/8 that still covers 300 × 140; never enlarged.
        const QList<GuideSummary> cards = Library::scan(dir, QSize(300, 140));
        QCOMPARE(cards[0].thumbnail.size(), QSize(320, 180));
        QVERIFY(qAbs(QColor(cards[0].thumbnail.pixel(160, 10)).hue() - QColor(Qt::darkCyan).hue()) < 3);
        QCOMPARE(cards[1].thumbnail.size(), QSize(100, 50));
        QVERIFY(cards[2].thumbnail.isNull());
        QCOMPARE(cards[3].thumbnail.size(), QSize(300, 168));
        QVERIFY(qAbs(QColor(cards[3].thumbnail.pixel(150, 10)).hue() - QColor(Qt::darkMagenta).hue()) < 3);
        QCOMPARE(Library::scan(dir, QSize(100, 40))[0].thumbnail.size(), QSize(160, 90));
    }

    void model_keepsTheListOfTheScanThatEndsLast() {
        QSemaphore release;
        QSemaphore started;
        LibraryModel model;
        std::atomic<int> calls = 0;
        model.setScanner([&](const QString&) {
            if (calls++ == 0) {
                started.release();
                release.acquire(); // the first scan ends only when the test says so
                return QList<GuideSummary>{summaryAt(QStringLiteral("slow"), noon)};
            }
            return QList<GuideSummary>{summaryAt(QStringLiteral("quick"), noon)};
        });
        QSignalSpy finished(&model, &LibraryModel::scanFinished);
        model.reload();
        QVERIFY(started.tryAcquire(1, 5000));
        model.reload();
        QVERIFY(finished.wait());
        QCOMPARE(titles(model.items()), QStringList{QStringLiteral("quick")});
        QCOMPARE(model.pendingScans(), 1);

        release.release();
        QVERIFY(finished.wait());
        QCOMPARE(titles(model.items()), QStringList{QStringLiteral("slow")});
        QCOMPARE(model.pendingScans(), 0);
    }

    void chooseFolder_storesTheChoiceAndRelistsButCancelChangesNothing() {
        const QString start = freshFolder();
        const QString chosen = freshFolder();
        writeGuideFolder(chosen, QStringLiteral("Elsewhere.trovix"), QStringLiteral("Elsewhere"), 3, noon);
        useLibrary(start);
        LibraryModel model;
        QList<Dialogs::OpenPanel> asked;
        QString answer;
        model.setFolderPanel([&](const Dialogs::OpenPanel& panel) {
            asked.append(panel);
            return answer;
        });

        model.chooseFolder();
        QCOMPARE(asked.size(), 1);
        QCOMPARE(asked[0].directory, start);
        QVERIFY(asked[0].chooseDirectories && asked[0].canCreateDirectories);
        QCOMPARE(model.pendingScans(), 0);
        QCOMPARE(model.folder(), start);
        QCOMPARE(QSettings().value(QStringLiteral("libraryFolder")).toString(), start);

        answer = chosen;
        QSignalSpy items(&model, &LibraryModel::itemsChanged);
        model.chooseFolder();
        QCOMPARE(QSettings().value(QStringLiteral("libraryFolder")).toString(), chosen);
        QCOMPARE(model.folder(), chosen);
        QVERIFY(items.wait());
        QCOMPARE(titles(model.items()), QStringList{QStringLiteral("Elsewhere")});

        // Without a panel (no window yet) the choice counts as cancelled.
        model.setFolderPanel({});
        model.chooseFolder();
        QCOMPARE(model.folder(), chosen);
    }

    void trash_movesTheGuideAwayThenRelists() {
        const QString dir = freshFolder();
        useLibrary(dir);
        const QString gone =
            writeGuideFolder(dir, QStringLiteral("Gone.trovix"), QStringLiteral("Gone"), 1, noon.addSecs(60));
        writeGuideFolder(dir, QStringLiteral("Stays.trovix"), QStringLiteral("Stays"), 1, noon);
        LibraryModel model;
        QCOMPARE(model.folder(), dir);
        QCoreApplication::processEvents();
        QCOMPARE(model.pendingScans(), 0); // nothing is listed until asked
        QVERIFY(model.items().isEmpty());
        QSignalSpy finished(&model, &LibraryModel::scanFinished);
        model.reload();
        QVERIFY(finished.wait());
        QCOMPARE(titles(model.items()), (QStringList{QStringLiteral("Gone"), QStringLiteral("Stays")}));

        model.trash(model.items().first());
        QCOMPARE(model.items().size(), 2); // returns before the move
        QVERIFY(finished.wait());
        QCOMPARE(titles(model.items()), QStringList{QStringLiteral("Stays")});
        QVERIFY(!QFileInfo::exists(gone));
        const QString trash = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                              QStringLiteral("/Trash/files/Gone.trovix/guide.json");
        QVERIFY2(QFileInfo::exists(trash), qPrintable(trash));

        // A guide that cannot be moved (already gone): no message, but the list is refreshed anyway.
        GuideSummary vanished = model.items().first();
        vanished.url = QUrl::fromLocalFile(dir + QStringLiteral("/Vanished.trovix"));
        model.trash(vanished);
        QVERIFY(finished.wait());
        QCOMPARE(titles(model.items()), QStringList{QStringLiteral("Stays")});
    }

    void libraryChanged_relistsEveryModelAtOnceAndEndsWithTheModel() {
        const QString dir = freshFolder();
        useLibrary(dir);
        auto* model = new LibraryModel;
        LibraryModel other;
        QSignalSpy finished(model, &LibraryModel::scanFinished);
        model->reload();
        QVERIFY(finished.wait());
        QVERIFY(model->items().isEmpty());

        writeGuideFolder(dir, QStringLiteral("Saved.trovix"), QStringLiteral("Saved"), 1, noon);
        LibraryNotifier::post();
        QCOMPARE(model->pendingScans(), 1); // delivered synchronously
        QCOMPARE(other.pendingScans(), 1);
        QVERIFY(finished.wait());
        QCOMPARE(titles(model->items()), QStringList{QStringLiteral("Saved")});

        // A model that goes away mid-scan drops its result; later posts do not reach it.
        LibraryNotifier::post();
        delete model;
        LibraryNotifier::post();
        QTRY_COMPARE(other.pendingScans(), 0);
        QCOMPARE(titles(other.items()), QStringList{QStringLiteral("Saved")});
    }
};

QTEST_GUILESS_MAIN(LibraryTest)
#include "test_library.moc"
