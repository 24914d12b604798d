#include "render/ImageCodec.h"

#include "render/PngFastDecoder.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QImageReader>
#include <QtEndian>

#include <png.h>
#include <zlib.h>

#include <csetjmp>
#include <cstring>
#include <vector>

namespace trovix::ImageCodec {

namespace {

constexpr char signature[] = "\x89PNG\r\n\x1a\n";

// Screenshots are mostly flat areas, text and gradients: zlib's fastest level with the "up" filter
// encodes a 3840 × 2160 screenshot about five times faster than the default settings, and the file
// comes out roughly a third larger. Large zlib buffers mean few IDAT chunks.
constexpr int zlibLevel = 1;
constexpr int rowFilter = PNG_FILTER_UP;
constexpr size_t zlibBufferSize = 256 * 1024;

bool startsWithSignature(const QByteArray& bytes) {
    return bytes.size() >= 8 && std::memcmp(bytes.constData(), signature, 8) == 0;
}

// libpng reports errors through these; the default handlers print to stderr.
[[noreturn]] void onError(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

void appendBytes(png_structp png, png_bytep data, size_t length) {
    static_cast<QByteArray*>(png_get_io_ptr(png))
        ->append(reinterpret_cast<const char*>(data), qsizetype(length));
}

void flushNothing(png_structp) {}

struct ReadCursor {
    const QByteArray* bytes;
    qsizetype offset = 0;
};

void readBytes(png_structp png, png_bytep data, size_t length) {
    auto* cursor = static_cast<ReadCursor*>(png_get_io_ptr(png));
    if (qsizetype(length) > cursor->bytes->size() - cursor->offset)
        png_error(png, "truncated");
    std::memcpy(data, cursor->bytes->constData() + cursor->offset, length);
    cursor->offset += qsizetype(length);
}

bool isOpaque(const QImage& image) {
    if (!image.hasAlphaChannel())
        return true;
    // The sizes are read once: QImage's accessors are calls into Qt, and this loop sees every pixel.
    const int width = image.width(), height = image.height();
    for (int y = 0; y < height; ++y) {
        const auto* line = reinterpret_cast<const quint32*>(image.constScanLine(y));
        quint32 all = 0xffffffffu;
        for (int x = 0; x < width; ++x)
            all &= line[x];
        if ((all >> 24) != 0xff)
            return false;
    }
    return true;
}

// Everything that must survive a longjmp out of libpng lives here, behind a pointer that is never
// changed after setjmp.
struct EncodeJob {
    QImage source; // RGB32, or ARGB32 (not premultiplied) when it has translucent pixels
    bool opaque = true;
    QByteArray out;
};

bool runEncode(png_structp png, png_infop info, EncodeJob* job) {
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_set_write_fn(png, &job->out, appendBytes, flushNothing);
    png_set_compression_level(png, zlibLevel);
    png_set_compression_buffer_size(png, zlibBufferSize);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, rowFilter);
    png_set_IHDR(png, info, png_uint_32(job->source.width()), png_uint_32(job->source.height()), 8,
                 job->opaque ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (job->source.dotsPerMeterX() > 0 && job->source.dotsPerMeterY() > 0)
        png_set_pHYs(png, info, png_uint_32(job->source.dotsPerMeterX()),
                     png_uint_32(job->source.dotsPerMeterY()), PNG_RESOLUTION_METER);
    png_write_info(png, info);
    // QImage keeps each pixel as one 32-bit word 0xAARRGGBB in native byte order.
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    png_set_bgr(png);
    if (job->opaque)
        png_set_filler(png, 0, PNG_FILLER_AFTER);
#else
    if (job->opaque)
        png_set_filler(png, 0, PNG_FILLER_BEFORE);
    else
        png_set_swap_alpha(png);
#endif
    for (int y = 0; y < job->source.height(); ++y)
        png_write_row(png, job->source.constScanLine(y));
    png_write_end(png, info);
    return true;
}

struct DecodeJob {
    const QByteArray* bytes = nullptr;
    ReadCursor cursor{nullptr};
    QImage image;
    bool hasAlpha = false;
    std::vector<png_bytep> rows;
};

bool runDecode(png_structp png, png_infop info, DecodeJob* job) {
    if (setjmp(png_jmpbuf(png)))
        return false;
    job->cursor.bytes = job->bytes;
    png_set_read_fn(png, &job->cursor, readBytes);
    png_set_user_limits(png, png_uint_32(maxSide), png_uint_32(maxSide));
    // Only the pixels, the palette, transparency and the density are used; every other chunk is
    // skipped unread. libpng would otherwise allocate (and clear) a buffer as long as a text,
    // profile or metadata chunk claims to be, up to 2 GB, before finding the file far shorter.
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    static constexpr png_byte density[] = "pHYs";
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_AS_DEFAULT, density, 1);
    png_read_info(png, info);
    const png_uint_32 width = png_get_image_width(png, info), height = png_get_image_height(png, info);
    if (qint64(width) * qint64(height) > maxPixels)
        return false;
    const int colourType = png_get_color_type(png, info);
    job->hasAlpha = (colourType & PNG_COLOR_MASK_ALPHA) || png_get_valid(png, info, PNG_INFO_tRNS);
    png_set_expand(png); // palette → RGB, low bit depths → 8 bits, tRNS → alpha
    png_set_scale_16(png);
    if (!(colourType & PNG_COLOR_MASK_COLOR))
        png_set_gray_to_rgb(png);
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    png_set_bgr(png);
    if (!job->hasAlpha)
        png_set_filler(png, 0xff, PNG_FILLER_AFTER);
#else
    if (job->hasAlpha)
        png_set_swap_alpha(png);
    else
        png_set_filler(png, 0xff, PNG_FILLER_BEFORE);
#endif
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != size_t(width) * 4)
        return false;
    // Opaque pixels are the same words in every 32-bit format, so they go straight into the
    // premultiplied format the image handle keeps.
    job->image = QImage(int(width), int(height),
                        job->hasAlpha ? QImage::Format_ARGB32 : QImage::Format_ARGB32_Premultiplied);
    if (job->image.isNull())
        return false;
    job->rows.resize(height);
    for (png_uint_32 y = 0; y < height; ++y)
        job->rows[y] = job->image.scanLine(int(y));
    png_read_image(png, job->rows.data());
    png_uint_32 resX = 0, resY = 0;
    int unit = 0;
    if (png_get_pHYs(png, info, &resX, &resY, &unit) && unit == PNG_RESOLUTION_METER && resX > 0 &&
        resY > 0) {
        job->image.setDotsPerMeterX(int(resX));
        job->image.setDotsPerMeterY(int(resY));
    }
    return true;
}

QImage decodePng(const QByteArray& bytes) {
    if (std::optional<QImage> fast = PngFastDecoder::decode(bytes, maxSide, maxPixels))
        return *fast;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, onError, onWarning);
    if (!png)
        return {};
    png_infop info = png_create_info_struct(png);
    DecodeJob job;
    job.bytes = &bytes;
    const bool ok = info && runDecode(png, info, &job);
    png_destroy_read_struct(&png, info ? &info : nullptr, nullptr);
    if (!ok)
        return {};
    if (job.hasAlpha)
        job.image.convertTo(QImage::Format_ARGB32_Premultiplied);
    return job.image;
}

quint32 be32(const uchar* p) {
    return qFromBigEndian<quint32>(p);
}

bool isLetter(uchar c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool validDepth(int colourType, int depth) {
    switch (colourType) {
    case 0:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
    case 3:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8;
    case 2:
    case 4:
    case 6:
        return depth == 8 || depth == 16;
    default:
        return false;
    }
}

int channels(int colourType) {
    switch (colourType) {
    case 2:
        return 3;
    case 4:
        return 2;
    case 6:
        return 4;
    default: // grey, palette
        return 1;
    }
}

// The size of the filtered pixel rows the image data inflates to: a filter byte and the packed pixels
// of each row, row by row through the seven passes when interlaced.
qint64 rawDataSize(qint64 width, qint64 height, int bitsPerPixel, bool interlaced) {
    const auto rows = [bitsPerPixel](qint64 w, qint64 h) {
        return w > 0 && h > 0 ? h * (1 + (w * bitsPerPixel + 7) / 8) : 0;
    };
    if (!interlaced)
        return rows(width, height);
    static constexpr int x0[] = {0, 4, 0, 2, 0, 1, 0}, dx[] = {8, 8, 4, 4, 2, 2, 1};
    static constexpr int y0[] = {0, 0, 4, 0, 2, 0, 1}, dy[] = {8, 8, 8, 4, 4, 2, 2};
    qint64 total = 0;
    for (int pass = 0; pass < 7; ++pass)
        total +=
            rows((width - x0[pass] + dx[pass] - 1) / dx[pass], (height - y0[pass] + dy[pass] - 1) / dy[pass]);
    return total;
}

// Deflate never expands more than 1032 to 1: at best each two bits of the stream (a one-bit length
// code and a one-bit distance code) repeat 258 bytes.
constexpr qint64 maxInflation = 1032;

} // namespace

QByteArray encodePng(const QImage& image) {
    if (image.isNull())
        return {};
    EncodeJob job;
    job.opaque = isOpaque(image);
    switch (image.format()) {
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32:
        job.source = image;
        break;
    case QImage::Format_ARGB32_Premultiplied:
        // Opaque premultiplied pixels are already straight.
        job.source = job.opaque ? image : image.convertToFormat(QImage::Format_ARGB32);
        break;
    default:
        job.source = image.convertToFormat(job.opaque ? QImage::Format_RGB32 : QImage::Format_ARGB32);
    }
    if (job.source.isNull())
        return {};
    // Screenshot PNGs come out at roughly a tenth of the pixel data; reserving avoids most regrowth.
    job.out.reserve(qsizetype(job.source.sizeInBytes() / 8) + 1024);

    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, onError, onWarning);
    if (!png)
        return {};
    png_infop info = png_create_info_struct(png);
    const bool ok = info && runEncode(png, info, &job);
    png_destroy_write_struct(&png, info ? &info : nullptr);
    if (!ok)
        return {};
    job.out.squeeze();
    return job.out;
}

QImage decode(const QByteArray& bytes) {
    if (startsWithSignature(bytes))
        return decodePng(bytes);
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    // Guide folders come from anywhere: only the JPEG decoder sees what is not PNG, never every image
    // plugin installed (an MNG passed off as a step picture leaked inside libmng).
    QImageReader reader(&buffer, "jpeg");
    reader.setDecideFormatFromContent(false);
    reader.setAutoTransform(false);
    // The size in the file's header, checked before the pixels are allocated.
    const auto beyondLimits = [](QSize size) {
        return size.width() > maxSide || size.height() > maxSide ||
               qint64(size.width()) * size.height() > maxPixels;
    };
    const QSize claimed = reader.size();
    if (claimed.isValid() && beyondLimits(claimed))
        return {};
    const QImage image = reader.read();
    return beyondLimits(image.size()) ? QImage() : image;
}

QSize pngSize(const QByteArray& bytes) {
    // signature (8) + IHDR length (4) + "IHDR" (4) + width (4) + height (4)
    if (bytes.size() < 24 || !startsWithSignature(bytes) || bytes.mid(12, 4) != "IHDR")
        return {};
    const auto* p = reinterpret_cast<const uchar*>(bytes.constData());
    return QSize(int(be32(p + 16)), int(be32(p + 20)));
}

PngCheck checkPng(const QByteArray& bytes) {
    // The problem is shown to the user, in their language.
    auto fail = [](const char* problem) {
        return PngCheck{QSize(), QCoreApplication::translate("trovix::ImageCodec", problem)};
    };
    if (bytes.isEmpty())
        return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the file is empty"));
    if (!startsWithSignature(bytes))
        return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "it is not a PNG file"));

    const auto* data = reinterpret_cast<const uchar*>(bytes.constData());
    const qsizetype size = bytes.size();
    qsizetype pos = 8;
    QSize dimensions;
    int colourType = -1, bitsPerPixel = 0;
    bool interlaced = false;
    qint64 dataBytes = 0;
    bool sawPalette = false, sawData = false, dataEnded = false, firstData = true;

    for (int index = 0;; ++index) {
        if (size - pos < 12)
            return fail(pos == size
                            ? QT_TRANSLATE_NOOP("trovix::ImageCodec", "the file ends without an end chunk")
                            : QT_TRANSLATE_NOOP("trovix::ImageCodec", "the file is truncated"));
        const quint32 length = be32(data + pos);
        const uchar* type = data + pos + 4;
        if (length > 0x7fffffffu)
            return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "a chunk has an impossible length"));
        if (qint64(length) > qint64(size - pos - 12))
            return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the file is truncated"));
        for (int i = 0; i < 4; ++i)
            if (!isLetter(type[i]))
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "a chunk has an invalid name"));
        const uchar* body = type + 4;
        const uLong crc = crc32(crc32(0L, Z_NULL, 0), type, uInt(length + 4));
        if (crc != be32(body + length))
            return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec",
                                          "a chunk’s checksum does not match (the file is damaged)"));

        auto is = [type](const char* name) { return std::memcmp(type, name, 4) == 0; };
        if (index == 0 && !is("IHDR"))
            return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the header chunk is missing"));
        if (is("IHDR")) {
            if (index != 0)
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "there is a second header chunk"));
            if (length != 13)
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the header chunk has the wrong length"));
            const qint64 w = be32(body), h = be32(body + 4);
            const int depth = body[8];
            colourType = body[9];
            if (w == 0 || h == 0)
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the picture has no pixels"));
            if (w > maxSide || h > maxSide || w * h > maxPixels)
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the picture is too large"));
            if (!validDepth(colourType, depth))
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec",
                                              "the header names an invalid colour type or bit depth"));
            if (body[10] != 0 || body[11] != 0 || body[12] > 1)
                return fail(
                    QT_TRANSLATE_NOOP("trovix::ImageCodec",
                                      "the header names an unknown compression, filter or interlace method"));
            dimensions = QSize(int(w), int(h));
            bitsPerPixel = channels(colourType) * depth;
            interlaced = body[12] == 1;
        } else if (is("PLTE")) {
            if (sawData)
                return fail(
                    QT_TRANSLATE_NOOP("trovix::ImageCodec", "the palette comes after the image data"));
            if (length == 0 || length % 3 != 0 || length > 256 * 3)
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the palette has an invalid length"));
            sawPalette = true;
        } else if (is("IDAT")) {
            if (dataEnded)
                return fail(
                    QT_TRANSLATE_NOOP("trovix::ImageCodec", "the image data is split by other chunks"));
            if (firstData && length >= 2) {
                // zlib stream header: deflate, window at most 32 KB, check bits, no preset dictionary.
                const int cmf = body[0], flg = body[1];
                if ((cmf & 0x0f) != 8 || (cmf >> 4) > 7 || ((cmf << 8) | flg) % 31 != 0 || (flg & 0x20))
                    return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec",
                                                  "the image data is not a valid compressed stream"));
            }
            firstData = false;
            sawData = true;
            dataBytes += length;
        } else if (is("IEND")) {
            if (length != 0)
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the end chunk has the wrong length"));
            if (!sawData)
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "there is no image data"));
            if (colourType == 3 && !sawPalette)
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec", "the palette is missing"));
            // A few bytes claiming a huge picture cannot inflate to it; refusing them here keeps a
            // decoder from allocating the whole picture before it finds out.
            if (dataBytes * maxInflation <
                rawDataSize(dimensions.width(), dimensions.height(), bitsPerPixel, interlaced))
                return fail(QT_TRANSLATE_NOOP("trovix::ImageCodec",
                                              "the image data is too short for the picture’s size"));
            // Anything after the end chunk is ignored, as decoders do.
            return PngCheck{dimensions, {}};
        } else if (!(type[0] & 0x20)) {
            return fail(
                QT_TRANSLATE_NOOP("trovix::ImageCodec", "the file has a critical chunk that cannot be read"));
        }
        if (sawData && !is("IDAT"))
            dataEnded = true;
        pos += 12 + qsizetype(length);
    }
}

} // namespace trovix::ImageCodec
