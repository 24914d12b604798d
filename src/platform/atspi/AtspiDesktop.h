#pragma once

#include "platform/atspi/AtspiClient.h"
#include "recorder/AccessibleElement.h"
#include "recorder/ScreenLayout.h"

namespace trovix {

class DesktopEntries;
class X11Windows;

// The desktop's accessibility tree as the click description sees it, read over the accessibility
// bus. Lives on the accessibility thread for the duration of one request.
class AtspiDesktop : public AccessibleDesktop {
public:
    struct Context {
        AtspiClient* client = nullptr;
        X11Windows* windows = nullptr;
        const DesktopEntries* entries = nullptr;
        uint ownPid = 0;
        bool trusted = false;
    };

    AtspiDesktop(Context context, ScreenLayout layout);

    bool isTrusted() const override { return m_context.trusted; }
    // The deepest element under the point: among the windows of other applications that are
    // showing and contain the point, the one X stacks on top, then down through the children.
    ElementRef elementAt(QPointF point) const override;
    std::optional<QString> frontmostApplicationName() const override;

    // The accessible window that receives a click at a native point, if any.
    std::optional<AtspiRef> windowAt(QPoint point) const;

private:
    std::optional<QString> applicationName(uint pid) const;

    Context m_context;
    ScreenLayout m_layout;
};

} // namespace trovix
