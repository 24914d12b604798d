#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

namespace trovix::ImageCodec {

// Pictures larger than this are refused before anything is allocated for them: a damaged or hostile
// PNG header may claim 100000 × 100000 pixels.
inline constexpr qint64 maxSide = 65535;
inline constexpr qint64 maxPixels = qint64(1) << 27; // 134 million: a 16K display fits

// Encodes pixels as a PNG file; empty on failure. Tuned for screenshots: fast zlib settings and the
// "up" filter, which suits flat areas, text and vertical gradients. Opaque pictures are stored as RGB.
QByteArray encodePng(const QImage& image);
// Decodes the first image of PNG (or any readable) bytes; null on failure. PNG pictures come back as
// ARGB32 premultiplied.
QImage decode(const QByteArray& bytes);
// The pixel size recorded in a PNG header, or an invalid size when the bytes are no PNG.
QSize pngSize(const QByteArray& bytes);

// The result of checking a PNG file's structure without decoding its pixels.
struct PngCheck {
    QSize size;      // from the header; valid only when the check passed
    QString problem; // empty when the structure is sound; otherwise what is wrong, in a few words
    bool ok() const { return problem.isEmpty(); }
};

// Checks the signature, the chunk layout and every chunk's CRC, the header's values (with sane
// dimensions), the image data's zlib header and the end chunk. This catches empty, truncated,
// damaged and non-PNG files in a fraction of the time a full decode takes; what it cannot see (a
// corrupt compressed stream with intact CRCs) shows up when the pixels are decoded.
PngCheck checkPng(const QByteArray& bytes);

} // namespace trovix::ImageCodec
