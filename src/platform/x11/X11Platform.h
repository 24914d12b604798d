#pragma once

#include "platform/Platform.h"

#include <memory>

namespace trovix {

class X11ScreenGrabber;
class X11GlobalKeys;
class X11ClickMonitor;
class X11KeyMonitor;

// Platform services on an X11 display, through xcb: the screen grab (MIT-SHM where the server has
// it), the global hot keys (passive key grabs on the root window) and the clicks (XInput 2).
class X11Platform : public Platform {
public:
    // Null when Qt does not run on xcb or the display cannot be reached.
    static std::unique_ptr<X11Platform> create();
    ~X11Platform() override;

    QString name() const override { return QStringLiteral("x11"); }
    ScreenGrabber& screenGrabber() override;
    GlobalKeys& globalKeys() override;
    ClickMonitor& clickMonitor() override;
    KeyMonitor& keyMonitor() override;

private:
    X11Platform(std::unique_ptr<X11ScreenGrabber> grabber, std::unique_ptr<X11GlobalKeys> keys);

    std::unique_ptr<X11ScreenGrabber> m_grabber;
    std::unique_ptr<X11GlobalKeys> m_keys;
    std::unique_ptr<X11ClickMonitor> m_clicks;
    std::unique_ptr<X11KeyMonitor> m_keysPressed;
};

} // namespace trovix
