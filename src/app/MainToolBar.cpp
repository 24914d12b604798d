#include "app/MainToolBar.h"

#include "app/Appearance.h"
#include "app/ExportPopover.h"
#include "app/Icons.h"

#include <QApplication>
#include <QStyle>
#include <QTimer>
#include <QToolButton>

namespace trovix {

MainToolBar::MainToolBar(const MainActions& actions, QWidget* parent)
    : QToolBar(parent)
    , m_actions(actions) {
    setObjectName(QStringLiteral("mainToolBar"));
    setWindowTitle(tr("Toolbar"));
    setMovable(false);
    setFloatable(false);
    setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    setContextMenuPolicy(Qt::PreventContextMenu);

    QStyle* style = QApplication::style();
    m_recordIcon =
        Icons::themed({QStringLiteral("media-record")}, style->standardIcon(QStyle::SP_DialogYesButton));
    m_stopIcon = Icons::tinted(
        Icons::themed({QStringLiteral("media-playback-stop")}, style->standardIcon(QStyle::SP_MediaStop)),
        Appearance::red());

    m_capture =
        addButton(tr("Capture Region"),
                  Icons::themed({QStringLiteral("applets-screenshooter"), QStringLiteral("camera-photo")},
                                style->standardIcon(QStyle::SP_DesktopIcon)),
                  tr("Capture a region (Ctrl+Alt+S)"));
    m_record =
        addButton(tr("Record Clicks"), m_recordIcon, tr("Record a screenshot on every click (Ctrl+Alt+R)"));
    m_export = addButton(tr("Export"),
                         Icons::themed({QStringLiteral("document-send"), QStringLiteral("document-export"),
                                        QStringLiteral("send-to")},
                                       style->standardIcon(QStyle::SP_ArrowUp)),
                         QString());
    m_export->setCheckable(true);
    m_newGuide = addButton(tr("New Guide"),
                           Icons::themed({QStringLiteral("list-add"), QStringLiteral("document-new")},
                                         style->standardIcon(QStyle::SP_FileIcon)),
                           tr("Start a new guide (Ctrl+N)"));
    m_library = addButton(tr("Library"),
                          Icons::themed({QStringLiteral("view-grid"), QStringLiteral("view-app-grid")},
                                        style->standardIcon(QStyle::SP_FileDialogListView)),
                          tr("Browse saved guides (Shift+Ctrl+L)"));
    m_save = addButton(
        tr("Save"),
        Icons::themed({QStringLiteral("document-save")}, style->standardIcon(QStyle::SP_DialogSaveButton)),
        tr("Save this guide (Ctrl+S)"));

    m_panel = new ExportPopover(this);

    connect(m_capture, &QToolButton::clicked, this, [this] { invoke(m_actions.capture); });
    connect(m_record, &QToolButton::clicked, this, [this] { invoke(m_actions.toggleRecording); });
    connect(m_newGuide, &QToolButton::clicked, this, [this] { invoke(m_actions.newGuide); });
    connect(m_library, &QToolButton::clicked, this, [this] { invoke(m_actions.library); });
    connect(m_save, &QToolButton::clicked, this, [this] { invoke(m_actions.save); });
    connect(m_export, &QToolButton::clicked, this, [this] { setShowExport(!m_panel->isVisible()); });
    connect(m_panel, &ExportPopover::closed, this, [this] { m_export->setChecked(false); });
    connect(m_panel, &ExportPopover::formatChosen, this, [this](ExportFormat format) {
        // Close the panel first; the export (and its dialogs) starts once the panel has gone.
        setShowExport(false);
        QTimer::singleShot(0, this, [this, format] { invoke(m_actions.exportGuide, format); });
    });

    setRecording(false);
    setHasSteps(false);
}

QToolButton* MainToolBar::addButton(const QString& label, const QIcon& icon, const QString& help) {
    auto* button = new QToolButton(this);
    button->setText(label);
    button->setIcon(icon);
    button->setToolTip(help);
    button->setAccessibleName(label);
    button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    addWidget(button);
    return button;
}

void MainToolBar::setRecordingUnavailable(const QString& reason) {
    m_record->setEnabled(reason.isEmpty());
    m_record->setToolTip(reason);
    m_record->setAccessibleDescription(reason);
}

void MainToolBar::setRecording(bool recording) {
    m_record->setText(recording ? tr("Stop Recording") : tr("Record Clicks"));
    m_record->setAccessibleName(m_record->text());
    m_record->setIcon(recording ? m_stopIcon : m_recordIcon);
    QPalette palette = this->palette();
    if (recording) {
        palette.setColor(QPalette::ButtonText, Appearance::red());
        palette.setColor(QPalette::WindowText, Appearance::red());
    }
    m_record->setPalette(palette);
}

void MainToolBar::setHasSteps(bool hasSteps) {
    m_export->setEnabled(hasSteps);
    if (!hasSteps)
        setShowExport(false);
}

bool MainToolBar::showExport() const {
    return m_panel->isVisible();
}

void MainToolBar::setShowExport(bool show) {
    if (show && m_export->isEnabled()) {
        m_export->setChecked(true);
        m_panel->popup(m_export);
    } else {
        m_panel->hide();
        m_export->setChecked(false);
    }
}

} // namespace trovix
