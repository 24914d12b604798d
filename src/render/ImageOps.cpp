#include "render/ImageOps.h"

#include "render/AreaScaler.h"
#include "render/Image.h"
#include "render/ImageCodec.h"
#include "render/JpegEncoder.h"
#include "render/PngFastDecoder.h"

#include <QColorSpace>

#include <algorithm>
#include <cmath>

namespace trovix {

namespace {

QSize scaledSize(QSize size, std::optional<double> maxSide) {
    if (maxSide && std::isnan(*maxSide))
        maxSide.reset();
    const int W = size.width(), H = size.height();
    const double f = maxSide ? std::min(*maxSide / std::max(W, H), 1.0) : 1.0;
    // std::lround rounds halves away from zero: 1.5 → 2, 0.5 → 1.
    return QSize(int(std::max(1L, std::lround(W * f))), int(std::max(1L, std::lround(H * f))));
}

// An opaque screenshot PNG decoded straight into its shrunk copy; null when the fast decoder does
// not read this file or it has transparency (the general path composites that over white).
QImage shrunkPng(const QByteArray& png, std::optional<double> maxSide) {
    std::optional<AreaScaler> scaler;
    const auto begin = [&](const PngFastDecoder::Header& header) {
        if (header.channels != 3)
            return false;
        scaler.emplace(header.size, scaledSize(header.size, maxSide), AreaScaler::Rows::rgb);
        return true;
    };
    const auto row = [&](const uchar* rgb) { scaler->addRow(rgb); };
    if (!PngFastDecoder::readRows(png, ImageCodec::maxSide, ImageCodec::maxPixels, begin, row))
        return {};
    return scaler->result();
}

} // namespace

QImage scaledDown(const QImage& image, std::optional<double> maxSide) {
    if (image.isNull())
        return {};
    const QSize size = scaledSize(image.size(), maxSide);
    // Area-averaging: bilinear sampling drops most source pixels at the 3–6× reductions thumbnails
    // and exports use, which shows as aliasing on text.
    const bool rgb32 = image.format() == QImage::Format_RGB32;
    const QImage source = rgb32 || image.format() == QImage::Format_ARGB32_Premultiplied
                              ? image
                              : image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    AreaScaler scaler(source.size(), size,
                      rgb32 ? AreaScaler::Rows::rgb32 : AreaScaler::Rows::premultiplied);
    for (int y = 0; y < source.height(); ++y)
        scaler.addRow(source.constScanLine(y));
    QImage out = scaler.result();
    if (out.isNull())
        return {};
    if (image.colorSpace().isValid() && image.colorSpace() != QColorSpace::SRgb) {
        out.setColorSpace(image.colorSpace());
        out.convertToColorSpace(QColorSpace::SRgb);
    }
    return out;
}

QImage scaledDown(const Image& image, std::optional<double> maxSide) {
    if (!image.hasPixels() && image.hasPng()) {
        QImage shrunk = shrunkPng(image.png(), maxSide);
        if (!shrunk.isNull())
            return shrunk;
    }
    return scaledDown(image.pixels(), maxSide);
}

QByteArray jpegData(const QImage& image, double quality) {
    // 0 … 1 onto the encoder's 0 … 100.
    const double q = std::isnan(quality) ? 0.0 : std::clamp(quality, 0.0, 1.0);
    return JpegEncoder::encode(image, int(std::lround(q * 100)));
}

} // namespace trovix
