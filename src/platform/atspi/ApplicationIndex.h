#pragma once

#include "platform/atspi/DesktopEntries.h"

#include <QObject>
#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

class QFileSystemWatcher;
class QThreadPool;
class QTimer;

namespace trovix {

// The installed applications' names, read once in the background and again only when their
// folders change, so that naming a click's application costs a lookup, never a read of hundreds of
// desktop entries. Any thread may ask; the folders are watched from the main thread.
class ApplicationIndex : public QObject {
    Q_OBJECT
public:
    using Clock = std::chrono::steady_clock;

    // The index of the user's data folders ($XDG_DATA_HOME, then $XDG_DATA_DIRS). Make it on the
    // main thread.
    ApplicationIndex();

    // Starts reading the entries unless they are read or being read, and watching their folders.
    // Returns at once; callable from any thread.
    void prepare();
    // The entries as last read. While they are being read for the first time, waits for them until
    // the deadline; none when they are not in by then.
    std::shared_ptr<const DesktopEntries> entries(Clock::time_point deadline);

    ~ApplicationIndex() override;

private:
    void read();
    void watch();
    void changed();

    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::shared_ptr<const DesktopEntries> m_entries;
    bool m_reading = false;
    // Set when the folders changed while a read was under way: that read may have missed it.
    bool m_stale = false;
    QStringList m_folders;
    std::unique_ptr<QThreadPool> m_pool;
    QFileSystemWatcher* m_watcher = nullptr;
    QTimer* m_settle = nullptr;
};

} // namespace trovix
