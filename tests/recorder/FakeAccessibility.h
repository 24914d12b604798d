#pragma once

#include "recorder/AccessibleElement.h"

#include <QHash>
#include <QRectF>

#include <memory>
#include <optional>

namespace trovix {

// A hand-built accessibility tree. Attributes that are not set cannot be read.
class FakeElement : public AccessibleElement {
public:
    static std::shared_ptr<FakeElement> make(const QString& role, std::shared_ptr<FakeElement> parent = {}) {
        auto element = std::make_shared<FakeElement>();
        element->attributes.insert(ElementAttribute::role, role);
        element->up = std::move(parent);
        return element;
    }

    FakeElement& set(ElementAttribute attribute, const QString& value) {
        attributes.insert(attribute, value);
        return *this;
    }

    std::optional<QString> text(ElementAttribute attribute) const override {
        const auto it = attributes.constFind(attribute);
        return it == attributes.constEnd() ? std::nullopt : std::optional<QString>(*it);
    }
    ElementRef parent() const override { return up; }
    std::optional<QPointF> position() const override {
        return frame ? std::optional<QPointF>(frame->topLeft()) : std::nullopt;
    }
    std::optional<QSizeF> size() const override {
        return frame ? std::optional<QSizeF>(frame->size()) : std::nullopt;
    }

    QHash<ElementAttribute, QString> attributes;
    std::shared_ptr<FakeElement> up;
    std::optional<QRectF> frame;
};

class FakeDesktop : public AccessibleDesktop {
public:
    bool isTrusted() const override { return trusted; }
    ElementRef elementAt(QPointF point) const override {
        askedAt = point;
        return hit;
    }
    std::optional<QString> frontmostApplicationName(QPointF) const override { return application; }

    bool trusted = true;
    std::shared_ptr<FakeElement> hit;
    std::optional<QString> application = QStringLiteral("Editor");
    mutable std::optional<QPointF> askedAt;
};

} // namespace trovix
