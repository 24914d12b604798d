#include "render/Image.h"
#include "render/ImageCodec.h"
#include "render/ImageOps.h"
#include "render/Renderer.h"
#include "support/TestFiles.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QtTest>

#include <algorithm>
#include <cmath>

using namespace trovix;

namespace {

// Uncorrelated pixels, so a block's average says something about every pixel in it.
QImage noise(int w, int h, quint32 seed = 7, QImage::Format format = QImage::Format_RGB32) {
    QImage image(w, h, QImage::Format_RGB32);
    QRandomGenerator random(seed);
    for (int y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
        for (int x = 0; x < w; ++x)
            line[x] = 0xff000000u | (random.generate() & 0xffffffu);
    }
    return image.convertToFormat(format);
}

// How much of a pixel is covered by opaque red (255, 59, 48) over a white background, 0 … 1.
double redCover(QRgb p) {
    return std::clamp((255 - qGreen(p)) / (255.0 - 59.0), 0.0, 1.0);
}

// Bounding box of the pixels covered more than half by red over white.
QRect redBounds(const QImage& image, QRect area = {}) {
    if (area.isNull())
        area = image.rect();
    QRect bounds;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (redCover(image.pixel(x, y)) > 0.5)
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

int maxDiff(const QImage& a, const QImage& b, QRect area = {}) {
    return testing::maxDifference(a, b, area);
}

Annotation mark(Kind kind, QPointF p1, QPointF p2 = {}, QString text = {}, std::int64_t number = 0) {
    return Annotation{kind, p1, p2, std::move(text), number};
}

// The expected colour of a block: the rounded average of its premultiplied pixels.
QRgb blockAverage(const QImage& premultiplied, QRect block) {
    quint64 s[4] = {};
    for (int y = block.top(); y <= block.bottom(); ++y)
        for (int x = block.left(); x <= block.right(); ++x) {
            const quint32 p = reinterpret_cast<const quint32*>(premultiplied.constScanLine(y))[x];
            s[0] += p >> 24, s[1] += (p >> 16) & 0xff, s[2] += (p >> 8) & 0xff, s[3] += p & 0xff;
        }
    const quint64 n = quint64(block.width()) * block.height();
    const auto avg = [n](quint64 v) { return int((v + n / 2) / n); };
    return qRgba(avg(s[1]), avg(s[2]), avg(s[3]), avg(s[0]));
}

int channelDiff(QRgb a, QRgb b) {
    return std::max({std::abs(qAlpha(a) - qAlpha(b)), std::abs(qRed(a) - qRed(b)),
                     std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
}

// Checks that `region` (pixels) of `out` holds blocks of `block` pixels aligned to the region's
// top-left, each the average of the base's pixels, and that nothing outside changed.
void verifyPixelated(const QImage& base, const QImage& out, QRect region, int block) {
    const QImage pm = base.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage got = out.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    for (int by = region.top(); by <= region.bottom(); by += block)
        for (int bx = region.left(); bx <= region.right(); bx += block) {
            const QRect cell = QRect(bx, by, block, block) & region;
            const QRgb want = blockAverage(pm, cell);
            for (int y = cell.top(); y <= cell.bottom(); ++y)
                for (int x = cell.left(); x <= cell.right(); ++x)
                    if (channelDiff(got.pixel(x, y), want) > 1)
                        QFAIL(qPrintable(
                            QStringLiteral("pixel (%1, %2) of block at (%3, %4) is not its average")
                                .arg(x)
                                .arg(y)
                                .arg(bx)
                                .arg(by)));
        }
    for (int y = 0; y < out.height(); ++y)
        for (int x = 0; x < out.width(); ++x)
            if (!region.contains(x, y) && got.pixel(x, y) != pm.pixel(x, y))
                QFAIL(qPrintable(QStringLiteral("pixel (%1, %2) outside the blur changed").arg(x).arg(y)));
}

QList<Annotation> everyKind() {
    return {
        mark(Kind::highlight, {20, 20}, {140, 60}),
        mark(Kind::blur, {160, 20}, {230, 80}),
        mark(Kind::arrow, {30, 150}, {120, 100}),
        mark(Kind::rect, {150, 100}, {230, 170}),
        mark(Kind::text, {20, 180}, {}, QStringLiteral("Save the file")),
        mark(Kind::step, {260, 40}, {}, {}, 7),
        mark(Kind::ring, {270, 140}),
        mark(Kind::target, {240, 190}, {290, 210}),
    };
}

} // namespace

class TestRenderer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void render_keepsTheBaseDevicePixelRatioOutOfTheDrawing() {
        // A base marked as a 2x image must not make the painter scale twice.
        QImage base = testing::flat(200, 200, Qt::white);
        base.setDevicePixelRatio(2);
        const QImage out = Renderer::render(base, {mark(Kind::rect, {10, 10}, {40, 40})}, 2);
        QCOMPARE(redBounds(out), QRect(17, 17, 66, 66)); // (10 - 1.5)·2 … (40 + 1.5)·2
    }

    void arrow_shortArrowsDrawNothingUpToTwoPoints() {
        const QImage base = testing::flat(100, 100, Qt::white);
        for (QPointF tip : {QPointF(50, 50), QPointF(48.59, 51.41)})
            QCOMPARE(maxDiff(Renderer::render(base, {mark(Kind::arrow, {50, 50}, tip)}, 1), base), 0);
    }

    void blur_blockSizeFollowsScaleWithAFloorOf8Pixels() {
        for (const auto& [scale, block] : {std::pair{0.5, 8}, {2.0, 20}}) {
            const QImage base = noise(240, 200, 3);
            // A region of 5⅜ × 3⅝ blocks, so the last column and row of blocks are cut short.
            const QRect region(10, 6, 5 * block + 3, 3 * block + 5);
            const QRectF points(QPointF(region.topLeft()) / scale, QSizeF(region.size()) / scale);
            const QImage out =
                Renderer::render(base, {mark(Kind::blur, points.topLeft(), points.bottomRight())}, scale);
            verifyPixelated(base, out, region, block);
        }
    }

    void blur_regionIsWidenedToWholePixelsAndClippedToTheImage() {
        const QImage base = noise(100, 80, 5);
        auto blurred = [&](QPointF p1, QPointF p2) {
            return Renderer::render(base, {mark(Kind::blur, p1, p2)}, 1);
        };

        verifyPixelated(base, blurred({10.3, 10.7}, {50.6, 40.2}), QRect(QPoint(10, 10), QPoint(50, 40)), 10);
        // Partly outside: the blocks start at the image's corner, where the crop starts.
        verifyPixelated(base, blurred({-20, -15}, {33, 27}), QRect(0, 0, 33, 27), 10);
        // Wholly outside, or at most one pixel wide or high once widened: nothing.
        QCOMPARE(maxDiff(blurred({-50, -50}, {-5, -5}), base), 0);
        QCOMPARE(maxDiff(blurred({10, 10}, {11, 60}), base), 0);
        QCOMPARE(maxDiff(blurred({99.5, 10}, {130, 60}), base), 0);
        // Half a pixel either side of an edge widens to two pixels: drawn.
        verifyPixelated(base, blurred({10.5, 10}, {11.5, 60}), QRect(10, 10, 2, 50), 10);
    }

    void blur_readsTheBaseNotEarlierAnnotations() {
        const QImage base = noise(200, 150, 9);
        const Annotation arrow = mark(Kind::arrow, {20, 60}, {180, 60});
        const Annotation blur = mark(Kind::blur, {10, 40}, {190, 80});
        const QImage blurOnly = Renderer::render(base, {blur}, 1);
        const QImage hidden = Renderer::render(base, {arrow, blur}, 1);
        const QImage shown = Renderer::render(base, {blur, arrow}, 1);
        QCOMPARE(maxDiff(hidden, blurOnly), 0);
        for (int x = 30; x < 160; x += 10)
            QCOMPARE(shown.pixelColor(x, 60), QColor(255, 59, 48));
    }

    void shapes_drawTheSameWithTheirCornersInAnyOrder() {
        const QImage base = noise(200, 160, 11);
        const QPointF a(30.5, 20.25), b(150.75, 110.5);
        for (Kind kind : {Kind::rect, Kind::highlight, Kind::blur, Kind::target}) {
            const QImage reference = Renderer::render(base, {mark(kind, a, b)}, 1.5);
            QVERIFY(maxDiff(reference, base) > 0);
            for (auto [p1, p2] : {std::pair{b, a}, std::pair{QPointF(a.x(), b.y()), QPointF(b.x(), a.y())}})
                QCOMPARE(maxDiff(Renderer::render(base, {mark(kind, p1, p2)}, 1.5), reference), 0);
        }
    }

    void shapes_colourAndPlacement() {
        const QImage white = testing::flat(300, 200, Qt::white);
        const auto at = [](const QImage& image, int x, int y) { return image.pixelColor(x, y); };

        // target: the frame grown by 3 on every side, rounded, filled at 0.12, a 4-point outline.
        for (double scale : {1.0, 2.0}) {
            QImage base = testing::flat(int(300 * scale), int(200 * scale), Qt::white);
            const QImage target = Renderer::render(base, {mark(Kind::target, {120, 90}, {20, 30})}, scale);
            const int s = int(scale);
            QCOMPARE(redBounds(target, QRect(0, 60 * s, 300 * s, 1)), QRect(15 * s, 60 * s, 110 * s, 1));
            QCOMPARE(redBounds(target, QRect(70 * s, 0, 1, 200 * s)), QRect(70 * s, 25 * s, 1, 70 * s));
            QCOMPARE(at(target, 14 * s - 1, 60 * s), QColor(Qt::white));
            // Rounded: the grown rectangle's very corner stays clear.
            QVERIFY(redCover(target.pixel(16 * s, 26 * s)) < 0.5);
        }

        // ring: radius 22 about p1, fill 0.15, 4-point outline; p2 plays no part.
        const QImage ring = Renderer::render(white, {mark(Kind::ring, {100, 100}, {0, 0})}, 1);
        QCOMPARE(maxDiff(Renderer::render(white, {mark(Kind::ring, {100, 100}, {300, 7})}, 1), ring), 0);
        QCOMPARE(redBounds(ring), QRect(QPoint(76, 76), QPoint(123, 123))); // 22 + 2 either side
        QCOMPARE(at(ring, 100, 78), QColor(255, 59, 48));
    }

    void badge_centredLabelOnAFixedDisc() {
        const QImage black = testing::flat(200, 100, Qt::black);
        for (auto [number, overhangs] : {std::pair<std::int64_t, bool>{0, false}, {-123456, true}}) {
            const QImage out = Renderer::render(black, {mark(Kind::step, {100, 50}, {}, {}, number)}, 1);
            QRect disc, label;
            double sx = 0, sy = 0, n = 0;
            for (int y = 0; y < out.height(); ++y)
                for (int x = 0; x < out.width(); ++x) {
                    const QRgb p = out.pixel(x, y);
                    if (qRed(p) > 128 && qGreen(p) < 100)
                        disc |= QRect(x, y, 1, 1);
                    if (qGreen(p) > 128) {
                        label |= QRect(x, y, 1, 1);
                        sx += (x + 0.5) * qGreen(p), sy += (y + 0.5) * qGreen(p), n += qGreen(p);
                    }
                }
            QCOMPARE(disc, QRect(87, 37, 26, 26)); // the disc keeps its size
            // Ink centred on the disc's centre: by weight for the symmetric "0", by extent otherwise.
            const QPointF centre = number == 0 ? QPointF(sx / n, sy / n) : QRectF(label).center();
            QVERIFY2(std::abs(centre.x() - 100) < 1.5 && std::abs(centre.y() - 50) < 1.5,
                     qPrintable(QStringLiteral("%1, %2").arg(centre.x()).arg(centre.y())));
            QCOMPARE(label.left() < disc.left(), overhangs);
        }
    }

    void draw_withAClipDrawsOnlyThatPartIdentically() {
        // Partial repaints (the canvas while dragging) must match the full picture inside the clip,
        // blur blocks included, at 1:1 and with a base at twice the painter's resolution.
        for (double scale : {1.0, 2.0}) {
            const QImage base = noise(int(300 * scale), int(220 * scale), 17);
            const QSizeF points(300, 220);
            const QList<Annotation> list = everyKind();
            const auto paint = [&](const QRect& clip) {
                QImage target(300, 220, QImage::Format_ARGB32_Premultiplied);
                target.fill(Qt::transparent);
                QPainter painter(&target);
                if (!clip.isNull())
                    painter.setClipRect(clip);
                Renderer::draw(base, points, list, painter);
                return target;
            };
            const QImage full = paint({});
            const QRect clip(173, 33, 41, 29); // cuts through the blur's blocks
            const QImage part = paint(clip);
            QCOMPARE(maxDiff(part, full, clip), 0);
            QCOMPARE(qAlpha(part.pixel(clip.left() - 1, clip.top())), 0);
            QCOMPARE(qAlpha(part.pixel(clip.right() + 1, clip.bottom() + 1)), 0);
        }
    }

    // A picture marked 2x comes out opaque, at ratio 1 and in its own pixels; one already small enough
    // keeps them unchanged. The sizes and their rounding are the exporter's test.
    void scaledDown_givesAnOpaqueCopyAtRatioOne() {
        QImage image = noise(500, 300, 1, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(2);
        for (const auto& [maxSide, expected] : {std::pair{640.0, QSize(500, 300)}, {0.0, QSize(1, 1)}}) {
            const QImage out = scaledDown(image, maxSide);
            QCOMPARE(out.size(), expected);
            QVERIFY(!out.hasAlphaChannel());
            QCOMPARE(out.devicePixelRatio(), 1.0);
            QVERIFY(out.constBits() != image.constBits());
        }
        QCOMPARE(maxDiff(scaledDown(image, 640), image), 0);
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

    void scaledDown_storedPngShrinksWhileDecoding() {
        // A screenshot known only by its PNG comes out as its decoded pixels would, and its
        // full-size pixels are never made.
        const QImage shot = noise(1000, 700, 3);
        const Image stored = Image::fromPng(ImageCodec::encodePng(shot), shot.size());
        const QImage shrunk = scaledDown(stored, 300);
        QVERIFY(!stored.hasPixels());
        QCOMPARE(shrunk, scaledDown(shot, 300));

        // Partly covered pixels count by the part covered: black, white, black into two pixels
        // gives each one black pixel and half the white one, a third of white.
        QImage line(3, 1, QImage::Format_RGB32);
        line.fill(Qt::black);
        line.setPixel(1, 0, qRgb(255, 255, 255));
        const QImage two = scaledDown(line, 2);
        QCOMPARE(two.pixel(0, 0), qRgb(85, 85, 85));
        QCOMPARE(two.pixel(1, 0), qRgb(85, 85, 85));

        // RGB32's top byte means nothing (X servers leave it 0): the colour comes through as it is.
        QImage grabbed(40, 30, QImage::Format_RGB32);
        for (int y = 0; y < grabbed.height(); ++y)
            std::fill_n(reinterpret_cast<quint32*>(grabbed.scanLine(y)), grabbed.width(), 0x00204060u);
        QCOMPARE(scaledDown(grabbed, 20).pixel(5, 5), qRgb(0x20, 0x40, 0x60));
    }
};

QTEST_MAIN(TestRenderer)
#include "test_renderer.moc"
