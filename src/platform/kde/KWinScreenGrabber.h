#pragma once

#include "platform/wayland/PortalScreenGrabber.h"

namespace trovix {

// Stills under KDE Plasma: straight from KWin's screenshot interface, a raw picture over a pipe with
// no dialog and no PNG round trip, for a program whose desktop entry KWin finds naming that
// interface. Where KWin does not answer (another desktop entry, an older KWin), the portal.
class KWinScreenGrabber : public PortalScreenGrabber {
public:
    using PortalScreenGrabber::PortalScreenGrabber;

    // Granted when KWin offers its screenshot interface, whatever the portal says.
    Access access() const override;

    // The layout through KWin; empty, with KWin's reason in `error`, when it does not give it.
    QImage kwinDesktop(QString* error);

protected:
    QImage desktop() override;
};

} // namespace trovix
