#include "app/MainWindowController.h"

#include "app/MainToolBar.h"
#include "app/MainView.h"
#include "document/Guide.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QMenuBar>
#include <QScreen>
#include <QSettings>

namespace trovix {

MainWindow::MainWindow(Guide& guide, const MainActions& actions, QWidget* parent)
    : QMainWindow(parent) {
    setObjectName(QStringLiteral("mainWindow"));
    setWindowTitle(QStringLiteral("Trovix"));
    m_toolBar = new MainToolBar(actions, this);
    addToolBar(Qt::TopToolBarArea, m_toolBar);
    m_view = new MainView(guide, actions, this);
    setCentralWidget(m_view);

    m_toolBar->setRecording(guide.isRecording());
    m_toolBar->setHasSteps(!guide.steps().isEmpty());
    connect(&guide, &Guide::recordingWillChange, m_toolBar, &MainToolBar::setRecording);
    connect(&guide, &Guide::stepsWillChange, m_toolBar,
            [this](const QList<Step>& steps) { m_toolBar->setHasSteps(!steps.isEmpty()); });

    restoreFrame();
}

void MainWindow::restoreFrame() {
    // The minimum and initial sizes are for the content below the menu bar and toolbar. The menus
    // are added later, so measure a menu bar of the same style.
    m_view->setMinimumSize(minimumContentSize);
    QMenuBar sample;
    sample.addMenu(QCoreApplication::translate("trovix::MainMenu", "File"));
    const int chrome = sample.sizeHint().height() + m_toolBar->sizeHint().height();
    const QByteArray frame = QSettings().value(frameName).toByteArray();
    if (!frame.isEmpty() && restoreGeometry(frame))
        return;
    resize(contentSize + QSize(0, chrome));
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect frameRect(QPoint(), size());
        frameRect.moveCenter(screen->availableGeometry().center());
        move(frameRect.topLeft());
    }
}

void MainWindow::saveFrame() const {
    QSettings().setValue(frameName, saveGeometry());
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // Closing hides the window; the application keeps running and can show it again.
    saveFrame();
    event->accept();
}

MainWindowController::MainWindowController(Guide& guide, const MainActions& actions)
    : m_window(std::make_unique<MainWindow>(guide, actions)) {}

MainWindowController::~MainWindowController() {
    m_window->saveFrame();
}

void MainWindowController::bringToFront() {
    if (m_window->isMinimized())
        m_window->showNormal();
    else
        m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

} // namespace trovix
