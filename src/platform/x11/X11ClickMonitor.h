#pragma once

#include "platform/ClickMonitor.h"

namespace trovix {

// Clicks on the X display through XInput 2 raw events (see XInputClickMonitor).
class X11ClickMonitor : public ClickMonitor {
public:
    QString unavailableReason() const override { return {}; }
    std::unique_ptr<QObject> watch(Handler handler, LostHandler lost = {}, QString* error = nullptr) override;
};

} // namespace trovix
