#include "export/PdfWriter.h"

#include "document/Error.h"
#include "export/OutputFile.h"
#include "export/PdfImageEmbedder.h"
#include "export/PreparedPictures.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>

#include <cairo-pdf.h>
#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace trovix {

namespace {

constexpr double accentR = 0, accentG = 0.478, accentB = 1;
constexpr double hairR = 0.82, hairG = 0.82, hairB = 0.84;

// Ink, muted, note and white text in the document's sizes and weights.
constexpr double inkR = 0.11, inkG = 0.11, inkB = 0.12;
constexpr double mutedR = 0.55, mutedG = 0.55, mutedB = 0.58;
constexpr double noteR = 0.39, noteG = 0.39, noteB = 0.40;

void roundedRect(cairo_t* cr, double x, double y, double w, double h, double radius) {
    const double r = std::min({radius, w / 2, h / 2});
    const double pi = std::numbers::pi;
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -pi / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, pi / 2);
    cairo_arc(cr, x + r, y + h - r, r, pi / 2, pi);
    cairo_arc(cr, x + r, y + r, r, pi, 3 * pi / 2);
    cairo_close_path(cr);
}

void releaseImage(void* image) {
    delete static_cast<QImage*>(image);
}

void releaseBytes(void* bytes) {
    delete static_cast<QByteArray*>(bytes);
}

cairo_status_t writeToFile(void* closure, const unsigned char* data, unsigned int length) {
    auto* out = static_cast<OutputFile*>(closure);
    try {
        out->write(reinterpret_cast<const char*>(data), length);
    } catch (const Error&) {
        return CAIRO_STATUS_WRITE_ERROR;
    }
    return CAIRO_STATUS_SUCCESS;
}

cairo_status_t appendToBytes(void* closure, const unsigned char* data, unsigned int length) {
    static_cast<QByteArray*>(closure)->append(reinterpret_cast<const char*>(data), qsizetype(length));
    return CAIRO_STATUS_SUCCESS;
}

// Bookmark text on one line.
QByteArray outlineText(int n, const QString& title) {
    QString text = QString::number(n) + QStringLiteral(". ") + title.simplified();
    return text.toUtf8();
}

} // namespace

PdfWriter::PdfWriter(cairo_t* cr, cairo_surface_t* surface, const QString& title, PdfImageEmbedder* embedder)
    : m_cr(cr)
    , m_surface(surface)
    , m_pango(pango_cairo_create_context(cr))
    , m_title(title)
    , m_embedder(embedder) {
    // Metrics unhinted and glyphs unrounded: the page is a vector page, and text must measure the
    // same whatever the screen settings are.
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    pango_cairo_context_set_font_options(m_pango, options);
    cairo_font_options_destroy(options);
    pango_context_set_round_glyph_positions(m_pango, FALSE);
}

PdfWriter::~PdfWriter() {
    g_object_unref(m_pango);
}

PangoLayout* PdfWriter::layout(const QString& text, const Style& style, double width) const {
    PangoLayout* layout = pango_layout_new(m_pango);
    PangoFontDescription* font = pango_font_description_new();
    pango_font_description_set_family(font, "Sans");
    pango_font_description_set_weight(font, PangoWeight(style.weight));
    // Absolute: one unit is one PDF point, whatever resolution Pango assumes.
    pango_font_description_set_absolute_size(font, style.size * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
    pango_font_description_free(font);
    pango_layout_set_width(layout, int(std::lround(width * PANGO_SCALE)));
    pango_layout_set_spacing(layout, 2 * PANGO_SCALE);
    pango_layout_set_alignment(layout, style.centred ? PANGO_ALIGN_CENTER : PANGO_ALIGN_LEFT);
    if (style.oneLine) {
        pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
        pango_layout_set_height(layout, -1);
    } else {
        pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    }
    // A line break in a title would push the footer or the meta line onto a second line.
    const QByteArray utf8 =
        style.oneLine ? QString(text).replace(QLatin1Char('\n'), QLatin1Char(' ')).toUtf8() : text.toUtf8();
    pango_layout_set_text(layout, utf8.constData(), int(utf8.size()));
    return layout;
}

double PdfWriter::measure(const QString& text, const Style& style, double width) const {
    PangoLayout* l = layout(text, style, width);
    PangoRectangle logical;
    pango_layout_get_extents(l, nullptr, &logical);
    g_object_unref(l);
    return std::ceil(double(logical.height) / PANGO_SCALE);
}

void PdfWriter::draw(const QString& text, const Style& style, double x, double y, double width) const {
    PangoLayout* l = layout(text, style, width);
    cairo_set_source_rgb(m_cr, style.r, style.g, style.b);
    cairo_move_to(m_cr, x, y);
    pango_cairo_show_layout(m_cr, l);
    g_object_unref(l);
}

void PdfWriter::beginPage() {
    ++m_page;
    cairo_save(m_cr);
}

void PdfWriter::endPage() {
    drawFooter();
    cairo_restore(m_cr);
    cairo_show_page(m_cr);
}

void PdfWriter::drawFooter() {
    const Style footer{9, PANGO_WEIGHT_NORMAL, mutedR, mutedG, mutedB, false, true};
    draw(m_title, footer, margin, footerY, 352.8);
    Style number = footer;
    number.centred = false;
    PangoLayout* l =
        layout(QCoreApplication::translate("trovix::PdfWriter", "Page %1").arg(m_page), number, 151.2);
    pango_layout_set_alignment(l, PANGO_ALIGN_RIGHT);
    cairo_set_source_rgb(m_cr, number.r, number.g, number.b);
    cairo_move_to(m_cr, 406.8, footerY);
    pango_cairo_show_layout(m_cr, l);
    g_object_unref(l);
}

void PdfWriter::drawPicture(const QImage& pixels, double x, double y, double w, double h) {
    QImage image = pixels;
    if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32_Premultiplied)
        image = image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                              : QImage::Format_RGB32);
    // Both formats are cairo's own native-endian 32-bit pixels; cairo reads them in place and keeps
    // them alive for as long as it needs them.
    auto* kept = new QImage(image);
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        const_cast<uchar*>(kept->constBits()),
        kept->format() == QImage::Format_RGB32 ? CAIRO_FORMAT_RGB24 : CAIRO_FORMAT_ARGB32, kept->width(),
        kept->height(), int(kept->bytesPerLine()));
    static cairo_user_data_key_t pixelsKey;
    cairo_surface_set_user_data(surface, &pixelsKey, kept, releaseImage);
    paintFramed(surface, x, y, w, h);
    cairo_surface_destroy(surface);
}

void PdfWriter::drawJpeg(const QByteArray& jpeg, QSize size, double x, double y, double w, double h) {
    // The prepared JPEG goes into the file byte for byte: the preset decides the size. Cairo takes
    // the bytes instead of the surface's pixels, so the surface is left blank (its memory is never
    // touched) and the JPEG is not decoded at all.
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, size.width(), size.height());
    auto* bytes = new QByteArray(jpeg);
    cairo_surface_set_mime_data(surface, CAIRO_MIME_TYPE_JPEG,
                                reinterpret_cast<const unsigned char*>(bytes->constData()),
                                (unsigned long)bytes->size(), releaseBytes, bytes);
    paintFramed(surface, x, y, w, h);
    cairo_surface_destroy(surface);
}

void PdfWriter::paintFramed(cairo_surface_t* image, double x, double y, double w, double h) {
    cairo_save(m_cr);
    roundedRect(m_cr, x, y, w, h, 6);
    cairo_clip(m_cr);
    cairo_translate(m_cr, x, y);
    cairo_scale(m_cr, w / cairo_image_surface_get_width(image), h / cairo_image_surface_get_height(image));
    cairo_set_source_surface(m_cr, image, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(m_cr), CAIRO_FILTER_GOOD);
    cairo_paint(m_cr);
    cairo_restore(m_cr);

    roundedRect(m_cr, x, y, w, h, 6);
    cairo_set_source_rgb(m_cr, hairR, hairG, hairB);
    cairo_set_line_width(m_cr, 0.75);
    cairo_stroke(m_cr);
}

void PdfWriter::write(const QList<Step>& steps, ExportQuality quality, QDate date,
                      const ExportProgress& progress) {
    const Style guideTitle{28, PANGO_WEIGHT_BOLD, inkR, inkG, inkB};
    const Style meta{11, PANGO_WEIGHT_NORMAL, mutedR, mutedG, mutedB, false, true};
    const Style badgeNumber{12, PANGO_WEIGHT_BOLD, 1, 1, 1, true, true};
    const Style stepTitle{15, PANGO_WEIGHT_SEMIBOLD, inkR, inkG, inkB};
    const Style note{11, PANGO_WEIGHT_NORMAL, noteR, noteG, noteB};

    beginPage();

    // Title block.
    const double h = measure(m_title, guideTitle, contentWidth);
    draw(m_title, guideTitle, margin, margin, contentWidth);
    double y = margin + h + 4;
    const int total = int(steps.size());
    draw(Exporter::metaLine(total, date), meta, margin, y, contentWidth);
    y += 26;
    cairo_set_source_rgb(m_cr, hairR, hairG, hairB);
    cairo_rectangle(m_cr, margin, y, contentWidth, 1);
    cairo_fill(m_cr);
    y += 28;
    if (progress)
        progress(0, total);

    PreparedPictures pictures(steps, quality,
                              m_embedder ? PreparedPictures::Use::pdfStream : PreparedPictures::Use::drawn);
    for (int i = 0; i < total; ++i) {
        const Step& step = steps[i];
        const int n = i + 1;

        const double titleHeight = measure(step.title, stepTitle, columnWidth);
        const double T = std::max(titleHeight, 26.0);
        const bool hasNote = !step.note.isEmpty();
        const double H = hasNote ? measure(step.note, note, columnWidth) : 0;

        // The size in points comes from the step's own picture, whichever picture is drawn.
        PreparedPictures::Picture picture = pictures.take(i);
        const double scale = step.scale > 0 ? step.scale : 1;
        const double w = step.rendered.width() / scale, ph0 = step.rendered.height() / scale;
        double f = (w > 0 && ph0 > 0) ? std::min({maxPictureWidth / w, maxPictureHeight / ph0, 1.0}) : 1;
        double ph = ph0 * f;
        const double B = T + (hasNote ? H + 4 : 0) + 10;

        if (y + B + ph > bottomLimit && y > margin + 1) {
            const double avail = bottomLimit - y - B;
            if (avail >= minShrunkHeight) {
                f = avail / ph0;
                ph = avail;
            } else {
                endPage();
                beginPage();
                y = margin;
            }
        }

        const QByteArray bookmark = outlineText(n, step.title);
        const QByteArray link = "page=" + QByteArray::number(m_page) + " pos=[" + QByteArray::number(badgeX) +
                                " " + QByteArray::number(y) + "]";
        cairo_pdf_surface_add_outline(m_surface, CAIRO_PDF_OUTLINE_ROOT, bookmark.constData(),
                                      link.constData(), cairo_pdf_outline_flags_t(0));

        cairo_set_source_rgb(m_cr, accentR, accentG, accentB);
        cairo_new_path(m_cr);
        cairo_arc(m_cr, badgeX + badgeSize / 2, y + badgeSize / 2, badgeSize / 2, 0, 2 * std::numbers::pi);
        cairo_fill(m_cr);
        draw(QString::number(n), badgeNumber, badgeX, y + 5.5, badgeSize);

        // A one-line title sits level with the badge.
        draw(step.title, stepTitle, columnX, y + (titleHeight <= 26 ? 4 : 0), columnWidth);
        double t = y + T;
        if (hasNote) {
            draw(step.note, note, columnX, y + T + 4, columnWidth);
            t = y + T + 4 + H;
        }

        const double py = t + 10;
        const double pw = w * f;
        if (pw > 0 && ph > 0) {
            if (m_embedder && picture.image) {
                cairo_surface_t* standIn =
                    PdfImageEmbedder::standIn(m_embedder->add(picture.image->data, picture.stored));
                paintFramed(standIn, columnX, py, pw, ph);
                cairo_surface_destroy(standIn);
            } else if (picture.image && picture.image->ext == QLatin1String("jpg")) {
                drawJpeg(picture.image->data, picture.image->cg.size(), columnX, py, pw, ph);
            } else if (!picture.pixels.isNull()) {
                drawPicture(picture.pixels, columnX, py, pw, ph);
            }
        }
        y = py + ph + 26;
        if (progress)
            progress(n, total);
    }
    endPage();
}

ExportResult Exporter::writePdf(const QString& title, const QList<Step>& steps, ExportQuality quality,
                                const QString& file, const ExportProgress& progress, QDate date) {
    // Written through an atomic file: a failed export leaves no half-written PDF behind, and an
    // existing file of that name stays as it was. At full quality cairo lays the pages out in memory
    // (a small document: the pictures are stand-ins) and the embedder writes the file.
    OutputFile out(file);
    std::optional<PdfImageEmbedder> embedder;
    QByteArray layout;
    if (quality == ExportQuality::full)
        embedder.emplace(QFileInfo(file).absolutePath(), file);
    cairo_surface_t* surface =
        embedder ? cairo_pdf_surface_create_for_stream(appendToBytes, &layout, PdfWriter::pageWidth,
                                                       PdfWriter::pageHeight)
                 : cairo_pdf_surface_create_for_stream(writeToFile, &out, PdfWriter::pageWidth,
                                                       PdfWriter::pageHeight);
    const QByteArray titleUtf8 = title.toUtf8();
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_TITLE, titleUtf8.constData());
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_CREATOR, "Trovix");
    cairo_t* cr = cairo_create(surface);
    try {
        PdfWriter writer(cr, surface, title, embedder ? &*embedder : nullptr);
        writer.write(steps, quality, date, progress);
    } catch (...) {
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
        throw;
    }
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    const cairo_status_t status = cairo_surface_status(surface);
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS)
        throw Error(Error::Code::io,
                    QCoreApplication::translate("trovix::PdfWriter", "Could not write %1: %2.")
                        .arg(quoted(file), QString::fromUtf8(cairo_status_to_string(status))),
                    file);
    if (embedder)
        embedder->write(layout, out);
    ExportResult result;
    result.path = file;
    result.bytes = out.commit();
    result.files << file;
    return result;
}

} // namespace trovix
