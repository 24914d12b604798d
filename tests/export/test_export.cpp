#include "document/Error.h"
#include "document/Guide.h"
#include "document/GuideStore.h"
#include "export/Exporter.h"
#include "render/ImageCodec.h"
#include "render/ImageOps.h"

#include "support/HostileFolders.h"
#include "support/SyntheticScreenshot.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <optional>
#include <unistd.h>

using namespace trovix;
using namespace trovix::testing;

namespace {

Step step(const QString& title, const QString& note, const QImage& picture, double scale = 1) {
    return Step::make(Image(picture), scale, title, {}, note);
}

QStringList entries(const QString& dir) {
    return QDir(dir).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}

struct Outcome {
    int code = -1;
    QString out;
    QString err;
};

// `asUser` runs the tool as that user (when the test runs as root).
Outcome exportTool(const QStringList& arguments, std::optional<uid_t> asUser = {}) {
    QProcess process;
    if (asUser && ::geteuid() == 0)
        process.start(QStringLiteral("setpriv"),
                      QStringList{QStringLiteral("--reuid=%1").arg(*asUser),
                                  QStringLiteral("--regid=%1").arg(*asUser), QStringLiteral("--clear-groups"),
                                  QStringLiteral(TROVIX_EXPORT_TOOL)} +
                          arguments);
    else
        process.start(QStringLiteral(TROVIX_EXPORT_TOOL), arguments);
    process.waitForFinished(120000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

// A saved guide folder in `parent`.
QString savedGuide(const QString& parent, const QString& title, const QList<QImage>& pictures) {
    Guide guide;
    QList<Step> steps;
    for (int i = 0; i < pictures.size(); ++i)
        steps << Step::make(Image(pictures[i]), 1, QStringLiteral("Step %1").arg(i + 1), {},
                            i == 0 ? QStringLiteral("A note") : QString());
    guide.replaceContents(title, steps, {});
    const QString folder = QDir(parent).filePath(QStringLiteral("Saved.trovix"));
    GuideStore::write(guide, folder, false);
    return folder;
}

} // namespace

class TestExport : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void prepare_fitsPresetsAndNeverEnlarges() {
        const QImage big = syntheticScreenshot(3456, 2234, 7).convertToFormat(QImage::Format_RGB32);

        const auto small = Exporter::prepare(big, ExportQuality::small);
        QVERIFY(small);
        QCOMPARE(small->cg.size(), QSize(1280, 827));
        // The picture shown is the JPEG decoded back, not the scaled original.
        QCOMPARE(small->cg.pixels(),
                 ImageCodec::decode(small->data).convertToFormat(small->cg.pixels().format()));

        const auto balanced = Exporter::prepare(big, ExportQuality::balanced);
        QVERIFY(balanced);
        QCOMPARE(balanced->cg.size(), QSize(1800, 1164)); // 2234 × 1800 ÷ 3456 = 1163.5…
        QVERIFY(balanced->data.size() > small->data.size());

        const auto full = Exporter::prepare(big, ExportQuality::full);
        QVERIFY(full);
        QCOMPARE(ImageCodec::pngSize(full->data), QSize(3456, 2234));
        QCOMPARE(ImageCodec::decode(full->data).convertToFormat(QImage::Format_RGB32), big);

        // A step picture read from a guide folder is exported with its own PNG bytes.
        const QByteArray png = ImageCodec::encodePng(flat(300, 200));
        const Image stored = Image::fromPng(png, QSize(300, 200));
        const auto fromFolder = Exporter::prepare(stored, ExportQuality::full);
        QVERIFY(fromFolder && fromFolder->cg.sameAs(stored));
        QCOMPARE(fromFolder->data, png);

        QCOMPARE(Exporter::prepare(flat(1000, 600), ExportQuality::small)->cg.size(), QSize(1000, 600));
    }

    void markdown_writesDocumentAndPictures() {
        QTemporaryDir parent;
        const QList<Step> steps = {
            step(QStringLiteral("Open “Settings” & <more>"), QStringLiteral("First line\nsecond line  "),
                 flat(1200, 800)),
            step(QStringLiteral("# *Not* a heading"), QString(), flat(300, 200, Qt::red)),
        };
        const QString folder = Exporter::markdownFolder(parent.path(), QStringLiteral("Release: 1/2"));
        QList<QPair<int, int>> progress;
        const ExportResult result =
            Exporter::writeMarkdown(QStringLiteral("Release: 1/2"), steps, ExportQuality::balanced, folder,
                                    [&](int done, int total) { progress << qMakePair(done, total); });

        QCOMPARE(entries(parent.path()), QStringList{QStringLiteral("Release- 1-2")});
        QCOMPARE(readFile(folder + "/guide.md"), QByteArray("# Release: 1/2\n\n"
                                                            "## 1. Open “Settings” & <more>\n\n"
                                                            "First line\nsecond line  \n\n"
                                                            "![Step 1](images/step-1.jpg)\n\n"
                                                            "## 2. # *Not* a heading\n\n"
                                                            "![Step 2](images/step-2.jpg)\n\n"));
        QCOMPARE(entries(folder + "/images"), (QStringList{"step-1.jpg", "step-2.jpg"}));
        QCOMPARE(readFile(folder + "/images/step-1.jpg"),
                 Exporter::prepare(steps[0].rendered, ExportQuality::balanced)->data);
        QCOMPARE(readFile(folder + "/images/step-2.jpg"),
                 Exporter::prepare(steps[1].rendered, ExportQuality::balanced)->data);

        QCOMPARE(result.path, folder);
        QCOMPARE(result.files, (QStringList{folder + "/images/step-1.jpg", folder + "/images/step-2.jpg",
                                            folder + "/guide.md"}));
        qint64 sum = 0;
        for (const QString& file : result.files)
            sum += QFileInfo(file).size();
        QCOMPARE(result.bytes, sum);
        QCOMPARE(progress, (QList<QPair<int, int>>{{0, 2}, {1, 2}, {2, 2}}));
    }

    void markdown_failuresNameTheFileAndKeepWhatWasWritten() {
        QTemporaryDir parent;
        // A file where the folder should go.
        QFile blocker(parent.filePath("Guide"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        try {
            Exporter::writeMarkdown(QStringLiteral("Guide"), {step("a", "", flat(10, 10))},
                                    ExportQuality::small, parent.filePath("Guide"));
            QFAIL("no error");
        } catch (const Error& error) {
            QVERIFY2(error.message().contains(parent.filePath("Guide")), qPrintable(error.message()));
            QCOMPARE(error.code(), Error::Code::io);
        }

        // A step without a picture stops the export; the pictures before it stay.
        const QString folder = parent.filePath("Broken");
        QList<Step> steps = {step("one", "", flat(10, 10)), step("two", "", flat(10, 10))};
        steps[1].rendered = Image();
        try {
            Exporter::writeMarkdown(QStringLiteral("Broken"), steps, ExportQuality::small, folder);
            QFAIL("no error");
        } catch (const Error& error) {
            QVERIFY2(error.message().contains("step-2.jpg"), qPrintable(error.message()));
            QCOMPARE(error.code(), Error::Code::writeUnknown);
        }
        QCOMPARE(entries(folder + "/images"), QStringList{"step-1.jpg"});
        QVERIFY(!QFile::exists(folder + "/guide.md"));
    }

    void markedStep_isDrawnAtTheExportSize() {
        // A marked step read from a folder has its marks drawn over the shrunk screenshot: it must
        // look like the full-size picture shrunk, marks in place, and leave nothing decoded.
        const QImage shot = syntheticScreenshot(2400, 1500, 5);
        Step marked = Step::make(Image::fromPng(ImageCodec::encodePng(shot), shot.size()), 2, "Marked");
        marked.setAnnotations({{Kind::rect, {100, 100}, {500, 300}, {}, 0},
                               {Kind::blur, {700, 100}, {1000, 300}, {}, 0},
                               {Kind::text, {150, 500}, {600, 560}, QStringLiteral("Press here"), 0}});
        const auto prepared = Exporter::prepare(marked, ExportQuality::balanced);
        QVERIFY(prepared);
        QVERIFY(!marked.base.hasPixels() && !marked.rendered.hasPixels());
        const QImage exported = ImageCodec::decode(prepared->data);
        const QImage expected = scaledDown(marked.rendered.pixels(), 1800);
        QCOMPARE(exported.size(), expected.size());
        // Mean difference per channel around each mark (points × 2 pixels × 0.75).
        const auto meanDifference = [&](QRect area) {
            qint64 sum = 0;
            for (int y = area.top(); y <= area.bottom(); ++y)
                for (int x = area.left(); x <= area.right(); ++x) {
                    const QRgb a = exported.pixel(x, y), b = expected.pixel(x, y);
                    sum += std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
                           std::abs(qBlue(a) - qBlue(b));
                }
            return double(sum) / (3.0 * area.width() * area.height());
        };
        for (const QRect& mark :
             {QRect(140, 140, 620, 320), QRect(1040, 140, 480, 320), QRect(215, 740, 700, 110)})
            QVERIFY2(meanDifference(mark) < 6, qPrintable(QString::number(meanDifference(mark))));
    }

    void html_isTheExactDocument() {
        const QDate date(2025, 3, 6);
        const QString title = QStringLiteral("Fish & Chips <\"best\"> &amp; it's");
        const QByteArray escapedTitle = "Fish &amp; Chips &lt;&quot;best&quot;&gt; &amp;amp; it's";
        // The style sheet sits between the title element and the heading; the rest is exact.
        const QByteArray empty = Exporter::html(title, {}, ExportQuality::balanced, date);
        const qsizetype styleStart = empty.indexOf("</title>\n<style>\n"),
                        styleEnd = empty.indexOf("</style>");
        QVERIFY(styleStart > 0 && styleEnd > styleStart);
        const QByteArray style = empty.mid(styleStart, empty.indexOf("<header><h1>") + 12 - styleStart);
        const QByteArray head = "<!doctype html><html><head><meta charset=\"utf-8\"><title>" + escapedTitle +
                                style + escapedTitle + "</h1>\n<div class=\"meta\">";

        // No steps.
        QCOMPARE(Exporter::html(title, {}, ExportQuality::balanced, date),
                 head + "0 steps \xC2\xB7 6 March 2025</div></header></body></html>");

        // One step: still "steps"; note escaped with its line break kept.
        const Step one =
            step(QStringLiteral("Click “OK” <now>"), QStringLiteral("a & b\n\"c\""), flat(64, 48));
        const auto jpeg = Exporter::prepare(one.rendered, ExportQuality::small);
        QCOMPARE(Exporter::html(title, {one}, ExportQuality::small, date),
                 head + "1 steps \xC2\xB7 6 March 2025</div></header>" +
                     "<section class=\"step\"><div class=\"badge\">1</div><div class=\"body\"><h2>Click “OK” "
                     "&lt;now&gt;</h2><p class=\"note\">a &amp; b\n&quot;c&quot;</p><img alt=\"Step 1\" "
                     "src=\"data:image/jpeg;base64," +
                     jpeg->data.toBase64() + "\"></div></section></body></html>");
    }

    void html_fileMatchesDocumentAndManyStepsKeepTheirOrder() {
        // Pictures are prepared in parallel; the document must be what one-by-one preparation gives.
        QList<Step> steps;
        for (int i = 0; i < 12; ++i)
            steps << step(QStringLiteral("Step %1").arg(i + 1), QString(),
                          syntheticScreenshot(400 + 37 * i, 300, quint32(i)));
        QTemporaryDir dir;
        const QString file = dir.filePath("guide.html");
        const QDate date(2024, 12, 31);
        const ExportResult result =
            Exporter::writeHtml(QStringLiteral("Many"), steps, ExportQuality::small, file, {}, date);
        const QByteArray written = readFile(file);
        QCOMPARE(written, Exporter::html(QStringLiteral("Many"), steps, ExportQuality::small, date));
        QCOMPARE(result.bytes, written.size());
        qsizetype from = 0;
        for (int i = 0; i < steps.size(); ++i) {
            const QByteArray image =
                "<img alt=\"Step " + QByteArray::number(i + 1) + "\" src=\"data:image/jpeg;base64," +
                Exporter::prepare(steps[i].rendered, ExportQuality::small)->data.toBase64() + "\">";
            const qsizetype at = written.indexOf(image, from);
            QVERIFY2(at > from, qPrintable(QStringLiteral("step %1").arg(i + 1)));
            from = at;
        }

        // A failed write leaves the existing file as it was.
        QVERIFY_THROWS_EXCEPTION(Error, Exporter::writeHtml("x", steps.mid(0, 1), ExportQuality::small,
                                                            dir.filePath("missing/guide.html")));
        QCOMPARE(readFile(file), written);
    }

    // The command-line tool, run as scripts run it.
    void badArgumentsAndUnreadableGuides_exitWithTwo() {
        QTemporaryDir dir;
        const QString guide = savedGuide(dir.path(), "G", {flat(40, 30, Qt::red)});
        const QList<QStringList> bad = {
            {},
            {guide, "--format", "rtf"},
            {guide, "--format", "pdf", "--colour", "red"},
            {dir.filePath("nowhere.trovix"), "--format", "pdf"},
        };
        for (const QStringList& arguments : bad) {
            const Outcome outcome = exportTool(arguments);
            QVERIFY2(outcome.code == 2,
                     qPrintable(arguments.join(' ') + " → " + QString::number(outcome.code)));
            QVERIFY(outcome.err.startsWith("trovix-export: "));
            QVERIFY(outcome.out.isEmpty());
        }
        QVERIFY(
            exportTool({dir.filePath("nowhere.trovix"), "--format", "pdf"}).err.contains("nowhere.trovix"));

        QFile json(guide + "/guide.json");
        QVERIFY(json.open(QIODevice::WriteOnly));
        json.write("{\"title\":");
        json.close();
        // The message names the file that is damaged.
        const Outcome outcome = exportTool({guide, "--format", "markdown"});
        QCOMPARE(outcome.code, 2);
        QVERIFY2(outcome.err.contains("guide.json"), qPrintable(outcome.err));
        QCOMPARE(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
                 QStringList{"Saved.trovix"});
    }

    void hostileFolders_refusedAtOnceNamingFileAndReason() {
        QTemporaryDir dir;
        openToOthers(dir.path());
        const QList<HostileFolder> cases = makeHostileFolders(dir.path(), [](const QString& folder) {
            Guide guide;
            guide.replaceContents("G", {Step::make(Image(flat(64, 48, Qt::blue)), 1, "Step 1")}, {});
            GuideStore::write(guide, folder, false);
            return guide.steps().first().imageName();
        });
        QVERIFY(!cases.isEmpty());
        for (const HostileFolder& c : cases) {
            // Before the reader looked first, each of these hung the tool or ate all memory.
            const Outcome outcome = exportTool(
                {dir.filePath(c.name + ".trovix"), "--format", "pdf", "--output", dir.filePath("out.pdf")},
                c.locked ? std::optional<uid_t>(nobody) : std::nullopt);
            if (c.reason.isEmpty()) {
                QVERIFY2(outcome.code == 0, qPrintable(c.name + ": " + outcome.err));
                continue;
            }
            QVERIFY2(outcome.code == 2 && outcome.err.contains(QStringLiteral("“%1”").arg(c.file)) &&
                         outcome.err.contains(c.reason + "."),
                     qPrintable(c.name + " → " + QString::number(outcome.code) + ": " + outcome.err));
        }
    }

    void exports_nextToTheGuideWithTheSavedQuality() {
        QTemporaryDir dir;
        const QString guide =
            savedGuide(dir.path(), "Release: 1/2", {flat(3000, 1500, Qt::red), flat(64, 48, Qt::blue)});

        // No setting: balanced. The Markdown folder and file names are made safe from the title.
        Outcome outcome = exportTool({guide, "--format", "markdown"});
        QCOMPARE(outcome.code, 0);
        QVERIFY(outcome.err.isEmpty()); // no progress when stderr is not a terminal
        const QString folder = dir.filePath("Release- 1-2");
        QCOMPARE(QDir(folder + "/images").entryList(QDir::Files), (QStringList{"step-1.jpg", "step-2.jpg"}));
        QFile picture(folder + "/images/step-1.jpg");
        QVERIFY(picture.open(QIODevice::ReadOnly));
        QCOMPARE(ImageCodec::decode(picture.readAll()).size(), QSize(1800, 900));
        QVERIFY(outcome.out.contains(folder + "/guide.md"));
        QVERIFY2(outcome.out.contains("Balanced image quality"), qPrintable(outcome.out));
        QVERIFY(!outcome.out.contains("redacted"));
        QFile markdown(folder + "/guide.md");
        QVERIFY(markdown.open(QIODevice::ReadOnly));
        QVERIFY(markdown.readAll().startsWith(
            "# Release: 1/2\n\n## 1. Step 1\n\nA note\n\n![Step 1](images/step-1.jpg)"));

        // The user's saved choice applies; --quality overrides it.
        {
            QSettings settings(QStringLiteral("Trovix"), QStringLiteral("Trovix"));
            settings.setValue("exportQuality", "small");
        }
        outcome = exportTool({guide, "--format", "html"});
        QCOMPARE(outcome.code, 0);
        QVERIFY2(outcome.out.contains(dir.filePath("Release- 1-2.html")) &&
                     outcome.out.contains("Small file image quality"),
                 qPrintable(outcome.out));
        // --output names the file itself.
        outcome = exportTool({guide, "--format", "pdf", "--output", dir.filePath("named.pdf")});
        QCOMPARE(outcome.code, 0);
        QVERIFY(QFileInfo(dir.filePath("named.pdf")).size() > 0);
        // Word and OpenDocument files take the safe name too, also in a folder given as --output.
        QCOMPARE(exportTool({guide, "--format", "docx"}).code, 0);
        QVERIFY(QFileInfo(dir.filePath("Release- 1-2.docx")).size() > 0);
        QDir(dir.path()).mkdir("out");
        QCOMPARE(exportTool({guide, "--format", "odt", "--output", dir.filePath("out")}).code, 0);
        QVERIFY(QFileInfo(dir.filePath("out/Release- 1-2.odt")).size() > 0);

        // A stored value names a quality exactly, case included; anything else reads as balanced.
        QSettings(QStringLiteral("Trovix"), QStringLiteral("Trovix")).setValue("exportQuality", "Small");
        outcome = exportTool({guide, "--format", "pdf", "--output", dir.filePath("unknown.pdf")});
        QVERIFY2(outcome.out.contains("Balanced image quality"), qPrintable(outcome.out));

        // Covered regions are counted as the application's export report counts them.
        LoadedGuide loaded = GuideStore::read(guide);
        loaded.steps[0].redactions = {{SecretKind::email, QRectF(1, 1, 9, 9)}};
        loaded.steps[1].redactions = {{SecretKind::password, QRectF(1, 1, 9, 9)}};
        Guide redacted;
        redacted.replaceContents(loaded.title, loaded.steps, {});
        GuideStore::write(redacted, guide, false);
        outcome = exportTool({guide, "--format", "html", "--output", dir.filePath("redacted.html")});
        QVERIFY2(outcome.out.endsWith("image quality\n2 regions redacted\n"), qPrintable(outcome.out));
    }

    void failedExport_exitsWithOne() {
        QTemporaryDir dir;
        const QString guide = savedGuide(dir.path(), "Guide", {flat(40, 30, Qt::red)});
        QFile blocker(dir.filePath("file"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QString target = dir.filePath("file/Guide.pdf");
        const Outcome outcome = exportTool({guide, "--format", "pdf", "--output", target});
        QCOMPARE(outcome.code, 1);
        QVERIFY2(outcome.err.contains(target), qPrintable(outcome.err));
        QVERIFY(outcome.out.isEmpty());
    }
};

QTEST_MAIN(TestExport)
#include "test_export.moc"
