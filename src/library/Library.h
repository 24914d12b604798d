#pragma once

#include "document/GuideStore.h"

#include <QList>
#include <QObject>
#include <QSize>
#include <QString>

namespace trovix {

// The library folder, its scan and the change notification.
class Library {
public:
    // The "libraryFolder" setting's path when set (unchecked), else the documents folder's "Trovix".
    // Read afresh on every call.
    static QString folder();
    // Creates folder() with its parents; silent when it exists or cannot be made.
    static void ensureFolder();
    // The guide folders ("*.trovix", case-sensitive, hidden ones too) of `folder`, newest first
    // (stable, in listing order for equal dates). Unreadable entries are dropped; a missing folder
    // gives an empty list. Thumbnails are decoded only just large enough to cover `thumbnailSize`
    // pixels (whole when empty). Any thread; the summaries are read in parallel on the global pool.
    static QList<GuideSummary> scan(const QString& folder, QSize thumbnailSize = {});

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
