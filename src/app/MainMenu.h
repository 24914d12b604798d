#pragma once

#include <QObject>

class QAction;
class QMenu;
class QMenuBar;

namespace trovix {

class AppDelegate;
class RecentDocuments;

// The main window's menu bar: "Trovix", "File" (with "Open Recent"), "Edit" and "Window". Document,
// capture, recording and library items call the application controller; the Edit items act on
// whatever text field has the keyboard focus; the Window menu also lists the open windows.
class MainMenu : public QObject {
    Q_OBJECT
public:
    MainMenu(QMenuBar* bar, AppDelegate& app, RecentDocuments& recents);

    QMenu* recentMenu() const { return m_recent; }
    // Greys out Start/Stop Click Recording, with `reason` as its tooltip.
    void setRecordingUnavailable(const QString& reason) { setRecordingAvailability(reason, {}); }
    // The record command greyed out with the reason when `unavailable` says why, else enabled with
    // `note` as its tooltip.
    void setRecordingAvailability(const QString& unavailable, const QString& note);
    // Ticks Record Typing and Keys, or not.
    void setRecordsTyping(bool on);
    // The action titled `text` in the top-level menu `menu`, for tests.
    QAction* action(const QString& menu, const QString& text) const;

    // Minimises every visible window of the application.
    static void hideApplication();

private:
    void fillRecent();
    void fillWindows();

    QMenuBar* m_bar;
    AppDelegate& m_app;
    RecentDocuments& m_recents;
    QMenu* m_recent = nullptr;
    QAction* m_record = nullptr;
    QAction* m_recordTyping = nullptr;
    QMenu* m_window = nullptr;
    QList<QAction*> m_windowEntries;
};

} // namespace trovix
