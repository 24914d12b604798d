#pragma once

#include "platform/Platform.h"

#include <memory>

namespace trovix {

class PortalInterfaces;
class PortalScreenGrabber;
class PortalGlobalKeys;

// Platform services in a Wayland session, through the desktop's portals on the session bus: the
// screenshot portal for captures and, where the desktop offers it, the global shortcuts portal. Clicks
// in other applications come from Trovix's own extension under GNOME Shell (GnomeShellClicks) or its
// own effect under KWin (KWinClicks, with pictures straight from KWin), and are out of reach elsewhere
// (WaylandClickMonitor says why). The GNOME extension also reports the keys typed (ReportedKeys).
// Works whether Qt itself runs on Wayland or on Xwayland.
class WaylandPlatform : public Platform {
public:
    // Whether this process runs inside a Wayland session (even if Qt talks to Xwayland).
    static bool isWaylandSession();
    // Null without a session bus to reach the portals on.
    static std::unique_ptr<WaylandPlatform> create();
    ~WaylandPlatform() override;

    QString name() const override { return QStringLiteral("wayland"); }
    ScreenGrabber& screenGrabber() override;
    GlobalKeys& globalKeys() override;
    ClickMonitor& clickMonitor() override;
    KeyMonitor& keyMonitor() override;

private:
    WaylandPlatform();

    std::shared_ptr<PortalInterfaces> m_interfaces;
    std::unique_ptr<PortalScreenGrabber> m_grabber;
    std::unique_ptr<PortalGlobalKeys> m_keys;
    std::unique_ptr<ClickMonitor> m_clicks;
    // Where the desktop's plugin reports keys (GNOME Shell); none elsewhere.
    std::unique_ptr<KeyMonitor> m_typing;
};

} // namespace trovix
