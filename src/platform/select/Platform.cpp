#include "platform/Platform.h"

#include "platform/null/NullPlatform.h"
#include "platform/wayland/WaylandPlatform.h"
#include "platform/x11/X11Platform.h"

#include <QGuiApplication>

#include <memory>

namespace trovix {

namespace {
Platform* installed = nullptr;

class NoKeyMonitor : public KeyMonitor {
public:
    bool isAvailable() const override { return false; }
    std::unique_ptr<QObject> watch(Handler, QString* error) override {
        if (error)
            *error = QStringLiteral("this session shows no application the keys of other windows");
        return nullptr;
    }
};
} // namespace

KeyMonitor& KeyMonitor::none() {
    static NoKeyMonitor monitor;
    return monitor;
}

void Platform::setCurrent(Platform* platform) {
    installed = platform;
}

Platform& Platform::current() {
    if (installed)
        return *installed;
    static const std::unique_ptr<Platform> platform = []() -> std::unique_ptr<Platform> {
        const QString qpa = QGuiApplication::platformName();
        QString wanted = qEnvironmentVariable("TROVIX_PLATFORM");
        if (wanted.isEmpty()) {
            // In a Wayland session X11 calls would see only Xwayland's clients, even with Qt on xcb.
            if (WaylandPlatform::isWaylandSession())
                wanted = QStringLiteral("wayland");
            else
                wanted = qpa == QLatin1String("xcb") ? QStringLiteral("x11") : QStringLiteral("null");
        }
        if (wanted == QLatin1String("x11") && qpa == QLatin1String("xcb")) {
            if (auto x11 = X11Platform::create())
                return x11;
        }
        if (wanted == QLatin1String("wayland")) {
            if (auto wayland = WaylandPlatform::create())
                return wayland;
        }
        return std::make_unique<NullPlatform>(qpa.isEmpty() ? QStringLiteral("none") : qpa);
    }();
    return *platform;
}

} // namespace trovix
