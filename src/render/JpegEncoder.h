#pragma once

#include <QByteArray>
#include <QImage>

namespace trovix::JpegEncoder {

// Baseline JPEG file bytes (4:2:0, quality 0…100) of the image's pixels, read straight from its
// 32-bit words without a per-row copy; alpha is ignored. Empty when encoding fails.
QByteArray encode(const QImage& image, int quality);

} // namespace trovix::JpegEncoder
