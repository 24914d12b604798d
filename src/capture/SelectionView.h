#pragma once

#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QWidget>

#include <functional>
#include <optional>

namespace trovix {

// The content of one overlay: the screen's frozen image, dimmed, with the rectangle being dragged
// out shown undimmed, outlined and labelled with its size. Coordinates are the screen's points,
// origin top-left, y down, so a point times the image's scale is an image pixel.
class SelectionView : public QWidget {
    Q_OBJECT
public:
    // Called with the selected rectangle in points, or with nothing on cancel.
    using Finish = std::function<void(std::optional<QRectF>)>;

    explicit SelectionView(QWidget* parent = nullptr);

    // Shows `image` stretched over `points` (the screen's size in points) and forgets any drag.
    void setImage(const QImage& image, QSizeF points);
    void setOnFinish(Finish onFinish) { m_onFinish = std::move(onFinish); }
    const QImage& image() const { return m_image; }
    std::optional<QRectF> selection() const;

    // The rectangle spanned by two points: origin at the smaller coordinates, size the distances.
    static QRectF rectBetween(QPointF a, QPointF b);
    // A selection counts only when it is more than 3 points in each direction.
    static bool isLargeEnough(const QRectF& rect);
    // "W × H", each truncated to whole points.
    static QString sizeLabel(const QRectF& rect);
    // Top-left of the label's line box: just above the rectangle, or below it when the top is near
    // the screen's top edge.
    static QPointF labelPosition(const QRectF& rect);
    // The label's font: the system's monospaced font at 11 points, medium weight.
    static QFont labelFont();
    // `colours` with the inactive group made the same as the active one (see the constructor).
    static QPalette sameWhenInactive(QPalette colours);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    // Everything the selection paints over the dimmed image: the rectangle, its outline and label.
    QRect selectionArea() const;
    void updateSelection(const QRect& before);
    void finish(std::optional<QRectF> rect);

    QImage m_image;
    double m_scale = 1;
    std::optional<QPointF> m_start;
    std::optional<QPointF> m_current;
    Finish m_onFinish;
    QFont m_font;
};

} // namespace trovix
