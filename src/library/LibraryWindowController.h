#pragma once

#include <QMainWindow>
#include <QObject>
#include <QUrl>

#include <functional>

class QAction;

namespace trovix {

class Guide;
class LibraryModel;
class LibraryView;

// The "Guides Library" window: remembers its frame under "TrovixLibrary"; closing only hides it.
class LibraryWindow : public QMainWindow {
    Q_OBJECT
public:
    static inline const QString frameName = QStringLiteral("TrovixLibrary");

    explicit LibraryWindow(QWidget* parent = nullptr);
    // Puts the window where it was last, else centres it on the screen.
    void restoreFrame();

protected:
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void saveFrame();
    bool m_restored = false;
};

// Makes the library's model, view and window once; the application keeps it for the whole run.
class LibraryWindowController : public QObject {
    Q_OBJECT
public:
    using OpenCallback = std::function<void(const QUrl& url)>;

    // Does not show the window and does not list the folder.
    LibraryWindowController(Guide& guide, OpenCallback onOpen, QObject* parent = nullptr);
    ~LibraryWindowController() override;

    LibraryWindow* window() const { return m_window; }
    LibraryModel& model() const { return *m_model; }
    LibraryView* view() const { return m_view; }

    QAction* chooseFolderAction() const { return m_chooseFolder; }
    QAction* showFolderAction() const { return m_showFolder; }
    QAction* refreshAction() const { return m_refresh; }

    // Shows the window, raised and active.
    void show();

private:
    LibraryModel* m_model = nullptr;
    LibraryWindow* m_window = nullptr;
    LibraryView* m_view = nullptr;
    QAction* m_chooseFolder = nullptr;
    QAction* m_showFolder = nullptr;
    QAction* m_refresh = nullptr;
};

} // namespace trovix
