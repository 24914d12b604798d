#pragma once

#include "document/Annotation.h"

#include <QImage>
#include <QList>
#include <QSizeF>

class QPainter;

namespace trovix {

// The one drawing routine behind every step picture, the editor canvas and every export.
// Coordinates are annotation space: points of the captured display, origin top-left, y down.
class Renderer {
public:
    // base with every annotation drawn, at base's pixel size; null when no surface can be made.
    static QImage render(const QImage& base, const QList<Annotation>& annotations, double scale);
    // Draws base filling (0, 0, size) and then the annotations, into a painter whose coordinates are
    // already top-left points. Text sizes are in those points whatever the device's DPI. To repaint
    // part of the picture cheaply, set the painter's clip to that part first (a canvas: the paint
    // event's rect): blurs then pixelate only the blocks inside it, and Qt draws the rest clipped.
    static void draw(const QImage& base, QSizeF size, const QList<Annotation>& annotations,
                     QPainter& painter);
};

} // namespace trovix
