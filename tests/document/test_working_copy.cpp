#include "document/Error.h"
#include "document/GuideStore.h"

#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

Step makeStep(int seed, QSize size = {64, 48}) {
    return Step::make(Image(pattern(size.width(), size.height(), seed)), 2,
                      QStringLiteral("Step %1").arg(seed));
}

QJsonObject recordIn(const QString& folder) {
    QFile file(folder + "/guide.json");
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

QStringList pngsIn(const QString& folder) {
    QStringList names = QDir(folder).entryList({"*.png"}, QDir::Files | QDir::Hidden);
    names.sort();
    return names;
}

} // namespace

class WorkingCopyTest : public QObject {
    Q_OBJECT

    const QString m_dir = GuideStore::workingDir();

private Q_SLOTS:
    void init() {
        GuideStore::waitForBackgroundWrites();
        QDir(m_dir).removeRecursively();
        QDir parent(QFileInfo(m_dir).path());
        for (const QString& aside :
             parent.entryList({QFileInfo(m_dir).fileName() + " (unreadable *)"}, QDir::Dirs))
            QDir(parent.filePath(aside)).removeRecursively();
    }

    void load_restoresSourceAndDirtyState_data() {
        QTest::addColumn<bool>("withSource");
        QTest::addColumn<QString>("dirty"); // the JSON value, or empty for no key
        QTest::addColumn<int>("steps");
        QTest::addColumn<bool>("expectDirty");
        QTest::newRow("saved guide, clean") << true << "false" << 2 << false;
        QTest::newRow("saved guide, dirty") << true << "true" << 2 << true;
        QTest::newRow("unsaved with a step, clean flag") << false << "false" << 1 << true;
        QTest::newRow("unsaved without steps") << false << "false" << 0 << false;
    }

    void load_restoresSourceAndDirtyState() {
        QFETCH(bool, withSource);
        QFETCH(QString, dirty);
        QFETCH(int, steps);
        QFETCH(bool, expectDirty);

        Guide original;
        original.setTitle(QStringLiteral("Before the crash"));
        for (int i = 0; i < steps; ++i)
            original.append(makeStep(i + 1));
        const QString source = QStringLiteral("/nowhere/Gone.trovix"); // need not exist
        if (withSource)
            original.setFileURL(QUrl::fromLocalFile(source));
        GuideStore::write(original, m_dir, true);
        QJsonObject record = recordIn(m_dir);
        if (dirty.isEmpty())
            record.remove("dirty");
        else
            record["dirty"] = QJsonDocument::fromJson("[" + dirty.toLatin1() + "]").array().at(0);
        QFile file(m_dir + "/guide.json");
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(QJsonDocument(record).toJson());
        file.close();

        const std::unique_ptr<Guide> guide = GuideStore::load();
        QCOMPARE(guide->title(), QStringLiteral("Before the crash"));
        QCOMPARE(guide->steps().size(), steps);
        for (int i = 0; i < steps; ++i)
            QCOMPARE(guide->steps()[i].id, original.steps()[i].id);
        QCOMPARE(guide->selection(), steps ? original.steps()[0].id : QUuid());
        QCOMPARE(guide->fileURL(), withSource ? QUrl::fromLocalFile(source) : QUrl());
        QCOMPARE(guide->isDirty(), expectDirty);
    }

    void load_startsEmptyWhenAPictureIsMissing_keepsTheDamagedCopyAside() {
        Guide original;
        original.append(makeStep(1));
        original.append(makeStep(2));
        GuideStore::write(original, m_dir, true);
        QVERIFY(QFile::remove(m_dir + "/" + original.steps()[1].imageName()));

        const std::unique_ptr<Guide> guide = GuideStore::load();
        QVERIFY(guide->steps().isEmpty());
        QVERIFY(!guide->isDirty());
        QCOMPARE(guide->title(), Guide::untitled);

        // The damaged copy is kept beside the new one, with what it still holds.
        QDir parent(QFileInfo(m_dir).path());
        const QStringList aside =
            parent.entryList({QFileInfo(m_dir).fileName() + " (unreadable *)"}, QDir::Dirs);
        QCOMPARE(aside.size(), 1);
        QCOMPARE(pngsIn(parent.filePath(aside[0])), QStringList{original.steps()[0].imageName()});
        QVERIFY(QFile::exists(parent.filePath(aside[0]) + "/guide.json"));

        const Step fresh = makeStep(3);
        guide->append(fresh);
        QTRY_COMPARE_WITH_TIMEOUT(pngsIn(m_dir), QStringList{fresh.imageName()}, 5000);
        GuideStore::waitForBackgroundWrites();
        const LoadedGuide copy = GuideStore::read(m_dir);
        QCOMPARE(copy.steps.size(), 1);
        QCOMPARE(copy.steps[0].id, fresh.id);
        QCOMPARE(copy.dirty, std::optional<bool>(true));
    }

    void writes_neverLetAnOlderSnapshotOverwriteANewerOne() {
        // A background write that is still waiting (here for a large picture's encoding) when a direct
        // write of a newer state lands must not bring the older state back afterwards.
        for (int round = 0; round < 4; ++round) {
            Guide guide;
            guide.append(makeStep(round, {1920, 1080}));
            guide.setTitle(QStringLiteral("older %1").arg(round));
            GuideStore::writeInBackground(guide, m_dir);
            guide.setTitle(QStringLiteral("newer %1").arg(round));
            GuideStore::write(guide, m_dir, true);
            GuideStore::waitForBackgroundWrites();
            const LoadedGuide copy = GuideStore::read(m_dir);
            QCOMPARE(copy.title, QStringLiteral("newer %1").arg(round));
            QCOMPARE(copy.steps[0].base.pixels(), guide.steps()[0].base.pixels());
        }
    }
};

QTEST_GUILESS_MAIN(WorkingCopyTest)
#include "test_working_copy.moc"
