#include "app/StepListModel.h"

#include <QMimeData>

namespace trovix {

namespace {

bool sameIds(const QList<Step>& a, const QList<Step>& b) {
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i)
        if (a[i].id != b[i].id)
            return false;
    return true;
}

bool sameRow(const Step& a, const Step& b) {
    return a.title == b.title && a.rendered.sameAs(b.rendered);
}

} // namespace

StepListModel::StepListModel(QObject* parent)
    : QAbstractListModel(parent) {}

void StepListModel::setSteps(const QList<Step>& steps) {
    const QList<Step> old = m_steps;
    if (sameIds(old, steps)) {
        m_steps = steps;
        for (qsizetype i = 0; i < steps.size(); ++i)
            if (!sameRow(old[i], steps[i]))
                Q_EMIT dataChanged(index(int(i)), index(int(i)));
        return;
    }
    // One step added at the end (a capture or a recorded click).
    if (steps.size() == old.size() + 1 && sameIds(old, steps.mid(0, old.size()))) {
        beginInsertRows({}, int(old.size()), int(old.size()));
        m_steps = steps;
        endInsertRows();
        return;
    }
    // One step removed: the rows after it renumber.
    if (steps.size() == old.size() - 1) {
        qsizetype gone = 0;
        while (gone < steps.size() && old[gone].id == steps[gone].id)
            ++gone;
        QList<Step> without = old;
        without.removeAt(gone);
        if (sameIds(without, steps)) {
            beginRemoveRows({}, int(gone), int(gone));
            m_steps = steps;
            endRemoveRows();
            if (gone < rowCount())
                Q_EMIT dataChanged(index(int(gone)), index(rowCount() - 1), {NumberRole});
            return;
        }
    }
    beginResetModel();
    m_steps = steps;
    endResetModel();
}

void StepListModel::setPending(const QList<Step>& pending) {
    const QList<Step> old = m_pending;
    const int first = int(m_steps.size());
    // A new step arrives at the end; the oldest one leaves from the front when it joins the guide.
    if (pending.size() == old.size() + 1 && sameIds(old, pending.mid(0, old.size()))) {
        beginInsertRows({}, first + int(old.size()), first + int(old.size()));
        m_pending = pending;
        endInsertRows();
    } else if (!old.isEmpty() && sameIds(old.mid(1), pending)) {
        beginRemoveRows({}, first, first);
        m_pending = pending;
        endRemoveRows();
    } else if (!sameIds(old, pending)) {
        beginResetModel();
        m_pending = pending;
        endResetModel();
    }
}

QString StepListModel::pendingText() {
    return tr("Checking for secrets…");
}

int StepListModel::rowOf(const QUuid& id) const {
    for (qsizetype i = 0; i < m_steps.size(); ++i)
        if (m_steps[i].id == id)
            return int(i);
    return -1;
}

int StepListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_steps.size() + m_pending.size());
}

QVariant StepListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const Step& step = stepAt(index.row());
    const bool pending = isPending(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return step.title;
    case Qt::ToolTipRole:
        return pending ? QStringLiteral("%1\n%2").arg(step.title, pendingText()) : step.title;
    case Qt::AccessibleTextRole:
        return pending ? QStringLiteral("%1. %2 (%3)").arg(index.row() + 1).arg(step.title, pendingText())
                       : QStringLiteral("%1. %2").arg(index.row() + 1).arg(step.title);
    case IdRole:
        return step.id;
    case NumberRole:
        return index.row() + 1;
    case PendingRole:
        return pending;
    default:
        return {};
    }
}

Qt::ItemFlags StepListModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    if (isPending(index.row()))
        return Qt::ItemIsEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

Qt::DropActions StepListModel::supportedDragActions() const {
    return Qt::MoveAction;
}

Qt::DropActions StepListModel::supportedDropActions() const {
    return Qt::MoveAction;
}

QStringList StepListModel::mimeTypes() const {
    return {mimeType};
}

QMimeData* StepListModel::mimeData(const QModelIndexList& indexes) const {
    QStringList ids;
    for (const QModelIndex& index : indexes)
        if (index.isValid() && index.row() < m_steps.size())
            ids.append(uuidString(m_steps[index.row()].id));
    auto* data = new QMimeData;
    data->setData(mimeType, ids.join(u'\n').toLatin1());
    return data;
}

bool StepListModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int, int,
                                    const QModelIndex&) const {
    return action == Qt::MoveAction && !rowsIn(data).isEmpty();
}

QList<int> StepListModel::rowsIn(const QMimeData* data) const {
    if (!data || !data->hasFormat(mimeType))
        return {};
    QList<int> rows;
    const QList<QByteArray> ids = data->data(mimeType).split('\n');
    for (const QByteArray& id : ids) {
        const int row = rowOf(QUuid::fromString(QLatin1String(id)));
        if (row < 0)
            return {};
        rows.append(row);
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return rows;
}

} // namespace trovix
