#include "platform/wayland/WaylandClickMonitor.h"

#include <QCoreApplication>

namespace trovix {

QString WaylandClickMonitor::unavailableReason() const {
    return QCoreApplication::translate(
        "trovix::WaylandClickMonitor",
        "Click recording needs an X11 session: Wayland lets no application see clicks in other "
        "applications’ windows. Choose an X11 (Xorg) session when you log in to record clicks, or "
        "capture each step with Capture Region (Ctrl+Alt+S).");
}

std::unique_ptr<QObject> WaylandClickMonitor::watch(Handler, LostHandler, QString* error) {
    if (error)
        *error = unavailableReason();
    return nullptr;
}

} // namespace trovix
