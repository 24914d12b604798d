#include "platform/wayland/WaylandPlatform.h"

#include "platform/compositor/ReportedKeys.h"
#include "platform/gnome/GnomeShellClicks.h"
#include "platform/gnome/ShellExtension.h"
#include "platform/kde/KWinClicks.h"
#include "platform/kde/KWinScreenGrabber.h"
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

namespace {

std::unique_ptr<ClickMonitor> sessionClickMonitor(const QDBusConnection& bus) {
    if (ShellExtension::isShellRunning(bus))
        return std::make_unique<GnomeShellClicks>(bus);
    if (KWinClicks::isKWinRunning(bus))
        return std::make_unique<KWinClicks>(bus);
    return std::make_unique<WaylandClickMonitor>();
}

std::unique_ptr<KeyMonitor> sessionKeyMonitor(const QDBusConnection& bus) {
    if (!ShellExtension::isShellRunning(bus))
        return nullptr;
    return std::make_unique<ReportedKeys>(bus, QString::fromLatin1(ShellExtension::shellService), [bus] {
        return ShellExtension::reason(ShellExtension::state(bus)).isEmpty();
    });
}

} // namespace

std::unique_ptr<WaylandPlatform> WaylandPlatform::create() {
    if (!QDBusConnection::sessionBus().isConnected())
        return nullptr;
    return std::unique_ptr<WaylandPlatform>(new WaylandPlatform());
}

WaylandPlatform::WaylandPlatform()
    : m_interfaces(std::make_shared<PortalInterfaces>(QDBusConnection::sessionBus()))
    , m_grabber(KWinClicks::isKWinRunning(QDBusConnection::sessionBus())
                    ? std::make_unique<KWinScreenGrabber>(QDBusConnection::sessionBus(), m_interfaces)
                    : std::make_unique<PortalScreenGrabber>(QDBusConnection::sessionBus(), m_interfaces))
    , m_keys(std::make_unique<PortalGlobalKeys>(QDBusConnection::sessionBus(), m_interfaces))
    , m_clicks(sessionClickMonitor(QDBusConnection::sessionBus()))
    , m_typing(sessionKeyMonitor(QDBusConnection::sessionBus())) {}

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

KeyMonitor& WaylandPlatform::keyMonitor() {
    return m_typing ? *m_typing : KeyMonitor::none();
}

} // namespace trovix
