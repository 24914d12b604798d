#include "library/LibraryModel.h"

#include <QDir>
#include <QFile>
#include <QFutureWatcher>
#include <QSettings>
#include <QStandardPaths>
#include <QUrl>
#include <QtConcurrent/QtConcurrentRun>

namespace trovix {

LibraryModel::LibraryModel(QObject* parent)
    : QObject(parent)
    , m_folder(Library::folder()) {
    // Direct connection: a save's notification reloads synchronously, on the thread that posted it.
    connect(&LibraryNotifier::instance(), &LibraryNotifier::guideLibraryChanged, this, &LibraryModel::reload);
}

void LibraryModel::reload() {
    const QString folder = Library::folder();
    if (folder != m_folder) {
        m_folder = folder;
        Q_EMIT folderChanged();
    }

    Scanner scanner = m_scanner;
    if (!scanner) {
        scanner = [size = m_thumbnailSize](const QString& folder) { return Library::scan(folder, size); };
    }
    ++m_pending;
    // The watcher reports on this object's thread in the order the scans end, and dies with the
    // model, whose pending results are then dropped. (QFuture::then with a context object would do,
    // but Qt 6.4 asserts when the context is gone before the work ends.)
    auto* watcher = new QFutureWatcher<QList<GuideSummary>>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        --m_pending;
        setItems(watcher->result());
        watcher->deleteLater();
        Q_EMIT scanFinished();
    });
    watcher->setFuture(QtConcurrent::run([scanner, folder] { return scanner(folder); }));
}

void LibraryModel::setItems(const QList<GuideSummary>& items) {
    m_items = items;
    Q_EMIT itemsChanged();
}

Dialogs::OpenPanel LibraryModel::folderPanel(const QString& folder) {
    Dialogs::OpenPanel panel;
    panel.title = tr("Choose the folder Trovix should list and save guides in");
    panel.directory = folder;
    panel.prompt = tr("Use This Folder");
    panel.chooseDirectories = true;
    panel.canCreateDirectories = true;
    return panel;
}

void LibraryModel::chooseFolder() {
    if (!m_folderPanel)
        return;
    const QString chosen = m_folderPanel(folderPanel(m_folder));
    if (chosen.isEmpty())
        return;
    QSettings().setValue(QStringLiteral("libraryFolder"), QDir::cleanPath(chosen));
    reload();
}

void LibraryModel::trash(const GuideSummary& summary) {
    const QString path = summary.url.toLocalFile();
    if (path.isEmpty())
        return;
    // Qt 6.4 places the home trash wrongly when the data folder does not exist yet.
    QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    auto* watcher = new QFutureWatcher<void>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        watcher->deleteLater();
        reload();
    });
    watcher->setFuture(QtConcurrent::run([path] { QFile::moveToTrash(path); }));
}

} // namespace trovix
