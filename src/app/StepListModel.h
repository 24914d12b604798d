#pragma once

#include "document/Step.h"

#include <QAbstractListModel>
#include <QList>
#include <QUuid>

namespace trovix {

// The guide's steps as a list for the sidebar. It mirrors the step list it is given (the guide
// announces a new list before storing it, so the model takes the list from the announcement), and
// tells its view about exactly what changed: an edited title repaints one row, an appended step
// inserts one row, so scrolling and selection survive ordinary edits.
class StepListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { IdRole = Qt::UserRole + 1, NumberRole, PendingRole };

    // Dragged rows travel as the ids of their steps.
    static inline const QString mimeType = QStringLiteral("application/x-trovix-step-ids");

    explicit StepListModel(QObject* parent = nullptr);

    void setSteps(const QList<Step>& steps);
    const QList<Step>& steps() const { return m_steps; }
    // Steps still being checked for secrets, shown after the guide's own: marked, and neither
    // selectable nor movable until they join.
    void setPending(const QList<Step>& pending);
    const QList<Step>& pending() const { return m_pending; }
    bool isPending(int row) const { return row >= m_steps.size(); }
    const Step& stepAt(int row) const {
        return isPending(row) ? m_pending[row - m_steps.size()] : m_steps[row];
    }
    // The row of a step of the guide (never of a pending one); -1 when there is none.
    int rowOf(const QUuid& id) const;

    // The line a pending row shows under its title.
    static QString pendingText();

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    Qt::DropActions supportedDragActions() const override;
    Qt::DropActions supportedDropActions() const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    // Drops are carried out by the view (which knows the move rule); the model only describes them.
    bool dropMimeData(const QMimeData*, Qt::DropAction, int, int, const QModelIndex&) override {
        return false;
    }

    // The rows of the steps named in drag data; empty when any of them is not in this list.
    QList<int> rowsIn(const QMimeData* data) const;

private:
    QList<Step> m_steps;
    QList<Step> m_pending;
};

} // namespace trovix
