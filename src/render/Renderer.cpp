#include "render/Renderer.h"

#include "render/Pixelate.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace trovix {

namespace {

const QColor red(255, 59, 48);
const QColor yellow(255, 204, 0);
const QColor white(255, 255, 255);

QColor withAlpha(QColor colour, double alpha) {
    colour.setAlphaF(float(alpha));
    return colour;
}

QRectF rectOf(const Annotation& a) {
    return QRectF(a.p1, a.p2).normalized();
}

// The desktop's UI font in bold, sized in pixels so that `size` is measured in the painter's own
// units: 20 means 20 annotation points whatever the screen's or the image's DPI, and the picture
// rendered at scale 2 is the 1:1 canvas drawing enlarged. Unhinted, so glyph shapes and advances
// scale linearly and the canvas and the rendered picture lay text out alike.
QFont boldFont(const QFont& uiFont, int size) {
    QFont font = uiFont;
    font.setPixelSize(size);
    font.setWeight(QFont::Bold);
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

// Fonts are looked up once per draw call, and only when text is drawn.
class Fonts {
public:
    const QFont& text() { return font(m_text, 20); }
    const QFont& badge() { return font(m_badge, 14); }

private:
    const QFont& font(std::optional<QFont>& slot, int size) {
        if (!slot) {
            if (!m_ui)
                m_ui = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
            slot = boldFont(*m_ui, size);
        }
        return *slot;
    }
    std::optional<QFont> m_ui, m_text, m_badge;
};

void drawArrow(const Annotation& a, QPainter& painter) {
    const double dx = a.p2.x() - a.p1.x(), dy = a.p2.y() - a.p1.y();
    if (!(std::hypot(dx, dy) > 2))
        return;
    const double theta = std::atan2(dy, dx);
    constexpr double head = 18, shortening = 10.8, halfAngle = std::numbers::pi / 7;
    const QPointF tip = a.p2;

    painter.setPen(QPen(red, 4, Qt::SolidLine, Qt::RoundCap, Qt::MiterJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawLine(QLineF(a.p1, tip - shortening * QPointF(std::cos(theta), std::sin(theta))));

    const QPointF corners[3] = {
        tip,
        tip - head * QPointF(std::cos(theta - halfAngle), std::sin(theta - halfAngle)),
        tip - head * QPointF(std::cos(theta + halfAngle), std::sin(theta + halfAngle)),
    };
    painter.setPen(Qt::NoPen);
    painter.setBrush(red);
    painter.drawPolygon(corners, 3, Qt::WindingFill);
}

void drawRect(const Annotation& a, QPainter& painter) {
    painter.setPen(QPen(red, 3, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rectOf(a));
}

void drawHighlight(const Annotation& a, QPainter& painter) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(withAlpha(yellow, 0.4));
    painter.drawRect(rectOf(a));
}

void drawRing(const Annotation& a, QPainter& painter) {
    const QRectF circle(a.p1.x() - 22, a.p1.y() - 22, 44, 44);
    painter.setPen(Qt::NoPen);
    painter.setBrush(withAlpha(red, 0.15));
    painter.drawEllipse(circle);
    painter.setPen(QPen(red, 4));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(circle);
}

void drawTarget(const Annotation& a, QPainter& painter) {
    // Qt clamps the corner radius to half a side, so tiny frames become ellipses, never fail.
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    path.addRoundedRect(rectOf(a).adjusted(-3, -3, 3, 3), 6, 6);
    painter.fillPath(path, withAlpha(red, 0.12));
    painter.strokePath(path, QPen(red, 4));
}

void drawText(const QString& text, QPointF at, QPainter& painter, Fonts& fonts) {
    painter.setFont(fonts.text());
    painter.setPen(red);
    // A zero-size box that does not clip puts the first line box's top-left at `at`; later lines
    // (text read from a file may hold line breaks) follow below it.
    painter.drawText(QRectF(at, QSizeF(0, 0)),
                     Qt::AlignLeft | Qt::AlignTop | Qt::TextDontClip | Qt::TextExpandTabs, text);
}

void drawBadge(std::int64_t number, QPointF centre, QPainter& painter, Fonts& fonts) {
    const QRectF disc(centre.x() - 13, centre.y() - 13, 26, 26);
    painter.setPen(Qt::NoPen);
    painter.setBrush(red);
    painter.drawEllipse(disc);

    const QString label = QString::number(number);
    const QFont& font = fonts.badge();
    const QFontMetricsF metrics(font);
    const double w = metrics.horizontalAdvance(label), h = metrics.height();
    painter.setFont(font);
    painter.setPen(white);
    // The line box is centred on the disc; the label may overhang it.
    painter.drawText(QPointF(disc.center().x() - w / 2, disc.center().y() - h / 2 + metrics.ascent()), label);
}

// Pixelates the base under `rect` (points) and draws the blocks exactly over the pixels they
// replace. `visible` (points) limits the work to what the painter can show.
void drawPixelated(const QImage& base, QSizeF size, const QRectF& rect, const QRectF& visible,
                   QPainter& painter) {
    if (base.isNull() || !(size.width() > 0) || !(size.height() > 0))
        return;
    const double sx = base.width() / size.width(), sy = base.height() / size.height();

    const QRectF pixels(rect.x() * sx, rect.y() * sy, rect.width() * sx, rect.height() * sy);
    // Widen outwards to whole pixels; guard the int conversion against absurd coordinates.
    const auto whole = [](const QRectF& r, const QRect& within) {
        const QRectF bounded = r & QRectF(within);
        if (bounded.isEmpty())
            return QRect();
        const int left = int(std::floor(bounded.left())), top = int(std::floor(bounded.top()));
        const int right = int(std::ceil(bounded.right())), bottom = int(std::ceil(bounded.bottom()));
        return QRect(QPoint(left, top), QPoint(right - 1, bottom - 1));
    };
    const QRect region = whole(pixels, base.rect());
    if (region.width() <= 1 || region.height() <= 1)
        return;
    // One pixel of margin, so that blocks merely touching the visible area are drawn too.
    const QRect wanted =
        whole(QRectF(visible.x() * sx, visible.y() * sy, visible.width() * sx, visible.height() * sy)
                  .adjusted(-1, -1, 1, 1),
              base.rect());

    const Pixelated out = pixelate(base, region, std::max(10 * sx, 8.0), wanted);
    if (out.image.isNull())
        return;
    const QRectF destination(out.origin.x() / sx, out.origin.y() / sy, out.image.width() / sx,
                             out.image.height() / sy);
    // Nearest-neighbour sampling and no edge antialiasing: at whole-number scales every block pixel
    // lands on exactly one target pixel, so the block edges stay crisp.
    painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.drawImage(destination, out.image);
}

// Draws the base into (0, 0, size). Smoothing is only needed when the base does not land 1:1 on
// device pixels (the canvas showing a scale-2 picture on a scale-1 screen, say).
void drawBase(const QImage& base, QSizeF size, QPainter& painter) {
    if (base.isNull())
        return;
    const QRectF target(QPointF(0, 0), size);
    const QTransform device = painter.deviceTransform();
    const QRectF mapped = device.mapRect(target);
    const auto whole = [](double v) { return std::abs(v - std::round(v)) < 1e-6; };
    const bool oneToOne =
        device.type() <= QTransform::TxScale && std::abs(mapped.width() - base.width()) < 1e-6 &&
        std::abs(mapped.height() - base.height()) < 1e-6 && whole(mapped.left()) && whole(mapped.top());
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !oneToOne);
    painter.drawImage(target, base);
}

void drawAnnotations(const QImage& base, QSizeF size, const QList<Annotation>& annotations,
                     QPainter& painter) {
    if (annotations.isEmpty())
        return;
    QRectF visible(QPointF(0, 0), size);
    if (painter.hasClipping())
        visible &= painter.clipBoundingRect();
    Fonts fonts;
    for (const Annotation& a : annotations) {
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setRenderHint(QPainter::TextAntialiasing, true);
        switch (a.kind) {
        case Kind::arrow:
            drawArrow(a, painter);
            break;
        case Kind::rect:
            drawRect(a, painter);
            break;
        case Kind::highlight:
            drawHighlight(a, painter);
            break;
        case Kind::blur:
            drawPixelated(base, size, rectOf(a), visible, painter);
            break;
        case Kind::text:
            drawText(a.text, a.p1, painter, fonts);
            break;
        case Kind::step:
            drawBadge(a.number, a.p1, painter, fonts);
            break;
        case Kind::ring:
            drawRing(a, painter);
            break;
        case Kind::target:
            drawTarget(a, painter);
            break;
        }
        painter.restore();
    }
}

} // namespace

QImage Renderer::render(const QImage& base, const QList<Annotation>& annotations, double scale) {
    if (base.isNull() || !(scale > 0) || !std::isfinite(scale))
        return {};
    // The base fills the whole picture 1:1, so it is copied rather than drawn: one pass over the
    // pixels, no resampling.
    QImage out = base.format() == QImage::Format_ARGB32_Premultiplied
                     ? base.copy()
                     : base.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (out.isNull())
        return {};
    // A device pixel ratio or DPI carried over from the base must not rescale the painter.
    out.setDevicePixelRatio(1);
    if (annotations.isEmpty())
        return out;
    QPainter painter(&out);
    if (!painter.isActive())
        return {};
    painter.scale(scale, scale);
    drawAnnotations(base, QSizeF(base.width() / scale, base.height() / scale), annotations, painter);
    return out;
}

void Renderer::draw(const QImage& base, QSizeF size, const QList<Annotation>& annotations,
                    QPainter& painter) {
    painter.save();
    drawBase(base, size, painter);
    painter.restore();
    drawAnnotations(base, size, annotations, painter);
}

} // namespace trovix
