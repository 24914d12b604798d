#pragma once

#include "document/GuideStore.h"

#include <QList>
#include <QObject>
#include <QSize>
#include <QString>

#include <functional>
#include <optional>

namespace trovix {

// The library folder, its scan and the change notification.
class Library {
public:
    // The "libraryFolder" setting's path when set (unchecked), else the documents folder's "Trovix".
    // Read afresh on every call.
    static QString folder();
    // Creates folder() with its parents; silent when it exists or cannot be made.
    static void ensureFolder();
    // How long one guide folder may take to read before the scan lists it as unreadable and moves on.
    static constexpr int folderBudgetMs = 5000;

    struct ScanOptions {
        // Thumbnails are decoded only just large enough to cover this many pixels (whole when empty).
        QSize thumbnailSize;
        int budgetMs = folderBudgetMs;
        // Called on the scanning thread, at most every few hundred milliseconds while some folders
        // are still being read, with the summaries read so far, newest first.
        std::function<void(const QList<GuideSummary>&)> progress;
        // Asked now and then; once it answers true the scan stops waiting and returns nothing.
        std::function<bool()> cancelled;
        // Reads one folder; GuideStore::summary by default.
        std::function<std::optional<GuideSummary>(const QString& folder)> reader;
    };

    // The guide folders ("*.trovix", case-sensitive, hidden ones too) of `folder`, newest first
    // (stable, in listing order for equal dates); those that are no guides are dropped, those that
    // cannot be read come last with their problem. A missing folder gives an empty list. Any thread.
    //
    // The folders are read in parallel on threads of the scan's own, which it leaves behind when a
    // read does not come back within the budget (a hung network mount can block a thread for good):
    // that folder is listed as unreadable and another thread takes over the rest.
    static QList<GuideSummary> scan(const QString& folder, const ScanOptions& options);
    static QList<GuideSummary> scan(const QString& folder, QSize thumbnailSize = {});

    // Threads of scans, running or left behind in a read that has not returned.
    static int busyThreads();
    // Waits up to `ms` for every scan thread to end; false when some are still busy. The application
    // does not wait longer at exit: a thread stuck in the disk must not keep the process alive.
    static bool waitForScanThreads(int ms);
    // Runs `work` on a thread of its own that nobody joins, counted by busyThreads().
    static void runDetached(std::function<void()> work);

    // Strictly later modification dates first; equal dates keep their order.
    static void sortNewestFirst(QList<GuideSummary>& list);
    // Whether a directory entry's name passes the library's extension test.
    static bool isGuideName(QStringView name);
};

// The process-wide notification "TrovixLibraryChanged": the library's contents may have changed
// (posted after each successful save). Delivery is synchronous on the posting thread; connections end
// with their receivers.
class LibraryNotifier : public QObject {
    Q_OBJECT
public:
    static LibraryNotifier& instance();
    static void post() { Q_EMIT instance().guideLibraryChanged(); }
Q_SIGNALS:
    void guideLibraryChanged();
};

} // namespace trovix
