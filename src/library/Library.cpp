#include "library/Library.h"

#include "document/StoreErrors.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <dirent.h>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace trovix {

QString Library::folder() {
    const QVariant stored = QSettings().value(QStringLiteral("libraryFolder"));
    if (stored.typeId() == QMetaType::QString)
        return stored.toString();
    QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (documents.isEmpty())
        documents = QDir::homePath();
    return QDir(documents).filePath(QStringLiteral("Trovix"));
}

void Library::ensureFolder() {
    QDir().mkpath(folder());
}

bool Library::isGuideName(QStringView name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot >= 0 && name.mid(dot + 1) == u"trovix";
}

namespace {

using Clock = std::chrono::steady_clock;

// The scan threads' count. Never destroyed: a thread left in the disk may end after main() has.
struct ThreadCount {
    std::mutex mutex;
    std::condition_variable idle;
    int busy = 0;
};

ThreadCount& threadCount() {
    static auto* count = new ThreadCount;
    return *count;
}

// What a scan's threads share. A thread left behind keeps it alive until its read returns.
struct ScanState {
    std::mutex mutex;
    std::condition_variable changed;
    QStringList paths;
    std::function<std::optional<GuideSummary>(const QString&)> reader;
    std::vector<std::optional<GuideSummary>> results;
    std::vector<Clock::time_point> started;
    std::vector<char> running;
    std::vector<char> done; // read, or given up on
    qsizetype next = 0;
    qsizetype finished = 0;
    bool stopped = false;
};

// One scan thread: reads folders until none are left. A read the scan gave up on while it ran means
// another thread has taken this one's place, so this one ends.
void readFolders(const std::shared_ptr<ScanState>& state) {
    std::unique_lock lock(state->mutex);
    while (!state->stopped && state->next < state->paths.size()) {
        const qsizetype i = state->next++;
        state->started[size_t(i)] = Clock::now();
        state->running[size_t(i)] = 1;
        const QString path = state->paths[i];
        lock.unlock();
        std::optional<GuideSummary> summary = state->reader(path);
        lock.lock();
        state->running[size_t(i)] = 0;
        if (state->done[size_t(i)])
            return;
        state->results[size_t(i)] = std::move(summary);
        state->done[size_t(i)] = 1;
        ++state->finished;
        state->changed.notify_all();
    }
}

QList<GuideSummary> collected(const ScanState& state) {
    QList<GuideSummary> list;
    list.reserve(state.finished);
    for (size_t i = 0; i < state.results.size(); ++i)
        if (state.done[i] && state.results[i])
            list.append(*state.results[i]);
    Library::sortNewestFirst(list);
    return list;
}

} // namespace

int Library::busyThreads() {
    ThreadCount& count = threadCount();
    std::lock_guard lock(count.mutex);
    return count.busy;
}

bool Library::waitForScanThreads(int ms) {
    ThreadCount& count = threadCount();
    std::unique_lock lock(count.mutex);
    return count.idle.wait_for(lock, std::chrono::milliseconds(ms), [&] { return count.busy == 0; });
}

void Library::runDetached(std::function<void()> work) {
    ThreadCount& count = threadCount();
    {
        std::lock_guard lock(count.mutex);
        ++count.busy;
    }
    std::thread([work = std::move(work)] {
        work();
        ThreadCount& count = threadCount();
        std::lock_guard lock(count.mutex);
        if (--count.busy == 0)
            count.idle.notify_all();
    }).detach();
}

QList<GuideSummary> Library::scan(const QString& folder, QSize thumbnailSize) {
    ScanOptions options;
    options.thumbnailSize = thumbnailSize;
    return scan(folder, options);
}

QList<GuideSummary> Library::scan(const QString& folder, const ScanOptions& options) {
    const QDir dir(folder);
    // Hidden entries count too; only the exact, case-sensitive extension does. Files and folders
    // alike: a file simply yields no summary. The names alone are read, nothing about the entries: a
    // guide folder that is the mount point of a hung disk would block even a stat, which belongs
    // inside that folder's budget.
    auto state = std::make_shared<ScanState>();
    if (DIR* listing = ::opendir(QFile::encodeName(folder).constData())) {
        while (const dirent* entry = ::readdir(listing)) {
            const QString name = QFile::decodeName(entry->d_name);
            if (isGuideName(name))
                state->paths.append(dir.filePath(name));
        }
        ::closedir(listing);
    }
    const size_t count = size_t(state->paths.size());
    if (count == 0)
        return {};
    state->reader = options.reader ? options.reader : [size = options.thumbnailSize](const QString& path) {
        return GuideStore::summary(path, size);
    };
    state->results.resize(count);
    state->started.resize(count);
    state->running.resize(count, 0);
    state->done.resize(count, 0);

    // Each summary decodes a thumbnail, which dominates a large library's scan: both cores share it.
    const int threads = int(std::min<size_t>(count, size_t(std::max(2, QThread::idealThreadCount()))));
    for (int i = 0; i < threads; ++i)
        runDetached([state] { readFolders(state); });

    const auto budget = std::chrono::milliseconds(std::max(1, options.budgetMs));
    constexpr auto progressEvery = std::chrono::milliseconds(250);
    constexpr auto cancelEvery = std::chrono::milliseconds(100);
    Clock::time_point lastProgress = Clock::now();
    qsizetype reported = 0;
    // Folders are taken in order, so those being read lie between the first not done and the next.
    size_t first = 0;
    std::unique_lock lock(state->mutex);
    while (state->finished < qsizetype(count)) {
        while (first < count && state->done[first])
            ++first;
        const Clock::time_point now = Clock::now();
        Clock::time_point wake = now + cancelEvery;
        for (size_t i = first; i < size_t(state->next); ++i)
            if (state->running[i] && !state->done[i])
                wake = std::min(wake, state->started[i] + budget);
        if (options.progress)
            wake = std::min(wake, lastProgress + progressEvery);
        state->changed.wait_until(lock, wake);

        if (options.cancelled) {
            lock.unlock();
            const bool cancelled = options.cancelled();
            lock.lock();
            if (cancelled) {
                state->stopped = true;
                return {};
            }
        }
        // A folder past its budget is listed as unreadable; its thread is left to its read, and a new
        // one takes over the folders still waiting.
        for (size_t i = first; i < size_t(state->next); ++i) {
            if (!state->running[i] || state->done[i] || Clock::now() < state->started[i] + budget)
                continue;
            const QString path = state->paths[qsizetype(i)];
            state->results[i] = GuideStore::unreadable(
                path, QCoreApplication::translate("trovix::Library",
                                                  "The folder %1 didn’t answer within %2 seconds: the disk "
                                                  "it is on may be slow or no longer connected.")
                          .arg(StoreErrors::quoted(QFileInfo(path).fileName()))
                          .arg(options.budgetMs / 1000.0));
            state->done[i] = 1;
            ++state->finished;
            if (state->next < qsizetype(count))
                runDetached([state] { readFolders(state); });
        }
        if (options.progress && state->finished < qsizetype(count) && state->finished > reported &&
            Clock::now() >= lastProgress + progressEvery) {
            reported = state->finished;
            const QList<GuideSummary> sofar = collected(*state);
            lock.unlock();
            options.progress(sofar);
            lock.lock();
            lastProgress = Clock::now();
        }
    }
    state->stopped = true;
    return collected(*state);
}

void Library::sortNewestFirst(QList<GuideSummary>& list) {
    std::stable_sort(list.begin(), list.end(),
                     [](const GuideSummary& a, const GuideSummary& b) { return a.modified > b.modified; });
}

LibraryNotifier& LibraryNotifier::instance() {
    static LibraryNotifier notifier;
    return notifier;
}

} // namespace trovix
