#include "library/LibraryWindowController.h"

#include "library/CardGrid.h"
#include "library/LibraryModel.h"
#include "library/LibraryView.h"
#include "platform/Dialogs.h"
#include "platform/filemanager/FileManager.h"

#include <QAction>
#include <QGuiApplication>
#include <QHideEvent>
#include <QIcon>
#include <QScreen>
#include <QSettings>
#include <QStyle>
#include <QToolBar>
#include <QtMath>

namespace trovix {

namespace {

QIcon themed(const QStringList& names, QStyle::StandardPixmap fallback, const QStyle* style) {
    for (const QString& name : names) {
        for (const QString& candidate : {name + QStringLiteral("-symbolic"), name}) {
            if (QIcon::hasThemeIcon(candidate))
                return QIcon::fromTheme(candidate);
        }
    }
    return style->standardIcon(fallback);
}

} // namespace

LibraryWindow::LibraryWindow(QWidget* parent)
    : QMainWindow(parent) {
    setWindowTitle(tr("Guides Library"));
}

void LibraryWindow::restoreFrame() {
    const QByteArray saved = QSettings().value(frameName).toByteArray();
    if (saved.isEmpty() || !restoreGeometry(saved)) {
        // The content is 860 × 600; the toolbar sits above it.
        int toolbars = 0;
        for (const QToolBar* toolbar : findChildren<QToolBar*>())
            toolbars += toolbar->sizeHint().height();
        resize(860, 600 + toolbars);
        if (QScreen* screen = QGuiApplication::primaryScreen()) {
            QRect frame(QPoint(), size());
            frame.moveCenter(screen->availableGeometry().center());
            move(frame.topLeft());
        }
    }
    m_restored = true;
}

void LibraryWindow::saveFrame() {
    // Only once placed: the first show's own moves must not overwrite what the user left.
    if (m_restored && isVisible())
        QSettings().setValue(frameName, saveGeometry());
}

void LibraryWindow::moveEvent(QMoveEvent* event) {
    QMainWindow::moveEvent(event);
    saveFrame();
}

void LibraryWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    saveFrame();
}

void LibraryWindow::hideEvent(QHideEvent* event) {
    if (m_restored && !event->spontaneous())
        QSettings().setValue(frameName, saveGeometry());
    QMainWindow::hideEvent(event);
}

LibraryWindowController::LibraryWindowController(Guide& guide, OpenCallback onOpen, QObject* parent)
    : QObject(parent)
    , m_model(new LibraryModel(this))
    , m_window(new LibraryWindow) {
    m_view = new LibraryView(*m_model, guide, m_window);
    m_view->setMinimumSize(620, 420);
    m_view->setOpenHandler(std::move(onOpen));
    m_window->setCentralWidget(m_view);

    auto* toolbar = new QToolBar(tr("Library"), m_window);
    toolbar->setObjectName(QStringLiteral("libraryToolbar"));
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolbar->toggleViewAction()->setEnabled(false);
    m_window->addToolBar(Qt::TopToolBarArea, toolbar);
    m_window->setContextMenuPolicy(Qt::NoContextMenu);

    const QStyle* style = m_window->style();
    m_chooseFolder = toolbar->addAction(
        themed({QStringLiteral("folder-open"), QStringLiteral("folder")}, QStyle::SP_DirOpenIcon, style),
        tr("Choose Folder…"));
    m_showFolder =
        toolbar->addAction(themed({QStringLiteral("system-file-manager"), QStringLiteral("folder")},
                                  QStyle::SP_DirLinkIcon, style),
                           tr("Show in File Manager"));
    m_refresh = toolbar->addAction(themed({QStringLiteral("view-refresh")}, QStyle::SP_BrowserReload, style),
                                   tr("Refresh"));
    m_refresh->setShortcut(QKeySequence::Refresh);

    connect(m_chooseFolder, &QAction::triggered, m_model, &LibraryModel::chooseFolder);
    connect(m_showFolder, &QAction::triggered, this, [this] { FileManager::openFolder(m_model->folder()); });
    connect(m_refresh, &QAction::triggered, m_model, &LibraryModel::reload);

    m_model->setFolderPanel([window = m_window](const Dialogs::OpenPanel& panel) {
        return Dialogs::current().open(window, panel);
    });
    // Thumbnails are kept just large enough for the widest card on this screen.
    const qreal ratio = m_window->devicePixelRatioF();
    m_model->setThumbnailSize(
        QSize(qCeil(CardGrid::maxColumnWidth * ratio), qCeil(CardGrid::thumbnailHeight * ratio)));
}

LibraryWindowController::~LibraryWindowController() {
    delete m_window;
}

void LibraryWindowController::show() {
    if (!m_window->isVisible() && !m_window->property("placed").toBool()) {
        m_window->restoreFrame();
        m_window->setProperty("placed", true);
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

} // namespace trovix
