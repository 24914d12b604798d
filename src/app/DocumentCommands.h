#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

namespace trovix {

class Guide;
class MainWindowController;
class RecentDocuments;

// The document commands on the one guide of the run: new, open, save, save as, the unsaved-changes
// question that guards the commands that throw the document away, and the window title and
// edited mark that follow the document.
class DocumentCommands : public QObject {
    Q_OBJECT
public:
    static constexpr int refreshDelayMs = 300;

    DocumentCommands(Guide& guide, RecentDocuments& recents, QObject* parent = nullptr);

    // The window whose title, file and edited mark follow the guide, and which commands bring to the
    // front. Set once at launch; may stay unset in tests.
    void setMainWindow(MainWindowController* mainWindow);
    // Refreshes the window 300 ms after the guide's title, steps or file change, once the changes
    // pause.
    void startWindowRefresh();

    void newGuide();
    // Asks for a guide folder and opens it.
    void openDocument();
    // Opens the guide folder at `path`, unless it is the one already open.
    void openGuide(const QString& path);
    bool saveDocument();
    bool saveDocumentAs();
    // Writes the guide into `path` and makes it the guide's folder.
    bool write(const QString& path);
    // True when the caller may throw the current document away (asking first when it has changes).
    // Steps still being checked for secrets join it first, so the question covers them too.
    bool confirmDiscardIfNeeded();
    // Lets the steps now being checked for secrets join the guide, showing progress meanwhile.
    void waitForPendingSteps();
    void refreshWindow();
    void bringMainWindowToFront();

    // `path` made absolute and cleaned of "." and ".." components and trailing slashes.
    static QString standardized(const QString& path);
    // The chosen save name with ".trovix" appended unless it already ends with exactly that.
    static QString withGuideExtension(const QString& path);

Q_SIGNALS:
    // A guide folder was opened (the library window hides itself on this).
    void guideOpened(const QString& path);
    // The guide was saved into `path`.
    void guideSaved(const QString& path);

private:
    Guide& m_guide;
    RecentDocuments& m_recents;
    MainWindowController* m_mainWindow = nullptr;
    QTimer m_refresh;
};

} // namespace trovix
