#pragma once

#include "document/Annotation.h"
#include "document/Redaction.h"
#include "render/Image.h"

#include <QList>
#include <QString>
#include <QUuid>

namespace trovix {

// A captured region with the scale it was taken at (pixels of image per display point).
struct Shot {
    Image image;
    double scale = 1;
};

// One step of a guide. Its identity is `id`. `rendered` is always `base` with `annotations` drawn,
// so every writer goes through make() or setAnnotations(), which keep the two together.
struct Step {
    QUuid id;
    QString title;
    QString note;
    Image base;
    double scale = 1;
    QList<Annotation> annotations;
    Image rendered;
    // Regions of `base` covered because they showed a secret; the base already has them filled.
    QList<Redaction> redactions;
    // The screenshot before those regions were filled. Kept in memory only and never written, so a
    // covered region can be uncovered again during the run that covered it; null after that.
    Image original;

    // A new step with a random id; rendered from base and annotations.
    static Step make(const Image& base, double scale, const QString& title,
                     const QList<Annotation>& annotations = {}, const QString& note = {});
    // A step read back from disk keeps its id.
    static Step restore(const QUuid& id, const QString& title, const QString& note, const Image& base,
                        double scale, const QList<Annotation>& annotations);

    // Replaces the annotations and the rendered picture together.
    void setAnnotations(const QList<Annotation>& list);

    // The rendered picture for these inputs. With no annotations it is the base itself (rendering
    // nothing over an opaque screenshot gives the same pixels), which keeps one buffer per step
    // instead of two. Otherwise it is made on first use and can be dropped and made again.
    static Image renderedFor(const Image& base, const QList<Annotation>& annotations, double scale);

    // The image file name in a guide folder: the uppercase UUID followed by ".png".
    QString imageName() const;
};

// The standard 36-character uppercase UUID string.
QString uuidString(const QUuid& id);

} // namespace trovix
