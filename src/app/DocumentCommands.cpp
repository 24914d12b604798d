#include "app/DocumentCommands.h"

#include "app/MainWindowController.h"
#include "app/RecentDocuments.h"
#include "document/Error.h"
#include "document/Guide.h"
#include "document/GuideStore.h"
#include "library/Library.h"
#include "platform/Dialogs.h"

#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QProgressDialog>
#include <QSet>

namespace trovix {

namespace {

const QString guideExtension = QStringLiteral("trovix");

} // namespace

DocumentCommands::DocumentCommands(Guide& guide, RecentDocuments& recents, QObject* parent)
    : QObject(parent)
    , m_guide(guide)
    , m_recents(recents) {
    m_refresh.setSingleShot(true);
    m_refresh.setInterval(refreshDelayMs);
    connect(&m_refresh, &QTimer::timeout, this, &DocumentCommands::refreshWindow);
}

void DocumentCommands::setMainWindow(MainWindowController* mainWindow) {
    m_mainWindow = mainWindow;
}

void DocumentCommands::startWindowRefresh() {
    // The edited mark follows isDirty, which announces nothing itself; title, steps and file
    // changes are what make it change.
    auto restart = [this] { m_refresh.start(); };
    connect(&m_guide, &Guide::titleWillChange, this, restart);
    connect(&m_guide, &Guide::stepsWillChange, this, restart);
    connect(&m_guide, &Guide::fileURLWillChange, this, restart);
}

QString DocumentCommands::standardized(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString DocumentCommands::withGuideExtension(const QString& path) {
    if (QFileInfo(path).suffix() == guideExtension)
        return path;
    return path + u'.' + guideExtension;
}

void DocumentCommands::bringMainWindowToFront() {
    if (m_mainWindow)
        m_mainWindow->bringToFront();
}

// Alerts belong to the window the user is working in: an open that fails from the library must not
// pull the main window over the library, where the user was.
static QWidget* dialogParent(MainWindowController* mainWindow) {
    if (QWidget* active = QApplication::activeWindow(); active && active->isVisible())
        return active;
    return mainWindow && mainWindow->window()->isVisible() ? mainWindow->window() : nullptr;
}

void DocumentCommands::newGuide() {
    if (!confirmDiscardIfNeeded())
        return;
    m_guide.reset();
    refreshWindow();
}

void DocumentCommands::openDocument() {
    Dialogs::OpenPanel panel;
    panel.title = tr("Choose a Trovix file");
    panel.chooseDirectories = true;
    panel.directorySuffix = guideExtension;
    if (!m_guide.fileURL().isEmpty())
        panel.directory = QFileInfo(m_guide.fileURL().toLocalFile()).absolutePath();
    const QString chosen = Dialogs::current().open(dialogParent(m_mainWindow), panel);
    if (!chosen.isEmpty())
        openGuide(chosen);
}

void DocumentCommands::openGuide(const QString& path) {
    if (!m_guide.fileURL().isEmpty() && standardized(m_guide.fileURL().toLocalFile()) == standardized(path)) {
        bringMainWindowToFront();
        return;
    }
    if (!confirmDiscardIfNeeded())
        return;

    LoadedGuide loaded;
    try {
        loaded = GuideStore::read(path);
    } catch (const std::exception& error) {
        Dialogs::Alert alert;
        alert.message = tr("Couldn’t open “%1”").arg(QFileInfo(standardized(path)).fileName());
        // The reader's sentence says which file failed and why, which a guide from someone else needs.
        alert.informativeText = tr("It doesn’t look like a valid Trovix file.") + QStringLiteral("\n\n") +
                                QString::fromUtf8(error.what());
        alert.buttons = {tr("OK")};
        alert.style = Dialogs::Style::warning;
        alert.cancelButton = 0;
        Dialogs::current().alert(dialogParent(m_mainWindow), alert);
        return;
    }
    m_guide.replaceContents(loaded.title, loaded.steps, QUrl::fromLocalFile(path));
    m_guide.setDirty(false);
    m_recents.note(path);
    m_guide.writeWorkingCopy();
    refreshWindow();
    Q_EMIT guideOpened(path);
    bringMainWindowToFront();
}

bool DocumentCommands::saveDocument() {
    if (!m_guide.fileURL().isEmpty())
        return write(m_guide.fileURL().toLocalFile());
    return saveDocumentAs();
}

bool DocumentCommands::saveDocumentAs() {
    Dialogs::SavePanel panel;
    panel.title = tr("Save this guide so you can reopen and edit it later.");
    panel.proposedName = m_guide.title();
    panel.suffixes = {guideExtension};
    Library::ensureFolder();
    panel.directory = m_guide.fileURL().isEmpty() ? Library::folder()
                                                  : QFileInfo(m_guide.fileURL().toLocalFile()).absolutePath();
    const QString chosen = Dialogs::current().save(dialogParent(m_mainWindow), panel);
    if (chosen.isEmpty())
        return false;
    return write(withGuideExtension(chosen));
}

bool DocumentCommands::write(const QString& path) {
    try {
        GuideStore::write(m_guide, path, false);
    } catch (const Error& error) {
        Dialogs::Alert alert;
        alert.message = error.message();
        alert.buttons = {tr("OK")};
        alert.style = Dialogs::Style::critical;
        alert.cancelButton = 0;
        Dialogs::current().alert(dialogParent(m_mainWindow), alert);
        return false;
    } catch (const std::exception& error) {
        Dialogs::Alert alert;
        alert.message = tr("Couldn’t save “%1”").arg(QFileInfo(path).fileName());
        alert.informativeText = QString::fromUtf8(error.what());
        alert.buttons = {tr("OK")};
        alert.style = Dialogs::Style::critical;
        alert.cancelButton = 0;
        Dialogs::current().alert(dialogParent(m_mainWindow), alert);
        return false;
    }
    m_guide.setFileURL(QUrl::fromLocalFile(path));
    m_guide.setDirty(false);
    m_recents.note(path);
    m_guide.writeWorkingCopy();
    refreshWindow();
    LibraryNotifier::post();
    Q_EMIT guideSaved(path);
    return true;
}

void DocumentCommands::waitForPendingSteps() {
    QSet<QUuid> waiting;
    for (const Step& step : m_guide.pendingSteps())
        waiting.insert(step.id);
    if (waiting.isEmpty())
        return;
    // The steps taken so far only: a recording that goes on must not keep the command waiting.
    QProgressDialog progress(tr("Checking new steps for secrets…"), QString(), 0, 0,
                             dialogParent(m_mainWindow));
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(300);
    QEventLoop loop;
    const auto check = [&](const QList<Step>& pending) {
        if (std::none_of(pending.cbegin(), pending.cend(),
                         [&](const Step& step) { return waiting.contains(step.id); }))
            loop.quit();
    };
    // Queued: the signal comes before the change, the guide's list is current after it.
    connect(
        &m_guide, &Guide::pendingWillChange, &loop, [&] { check(m_guide.pendingSteps()); },
        Qt::QueuedConnection);
    // The last of them may have joined before the connection was made.
    QTimer::singleShot(0, &loop, [&] { check(m_guide.pendingSteps()); });
    loop.exec();
}

bool DocumentCommands::confirmDiscardIfNeeded() {
    waitForPendingSteps();
    if (!m_guide.isDirty())
        return true;
    if (m_guide.steps().isEmpty() && m_guide.fileURL().isEmpty())
        return true; // an untitled empty guide is never worth a question
    bringMainWindowToFront();
    Dialogs::Alert alert;
    alert.message = tr("Save changes to “%1”?").arg(m_guide.title());
    alert.informativeText = tr("Your changes will be lost if you don’t save them.");
    alert.buttons = {tr("Save"), tr("Don’t Save"), tr("Cancel")};
    alert.style = Dialogs::Style::warning;
    alert.cancelButton = 2;
    switch (Dialogs::current().alert(dialogParent(m_mainWindow), alert)) {
    case 0:
        return saveDocument();
    case 1:
        return true;
    default:
        return false;
    }
}

void DocumentCommands::refreshWindow() {
    m_refresh.stop();
    if (!m_mainWindow)
        return;
    QWidget* window = m_mainWindow->window();
    // "[*]" is where Qt shows the edited mark; a literal "[*]" in a title is written doubled.
    QString title = m_guide.title();
    title.replace(QStringLiteral("[*]"), QStringLiteral("[*][*]"));
    window->setWindowTitle((title.isEmpty() ? QStringLiteral("Trovix") : title) + QStringLiteral("[*]"));
    window->setWindowFilePath(m_guide.fileURL().isEmpty() ? QString() : m_guide.fileURL().toLocalFile());
    window->setWindowModified(m_guide.isDirty());
}

} // namespace trovix
