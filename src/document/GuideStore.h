#pragma once

#include "document/Guide.h"

#include <QDateTime>
#include <QImage>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

namespace trovix {

// What read() gives back: the guide record's fields with complete steps.
struct LoadedGuide {
    QString title;
    QList<Step> steps;
    std::optional<QString> sourcePath;
    std::optional<bool> dirty;
};

// One entry of the library listing; identified by url.
struct GuideSummary {
    QUrl url;
    QString title;
    qint64 stepCount = 0;
    QDateTime modified; // the distant past when unknown
    QImage thumbnail;   // null when there is none
};

// Reads and writes guide folders ("guide.json", one PNG per step, "thumbnail.jpg") and keeps the
// working copy. write() and read() throw trovix::Error.
class GuideStore {
public:
    static void write(const Guide& guide, const QString& folder, bool isWorkingCopy);
    static LoadedGuide read(const QString& folder);
    static std::optional<GuideSummary> summary(const QString& folder);

    // $XDG_DATA_HOME/Trovix/Current, worked out once.
    static QString workingDir();
    // The one guide of the run, loaded from the working copy, with autosave started.
    static std::unique_ptr<Guide> load();

    // 1 January of year 1, 00:00 UTC.
    static QDateTime distantPast();
};

} // namespace trovix
