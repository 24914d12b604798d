#include "document/GuideStore.h"

#include "document/Error.h"

#include <QDir>
#include <QStandardPaths>
#include <QTimeZone>

namespace trovix {

// Placeholder until the folder format lands: nothing is written or read yet.
void GuideStore::write(const Guide&, const QString& folder, bool)
{
    throw Error(Error::Code::io, QStringLiteral("Saving is not available yet."), folder);
}

LoadedGuide GuideStore::read(const QString& folder)
{
    throw Error(Error::Code::io, QStringLiteral("Opening is not available yet."), folder);
}

std::optional<GuideSummary> GuideStore::summary(const QString&)
{
    return std::nullopt;
}

QString GuideStore::workingDir()
{
    static const QString dir =
        QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)).filePath("Trovix/Current");
    return dir;
}

std::unique_ptr<Guide> GuideStore::load()
{
    auto guide = std::make_unique<Guide>();
    guide->startAutosave();
    return guide;
}

QDateTime GuideStore::distantPast()
{
    return QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
}

} // namespace trovix
