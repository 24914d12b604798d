#include "library/LibraryModel.h"

#include <QDir>
#include <QFile>
#include <QFutureWatcher>
#include <QPromise>
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
    if (!scanner)
        scanner = [](const QString& folder, const Library::ScanOptions& options) {
            return Library::scan(folder, options);
        };
    ++m_pending;
    const int scan = ++m_started;
    // The scan reports through a promise: its partial lists and its last one arrive here, on this
    // object's thread, in order, and a model that is gone simply drops them. The thread is not one
    // of a pool, whose end would wait for a scan stuck in the disk.
    auto promise = std::make_shared<QPromise<QList<GuideSummary>>>();
    auto* watcher = new QFutureWatcher<QList<GuideSummary>>(this);
    connect(watcher, &QFutureWatcherBase::resultReadyAt, this, [this, watcher, scan](int index) {
        if (watcher->future().isFinished() || scan != m_started)
            return; // a partial list of an older scan, or the last list, which finished() stores
        setItems(watcher->resultAt(index));
    });
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        --m_pending;
        watcher->deleteLater();
        if (watcher->isCanceled() || watcher->future().resultCount() == 0)
            return;
        setItems(watcher->future().results().constLast());
        Q_EMIT scanFinished();
    });
    watcher->setFuture(promise->future());
    promise->start();
    Library::runDetached([scanner, folder, size = m_thumbnailSize, promise] {
        Library::ScanOptions options;
        options.thumbnailSize = size;
        options.cancelled = [promise] { return promise->isCanceled(); };
        options.progress = [promise](const QList<GuideSummary>& sofar) { promise->addResult(sofar); };
        const QList<GuideSummary> list = scanner(folder, options);
        if (!promise->isCanceled())
            promise->addResult(list);
        promise->finish();
    });
}

void LibraryModel::cancelScans() {
    for (auto* watcher :
         findChildren<QFutureWatcher<QList<GuideSummary>>*>(QString(), Qt::FindDirectChildrenOnly))
        watcher->cancel();
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
