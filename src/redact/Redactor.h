#pragma once

#include "document/Redaction.h"
#include "document/Step.h"

#include <QColor>
#include <QImage>
#include <QList>

namespace trovix {

// Covers regions of a step's screenshot with one opaque colour, so that nothing of what they
// showed survives in the picture, and uncovers them again while the original is still in memory.
namespace Redactor {

// The colour every covered region is filled with: a grey that stands out on light and dark alike.
inline const QColor fill = QColor(72, 72, 80);

// The picture with the regions (annotation space) filled; the picture itself when there are none.
QImage covered(const QImage& picture, const QList<Redaction>& regions, double scale);

// The step with more regions covered in its base; the first covering keeps the unredacted base in
// memory as the step's original. Annotations are drawn again over the new base.
Step cover(const Step& step, const QList<Redaction>& regions);

// Whether the region at this index can still be uncovered: only during the run that covered it.
bool canUncover(const Step& step);

// The step with one region uncovered (a false positive): its pixels come back from the original,
// the other regions stay covered. The step unchanged when it cannot be uncovered.
Step uncover(const Step& step, qsizetype index);

// The step after an editor's changes: these regions uncovered (where they still can be), these
// boxes (annotation space) covered by hand.
Step changed(const Step& step, const QList<Redaction>& uncovered, const QList<QRectF>& added);

} // namespace Redactor

} // namespace trovix
