#pragma once

#include "document/Redaction.h"
#include "render/Image.h"

#include <QImage>
#include <QList>
#include <QWidget>

#include <optional>

namespace trovix {

// Lies over an editor's canvas and shows the step's covered regions outlined. With the Redact tool
// it takes the mouse: a drag covers a new box, a click on a covered region uncovers it while the
// original pixels are still in memory (the run that covered it). Nothing changes the step until
// the editor's Done.
class RedactionOverlay : public QWidget {
    Q_OBJECT
public:
    // `original` is null when the covered regions are final.
    RedactionOverlay(const QList<Redaction>& regions, const Image& original, double scale, QWidget* canvas);

    // Whether the Redact tool is chosen: only then does the overlay take the mouse.
    void setActive(bool active);
    bool isActive() const { return m_active; }
    bool canUncover() const { return !m_original.isNull(); }

    // The covered regions the user uncovered, and the boxes (annotation space) they covered.
    const QList<Redaction>& uncovered() const { return m_uncovered; }
    const QList<QRectF>& added() const { return m_added; }
    const QList<Redaction>& regions() const { return m_regions; }

    // Takes back the newest uncovering or new box; false when there is none.
    bool undo();

    // Boxes smaller than this (points) are taken for a click, not a drag.
    static constexpr double minimumBox = 4;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum class Action { uncover, add };

    QList<Redaction> m_regions;
    Image m_original;
    double m_scale;
    bool m_active = false;
    QList<Redaction> m_uncovered;
    QList<QRectF> m_added;
    QList<Action> m_history;
    std::optional<QRectF> m_draft;
    QPointF m_pressed;
};

} // namespace trovix
