#include "app/ExportPopover.h"

#include "app/Appearance.h"

#include <QApplication>
#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QToolButton>
#include <QVBoxLayout>

namespace trovix {

namespace {

constexpr int arrowHeight = 8;
constexpr int padding = 14;

QLabel* headline(const QString& text) {
    auto* label = new QLabel(text);
    label->setFont(Appearance::headline());
    return label;
}

// A wrapped label's height at the panel's fixed width: the layout alone gives it the lines of a
// shorter text, which cuts off longer ones (as translations are).
void fitHeight(QLabel* label) {
    label->setMinimumHeight(label->heightForWidth(ExportPopover::width - 2 * padding));
}

QLabel* caption(const QString& text) {
    auto* label = new QLabel(text);
    label->setFont(Appearance::caption());
    label->setWordWrap(true);
    Appearance::makeSecondary(label);
    fitHeight(label);
    return label;
}

} // namespace

ExportPopover::ExportPopover(QWidget* parent)
    : QFrame(parent, Qt::Popup) {
    setObjectName(QStringLiteral("exportPanel"));
    setAccessibleName(tr("Export"));
    setFixedWidth(width);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(padding, padding + arrowHeight, padding, padding);
    column->setSpacing(10);

    column->addWidget(headline(tr("Image quality")));

    // A segmented control: three joined buttons, one per preset, in the presets' order.
    auto* segments = new QHBoxLayout;
    segments->setSpacing(0);
    for (ExportQuality quality : allExportQualities) {
        auto* segment = new QToolButton;
        segment->setText(title(quality));
        segment->setCheckable(true);
        segment->setAutoRaise(false);
        segment->setToolButtonStyle(Qt::ToolButtonTextOnly);
        segment->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        segment->setFocusPolicy(Qt::StrongFocus);
        connect(segment, &QToolButton::clicked, this, [this, quality] {
            setCurrentExportQuality(quality);
            refresh();
        });
        segments->addWidget(segment);
        m_segments.append(segment);
    }
    column->addLayout(segments);

    m_description = caption({});
    column->addWidget(m_description);
    column->addWidget(
        caption(tr("Applies to exported files only. Saved guides always keep full-resolution screenshots.")));

    auto* divider = new QFrame;
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    column->addWidget(divider);

    column->addWidget(headline(tr("Export as")));
    for (ExportFormat format : allExportFormats) {
        auto* button = new QPushButton(title(format));
        button->setStyleSheet(QStringLiteral("text-align: left; padding: 5px 10px;"));
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, [this, format] { Q_EMIT formatChosen(format); });
        column->addWidget(button);
        m_formats.append(button);
    }
    refresh();
}

QString ExportPopover::storedQuality() {
    QSettings settings;
    if (!settings.contains(QLatin1String(exportQualityKey)))
        return storedValue(ExportQuality::balanced);
    return settings.value(QLatin1String(exportQualityKey)).toString();
}

void ExportPopover::refresh() {
    // A stored text that names no preset selects nothing and describes nothing; choosing a
    // segment repairs it.
    const std::optional<ExportQuality> current = exportQualityFromStoredValue(storedQuality());
    for (qsizetype i = 0; i < m_segments.size(); ++i)
        m_segments[i]->setChecked(current && *current == allExportQualities[i]);
    m_description->setText(current ? trovix::description(*current) : QString());
    fitHeight(m_description);
    m_description->setVisible(current.has_value());
    if (layout())
        layout()->activate();
    adjustSize();
}

void ExportPopover::popup(QWidget* anchor) {
    m_anchor = anchor;
    refresh();
    adjustSize();
    const QRect button(anchor->mapToGlobal(QPoint(0, 0)), anchor->size());
    QPoint topLeft(button.center().x() - width / 2, button.bottom() + 1);
    if (const QScreen* screen = anchor->screen()) {
        const QRect available = screen->availableGeometry();
        topLeft.setX(qBound(available.left(), topLeft.x(), available.right() - width));
    }
    m_arrowX =
        qBound(padding + arrowHeight, button.center().x() - topLeft.x(), width - padding - arrowHeight);
    move(topLeft);
    updateMask();
    show();
    // Keyboard users start on the chosen quality; Tab leads on to the format buttons.
    QToolButton* start = m_segments.first();
    for (QToolButton* segment : std::as_const(m_segments))
        if (segment->isChecked())
            start = segment;
    start->setFocus(Qt::PopupFocusReason);
}

QPainterPath ExportPopover::outline() const {
    // A rounded panel with an arrow on its top edge pointing at the button.
    const QRectF body = QRectF(rect()).adjusted(0.5, arrowHeight + 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(body, 8, 8);
    QPainterPath arrow;
    arrow.moveTo(m_arrowX - arrowHeight, body.top() + 1);
    arrow.lineTo(m_arrowX, 0.5);
    arrow.lineTo(m_arrowX + arrowHeight, body.top() + 1);
    arrow.closeSubpath();
    return path.united(arrow);
}

void ExportPopover::updateMask() {
    // The window takes the panel's shape, which works without a compositing manager too.
    setMask(QRegion(outline().toFillPolygon().toPolygon(), Qt::WindingFill));
}

void ExportPopover::resizeEvent(QResizeEvent* event) {
    QFrame::resizeEvent(event);
    updateMask();
}

void ExportPopover::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    painter.setPen(QPen(palette().color(QPalette::Mid), 1));
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawPath(outline());
}

void ExportPopover::mousePressEvent(QMouseEvent* event) {
    // A press on the Export button closes the panel and must not reach the button as well, or it
    // would open the panel again at once.
    if (!rect().contains(event->position().toPoint()) && m_anchor &&
        QRect(m_anchor->mapToGlobal(QPoint(0, 0)), m_anchor->size())
            .contains(event->globalPosition().toPoint()))
        setAttribute(Qt::WA_NoMouseReplay);
    QFrame::mousePressEvent(event);
}

void ExportPopover::hideEvent(QHideEvent* event) {
    QFrame::hideEvent(event);
    Q_EMIT closed();
}

} // namespace trovix
