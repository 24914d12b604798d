#include "recorder/ClickDescriber.h"

#include <QCoreApplication>
#include <QTextBoundaryFinder>

namespace trovix {

namespace {

// What a title ends with to name the clicked application (" in Editor"), or nothing without a name.
QString inApplication(const QString& name) {
    return name.isEmpty() ? QString()
                          : QCoreApplication::translate("trovix::ClickDescriber", " in %1").arg(name);
}

// User-perceived characters (grapheme clusters), counted no further than limit.
int graphemeCount(const QString& text, int limit) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (finder.toNextBoundary() != -1 && count < limit)
        ++count;
    return count;
}

} // namespace

const QStringList& ClickDescriber::interactiveRoles() {
    static const QStringList roles{
        QStringLiteral("AXButton"),      QStringLiteral("AXLink"),
        QStringLiteral("AXMenuItem"),    QStringLiteral("AXMenuBarItem"),
        QStringLiteral("AXCheckBox"),    QStringLiteral("AXRadioButton"),
        QStringLiteral("AXPopUpButton"), QStringLiteral("AXMenuButton"),
        QStringLiteral("AXTextField"),   QStringLiteral("AXTextArea"),
        QStringLiteral("AXComboBox"),    QStringLiteral("AXTab"),
        QStringLiteral("AXTabButton"),   QStringLiteral("AXDisclosureTriangle"),
        QStringLiteral("AXSlider"),      QStringLiteral("AXSegmentedControl"),
        QStringLiteral("AXCell"),        QStringLiteral("AXRow"),
    };
    return roles;
}

std::optional<QString> ClickDescriber::string(const AccessibleElement& element, ElementAttribute attribute) {
    const std::optional<QString> value = element.text(attribute);
    return value ? usableLabel(*value) : std::nullopt;
}

std::optional<QString> ClickDescriber::usableLabel(const QString& text) {
    constexpr int limit = 80;
    if (text.isEmpty() || graphemeCount(text, limit) >= limit)
        return std::nullopt;
    return text;
}

QString ClickDescriber::labelledTitle(const QString& label, const QString& suffix) {
    return QCoreApplication::translate("trovix::ClickDescriber", "Click “%1”%2").arg(label, suffix);
}

std::optional<QRectF> ClickDescriber::frameOf(const AccessibleElement& element) {
    const std::optional<QPointF> position = element.position();
    if (!position)
        return std::nullopt;
    const std::optional<QSizeF> size = element.size();
    if (!size)
        return std::nullopt;
    return QRectF(*position, *size);
}

QString ClickDescriber::fallbackTitle(const std::optional<QString>& applicationName) {
    return QCoreApplication::translate("trovix::ClickDescriber", "Click%1")
        .arg(applicationName ? inApplication(*applicationName) : QString());
}

ClickTarget ClickDescriber::describeNamed(const QString& label, const QString& holder,
                                          const std::optional<QRectF>& frame) {
    const QString suffix = inApplication(holder.simplified());
    if (const std::optional<QString> usable = usableLabel(label.simplified()))
        return {labelledTitle(*usable, suffix), frame, std::nullopt};
    return {QCoreApplication::translate("trovix::ClickDescriber", "Click%1").arg(suffix), frame, suffix};
}

// The nearest interactive control among the hit element and its first ancestors (the hit element
// itself when there is none, or the chain breaks): its frame where useful, its label, its role.
ClickDescriber::Control ClickDescriber::describeControl(const ElementRef& hit, const QRectF& primaryDisplay) {
    ElementRef chosen = hit;
    ElementRef element = hit;
    for (int round = 0; round < climbLimit; ++round) {
        const std::optional<QString> role = string(*element, ElementAttribute::role);
        if (role && interactiveRoles().contains(*role)) {
            chosen = element;
            break;
        }
        if (round == climbLimit - 1)
            break;
        ElementRef parent = element->parent();
        if (!parent)
            break;
        element = std::move(parent);
    }

    Control control;
    control.frame = frameOf(*chosen);
    const std::optional<QRectF>& frame = control.frame;
    if (frame && (frame->width() < minimumFrameSide || frame->height() < minimumFrameSide))
        control.frame.reset();
    const double displayArea = primaryDisplay.width() * primaryDisplay.height();
    if (frame && frame->width() * frame->height() > maximumFrameShare * displayArea)
        control.frame.reset();

    control.label = string(*chosen, ElementAttribute::title);
    if (!control.label)
        control.label = string(*chosen, ElementAttribute::description);
    if (!control.label)
        control.label = string(*hit, ElementAttribute::title);
    if (!control.label)
        control.label = string(*hit, ElementAttribute::description);
    if (!control.label)
        control.label = string(*hit, ElementAttribute::value);
    if (!control.label)
        control.role = string(*chosen, ElementAttribute::roleDescription);
    return control;
}

ClickTarget ClickDescriber::describe(const AccessibleDesktop& desktop, QPointF location,
                                     const std::optional<QRectF>& primaryDisplay) {
    ClickTarget target = describeClick(desktop, location, primaryDisplay);
    // Last, with what is left of the budget: the title matters more.
    if (desktop.isTrusted())
        target.passwordFields = desktop.passwordFields(location);
    return target;
}

ClickTarget ClickDescriber::describeClick(const AccessibleDesktop& desktop, QPointF location,
                                          const std::optional<QRectF>& primaryDisplay) {
    // The control first, the application's name after it: the name is a lookup, while a busy
    // application's tree can use up the whole budget.
    std::optional<Control> control;
    if (desktop.isTrusted() && primaryDisplay) {
        if (const ElementRef hit = desktop.elementAt(location))
            control = describeControl(hit, *primaryDisplay);
    }

    const std::optional<QString> application = desktop.frontmostApplicationName(location);
    const QString suffix = application ? inApplication(*application) : QString();
    if (!control)
        return {fallbackTitle(application), std::nullopt, suffix};
    if (control->label)
        return {labelledTitle(*control->label, suffix), control->frame, std::nullopt};
    if (control->role)
        return {QCoreApplication::translate("trovix::ClickDescriber", "Click the %1%2")
                    .arg(*control->role, suffix),
                control->frame, suffix};
    return {fallbackTitle(application), control->frame, suffix};
}

} // namespace trovix
