#include "export/Exporter.h"

#include "document/Error.h"
#include "document/Guide.h"
#include "export/DocxWriter.h"
#include "export/OdtWriter.h"
#include "export/OutputFile.h"
#include "export/PreparedPictures.h"
#include "render/ImageCodec.h"
#include "render/ImageOps.h"
#include "render/Renderer.h"

#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>

namespace trovix {

namespace {

// The JPEG of a picture already shrunk to the quality's size.
std::optional<ExportImage> jpegImage(const QImage& scaled, ExportQuality quality) {
    if (scaled.isNull())
        return std::nullopt;
    QByteArray data = jpegData(scaled, *jpegQuality(quality));
    if (data.isEmpty())
        return std::nullopt;
    // What the export shows is the picture after the lossy round trip, not the scaled original. It is
    // decoded only when asked for: the writers embed the JPEG bytes and never need its pixels.
    return ExportImage{Image::lazy(scaled.size(), [data] { return ImageCodec::decode(data); }), data,
                       QStringLiteral("jpg"), QStringLiteral("image/jpeg")};
}

ExportImage pngImage(Image image, QByteArray png) {
    return ExportImage{std::move(image), std::move(png), QStringLiteral("png"), QStringLiteral("image/png")};
}

} // namespace

std::optional<ExportImage> Exporter::prepare(const Image& image, ExportQuality quality) {
    if (image.isNull())
        return std::nullopt;
    if (quality != ExportQuality::full)
        return jpegImage(scaledDown(image, double(*maxSide(quality))), quality);
    // A picture read from a guide folder already carries its PNG: it is embedded as it is rather
    // than decoded and encoded again. Others are encoded here without being kept in the guide.
    QByteArray png = image.hasPng() ? image.png() : ImageCodec::encodePng(image.pixels());
    if (png.isEmpty())
        return std::nullopt;
    return pngImage(image, std::move(png));
}

std::optional<ExportImage> Exporter::prepare(const QImage& image, ExportQuality quality) {
    if (image.isNull())
        return std::nullopt;
    if (quality != ExportQuality::full)
        return jpegImage(scaledDown(image, double(*maxSide(quality))), quality);
    QByteArray png = ImageCodec::encodePng(image);
    if (png.isEmpty())
        return std::nullopt;
    return pngImage(Image(image), std::move(png));
}

std::optional<ExportImage> Exporter::prepare(const Step& step, ExportQuality quality) {
    if (quality == ExportQuality::full || step.annotations.isEmpty() || step.base.isNull())
        return prepare(step.rendered, quality);
    // The marks are drawn at the export's size over the shrunk screenshot: drawing them at full size
    // first would mean decoding, copying and shrinking the whole picture for a few lines and labels.
    // Always so, even when the full-size picture happens to be in memory, so that one guide always
    // exports the same pictures.
    const QImage base = scaledDown(step.base, double(*maxSide(quality)));
    if (base.isNull())
        return std::nullopt;
    // One scale for both directions, taken along the longer side, where rounding errs least.
    const QSize full = step.base.size();
    const double shrink = full.width() >= full.height() ? double(base.width()) / full.width()
                                                         : double(base.height()) / full.height();
    const QImage drawn = Renderer::render(base, step.annotations, step.scale * shrink);
    return jpegImage(drawn.isNull() ? base : drawn, quality);
}

QString Exporter::safeName(const QString& title) {
    QString name = title;
    for (QChar c : {u'/', u':', u'\\'})
        name.replace(c, u'-');
    return name.isEmpty() ? QCoreApplication::translate("trovix::Exporter", "Guide") : name;
}

QString Exporter::markdownFolder(const QString& parentDir, const QString& title) {
    return QDir(parentDir).filePath(safeName(title));
}

QString Exporter::markdownText(const QString& title, const QList<Step>& steps, const QStringList& exts) {
    QString text = QStringLiteral("# ") + title + QStringLiteral("\n\n");
    for (qsizetype i = 0; i < steps.size(); ++i) {
        const QString n = QString::number(i + 1);
        text += QStringLiteral("## ") + n + QStringLiteral(". ") + steps[i].title + QStringLiteral("\n\n");
        if (!steps[i].note.isEmpty())
            text += steps[i].note + QStringLiteral("\n\n");
        text += QStringLiteral("![") + QCoreApplication::translate("trovix::Exporter", "Step %1").arg(n) +
                QStringLiteral("](images/step-") + n + QLatin1Char('.') + exts.value(i) +
                QStringLiteral(")\n\n");
    }
    return text;
}

ExportResult Exporter::writeMarkdown(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                     const QString& folder, const ExportProgress& progress) {
    const QDir dir(folder);
    const QString images = dir.filePath(QStringLiteral("images"));
    OutputFile::makeFolder(images);

    ExportResult result;
    result.path = folder;
    const int total = int(steps.size());
    if (progress)
        progress(0, total);

    PreparedPictures pictures(steps, quality, PreparedPictures::Use::files);
    QStringList exts;
    for (int i = 0; i < total; ++i) {
        const QString n = QString::number(i + 1);
        PreparedPictures::Picture picture = pictures.take(i);
        if (!picture.image) {
            const QString path = QDir(images).filePath(
                QStringLiteral("step-%1.%2").arg(n, quality == ExportQuality::full ? "png" : "jpg"));
            throw Error(Error::Code::writeUnknown,
                        QCoreApplication::translate("trovix::Exporter",
                                                    "The picture of step %1 could not be encoded for %2.")
                            .arg(n, quoted(path)),
                        path);
        }
        const QString path =
            QDir(images).filePath(QStringLiteral("step-") + n + QLatin1Char('.') + picture.image->ext);
        result.bytes += OutputFile::writeWhole(path, picture.image->data);
        result.files << path;
        exts << picture.image->ext;
        if (progress)
            progress(i + 1, total);
    }

    OutputFile guideFile(dir.filePath(QStringLiteral("guide.md")));
    guideFile.write(markdownText(title, steps, exts).toUtf8());
    result.bytes += guideFile.commit();
    result.files << guideFile.path();
    return result;
}

ExportResult Exporter::writeMarkdown(const Guide& guide, ExportQuality quality, const QString& folder,
                                     const ExportProgress& progress) {
    return writeMarkdown(guide.title(), guide.steps(), quality, folder, progress);
}

ExportResult Exporter::writeHtml(const Guide& guide, ExportQuality quality, const QString& file,
                                 const ExportProgress& progress) {
    return writeHtml(guide.title(), guide.steps(), quality, file, progress);
}

ExportResult Exporter::writePdf(const Guide& guide, ExportQuality quality, const QString& file,
                                const ExportProgress& progress) {
    return writePdf(guide.title(), guide.steps(), quality, file, progress);
}

ExportResult Exporter::write(ExportFormat format, const QString& title, const QList<Step>& steps,
                             ExportQuality quality, const QString& destination,
                             const ExportProgress& progress) {
    switch (format) {
    case ExportFormat::markdown:
        return writeMarkdown(title, steps, quality, destination, progress);
    case ExportFormat::html:
        return writeHtml(title, steps, quality, destination, progress);
    case ExportFormat::pdf:
        return writePdf(title, steps, quality, destination, progress);
    case ExportFormat::docx:
        return writeDocx(title, steps, quality, destination, progress);
    case ExportFormat::odt:
        return writeOdt(title, steps, quality, destination, progress);
    }
    return {};
}

ExportResult Exporter::writeDocx(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                 const QString& file, const ExportProgress& progress,
                                 const QDateTime& created) {
    return DocxWriter::write(title, steps, quality, file, progress, created);
}

ExportResult Exporter::writeOdt(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                const QString& file, const ExportProgress& progress,
                                const QDateTime& created) {
    return OdtWriter::write(title, steps, quality, file, progress, created);
}

QString Exporter::metaLine(int steps, QDate date) {
    return (steps == 1 ? QCoreApplication::translate("trovix::PdfWriter", "%1 step  ·  %2")
                       : QCoreApplication::translate("trovix::PdfWriter", "%1 steps  ·  %2"))
        .arg(steps)
        .arg(longDate(date, QLocale::system()));
}

QString Exporter::longDate(QDate date, const QLocale& locale) {
    // Qt's long format names the weekday; the long date wanted here does not ("March 6, 2025").
    // Drop the weekday field with the separators that tie it to the rest.
    QString format = locale.dateFormat(QLocale::LongFormat);
    static const QRegularExpression weekday(QStringLiteral("(?<!d)d{3,4}(?!d)"));
    const QRegularExpressionMatch match = weekday.match(format);
    if (match.hasMatch()) {
        static const QRegularExpression after(QStringLiteral("^[\\s,\u060C\u3001\uFF0C]*"));
        static const QRegularExpression before(QStringLiteral("[\\s,\u060C\u3001\uFF0C]*$"));
        const QString head = format.left(match.capturedStart()).remove(before);
        const QString tail = format.mid(match.capturedEnd()).remove(after);
        format = head.isEmpty() || tail.isEmpty() ? head + tail : head + QLatin1Char(' ') + tail;
    }
    return locale.toString(date, format.trimmed());
}

} // namespace trovix
