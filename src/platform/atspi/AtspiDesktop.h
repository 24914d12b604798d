#pragma once

#include "platform/ClickMonitor.h"
#include "platform/atspi/AtspiClient.h"
#include "platform/atspi/X11Windows.h"
#include "recorder/AccessibleElement.h"
#include "recorder/ScreenLayout.h"

#include <functional>
#include <memory>

namespace trovix {

class DesktopEntries;

// The desktop's accessibility tree as the click description sees it, read over the accessibility
// bus. Lives on the accessibility thread for the duration of one request.
class AtspiDesktop : public AccessibleDesktop {
public:
    struct Context {
        AtspiClient* client = nullptr;
        X11Windows* windows = nullptr;
        // The installed applications, asked for when a name is needed.
        std::function<std::shared_ptr<const DesktopEntries>()> entries;
        uint ownPid = 0;
        bool trusted = false;
        // The window under the click as the compositor names it (native pixels), where it does:
        // on Wayland, where no window stacking can be asked and extents count from the window.
        std::optional<ClickedWindow> clicked;
    };

    AtspiDesktop(Context context, ScreenLayout layout);

    bool isTrusted() const override { return m_context.trusted; }
    // The deepest element under the point: among the windows of other applications that are
    // showing and contain the point, the one X stacks on top, then down through the children.
    ElementRef elementAt(QPointF point) const override;
    // The application of the active window; but a click on another application's window makes that
    // one active, and the window manager may not have said so yet, so the clicked window's
    // application counts then (panels and the desktop take no focus and do not).
    std::optional<QString> frontmostApplicationName(QPointF click) const override;
    // Asked of the window in one call where its toolkit allows (GTK); elsewhere (Qt) its showing
    // part is walked, a few hundred objects at most and never past the request's deadline.
    QList<QRectF> passwordFields(QPointF point) const override;

    // An object the caller already knows, such as the focused one: in desktop coordinates, counted
    // from the window the compositor named where there is one (Wayland).
    ElementRef element(const AtspiRef& ref) const;
    // The object with the keyboard focus in the active window's application.
    std::optional<AtspiRef> focused() const;
    // The process of the application an object belongs to.
    std::optional<uint> processOf(const AtspiRef& ref) const;
    // Whether an object lies in a web page: a web document is among its ancestors.
    bool inWebPage(const AtspiRef& ref) const;

    // The accessible window that receives a click at a native point, if any.
    std::optional<AtspiRef> windowAt(QPoint point) const;

    // Where a window's own coordinates start on the desktop (native pixels), given the extents it
    // reports for itself. Wayland clients count from their window: GTK from its surface (shadow
    // included), Qt from its content below the title bar it draws. Both leave equal margins left,
    // right and below their content, so the content sits centred across the buffer and on its
    // bottom edge. Xwayland clients report desktop coordinates already (the compositor says which
    // clients are X11 ones).
    static QPoint windowOrigin(const ClickedWindow& window, const QRect& reported);

private:
    // The accessible window the compositor named, and where its coordinates start.
    std::optional<AtspiRef> clickedWindow() const;
    // Each showing window of the applications whose process `wanted` takes, with its states and
    // extents; false when the desktop's applications cannot be listed.
    bool visitShowingWindows(
        const std::function<bool(std::optional<uint> pid)>& wanted,
        const std::function<void(const AtspiRef& window, quint64 states, const QRect& extents)>& visit) const;
    std::optional<QString> applicationName(uint pid) const;
    std::optional<QString> displayName(const X11Windows::Client& window) const;
    // The X window on top at a native point, asked once per request.
    const std::optional<X11Windows::Client>& topLevelAt(QPoint point) const;
    QPoint nativePoint(QPointF point) const;

    Context m_context;
    ScreenLayout m_layout;
    mutable std::optional<std::pair<QPoint, std::optional<X11Windows::Client>>> m_top;
    // Added to window-relative extents to place them on the desktop (native pixels).
    mutable QPoint m_origin;
};

} // namespace trovix
