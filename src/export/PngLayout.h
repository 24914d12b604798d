#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <optional>

namespace trovix {

// Where a PNG file keeps its pixels, for putting them into a PDF image object as they are: the
// concatenated image data chunks are a zlib stream of PNG-filtered rows, which a PDF reader inflates
// with /FlateDecode and unfilters with /Predictor 15.
struct PngLayout {
    int width = 0;
    int height = 0;
    int colours = 0;              // 3 for RGB, 1 for grey
    QList<QByteArrayView> chunks; // the image data chunks' contents, in order, viewing the file's bytes

    // The layout of `png` when a PDF can show its data unchanged: 8 bits per channel, RGB or grey,
    // not interlaced, no transparency. None for any other PNG (palette, alpha, 16 bits, interlaced)
    // and for bytes whose chunk structure does not hold together.
    static std::optional<PngLayout> embeddable(const QByteArray& png);
};

} // namespace trovix
