#include "redact/Redactor.h"

#include <QPainter>

namespace trovix::Redactor {

namespace {

// The pixels a region covers: whole pixels, rounded outwards, so no half-covered edge of a
// letter is left.
QRect pixelRect(const QRectF& rect, double scale) {
    const QRectF pixels(rect.topLeft() * scale, rect.size() * scale);
    return pixels.toAlignedRect();
}

} // namespace

QImage covered(const QImage& picture, const QList<Redaction>& regions, double scale) {
    if (regions.isEmpty() || picture.isNull())
        return picture;
    QImage out = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const Redaction& region : regions)
        painter.fillRect(pixelRect(region.rect, scale), fill);
    painter.end();
    return out;
}

Step cover(const Step& step, const QList<Redaction>& regions) {
    if (regions.isEmpty())
        return step;
    Step out = step;
    if (out.original.isNull())
        out.original = step.base;
    out.redactions += regions;
    out.base = Image(covered(step.base.pixels(), regions, step.scale));
    out.base.encodeInBackground(true);
    out.setAnnotations(step.annotations);
    return out;
}

bool canUncover(const Step& step) {
    return !step.original.isNull() && step.original.size() == step.base.size();
}

Step uncover(const Step& step, qsizetype index) {
    if (!canUncover(step) || index < 0 || index >= step.redactions.size())
        return step;
    Step out = step;
    out.redactions.removeAt(index);
    // From the original, with every other region covered again: the regions may overlap.
    QImage pixels = step.base.pixels().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage original = step.original.pixels().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QRect area = pixelRect(step.redactions[index].rect, step.scale).intersected(pixels.rect());
    {
        QPainter painter(&pixels);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(area.topLeft(), original, area);
    }
    out.base = Image(covered(pixels, out.redactions, step.scale));
    out.base.encodeInBackground(true);
    out.setAnnotations(step.annotations);
    return out;
}

Step changed(const Step& step, const QList<Redaction>& uncovered, const QList<QRectF>& added) {
    Step out = step;
    for (const Redaction& region : uncovered) {
        const qsizetype at = out.redactions.indexOf(region);
        if (at >= 0)
            out = uncover(out, at);
    }
    QList<Redaction> boxes;
    for (const QRectF& box : added)
        boxes.append(Redaction{SecretKind::manual, box.normalized()});
    return cover(out, boxes);
}

} // namespace trovix::Redactor
