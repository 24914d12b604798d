#include "editor/CanvasView.h"

#include "editor/TextPrompt.h"
#include "render/Renderer.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

#include <cmath>

namespace trovix {

namespace {

// How far beyond the rectangle of its two points each drag mark can paint, in points, including a
// point for antialiasing: the arrow's 18-point head around the tip and its round caps, the outlines'
// half line widths, the target's 3-point growth.
double reach(Kind kind) {
    switch (kind) {
    case Kind::arrow:
        return 18 + 2 + 2;
    case Kind::rect:
        return 1.5 + 1.5;
    case Kind::highlight:
        return 1;
    case Kind::target:
        return 3 + 2 + 1;
    default:
        return 1;
    }
}

QRectF spanned(QPointF a, QPointF b) {
    return QRectF(a, b).normalized();
}

} // namespace

CanvasView::CanvasView(const Image& base, double scale, const QList<Annotation>& annotations, QWidget* parent)
    : QWidget(parent)
    , m_base(base)
    , m_pixels(base.pixels())
    , m_scale(scale)
    , m_annotations(annotations) {
    const double s = scale > 0 && std::isfinite(scale) ? scale : 1;
    m_pointSize = QSizeF(m_pixels.width() / s, m_pixels.height() / s);
    setFixedSize(sizeHint());
    setCursor(Qt::CrossCursor);
}

QSize CanvasView::sizeHint() const {
    return QSize(int(std::ceil(m_pointSize.width())), int(std::ceil(m_pointSize.height())));
}

void CanvasView::undo() {
    for (qsizetype i = m_annotations.size() - 1; i >= 0; --i) {
        const Kind kind = m_annotations[i].kind;
        if (kind == Kind::ring || kind == Kind::target)
            continue;
        const QRect area = paintedArea(m_annotations[i]);
        m_annotations.removeAt(i);
        committedChanged(area);
        return;
    }
}

void CanvasView::append(const Annotation& annotation) {
    m_annotations.append(annotation);
    committedChanged(paintedArea(annotation));
}

void CanvasView::committedChanged(const QRect& area) {
    if (area.isEmpty())
        m_cacheValid = false;
    else
        m_staleArea += area;
    repaintArea(area);
}

void CanvasView::repaintArea(const QRect& area) {
    if (area.isEmpty())
        update();
    else
        update(area);
}

QRectF CanvasView::pixelatedArea(const Annotation& blur) const {
    if (m_pointSize.isEmpty())
        return {};
    const double sx = m_pixels.width() / m_pointSize.width();
    const double sy = m_pixels.height() / m_pointSize.height();
    const QRectF r = spanned(blur.p1, blur.p2);
    const QRect pixels =
        QRectF(r.x() * sx, r.y() * sy, r.width() * sx, r.height() * sy).toAlignedRect() & m_pixels.rect();
    if (pixels.width() <= 1 || pixels.height() <= 1)
        return {};
    return QRectF(pixels.x() / sx, pixels.y() / sy, pixels.width() / sx, pixels.height() / sy);
}

QRect CanvasView::paintedArea(const Annotation& a) const {
    QRectF area;
    switch (a.kind) {
    case Kind::text:
    case Kind::step:
        return {};
    case Kind::ring:
        area = QRectF(a.p1 - QPointF(22, 22), QSizeF(44, 44)).adjusted(-3, -3, 3, 3);
        break;
    case Kind::blur: {
        // Widened to whole pixels of the base: at most one pixel, which is a point or less at scale 1
        // and above; a second point covers scaled drawing's edge.
        const double pixel = m_scale > 0 && m_scale < 1 ? 1 / m_scale : 1;
        const double grow = pixel + 1;
        area = spanned(a.p1, a.p2).adjusted(-grow, -grow, grow, grow);
        break;
    }
    default: {
        const double grow = reach(a.kind);
        area = spanned(a.p1, a.p2).adjusted(-grow, -grow, grow, grow);
        break;
    }
    }
    // Only the canvas itself is ever painted (this also keeps far-off points from overflowing). A
    // mark wholly off the picture gives an empty area, which callers take for "everything".
    const QRectF bounded = area & QRectF(QPointF(-2, -2), QSizeF(sizeHint()) + QSizeF(4, 4));
    if (bounded.isEmpty())
        return {};
    return bounded.toAlignedRect().adjusted(-1, -1, 1, 1);
}

void CanvasView::ensureCache() {
    const qreal dpr = devicePixelRatioF();
    const QSize size(int(std::ceil(m_pointSize.width() * dpr)), int(std::ceil(m_pointSize.height() * dpr)));
    if (!m_cacheValid || m_cache.size() != size || m_cache.devicePixelRatio() != dpr) {
        if (m_cache.size() != size)
            m_cache = QImage(size, QImage::Format_ARGB32_Premultiplied);
        m_cache.setDevicePixelRatio(dpr);
        m_staleArea = QRegion(QRect(QPoint(), sizeHint()));
        m_cacheValid = true;
    }
    if (m_staleArea.isEmpty())
        return;
    // Drawing the whole list clipped to the stale area gives the same pixels there as drawing it
    // everywhere: blurs keep their block grid, and the rest of the picture is left alone.
    QPainter painter(&m_cache);
    painter.setClipRegion(m_staleArea);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(m_staleArea.boundingRect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::Antialiasing);
    Renderer::draw(m_pixels, m_pointSize, m_annotations, painter);
    m_staleArea = QRegion();
}

void CanvasView::paintEvent(QPaintEvent* event) {
    if (m_pixels.isNull())
        return;
    ensureCache();
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.setRenderHint(QPainter::Antialiasing);
    // The cache already holds the base and every committed mark; it is passed as the picture to draw
    // under the draft, which equals drawing the whole list from the base.
    const QSizeF cacheSize(m_cache.width() / m_cache.devicePixelRatio(),
                           m_cache.height() / m_cache.devicePixelRatio());
    if (!m_draft || m_draft->kind == Kind::blur) {
        Renderer::draw(m_cache, cacheSize, {}, painter);
    } else {
        Renderer::draw(m_cache, cacheSize, {*m_draft}, painter);
    }
    if (m_draft && m_draft->kind == Kind::blur) {
        // A blur shows the screenshot itself, never the marks under it, so it is drawn from the base;
        // it covers its whole area, which limits the drawing to it.
        const QRectF area = pixelatedArea(*m_draft);
        if (!area.isEmpty()) {
            painter.setClipRect(area, Qt::IntersectClip);
            Renderer::draw(m_pixels, m_pointSize, {*m_draft}, painter);
        }
    }
}

void CanvasView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    const QPointF p = event->position();
    switch (m_kind) {
    case Kind::text: {
        const std::optional<QString> text = TextPrompt::ask(this);
        if (text && !text->isEmpty())
            append(Annotation{Kind::text, p, QPointF(), *text, 0});
        break;
    }
    case Kind::step: {
        const auto badges = std::count_if(m_annotations.cbegin(), m_annotations.cend(),
                                          [](const Annotation& a) { return a.kind == Kind::step; });
        append(Annotation{Kind::step, p, QPointF(), QString(), std::int64_t(badges) + 1});
        break;
    }
    default: {
        if (m_draft)
            repaintArea(paintedArea(*m_draft));
        m_draft = Annotation{m_kind, p, p, QString(), 0};
        repaintArea(paintedArea(*m_draft));
        break;
    }
    }
}

void CanvasView::mouseMoveEvent(QMouseEvent* event) {
    if (!m_draft)
        return;
    const QRect before = paintedArea(*m_draft);
    m_draft->p2 = event->position(); // not clamped: a drag may end beyond the picture
    update(QRegion(before) | paintedArea(*m_draft));
}

void CanvasView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_draft)
        return;
    // The release point is not read: the mark ends where it was last dragged to.
    const Annotation draft = *m_draft;
    m_draft.reset();
    const QPointF d = draft.p2 - draft.p1;
    if (std::hypot(d.x(), d.y()) > minimumDragLength)
        append(draft);
    else
        repaintArea(paintedArea(draft));
}

} // namespace trovix
