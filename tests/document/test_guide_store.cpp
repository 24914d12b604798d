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

#include <cmath>
#include <limits>

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

} // namespace

class GuideStoreTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir{qEnvironmentVariable("TROVIX_TEST_TMP", QDir::tempPath()) + "/store-XXXXXX"};

    QString folder(const QString& name) const { return m_dir.filePath(name); }

private Q_SLOTS:
    void roundTrip_keepsEverythingTheGuideHolds() {
        const QList<Annotation> first{
            {Kind::arrow, {0.1, 0.2}, {100.3, 50.7}, {}, 0},
            {Kind::rect, {-5, 3e-7}, {1e6, 2.5}, {}, 0},
            {Kind::highlight, {10, 10}, {40, 30}, {}, 0},
            {Kind::blur, {1, 1}, {20, 20}, {}, 0},
            {Kind::text, {5, 6}, {5, 6}, QStringLiteral("Click “Save”/then \"OK\"\n\ttab \\ é ✓ 🎉"), 0},
            {Kind::step, {30, 30}, {30, 30}, {}, 9007199254740993}, // 2^53 + 1: no double holds it
            {Kind::ring, {50, 20}, {60, 30}, {}, -4},
            {Kind::target, {70, 40}, {70, 40}, {}, 0},
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

        // The working copy carries where the guide came from and whether it had unsaved changes.
        guide.setFileURL(QUrl::fromLocalFile(QStringLiteral("/home/me/Guides/Mail/IMAP.trovix")));
        guide.setDirty(true);
        const QString working = folder("Working");
        GuideStore::write(guide, working, true);
        const LoadedGuide copy = GuideStore::read(working);
        QCOMPARE(copy.sourcePath, std::optional<QString>(QStringLiteral("/home/me/Guides/Mail/IMAP.trovix")));
        QCOMPARE(copy.dirty, std::optional<bool>(true));
        QCOMPARE(copy.steps.size(), 3);
        QVERIFY(!QFile::exists(working + "/thumbnail.jpg"));
    }

    void newStep_isEncodedOnceInTheBackgroundAndLetsItsPixelsGo() {
        const QImage shot = pattern(640, 360, 9);
        const Step step = Step::make(Image(shot), 2, QStringLiteral("Captured"));
        QTRY_VERIFY(step.base.hasPng());
        QTRY_VERIFY(!step.base.hasPixels()); // the bytes are enough; pixels come back on demand
        const QByteArray png = step.base.png();
        QCOMPARE(step.base.pixels(), shot);

        // Saving writes those very bytes, into every folder.
        Guide guide;
        guide.append(step);
        GuideStore::write(guide, folder("Encoded once.trovix"), false);
        GuideStore::write(guide, folder("Encoded once copy.trovix"), false);
        QCOMPARE(readFile(folder("Encoded once.trovix") + "/" + step.imageName()), png);
        QCOMPARE(readFile(folder("Encoded once copy.trovix") + "/" + step.imageName()), png);
    }

    void json_isCompactOrderedAndEscaped() {
        const QUuid id = QUuid::fromString(QStringLiteral("0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"));
        Guide guide;
        guide.setTitle(QStringLiteral("A/B \"q\" \\ \x01 é"));
        const QList<Annotation> marks{{Kind::rect, {10.5, 20}, {30, 40.25}, {}, 0},
                                      {Kind::text, {0.1, 1e-7}, {-3, 1e21}, QStringLiteral("Hi/there"), 0},
                                      {Kind::step, {2, 2}, {2, 2}, {}, 12}};
        guide.append(Step::restore(id, QStringLiteral("Step 1"), QStringLiteral("line\nnext"),
                                   Image(pattern(8, 8, 1)), 2, marks));
        const QString saved = folder("Exact.trovix");
        GuideStore::write(guide, saved, false);
        const QByteArray steps =
            R"([{"id":"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9","title":"Step 1","note":"line\nnext","scale":2,)"
            R"("annotations":[{"kind":1,"p1":[10.5,20],"p2":[30,40.25],"text":"","number":0},)"
            R"({"kind":4,"p1":[0.1,1e-07],"p2":[-3,1e+21],"text":"Hi\/there","number":0},)"
            R"({"kind":5,"p1":[2,2],"p2":[2,2],"text":"","number":12}]}])";
        const QByteArray title = "\"A\\/B \\\"q\\\" \\\\ \\u0001 \xc3\xa9\"";
        QCOMPARE(readFile(saved + "/guide.json"), "{\"title\":" + title + ",\"steps\":" + steps + "}");

        guide.setFileURL(QUrl::fromLocalFile(QStringLiteral("/tmp/x/A.trovix")));
        guide.setDirty(true);
        GuideStore::write(guide, folder("ExactWorking"), true);
        QCOMPARE(readFile(folder("ExactWorking") + "/guide.json"),
                 "{\"title\":" + title + ",\"steps\":" + steps +
                     R"(,"sourcePath":"\/tmp\/x\/A.trovix","dirty":true})");

        Guide empty;
        GuideStore::write(empty, folder("ExactEmpty"), true);
        QCOMPARE(readFile(folder("ExactEmpty") + "/guide.json"),
                 QByteArray(R"({"title":"Untitled guide","steps":[],"dirty":false})"));
        GuideStore::write(empty, folder("ExactEmpty.trovix"), false);
        QCOMPARE(readFile(folder("ExactEmpty.trovix") + "/guide.json"),
                 QByteArray(R"({"title":"Untitled guide","steps":[]})"));
        QVERIFY(GuideStore::read(folder("ExactEmpty.trovix")).steps.isEmpty());
    }

    void write_refusesNumbersJsonCannotHold() {
        for (const double bad :
             {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
            Guide guide;
            guide.append(makeStep(1, "ok"));
            const QString target =
                folder(std::isnan(bad) ? QStringLiteral("NonFinite-nan") : QStringLiteral("NonFinite-inf"));
            GuideStore::write(guide, target, false);
            const QByteArray before = readFile(target + "/guide.json");
            guide.replaceAnnotations(guide.steps()[0].id, {{Kind::arrow, {1, bad}, {2, 2}, {}, 0}});
            try {
                GuideStore::write(guide, target, false);
                QFAIL("a non-finite point was written");
            } catch (const Error& error) {
                QCOMPARE(error.code(), Error::Code::writeUnknown);
                QVERIFY2(error.message().contains("“guide.json”"), qPrintable(error.message()));
            }
            QCOMPARE(readFile(target + "/guide.json"), before); // the old record is left whole
        }
        Guide scaled;
        scaled.append(Step::make(Image(pattern(4, 4, 1)), std::numeric_limits<double>::infinity(), "s"));
        QVERIFY_THROWS_EXCEPTION(Error, GuideStore::write(scaled, folder("InfiniteScale"), true));
    }

    void write_reportsWhatCouldNotBeWritten() {
        Guide guide;
        guide.append(makeStep(1, "one"));
        writeFile(folder("plain-file"), "not a folder");
        try {
            GuideStore::write(guide, folder("plain-file/Guide.trovix"), false);
            QFAIL("wrote into a file");
        } catch (const Error& error) {
            QCOMPARE(error.code(), Error::Code::io);
            QVERIFY2(error.message().contains("“Guide.trovix”"), qPrintable(error.message()));
        }
        // "guide.json" that cannot be replaced (a folder is in the way).
        const QString blocked = folder("Blocked.trovix");
        QVERIFY(QDir().mkpath(blocked + "/guide.json/inside"));
        try {
            GuideStore::write(guide, blocked, false);
            QFAIL("replaced a folder");
        } catch (const Error& error) {
            QCOMPARE(error.code(), Error::Code::io);
            QVERIFY2(error.message().contains("“guide.json” in “Blocked.trovix”"),
                     qPrintable(error.message()));
        }
        QVERIFY(QFile::exists(blocked + "/" + guide.steps()[0].imageName())); // written before the failure
    }

    void read_rejectsMalformedRecords_data() {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        // An empty "from" stands for the whole file.
        QTest::newRow("not JSON") << QByteArray("{\"title\"") << QByteArray("{\"title\" oops");
        QTest::newRow("not an object") << QByteArray() << QByteArray("[1,2]");
        QTest::newRow("empty file") << QByteArray() << QByteArray();
        QTest::newRow("no title") << QByteArray("\"title\":\"T\",") << QByteArray();
        QTest::newRow("title not string") << QByteArray("\"title\":\"T\"") << QByteArray("\"title\":7");
        QTest::newRow("title null") << QByteArray("\"title\":\"T\"") << QByteArray("\"title\":null");
        QTest::newRow("no steps") << QByteArray() << QByteArray("{\"title\":\"T\"}");
        QTest::newRow("steps not array")
            << QByteArray() << QByteArray("{\"title\":\"T\",\"steps\":{\"a\":[]}}");
        QTest::newRow("step not object") << QByteArray() << QByteArray("{\"title\":\"T\",\"steps\":[1]}");
        QTest::newRow("no note") << QByteArray("\"note\":\"N\",") << QByteArray();
        QTest::newRow("no annotations") << QByteArray(",\"annotations\":[") << QByteArray(",\"x\":[");
        QTest::newRow("scale as text") << QByteArray("\"scale\":2") << QByteArray("\"scale\":\"2\"");
        QTest::newRow("bad uuid") << QByteArray("\"id\":\"") << QByteArray("\"id\":\"x");
        QTest::newRow("uuid in braces") << QByteArray("\"id\":\"%ID\"") << QByteArray("\"id\":\"{%ID}\"");
        QTest::newRow("kind 8") << QByteArray("\"kind\":1") << QByteArray("\"kind\":8");
        QTest::newRow("kind -1") << QByteArray("\"kind\":1") << QByteArray("\"kind\":-1");
        QTest::newRow("kind fraction") << QByteArray("\"kind\":1") << QByteArray("\"kind\":1.5");
        QTest::newRow("short point") << QByteArray("\"p1\":[1,2]") << QByteArray("\"p1\":[1]");
        QTest::newRow("point of text") << QByteArray("\"p2\":[3,4]") << QByteArray("\"p2\":[\"3\",4]");
        QTest::newRow("point not array")
            << QByteArray("\"p2\":[3,4]") << QByteArray("\"p2\":{\"x\":3,\"y\":4}");
        QTest::newRow("number fraction") << QByteArray("\"number\":0") << QByteArray("\"number\":0.5");
        QTest::newRow("number too large") << QByteArray("\"number\":0") << QByteArray("\"number\":1e30");
        QTest::newRow("no text") << QByteArray("\"text\":\"\",") << QByteArray();
        QTest::newRow("sourcePath number") << QByteArray("]}]}") << QByteArray("]}],\"sourcePath\":5}");
        QTest::newRow("dirty text") << QByteArray("]}]}") << QByteArray("]}],\"dirty\":\"yes\"}");
    }

    void read_rejectsMalformedRecords() {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        const QString target = folder("Malformed.trovix");
        Guide guide;
        const Step step = Step::restore(QUuid::createUuid(), "S", "N", Image(pattern(8, 8, 1)), 2, {});
        guide.append(step);
        GuideStore::write(guide, target, false);
        const QByteArray id = uuidString(step.id).toLatin1();
        QByteArray json =
            "{\"title\":\"T\",\"steps\":[{\"id\":\"%ID\",\"title\":\"S\",\"note\":\"N\",\"scale\":2,"
            "\"annotations\":[{\"kind\":1,\"p1\":[1,2],\"p2\":[3,4],\"text\":\"\",\"number\":0}]}]}";
        const QByteArray valid = QByteArray(json).replace("%ID", id);
        writeFile(target + "/guide.json", valid);
        QCOMPARE(GuideStore::read(target).steps.size(), 1); // the template itself is fine

        if (from.isEmpty()) {
            json = to;
        } else {
            QVERIFY2(json.contains(from), from.constData());
            json.replace(from, to);
        }
        json.replace("%ID", id);
        writeFile(target + "/guide.json", json);
        QString message;
        QCOMPARE(readError(target, &message), Error::Code::decoding);
        QVERIFY2(message.contains("“guide.json” in “Malformed.trovix”"), qPrintable(message));
        QVERIFY(!GuideStore::summary(target));
    }

    void read_acceptsWhatAnyWriterMightProduce() {
        const QString target = folder("Lenient.trovix");
        Guide guide;
        const Step step = Step::restore(QUuid::createUuid(), "S", "N", Image(pattern(8, 8, 1)), 2, {});
        guide.append(step);
        GuideStore::write(guide, target, false);
        // Other key order, unknown keys, "/" unescaped, a lowercase id, fractional forms of whole
        // numbers, a point with a third element, null for the optional keys.
        const QByteArray json =
            "{\"extra\":{\"a\":[1]},\"steps\":[{\"annotations\":[{\"number\":3.0,\"text\":\"a/b\","
            "\"p2\":[3,4,5],\"p1\":[1.0,2],\"kind\":7.0}],\"scale\":2.0,\"note\":\"N\",\"title\":\"S\","
            "\"id\":\"" +
            uuidString(step.id).toLower().toLatin1() +
            "\"}],\"title\":\"x/y\",\"sourcePath\":null,\"dirty\":null}";
        writeFile(target + "/guide.json", json);
        const LoadedGuide loaded = GuideStore::read(target);
        QCOMPARE(loaded.title, QStringLiteral("x/y"));
        QVERIFY(!loaded.sourcePath && !loaded.dirty);
        QCOMPARE(loaded.steps.size(), 1);
        QCOMPARE(loaded.steps[0].id, step.id);
        QCOMPARE(loaded.steps[0].scale, 2.0);
        const Annotation expected{Kind::target, {1, 2}, {3, 4}, QStringLiteral("a/b"), 3};
        QCOMPARE(loaded.steps[0].annotations, QList<Annotation>{expected});
    }

    void read_failsWhenAStepImageIsMissingOrDamaged_data() {
        QTest::addColumn<QString>("damage");
        for (const char* damage : {"missing", "empty", "truncated", "flipped byte", "not a PNG",
                                   "huge header", "no end chunk", "folder", "lowercase name only"})
            QTest::newRow(damage) << QString::fromLatin1(damage);
    }

    void read_failsWhenAStepImageIsMissingOrDamaged() {
        QFETCH(QString, damage);
        const QString target = folder("Damaged-" + QString(damage).replace(' ', '-') + ".trovix");
        Guide guide;
        for (int i = 0; i < 3; ++i)
            guide.append(makeStep(i, QStringLiteral("Step %1").arg(i + 1)));
        GuideStore::write(guide, target, false);
        const QString name = guide.steps()[1].imageName();
        const QString path = target + "/" + name;
        const QByteArray png = readFile(path);
        QVERIFY(ImageCodec::checkPng(png).ok());

        if (damage == "missing") {
            QVERIFY(QFile::remove(path));
        } else if (damage == "empty") {
            writeFile(path, {});
        } else if (damage == "truncated") {
            writeFile(path, png.left(png.size() / 2));
        } else if (damage == "flipped byte") {
            QByteArray broken = png;
            broken[broken.size() / 2] = char(broken[broken.size() / 2] ^ 0x10);
            writeFile(path, broken);
        } else if (damage == "not a PNG") {
            writeFile(path, readFile(target + "/thumbnail.jpg"));
        } else if (damage == "huge header") {
            QByteArray header = png.mid(16, 13);
            qToBigEndian<quint32>(100000, header.data());
            qToBigEndian<quint32>(100000, header.data() + 4);
            writeFile(path, withChunk(png, "IHDR", header));
        } else if (damage == "no end chunk") {
            writeFile(path, png.left(png.size() - 12));
        } else if (damage == "folder") {
            QVERIFY(QFile::remove(path));
            QVERIFY(QDir().mkdir(path));
        } else if (damage == "lowercase name only") {
            QVERIFY(QFile::rename(path, target + "/" + name.toLower()));
        }

        QString message;
        QCOMPARE(readError(target, &message), Error::Code::corruptFile);
        QVERIFY2(message.contains("“" + name + "”") &&
                     message.contains("“" + QFileInfo(target).fileName() + "”") && message.contains("step 2"),
                 qPrintable(message));
        // The library still lists it, with every step counted.
        const std::optional<GuideSummary> summary = GuideStore::summary(target);
        QVERIFY(summary);
        QCOMPARE(summary->stepCount, 3);
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

    void write_writesEachPngOnceAndRemovesOnlyStalePngs() {
        Guide guide;
        guide.append(makeStep(1, "one"));
        guide.append(makeStep(2, "two"));
        guide.append(makeStep(3, "three"));
        const QString target = folder("Once.trovix");
        GuideStore::write(guide, target, false);
        const QString one = target + "/" + guide.steps()[0].imageName();
        const QString two = target + "/" + guide.steps()[1].imageName();
        // A second save must not rewrite an image that is already there.
        writeFile(two, "left alone");
        const QByteArray firstBytes = readFile(one);
        GuideStore::write(guide, target, false);
        QCOMPARE(readFile(two), QByteArray("left alone"));
        QCOMPARE(readFile(one), firstBytes);

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

    void thumbnailAndSummary_showTheFirstRenderedStep_withFallbacks() {
        const Annotation mark{Kind::rect, {20, 20}, {300, 180}, {}, 0};
        Guide guide;
        guide.setTitle(QStringLiteral("Listed"));
        guide.append(Step::make(Image(flat(1280, 800)), 2, "first", {mark}));
        guide.append(makeStep(5, "second"));
        const QString target = folder("Thumb.trovix");
        GuideStore::write(guide, target, false);
        const QByteArray jpeg = readFile(target + "/thumbnail.jpg");
        QVERIFY(jpeg.startsWith("\xff\xd8\xff"));
        const QImage thumbnail = QImage::fromData(jpeg, "JPEG");
        QCOMPARE(thumbnail.size(), QSize(640, 400));
        // It shows the annotations: the frame's red (20 points = 40 pixels = 20 thumbnail pixels in).
        const QColor edge = thumbnail.pixelColor(20, 100), inside = thumbnail.pixelColor(100, 100);
        QVERIFY2(edge.red() > 180 && edge.green() < 140, qPrintable(edge.name()));
        QVERIFY2(inside.red() > 200 && inside.green() > 200, qPrintable(inside.name()));

        std::optional<GuideSummary> summary = GuideStore::summary(target);
        QVERIFY(summary);
        QCOMPARE(summary->url, QUrl::fromLocalFile(target));
        QCOMPARE(summary->title, QStringLiteral("Listed"));
        QCOMPARE(summary->stepCount, 2);
        QCOMPARE(summary->modified, QFileInfo(target + "/guide.json").lastModified().toUTC());
        QCOMPARE(summary->thumbnail.size(), QSize(640, 400));

        // Without (or with a broken) thumbnail.jpg: the first screenshot, small and without annotations.
        for (const bool broken : {false, true}) {
            if (broken)
                writeFile(target + "/thumbnail.jpg", "not a picture");
            else
                QVERIFY(QFile::remove(target + "/thumbnail.jpg"));
            summary = GuideStore::summary(target);
            QVERIFY(summary);
            QCOMPARE(summary->thumbnail.size(), QSize(640, 400));
            QCOMPARE(summary->thumbnail.pixelColor(20, 100), QColor(230, 230, 230)); // no red frame
        }

        // Small first steps are not enlarged.
        Guide small;
        small.append(makeStep(6, "small", {}, {300, 200}));
        GuideStore::write(small, folder("Small.trovix"), false);
        QCOMPARE(QImage(folder("Small.trovix") + "/thumbnail.jpg").size(), QSize(300, 200));

        // A working copy never gets one and leaves an existing one alone.
        const QString working = folder("ThumbWorking");
        QVERIFY(QDir().mkpath(working));
        writeFile(working + "/thumbnail.jpg", "someone else's");
        GuideStore::write(guide, working, true);
        QCOMPARE(readFile(working + "/thumbnail.jpg"), QByteArray("someone else's"));

        // No thumbnail at all when the first picture is gone too; still listed.
        QVERIFY(QFile::remove(target + "/" + guide.steps()[0].imageName()));
        summary = GuideStore::summary(target);
        QVERIFY(summary && summary->thumbnail.isNull());

        // Without steps the saved folder's thumbnail goes.
        guide.setSteps({});
        GuideStore::write(guide, target, false);
        QVERIFY(!QFile::exists(target + "/thumbnail.jpg"));
        QVERIFY(QFile::exists(target + "/guide.json"));

        // Unreadable or undecodable guide.json: not a guide.
        QVERIFY(!GuideStore::summary(folder("Nowhere.trovix")));
        writeFile(target + "/guide.json", "{\"title\":\"T\"}");
        QVERIFY(!GuideStore::summary(target));
    }
};

int main(int argc, char** argv) {
    // Text annotations need fonts, which need a GUI application (offscreen in tests).
    QGuiApplication app(argc, argv);
    GuideStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_guide_store.moc"
