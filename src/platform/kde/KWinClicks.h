#pragma once

#include "platform/ClickMonitor.h"

#include <QDBusConnection>

namespace trovix {

// Clicks in other applications under KDE Plasma on Wayland, as Trovix's own KWin effect reports
// them: it watches presses over windows while Trovix records, and sends each one, with the window
// under it, to the owner of Trovix's bus name alone. An effect installed but not running is loaded
// into KWin when a recording starts; without it, the reason says what to install.
class KWinClicks : public ClickMonitor {
public:
    static constexpr const char* kwinService = "org.kde.KWin";
    // The effect's plugin id, as KWin lists it.
    static constexpr const char* effectId = "trovixclicks";

    enum class State {
        loaded,
        notLoaded, // installed, and KWin can load it now
        notInstalled,
    };

    explicit KWinClicks(QDBusConnection bus);

    // Whether a KWin runs on this session bus.
    static bool isKWinRunning(const QDBusConnection& bus);
    // Asks KWin; waits a second at most.
    State state() const;

    QString unavailableReason() const override;
    std::unique_ptr<QObject> watch(Handler handler, LostHandler lost = {}, QString* error = nullptr) override;

private:
    bool load(QString* error);

    QDBusConnection m_bus;
};

} // namespace trovix
