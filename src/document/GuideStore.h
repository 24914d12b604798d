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
    // Why the folder, although a guide folder, cannot be read (a sentence naming the file and the
    // reason); empty for a readable guide. Such an entry is titled after the folder and has no steps.
    QString problem;
};

// Reads and writes guide folders ("guide.json", one PNG per step, "thumbnail.jpg") and keeps the
// working copy. write() and read() throw trovix::Error.
//
// Every file is replaced through a temporary file and a rename, and a step's PNG is in place before
// the "guide.json" that names it, so a crash at any moment leaves a folder that reads back whole.
class GuideStore {
public:
    // The largest files the reader takes (SI units, as the messages say them). A guide with a thousand
    // steps and their marks needs a few megabytes of JSON; a screenshot of a 16K display stays under
    // the picture's limit even where it hardly compresses; a thumbnail is a 640-pixel JPEG.
    static constexpr qint64 maxRecordSize = 64'000'000;
    static constexpr qint64 maxPictureSize = 256'000'000;
    static constexpr qint64 maxThumbnailSize = 16'000'000;

    // Writes the guide into the folder, creating it if needed. A step's PNG is written only when the
    // folder has none of that name yet, from the bytes the step's image already carries (waiting for
    // its background encoding if that is still running). Saved folders get "thumbnail.jpg"; working
    // copies get "sourcePath" and "dirty" instead.
    static void write(const Guide& guide, const QString& folder, bool isWorkingCopy);
    // Reads a guide folder. Step images are checked for damage but decoded only when first shown.
    static LoadedGuide read(const QString& folder);
    // The library's view of a guide folder; nothing when it holds no "guide.json" or one that is no
    // guide record, and an entry with its problem when the reader refuses or fails to read it. Safe to call
    // from any thread. With a thumbnailSize, the thumbnail is decoded only just large enough to cover
    // that many pixels (a JPEG decodes at 1/2, 1/4 or 1/8 size directly), which is what a listing of
    // a thousand guides can afford to hold.
    static std::optional<GuideSummary> summary(const QString& folder, QSize thumbnailSize = {});

    // Autosave's write: takes the guide as it is now and writes it as a working copy on the store's
    // writer thread, so the caller never waits for a PNG encoder or the disk. Writes to one folder
    // happen in the order they were asked for, and one asked for later (also a write()) supersedes one
    // that has not begun. Errors are ignored.
    static void writeInBackground(const Guide& guide, const QString& folder);
    // Waits until every background write asked for so far has finished.
    static void waitForBackgroundWrites();

    // $XDG_DATA_HOME/Trovix/Current, worked out once.
    static QString workingDir();
    // The one guide of the run, loaded from the working copy, with autosave started.
    static std::unique_ptr<Guide> load();

    // 1 January of year 1, 00:00 UTC.
    static QDateTime distantPast();
    // The listing's entry for a folder that cannot be read: titled after the folder, with the problem.
    static GuideSummary unreadable(const QString& folder, const QString& problem);
};

} // namespace trovix
