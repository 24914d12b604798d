#include "platform/wayland/WaylandPlatform.h"

#include "platform/gnome/GnomeShellClicks.h"
#include "platform/gnome/ShellExtension.h"
#include "platform/wayland/PortalGlobalKeys.h"
#include "platform/wayland/PortalInterfaces.h"
#include "platform/wayland/PortalScreenGrabber.h"
#include "platform/wayland/WaylandClickMonitor.h"

#include <QDBusConnection>

namespace trovix {

bool WaylandPlatform::isWaylandSession() {
    return qEnvironmentVariable("XDG_SESSION_TYPE") == QLatin1String("wayland") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

std::unique_ptr<WaylandPlatform> WaylandPlatform::create() {
    if (!QDBusConnection::sessionBus().isConnected())
        return nullptr;
    return std::unique_ptr<WaylandPlatform>(new WaylandPlatform());
}

WaylandPlatform::WaylandPlatform()
    : m_interfaces(std::make_shared<PortalInterfaces>(QDBusConnection::sessionBus()))
    , m_grabber(std::make_unique<PortalScreenGrabber>(QDBusConnection::sessionBus(), m_interfaces))
    , m_keys(std::make_unique<PortalGlobalKeys>(QDBusConnection::sessionBus(), m_interfaces))
    , m_clicks(ShellExtension::isShellRunning(QDBusConnection::sessionBus())
                   ? std::unique_ptr<ClickMonitor>(
                         std::make_unique<GnomeShellClicks>(QDBusConnection::sessionBus()))
                   : std::make_unique<WaylandClickMonitor>()) {}

WaylandPlatform::~WaylandPlatform() = default;

ScreenGrabber& WaylandPlatform::screenGrabber() {
    return *m_grabber;
}

GlobalKeys& WaylandPlatform::globalKeys() {
    return *m_keys;
}

ClickMonitor& WaylandPlatform::clickMonitor() {
    return *m_clicks;
}

} // namespace trovix
