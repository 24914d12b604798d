#include "document/Step.h"

#include "render/Renderer.h"

namespace trovix {

Step Step::make(const Image& base, double scale, const QString& title, const QList<Annotation>& annotations,
                const QString& note)
{
    return restore(QUuid::createUuid(), title, note, base, scale, annotations);
}

Step Step::restore(const QUuid& id, const QString& title, const QString& note, const Image& base, double scale,
                   const QList<Annotation>& annotations)
{
    Step step;
    step.id = id;
    step.title = title;
    step.note = note;
    step.base = base;
    step.scale = scale;
    step.setAnnotations(annotations);
    // The PNG is made once, now and off the main thread, so that saving only ever writes bytes. The
    // screenshot's pixels then go: windows decode (and cache small copies of) what they show, and a
    // hundred 4K steps hold their PNGs instead of 3.3 GB of pixels.
    step.base.encodeInBackground(true);
    return step;
}

void Step::setAnnotations(const QList<Annotation>& list)
{
    annotations = list;
    rendered = renderedFor(base, annotations, scale);
}

Image Step::renderedFor(const Image& base, const QList<Annotation>& annotations, double scale)
{
    if (annotations.isEmpty() || base.isNull())
        return base;
    return Image::lazy(base.size(), [base, annotations, scale] {
        // Drawing the picture must not leave the screenshot decoded behind it: an export renders
        // every annotated step once, and each 4K base kept would pin 33 MB for the guide's life.
        const bool hadBase = base.hasPixels();
        const QImage pixels = base.pixels();
        QImage out = Renderer::render(pixels, annotations, scale);
        if (!hadBase)
            base.dropPixels();
        return out.isNull() ? pixels : out;
    });
}

QString Step::imageName() const
{
    return uuidString(id) + QStringLiteral(".png");
}

QString uuidString(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace trovix
