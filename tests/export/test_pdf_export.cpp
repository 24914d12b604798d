#include "document/Error.h"
#include "export/Exporter.h"
#include "render/ImageCodec.h"

#include "support/SyntheticScreenshot.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

struct Word {
    QString text;
    QRectF box; // points, from the page's top-left corner
};
using Page = QList<Word>;

QByteArray run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        qFatal("%s failed: %s", qPrintable(program), process.readAllStandardError().constData());
    return process.readAllStandardOutput();
}

// Every page's words with their boxes, as poppler reads them back.
QList<Page> words(const QString& pdf) {
    const QString text = QString::fromUtf8(run("pdftotext", {"-bbox", pdf, "-"}));
    QList<Page> pages;
    static const QRegularExpression tag(
        QStringLiteral("<page |<word xMin=\"([\\d.]+)\" yMin=\"([\\d.]+)\" xMax=\"([\\d.]+)\" "
                       "yMax=\"([\\d.]+)\">([^<]*)</word>"));
    for (auto it = tag.globalMatch(text); it.hasNext();) {
        const auto m = it.next();
        if (m.captured(0) == "<page ") {
            pages << Page();
            continue;
        }
        const double x0 = m.captured(1).toDouble(), y0 = m.captured(2).toDouble();
        pages.last() << Word{m.captured(5), QRectF(QPointF(x0, y0), QPointF(m.captured(3).toDouble(),
                                                                            m.captured(4).toDouble()))};
    }
    return pages;
}

const Word* find(const Page& page, const QString& text, int occurrence = 0) {
    for (const Word& word : page)
        if (word.text == text && occurrence-- == 0)
            return &word;
    return nullptr;
}

// The pages drawn at 144 dpi: two pixels per point.
QList<QImage> raster(const QString& pdf, const QString& dir) {
    run("pdftoppm", {"-r", "144", "-png", pdf, dir + "/page"});
    QList<QImage> pages;
    for (const QString& name : QDir(dir).entryList({"page-*.png"}, QDir::Files, QDir::Name))
        pages << QImage(dir + "/" + name).convertToFormat(QImage::Format_RGB32);
    return pages;
}

bool near(QRgb pixel, QColor color, int tolerance) {
    return std::abs(qRed(pixel) - color.red()) <= tolerance &&
           std::abs(qGreen(pixel) - color.green()) <= tolerance &&
           std::abs(qBlue(pixel) - color.blue()) <= tolerance;
}

// Boxes (in points) of the separate vertical runs of `color` inside the strip x0…x1.
QList<QRectF> regions(const QImage& page, QColor color, double x0 = 0, double x1 = 612, int tolerance = 12) {
    QList<QRectF> found;
    QRect current;
    for (int y = 0; y < page.height(); ++y) {
        int left = -1, right = -1;
        const auto* line = reinterpret_cast<const QRgb*>(page.constScanLine(y));
        for (int x = int(x0 * 2); x < std::min(page.width(), int(x1 * 2)); ++x)
            if (near(line[x], color, tolerance)) {
                if (left < 0)
                    left = x;
                right = x;
            }
        if (left >= 0) {
            current = current.isNull() ? QRect(left, y, right - left + 1, 1)
                                       : current.united(QRect(left, y, right - left + 1, 1));
        } else if (!current.isNull()) {
            found << QRectF(current.x() / 2.0, current.y() / 2.0, current.width() / 2.0,
                            current.height() / 2.0);
            current = QRect();
        }
    }
    if (!current.isNull())
        found << QRectF(current.x() / 2.0, current.y() / 2.0, current.width() / 2.0, current.height() / 2.0);
    return found;
}

#define QCOMPARE_NEAR(actual, expected, tolerance)                                                           \
    QVERIFY2(std::abs(double(actual) - double(expected)) <= (tolerance),                                     \
             qPrintable(QStringLiteral("%1 = %2, expected %3").arg(#actual).arg(actual).arg(expected)))

const QColor accent(0, 122, 255);
const QDate date(2025, 3, 6);

} // namespace

class TestPdfExport : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void layout_shrinksOrBreaksAndNumbersEveryPage() {
        // Picture colours identify each step's picture on the rendered pages.
        const QList<QColor> colors = {QColor(40, 170, 40), QColor(200, 40, 200), QColor(240, 160, 0),
                                      QColor(120, 60, 0),  QColor(0, 200, 200),  QColor(230, 40, 40)};
        QString tallTitle = QStringLiteral("Tall");
        for (int i = 2; i <= 20; ++i)
            tallTitle += QStringLiteral("\nline %1").arg(i);
        const QList<Step> steps = {
            Step::make(Image(flat(1600, 1000, colors[0])), 1,
                       "Open the panel"), // 464 × 290 points after fitting
            Step::make(Image(flat(928, 640, colors[1])), 2,
                       "Pick a network"),                             // 464 × 320, shrunk to the page
            Step::make(Image(flat(300, 200, colors[2])), 1, "Third"), // moves to page 2
            Step::make(Image(flat(800, 600, colors[3])), 1,
                       "A step title long enough that it has to wrap onto a second line of the column", {},
                       "Short note."),
            Step::make(Image(flat(464, 320, colors[4])), 1, tallTitle), // page 3, runs past the bottom
            Step::make(Image(flat(200, 100, colors[5])), 1, "After"),   // page 4
        };
        QTemporaryDir dir;
        const QString pdf = dir.filePath("layout.pdf");
        const ExportResult result =
            Exporter::writePdf("Layout", steps, ExportQuality::balanced, pdf, {}, date);
        QCOMPARE(result.files, QStringList{pdf});
        QCOMPARE(result.bytes, QFileInfo(pdf).size());

        const QList<Page> text = words(pdf);
        const QList<QImage> pages = raster(pdf, dir.path());
        QCOMPARE(text.size(), 4);
        QCOMPARE(pages.size(), 4);

        // The title block ends in a hairline rule: the one wide run of the hairline colour.
        QRectF rule;
        for (const QRectF& run : regions(pages[0], QColor(209, 209, 214), 0, 612, 3))
            if (run.width() > 500)
                rule = run;
        QCOMPARE_NEAR(rule.left(), 54, 0.5);
        QCOMPARE_NEAR(rule.width(), 504, 0.5);

        // Walk the steps as the layout rule says and compare with what was drawn.
        int page = 0;
        double y = rule.top() + 28;
        QList<int> badgeIndex(4, 0);
        for (int i = 0; i < steps.size(); ++i) {
            const Step& step = steps[i];
            const double w = step.rendered.width() / step.scale, h = step.rendered.height() / step.scale;
            double f = std::min({464 / w, 320 / h, 1.0});
            double ph = h * f;
            const QList<QRectF> badges = regions(pages[page], accent, 50, 84);
            const QRectF badge = badges.value(badgeIndex[page]);
            const QList<QRectF> pictures = regions(pages[page], colors[i], 90, 612, 16);
            // B is measured from what was drawn: the picture starts B below the block's top.
            const double B = pictures.isEmpty() ? 0 : pictures.first().top() - badge.top();
            if (y + B + ph > 730 && y > 55) {
                const double avail = 730 - y - B;
                if (avail >= 190) {
                    QVERIFY2(i == 1, "only step 2 is meant to shrink");
                    f = avail / h;
                    ph = avail;
                } else {
                    QVERIFY2(i == 2 || i == 4 || i == 5,
                             qPrintable(QStringLiteral("step %1 moved").arg(i + 1)));
                    ++page;
                    y = 54;
                    i -= 1; // measure this step again on the new page
                    continue;
                }
            }
            QVERIFY2(!pictures.isEmpty(), qPrintable(QStringLiteral("picture of step %1").arg(i + 1)));
            const QRectF picture = pictures.first();
            QCOMPARE_NEAR(badge.left(), 54, 0.5);
            QCOMPARE_NEAR(badge.top(), y, 1);
            QCOMPARE_NEAR(badge.width(), 26, 1);
            QCOMPARE_NEAR(badge.height(), 26, 1);
            QCOMPARE_NEAR(picture.left(), 94, 0.5);
            QCOMPARE_NEAR(picture.width(), w * f, 1.5);
            QCOMPARE_NEAR(picture.height(), ph, 1.5);
            ++badgeIndex[page];
            y = picture.bottom() + 26;
        }
        QCOMPARE(page, 3);

        // Step 2 was shrunk to end exactly at the bottom limit; the tall step at the top of page 3 was not.
        QCOMPARE_NEAR(regions(pages[0], colors[1], 90, 612, 16).first().bottom(), 730, 1);
        const QRectF tall = regions(pages[2], colors[4], 90, 612, 16).first();
        QCOMPARE_NEAR(tall.height(), 320, 1);
        QVERIFY(tall.bottom() > 730);

        // Every page has its footer: "Page N" ending at the right margin.
        for (int p = 0; p < 4; ++p) {
            const Word* label = find(text[p], "Page");
            QVERIFY2(label, qPrintable(QStringLiteral("footer of page %1").arg(p + 1)));
            QCOMPARE_NEAR(label->box.top(), 746, 1);
            const Word* last = nullptr;
            for (const Word& word : text[p])
                if (std::abs(word.box.top() - label->box.top()) < 1 && word.box.left() > label->box.left())
                    last = &word;
            QVERIFY(last && last->text == QString::number(p + 1));
            QCOMPARE_NEAR(last->box.right(), 558, 0.75);
        }
    }

    void pictures_areThePreparedBytes() {
        QList<Step> steps;
        for (int i = 0; i < 3; ++i)
            steps << Step::make(Image(syntheticScreenshot(1400 + 300 * i, 900, quint32(i))), 2,
                                QStringLiteral("Step %1").arg(i + 1));
        QTemporaryDir dir;
        for (ExportQuality quality : {ExportQuality::small, ExportQuality::balanced}) {
            const QString pdf = dir.filePath(storedValue(quality) + ".pdf");
            Exporter::writePdf("Pictures", steps, quality, pdf, {}, date);
            const QString prefix = dir.filePath(storedValue(quality));
            run("pdfimages", {"-j", pdf, prefix});
            for (int i = 0; i < steps.size(); ++i) {
                QFile extracted(QStringLiteral("%1-%2.jpg").arg(prefix).arg(i, 3, 10, QLatin1Char('0')));
                QVERIFY2(extracted.open(QIODevice::ReadOnly), qPrintable(extracted.fileName()));
                QCOMPARE(extracted.readAll(), Exporter::prepare(steps[i].rendered, quality)->data);
            }
            QVERIFY(!QFile::exists(
                QStringLiteral("%1-%2.jpg").arg(prefix).arg(steps.size(), 3, 10, QLatin1Char('0'))));
        }

        // Full quality: lossless pictures at their own pixel size.
        const QString pdf = dir.filePath("full.pdf");
        Exporter::writePdf("Pictures", steps, ExportQuality::full, pdf, {}, date);
        // One bookmark per step.
        QFile raw(pdf);
        QVERIFY(raw.open(QIODevice::ReadOnly));
        const QByteArray bytes = raw.readAll();
        for (int i = 0; i < steps.size(); ++i)
            QCOMPARE(bytes.count(QStringLiteral("/Title (%1. Step %1)").arg(i + 1).toLatin1()), 1);
        const QString list = QString::fromUtf8(run("pdfimages", {"-list", pdf}));
        QVERIFY2(!list.contains("jpeg"), qPrintable(list));
        run("pdfimages", {"-png", pdf, dir.filePath("full")});
        for (int i = 0; i < steps.size(); ++i) {
            const QImage extracted(
                dir.filePath(QStringLiteral("full-%1.png").arg(i, 3, 10, QLatin1Char('0'))));
            QCOMPARE(extracted.convertToFormat(QImage::Format_RGB32),
                     steps[i].rendered.pixels().convertToFormat(QImage::Format_RGB32));
        }
    }

    void failure_namesTheFileAndLeavesNothing() {
        QTemporaryDir dir;
        const QString pdf = dir.filePath("missing/out.pdf");
        try {
            Exporter::writePdf("x", {}, ExportQuality::small, pdf);
            QFAIL("no error");
        } catch (const Error& error) {
            QVERIFY2(error.message().contains(pdf), qPrintable(error.message()));
        }
        QVERIFY(!QFile::exists(pdf));
    }
};

QTEST_MAIN(TestPdfExport)
#include "test_pdf_export.moc"
