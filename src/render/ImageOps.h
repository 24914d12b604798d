#pragma once

#include <QByteArray>
#include <QImage>

#include <optional>

namespace trovix {

class Image;

// An opaque sRGB copy whose longer side is at most maxSide pixels (never enlarged); transparent
// pixels come out over white. Null when no surface can be made.
QImage scaledDown(const QImage& image, std::optional<double> maxSide);
// The same picture for an image handle. A screenshot known only by its stored PNG is shrunk row by
// row as it is decoded, so its full-size pixels are never made (nor kept).
QImage scaledDown(const Image& image, std::optional<double> maxSide);
// JPEG file bytes at quality 0 (smallest) … 1 (best); empty when encoding fails.
QByteArray jpegData(const QImage& image, double quality);

} // namespace trovix
