#pragma once

#include "platform/Platform.h"

#include <memory>

namespace trovix {

// The backend for sessions Trovix has no native support for (a headless Qt platform, or a
// desktop without a session bus). Nothing it offers works; each service says why, so the user is told rather
// than left wondering. Windows, guides, editing and export do not need it.
class NullPlatform : public Platform {
public:
    // `platformName` is the Qt platform plugin in use, named in the reasons given to the user.
    explicit NullPlatform(QString platformName);
    ~NullPlatform() override;

    QString name() const override { return QStringLiteral("null"); }
    ScreenGrabber& screenGrabber() override;
    GlobalKeys& globalKeys() override;
    ClickMonitor& clickMonitor() override;

private:
    class Grabber;
    class Keys;
    class Clicks;
    std::unique_ptr<Grabber> m_grabber;
    std::unique_ptr<Keys> m_keys;
    std::unique_ptr<Clicks> m_clicks;
};

} // namespace trovix
