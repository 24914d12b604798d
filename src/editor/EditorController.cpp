#include "editor/EditorController.h"

#include "editor/CanvasView.h"
#include "editor/RedactionOverlay.h"
#include "platform/Dialogs.h"
#include "render/ImageCodec.h"
#include "render/Renderer.h"

#include <QApplication>
#include <QButtonGroup>
#include <QClipboard>
#include <QCloseEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QSaveFile>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace trovix {

namespace {

QList<EditorController*>& openList() {
    static QList<EditorController*> list;
    return list;
}

// The annotated picture at the base's full pixel size; null when it cannot be made.
QImage renderedPicture(const CanvasView& canvas) {
    return Renderer::render(canvas.base().pixels(), canvas.annotations(), canvas.scale());
}

} // namespace

EditorController::EditorController(const Image& base, double scale, const QList<Annotation>& annotations,
                                   const QString& title, DoneCallback onDone)
    : m_window(std::make_unique<QWidget>())
    , m_onDone(std::move(onDone)) {
    m_canvas = new CanvasView(base, scale, annotations);
    m_window->setWindowTitle(title);
    m_window->installEventFilter(this);
    buildUI();
    m_window->resize(contentSize(m_canvas->pointSize()));

    QScreen* screen = QApplication::activeWindow() ? QApplication::activeWindow()->screen()
                                                   : QGuiApplication::primaryScreen();
    if (screen) {
        QRect frame(QPoint(), m_window->size());
        frame.moveCenter(screen->availableGeometry().center());
        m_window->move(frame.topLeft());
    }

    openList().append(this);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

EditorController::~EditorController() {
    openList().removeAll(this);
    if (m_window)
        m_window->removeEventFilter(this);
}

const QList<EditorController*>& EditorController::openEditors() {
    return openList();
}

const QList<Kind>& EditorController::toolKinds() {
    static const QList<Kind> kinds{Kind::arrow, Kind::rect, Kind::highlight,
                                   Kind::blur,  Kind::text, Kind::step};
    return kinds;
}

QString EditorController::label(Kind kind) {
    switch (kind) {
    case Kind::arrow:
        return tr("Arrow");
    case Kind::rect:
        return tr("Box");
    case Kind::highlight:
        return tr("Highlight");
    case Kind::blur:
        return tr("Pixelate");
    case Kind::text:
        return tr("Text");
    case Kind::step:
        return tr("Step #");
    case Kind::ring:
        return tr("Click");
    case Kind::target:
        return tr("Target");
    }
    return {};
}

QSize EditorController::contentSize(QSizeF pointSize) {
    const double width = std::min(std::max(pointSize.width(), 640.0), 1300.0);
    const double height = std::min(pointSize.height(), 800.0) + toolBarHeight;
    return QSize(int(std::ceil(width)), int(std::ceil(height)));
}

QPushButton* EditorController::button(const QString& title, void (EditorController::*action)()) {
    auto* button = new QPushButton(title);
    // Sized to the title: the tool bar has to fit the narrowest window.
    button->setMinimumWidth(button->fontMetrics().horizontalAdvance(title) + 24);
    button->setFocusPolicy(Qt::TabFocus);
    connect(button, &QPushButton::clicked, this, action);
    return button;
}

void EditorController::buildUI() {
    // The tool selector: one segment per tool, exactly one selected.
    auto* segments = new QWidget;
    auto* segmentsLayout = m_segments = new QHBoxLayout(segments);
    segmentsLayout->setContentsMargins(0, 0, 0, 0);
    segmentsLayout->setSpacing(0);
    m_tools = new QButtonGroup(this);
    m_tools->setExclusive(true);
    for (int i = 0; i < toolKinds().size(); ++i) {
        auto* segment = new QToolButton;
        segment->setText(label(toolKinds()[i]));
        segment->setCheckable(true);
        segment->setFocusPolicy(Qt::TabFocus);
        m_tools->addButton(segment, i);
        segmentsLayout->addWidget(segment);
    }
    m_tools->button(0)->setChecked(true);
    connect(m_tools, &QButtonGroup::idClicked, this, &EditorController::toolChanged);

    auto* toolBar = new QWidget;
    toolBar->setFixedHeight(toolBarHeight);
    auto* bar = new QHBoxLayout(toolBar);
    bar->setContentsMargins(10, 8, 10, 8);
    bar->setSpacing(8);
    bar->addWidget(segments);
    bar->addWidget(button(tr("Undo"), &EditorController::undo));
    m_redactionNote = new QLabel;
    m_redactionNote->setObjectName(QStringLiteral("redactionNote"));
    m_redactionNote->hide();
    bar->addWidget(m_redactionNote, 1);
    bar->addStretch(1);
    bar->addWidget(button(tr("Copy"), &EditorController::copyImage));
    bar->addWidget(button(tr("Save…"), &EditorController::save));
    if (m_onDone) {
        QPushButton* doneButton = button(tr("Done"), &EditorController::done);
        doneButton->setObjectName(QStringLiteral("done"));
        doneButton->setDefault(true);
        for (int key : {Qt::Key_Return, Qt::Key_Enter}) {
            auto* shortcut = new QShortcut(QKeySequence(key), m_window.get());
            connect(shortcut, &QShortcut::activated, this, &EditorController::done);
        }
        bar->addWidget(doneButton);
    }

    // The usual keys for the buttons that have one.
    const QList<std::pair<QKeySequence::StandardKey, void (EditorController::*)()>> keys{
        {QKeySequence::Undo, &EditorController::undo}, {QKeySequence::Copy, &EditorController::copyImage}};
    for (const auto& [key, action] : keys)
        connect(new QShortcut(QKeySequence(key), m_window.get()), &QShortcut::activated, this, action);

    m_scroll = new QScrollArea;
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_scroll->setWidget(m_canvas);
    // A short screenshot gives a short window: no minimum height beyond the tool bar.
    m_scroll->setMinimumSize(1, 1);

    auto* content = new QVBoxLayout(m_window.get());
    content->setContentsMargins(0, 0, 0, 0);
    content->setSpacing(0);
    content->addWidget(toolBar);
    content->addWidget(m_scroll, 1);
}

void EditorController::toolChanged(int segment) {
    if (m_redactions)
        m_redactions->setActive(segment == redactSegment());
    if (segment >= 0 && segment < toolKinds().size())
        m_canvas->setKind(toolKinds()[segment]);
}

void EditorController::undo() {
    // With the Redact tool, Undo takes back its own changes first.
    if (m_redactions && m_redactions->isActive() && m_redactions->undo())
        return;
    m_canvas->undo();
}

int EditorController::redactSegment() {
    return int(toolKinds().size());
}

void EditorController::setRedactions(const QList<Redaction>& regions, const Image& original,
                                     RedactDone onDone) {
    if (m_redactions)
        return;
    m_onRedactDone = std::move(onDone);
    m_redactions = new RedactionOverlay(regions, original, m_canvas->scale(), m_canvas);
    auto* segment = new QToolButton;
    segment->setText(tr("Redact"));
    segment->setToolTip(tr("Drag a box to cover it with a solid colour when you click Done"));
    segment->setCheckable(true);
    segment->setFocusPolicy(Qt::TabFocus);
    m_tools->addButton(segment, redactSegment());
    m_segments->addWidget(segment);
    if (regions.isEmpty())
        return;
    const int count = int(regions.size());
    if (m_redactions->canUncover())
        m_redactionNote->setText(
            count == 1 ? tr("1 region redacted. Click it with Redact to uncover it.")
                       : tr("%1 regions redacted. Click one with Redact to uncover it.").arg(count));
    else
        m_redactionNote->setText(
            count == 1
                ? tr("1 region redacted. Redaction is final: the original picture is no longer kept.")
                : tr("%1 regions redacted. Redaction is final: the original picture is no longer kept.")
                      .arg(count));
    m_redactionNote->setWordWrap(true);
    m_redactionNote->show();
}

void EditorController::copyImage() {
    QImage picture = renderedPicture(*m_canvas);
    if (picture.isNull())
        return;
    // The pixel density says how large the picture is in points, so a paste into a document comes out
    // at the size it had on screen.
    if (m_canvas->scale() > 0) {
        const int dotsPerMeter = int(std::lround(m_canvas->scale() * 72 / 0.0254));
        picture.setDotsPerMeterX(dotsPerMeter);
        picture.setDotsPerMeterY(dotsPerMeter);
    }
    const QByteArray png = ImageCodec::encodePng(picture);
    if (png.isEmpty())
        return;
    auto* mime = new QMimeData;
    mime->setImageData(picture);
    mime->setData(QStringLiteral("image/png"), png);
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setMimeData(mime);
}

void EditorController::save() {
    const QImage picture = renderedPicture(*m_canvas);
    if (picture.isNull())
        return;
    // Encoded before the panel opens: what is saved is the picture as it was when Save… was chosen.
    const QByteArray png = ImageCodec::encodePng(picture);
    if (png.isEmpty())
        return;

    Dialogs::SavePanel panel;
    panel.proposedName = tr("Screenshot") + QStringLiteral(".png");
    panel.suffixes = {QStringLiteral("png")};
    QString path = Dialogs::current().save(m_window.get(), panel);
    if (path.isEmpty())
        return;
    if (QFileInfo(path).suffix().compare(QLatin1String("png"), Qt::CaseInsensitive) != 0)
        path += QStringLiteral(".png");
    // Replaces any file of that name; a failed write leaves the editor as it was.
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(png) == png.size())
        file.commit();
}

void EditorController::done() {
    if (m_onDone)
        m_onDone(m_canvas->annotations());
    if (m_onRedactDone && m_redactions &&
        (!m_redactions->uncovered().isEmpty() || !m_redactions->added().isEmpty()))
        m_onRedactDone(m_redactions->uncovered(), m_redactions->added());
    m_window->close();
}

bool EditorController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_window.get() && event->type() == QEvent::Close) {
        // Nothing here refuses a close; the window goes away once the event has been handled.
        windowWillClose();
    }
    return QObject::eventFilter(watched, event);
}

void EditorController::windowWillClose() {
    if (!openList().contains(this))
        return;
    openList().removeAll(this);
    deleteLater();
}

} // namespace trovix
