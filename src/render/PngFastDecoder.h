#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <functional>
#include <optional>

namespace trovix {

// Decodes the PNGs screenshots are saved as (8 bits per channel, RGB or RGBA, not interlaced) with
// libdeflate, which inflates the image data about four times faster than zlib. The pixels equal
// libpng's.
//
// Nothing for any other PNG (palette, grey, 16 bits, interlaced, transparency chunk) and for any file
// that is not perfectly sound (a checksum, a length, the stream): the caller then decodes it with
// libpng, which reads those and reports damage its own way.
class PngFastDecoder {
public:
    struct Header {
        QSize size;
        int channels = 0; // 3: red, green, blue; 4: and straight (not premultiplied) alpha
        qint32 dotsPerMeterX = 0, dotsPerMeterY = 0; // 0 when the file names no density
    };
    // Takes the header and says whether to go on.
    using Begin = std::function<bool(const Header&)>;
    // Takes the next row's pixels, top to bottom: `channels` bytes a pixel.
    using Row = std::function<void(const uchar* pixels)>;

    // ARGB32 premultiplied pixels; `maxSide` and `maxPixels` bound the header's size before anything
    // is allocated.
    static std::optional<QImage> decode(const QByteArray& png, qint64 maxSide, qint64 maxPixels);

    // Hands the rows out one by one as they are unfiltered, so a caller that only needs something
    // smaller (a shrunk copy) never makes the whole picture's pixels. `begin` comes before the data
    // is inflated. False when the file is not one this decoder reads, is damaged, or `begin`
    // declined; whatever `begin` set up is then to be dropped (no row has been handed out).
    static bool readRows(const QByteArray& png, qint64 maxSide, qint64 maxPixels, const Begin& begin,
                         const Row& row);
};

} // namespace trovix
