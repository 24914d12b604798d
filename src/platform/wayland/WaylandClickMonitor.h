#pragma once

#include "platform/ClickMonitor.h"

namespace trovix {

// Clicks in a Wayland session. No Wayland protocol or portal tells a client where the pointer is or
// that another client's window was clicked, and the accessibility bus reports focus and state
// changes that keyboard use makes just as well, so a recording here would miss clicks or invent
// them. The monitor says so and what to do instead, rather than record nothing in silence.
class WaylandClickMonitor : public ClickMonitor {
public:
    QString unavailableReason() const override;
    std::unique_ptr<QObject> watch(Handler handler, LostHandler lost = {}, QString* error = nullptr) override;
};

} // namespace trovix
