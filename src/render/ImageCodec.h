#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

namespace trovix::ImageCodec {

// Pictures larger than this are refused before anything is allocated for them: a damaged or hostile
// header may claim 100000 × 100000 pixels. Screenshots are cut from one display, and a 16K display
// (15360 × 8640) fits; decoded, the largest picture allowed takes 512 MB.
inline constexpr qint64 maxSide = 16384;
inline constexpr qint64 maxPixels = qint64(1) << 27; // 134 million

// Encodes pixels as a PNG file; empty on failure. Tuned for screenshots: fast zlib settings and the
// "up" filter, which suits flat areas, text and vertical gradients. Opaque pictures are stored as RGB.
QByteArray encodePng(const QImage& image);
// Decodes PNG or JPEG bytes (no other format); null on failure, and null for a picture beyond the
// limits above, refused before its pixels are allocated. PNG pictures come back as ARGB32
// premultiplied.
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
// dimensions), the image data's zlib header, that there is enough image data for the size the header
// claims, and the end chunk. This catches empty, truncated, damaged and non-PNG files in a fraction
// of the time a full decode takes, and a few bytes claiming a huge picture; what it cannot see (a
// corrupt compressed stream with intact CRCs) shows up when the pixels are decoded.
PngCheck checkPng(const QByteArray& bytes);

} // namespace trovix::ImageCodec
