#pragma once

#include <QList>
#include <QPointF>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

namespace trovix {

// Annotation kinds; the raw values are stored in guide files and must never change.
enum class Kind : int {
    arrow = 0,
    rect = 1,
    highlight = 2,
    blur = 3,
    text = 4,
    step = 5,
    ring = 6,
    target = 7,
};

inline constexpr std::array<Kind, 8> allKinds{Kind::arrow, Kind::rect, Kind::highlight, Kind::blur,
                                              Kind::text,  Kind::step, Kind::ring,      Kind::target};

// The kind with this raw value, or none outside 0…7.
inline constexpr std::optional<Kind> kindFromRaw(std::int64_t raw)
{
    if (raw < 0 || raw > 7)
        return std::nullopt;
    return static_cast<Kind>(raw);
}

inline constexpr int rawValue(Kind kind)
{
    return static_cast<int>(kind);
}

// One mark on a screenshot. Points are in annotation space: points of the captured display, origin at
// the top-left of the base image, y downwards.
struct Annotation {
    Kind kind = Kind::arrow;
    QPointF p1;
    QPointF p2;
    QString text;         // text kind only
    std::int64_t number = 0; // step badge only

    friend bool operator==(const Annotation&, const Annotation&) = default;
};

} // namespace trovix
