#include "library/Library.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>

#include <algorithm>

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
Q_GLOBAL_STATIC(QThreadPool, scanPool)
} // namespace

QList<GuideSummary> Library::scan(const QString& folder, QSize thumbnailSize) {
    const QDir dir(folder);
    // Hidden entries count too; only the exact, case-sensitive extension does. Files and folders
    // alike: a file simply yields no summary.
    QStringList paths;
    const QStringList names =
        dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QString& name : names) {
        if (isGuideName(name))
            paths.append(dir.filePath(name));
    }

    // Each summary decodes a thumbnail, which dominates a large library's scan; blockingMapped keeps
    // the listing order and lets the calling thread take part. It has a pool of its own: called from a
    // task of the global pool, it would find that pool's other threads busy or taken and run alone.
    const QList<std::optional<GuideSummary>> read =
        QtConcurrent::blockingMapped(scanPool(), paths, [thumbnailSize](const QString& path) {
            return GuideStore::summary(path, thumbnailSize);
        });

    QList<GuideSummary> list;
    list.reserve(read.size());
    for (const auto& summary : read) {
        if (summary)
            list.append(*summary);
    }
    sortNewestFirst(list);
    return list;
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
