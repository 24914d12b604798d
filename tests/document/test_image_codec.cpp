#include "render/Image.h"
#include "render/ImageCodec.h"

#include "support/TestFiles.h"

#include <QBuffer>
#include <QFile>
#include <QImageWriter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace trovix;

namespace {

QImage pattern(int w, int h, QImage::Format format = QImage::Format_ARGB32_Premultiplied) {
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixel(x, y, qRgba((x * 9) & 0xff, (y * 13) & 0xff, (x * y) & 0xff, 255));
    return image.convertToFormat(format);
}

QByteArray qtPng(const QImage& image) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, "png").write(image);
    return bytes;
}

int colourType(const QByteArray& png) {
    return png.size() > 25 ? uchar(png[25]) : -1;
}

} // namespace

class ImageCodecTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void encode_roundTripsExactlyAndOthersCanRead() {
        const QImage opaque = pattern(300, 170);
        QByteArray png = ImageCodec::encodePng(opaque);
        QCOMPARE(colourType(png), 2); // opaque pictures are stored without alpha
        QCOMPARE(ImageCodec::checkPng(png).size, QSize(300, 170));
        QCOMPARE(ImageCodec::decode(png), opaque);
        QCOMPARE(QImage::fromData(png).convertToFormat(QImage::Format_ARGB32_Premultiplied), opaque);

        // Every 32-bit input format comes back as the same premultiplied pixels.
        QCOMPARE(ImageCodec::decode(ImageCodec::encodePng(pattern(31, 7, QImage::Format_RGB32))),
                 pattern(31, 7));

        // The pixel density travels with the picture (the editor's clipboard copy relies on it).
        QImage dense = pattern(8, 8);
        dense.setDotsPerMeterX(5669);
        dense.setDotsPerMeterY(5669);
        QCOMPARE(ImageCodec::decode(ImageCodec::encodePng(dense)).dotsPerMeterX(), 5669);

        QVERIFY(ImageCodec::encodePng(QImage()).isEmpty());
    }

    void decode_readsEveryKindOfPng() {
        QImage source = pattern(57, 33, QImage::Format_ARGB32);
        QImage translucent = source;
        for (int x = 0; x < 57; ++x)
            translucent.setPixel(x, 5, qRgba(x * 4, 0, 0, x * 4));
        const QList<QPair<const char*, QImage>> kinds{
            {"palette", source.convertToFormat(QImage::Format_Indexed8)},
            {"grey 16-bit", source.convertToFormat(QImage::Format_Grayscale16)},
            {"16-bit with alpha", translucent.convertToFormat(QImage::Format_RGBA64)},
        };
        for (const auto& [name, image] : kinds) {
            const QByteArray png = qtPng(image);
            QVERIFY2(ImageCodec::checkPng(png).ok(), name);
            const QImage decoded = ImageCodec::decode(png);
            QCOMPARE(decoded.format(), QImage::Format_ARGB32_Premultiplied);
            // 16-bit channels are rounded to 8 bits before premultiplying here and after it in Qt.
            QVERIFY2(testing::maxDifference(decoded, QImage::fromData(png)) <= 1, name);
        }

        // Interlaced files, as other programs write them.
        QTemporaryDir dir;
        const QString plain = dir.filePath("plain.png"), interlaced = dir.filePath("interlaced.png");
        QVERIFY(source.save(plain));
        if (QProcess::execute("convert", {plain, "-interlace", "PNG", interlaced}) != 0)
            QSKIP("ImageMagick's convert is not available");
        QFile file(interlaced);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QCOMPARE(uchar(bytes[28]), uchar(1)); // really interlaced
        QVERIFY(ImageCodec::checkPng(bytes).ok());
        QCOMPARE(testing::maxDifference(ImageCodec::decode(bytes), source), 0);
    }

    void check_catchesEveryTruncationAndEveryFlippedBit() {
        const QByteArray png = ImageCodec::encodePng(pattern(20, 10));
        QVERIFY(ImageCodec::checkPng(png).ok());
        for (qsizetype length = 0; length < png.size(); ++length)
            QVERIFY2(!ImageCodec::checkPng(png.left(length)).ok(), qPrintable(QString::number(length)));
        for (qsizetype at = 0; at < png.size(); ++at)
            for (const int bit : {0x01, 0x80}) {
                QByteArray damaged = png;
                damaged[at] = char(damaged[at] ^ bit);
                QVERIFY2(!ImageCodec::checkPng(damaged).ok(), qPrintable(QString::number(at)));
            }
        QVERIFY(ImageCodec::checkPng(png + "trailing bytes after the end").ok()); // decoders ignore them

        QVERIFY(!ImageCodec::checkPng(QByteArray()).ok());
        QVERIFY(!ImageCodec::checkPng("GIF89a not a png at all").ok());
    }

};

QTEST_GUILESS_MAIN(ImageCodecTest)
#include "test_image_codec.moc"
