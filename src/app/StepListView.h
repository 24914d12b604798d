#pragma once

#include <QList>
#include <QListView>

namespace trovix {

class StepListModel;

// The sidebar's step list: single selection, rows dragged to a new place, the Delete key, and a
// centred hint while the list is empty.
//
// A drop is reported as the dragged rows and a target position counted in the list before the
// move (the row before which the drop line is drawn, or the row count for the end); the owner
// applies the move to the guide.
class StepListView : public QListView {
    Q_OBJECT
public:
    explicit StepListView(QWidget* parent = nullptr);

    void setEmptyText(const QString& text);
    const QString& emptyText() const { return m_emptyText; }

    // The target position for a drop at this viewport point.
    int dropPosition(const QPoint& pos) const;

Q_SIGNALS:
    void deleteRequested();
    void moveRequested(const QList<int>& rows, int position);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    const StepListModel* stepModel() const;
    void setDropLine(int position);

    QString m_emptyText;
    int m_dropLine = -1;
};

} // namespace trovix
