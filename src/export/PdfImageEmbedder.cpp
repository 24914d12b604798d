#include "export/PdfImageEmbedder.h"

#include "document/Error.h"
#include "export/OutputFile.h"
#include "export/PngLayout.h"

#include <QCoreApplication>
#include <QDir>

#include <cairo.h>
#include <qpdf/Buffer.hh>
#include <qpdf/Pipeline.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFWriter.hh>

#include <map>

namespace trovix {

namespace {

// The stand-in's first pixel; the second is the picture's number.
constexpr quint32 standInMark = 0x545258; // "TRX"

// qpdf's output into the atomic file.
class FilePipeline : public Pipeline {
public:
    explicit FilePipeline(OutputFile& out)
        : Pipeline("PDF file", nullptr)
        , m_out(out) {}
    void write(unsigned char const* data, size_t length) override {
        m_out.write(reinterpret_cast<const char*>(data), qint64(length));
    }
    void finish() override {}

private:
    OutputFile& m_out;
};

// Hands qpdf each picture's image data when it writes that picture's object, so that only one
// picture is in memory at a time.
class PictureData : public QPDFObjectHandle::StreamDataProvider {
public:
    using Source = std::function<QByteArray(int)>;
    explicit PictureData(Source source)
        : m_source(std::move(source)) {}
    void add(QPDFObjGen object, int number) { m_numbers[object] = number; }
    void provideStreamData(QPDFObjGen const& object, Pipeline* pipeline) override {
        const QByteArray png = m_source(m_numbers.at(object));
        const std::optional<PngLayout> layout = PngLayout::embeddable(png);
        if (layout)
            for (QByteArrayView chunk : layout->chunks)
                pipeline->write(reinterpret_cast<const unsigned char*>(chunk.data()), size_t(chunk.size()));
        pipeline->finish();
    }

private:
    Source m_source;
    std::map<QPDFObjGen, int> m_numbers;
};

// The number a stand-in image object names, or -1 for any other image.
int standInNumber(QPDFObjectHandle object) {
    QPDFObjectHandle dict = object.getDict();
    if (!dict.getKey("/Subtype").isNameAndEquals("/Image") || !dict.getKey("/Width").isInteger() ||
        dict.getKey("/Width").getIntValue() != 2 || !dict.getKey("/Height").isInteger() ||
        dict.getKey("/Height").getIntValue() != 1)
        return -1;
    const std::shared_ptr<Buffer> data = object.getStreamData(qpdf_dl_generalized);
    const unsigned char* p = data->getBuffer();
    if (data->getSize() != 6 || ((quint32(p[0]) << 16) | (p[1] << 8) | p[2]) != standInMark)
        return -1;
    return int((quint32(p[3]) << 16) | (p[4] << 8) | p[5]);
}

} // namespace

PdfImageEmbedder::PdfImageEmbedder(const QString& spoolFolder, const QString& pdfPath)
    : m_spoolFolder(spoolFolder)
    , m_pdfPath(pdfPath) {}

PdfImageEmbedder::~PdfImageEmbedder() = default;

void PdfImageEmbedder::fail(const QString& reason) const {
    throw Error(Error::Code::io,
                QCoreApplication::translate("trovix::PdfWriter", "Could not write %1: %2.")
                    .arg(quoted(m_pdfPath), reason),
                m_pdfPath);
}

int PdfImageEmbedder::add(const QByteArray& png, bool held) {
    const std::optional<PngLayout> layout = PngLayout::embeddable(png);
    if (!layout)
        fail(QCoreApplication::translate("trovix::PdfImageEmbedder",
                                         "a picture is not PNG data a PDF can hold as it is"));
    Picture picture;
    picture.width = layout->width;
    picture.height = layout->height;
    picture.colours = layout->colours;
    if (held) {
        picture.held = png;
    } else {
        if (!m_spool) {
            m_spool = std::make_unique<QTemporaryFile>(QDir(m_spoolFolder).filePath(".trovix-pdf-XXXXXX"));
            if (!m_spool->open())
                fail(QCoreApplication::translate("trovix::PdfImageEmbedder",
                                                 "no temporary file could be made in %1 (%2)")
                         .arg(quoted(m_spoolFolder), m_spool->errorString()));
        }
        picture.offset = m_spool->pos();
        picture.size = png.size();
        if (m_spool->write(png) != png.size())
            fail(QCoreApplication::translate("trovix::PdfImageEmbedder",
                                             "its temporary file could not be written (%1)")
                     .arg(m_spool->errorString()));
    }
    m_pictures << picture;
    return int(m_pictures.size() - 1);
}

QByteArray PdfImageEmbedder::bytes(const Picture& picture) {
    if (picture.offset < 0)
        return picture.held;
    QByteArray data;
    if (m_spool->seek(picture.offset))
        data = m_spool->read(picture.size);
    if (data.size() != picture.size)
        fail(QCoreApplication::translate("trovix::PdfImageEmbedder",
                                         "its temporary file could not be read back (%1)")
                 .arg(m_spool->errorString()));
    return data;
}

cairo_surface_t* PdfImageEmbedder::standIn(int number) {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 2, 1);
    auto* pixels = reinterpret_cast<quint32*>(cairo_image_surface_get_data(surface));
    pixels[0] = standInMark;
    pixels[1] = quint32(number) & 0xffffff;
    cairo_surface_mark_dirty(surface);
    return surface;
}

void PdfImageEmbedder::write(const QByteArray& layout, OutputFile& out) {
    if (m_spool && !m_spool->flush())
        fail(QCoreApplication::translate("trovix::PdfImageEmbedder",
                                         "its temporary file could not be written (%1)")
                 .arg(m_spool->errorString()));
    try {
        QPDF pdf;
        pdf.setSuppressWarnings(true);
        pdf.processMemoryFile(m_pdfPath.toUtf8().constData(), layout.constData(), size_t(layout.size()));
        auto data = std::make_shared<PictureData>([this](int number) { return bytes(m_pictures[number]); });
        QList<bool> placed(m_pictures.size(), false);
        for (QPDFObjectHandle object : pdf.getAllObjects()) {
            if (!object.isStream())
                continue;
            const int number = standInNumber(object);
            if (number < 0 || number >= m_pictures.size())
                continue;
            const Picture& png = m_pictures[number];
            QPDFObjectHandle dict = object.getDict();
            dict.replaceKey("/Width", QPDFObjectHandle::newInteger(png.width));
            dict.replaceKey("/Height", QPDFObjectHandle::newInteger(png.height));
            dict.replaceKey("/ColorSpace",
                            QPDFObjectHandle::newName(png.colours == 3 ? "/DeviceRGB" : "/DeviceGray"));
            dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
            dict.removeKey("/SMask");
            dict.removeKey("/Decode");
            // PNG rows: each starts with its own filter type byte, which predictor 15 reads per row.
            QPDFObjectHandle parms =
                QPDFObjectHandle::parse("<< /Predictor 15 /Colors " + std::to_string(png.colours) +
                                        " /BitsPerComponent 8 /Columns " + std::to_string(png.width) + " >>");
            object.replaceStreamData(data, QPDFObjectHandle::newName("/FlateDecode"), parms);
            data->add(object.getObjGen(), number);
            placed[number] = true;
        }
        if (placed.contains(false))
            fail(QCoreApplication::translate("trovix::PdfImageEmbedder",
                                             "picture %1 has no place in the layout")
                     .arg(placed.indexOf(false) + 1));

        FilePipeline pipeline(out);
        QPDFWriter writer(pdf);
        writer.setOutputPipeline(&pipeline);
        // Every stream goes out as it is: the pictures' data must not be inflated and compressed again.
        writer.setDecodeLevel(qpdf_dl_none);
        writer.setRecompressFlate(false);
        writer.write();
    } catch (const Error&) {
        throw;
    } catch (const std::exception& e) {
        fail(QString::fromUtf8(e.what()));
    }
}

} // namespace trovix
