#include "render/PngFastDecoder.h"

#include "render/PngChunk.h"

#include <QtEndian>

#include <libdeflate.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace trovix {

namespace {

quint32 be32(const uchar* p) {
    return qFromBigEndian<quint32>(p);
}

// The "up" filter, which screenshots are saved with, is most of the unfiltering; with the rows
// declared apart the compiler adds them 16 or 32 bytes at a time.
void addUp(uchar* __restrict row, const uchar* __restrict prev, qsizetype length) {
    for (qsizetype i = 0; i < length; ++i)
        row[i] = uchar(row[i] + prev[i]);
}

// Reverses one row's filter in place; `prev` is the row above (zeros above the first row).
bool unfilter(uchar* row, const uchar* prev, qsizetype length, int bpp, uchar filter) {
    switch (filter) {
    case 0:
        return true;
    case 1:
        for (qsizetype i = bpp; i < length; ++i)
            row[i] = uchar(row[i] + row[i - bpp]);
        return true;
    case 2:
        addUp(row, prev, length);
        return true;
    case 3:
        for (qsizetype i = 0; i < bpp; ++i)
            row[i] = uchar(row[i] + (prev[i] >> 1));
        for (qsizetype i = bpp; i < length; ++i)
            row[i] = uchar(row[i] + ((row[i - bpp] + prev[i]) >> 1));
        return true;
    case 4:
        for (qsizetype i = 0; i < bpp; ++i)
            row[i] = uchar(row[i] + prev[i]);
        for (qsizetype i = bpp; i < length; ++i) {
            const int a = row[i - bpp], b = prev[i], c = prev[i - bpp];
            const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
            row[i] = uchar(row[i] + (pa <= pb && pa <= pc ? a : pb <= pc ? b : c));
        }
        return true;
    default:
        return false;
    }
}

// Opaque RGB bytes into 0xffRRGGBB words. Each pixel is read as one 32-bit load (the row's next byte
// comes along and is shifted out); only the last pixel is read byte by byte.
void rgbToWords(const uchar* __restrict rgb, quint32* __restrict out, qsizetype width) {
    qsizetype x = 0;
    for (; x + 1 < width; ++x) {
        quint32 v;
        std::memcpy(&v, rgb + 3 * x, 4);
        const quint32 bgr = qFromLittleEndian(v);
        out[x] = 0xff000000u | ((bgr & 0xff) << 16) | (bgr & 0xff00) | ((bgr >> 16) & 0xff);
    }
    for (; x < width; ++x)
        out[x] = 0xff000000u | (quint32(rgb[3 * x]) << 16) | (quint32(rgb[3 * x + 1]) << 8) | rgb[3 * x + 2];
}

void rgbaToWords(const uchar* rgba, quint32* out, qsizetype width) {
    for (qsizetype x = 0; x < width; ++x, rgba += 4)
        out[x] = (quint32(rgba[3]) << 24) | (quint32(rgba[0]) << 16) | (quint32(rgba[1]) << 8) | rgba[2];
}

struct FreeDecompressor {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

} // namespace

bool PngFastDecoder::readRows(const QByteArray& png, qint64 maxSide, qint64 maxPixels, const Begin& begin,
                              const Row& row) {
    const std::optional<QList<PngChunk>> chunks = PngChunk::readAll(png, true);
    if (!chunks || !chunks->first().is("IHDR") || chunks->first().body.size() != 13)
        return false;
    const auto* ihdr = reinterpret_cast<const uchar*>(chunks->first().body.data());
    const qint64 width = be32(ihdr), height = be32(ihdr + 4);
    const int depth = ihdr[8], colourType = ihdr[9];
    if (width == 0 || height == 0 || width > maxSide || height > maxSide || width * height > maxPixels ||
        depth != 8 || (colourType != 2 && colourType != 6) || ihdr[10] || ihdr[11] || ihdr[12])
        return false;
    Header header{QSize(int(width), int(height)), colourType == 6 ? 4 : 3};

    QByteArray compressed;
    for (const PngChunk& chunk : *chunks) {
        const auto* body = reinterpret_cast<const uchar*>(chunk.body.data());
        if (chunk.is("IDAT"))
            compressed.append(chunk.body);
        else if (chunk.is("tRNS") || chunk.is("PLTE"))
            return false;
        else if (chunk.is("pHYs") && chunk.body.size() == 9 && body[8] == 1) {
            header.dotsPerMeterX = qint32(be32(body));
            header.dotsPerMeterY = qint32(be32(body + 4));
        } else if (!chunk.is("IHDR") && !chunk.is("IEND") && !(chunk.type[0] & 0x20))
            return false; // a critical chunk this path does not know
    }

    const int bpp = header.channels;
    const qsizetype stride = 1 + qsizetype(width) * bpp;
    const qsizetype rawSize = stride * qsizetype(height);
    // Deflate expands at most 1032 to 1: a few bytes claiming a huge picture are refused before the
    // buffer for it is allocated.
    if (qint64(compressed.size()) * 1032 < qint64(rawSize))
        return false;
    // Before inflating, so that a caller that cannot use these rows loses no time.
    if (!begin(header))
        return false;
    std::unique_ptr<uchar[]> raw(new (std::nothrow) uchar[size_t(rawSize)]);
    std::unique_ptr<libdeflate_decompressor, FreeDecompressor> inflater(libdeflate_alloc_decompressor());
    if (!raw || !inflater)
        return false;
    size_t inflated = 0;
    if (libdeflate_zlib_decompress(inflater.get(), compressed.constData(), size_t(compressed.size()),
                                   raw.get(), size_t(rawSize), &inflated) != LIBDEFLATE_SUCCESS ||
        qsizetype(inflated) != rawSize)
        return false;
    compressed = QByteArray();
    // A filter byte out of range anywhere makes the file unreadable: checked before any row goes out.
    for (qint64 y = 0; y < height; ++y)
        if (raw[size_t(y * stride)] > 4)
            return false;

    const std::unique_ptr<uchar[]> zeros(new uchar[size_t(stride)]());
    const uchar* prev = zeros.get();
    for (qint64 y = 0; y < height; ++y) {
        uchar* line = raw.get() + y * stride;
        unfilter(line + 1, prev, stride - 1, bpp, line[0]);
        prev = line + 1;
        row(line + 1);
    }
    return true;
}

std::optional<QImage> PngFastDecoder::decode(const QByteArray& png, qint64 maxSide, qint64 maxPixels) {
    QImage image;
    int y = 0, channels = 0;
    const auto begin = [&](const Header& header) {
        channels = header.channels;
        image = QImage(header.size,
                       channels == 4 ? QImage::Format_ARGB32 : QImage::Format_ARGB32_Premultiplied);
        if (header.dotsPerMeterX > 0 && header.dotsPerMeterY > 0) {
            image.setDotsPerMeterX(header.dotsPerMeterX);
            image.setDotsPerMeterY(header.dotsPerMeterY);
        }
        return !image.isNull();
    };
    const auto row = [&](const uchar* pixels) {
        auto* out = reinterpret_cast<quint32*>(image.scanLine(y++));
        if (channels == 3)
            rgbToWords(pixels, out, image.width());
        else
            rgbaToWords(pixels, out, image.width());
    };
    if (!readRows(png, maxSide, maxPixels, begin, row))
        return std::nullopt;
    if (channels == 4)
        image.convertTo(QImage::Format_ARGB32_Premultiplied);
    return image;
}

} // namespace trovix
