// The region selector's geometry: points to whole pixels at the picture's own scale.
#include "capture/OverlayWindow.h"
#include "capture/RegionSelector.h"
#include "capture/SelectionView.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTest>

using namespace trovix;

namespace {

QImage gradient(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgb(x & 0xff, y & 0xff, (x >> 8) * 16 + (y >> 8)));
    return image;
}

QImage rgb(const Image& image) {
    return image.pixels().convertToFormat(QImage::Format_RGB32);
}

} // namespace

class TestSelection : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void rectangle_spansEitherDragDirection_andCountsAboveThreePoints() {
        QCOMPARE(SelectionView::rectBetween({110, 60}, {10, 10}), QRectF(10, 10, 100, 50));
        QCOMPARE(SelectionView::rectBetween({-5, 20}, {5, 10}), QRectF(-5, 10, 10, 10));
        QVERIFY(SelectionView::isLargeEnough(QRectF(0, 0, 4, 4)));
        QVERIFY(!SelectionView::isLargeEnough(QRectF(0, 0, 3, 100)));
        QVERIFY(!SelectionView::isLargeEnough(QRectF(0, 0, 100, 3)));
        QVERIFY(SelectionView::isLargeEnough(QRectF(0, 0, 3.01, 3.01)));
    }

    void crop_takesItsScaleFromTheImage_andWidensToWholePixels() {
        // 2880 pixels over a 1440-point frame is 2, whatever ratio the screen claims.
        const QImage image = gradient(QSize(2880, 1800));
        const QRect frame(0, 0, 1440, 900);
        QCOMPARE(RegionSelector::scaleOf(image, frame), 2.0);
        QCOMPARE(RegionSelector::pixelRect(QRectF(10, 10, 100, 50), 2), QRect(20, 20, 200, 100));
        QCOMPARE(RegionSelector::pixelRect(QRectF(10.3, 10, 100, 50), 2),
                 QRect(20, 20, 201, 100)); // 20.6 → 20, 220.6 → 221
        QCOMPARE(RegionSelector::pixelRect(QRectF(10.3, 10.7, 1.1, 1.1), 1.5), QRect(15, 16, 3, 2));

        const std::optional<Shot> shot = RegionSelector::crop(image, frame, QRectF(10, 10, 100, 50));
        QVERIFY(shot);
        QCOMPARE(shot->scale, 2.0);
        QCOMPARE(shot->image.size(), QSize(200, 100));
        QCOMPARE(rgb(shot->image), image.copy(20, 20, 200, 100));

        // Only what lies on the image is kept; nothing at all is a failure.
        const std::optional<Shot> edge =
            RegionSelector::crop(image, frame, QRectF(-10, 1400 / 2.0 - 10, 30, 500));
        QVERIFY(edge);
        QCOMPARE(edge->image.size(), QSize(40, 420)); // pixels (0, 1380) to (40, 1800)
        QVERIFY(!RegionSelector::crop(image, frame, QRectF(2000, 10, 50, 50)));
        QVERIFY(!RegionSelector::crop(QImage(), frame, QRectF(0, 0, 50, 50)));
    }

};

QTEST_MAIN(TestSelection)
#include "test_selection.moc"
