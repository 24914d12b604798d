#pragma once

#include "document/Step.h"
#include "export/ExportImage.h"
#include "export/ExportQuality.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace trovix {

class Guide;

// What an export wrote.
struct ExportResult {
    QString path;      // the Markdown folder, or the HTML or PDF file
    QStringList files; // every file written, in the order written
    qint64 bytes = 0;  // their summed size
};

// Called on the calling thread after each step: `done` of `total` steps are written.
using ExportProgress = std::function<void(int done, int total)>;

// The export writers. Stateless; every call can run on any thread and shows nothing to the user.
// Writers that fail throw trovix::Error, whose message names the file that could not be written;
// files already written stay where they are.
//
// Pictures are prepared on a small worker pool ahead of the writer and released as soon as they
// are written, so a long guide of large screenshots never holds more than a few decoded pictures.
class Exporter {
public:
    // The step picture at `quality`: scaled down and JPEG-encoded (small, balanced), or PNG at its
    // own size (full). None when the picture cannot be scaled, encoded or is null.
    static std::optional<ExportImage> prepare(const Image& image, ExportQuality quality);
    static std::optional<ExportImage> prepare(const QImage& image, ExportQuality quality);
    // A step's picture at `quality`. For small and balanced, a marked step has its marks drawn at
    // the export's size over the shrunk screenshot.
    static std::optional<ExportImage> prepare(const Step& step, ExportQuality quality);

    // The title as one path component: "/", ":" and "\" each become "-"; an empty result is "Guide".
    static QString safeName(const QString& title);

    // The folder a Markdown export into `parentDir` creates: parentDir/safeName(title).
    static QString markdownFolder(const QString& parentDir, const QString& title);

    // Creates `folder` (and folder/images) when missing, writes images/step-N.jpg|png for every step
    // and then guide.md atomically. Existing files of the same names are replaced; others are left.
    static ExportResult writeMarkdown(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                      const QString& folder, const ExportProgress& progress = {});
    static ExportResult writeMarkdown(const Guide& guide, ExportQuality quality, const QString& folder,
                                      const ExportProgress& progress = {});
    // The text of guide.md for these steps, pictures named images/step-N.<ext> with ext per step.
    static QString markdownText(const QString& title, const QList<Step>& steps, const QStringList& exts);

    // The self-contained HTML document (UTF-8), pictures inlined as data URIs. `date` is shown in
    // the header in the locale's long form. Steps whose picture cannot be prepared have no image.
    static QByteArray html(const QString& title, const QList<Step>& steps, ExportQuality quality,
                           QDate date = QDate::currentDate(), const ExportProgress& progress = {});
    // Writes the same document to `file` atomically (streamed, so memory stays small).
    static ExportResult writeHtml(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                  const QString& file, const ExportProgress& progress = {},
                                  QDate date = QDate::currentDate());
    static ExportResult writeHtml(const Guide& guide, ExportQuality quality, const QString& file,
                                  const ExportProgress& progress = {});

    // Writes the guide as a PDF of US Letter pages to `file` atomically: title block, one block per
    // step, "Page N" footers, the title in the document information and one bookmark per step. At full
    // quality a step's stored PNG goes in without being decoded or compressed again; marked steps
    // are encoded once while the pages are laid out.
    static ExportResult writePdf(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                 const QString& file, const ExportProgress& progress = {},
                                 QDate date = QDate::currentDate());
    static ExportResult writePdf(const Guide& guide, ExportQuality quality, const QString& file,
                                 const ExportProgress& progress = {});

    // Writes the guide as a Word document (.docx) or an OpenDocument text (.odt) to `file`
    // atomically: the title, the meta line, then each step as a numbered Heading 1 with its note and
    // picture, all in paragraph styles a reader can restyle. Pictures are the preset's JPEG, or at full
    // quality the stored PNG as it is; they are written one at a time, so memory does not grow with
    // the guide. `created` is the documents' creation date, and its date is the one on the meta line.
    static ExportResult writeDocx(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                  const QString& file, const ExportProgress& progress = {},
                                  const QDateTime& created = QDateTime::currentDateTime());
    static ExportResult writeOdt(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                 const QString& file, const ExportProgress& progress = {},
                                 const QDateTime& created = QDateTime::currentDateTime());

    // Dispatches on `format`: `destination` is the Markdown folder or the file.
    static ExportResult write(ExportFormat format, const QString& title, const QList<Step>& steps,
                              ExportQuality quality, const QString& destination,
                              const ExportProgress& progress = {});

    // The line under a document's title: "3 steps  ·  March 6, 2025".
    static QString metaLine(int steps, QDate date);

    // The date as the locale's long date without the weekday and without time ("March 6, 2025" in
    // US English, "6. März 2025" in German).
    static QString longDate(QDate date, const QLocale& locale);
};

} // namespace trovix
