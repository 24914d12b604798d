#include "app/MainView.h"

#include "app/Appearance.h"
#include "app/StepDetail.h"
#include "app/StepListModel.h"
#include "app/StepListView.h"
#include "app/StepRowDelegate.h"
#include "app/ThumbnailCache.h"
#include "document/Guide.h"

#include <QFrame>
#include <QLineEdit>
#include <QVBoxLayout>

#include <algorithm>

namespace trovix {

MainView::MainView(Guide& guide, const MainActions& actions, QWidget* parent)
    : QSplitter(Qt::Horizontal, parent)
    , m_guide(guide)
    , m_actions(actions) {
    setObjectName(QStringLiteral("mainView"));
    setChildrenCollapsible(false);

    auto* sidebar = new QWidget;
    sidebar->setObjectName(QStringLiteral("sidebar"));
    sidebar->setMinimumWidth(sidebarMinimum);
    sidebar->setMaximumWidth(sidebarMaximum);
    auto* column = new QVBoxLayout(sidebar);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);

    m_title = new QLineEdit;
    m_title->setFrame(false);
    m_title->setPlaceholderText(tr("Guide title"));
    m_title->setFont(Appearance::headline());
    m_title->setTextMargins(10, 10, 10, 10);
    m_title->setAccessibleName(tr("Guide title"));
    // The sidebar is a source list on the window colour; the detail column is a page.
    QPalette sidebarPalette = m_title->palette();
    sidebarPalette.setColor(QPalette::Base, Qt::transparent);
    m_title->setPalette(sidebarPalette);
    column->addWidget(m_title);

    auto* divider = new QFrame;
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    column->addWidget(divider);

    m_model = new StepListModel(this);
    m_thumbnails = new ThumbnailCache({StepRowDelegate::thumbnailBox, 4, Appearance::faint(palette())}, this);
    m_list = new StepListView;
    m_list->setObjectName(QStringLiteral("stepList"));
    m_list->setAccessibleName(tr("Steps"));
    m_list->setModel(m_model);
    m_list->setItemDelegate(new StepRowDelegate(m_model, m_thumbnails, m_list));
    m_list->setEmptyText(tr("Take a screenshot\nCtrl+Alt+S"));
    QPalette listPalette = m_list->palette();
    listPalette.setColor(QPalette::Base, listPalette.color(QPalette::Window));
    m_list->setPalette(listPalette);
    column->addWidget(m_list, 1);

    m_detail = new StepDetail;
    m_detail->setObjectName(QStringLiteral("detail"));
    QPalette detailPalette = m_detail->palette();
    detailPalette.setColor(QPalette::Window, detailPalette.color(QPalette::Base));
    m_detail->setPalette(detailPalette);
    m_detail->setAutoFillBackground(true);

    addWidget(sidebar);
    addWidget(m_detail);
    setStretchFactor(0, 0);
    setStretchFactor(1, 1);
    setSizes({sidebarWidth, 1100 - sidebarWidth});

    // Edits go straight into the guide.
    connect(m_title, &QLineEdit::textEdited, this, [this](const QString& text) { m_guide.setTitle(text); });
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current) {
                if (m_syncing || !current.isValid() || m_model->isPending(current.row()))
                    return;
                m_guide.setSelection(m_model->stepAt(current.row()).id);
            });
    connect(m_list, &StepListView::deleteRequested, this, &MainView::deleteSelected);
    connect(m_list, &StepListView::moveRequested, this, &MainView::moveSteps);
    connect(m_thumbnails, &ThumbnailCache::ready, this, [this](quintptr key) {
        for (int row = 0; row < m_model->rowCount(); ++row)
            if (m_model->stepAt(row).rendered.key() == key)
                m_list->update(m_model->index(row));
    });
    connect(m_detail, &StepDetail::titleEdited, this, [this](const QUuid& id, const QString& title) {
        m_guide.updateStep(id, [&](Step& step) { step.title = title; });
    });
    connect(m_detail, &StepDetail::noteEdited, this, [this](const QUuid& id, const QString& note) {
        m_guide.updateStep(id, [&](Step& step) { step.note = note; });
    });
    connect(m_detail, &StepDetail::annotateRequested, this,
            [this](const QUuid& id) { invoke(m_actions.annotate, id); });
    connect(m_detail, &StepDetail::deleteRequested, this, &MainView::deleteSelected);

    // Follow the guide.
    connect(&m_guide, &Guide::titleWillChange, this, [this](const QString& title) {
        if (m_title->text() != title)
            m_title->setText(title);
    });
    connect(&m_guide, &Guide::stepsWillChange, this, &MainView::stepsChanging);
    connect(&m_guide, &Guide::selectionWillChange, this, &MainView::selectionChanging);
    connect(&m_guide, &Guide::pendingWillChange, this, &MainView::pendingChanging);

    m_title->setText(m_guide.title());
    m_model->setPending(m_guide.pendingSteps());
    stepsChanging(m_guide.steps());
}

MainView::~MainView() = default;

void MainView::stepsChanging(const QList<Step>& steps) {
    m_syncing = true;
    m_model->setSteps(steps);
    m_syncing = false;
    retainThumbnails();
    showSelection(steps, m_guide.selection());
}

void MainView::pendingChanging(const QList<Step>& pending) {
    m_syncing = true;
    const bool arrived = pending.size() > m_model->pending().size();
    m_model->setPending(pending);
    m_syncing = false;
    retainThumbnails();
    // A new step shows at once, where the user sees it, while it is still being checked.
    if (arrived)
        m_list->scrollTo(m_model->index(m_model->rowCount() - 1));
}

void MainView::retainThumbnails() {
    QList<Image> images;
    images.reserve(m_model->rowCount());
    for (int row = 0; row < m_model->rowCount(); ++row)
        images.append(m_model->stepAt(row).rendered);
    m_thumbnails->retain(images);
}

void MainView::selectionChanging(const QUuid& id) {
    showSelection(m_model->steps(), id);
}

void MainView::showSelection(const QList<Step>& steps, const QUuid& id) {
    selectRow(id);
    const auto it = std::find_if(steps.begin(), steps.end(), [&](const Step& step) { return step.id == id; });
    m_detail->show(it == steps.end() ? nullptr : &*it, !steps.isEmpty());
}

void MainView::selectRow(const QUuid& id) {
    m_syncing = true;
    const int row = id.isNull() ? -1 : m_model->rowOf(id);
    QItemSelectionModel* selection = m_list->selectionModel();
    if (row < 0) {
        selection->clear();
    } else {
        const QModelIndex index = m_model->index(row);
        selection->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        m_list->scrollTo(index);
    }
    m_syncing = false;
}

void MainView::deleteSelected() {
    const int i = m_guide.indexOf(m_guide.selection());
    if (m_guide.selection().isNull() || i < 0)
        return;
    QList<Step> steps = m_guide.steps();
    steps.removeAt(i);
    m_guide.setSteps(steps);
    if (steps.isEmpty())
        m_guide.setSelection(QUuid());
    else
        m_guide.setSelection(steps[qMin<qsizetype>(i, steps.size() - 1)].id);
}

QList<Step> MainView::moved(const QList<Step>& steps, const QList<int>& rows, int position) {
    QList<int> sorted = rows;
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    QList<Step> before, moving, after;
    for (qsizetype i = 0; i < steps.size(); ++i) {
        if (std::binary_search(sorted.begin(), sorted.end(), int(i)))
            moving.append(steps[i]);
        else if (i < position)
            before.append(steps[i]);
        else
            after.append(steps[i]);
    }
    return before + moving + after;
}

void MainView::moveSteps(const QList<int>& rows, int position) {
    const QList<Step>& steps = m_guide.steps();
    if (rows.isEmpty() || position < 0 || position > steps.size())
        return;
    for (int row : rows)
        if (row < 0 || row >= steps.size())
            return;
    const QList<Step> result = moved(steps, rows, position);
    bool same = true;
    for (qsizetype i = 0; i < steps.size() && same; ++i)
        same = steps[i].id == result[i].id;
    if (!same) // dropping a row where it already is changes nothing
        m_guide.setSteps(result);
}

} // namespace trovix
