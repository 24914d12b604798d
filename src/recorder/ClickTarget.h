#pragma once

#include <QRectF>
#include <QString>

#include <optional>

namespace trovix {

// What a recorded click hit: the step title to use and, when known, the clicked control's frame in
// global coordinates (points, origin at the primary screen's top-left corner, y downwards).
struct ClickTarget {
    QString title;
    std::optional<QRectF> frame;

    friend bool operator==(const ClickTarget&, const ClickTarget&) = default;
};

} // namespace trovix
