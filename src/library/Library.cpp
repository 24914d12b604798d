#include "library/Library.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>

namespace trovix {

QString Library::folder()
{
    const QVariant stored = QSettings().value(QStringLiteral("libraryFolder"));
    if (stored.typeId() == QMetaType::QString)
        return stored.toString();
    QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (documents.isEmpty())
        documents = QDir::homePath();
    return QDir(documents).filePath(QStringLiteral("Trovix"));
}

void Library::ensureFolder()
{
    QDir().mkpath(folder());
}

QList<GuideSummary> Library::scan(const QString& folder)
{
    const QDir dir(folder);
    // Hidden entries count too; only the exact, case-sensitive extension does.
    const QStringList names =
        dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
    QList<GuideSummary> list;
    for (const QString& name : names) {
        const int dot = name.lastIndexOf(u'.');
        if (dot < 0 || QStringView(name).mid(dot + 1) != u"trovix")
            continue;
        if (auto summary = GuideStore::summary(dir.filePath(name)))
            list.append(std::move(*summary));
    }
    std::stable_sort(list.begin(), list.end(),
                     [](const GuideSummary& a, const GuideSummary& b) { return a.modified > b.modified; });
    return list;
}

LibraryNotifier& LibraryNotifier::instance()
{
    static LibraryNotifier notifier;
    return notifier;
}

} // namespace trovix
