#pragma once

#include <QList>
#include <QRectF>
#include <QString>

#include <optional>

namespace trovix {

// What a recorded click hit: the step title to use and, when known, the clicked control's frame in
// global coordinates (points, origin at the primary screen's top-left corner, y downwards).
struct ClickTarget {
    QString title;
    std::optional<QRectF> frame;
    // Set when the title names no label ("Click in Editor", "Click the button in Editor"): what a
    // labelled title ends with (" in Editor", or nothing), so that a label found another way, such
    // as on the screenshot, can still complete it.
    std::optional<QString> labelSuffix = std::nullopt;
    // For steps made with the keyboard: the step's note; whether a ring marks the point when there
    // is no frame (nothing was clicked there); a region (global points) to cover in the picture,
    // such as a password field.
    QString note = {};
    bool ring = true;
    std::optional<QRectF> secret = std::nullopt;
    // Password fields showing where the picture was taken, in the same coordinates as `frame`: they
    // are covered on the step's picture whatever it shows of them.
    QList<QRectF> passwordFields = {};

    // Two targets are equal when they give the same step.
    friend bool operator==(const ClickTarget& a, const ClickTarget& b) {
        return a.title == b.title && a.frame == b.frame;
    }
};

} // namespace trovix
