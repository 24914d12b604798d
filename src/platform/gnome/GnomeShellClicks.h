#pragma once

#include "platform/ClickMonitor.h"

#include <QDBusConnection>

namespace trovix {

// Clicks in other applications under GNOME Shell on Wayland, as Trovix's own Shell extension
// reports them: it watches presses over windows while Trovix records, and sends each one, with the
// window under it, to the owner of Trovix's bus name alone. Without the extension enabled, the reason
// says what to do.
class GnomeShellClicks : public ClickMonitor {
public:
    explicit GnomeShellClicks(QDBusConnection bus);

    QString unavailableReason() const override;
    // Offered when the extension is loaded but switched off, and user extensions may be switched on.
    QString enableOffer() const override;
    bool enable(QString* error) override;
    std::unique_ptr<QObject> watch(Handler handler, LostHandler lost = {}, QString* error = nullptr) override;

private:
    QDBusConnection m_bus;
};

} // namespace trovix
