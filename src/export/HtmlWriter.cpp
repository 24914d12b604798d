#include "export/HtmlWriter.h"

#include "export/OutputFile.h"
#include "export/PreparedPictures.h"

#include <QCoreApplication>
#include <QLocale>

namespace trovix {

namespace {

// Everything between the title element's text and the heading's text.
constexpr char style[] =
    "</title>\n"
    "<style>\n"
    "body{font:16px/1.5 -apple-system,BlinkMacSystemFont,\"Helvetica Neue\",sans-serif;max-width:860px;"
    "margin:48px auto;padding:0 24px;color:#1d1d1f}\n"
    "header{border-bottom:2px solid #e5e5ea;padding-bottom:20px;margin-bottom:36px}\n"
    "h1{font-size:32px;margin:0 0 6px}.meta{color:#8e8e93;font-size:14px}\n"
    ".step{display:flex;gap:16px;margin-bottom:40px;break-inside:avoid}\n"
    ".badge{flex:none;width:30px;height:30px;border-radius:50%;background:#007aff;color:#fff;font-weight:700;"
    "\n"
    "  display:flex;align-items:center;justify-content:center;font-size:14px;margin-top:2px}\n"
    ".body{flex:1;min-width:0}h2{font-size:19px;margin:3px 0 6px}.note{color:#636366;margin:0 0 12px}\n"
    "img{display:block;max-width:100%;border:1px solid #d1d1d6;border-radius:10px;"
    "box-shadow:0 2px 10px rgba(0,0,0,.08);margin-top:12px}\n"
    "</style></head><body>\n"
    "<header><h1>";
static_assert(sizeof(style) - 1 == 831);

} // namespace

QString HtmlWriter::escaped(const QString& text) {
    QString out = text;
    out.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    out.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    out.replace(QLatin1Char('>'), QLatin1String("&gt;"));
    out.replace(QLatin1Char('"'), QLatin1String("&quot;"));
    return out;
}

void HtmlWriter::write(const QString& title, const QList<Step>& steps, ExportQuality quality, QDate date,
                       const ExportProgress& progress, const Sink& sink) {
    const QByteArray escapedTitle = escaped(title).toUtf8();
    const int total = int(steps.size());
    sink("<!doctype html><html><head><meta charset=\"utf-8\"><title>");
    sink(escapedTitle);
    sink(style);
    sink(escapedTitle);
    sink("</h1>\n<div class=\"meta\">");
    // English says "steps" for every count; other languages choose their plural form.
    sink(QCoreApplication::translate("trovix::HtmlWriter", "%n steps · %1", nullptr, total)
             .arg(Exporter::longDate(date, QLocale::system()))
             .toUtf8());
    sink("</div></header>");
    if (progress)
        progress(0, total);

    PreparedPictures pictures(steps, quality, PreparedPictures::Use::files);
    for (int i = 0; i < total; ++i) {
        const QByteArray n = QByteArray::number(i + 1);
        const Step& step = steps[i];
        sink("<section class=\"step\"><div class=\"badge\">" + n + "</div><div class=\"body\"><h2>" +
             escaped(step.title).toUtf8() + "</h2>");
        if (!step.note.isEmpty())
            sink("<p class=\"note\">" + escaped(step.note).toUtf8() + "</p>");
        if (PreparedPictures::Picture picture = pictures.take(i); picture.image) {
            sink("<img alt=\"" +
                 escaped(
                     QCoreApplication::translate("trovix::HtmlWriter", "Step %1").arg(QString::fromLatin1(n)))
                     .toUtf8() +
                 "\" src=\"data:" + picture.image->mime.toUtf8() + ";base64,");
            sink(picture.image->data.toBase64());
            sink("\">");
        }
        sink("</div></section>");
        if (progress)
            progress(i + 1, total);
    }
    sink("</body></html>");
}

QByteArray Exporter::html(const QString& title, const QList<Step>& steps, ExportQuality quality, QDate date,
                          const ExportProgress& progress) {
    QByteArray document;
    HtmlWriter::write(title, steps, quality, date, progress,
                      [&document](QByteArrayView piece) { document.append(piece); });
    return document;
}

ExportResult Exporter::writeHtml(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                 const QString& file, const ExportProgress& progress, QDate date) {
    // Streamed into the file as it is made: a guide of large full-quality pictures would otherwise
    // need its whole base64 text in memory at once.
    OutputFile out(file);
    HtmlWriter::write(title, steps, quality, date, progress,
                      [&out](QByteArrayView piece) { out.write(piece.data(), piece.size()); });
    ExportResult result;
    result.path = file;
    result.bytes = out.commit();
    result.files << file;
    return result;
}

} // namespace trovix
