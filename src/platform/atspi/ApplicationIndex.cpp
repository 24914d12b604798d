#include "platform/atspi/ApplicationIndex.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileSystemWatcher>
#include <QStandardPaths>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

namespace trovix {

ApplicationIndex::ApplicationIndex()
    : m_folders(QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
    , m_pool(std::make_unique<QThreadPool>()) {
    m_pool->setMaxThreadCount(1);
    moveToThread(QCoreApplication::instance()->thread());
}

ApplicationIndex::~ApplicationIndex() {
    m_pool->waitForDone();
}

void ApplicationIndex::prepare() {
    {
        std::lock_guard lock(m_mutex);
        if (m_entries || m_reading)
            return;
        m_reading = true;
    }
    m_pool->start([this] { read(); });
    QMetaObject::invokeMethod(this, &ApplicationIndex::watch, Qt::QueuedConnection);
}

void ApplicationIndex::read() {
    for (;;) {
        auto entries = std::make_shared<const DesktopEntries>(m_folders);
        std::lock_guard lock(m_mutex);
        m_entries = std::move(entries);
        if (!m_stale) {
            m_reading = false;
            break;
        }
        m_stale = false;
    }
    m_ready.notify_all();
}

std::shared_ptr<const DesktopEntries> ApplicationIndex::entries(Clock::time_point deadline) {
    prepare();
    std::unique_lock lock(m_mutex);
    m_ready.wait_until(lock, deadline, [this] { return m_entries != nullptr; });
    return m_entries;
}

// Watches each data folder (for an applications folder made later) and each applications folder;
// a burst of changes, as a package manager makes, is read once it has settled.
void ApplicationIndex::watch() {
    if (!m_watcher) {
        m_watcher = new QFileSystemWatcher(this);
        m_settle = new QTimer(this);
        m_settle->setSingleShot(true);
        m_settle->setInterval(300);
        connect(m_watcher, &QFileSystemWatcher::directoryChanged, m_settle, qOverload<>(&QTimer::start));
        connect(m_settle, &QTimer::timeout, this, &ApplicationIndex::changed);
    }
    QStringList paths;
    for (const QString& folder : std::as_const(m_folders)) {
        for (const QString& path : {folder, QDir(folder).filePath(QStringLiteral("applications"))})
            if (QFileInfo(path).isDir() && !m_watcher->directories().contains(path))
                paths.append(path);
    }
    if (!paths.isEmpty())
        m_watcher->addPaths(paths);
}

void ApplicationIndex::changed() {
    {
        std::lock_guard lock(m_mutex);
        if (m_reading) {
            m_stale = true;
            return;
        }
        m_reading = true;
    }
    m_pool->start([this] { read(); });
    watch();
}

} // namespace trovix
