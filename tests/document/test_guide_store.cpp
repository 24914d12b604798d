#include "document/Error.h"
#include "document/GuideStore.h"
#include "render/ImageCodec.h"
#include "render/Renderer.h"

#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using namespace trovix;

using namespace trovix::testing;

namespace {

Step makeStep(int seed, const QString& title, const QList<Annotation>& annotations = {},
              QSize size = {160, 100}) {
    return Step::make(Image(pattern(size.width(), size.height(), seed)), 2, title, annotations);
}

Error::Code readError(const QString& folder, QString* message = nullptr) {
    try {
        GuideStore::read(folder);
    } catch (const Error& error) {
        if (message)
            *message = error.message();
        return error.code();
    }
    return Error::Code::noDisplay; // stands for "no error" here: read never reports it
}

Step workingStep(int seed, QSize size = {64, 48}) {
    return Step::make(Image(pattern(size.width(), size.height(), seed)), 2,
                      QStringLiteral("Step %1").arg(seed));
}

QStringList pngsIn(const QString& folder) {
    QStringList names = QDir(folder).entryList({"*.png"}, QDir::Files | QDir::Hidden);
    names.sort();
    return names;
}

} // namespace

class GuideStoreTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir{qEnvironmentVariable("TROVIX_TEST_TMP", QDir::tempPath()) + "/store-XXXXXX"};

    QString folder(const QString& name) const { return m_dir.filePath(name); }

    // The working copy, kept where the next launch looks for it.
    const QString m_working = GuideStore::workingDir();

private Q_SLOTS:
    void roundTrip_keepsEverythingTheGuideHolds() {
        const QList<Annotation> first{
            {Kind::arrow, {0.1, 0.2}, {100.3, 50.7}, {}, 0},
            {Kind::rect, {-5, 3e-7}, {1e6, 2.5}, {}, 0},
            {Kind::text, {5, 6}, {5, 6}, QStringLiteral("Click “Save”/then \"OK\"\n\ttab \\ é ✓ 🎉"), 0},
            {Kind::step, {30, 30}, {30, 30}, {}, 9007199254740993}, // 2^53 + 1: no double holds it
            {Kind::ring, {50, 20}, {60, 30}, {}, -4},
        };
        Guide guide;
        guide.setTitle(QStringLiteral("Set up “Mail”/IMAP \\ 100% <b>"));
        guide.append(makeStep(1, QStringLiteral("Open Settings"), first));
        guide.append(Step::make(Image(pattern(90, 70, 2)), 0.1 + 0.2, QStringLiteral("Two/2"), {},
                                QStringLiteral("A note\nover two lines")));
        guide.append(Step::make(Image(pattern(33, 17, 3)), 1.0 / 3.0, QString()));

        const QString saved = folder("RoundTrip.trovix");
        GuideStore::write(guide, saved, false);
        const LoadedGuide loaded = GuideStore::read(saved);
        QCOMPARE(loaded.title, guide.title());
        QVERIFY(!loaded.sourcePath);
        QVERIFY(!loaded.dirty);
        QCOMPARE(loaded.steps.size(), 3);
        for (int i = 0; i < 3; ++i) {
            const Step& want = guide.steps()[i];
            const Step& got = loaded.steps[i];
            QCOMPARE(got.id, want.id);
            QCOMPARE(got.title, want.title);
            QCOMPARE(got.note, want.note);
            QCOMPARE(got.scale, want.scale); // exact, not approximately
            QCOMPARE(got.annotations, want.annotations);
            QVERIFY(!got.base.hasPixels()); // decoded only when first needed
            QCOMPARE(got.base.size(), want.base.size());
            QCOMPARE(got.base.pixels(), want.base.pixels());
            QCOMPARE(got.rendered.pixels(), want.rendered.pixels());
        }
        QCOMPARE(loaded.steps[0].rendered.pixels(),
                 Renderer::render(loaded.steps[0].base.pixels(), first, loaded.steps[0].scale));
    }

    void read_rejectsMalformedRecords() {
        const QString target = folder("Malformed.trovix");
        Guide guide;
        const Step step = Step::restore(QUuid::createUuid(), "S", "N", Image(pattern(8, 8, 1)), 2, {});
        guide.append(step);
        GuideStore::write(guide, target, false);
        const QByteArray valid =
            "{\"title\":\"T\",\"steps\":[{\"id\":\"" + uuidString(step.id).toLatin1() +
            "\",\"title\":\"S\",\"note\":\"N\",\"scale\":2,"
            "\"annotations\":[{\"kind\":1,\"p1\":[1,2],\"p2\":[3,4],\"text\":\"\",\"number\":0}]}]}";
        writeFile(target + "/guide.json", valid);
        QCOMPARE(GuideStore::read(target).steps.size(), 1); // the template itself is fine

        // Each fault replaces one part of the valid record; an empty part stands for the whole file.
        for (const auto& [from, to] : {std::pair<QByteArray, QByteArray>{"{\"title\"", "{\"title\" oops"},
                                       {{}, "{\"title\":\"T\"}"},
                                       {"\"id\":\"", "\"id\":\"x"},
                                       {"\"kind\":1", "\"kind\":8"},
                                       {"\"number\":0", "\"number\":1e30"}}) {
            writeFile(target + "/guide.json", from.isEmpty() ? to : QByteArray(valid).replace(from, to));
            QString message;
            QCOMPARE(readError(target, &message), Error::Code::decoding);
            QVERIFY2(message.contains("“guide.json” in “Malformed.trovix”"), qPrintable(message));
            QVERIFY(!GuideStore::summary(target));
        }
    }

    void read_keepsGuideWhosePictureFailsOnlyWhenDecoded() {
        // Intact chunks and CRCs around compressed data that does not inflate: only a decode can tell.
        Guide guide;
        guide.append(makeStep(1, "fine"));
        guide.append(makeStep(2, "garbled", {}, {120, 80}));
        const QString target = folder("Garbled.trovix");
        GuideStore::write(guide, target, false);
        const QString path = target + "/" + guide.steps()[1].imageName();
        QByteArray garbage("\x78\x01", 2);
        for (int i = 0; i < 600; ++i)
            garbage += char((i * 73 + 11) & 0xff);
        writeFile(path, withChunk(readFile(path), "IDAT", garbage));

        const LoadedGuide loaded = GuideStore::read(target);
        QCOMPARE(loaded.steps.size(), 2);
        const QImage shown = loaded.steps[1].base.pixels();
        QCOMPARE(shown.size(), QSize(120, 80)); // a placeholder of the right size, not a crash
        QCOMPARE(shown.pixel(60, 40), qRgb(200, 200, 200));
        QCOMPARE(loaded.steps[0].base.pixels(), guide.steps()[0].base.pixels());
        // Saving again keeps the file as it was: nothing the user had is replaced by the placeholder.
        Guide reopened;
        reopened.replaceContents(loaded.title, loaded.steps, {});
        GuideStore::write(reopened, folder("Garbled copy.trovix"), false);
        QCOMPARE(readFile(folder("Garbled copy.trovix") + "/" + guide.steps()[1].imageName()),
                 readFile(path));
    }

    void write_removesOnlyStalePngs_leavingOtherFiles() {
        Guide guide;
        guide.append(makeStep(1, "one"));
        guide.append(makeStep(2, "two"));
        guide.append(makeStep(3, "three"));
        const QString target = folder("Once.trovix");
        GuideStore::write(guide, target, false);
        const QString one = target + "/" + guide.steps()[0].imageName();
        // Other people's files and the suffix rule.
        writeFile(target + "/notes.txt", "mine");
        writeFile(target + "/Photo.PNG", "capital suffix");
        writeFile(target + "/" + guide.steps()[2].imageName().toLower(), "stale: lowercase digits");
        writeFile(target + "/random.png", "stale");
        writeFile(target + "/.hidden.png", "stale");
        QVERIFY(QDir().mkdir(target + "/Folder.png"));
        writeFile(target + "/Folder.png/inside.txt", "kept");

        QList<Step> steps = guide.steps();
        steps.removeAt(1);
        guide.setSteps(steps);
        GuideStore::write(guide, target, false);

        QStringList expected{"Folder.png",
                             "Photo.PNG",
                             "guide.json",
                             "notes.txt",
                             "thumbnail.jpg",
                             QFileInfo(one).fileName(),
                             guide.steps()[1].imageName()};
        expected.sort();
        QStringList entries = QDir(target).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        entries.sort();
        QCOMPARE(entries, expected);
        QCOMPARE(readFile(target + "/Folder.png/inside.txt"), QByteArray("kept"));
        QCOMPARE(GuideStore::read(target).steps.size(), 2);
    }

    void init() {
        GuideStore::waitForBackgroundWrites();
        QDir(m_working).removeRecursively();
        QDir parent(QFileInfo(m_working).path());
        for (const QString& aside :
             parent.entryList({QFileInfo(m_working).fileName() + " (unreadable *)"}, QDir::Dirs))
            QDir(parent.filePath(aside)).removeRecursively();
    }

    void load_restoresSourceAndDirtyState() {
        // A relaunch restores the guide as it was; steps that were never saved are always unsaved.
        struct Case {
            bool withSource;
            bool dirtyFlag;
            int steps;
            bool expectDirty;
        };
        for (const Case& c : {Case{true, false, 2, false}, Case{true, true, 2, true},
                              Case{false, false, 1, true}, Case{false, false, 0, false}}) {
            Guide original;
            original.setTitle(QStringLiteral("Before the crash"));
            for (int i = 0; i < c.steps; ++i)
                original.append(workingStep(i + 1));
            const QString source = QStringLiteral("/nowhere/Gone.trovix"); // need not exist
            if (c.withSource)
                original.setFileURL(QUrl::fromLocalFile(source));
            original.setDirty(c.dirtyFlag);
            GuideStore::write(original, m_working, true);

            const std::unique_ptr<Guide> guide = GuideStore::load();
            QCOMPARE(guide->title(), QStringLiteral("Before the crash"));
            QCOMPARE(guide->steps().size(), c.steps);
            for (int i = 0; i < c.steps; ++i)
                QCOMPARE(guide->steps()[i].id, original.steps()[i].id);
            QCOMPARE(guide->selection(), c.steps ? original.steps()[0].id : QUuid());
            QCOMPARE(guide->fileURL(), c.withSource ? QUrl::fromLocalFile(source) : QUrl());
            QCOMPARE(guide->isDirty(), c.expectDirty);
        }
    }

    void load_startsEmptyWhenAPictureIsMissing_keepsTheDamagedCopyAside() {
        Guide original;
        original.append(workingStep(1));
        original.append(workingStep(2));
        GuideStore::write(original, m_working, true);
        QVERIFY(QFile::remove(m_working + "/" + original.steps()[1].imageName()));

        const std::unique_ptr<Guide> guide = GuideStore::load();
        QVERIFY(guide->steps().isEmpty());
        QVERIFY(!guide->isDirty());
        QCOMPARE(guide->title(), Guide::untitled);

        // The damaged copy is kept beside the new one, with what it still holds.
        QDir parent(QFileInfo(m_working).path());
        const QStringList aside =
            parent.entryList({QFileInfo(m_working).fileName() + " (unreadable *)"}, QDir::Dirs);
        QCOMPARE(aside.size(), 1);
        QCOMPARE(pngsIn(parent.filePath(aside[0])), QStringList{original.steps()[0].imageName()});
        QVERIFY(QFile::exists(parent.filePath(aside[0]) + "/guide.json"));

        const Step fresh = workingStep(3);
        guide->append(fresh);
        QTRY_COMPARE_WITH_TIMEOUT(pngsIn(m_working), QStringList{fresh.imageName()}, 5000);
        GuideStore::waitForBackgroundWrites();
        const LoadedGuide copy = GuideStore::read(m_working);
        QCOMPARE(copy.steps.size(), 1);
        QCOMPARE(copy.steps[0].id, fresh.id);
        QCOMPARE(copy.dirty, std::optional<bool>(true));
    }

    void writes_neverLetAnOlderSnapshotOverwriteANewerOne() {
        // A background write that is still waiting (here for a large picture's encoding) when a direct
        // write of a newer state lands must not bring the older state back afterwards.
        for (int round = 0; round < 4; ++round) {
            Guide guide;
            guide.append(workingStep(round, {1920, 1080}));
            guide.setTitle(QStringLiteral("older %1").arg(round));
            GuideStore::writeInBackground(guide, m_working);
            guide.setTitle(QStringLiteral("newer %1").arg(round));
            GuideStore::write(guide, m_working, true);
            GuideStore::waitForBackgroundWrites();
            const LoadedGuide copy = GuideStore::read(m_working);
            QCOMPARE(copy.title, QStringLiteral("newer %1").arg(round));
            QCOMPARE(copy.steps[0].base.pixels(), guide.steps()[0].base.pixels());
        }
    }
};

int main(int argc, char** argv) {
    // Text annotations need fonts, which need a GUI application (offscreen in tests).
    QGuiApplication app(argc, argv);
    GuideStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_guide_store.moc"
