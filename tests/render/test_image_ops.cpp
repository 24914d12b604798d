#include "RenderTestSupport.h"
#include "render/ImageOps.h"

#include <QtTest>

using namespace trovix;
using namespace trovix::test;

class TestImageOps : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void scaledDown_sizes_data() {
        QTest::addColumn<QSize>("source");
        QTest::addColumn<double>("maxSide"); // negative: absent
        QTest::addColumn<QSize>("expected");
        QTest::newRow("3024x1964 to 1800") << QSize(3024, 1964) << 1800.0 << QSize(1800, 1169);
        QTest::newRow("portrait") << QSize(1964, 3024) << 1800.0 << QSize(1169, 1800);
        QTest::newRow("never below one pixel") << QSize(1000, 1) << 10.0 << QSize(10, 1);
        QTest::newRow("halves round away from zero") << QSize(3, 1) << 1.5 << QSize(2, 1);
        QTest::newRow("never enlarged") << QSize(500, 300) << 640.0 << QSize(500, 300);
        QTest::newRow("max side absent") << QSize(500, 300) << -1.0 << QSize(500, 300);
        QTest::newRow("max side zero") << QSize(500, 300) << 0.0 << QSize(1, 1);
    }

    void scaledDown_sizes() {
        QFETCH(QSize, source);
        QFETCH(double, maxSide);
        QFETCH(QSize, expected);
        QImage image = noise(source.width(), source.height(), 1, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(2);
        const QImage out = scaledDown(image, maxSide < 0 ? std::nullopt : std::optional(maxSide));
        QCOMPARE(out.size(), expected);
        QVERIFY(!out.hasAlphaChannel());
        QCOMPARE(out.devicePixelRatio(), 1.0);
        QVERIFY(out.constBits() != image.constBits());
        if (expected == source) // unscaled, the pixels come through unchanged
            QCOMPARE(maxDiff(out, image), 0);
    }

    void scaledDown_compositesOverWhite() {
        QImage image(4, 1, QImage::Format_ARGB32);
        image.setPixel(0, 0, qRgba(0, 0, 0, 0));
        image.setPixel(1, 0, qRgba(255, 0, 0, 128));
        image.setPixel(2, 0, qRgba(0, 0, 255, 255));
        image.setPixel(3, 0, qRgba(0, 0, 0, 64));
        const QImage out = scaledDown(image, 640);
        QCOMPARE(out.size(), QSize(4, 1));
        QCOMPARE(out.pixelColor(0, 0), QColor(255, 255, 255));
        QVERIFY(channelNear(out.pixel(1, 0), qRgb(255, 127, 127)));
        QCOMPARE(out.pixelColor(2, 0), QColor(0, 0, 255));
        QVERIFY(channelNear(out.pixel(3, 0), qRgb(191, 191, 191)));
    }

    void scaledDown_averagesRatherThanSkipsPixels() {
        // One-pixel stripes reduced sixfold: every output pixel covers both colours and must come
        // out mid-grey; a filter that samples instead of averaging shows bands of black and white.
        QImage stripes(1200, 600, QImage::Format_RGB32);
        for (int x = 0; x < stripes.width(); ++x)
            for (int y = 0; y < stripes.height(); ++y)
                stripes.setPixel(x, y, x % 2 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
        const QImage out = scaledDown(stripes, 200);
        QCOMPARE(out.size(), QSize(200, 100));
        for (int y = 1; y < out.height() - 1; y += 7)
            for (int x = 1; x < out.width() - 1; x += 3)
                QVERIFY2(
                    std::abs(qGray(out.pixel(x, y)) - 128) < 16,
                    qPrintable(QStringLiteral("(%1, %2) = %3").arg(x).arg(y).arg(qGray(out.pixel(x, y)))));
    }

    void scaledDown_nullImageGivesNothing() { QVERIFY(scaledDown(QImage(), 100).isNull()); }

    void jpegData_bestAndSmallestBothDecode() {
        // A photo-like picture: smooth gradients with some noise.
        QImage image = noise(640, 480, 2);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QRgb n = image.pixel(x, y);
                image.setPixel(
                    x, y,
                    qRgb((x / 3 + qRed(n) / 16) % 256, (y / 2 + qGreen(n) / 16) % 256, ((x + y) / 5) % 256));
            }
        const QByteArray best = jpegData(image, 1.0), smallest = jpegData(image, 0.0);
        const QByteArray middle = jpegData(image, 0.85);
        for (const QByteArray& bytes : {best, smallest, middle}) {
            QVERIFY(bytes.startsWith("\xff\xd8\xff"));
            const QImage decoded = QImage::fromData(bytes, "JPEG");
            QCOMPARE(decoded.size(), image.size());
        }
        QVERIFY2(smallest.size() * 5 < best.size(),
                 qPrintable(QStringLiteral("%1 vs %2").arg(smallest.size()).arg(best.size())));
        QVERIFY(smallest.size() < middle.size() && middle.size() < best.size());
        // Quality 1 stays close to the source; quality 0 does not.
        QVERIFY(meanError(QImage::fromData(best, "JPEG"), image) < 3);
        QVERIFY(meanError(QImage::fromData(smallest, "JPEG"), image) > 10);
        QVERIFY(jpegData(QImage(), 0.5).isEmpty());
    }

private:
    static bool channelNear(QRgb a, QRgb b) {
        return std::abs(qRed(a) - qRed(b)) <= 2 && std::abs(qGreen(a) - qGreen(b)) <= 2 &&
               std::abs(qBlue(a) - qBlue(b)) <= 2;
    }

    static double meanError(const QImage& a, const QImage& b) {
        double sum = 0;
        for (int y = 0; y < a.height(); ++y)
            for (int x = 0; x < a.width(); ++x) {
                const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
                sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) +
                       std::abs(qBlue(p) - qBlue(q));
            }
        return sum / (3.0 * a.width() * a.height());
    }
};

QTEST_MAIN(TestImageOps)
#include "test_image_ops.moc"
