#include "editor/RedactionOverlay.h"

#include "redact/Redactor.h"

#include <QMouseEvent>
#include <QPainter>

namespace trovix {

RedactionOverlay::RedactionOverlay(const QList<Redaction>& regions, const Image& original, double scale,
                                   QWidget* canvas)
    : QWidget(canvas)
    , m_regions(regions)
    , m_original(original)
    , m_scale(scale > 0 ? scale : 1) {
    setObjectName(QStringLiteral("redactions"));
    setAccessibleName(tr("Redacted regions"));
    setGeometry(canvas->rect());
    setActive(false);
    show();
    raise();
}

void RedactionOverlay::setActive(bool active) {
    m_active = active;
    setAttribute(Qt::WA_TransparentForMouseEvents, !active);
    setCursor(active ? Qt::CrossCursor : Qt::ArrowCursor);
    update();
}

bool RedactionOverlay::undo() {
    if (m_history.isEmpty())
        return false;
    const Action last = m_history.takeLast();
    if (last == Action::uncover)
        m_uncovered.removeLast();
    else
        m_added.removeLast();
    update();
    return true;
}

void RedactionOverlay::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    // What an uncovered region showed comes back from the original, so the user sees what Done keeps.
    if (!m_uncovered.isEmpty() && !m_original.isNull()) {
        const QImage original = m_original.pixels();
        for (const Redaction& region : m_uncovered) {
            const QRectF source(region.rect.topLeft() * m_scale, region.rect.size() * m_scale);
            painter.drawImage(region.rect, original, source);
        }
    }
    for (const QRectF& box : m_added)
        painter.fillRect(box, Redactor::fill);
    // Covered regions outlined in a dashed line that shows on light and dark alike.
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (const Redaction& region : m_regions) {
        if (m_uncovered.contains(region))
            continue;
        QPen pen(QColor(255, 59, 48), 1.5, Qt::DashLine);
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(region.rect.adjusted(-1, -1, 1, 1));
    }
    if (m_draft) {
        painter.fillRect(*m_draft, QColor(24, 24, 27, 160));
        painter.setPen(QPen(QColor(255, 59, 48), 1.5));
        painter.drawRect(*m_draft);
    }
}

void RedactionOverlay::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    m_pressed = event->position();
    m_draft = QRectF(m_pressed, m_pressed);
}

void RedactionOverlay::mouseMoveEvent(QMouseEvent* event) {
    if (!m_draft)
        return;
    m_draft = QRectF(m_pressed, event->position()).normalized() & QRectF(rect());
    update();
}

void RedactionOverlay::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_draft)
        return;
    const QRectF box = *m_draft;
    m_draft.reset();
    if (box.width() >= minimumBox && box.height() >= minimumBox) {
        m_added.append(box);
        m_history.append(Action::add);
    } else if (canUncover()) {
        // A click on a covered region: the newest region under the point comes off.
        for (qsizetype i = m_regions.size() - 1; i >= 0; --i) {
            if (m_regions[i].rect.contains(m_pressed) && !m_uncovered.contains(m_regions[i])) {
                m_uncovered.append(m_regions[i]);
                m_history.append(Action::uncover);
                break;
            }
        }
    }
    update();
}

} // namespace trovix
