#pragma once

#include "document/Annotation.h"
#include "render/Image.h"

#include <QImage>
#include <QList>
#include <QRegion>
#include <QSizeF>
#include <QWidget>

#include <optional>

namespace trovix {

// The surface on which one step's screenshot is marked up. One widget point is one annotation point
// (the canvas is shown 1:1, without zoom), so mouse positions are stored in annotations unchanged.
//
// Drags with the arrow, box, highlight and pixelate tools show a live draft and commit it on release
// when it is longer than 4 points; the text tool asks for a text; the step tool drops a numbered
// badge. Everything is drawn through Renderer::draw, so the canvas shows exactly what is saved.
class CanvasView : public QWidget {
    Q_OBJECT
public:
    CanvasView(const Image& base, double scale, const QList<Annotation>& annotations,
               QWidget* parent = nullptr);

    const Image& base() const { return m_base; }
    double scale() const { return m_scale; }
    // The committed marks, oldest first.
    const QList<Annotation>& annotations() const { return m_annotations; }
    // The mark being dragged out, if a drag is under way.
    const std::optional<Annotation>& draft() const { return m_draft; }
    // The base's size in points: its pixel size divided by the scale.
    QSizeF pointSize() const { return m_pointSize; }

    // The current tool; arrow at first.
    Kind kind() const { return m_kind; }
    void setKind(Kind kind) { m_kind = kind; }

    // Removes the newest mark the user can remove: the click marks (ring, target) that came with the
    // step stay.
    void undo();

    QSize sizeHint() const override;

    // Commits below this length are taken for a slip of the hand, not a mark.
    static constexpr double minimumDragLength = 4;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    // The widget area a mark can paint on, or an empty rect when its extent cannot be known
    // (texts and badges depend on font metrics): callers then repaint everything.
    QRect paintedArea(const Annotation& annotation) const;
    // Where a pixelated region lands, in points: its rectangle widened to whole pixels of the base and
    // cut to the image; empty when nothing would be drawn.
    QRectF pixelatedArea(const Annotation& blur) const;
    void append(const Annotation& annotation);
    // The committed list changed in `area` (an empty area: anywhere).
    void committedChanged(const QRect& area);
    void repaintArea(const QRect& area);
    void ensureCache();

    Image m_base;
    QImage m_pixels;
    double m_scale;
    QList<Annotation> m_annotations;
    Kind m_kind = Kind::arrow;
    std::optional<Annotation> m_draft;
    QSizeF m_pointSize;

    // The base with the committed marks, at the screen's pixel density. Painting during a drag copies
    // from it and draws only the draft on top, so blurs are pixelated once per change of the
    // committed list rather than on every mouse move.
    // A change of the list redraws only the area it touched, when that area is known.
    QImage m_cache;
    bool m_cacheValid = false;
    QRegion m_staleArea;
};

} // namespace trovix
