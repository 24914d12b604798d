#pragma once

#include "document/Step.h"
#include "export/Exporter.h"

#include <QDate>
#include <QString>

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;
typedef struct _PangoContext PangoContext;
typedef struct _PangoLayout PangoLayout;

namespace trovix {

class PdfImageEmbedder;

// Lays a guide out on US Letter pages with cairo and Pango. Lengths are PDF points from the page's
// top-left corner, y downwards (cairo's own orientation, so no per-page flip is needed).
class PdfWriter {
public:
    // Page geometry.
    static constexpr double pageWidth = 612, pageHeight = 792;
    static constexpr double margin = 54, contentWidth = 504;
    static constexpr double badgeX = 54, badgeSize = 26, columnX = 94, columnWidth = 464;
    static constexpr double bottomLimit = 730, footerY = 746, footerHeight = 14;
    static constexpr double maxPictureWidth = 464, maxPictureHeight = 320, minShrunkHeight = 190;

    // With an embedder (full quality), pictures are drawn as its stand-ins and handed to it.
    PdfWriter(cairo_t* cr, cairo_surface_t* surface, const QString& title,
              PdfImageEmbedder* embedder = nullptr);
    ~PdfWriter();
    PdfWriter(const PdfWriter&) = delete;
    PdfWriter& operator=(const PdfWriter&) = delete;

    void write(const QList<Step>& steps, ExportQuality quality, QDate date, const ExportProgress& progress);

private:
    struct Style {
        double size;
        int weight; // PangoWeight
        double r, g, b;
        bool centred = false;
        bool oneLine = false; // ellipsized to its box instead of wrapped
    };

    PangoLayout* layout(const QString& text, const Style& style, double width) const;
    // The height of the text laid out at `width`, rounded up to a whole point.
    double measure(const QString& text, const Style& style, double width) const;
    void draw(const QString& text, const Style& style, double x, double y, double width) const;

    void beginPage();
    void endPage();
    void drawFooter();
    void drawPicture(const QImage& pixels, double x, double y, double w, double h);
    void drawJpeg(const QByteArray& jpeg, QSize size, double x, double y, double w, double h);
    // Paints `image` into the rounded frame at (x, y), w × h points, and strokes the frame.
    void paintFramed(cairo_surface_t* image, double x, double y, double w, double h);

    cairo_t* m_cr;
    cairo_surface_t* m_surface;
    PangoContext* m_pango;
    QString m_title;
    PdfImageEmbedder* m_embedder;
    int m_page = 0;
};

} // namespace trovix
