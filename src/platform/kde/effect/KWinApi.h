#pragma once

// The one place where the KWin versions the reporter builds against differ: KWin 5.27 (Plasma 5, Qt 5)
// keeps the effect API in kwineffects.h and gives integer pointer positions; KWin 6 (Plasma 6, Qt 6)
// splits it into effect/*.h and gives floating-point ones.
#ifdef TROVIX_KWIN_6
#include <effect/effect.h>
#include <effect/effecthandler.h>
#include <effect/effectwindow.h>
#else
#include <kwineffects.h>
#endif

#include <QPoint>
#include <QPointF>

namespace trovix::kwin {

#ifdef TROVIX_KWIN_6
using PointerPosition = QPointF;
#else
using PointerPosition = QPoint;
#endif

// The desktop pixel under the pointer.
inline QPoint pixel(const PointerPosition& position) {
    return QPointF(position).toPoint();
}

} // namespace trovix::kwin
