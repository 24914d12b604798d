#pragma once

#include "app/MainActions.h"

#include <QMainWindow>

#include <memory>

namespace trovix {

class Guide;
class MainToolBar;
class MainView;

// The main window: the toolbar above the split view. Closing it only hides it; its frame is
// remembered under "TrovixMain".
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static inline const QString frameName = QStringLiteral("TrovixMain");
    static constexpr QSize contentSize{1100, 720};
    static constexpr QSize minimumContentSize{800, 500};

    MainWindow(Guide& guide, const MainActions& actions, QWidget* parent = nullptr);

    MainView* view() const { return m_view; }
    MainToolBar* toolBar() const { return m_toolBar; }

    void saveFrame() const;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void restoreFrame();

    MainView* m_view;
    MainToolBar* m_toolBar;
};

// Owns the one main window of the run.
class MainWindowController {
public:
    MainWindowController(Guide& guide, const MainActions& actions);
    ~MainWindowController();

    MainWindow* window() const { return m_window.get(); }
    // Shows the window (restoring it when minimised), raises it and gives it the focus.
    void bringToFront();

private:
    std::unique_ptr<MainWindow> m_window;
};

} // namespace trovix
