#pragma once

#include <QImage>
#include <QPoint>
#include <QRect>

namespace trovix {

// Our pixelation filter: square blocks whose grid starts at the region's top-left corner, each block
// filled with the average of the pixels it covers (in premultiplied colour, so translucent pixels
// weigh by their coverage). Blocks at the region's right and bottom edges are cut short.
struct Pixelated {
    QImage image;  // ARGB32 premultiplied; null when nothing was made
    QPoint origin; // pixel position of image's top-left within the base image
};

// Pixelates `region` of `base` (pixels, must lie inside base) with blocks of `blockSize` pixels.
// A fractional block size puts block edges at the nearest whole pixel of each multiple. Only the
// blocks that meet `wanted` are computed, so a caller repainting a small part of a large blur pays
// only for that part; the grid stays that of the whole region, so the blocks do not shift.
Pixelated pixelate(const QImage& base, const QRect& region, double blockSize, const QRect& wanted);

} // namespace trovix
