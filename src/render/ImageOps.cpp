#include "render/ImageOps.h"

#include <QBuffer>
#include <QImageWriter>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace trovix {

QImage scaledDown(const QImage& image, std::optional<double> maxSide)
{
    if (image.isNull())
        return {};
    const int W = image.width(), H = image.height();
    const double f = maxSide ? std::min(*maxSide / std::max(W, H), 1.0) : 1.0;
    const int w = std::max(1, int(std::lround(W * f))), h = std::max(1, int(std::lround(H * f)));
    QImage out(w, h, QImage::Format_RGB32);
    if (out.isNull())
        return {};
    out.fill(Qt::white);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRect(0, 0, w, h), image);
    return out;
}

QByteArray jpegData(const QImage& image, double quality)
{
    if (image.isNull())
        return {};
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(int(std::lround(std::clamp(quality, 0.0, 1.0) * 100)));
    if (!writer.write(image))
        return {};
    return bytes;
}

} // namespace trovix
