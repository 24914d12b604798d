#pragma once

#include <QByteArray>
#include <QImage>

#include <optional>

namespace trovix {

// Decodes the PNGs screenshots are saved as (8 bits per channel, RGB or RGBA, not interlaced) with
// libdeflate, which inflates the image data about four times faster than zlib: inflating is most of
// the time a screenshot takes to decode. The pixels equal libpng's.
//
// None for any other PNG (palette, grey, 16 bits, interlaced, transparency chunk) and for any file
// that is not perfectly sound (a checksum, a length, the stream): the caller then decodes it with
// libpng, which reads those and reports damage its own way.
class PngFastDecoder {
public:
    // ARGB32 premultiplied pixels; `maxSide` and `maxPixels` bound the header's size before anything
    // is allocated.
    static std::optional<QImage> decode(const QByteArray& png, qint64 maxSide, qint64 maxPixels);
};

} // namespace trovix
