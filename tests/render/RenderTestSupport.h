#pragma once

#include <QImage>
#include <QList>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPen>
#include <QRandomGenerator>

#include <algorithm>
#include <cstdlib>

namespace trovix::test {

// Uncorrelated pixels, so a block's average says something about every pixel in it.
inline QImage noise(int w, int h, quint32 seed = 7, QImage::Format format = QImage::Format_RGB32) {
    QImage image(w, h, QImage::Format_RGB32);
    QRandomGenerator random(seed);
    for (int y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
        for (int x = 0; x < w; ++x)
            line[x] = 0xff000000u | (random.generate() & 0xffffffu);
    }
    return image.convertToFormat(format);
}

inline QImage filled(int w, int h, QColor colour) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

// How much of a pixel is covered by opaque red (255, 59, 48) over a white background, 0 … 1.
inline double redCover(QRgb p) {
    return std::clamp((255 - qGreen(p)) / (255.0 - 59.0), 0.0, 1.0);
}

// Bounding box of the pixels covered more than half by red over white.
inline QRect redBounds(const QImage& image, QRect area = {}) {
    if (area.isNull())
        area = image.rect();
    QRect bounds;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (redCover(image.pixel(x, y)) > 0.5)
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

// Largest difference of any channel between two images over an area (both images the same size).
inline int maxDiff(const QImage& a, const QImage& b, QRect area = {}) {
    if (area.isNull())
        area = a.rect();
    const QImage pa = a.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage pb = b.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    int worst = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb p = pa.pixel(x, y), q = pb.pixel(x, y);
            worst = std::max({worst, std::abs(qAlpha(p) - qAlpha(q)), std::abs(qRed(p) - qRed(q)),
                              std::abs(qGreen(p) - qGreen(q)), std::abs(qBlue(p) - qBlue(q))});
        }
    return worst;
}

// A paint device that records the primitives drawn into it, in the painter's own coordinates, so
// that geometry hidden under other shapes (an arrow's shaft inside its head) can be checked exactly.
class RecordingDevice : public QPaintDevice {
public:
    struct Line {
        QLineF line;
        QPen pen;
    };
    struct Polygon {
        QPolygonF points;
        QPen pen;
        QBrush brush;
    };

    QList<Line> lines;
    QList<Polygon> polygons;
    int other = 0; // anything else drawn (paths, images, text)

    RecordingDevice()
        : m_engine(this) {}
    QPaintEngine* paintEngine() const override { return &m_engine; }

protected:
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
        case PdmWidth:
        case PdmHeight:
            return 1000;
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY:
            return 72;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return int(devicePixelRatioFScale());
        case PdmDepth:
            return 32;
        default:
            return 1000;
        }
    }

private:
    class Engine : public QPaintEngine {
    public:
        explicit Engine(RecordingDevice* device)
            : QPaintEngine(QPaintEngine::AllFeatures)
            , m_device(device) {}
        bool begin(QPaintDevice*) override { return true; }
        bool end() override { return true; }
        void updateState(const QPaintEngineState& state) override {
            if (state.state() & DirtyPen)
                m_pen = state.pen();
            if (state.state() & DirtyBrush)
                m_brush = state.brush();
        }
        void drawLines(const QLineF* lines, int count) override {
            for (int i = 0; i < count; ++i)
                m_device->lines.append({lines[i], m_pen});
        }
        void drawPolygon(const QPointF* points, int count, PolygonDrawMode) override {
            m_device->polygons.append({QPolygonF(QList<QPointF>(points, points + count)), m_pen, m_brush});
        }
        void drawPath(const QPainterPath&) override { ++m_device->other; }
        void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override { ++m_device->other; }
        void drawImage(const QRectF&, const QImage&, const QRectF&, Qt::ImageConversionFlags) override {
            ++m_device->other;
        }
        void drawTextItem(const QPointF&, const QTextItem&) override { ++m_device->other; }
        Type type() const override { return User; }

    private:
        RecordingDevice* m_device;
        QPen m_pen;
        QBrush m_brush;
    };
    mutable Engine m_engine;
};

} // namespace trovix::test
