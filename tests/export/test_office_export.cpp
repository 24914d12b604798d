#include "document/Error.h"
#include "export/Exporter.h"
#include "render/ImageCodec.h"

#include "support/SyntheticScreenshot.h"
#include "support/TestFiles.h"

#include <QBuffer>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

#include <zip.h>

using namespace trovix;
using namespace trovix::testing;

namespace {

QByteArray run(const QString& program, const QStringList& arguments, int timeoutMs = 60000) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(timeoutMs) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        qFatal("%s failed: %s", qPrintable(program), process.readAllStandardError().constData());
    return process.readAllStandardOutput();
}

// Every entry of a ZIP archive, in the archive's order, read with libzip.
QList<std::pair<QString, QByteArray>> entries(const QString& path) {
    QList<std::pair<QString, QByteArray>> out;
    int error = 0;
    zip_t* archive = zip_open(QFile::encodeName(path).constData(), ZIP_RDONLY | ZIP_CHECKCONS, &error);
    if (!archive)
        return out;
    for (zip_int64_t i = 0; i < zip_get_num_entries(archive, 0); ++i) {
        zip_stat_t stat;
        zip_stat_index(archive, zip_uint64_t(i), 0, &stat);
        QByteArray bytes(qsizetype(stat.size), Qt::Uninitialized);
        zip_file_t* file = zip_fopen_index(archive, zip_uint64_t(i), 0);
        if (file && zip_fread(file, bytes.data(), stat.size) == zip_int64_t(stat.size))
            out.append({QString::fromUtf8(stat.name), bytes});
        if (file)
            zip_fclose(file);
    }
    zip_close(archive);
    return out;
}

QByteArray entry(const QString& path, const QString& name) {
    for (const auto& [entryName, bytes] : entries(path))
        if (entryName == name)
            return bytes;
    return {};
}

// Each of `texts` found in `haystack` after the one before it.
void verifyInOrder(const QString& haystack, const QStringList& texts, const QString& what) {
    qsizetype at = 0;
    for (const QString& text : texts) {
        const qsizetype found = haystack.indexOf(text, at);
        QVERIFY2(found >= 0, qPrintable(QStringLiteral("%1: “%2” missing or out of order").arg(what, text)));
        at = found + text.size();
    }
}

Image storedPicture(int width, int height, quint32 seed) {
    // Written by Qt's encoder, not ours: encoding the pixels again could not give the same bytes.
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    syntheticScreenshot(width, height, seed).convertToFormat(QImage::Format_RGB32).save(&buffer, "PNG");
    return Image::fromPng(png, QSize(width, height));
}

} // namespace

class TestOfficeExport : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void documents_openInLibreOfficeWithTitlesNotesAndPicturesInOrder() {
        QTemporaryDir dir;
        QList<Step> steps;
        const QStringList titles{"Open the “File” menu", "Choose Export & Save", "Press OK"};
        const QStringList notes{"Top left of the window.\nNext to Edit.", "", "Done: the file is saved."};
        for (int i = 0; i < 3; ++i)
            steps << Step::make(Image(syntheticScreenshot(2400, 1500, quint32(i + 1))), 2, titles[i], {},
                                notes[i]);
        steps[1].setAnnotations({{Kind::rect, {100, 100}, {900, 600}, {}, 0},
                                 {Kind::text, {150, 700}, {900, 780}, QStringLiteral("Here"), 0}});

        // What XML cannot carry, markup characters, right-to-left text, emoji and a very long note.
        const QString hostile = QStringLiteral("Bad <&\"'> \u0001\u001b") + QChar(0xD800) +
                                QStringLiteral(" \u05E9\u05DC\u05D5\u05DD \U0001F680 x");
        QString longNote = QStringLiteral("LongNoteStarts ");
        while (longNote.size() < 100000)
            longNote +=
                QStringLiteral("Lorem ipsum dolor sit amet \u0007 ") + QChar(0xDC00) + QStringLiteral(" ");
        longNote += QStringLiteral("LongNoteEnds");
        QList<Step> bad{
            Step::make(Image(syntheticScreenshot(800, 500, 9)), 1, hostile, {}, hostile + "\n" + longNote)};

        const QDateTime created(QDate(2025, 3, 6), QTime(10, 30), Qt::UTC);
        QStringList files;
        for (const QString& ext : {"docx", "odt"}) {
            const auto write = ext == QLatin1String("docx") ? &Exporter::writeDocx : &Exporter::writeOdt;
            const QString good = dir.filePath(ext + "-guide." + ext),
                          hostileFile = dir.filePath(ext + "-bad." + ext);
            write("How to export", steps, ExportQuality::small, good, {}, created);
            write(hostile, bad, ExportQuality::balanced, hostileFile, {}, created);
            files << good << hostileFile;
            // Every XML part is well-formed, whatever the guide's text.
            for (const QString& file : {good, hostileFile})
                for (const auto& [name, bytes] : entries(file)) {
                    if (!name.endsWith(".xml") && !name.endsWith(".rels"))
                        continue;
                    QXmlStreamReader xml(bytes);
                    while (!xml.atEnd())
                        xml.readNext();
                    QVERIFY2(!xml.hasError(), qPrintable(file + ": " + name + ": " + xml.errorString()));
                }
        }
        QCOMPARE(entries(files[2]).first().first, QStringLiteral("mimetype"));
        QCOMPARE(entries(files[2]).first().second, QByteArray("application/vnd.oasis.opendocument.text"));

        // LibreOffice reads all four, in one run with a profile of its own.
        const QString out = dir.filePath("pdf");
        run("soffice",
            QStringList{"-env:UserInstallation=" + QUrl::fromLocalFile(dir.filePath("profile")).toString(),
                        "--headless", "--norestore", "--convert-to", "pdf", "--outdir", out} +
                files,
            240000);
        for (const QString& ext : {"docx", "odt"}) {
            const QString what = ext + "-guide." + ext;
            const QString pdf = QDir(out).filePath(ext + "-guide.pdf");
            const QString text = QString::fromUtf8(run("pdftotext", {pdf, "-"}));
            verifyInOrder(text,
                          {"How to export", "3 steps", Exporter::longDate(created.date(), QLocale::system()),
                           "1. Open the “File” menu", "Top left of the window.\nNext to Edit.",
                           "2. Choose Export & Save", "3. Press OK", "Done: the file is saved."},
                          what);
            QVERIFY(text.contains("Page 1") && text.contains("Page 2"));
            // One picture a step, at the small preset's size.
            const QStringList images =
                QString::fromUtf8(run("pdfimages", {"-list", pdf})).split('\n', Qt::SkipEmptyParts).mid(2);
            QCOMPARE(images.size(), 3);
            for (const QString& line : images) {
                const QStringList columns = line.simplified().split(' ');
                QCOMPARE(columns.mid(3, 2), (QStringList{"1280", "800"}));
            }
            const QString hostilePdf = QDir(out).filePath(ext + "-bad.pdf");
            verifyInOrder(QString::fromUtf8(run("pdftotext", {hostilePdf, "-"})),
                          {"Bad <&\"'>", "1. Bad <&\"'>", "LongNoteStarts", "LongNoteEnds"}, hostilePdf);
            QCOMPARE(QString::fromUtf8(run("pdfimages", {"-list", hostilePdf})).count(" 800   500 "), 1);
        }

        // python-docx (Debian's, whatever else is first on the PATH) sees the styles, the line break in the
        // note, the alt texts and the properties.
        const QJsonObject docx = QJsonDocument::fromJson(run("/usr/bin/python3", {"-c", R"py(
import docx, json, sys
d = docx.Document(sys.argv[1])
s = d.sections[0]
print(json.dumps({
    "paragraphs": [[p.style.name, p.text] for p in d.paragraphs if p.text],
    "alts": [shape._inline.docPr.get("descr") for shape in d.inline_shapes],
    "title": d.core_properties.title,
    "created": d.core_properties.created.isoformat(),
    "page": [s.page_width.pt, s.page_height.pt, s.left_margin.pt, s.right_margin.pt, s.top_margin.pt],
    "footer": s.footer.paragraphs[0].text}))
)py",
                                                                                  files[0]}))
                                     .object();
        const QJsonArray paragraphs = docx["paragraphs"].toArray();
        QCOMPARE(paragraphs.size(), 7);
        QCOMPARE(paragraphs[0].toArray().toVariantList(), (QVariantList{"Title", "How to export"}));
        QCOMPARE(paragraphs[1].toArray()[0].toString(), QStringLiteral("Subtitle"));
        QCOMPARE(paragraphs[2].toArray().toVariantList(), (QVariantList{"Heading 1", titles[0]}));
        QCOMPARE(paragraphs[3].toArray().toVariantList(), (QVariantList{"Normal", notes[0]}));
        QCOMPARE(paragraphs[4].toArray().toVariantList(), (QVariantList{"Heading 1", titles[1]}));
        QCOMPARE(paragraphs[5].toArray().toVariantList(), (QVariantList{"Heading 1", titles[2]}));
        QCOMPARE(docx["alts"].toArray().toVariantList(), (QVariantList{titles[0], titles[1], titles[2]}));
        QCOMPARE(docx["title"].toString(), QStringLiteral("How to export"));
        QVERIFY2(docx["created"].toString().startsWith("2025-03-06T10:30:00"),
                 qPrintable(docx["created"].toString()));
        QCOMPARE(docx["page"].toArray().toVariantList(), (QVariantList{612.0, 792.0, 54.0, 54.0, 54.0}));
        // The number is a page field, which python-docx leaves out; LibreOffice filled it in above.
        QCOMPARE(docx["footer"].toString(), QStringLiteral("How to export\tPage "));
    }

    void fullQuality_embedsTheStoredPngAsItIs() {
        const Image stored = storedPicture(1200, 700, 3);
        QList<Step> steps{Step::make(stored, 2, "Plain"), Step::make(stored, 2, "Marked")};
        steps[1].setAnnotations({{Kind::arrow, {700, 400}, {420, 310}, {}, 0}});
        QTemporaryDir dir;
        for (const QString& ext : {"docx", "odt"}) {
            const QString file = dir.filePath("full." + ext);
            const ExportResult result = ext == QLatin1String("docx")
                                            ? Exporter::writeDocx("Full", steps, ExportQuality::full, file)
                                            : Exporter::writeOdt("Full", steps, ExportQuality::full, file);
            QCOMPARE(result.bytes, QFileInfo(file).size());
            const QString media = ext == QLatin1String("docx") ? "word/media/" : "Pictures/";
            QCOMPARE(entry(file, media + "step-1.png"), stored.png());
            QCOMPARE(
                ImageCodec::decode(entry(file, media + "step-2.png")).convertToFormat(QImage::Format_RGB32),
                steps[1].rendered.pixels().convertToFormat(QImage::Format_RGB32));
        }
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{"full.docx", "full.odt"}));
    }

    void unwritableDestination_failsNamingTheFileAndLeavesNothing() {
        QTemporaryDir dir;
        writeFile(dir.filePath("notAFolder"), "x");
        writeFile(dir.filePath("kept.docx"), "the user's own file");
        QDir(dir.path()).mkdir("folder.odt");
        const QList<Step> steps{Step::make(Image(syntheticScreenshot(400, 300, 1)), 1, "One")};
        for (const QString& file : {dir.filePath("notAFolder/guide.docx"), dir.filePath("missing/guide.odt"),
                                    dir.filePath("folder.odt")}) {
            try {
                file.endsWith("docx") ? Exporter::writeDocx("T", steps, ExportQuality::balanced, file)
                                      : Exporter::writeOdt("T", steps, ExportQuality::balanced, file);
                QFAIL(qPrintable("no error for " + file));
            } catch (const Error& error) {
                QVERIFY2(error.message().contains(QDir::toNativeSeparators(file)),
                         qPrintable(error.message()));
                QCOMPARE(error.path(), file);
            }
        }
        // A failure part-way through the pictures (here from the progress report) leaves the file that
        // was there untouched and no temporary file behind.
        const auto failOnSecond = [](int done, int) {
            if (done == 2)
                throw Error(Error::Code::io, "stopped");
        };
        for (const auto write : {&Exporter::writeDocx, &Exporter::writeOdt}) {
            try {
                write("T", steps + steps + steps, ExportQuality::small, dir.filePath("kept.docx"),
                      failOnSecond, QDateTime::currentDateTime());
                QFAIL("no error");
            } catch (const Error& error) {
                QCOMPARE(error.message(), QStringLiteral("stopped"));
            }
        }
        QCOMPARE(readFile(dir.filePath("kept.docx")), QByteArray("the user's own file"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden | QDir::Dirs | QDir::NoDotAndDotDot),
                 (QStringList{"folder.odt", "kept.docx", "notAFolder"}));
    }
};

QTEST_MAIN(TestOfficeExport)
#include "test_office_export.moc"
