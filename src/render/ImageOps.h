#pragma once

#include <QByteArray>
#include <QImage>

#include <optional>

namespace trovix {

// An opaque sRGB copy whose longer side is at most maxSide pixels (never enlarged); transparent
// pixels come out over white. Null when no surface can be made.
QImage scaledDown(const QImage& image, std::optional<double> maxSide);
// JPEG file bytes at quality 0 (smallest) … 1 (best); empty when encoding fails.
QByteArray jpegData(const QImage& image, double quality);

} // namespace trovix
