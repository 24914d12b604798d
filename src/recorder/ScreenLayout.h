#pragma once

#include <QGuiApplication>
#include <QList>
#include <QPointF>
#include <QRectF>
#include <QScreen>

namespace trovix {

// The screens as Qt places them (points) with their pixel ratios, for converting between points and
// the X server's native pixels. Qt keeps each screen's top-left corner at its native position and
// scales only the extent, so a native point maps to points relative to its own screen's corner.
// A plain value: snapshot it on the main thread, use it anywhere.
struct ScreenLayout {
    struct Screen {
        QRectF geometry; // in points
        double pixelRatio = 1;
        QRectF nativeGeometry() const { return {geometry.topLeft(), geometry.size() * pixelRatio}; }
    };

    QList<Screen> screens; // in the platform's order; the first is the primary screen

    static ScreenLayout current() {
        ScreenLayout layout;
        for (const QScreen* screen : QGuiApplication::screens())
            layout.screens.append({QRectF(screen->geometry()), screen->devicePixelRatio()});
        return layout;
    }

    // Whether the rectangle contains the point, its minimum edges included and maximum edges not.
    static bool contains(const QRectF& rect, QPointF point) {
        return point.x() >= rect.left() && point.x() < rect.right() && point.y() >= rect.top() &&
               point.y() < rect.bottom();
    }

    // The index of the first screen whose frame (in points) contains the point, or -1.
    int screenAt(QPointF point) const {
        for (int i = 0; i < screens.size(); ++i)
            if (contains(screens[i].geometry, point))
                return i;
        return -1;
    }

    QPointF toPoints(QPointF native) const {
        for (const Screen& screen : screens)
            if (contains(screen.nativeGeometry(), native))
                return screen.geometry.topLeft() + (native - screen.geometry.topLeft()) / screen.pixelRatio;
        return native;
    }

    QPointF toNative(QPointF point) const {
        const int index = screenAt(point);
        if (index < 0)
            return point;
        const Screen& screen = screens[index];
        return screen.geometry.topLeft() + (point - screen.geometry.topLeft()) * screen.pixelRatio;
    }

    // A native rectangle in points, scaled by the ratio of the screen that holds its top-left corner.
    QRectF toPoints(const QRectF& native) const {
        for (const Screen& screen : screens)
            if (contains(screen.nativeGeometry(), native.topLeft()))
                return {toPoints(native.topLeft()), native.size() / screen.pixelRatio};
        return native;
    }
};

} // namespace trovix
