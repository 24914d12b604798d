#include "render/ImageCodec.h"
#include "render/PngFastDecoder.h"

#include "support/SyntheticScreenshot.h"
#include "support/TestFiles.h"

#include <QTest>
#include <QtEndian>

#include <cstdlib>

using namespace trovix;
using namespace trovix::testing;

namespace {

// An RGBA PNG whose rows use the five filter types in turn (row y: type y % 5).
QByteArray everyFilter(const QImage& source) {
    const QImage image = source.convertToFormat(QImage::Format_RGBA8888);
    const int w = image.width(), bpp = 4, n = w * bpp;
    QByteArray raw;
    const QByteArray zeros(n, 0);
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = image.constScanLine(y);
        const auto* up = y ? image.constScanLine(y - 1) : reinterpret_cast<const uchar*>(zeros.constData());
        raw += char(y % 5);
        for (int i = 0; i < n; ++i) {
            const int a = i >= bpp ? row[i - bpp] : 0, b = up[i], c = i >= bpp ? up[i - bpp] : 0;
            const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
            const int predictor[] = {0, a, b, (a + b) / 2, pa <= pb && pa <= pc ? a : pb <= pc ? b : c};
            raw += char(row[i] - predictor[y % 5]);
        }
    }
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    QByteArray header(13, 0);
    qToBigEndian<quint32>(quint32(w), header.data());
    qToBigEndian<quint32>(quint32(image.height()), header.data() + 4);
    header[8] = 8;
    header[9] = 6;
    // qCompress puts the length before the zlib stream.
    return png + pngChunk("IHDR", header) + pngChunk("IDAT", qCompress(raw).mid(4)) + pngChunk("IEND", {});
}

QImage qtDecoded(const QByteArray& png) {
    return QImage::fromData(png, "PNG").convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

} // namespace

class TestPngFastDecoder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void decodesScreenshotPngsAsLibpngDoes() {
        QImage translucent =
            trovix::testing::syntheticScreenshot(333, 211, 4).convertToFormat(QImage::Format_ARGB32);
        for (int y = 0; y < translucent.height(); ++y)
            for (int x = 0; x < translucent.width(); ++x)
                translucent.setPixel(x, y,
                                     (translucent.pixel(x, y) & 0xffffff) | quint32((x * 7 + y) % 256) << 24);
        QImage dense = trovix::testing::syntheticScreenshot(640, 360, 5);
        dense.setDotsPerMeterX(5669);
        dense.setDotsPerMeterY(5669);
        // Qt's encoder, ours, and every kind of row filter. RGB and RGBA, odd widths.
        const QByteArray files[] = {encoded(dense), encoded(translucent), ImageCodec::encodePng(dense),
                                    ImageCodec::encodePng(translucent), everyFilter(translucent)};
        for (const QByteArray& png : files) {
            const std::optional<QImage> fast = PngFastDecoder::decode(png, 16384, 1 << 27);
            QVERIFY(fast);
            QCOMPARE(fast->format(), QImage::Format_ARGB32_Premultiplied);
            QCOMPARE(*fast, qtDecoded(png));
            QCOMPARE(ImageCodec::decode(png), *fast);
        }
        QCOMPARE(PngFastDecoder::decode(files[0], 16384, 1 << 27)->dotsPerMeterX(), 5669);

        // Damage, other kinds and limits are left to libpng.
        QByteArray damaged = files[2];
        damaged[damaged.size() / 2] = char(damaged[damaged.size() / 2] ^ 0x10);
        QVERIFY(!PngFastDecoder::decode(damaged, 16384, 1 << 27));
        QVERIFY(!PngFastDecoder::decode(files[2].left(files[2].size() - 20), 16384, 1 << 27));
        QVERIFY(
            !PngFastDecoder::decode(encoded(dense.convertToFormat(QImage::Format_Indexed8)), 16384, 1 << 27));
        QVERIFY(!PngFastDecoder::decode(files[2], 639, 1 << 27));
    }
};

QTEST_MAIN(TestPngFastDecoder)
#include "test_png_fast_decoder.moc"
