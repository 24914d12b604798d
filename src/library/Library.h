#pragma once

#include "document/GuideStore.h"

#include <QList>
#include <QObject>
#include <QString>

namespace trovix {

// The library folder, its scan and the change notification.
class Library {
public:
    // The "libraryFolder" setting's path when set, else the documents folder's "Trovix".
    static QString folder();
    // Creates folder() with its parents; silent when it exists or cannot be made.
    static void ensureFolder();
    // The guide folders ("*.trovix", case-sensitive, hidden ones too) of `folder`, newest first
    // (stable). Unreadable entries are dropped; a missing folder gives an empty list. Any thread.
    static QList<GuideSummary> scan(const QString& folder);
};

// The process-wide notification that the library's contents may have changed (after each successful
// save). Delivery is synchronous on the posting thread.
class LibraryNotifier : public QObject {
    Q_OBJECT
public:
    static LibraryNotifier& instance();
    static void post() { Q_EMIT instance().guideLibraryChanged(); }
Q_SIGNALS:
    void guideLibraryChanged();
};

} // namespace trovix
