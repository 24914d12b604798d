#pragma once

#include "recorder/AccessibleElement.h"
#include "recorder/ClickTarget.h"

#include <QRectF>
#include <QStringList>

#include <optional>

namespace trovix {

// Turns the element under a click into a step title and, where it is useful, the control's frame:
// climbs from the hit element to the nearest interactive control, picks its label and composes
// "Click “Save” in Editor", "Click the button in Editor" or "Click in Editor". Knows nothing of
// any particular accessibility service; it works on the small element interface.
class ClickDescriber {
public:
    // The role names that count as controls a user clicks on purpose.
    static const QStringList& interactiveRoles();

    // The attribute's text, when present and a usable label.
    static std::optional<QString> string(const AccessibleElement& element, ElementAttribute attribute);
    // The text when it can stand as a label: not empty and shorter than 80 user-perceived characters.
    static std::optional<QString> usableLabel(const QString& text);
    // "Click “label”" followed by suffix (" in Editor", or nothing).
    static QString labelledTitle(const QString& label, const QString& suffix);
    // The element's frame from its position and size.
    static std::optional<QRectF> frameOf(const AccessibleElement& element);

    // "Click" followed by " in " and the application's name when there is one.
    static QString fallbackTitle(const std::optional<QString>& applicationName);

    // A click that its source named itself: the control's label (empty when it has none), the name
    // of what holds it (a page's title, an application; empty when unknown) and its frame.
    static ClickTarget describeNamed(const QString& label, const QString& holder,
                                     const std::optional<QRectF>& frame);

    // Describes the click at location (global points). primaryDisplay is the frame of the first
    // screen, or none when no screen is known. Never fails: anything missing degrades to the
    // fallback title without a frame.
    static ClickTarget describe(const AccessibleDesktop& desktop, QPointF location,
                                const std::optional<QRectF>& primaryDisplay);

private:
    // The title and frame of describe(), without the password fields.
    static ClickTarget describeClick(const AccessibleDesktop& desktop, QPointF location,
                                     const std::optional<QRectF>& primaryDisplay);
    struct Control {
        std::optional<QRectF> frame;
        std::optional<QString> label;
        // The role in words, when there is no label.
        std::optional<QString> role;
    };
    static Control describeControl(const ElementRef& hit, const QRectF& primaryDisplay);

public:
    // How many elements the climb examines: the hit element and at most four ancestors.
    static constexpr int climbLimit = 5;
    // Frames narrower or lower than this (points) are too small to mark.
    static constexpr double minimumFrameSide = 4;
    // Frames covering more than this share of the primary display are windows, not controls.
    static constexpr double maximumFrameShare = 0.4;
};

} // namespace trovix
