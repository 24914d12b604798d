#pragma once

#include "app/MainActions.h"

#include <QIcon>
#include <QToolBar>

class QToolButton;

namespace trovix {

class ExportPopover;

// The main window's six buttons: Capture Region, Record Clicks (Stop Recording, in red, while
// recording), Export (which drops down the export panel and is enabled only while the guide has
// steps), New Guide, Library and Save. The buttons carry no shortcuts of their own.
class MainToolBar : public QToolBar {
    Q_OBJECT
public:
    explicit MainToolBar(const MainActions& actions, QWidget* parent = nullptr);

    void setRecording(bool recording);
    // Greys out Record Clicks, with `reason` as its tooltip, in a session where clicks in other
    // applications cannot be seen; an empty reason makes it available again.
    void setRecordingUnavailable(const QString& reason);
    void setHasSteps(bool hasSteps);

    // Whether the export panel is showing.
    bool showExport() const;
    void setShowExport(bool show);

    QToolButton* captureButton() const { return m_capture; }
    QToolButton* recordButton() const { return m_record; }
    QToolButton* exportButton() const { return m_export; }
    QToolButton* newGuideButton() const { return m_newGuide; }
    QToolButton* libraryButton() const { return m_library; }
    QToolButton* saveButton() const { return m_save; }
    ExportPopover* exportPanel() const { return m_panel; }

private:
    QToolButton* addButton(const QString& label, const QIcon& icon, const QString& help);

    MainActions m_actions;
    QToolButton* m_capture;
    QToolButton* m_record;
    QToolButton* m_export;
    QToolButton* m_newGuide;
    QToolButton* m_library;
    QToolButton* m_save;
    ExportPopover* m_panel;
    QIcon m_recordIcon;
    QIcon m_stopIcon;
};

} // namespace trovix
