#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QTemporaryFile>

#include <memory>

typedef struct _cairo_surface cairo_surface_t;

namespace trovix {

class OutputFile;

// Puts the steps' PNG image data into a PDF that cairo laid out, without decoding or compressing it.
//
// Cairo takes JPEG bytes for a PDF image as they are, but compresses the pixels of any other picture
// again: at full quality that is most of an export's time and a larger file than the PNGs. So the
// layout is drawn with a tiny stand-in picture per step, and qpdf then gives each stand-in's image
// object its PNG's image data with the PNG predictor, which a PDF reader decodes to the same pixels.
// Pictures whose bytes are held elsewhere (a step's stored PNG) are only referred to; the others are
// kept in a spool file next to the PDF until it is written, so memory does not grow with the guide.
class PdfImageEmbedder {
public:
    // `spoolFolder` holds the spool file while the PDF is written; `pdfPath` names it in errors.
    PdfImageEmbedder(const QString& spoolFolder, const QString& pdfPath);
    ~PdfImageEmbedder();
    PdfImageEmbedder(const PdfImageEmbedder&) = delete;
    PdfImageEmbedder& operator=(const PdfImageEmbedder&) = delete;

    // Records a picture; `png` must be PngLayout::embeddable. With `held` the caller keeps the bytes
    // alive anyway and only a reference is kept. Returns the picture's number.
    int add(const QByteArray& png, bool held);
    // A 2 × 1 stand-in picture that names picture `number`; the caller owns it.
    static cairo_surface_t* standIn(int number);

    // Writes `layout` to `out` with every stand-in replaced by its picture. Throws trovix::Error.
    void write(const QByteArray& layout, OutputFile& out);

private:
    struct Picture {
        QByteArray held;    // the bytes when held elsewhere
        qint64 offset = -1; // otherwise where they are in the spool file
        qint64 size = 0;
        int width = 0, height = 0, colours = 0;
    };
    QByteArray bytes(const Picture& picture);
    [[noreturn]] void fail(const QString& reason) const;

    QString m_spoolFolder;
    QString m_pdfPath;
    std::unique_ptr<QTemporaryFile> m_spool;
    QList<Picture> m_pictures;
};

} // namespace trovix
