#include "library/LibraryView.h"

#include "document/Guide.h"
#include "library/CardGrid.h"
#include "library/LibraryModel.h"
#include "platform/Dialogs.h"
#include "platform/filemanager/FileManager.h"

#include <QDir>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QStackedWidget>
#include <QStyle>
#include <QVBoxLayout>

namespace trovix {

// A one-line caption that, when too narrow, drops the start of its text behind an ellipsis.
class PathLabel : public QWidget {
public:
    explicit PathLabel(QWidget* parent)
        : QWidget(parent) {
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    }
    void setText(const QString& text) {
        m_text = text;
        setToolTip(text);
        updateGeometry();
        update();
    }
    const QString& text() const { return m_text; }
    QSize sizeHint() const override {
        return QSize(fontMetrics().horizontalAdvance(m_text) + 2, fontMetrics().height());
    }
    QSize minimumSizeHint() const override { return QSize(40, fontMetrics().height()); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        QColor colour = palette().color(QPalette::WindowText);
        colour.setAlphaF(0.6);
        painter.setPen(colour);
        painter.drawText(rect(), Qt::AlignRight | Qt::AlignVCenter,
                         fontMetrics().elidedText(m_text, Qt::ElideLeft, width()));
    }

private:
    QString m_text;
};

namespace {

bool isTrimmedSpace(QChar c) {
    return c == u'\t' || c.category() == QChar::Separator_Space;
}

QFont captionFont(const QFont& base) {
    QFont font = base;
    font.setPointSizeF(std::max(7.0, base.pointSizeF() * 0.85));
    return font;
}

} // namespace

LibraryView::LibraryView(LibraryModel& model, Guide& guide, QWidget* parent)
    : QWidget(parent)
    , m_model(model)
    , m_guide(guide) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* row = new QHBoxLayout;
    row->setContentsMargins(12, 12, 12, 12);
    row->setSpacing(8);
    auto* magnifier = new QLabel(this);
    const QIcon find = QIcon::fromTheme(QStringLiteral("edit-find-symbolic"),
                                        QIcon::fromTheme(QStringLiteral("system-search")));
    QPixmap glass = find.pixmap(QSize(16, 16), devicePixelRatioF());
    if (!glass.isNull()) {
        QPainter tint(&glass);
        tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
        QColor colour = palette().color(QPalette::WindowText);
        colour.setAlphaF(0.6);
        tint.fillRect(glass.rect(), colour);
    }
    magnifier->setPixmap(glass);
    row->addWidget(magnifier);

    m_search = new QLineEdit(this);
    m_search->setFrame(false);
    m_search->setPlaceholderText(tr("Search guides"));
    m_search->setAccessibleName(tr("Search guides"));
    m_search->setClearButtonEnabled(true);
    m_search->setMinimumWidth(200);
    m_search->setStyleSheet(QStringLiteral("QLineEdit { background: transparent; }"));
    row->addWidget(m_search, 1);
    row->addSpacing(12);

    m_path = new PathLabel(this);
    m_path->setFont(captionFont(font()));
    row->addWidget(m_path, 1);
    layout->addLayout(row);

    auto* divider = new QFrame(this);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    layout->addWidget(divider);

    m_stack = new QStackedWidget(this);
    m_grid = new CardGrid(m_stack);
    m_stack->addWidget(m_grid);

    m_empty = new QWidget(m_stack);
    m_empty->setBackgroundRole(QPalette::Base);
    m_empty->setAutoFillBackground(true);
    auto* empty = new QVBoxLayout(m_empty);
    empty->setSpacing(6);
    empty->addStretch(1);
    m_emptyHeadline = new QLabel(m_empty);
    QFont headline = font();
    headline.setBold(true);
    m_emptyHeadline->setFont(headline);
    m_emptyHeadline->setAlignment(Qt::AlignCenter);
    m_emptyHeadline->setTextFormat(Qt::PlainText);
    m_emptyHeadline->setWordWrap(true);
    empty->addWidget(m_emptyHeadline);
    m_emptyDetail = new QLabel(m_empty);
    m_emptyDetail->setAlignment(Qt::AlignCenter);
    m_emptyDetail->setTextFormat(Qt::PlainText);
    QPalette detail = m_emptyDetail->palette();
    QColor secondary = detail.color(QPalette::WindowText);
    secondary.setAlphaF(0.6);
    detail.setColor(QPalette::WindowText, secondary);
    m_emptyDetail->setPalette(detail);
    empty->addWidget(m_emptyDetail);
    empty->addStretch(1);
    m_stack->addWidget(m_empty);
    layout->addWidget(m_stack, 1);

    connect(m_search, &QLineEdit::textChanged, this, &LibraryView::refresh);
    connect(&m_model, &LibraryModel::itemsChanged, this, &LibraryView::refresh);
    connect(&m_model, &LibraryModel::folderChanged, this, &LibraryView::refresh);
    connect(m_grid, &CardGrid::openRequested, this, &LibraryView::open);
    connect(m_grid, &CardGrid::revealRequested, this,
            [](const QUrl& url) { FileManager::reveal(url.toLocalFile()); });
    connect(m_grid, &CardGrid::trashRequested, this,
            [this](const GuideSummary& summary) { m_model.trash(summary); });
    // The badge and the trash item follow the main window's guide as soon as its file changes.
    m_guide.subscribe(&Guide::fileURLWillChange, &Guide::fileURL, this,
                      [this](const QUrl& url) { m_grid->setOpenURL(url); });
    refresh();
}

QString LibraryView::trimmedSearch(const QString& search) {
    qsizetype begin = 0;
    qsizetype end = search.size();
    while (begin < end && isTrimmedSpace(search[begin]))
        ++begin;
    while (end > begin && isTrimmedSpace(search[end - 1]))
        --end;
    return search.mid(begin, end - begin);
}

QList<GuideSummary> LibraryView::filtered(const QList<GuideSummary>& items, const QString& search) {
    const QString query = trimmedSearch(search);
    if (query.isEmpty())
        return items;
    QList<GuideSummary> list;
    for (const GuideSummary& item : items) {
        if (item.title.contains(query, Qt::CaseInsensitive))
            list.append(item);
    }
    return list;
}

QString LibraryView::displayPath(const QString& folder, const QString& home) {
    // A home of "/" would turn every separator into "~".
    if (home.isEmpty() || home == QStringLiteral("/"))
        return folder;
    QString path = folder;
    return path.replace(home, QStringLiteral("~"));
}

QString LibraryView::search() const {
    return m_search->text();
}

void LibraryView::setSearch(const QString& text) {
    m_search->setText(text);
}

const QUrl& LibraryView::selected() const {
    return m_grid->selected();
}

QString LibraryView::shownPath() const {
    return m_path->text();
}

bool LibraryView::isShowingEmptyState() const {
    return m_stack->currentWidget() == m_empty;
}

QStringList LibraryView::emptyStateLines() const {
    QStringList lines{m_emptyHeadline->text()};
    if (m_emptyDetail->isVisibleTo(m_empty))
        lines.append(m_emptyDetail->text());
    return lines;
}

void LibraryView::refresh() {
    m_path->setText(displayPath(m_model.folder(), QDir::homePath()));
    const QList<GuideSummary> cards = filtered(m_model.items(), m_search->text());
    m_grid->setCards(cards);
    if (!cards.isEmpty()) {
        m_stack->setCurrentWidget(m_grid);
        return;
    }
    if (m_model.items().isEmpty()) {
        m_emptyHeadline->setText(tr("No saved guides yet"));
        m_emptyDetail->setText(tr("Guides you save with Ctrl+S appear here."));
        m_emptyDetail->setVisible(true);
    } else {
        m_emptyHeadline->setText(tr("No guides match “%1”").arg(m_search->text()));
        m_emptyDetail->setVisible(false);
    }
    m_stack->setCurrentWidget(m_empty);
}

void LibraryView::open(const QUrl& url) {
    // A guide the scan could not read is not read again here, where a hung disk would freeze the
    // window: the user is told why, and Refresh tries again.
    for (const GuideSummary& card : m_grid->cards()) {
        if (card.url == url && !card.problem.isEmpty()) {
            Dialogs::Alert alert;
            alert.message = tr("Couldn’t open “%1”").arg(QFileInfo(url.toLocalFile()).fileName());
            alert.informativeText = card.problem;
            alert.buttons = {tr("OK")};
            alert.style = Dialogs::Style::warning;
            alert.cancelButton = 0;
            Dialogs::current().alert(window(), alert);
            return;
        }
    }
    if (m_open)
        m_open(url);
}

} // namespace trovix
