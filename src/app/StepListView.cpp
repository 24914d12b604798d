#include "app/StepListView.h"

#include "app/Appearance.h"
#include "app/StepListModel.h"

#include <QDragMoveEvent>
#include <QDropEvent>
#include <QKeyEvent>
#include <QPainter>

namespace trovix {

StepListView::StepListView(QWidget* parent)
    : QListView(parent) {
    setSelectionMode(QAbstractItemView::SingleSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(false); // drawn here, as a line between rows
    setDragDropMode(QAbstractItemView::InternalMove);
    setDefaultDropAction(Qt::MoveAction);
    setUniformItemSizes(true);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    setMouseTracking(false);
}

void StepListView::setEmptyText(const QString& text) {
    m_emptyText = text;
    viewport()->update();
}

const StepListModel* StepListView::stepModel() const {
    return qobject_cast<const StepListModel*>(model());
}

void StepListView::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Delete) || event->key() == Qt::Key_Backspace) {
        Q_EMIT deleteRequested();
        event->accept();
        return;
    }
    QListView::keyPressEvent(event);
}

void StepListView::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    QPainter painter(viewport());
    if (model() && model()->rowCount() == 0 && !m_emptyText.isEmpty()) {
        painter.setPen(Appearance::secondaryText(palette()));
        painter.drawText(viewport()->rect(), Qt::AlignCenter, m_emptyText);
    }
    if (m_dropLine >= 0 && model()) {
        const int rows = model()->rowCount();
        int y = 0;
        if (rows > 0) {
            y = m_dropLine < rows ? visualRect(model()->index(m_dropLine, 0)).top()
                                  : visualRect(model()->index(rows - 1, 0)).bottom() + 1;
        }
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(Appearance::accent(palette()), 2));
        painter.drawLine(QPointF(4, y), QPointF(viewport()->width() - 4, y));
        painter.setBrush(palette().color(QPalette::Base));
        painter.drawEllipse(QPointF(6, y), 3, 3);
    }
}

int StepListView::dropPosition(const QPoint& pos) const {
    // Steps still being checked for secrets stay last: a drop among them lands after the others.
    const int rows = stepModel() ? int(stepModel()->steps().size()) : model() ? model()->rowCount() : 0;
    const QModelIndex index = indexAt(pos);
    if (!index.isValid())
        return rows;
    const QRect rect = visualRect(index);
    return std::min(pos.y() < rect.center().y() ? index.row() : index.row() + 1, rows);
}

void StepListView::setDropLine(int position) {
    if (m_dropLine == position)
        return;
    m_dropLine = position;
    viewport()->update();
}

void StepListView::dragEnterEvent(QDragEnterEvent* event) {
    if (!stepModel() || stepModel()->rowsIn(event->mimeData()).isEmpty()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void StepListView::dragMoveEvent(QDragMoveEvent* event) {
    // The base class scrolls the list when the pointer nears its edges.
    QListView::dragMoveEvent(event);
    if (!stepModel() || stepModel()->rowsIn(event->mimeData()).isEmpty()) {
        event->ignore();
        setDropLine(-1);
        return;
    }
    setDropLine(dropPosition(event->position().toPoint()));
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void StepListView::dragLeaveEvent(QDragLeaveEvent* event) {
    setDropLine(-1);
    QListView::dragLeaveEvent(event);
}

void StepListView::dropEvent(QDropEvent* event) {
    setDropLine(-1);
    stopAutoScroll();
    const QList<int> rows = stepModel() ? stepModel()->rowsIn(event->mimeData()) : QList<int>();
    if (rows.isEmpty()) {
        event->ignore();
        return;
    }
    const int position = dropPosition(event->position().toPoint());
    event->setDropAction(Qt::MoveAction);
    event->accept();
    Q_EMIT moveRequested(rows, position);
}

} // namespace trovix
