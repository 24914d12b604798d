#include "render/PngFastDecoder.h"

#include "render/PngChunk.h"

#include <QtEndian>

#include <libdeflate.h>

#include <cstdlib>
#include <memory>

namespace trovix {

namespace {

quint32 be32(const uchar* p) {
    return qFromBigEndian<quint32>(p);
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
        for (qsizetype i = 0; i < length; ++i)
            row[i] = uchar(row[i] + prev[i]);
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

struct FreeDecompressor {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

} // namespace

std::optional<QImage> PngFastDecoder::decode(const QByteArray& png, qint64 maxSide, qint64 maxPixels) {
    const std::optional<QList<PngChunk>> chunks = PngChunk::readAll(png, true);
    if (!chunks || !chunks->first().is("IHDR") || chunks->first().body.size() != 13)
        return std::nullopt;
    const auto* header = reinterpret_cast<const uchar*>(chunks->first().body.data());
    const qint64 width = be32(header), height = be32(header + 4);
    const int depth = header[8], colourType = header[9];
    if (width == 0 || height == 0 || width > maxSide || height > maxSide || width * height > maxPixels ||
        depth != 8 || (colourType != 2 && colourType != 6) || header[10] || header[11] || header[12])
        return std::nullopt;
    const int bpp = colourType == 6 ? 4 : 3;

    QByteArray compressed;
    qint32 dpmX = 0, dpmY = 0;
    for (const PngChunk& chunk : *chunks) {
        const auto* body = reinterpret_cast<const uchar*>(chunk.body.data());
        if (chunk.is("IDAT"))
            compressed.append(chunk.body);
        else if (chunk.is("tRNS") || chunk.is("PLTE"))
            return std::nullopt;
        else if (chunk.is("pHYs") && chunk.body.size() == 9 && body[8] == 1) {
            dpmX = qint32(be32(body));
            dpmY = qint32(be32(body + 4));
        } else if (!chunk.is("IHDR") && !chunk.is("IEND") && !(chunk.type[0] & 0x20))
            return std::nullopt; // a critical chunk this path does not know
    }

    const qsizetype stride = 1 + qsizetype(width) * bpp;
    const qsizetype rawSize = stride * qsizetype(height);
    std::unique_ptr<uchar[]> raw(new (std::nothrow) uchar[size_t(rawSize)]);
    std::unique_ptr<libdeflate_decompressor, FreeDecompressor> inflater(libdeflate_alloc_decompressor());
    if (!raw || !inflater)
        return std::nullopt;
    size_t inflated = 0;
    if (libdeflate_zlib_decompress(inflater.get(), compressed.constData(), size_t(compressed.size()),
                                   raw.get(), size_t(rawSize), &inflated) != LIBDEFLATE_SUCCESS ||
        qsizetype(inflated) != rawSize)
        return std::nullopt;
    compressed = QByteArray();

    QImage image(int(width), int(height),
                 bpp == 4 ? QImage::Format_ARGB32 : QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return std::nullopt;
    const std::unique_ptr<uchar[]> zeros(new uchar[size_t(stride)]());
    const uchar* prev = zeros.get();
    for (qint64 y = 0; y < height; ++y) {
        uchar* row = raw.get() + y * stride;
        if (!unfilter(row + 1, prev, stride - 1, bpp, row[0]))
            return std::nullopt;
        prev = row + 1;
        const uchar* p = row + 1;
        auto* out = reinterpret_cast<quint32*>(image.scanLine(int(y)));
        if (bpp == 3) {
            for (qint64 x = 0; x < width; ++x, p += 3)
                out[x] = 0xff000000u | (quint32(p[0]) << 16) | (quint32(p[1]) << 8) | p[2];
        } else {
            for (qint64 x = 0; x < width; ++x, p += 4)
                out[x] = (quint32(p[3]) << 24) | (quint32(p[0]) << 16) | (quint32(p[1]) << 8) | p[2];
        }
    }
    if (dpmX > 0 && dpmY > 0) {
        image.setDotsPerMeterX(dpmX);
        image.setDotsPerMeterY(dpmY);
    }
    if (bpp == 4)
        image.convertTo(QImage::Format_ARGB32_Premultiplied);
    return image;
}

} // namespace trovix
