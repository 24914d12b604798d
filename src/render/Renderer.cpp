#include "render/Renderer.h"

#include <QPainter>

namespace trovix {

QImage Renderer::render(const QImage& base, const QList<Annotation>& annotations, double scale)
{
    if (base.isNull() || scale <= 0)
        return {};
    QImage out(base.size(), QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    painter.scale(scale, scale);
    draw(base, QSizeF(base.width() / scale, base.height() / scale), annotations, painter);
    return out;
}

void Renderer::draw(const QImage& base, QSizeF size, const QList<Annotation>&, QPainter& painter)
{
    painter.drawImage(QRectF(QPointF(0, 0), size), base);
}

} // namespace trovix
