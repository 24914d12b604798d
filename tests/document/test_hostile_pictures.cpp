// The PNG codec: exact round trips, the kinds of file other programs write, damage it must catch.
// And hostile pictures, whose headers promise more than their bytes hold: the store and the decoders
// refuse them without allocating what they claim, and a guide folder holding one says which file is
// at fault.
#include "document/Error.h"
#include "document/GuideStore.h"
#include "render/ImageCodec.h"

#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <sys/resource.h>
#include <zlib.h>

using namespace trovix;
using namespace trovix::testing;

namespace {

QByteArray header(quint32 width, quint32 height, int depth, int colourType, bool interlaced = false) {
    QByteArray body(13, '\0');
    qToBigEndian<quint32>(width, body.data());
    qToBigEndian<quint32>(height, body.data() + 4);
    body[8] = char(depth);
    body[9] = char(colourType);
    body[12] = char(interlaced);
    return pngChunk("IHDR", body);
}

QByteArray compressed(const QByteArray& raw) {
    uLongf size = compressBound(uLong(raw.size()));
    QByteArray out(qsizetype(size), '\0');
    if (compress2(reinterpret_cast<Bytef*>(out.data()), &size,
                  reinterpret_cast<const Bytef*>(raw.constData()), uLong(raw.size()), 9) != Z_OK)
        return {};
    out.truncate(qsizetype(size));
    return out;
}

// A PNG whose chunks and checksums are all in order, with `before` placed ahead of the image data.
QByteArray png(quint32 width, quint32 height, int depth, int colourType, const QByteArray& data,
               const QByteArray& before = {}) {
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + header(width, height, depth, colourType) + before +
           pngChunk("IDAT", data) + pngChunk("IEND", {});
}

// A grey picture of zeros: every filter byte and pixel byte inflated from a tiny stream.
QByteArray blankGrey(quint32 width, quint32 height, int depth) {
    const qsizetype row = 1 + (qsizetype(width) * depth + 7) / 8;
    return png(width, height, depth, 0, compressed(QByteArray(row * qsizetype(height), '\0')));
}

qint64 peakMemoryKB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// A one-step guide folder whose picture is `picture`; returns the picture's file name.
QString guideWith(const QString& folder, const QByteArray& picture) {
    const QString id = QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF");
    const QByteArray json =
        QStringLiteral("{\"title\":\"Hostile\",\"steps\":[{\"id\":\"%1\",\"title\":\"One\","
                       "\"note\":\"\",\"scale\":1,\"annotations\":[]}]}")
            .arg(id)
            .toUtf8();
    QDir().mkpath(folder);
    writeFile(folder + "/guide.json", json);
    writeFile(folder + "/" + id + ".png", picture);
    return id + ".png";
}

int colourType(const QByteArray& png) {
    return png.size() > 25 ? uchar(png[25]) : -1;
}

} // namespace

class HostilePicturesTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // First, while the process's peak memory is still small enough to show a large allocation.
    void metadataChunkClaimingAGigabyte_isSkippedUnread() {
        // A text chunk that claims 1 GB in a file of a hundred bytes. libpng, left to itself, allocates
        // and clears a buffer of the claimed length before it finds the file too short. The structure
        // check sees the lie; the library's thumbnail decodes the first picture without that check.
        QByteArray lie = pngChunk("tEXt", "Comment");
        qToBigEndian<quint32>(1u << 30, lie.data());
        const QByteArray picture = QByteArray("\x89PNG\r\n\x1a\n", 8) + header(8, 8, 8, 2) + lie;

        QTemporaryDir dir;
        const QString folder = dir.filePath("Text.trovix");
        guideWith(folder, picture);
        const qint64 before = peakMemoryKB();
        QVERIFY(ImageCodec::decode(picture).isNull());
        const std::optional<GuideSummary> summary = GuideStore::summary(folder);
        QVERIFY(summary);
        QCOMPARE(summary->stepCount, 1);
        QVERIFY(summary->thumbnail.isNull());
        const qint64 grown = peakMemoryKB() - before;
        QVERIFY2(grown < 256 * 1024,
                 qPrintable(QStringLiteral("peak memory grew by %1 MB").arg(grown / 1024)));
        QVERIFY(!ImageCodec::checkPng(picture).ok());

        // Chunks that are skipped still leave a readable picture with its density.
        QByteArray density(9, '\0');
        qToBigEndian<quint32>(5669, density.data());
        qToBigEndian<quint32>(5669, density.data() + 4);
        density[8] = 1;
        const QByteArray withText = png(2, 1, 8, 2, compressed('\0' + QByteArray(6, '\x40')),
                                        pngChunk("tEXt", "Comment\0hello") + pngChunk("pHYs", density) +
                                            pngChunk("iTXt", "k\0\0\0\0text"));
        QVERIFY(ImageCodec::checkPng(withText).ok());
        const QImage decoded = ImageCodec::decode(withText);
        QCOMPARE(decoded.size(), QSize(2, 1));
        QCOMPARE(decoded.pixel(1, 0), qRgb(0x40, 0x40, 0x40));
        QCOMPARE(decoded.dotsPerMeterX(), 5669);
    }

    void sizesBeyondTheLimits_areRefusedByTheCheckAndTheDecoder() {
        // The largest picture allowed passes the check from a few kilobytes of 1-bit zeros.
        const QByteArray largest = blankGrey(16384, 8192, 1);
        QVERIFY(largest.size() < 64 * 1024);
        QCOMPARE(ImageCodec::checkPng(largest).size, QSize(16384, 8192));

        // Refused from the header alone: the data never gets looked at, let alone inflated.
        const QByteArray someData = compressed(QByteArray(1000, '\0'));
        for (const auto& [w, h] :
             {std::pair{100000u, 100000u}, {16385u, 1u}, {1u, 16385u}, {16384u, 8193u}}) {
            const QString what = QStringLiteral("%1 × %2").arg(w).arg(h);
            const QByteArray bytes = png(w, h, 1, 0, someData);
            const ImageCodec::PngCheck check = ImageCodec::checkPng(bytes);
            QVERIFY2(!check.ok(), qPrintable(what));
            QCOMPARE(check.problem, QStringLiteral("the picture is too large"));
            QVERIFY2(ImageCodec::decode(bytes).isNull(), qPrintable(what));
        }

        // JPEG (the library's thumbnails) is held to the same sides, before Qt allocates.
        const auto jpeg = [](int width) { return encoded(flat(width, 1, Qt::gray), "JPEG"); };
        QVERIFY(ImageCodec::decode(jpeg(16385)).isNull());
        QCOMPARE(ImageCodec::decode(jpeg(16384)).size(), QSize(16384, 1));
        // No other format reaches a decoder: not a plain PGM, not an MNG (whose plugin leaks on
        // damaged streams).
        QVERIFY(ImageCodec::decode("P5 8 1 255\n" + QByteArray(8, '\x7f')).isNull());
        const QByteArray mng = QByteArray::fromBase64(
            "ik1ORw0KGgoAAAANSUhEUgAAAAgAAgAIBAMAAAA2IaO4AAAAMFBMVEUAAQIDBAUGBwgJCgsMDQ4PEBESExQVFhcYGRob"
            "HB0eHyAhIiMkJSYnKCkqKywtLi+tl47vAAAAAnRSTlMAgJsrThgAAAAwSURBVHjaY2BQ9cpn5DYIrWISs05oZVZ0y57A"
            "ohNYNpvBPKZxGaNTes9GJt+i6XsAwlYLzve0V/4AAAAASUVORK5CYII=");
        QVERIFY(ImageCodec::decode(mng).isNull());
    }

    void dataTooShortForTheClaimedSize_failsTheReadNamingTheFile() {
        // 10000 × 10000 RGB inflates from no less than 290 KB: a 100-byte stream cannot hold it,
        // however sound its checksums. Read fails at once instead of promising a 400 MB picture.
        const QByteArray bomb = png(10000, 10000, 8, 2, compressed(QByteArray(30000, '\0')));
        QVERIFY(bomb.size() < 200);
        QCOMPARE(ImageCodec::checkPng(bomb).problem,
                 QStringLiteral("the image data is too short for the picture’s size"));

        QTemporaryDir dir;
        const QString folder = dir.filePath("Bomb.trovix");
        const QString name = guideWith(folder, bomb);
        try {
            GuideStore::read(folder);
            QFAIL("the read succeeded");
        } catch (const Error& error) {
            QCOMPARE(error.code(), Error::Code::corruptFile);
            QVERIFY2(error.message().contains("“" + name + "”") &&
                         error.message().contains("“Bomb.trovix”") && error.message().contains("too short"),
                     qPrintable(error.message()));
            QCOMPARE(QFileInfo(error.path()).fileName(), name);
        }
        QVERIFY(GuideStore::summary(folder)); // still listed

        // Just enough data passes, interlaced or not: the bound never refuses a picture that can
        // inflate to its size.
        for (const bool interlaced : {false, true}) {
            QByteArray exact = blankGrey(4000, 3000, 8);
            if (interlaced) {
                // Seven passes: each row of each pass has its own filter byte, so the raw data grows.
                QByteArray raw;
                static constexpr int x0[] = {0, 4, 0, 2, 0, 1, 0}, dx[] = {8, 8, 4, 4, 2, 2, 1};
                static constexpr int y0[] = {0, 0, 4, 0, 2, 0, 1}, dy[] = {8, 8, 8, 4, 4, 2, 2};
                for (int pass = 0; pass < 7; ++pass) {
                    const int w = (4000 - x0[pass] + dx[pass] - 1) / dx[pass];
                    const int h = (3000 - y0[pass] + dy[pass] - 1) / dy[pass];
                    raw += QByteArray(qsizetype(h) * (1 + w), '\0');
                }
                exact = QByteArray("\x89PNG\r\n\x1a\n", 8) + header(4000, 3000, 8, 0, true) +
                        pngChunk("IDAT", compressed(raw)) + pngChunk("IEND", {});
            }
            QVERIFY2(ImageCodec::checkPng(exact).ok(), interlaced ? "interlaced" : "plain");
            const QImage decoded = ImageCodec::decode(exact);
            QCOMPARE(decoded.size(), QSize(4000, 3000));
            QCOMPARE(decoded.pixel(3999, 2999), qRgb(0, 0, 0));
        }
    }

    // Opaque pictures are stored without alpha and keep their pixel density (the editor's clipboard
    // copy relies on it); Qt reading them back is the fast decoder's test.
    void encode_roundTripsExactlyWithoutAlpha() {
        QImage dense = pattern(300, 170, 1);
        dense.setDotsPerMeterX(5669);
        dense.setDotsPerMeterY(5669);
        const QByteArray png = ImageCodec::encodePng(dense);
        QCOMPARE(colourType(png), 2);
        QCOMPARE(ImageCodec::decode(png), dense);
        QCOMPARE(ImageCodec::decode(png).dotsPerMeterX(), 5669);
    }

    void decode_readsEveryKindOfPng() {
        QImage source = pattern(57, 33, 2).convertToFormat(QImage::Format_ARGB32);
        QImage translucent = source;
        for (int x = 0; x < 57; ++x)
            translucent.setPixel(x, 5, qRgba(x * 4, 0, 0, x * 4));
        const QList<QPair<const char*, QImage>> kinds{
            {"palette", source.convertToFormat(QImage::Format_Indexed8)},
            {"grey 16-bit", source.convertToFormat(QImage::Format_Grayscale16)},
            {"16-bit with alpha", translucent.convertToFormat(QImage::Format_RGBA64)},
        };
        for (const auto& [name, image] : kinds) {
            const QByteArray png = encoded(image);
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
        const QByteArray png = ImageCodec::encodePng(pattern(20, 10, 3));
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

QTEST_GUILESS_MAIN(HostilePicturesTest)
#include "test_hostile_pictures.moc"
