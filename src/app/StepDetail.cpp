#include "app/StepDetail.h"

#include "app/Appearance.h"
#include "app/GrowingTextEdit.h"
#include "app/StepPicture.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

namespace trovix {

namespace {

constexpr int padding = 20;
constexpr int gap = 12;

} // namespace

StepDetail::StepDetail(QWidget* parent)
    : QStackedWidget(parent) {
    m_hint = new QLabel(this);
    m_hint->setAlignment(Qt::AlignCenter);
    m_hint->setWordWrap(true);
    Appearance::makeSecondary(m_hint);
    addWidget(m_hint);

    m_scroll = new QScrollArea(this);
    m_scroll->setWidgetResizable(true);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(padding, padding, padding, padding);
    column->setSpacing(gap);

    m_title = new QLineEdit;
    m_title->setFrame(false);
    m_title->setPlaceholderText(tr("Step title"));
    m_title->setFont(Appearance::title2());
    m_title->setAccessibleName(tr("Step title"));
    column->addWidget(m_title);

    m_note = new GrowingTextEdit;
    m_note->setPlaceholderText(tr("Add a note (optional)"));
    m_note->setAccessibleName(tr("Note"));
    Appearance::makeSecondary(m_note);
    column->addWidget(m_note);

    m_picture = new StepPicture;
    column->addWidget(m_picture);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    m_annotate = new QPushButton(tr("Annotate…"));
    m_delete = new QPushButton(tr("Delete Step"));
    // A destructive button: its label in red.
    QPalette red = m_delete->palette();
    red.setColor(QPalette::ButtonText, Appearance::red());
    m_delete->setPalette(red);
    buttons->addWidget(m_annotate);
    buttons->addWidget(m_delete);
    buttons->addStretch();
    column->addLayout(buttons);
    column->addStretch();

    m_scroll->setWidget(content);
    addWidget(m_scroll);

    connect(m_title, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (!m_id.isNull())
            Q_EMIT titleEdited(m_id, text);
    });
    connect(m_note, &QTextEdit::textChanged, this, [this] {
        if (!m_updating && !m_id.isNull())
            Q_EMIT noteEdited(m_id, m_note->toPlainText());
    });
    connect(m_annotate, &QPushButton::clicked, this, [this] {
        if (!m_id.isNull())
            Q_EMIT annotateRequested(m_id);
    });
    connect(m_delete, &QPushButton::clicked, this, &StepDetail::deleteRequested);

    show(nullptr, false);
}

void StepDetail::show(const Step* step, bool guideHasSteps) {
    if (!step) {
        m_id = QUuid();
        m_hint->setText(guideHasSteps ? tr("Select a step.")
                                      : tr("Capture a region or record clicks to add steps."));
        setCurrentWidget(m_hint);
        m_picture->setImage(Image(), 1);
        return;
    }
    const bool other = step->id != m_id;
    m_id = step->id;
    m_updating = true;
    if (m_title->text() != step->title) {
        m_title->setText(step->title);
        m_title->setCursorPosition(0);
    }
    if (m_note->toPlainText() != step->note)
        m_note->setPlainText(step->note);
    m_updating = false;
    m_picture->setImage(step->rendered, step->scale);
    setCurrentWidget(m_scroll);
    if (other)
        m_scroll->verticalScrollBar()->setValue(0);
}

} // namespace trovix
