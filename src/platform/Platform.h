#pragma once

#include "platform/ClickMonitor.h"
#include "platform/GlobalKeys.h"
#include "platform/KeyMonitor.h"
#include "platform/ScreenGrabber.h"

#include <QString>

namespace trovix {

// The platform services of this session, each behind its own interface. Every backend offers every
// service; one it cannot provide answers with the reason (see the null backend).
class Platform {
public:
    virtual ~Platform() = default;

    // "x11", "wayland" or "null".
    virtual QString name() const = 0;
    virtual ScreenGrabber& screenGrabber() = 0;
    virtual GlobalKeys& globalKeys() = 0;
    virtual ClickMonitor& clickMonitor() = 0;
    virtual KeyMonitor& keyMonitor() { return KeyMonitor::none(); }

    // The backend for this session, made on first use (after the QGuiApplication): Wayland in a
    // Wayland session (whichever Qt platform runs), else X11 when Qt runs on xcb, otherwise the null
    // backend. The environment variable TROVIX_PLATFORM ("x11", "wayland" or "null") forces one.
    static Platform& current();
    // Installs `platform` (not owned) in place of the session's backend, or the backend again for
    // nullptr. For tests that script the platform.
    static void setCurrent(Platform* platform);
};

} // namespace trovix
