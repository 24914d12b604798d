#include "render/Image.h"
#include "render/ImageCodec.h"

#include "support/TestFiles.h"

#include <QBuffer>
#include <QFile>
#include <QImageWriter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QtConcurrent/QtConcurrentRun>
#include <QtEndian>

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

QByteArray withHeader(const QByteArray& png, quint32 width, quint32 height) {
    QByteArray header = png.mid(16, 13);
    qToBigEndian<quint32>(width, header.data());
    qToBigEndian<quint32>(height, header.data() + 4);
    return testing::withChunk(png, "IHDR", header);
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
        QCOMPARE(ImageCodec::decode(ImageCodec::encodePng(pattern(31, 7, QImage::Format_RGB888))),
                 pattern(31, 7));

        // Translucent pixels keep their alpha; straight colour values survive exactly.
        QImage translucent(64, 64, QImage::Format_ARGB32);
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x)
                translucent.setPixel(x, y, qRgba(x * 4, y * 4, 128, (x + y) * 2));
        png = ImageCodec::encodePng(translucent);
        QCOMPARE(colourType(png), 6);
        QCOMPARE(ImageCodec::decode(png), translucent.convertToFormat(QImage::Format_ARGB32_Premultiplied));
        QCOMPARE(QImage::fromData(png).convertToFormat(QImage::Format_ARGB32), translucent);

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
            {"grey", source.convertToFormat(QImage::Format_Grayscale8)},
            {"grey 16-bit", source.convertToFormat(QImage::Format_Grayscale16)},
            {"16-bit with alpha", translucent.convertToFormat(QImage::Format_RGBA64)},
            {"1-bit", source.convertToFormat(QImage::Format_Mono)},
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
        QCOMPARE(ImageCodec::checkPng(withHeader(png, 20, 10)).size, QSize(20, 10)); // the helper is sound

        // Absurd sizes are refused by the check and by the decoder, before any allocation.
        for (const auto& [w, h] :
             {std::pair{100000u, 100000u}, {65535u, 65535u}, {0u, 10u}, {1u << 31, 1u}}) {
            const QByteArray huge = withHeader(png, w, h);
            QVERIFY2(!ImageCodec::checkPng(huge).ok(), qPrintable(QStringLiteral("%1×%2").arg(w).arg(h)));
            QVERIFY(ImageCodec::decode(huge).isNull());
        }
    }

    void image_decodesOnFirstUseOnceAcrossThreads() {
        const QImage source = pattern(800, 600);
        const QByteArray png = ImageCodec::encodePng(source);
        const Image image = Image::fromPng(png, source.size());
        QVERIFY(!image.hasPixels());
        QVERIFY(image.hasPng());

        // Several threads asking at once all get the same, correct pixels.
        QList<QFuture<QImage>> asks;
        for (int i = 0; i < 6; ++i)
            asks << QtConcurrent::run([image] { return image.pixels(); });
        for (auto& ask : asks)
            QCOMPARE(ask.result(), source);
        QVERIFY(image.dropPixels());
        QVERIFY(!image.hasPixels());
        QCOMPARE(image.pixels(), source);
        QCOMPARE(image.png(), png); // the bytes are kept as they were read, never re-encoded

        // A picture whose header promised another size than its pixels have, or whose bytes are
        // broken, shows a placeholder of the promised size.
        QCOMPARE(Image::fromPng(png, QSize(100, 100)).pixels().size(), QSize(100, 100));
        QCOMPARE(Image::fromPng(png.left(png.size() / 2), source.size()).pixels().size(), source.size());

        // A fresh picture is encoded once, in the background, and every caller gets those bytes.
        const Image fresh(pattern(640, 480));
        fresh.encodeInBackground();
        QList<QFuture<QByteArray>> encodes;
        for (int i = 0; i < 4; ++i)
            encodes << QtConcurrent::run([fresh] { return fresh.png(); });
        const QByteArray bytes = fresh.png();
        for (auto& encode : encodes)
            QCOMPARE(encode.result().constData(), bytes.constData()); // one shared buffer
        QCOMPARE(ImageCodec::decode(bytes), pattern(640, 480));
    }
};

QTEST_GUILESS_MAIN(ImageCodecTest)
#include "test_image_codec.moc"
