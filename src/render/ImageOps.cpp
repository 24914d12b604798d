#include "render/ImageOps.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageWriter>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace trovix {

QImage scaledDown(const QImage& image, std::optional<double> maxSide) {
    if (image.isNull())
        return {};
    if (maxSide && std::isnan(*maxSide))
        maxSide.reset();
    const int W = image.width(), H = image.height();
    const double f = maxSide ? std::min(*maxSide / std::max(W, H), 1.0) : 1.0;
    // std::lround rounds halves away from zero: 1.5 → 2, 0.5 → 1.
    const long w = std::max(1L, std::lround(W * f)), h = std::max(1L, std::lround(H * f));

    // Area-averaging when shrinking: bilinear sampling (QPainter's smooth transform) drops most source
    // pixels at the 3–6× reductions thumbnails and exports use, which shows as aliasing on text.
    QImage source = w == W && h == H
                        ? image
                        : image.scaled(int(w), int(h), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (source.isNull())
        return {};
    source.setDevicePixelRatio(1);
    if (source.colorSpace().isValid() && source.colorSpace() != QColorSpace::SRgb)
        source.convertToColorSpace(QColorSpace::SRgb);

    QImage out(int(w), int(h), QImage::Format_RGB32);
    if (out.isNull())
        return {};
    out.fill(Qt::white);
    QPainter painter(&out);
    if (!painter.isActive())
        return {};
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.drawImage(QPoint(0, 0), source);
    painter.end();
    return out;
}

QByteArray jpegData(const QImage& image, double quality) {
    if (image.isNull())
        return {};
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    // 0 … 1 onto the encoder's 0 … 100.
    const double q = std::isnan(quality) ? 0.0 : std::clamp(quality, 0.0, 1.0);
    writer.setQuality(int(std::lround(q * 100)));
    if (!writer.write(image))
        return {};
    return bytes;
}

} // namespace trovix
