#pragma once

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <memory>
#include <optional>

namespace trovix {

// The attributes the click description reads from an element.
enum class ElementAttribute {
    role,            // one of the role names below, or any other name for roles that are not interactive
    title,           // the element's own name
    description,     // its longer description
    value,           // its text contents
    roleDescription, // the role in words, as the desktop's language says it ("push button")
    contents,        // all of a text field's text, however long
};

// One element of an accessibility tree, as the click description sees it. Implementations wrap a
// real tree (AT-SPI) or a fake one in tests; every call may fail and then answers nothing.
class AccessibleElement {
public:
    virtual ~AccessibleElement() = default;

    // The attribute's value when it can be read and is text.
    virtual std::optional<QString> text(ElementAttribute attribute) const = 0;
    // The parent element, or null at the top or when it cannot be read.
    virtual std::shared_ptr<const AccessibleElement> parent() const = 0;
    // Top-left corner and size on screen, in global points.
    virtual std::optional<QPointF> position() const = 0;
    virtual std::optional<QSizeF> size() const = 0;
    // Whether the element holds a secret (a password field), whose text is never to be read.
    virtual bool isSecret() const { return false; }
};

using ElementRef = std::shared_ptr<const AccessibleElement>;

// The desktop-wide side of an accessibility tree.
class AccessibleDesktop {
public:
    virtual ~AccessibleDesktop() = default;

    // Whether the accessibility service answers at all.
    virtual bool isTrusted() const = 0;
    // The deepest element under a point in global points, or null.
    virtual ElementRef elementAt(QPointF point) const = 0;
    // The display name of the application the user works in at the moment of a click at this point
    // (global points), if any.
    virtual std::optional<QString> frontmostApplicationName(QPointF click) const = 0;
    // The password fields showing in the window under a point (global points): whatever they show
    // is covered on the step's picture.
    virtual QList<QRectF> passwordFields(QPointF) const { return {}; }
};

} // namespace trovix
