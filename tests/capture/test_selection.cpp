// The region selector's geometry and its overlay's mouse and key handling, headless.
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
    void label_sitsAboveUnlessTheTopIsWithin22Points() {
        QCOMPARE(SelectionView::labelPosition(QRectF(40, 22, 100, 50)), QPointF(40, 76)); // maxY + 4
        QCOMPARE(SelectionView::labelPosition(QRectF(40, 23, 100, 50)), QPointF(40, 3));  // minY − 20
        QCOMPARE(SelectionView::labelPosition(QRectF(0, 0, 10, 10)), QPointF(0, 14));
        QCOMPARE(SelectionView::sizeLabel(QRectF(5, 5, 100.6, 50.2)), QStringLiteral("100 × 50"));
        QCOMPARE(SelectionView::sizeLabel(QRectF(0, 0, 640, 480)), QStringLiteral("640 × 480"));
        QCOMPARE(SelectionView::labelFont().pointSizeF(), 11.0);
        QCOMPARE(SelectionView::labelFont().weight(), QFont::Medium);
        QVERIFY(QFontInfo(SelectionView::labelFont()).fixedPitch());
    }

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

    void drag_completesOnce_withTheCroppedRegion() {
        QScreen* screen = QGuiApplication::primaryScreen();
        const QImage image = gradient(screen->geometry().size() * 2); // as if captured at ratio 2
        RegionSelector selector;
        int calls = 0;
        std::optional<Shot> result;
        selector.begin({{screen, image}}, [&](std::optional<Shot> shot) {
            ++calls;
            result = shot;
        });
        QCOMPARE(selector.windows().size(), 1);
        OverlayWindow* overlay = selector.windows().first();
        QVERIFY(overlay->isVisible());
        QCOMPARE(overlay->geometry(), screen->geometry());
        SelectionView* view = overlay->view();
        QCOMPARE(view->cursor().shape(), Qt::CrossCursor);

        // 3 × 100 points: ignored, the overlay stays and the selection is gone.
        QTest::mousePress(view, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseMove(view, QPoint(13, 110));
        QCOMPARE(view->selection(), QRectF(10, 10, 3, 100));
        QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(13, 110));
        QCOMPARE(calls, 0);
        QVERIFY(!view->selection());
        QVERIFY(selector.isActive());

        // Keys other than Escape do nothing.
        QTest::keyClick(view, Qt::Key_A);
        QTest::keyClick(view, Qt::Key_Return);
        QCOMPARE(calls, 0);

        // Dragged up and to the left: the rectangle is the same.
        QTest::mousePress(view, Qt::LeftButton, {}, QPoint(110, 60));
        QTest::mouseMove(view, QPoint(50, 30));
        QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(calls, 1);
        QVERIFY(result);
        QCOMPARE(result->scale, 2.0);
        QCOMPARE(rgb(result->image), image.copy(20, 20, 200, 100));
        QVERIFY(!selector.isActive());
        QVERIFY(!overlay->isVisible());

        // The completion is gone with the capture: a late Escape or drag calls nothing.
        QTest::keyClick(view, Qt::Key_Escape);
        selector.cancel();
        QCOMPARE(calls, 1);
    }

    void escape_cancels_andTheSelectorIsReusable() {
        QScreen* screen = QGuiApplication::primaryScreen();
        const QImage image = gradient(screen->geometry().size());
        RegionSelector selector;
        QList<std::optional<Shot>> results;
        selector.begin({{screen, image}}, [&](std::optional<Shot> shot) { results.append(shot); });
        OverlayWindow* first = selector.windows().first();
        QTest::mousePress(first->view(), Qt::LeftButton, {}, QPoint(5, 5));
        QTest::mouseMove(first->view(), QPoint(50, 50));
        QTest::keyClick(first->view(), Qt::Key_Escape);
        QCOMPARE(results.size(), 1);
        QVERIFY(!results[0]);
        QVERIFY(!selector.isActive());

        // The same overlay window comes back for the next capture, with no selection left over.
        selector.begin({{screen, image}}, [&](std::optional<Shot> shot) { results.append(shot); });
        QCOMPARE(selector.windows().first(), first);
        QVERIFY(!first->view()->selection());
        QTest::mousePress(first->view(), Qt::LeftButton, {}, QPoint(100, 100));
        QTest::mouseRelease(first->view(), Qt::LeftButton, {}, QPoint(104, 104));
        QCOMPARE(results.size(), 2);
        QVERIFY(results[1]);
        QCOMPARE(results[1]->image.size(), QSize(4, 4));
        QCOMPARE(results[1]->scale, 1.0);

        // No screens: nothing is shown and the capture never completes.
        RegionSelector empty;
        empty.begin({}, [&](std::optional<Shot> shot) { results.append(shot); });
        QVERIFY(!empty.isActive());
        QCOMPARE(empty.windows().size(), 0);
        QCOMPARE(results.size(), 2);
    }

    void overlay_repaintsFromTheFrozenImage_dimmedOutsideTheSelection() {
        QScreen* screen = QGuiApplication::primaryScreen();
        QImage image(screen->geometry().size(), QImage::Format_RGB32);
        image.fill(qRgb(200, 100, 50));
        RegionSelector selector;
        selector.begin({{screen, image}}, [](std::optional<Shot>) {});
        SelectionView* view = selector.windows().first()->view();
        QTest::mousePress(view, Qt::LeftButton, {}, QPoint(100, 100));
        QTest::mouseMove(view, QPoint(300, 200));
        const QImage shown = view->grab().toImage();
        const QRgb dimmed = shown.pixel(50, 300);
        // Black at 0.4 over the picture leaves 0.6 of each channel.
        QVERIFY(std::abs(qRed(dimmed) - 120) <= 1 && std::abs(qGreen(dimmed) - 60) <= 1 &&
                std::abs(qBlue(dimmed) - 30) <= 1);
        QCOMPARE(shown.pixel(200, 150), qRgb(200, 100, 50)); // inside: undimmed
        QVERIFY(shown.pixel(100, 150) == qRgb(255, 255, 255) || shown.pixel(99, 150) == qRgb(255, 255, 255));
        // The label "200 × 100" sits above the rectangle, on black at 0.7: sample below the baseline,
        // where no glyph of it reaches.
        const QFontMetricsF metrics(SelectionView::labelFont(), view);
        const QPointF label = SelectionView::labelPosition(QRectF(100, 100, 200, 100));
        QCOMPARE(label, QPointF(100, 80));
        const QRgb box = shown.pixel(int(label.x()) + 2, int(label.y() + metrics.height()) - 1);
        QVERIFY2(std::abs(qRed(box) - 36) <= 2 && std::abs(qGreen(box) - 18) <= 2,
                 qPrintable(QString::number(box, 16)));
        const QRgb beyond = shown.pixel(
            int(label.x() + metrics.horizontalAdvance(QStringLiteral("200 × 100"))) + 3, int(label.y()) + 2);
        QCOMPARE(beyond, dimmed);
        selector.cancel();
    }
};

QTEST_MAIN(TestSelection)
#include "test_selection.moc"
