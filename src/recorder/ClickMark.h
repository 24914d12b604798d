#pragma once

#include "document/Annotation.h"
#include "recorder/ClickTarget.h"

#include <QPointF>
#include <QRectF>

namespace trovix {

// The one mark a recorded click leaves on its screenshot, in the clicked screen's annotation space
// (points from the screen's top-left corner, y down). Global coordinates are top-left too, so the
// conversion only removes the screen's offset, wherever the screen sits around the primary one.
class ClickMark {
public:
    // A target frame around the control when its frame is known, else a ring at the click point.
    static Annotation make(const ClickTarget& target, QPointF location, const QRectF& screen);
};

} // namespace trovix
