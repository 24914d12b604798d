#include "recorder/ClickMark.h"

namespace trovix {

Annotation ClickMark::make(const ClickTarget& target, QPointF location, const QRectF& screen) {
    Annotation mark;
    if (target.frame) {
        const QRectF r = target.frame->translated(-screen.topLeft());
        mark.kind = Kind::target;
        mark.p1 = r.topLeft();
        mark.p2 = QPointF(r.right(), r.bottom());
    } else {
        mark.kind = Kind::ring;
        mark.p1 = location - screen.topLeft();
        mark.p2 = QPointF(0, 0);
    }
    return mark;
}

} // namespace trovix
