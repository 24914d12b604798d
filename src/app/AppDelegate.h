#pragma once

#include "app/DocumentCommands.h"
#include "app/ExportCommand.h"
#include "app/MainActions.h"
#include "app/RecentDocuments.h"
#include "app/RedactCommand.h"

#include <QObject>
#include <QStringList>
#include <QUuid>

#include <memory>

class QWidget;

namespace trovix {

class CaptureCommand;
class Guide;
class MainMenu;
class LibraryWindowController;
class MainWindowController;
class Recorder;
class RegionSelector;
class StatusItem;

// The application controller: owns the one guide of the run and every long-lived window, puts the
// application on screen, handles open requests and termination, and carries out the commands of
// the menus and the main window. The document commands live in DocumentCommands and the export
// command in ExportCommand; this class wires them together.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    // Loads the guide from the working copy (and starts its autosave).
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // Builds the main window and its menus, starts the window refresh and brings the window to the
    // front.
    void launch();

    Guide& guide() const { return *m_guide; }
    MainWindowController* mainWindow() const { return m_mainWindow.get(); }
    DocumentCommands& documents() { return m_documents; }
    ExportCommand& exporter() { return m_export; }
    RecentDocuments& recents() { return m_recents; }
    MainMenu* mainMenu() const { return m_menu; }
    // The library window, once the library has been shown; nullptr before.
    LibraryWindowController* libraryWindow() const { return m_libraryWindow.get(); }

    // The click recorder, made with the guide on first use and then kept.
    Recorder& recorder();
    // Whether recordings take typing and key combinations too (remembered; on at first).
    static bool recordsTyping();
    // Why typing and keys cannot be recorded in this session; empty when they can.
    static QString typingUnavailableReason();
    void setRecordsTyping(bool on);

    // Whether the application may quit now (asks about unsaved changes).
    bool applicationShouldTerminate();
    // The last work before quitting: the working copy is written last.
    void applicationWillTerminate();

public Q_SLOTS:
    // An open request (command line, another launch, "Open Recent"): the first path opens, the
    // others are ignored; no paths bring the main window to the front.
    void openRequest(const QStringList& paths);

    void captureRegion();               // a dragged-out region becomes the next step
    void toggleRecording();             // filled in by the click recorder
    void annotate(const QUuid& stepId); // opens an annotation editor on the step
    void showLibrary();                 // lists the library in its window
    // A command from the command line ("capture", "toggle-recording", "library"); others do nothing.
    void runCommand(const QString& command);

    void newGuideAction();
    void openAction();
    void saveAction();
    void saveAsAction();
    void showAction();
    void libraryAction();
    void quitAction();
    // Searches every step of the open guide for secrets and covers them.
    void redactSecretsAction();
    // The preferences window (what is redacted on new steps).
    void preferencesAction();

private:
    void showRecordingUnavailable(QWidget* parent, const QString& reason);
    MainActions makeActions();

    std::unique_ptr<Guide> m_guide;
    RecentDocuments m_recents;
    DocumentCommands m_documents;
    ExportCommand m_export;
    RedactCommand m_redact;
    std::unique_ptr<MainWindowController> m_mainWindow;
    std::unique_ptr<RegionSelector> m_selector; // made at construction, reused for every capture
    std::unique_ptr<CaptureCommand> m_capture;
    std::unique_ptr<StatusItem> m_statusItem;                 // made at launch
    std::unique_ptr<LibraryWindowController> m_libraryWindow; // made on first use, then kept
    MainMenu* m_menu = nullptr;
    std::unique_ptr<Recorder> m_recorder; // made on first use, then kept
    // Whether the screenshot portal has let Trovix take a picture in this run (Wayland).
    bool m_screenshotsAnswered = false;
    bool m_terminated = false;
};

} // namespace trovix
