#include "export/Exporter.h"
#include "export/PngLayout.h"
#include "render/ImageCodec.h"

#include "support/SyntheticScreenshot.h"

#include <QBuffer>
#include <QDir>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>

using namespace trovix;
using namespace trovix::testing;

namespace {

// The PDF's image objects in the order they were written.
std::vector<QPDFObjectHandle> images(QPDF& pdf) {
    std::vector<QPDFObjectHandle> out;
    for (QPDFObjectHandle object : pdf.getAllObjects())
        if (object.isStream() && object.getDict().getKey("/Subtype").isNameAndEquals("/Image"))
            out.push_back(object);
    return out;
}

QImage opaque(const QImage& image) {
    QImage out(image.size(), QImage::Format_RGB32);
    out.fill(Qt::white);
    QPainter(&out).drawImage(0, 0, image);
    return out;
}

} // namespace

class TestPdfPassthrough : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void fullQuality_keepsStoredPngDataAndEncodesTheRestOnce() {
        // As read from a guide folder: pictures known by their PNG bytes, here written by another
        // encoder (Qt's, adaptive filters) so that encoding the pixels again could not give them.
        QByteArray stored;
        QBuffer buffer(&stored);
        buffer.open(QIODevice::WriteOnly);
        QVERIFY(trovix::testing::syntheticScreenshot(900, 500, 1)
                    .convertToFormat(QImage::Format_RGB32)
                    .save(&buffer, "PNG"));
        QImage translucent =
            trovix::testing::syntheticScreenshot(300, 200, 2).convertToFormat(QImage::Format_ARGB32);
        translucent.fill(QColor(40, 90, 200, 128));
        const QByteArray withAlpha = ImageCodec::encodePng(translucent);
        QVERIFY(PngLayout::embeddable(stored) && !PngLayout::embeddable(withAlpha));

        const Image plain = Image::fromPng(stored, QSize(900, 500));
        QList<Step> steps{Step::make(plain, 2, "Plain"), Step::make(plain, 2, "Marked"),
                          Step::make(Image::fromPng(withAlpha, QSize(300, 200)), 1, "Translucent")};
        steps[1].setAnnotations(
            {{Kind::rect, {100, 80}, {400, 300}, {}, 0}, {Kind::arrow, {700, 400}, {420, 310}, {}, 0}});

        QTemporaryDir dir;
        const QString file = dir.filePath("guide.pdf");
        Exporter::writePdf("Passthrough", steps, ExportQuality::full, file);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"guide.pdf"});

        QPDF pdf;
        pdf.processFile(file.toLocal8Bit().constData());
        std::vector<QPDFObjectHandle> objects = images(pdf);
        QCOMPARE(objects.size(), size_t(3));

        // The unannotated step: its PNG's image data byte for byte, with the PNG predictor.
        QByteArray idat;
        const std::optional<PngLayout> layout = PngLayout::embeddable(stored);
        for (QByteArrayView chunk : layout->chunks)
            idat += chunk;
        const std::shared_ptr<Buffer> raw = objects[0].getRawStreamData();
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(raw->getBuffer()), qsizetype(raw->getSize())),
                 idat);
        QCOMPARE(QString::fromStdString(objects[0].getDict().getKey("/DecodeParms").unparse()),
                 "<< /BitsPerComponent 8 /Colors 3 /Columns 900 /Predictor 15 >>");
        QCOMPARE(objects[0].getDict().getKey("/Width").getIntValue(), 900);

        // What poppler shows: the steps' pixels, the translucent one as it looks on the white page.
        QProcess pdfimages;
        pdfimages.start("pdfimages", {"-png", file, dir.filePath("image")});
        QVERIFY(pdfimages.waitForFinished(60000) && pdfimages.exitCode() == 0);
        const QImage expected[] = {opaque(plain.pixels()), opaque(steps[1].rendered.pixels()),
                                   opaque(ImageCodec::decode(withAlpha))};
        for (int i = 0; i < 3; ++i) {
            const QImage shown(dir.filePath(QStringLiteral("image-%1.png").arg(i, 3, 10, QLatin1Char('0'))));
            QCOMPARE(shown.convertToFormat(QImage::Format_RGB32), expected[i]);
        }
    }
};

QTEST_MAIN(TestPdfPassthrough)
#include "test_pdf_passthrough.moc"
