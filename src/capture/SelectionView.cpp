#include "capture/SelectionView.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

#include <cmath>

namespace trovix {

namespace {

const QColor dimming = QColor::fromRgbF(0, 0, 0, 0.4);
const QColor labelBackground = QColor::fromRgbF(0, 0, 0, 0.7);

} // namespace

QPalette SelectionView::sameWhenInactive(QPalette colours) {
    for (int role = 0; role < QPalette::NColorRoles; ++role)
        colours.setBrush(QPalette::Inactive, QPalette::ColorRole(role),
                         colours.brush(QPalette::Active, QPalette::ColorRole(role)));
    return colours;
}

SelectionView::SelectionView(QWidget* parent)
    : QWidget(parent)
    , m_font(labelFont()) {
    // Every pixel is painted from the image: no background fill, no erase before painting.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::CrossCursor);
    // Qt repaints a widget whose palette differs between active and inactive windows when its window
    // is activated: a second full repaint of a 4K image just after the overlay appears. The view
    // draws no palette colour, so the two groups are made the same.
    setPalette(sameWhenInactive(palette()));
}

void SelectionView::setImage(const QImage& image, QSizeF points) {
    m_image = image;
    m_scale = points.width() > 0 ? image.width() / points.width() : 1;
    // Drawn from explicit source rectangles, not through a device pixel ratio on the image: setting
    // one would copy the pixels the capture still shares.
    m_start.reset();
    m_current.reset();
    update();
}

std::optional<QRectF> SelectionView::selection() const {
    if (!m_start || !m_current)
        return std::nullopt;
    return rectBetween(*m_start, *m_current);
}

QRectF SelectionView::rectBetween(QPointF a, QPointF b) {
    return QRectF(std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::abs(a.x() - b.x()),
                  std::abs(a.y() - b.y()));
}

bool SelectionView::isLargeEnough(const QRectF& rect) {
    return rect.width() > 3 && rect.height() > 3;
}

QString SelectionView::sizeLabel(const QRectF& rect) {
    return QStringLiteral("%1 × %2")
        .arg(qint64(std::trunc(rect.width())))
        .arg(qint64(std::trunc(rect.height())));
}

QPointF SelectionView::labelPosition(const QRectF& rect) {
    if (rect.top() > 22)
        return QPointF(rect.left(), rect.top() - 20);
    return QPointF(rect.left(), rect.bottom() + 4);
}

QFont SelectionView::labelFont() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(11);
    font.setWeight(QFont::Medium);
    return font;
}

void SelectionView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    if (m_image.isNull()) {
        painter.fillRect(event->rect(), Qt::black);
        return;
    }
    // Only the exposed parts: a drag repaints a thin band, not the whole (possibly 4K) screen.
    for (const QRect& area : event->region()) {
        const QRectF source(area.x() * m_scale, area.y() * m_scale, area.width() * m_scale,
                            area.height() * m_scale);
        painter.drawImage(QRectF(area), m_image, source);
        painter.fillRect(area, dimming);
    }
    const std::optional<QRectF> rect = selection();
    if (!rect)
        return;
    painter.save();
    painter.setClipRect(*rect);
    const QRectF source(rect->x() * m_scale, rect->y() * m_scale, rect->width() * m_scale,
                        rect->height() * m_scale);
    painter.drawImage(*rect, m_image, source);
    painter.restore();

    painter.setPen(QPen(Qt::white, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(*rect);

    const QString text = sizeLabel(*rect);
    const QFontMetricsF metrics(m_font, this);
    const QRectF box(labelPosition(*rect), QSizeF(metrics.horizontalAdvance(text), metrics.height()));
    painter.fillRect(box, labelBackground);
    painter.setFont(m_font);
    painter.setPen(Qt::white);
    painter.drawText(QPointF(box.left(), box.top() + metrics.ascent()), text);
}

QRect SelectionView::selectionArea() const {
    const std::optional<QRectF> rect = selection();
    if (!rect)
        return {};
    const QString text = sizeLabel(*rect);
    const QFontMetricsF metrics(m_font, this);
    const QRectF label(labelPosition(*rect), QSizeF(metrics.horizontalAdvance(text), metrics.height()));
    // A margin for the outline's antialiased half pixels and the label's rounding.
    return rect->united(label).toAlignedRect().adjusted(-2, -2, 2, 2);
}

void SelectionView::updateSelection(const QRect& before) {
    update(QRegion(before).united(selectionArea()));
}

void SelectionView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    const QRect before = selectionArea();
    m_start = m_current = event->position();
    updateSelection(before);
}

void SelectionView::mouseMoveEvent(QMouseEvent* event) {
    if (!m_start)
        return;
    const QRect before = selectionArea();
    // Outside the view (even negative) is used as it is: the crop keeps what lies on the image.
    m_current = event->position();
    updateSelection(before);
}

void SelectionView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_start)
        return;
    const QRect before = selectionArea();
    m_current = event->position();
    const QRectF rect = rectBetween(*m_start, *m_current);
    if (isLargeEnough(rect)) {
        finish(rect);
        return;
    }
    m_start.reset();
    m_current.reset();
    updateSelection(before);
}

void SelectionView::finish(std::optional<QRectF> rect) {
    // Called through a copy: the callback may replace or clear the view's own while it runs.
    const Finish onFinish = m_onFinish;
    if (onFinish)
        onFinish(rect);
}

// QWidget repaints itself whole on focus changes; nothing here shows focus, and a repaint of a 4K
// screen costs as much as showing the overlay.
void SelectionView::focusInEvent(QFocusEvent*) {}

void SelectionView::focusOutEvent(QFocusEvent*) {}

void SelectionView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        finish(std::nullopt);
        return;
    }
    QWidget::keyPressEvent(event);
}

} // namespace trovix
