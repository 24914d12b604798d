#include "platform/x11/X11ClickMonitor.h"

#include "platform/x11/XInputClickMonitor.h"

namespace trovix {

std::unique_ptr<QObject> X11ClickMonitor::watch(Handler handler, LostHandler, QString* error) {
    auto monitor = std::make_unique<XInputClickMonitor>();
    if (!monitor->isActive()) {
        if (error)
            *error = monitor->error();
        return nullptr;
    }
    QObject::connect(monitor.get(), &XInputClickMonitor::leftButtonPressed, monitor.get(),
                     [handler = std::move(handler)](QPoint position) {
                         handler({position, {}, {}});
                     });
    return monitor;
}

} // namespace trovix
