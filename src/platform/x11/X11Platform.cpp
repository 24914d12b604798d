#include "platform/x11/X11Platform.h"

#include "platform/x11/X11ClickMonitor.h"
#include "platform/x11/X11GlobalKeys.h"
#include "platform/x11/X11ScreenGrabber.h"
#include "platform/x11/XInputKeyMonitor.h"

#include <QGuiApplication>

namespace trovix {

std::unique_ptr<X11Platform> X11Platform::create() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return nullptr;
    auto grabber = X11ScreenGrabber::create(x11->connection());
    if (!grabber)
        return nullptr;
    auto keys = std::make_unique<X11GlobalKeys>(x11->connection());
    return std::unique_ptr<X11Platform>(new X11Platform(std::move(grabber), std::move(keys)));
}

X11Platform::X11Platform(std::unique_ptr<X11ScreenGrabber> grabber, std::unique_ptr<X11GlobalKeys> keys)
    : m_grabber(std::move(grabber))
    , m_keys(std::move(keys))
    , m_clicks(std::make_unique<X11ClickMonitor>())
    , m_keysPressed(std::make_unique<X11KeyMonitor>()) {}

X11Platform::~X11Platform() = default;

ScreenGrabber& X11Platform::screenGrabber() {
    return *m_grabber;
}

GlobalKeys& X11Platform::globalKeys() {
    return *m_keys;
}

ClickMonitor& X11Platform::clickMonitor() {
    return *m_clicks;
}

KeyMonitor& X11Platform::keyMonitor() {
    return *m_keysPressed;
}

} // namespace trovix
