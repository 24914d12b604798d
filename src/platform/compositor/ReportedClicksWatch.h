#pragma once

#include "platform/ClickMonitor.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QTimer>

namespace trovix {

// One recording's subscription to the clicks a compositor plugin of Trovix's own reports (the GNOME
// Shell extension, the KWin effect): both speak one protocol, reporting each press over another
// window to the owner of Trovix's bus name alone. Started with the plugin's Start, ended with its
// Stop when this object goes; a host that leaves the bus or stops answering ends the recording once,
// with a sentence the subclass words for its desktop.
class ReportedClicksWatch : public QObject {
    Q_OBJECT
public:
    // The bus name only Trovix may own: the plugins report to its owner alone.
    static constexpr const char* ownerName = "io.github.trovix.Trovix";
    static constexpr const char* clicksPath = "/io/github/trovix/Trovix/Clicks";
    static constexpr const char* clicksInterface = "io.github.trovix.Trovix.Clicks";

    ReportedClicksWatch(QDBusConnection bus, const QString& host, ClickMonitor::Handler handler,
                        ClickMonitor::LostHandler lost);
    ~ReportedClicksWatch() override;

    // False with the reason in `error` when the plugin does not start reporting.
    bool start(QString* error);

    // A window as the plugins describe it (a{sv}: appId, wmClass, title, pid, frame, buffer, popup,
    // x11).
    static ClickedWindow window(const QVariantMap& description);

protected:
    virtual QString nameTaken(const QString& name) const = 0;
    virtual QString notStarted(const QString& why) const = 0;
    virtual QString hostLeft() const = 0;
    virtual QString notAnswering(const QString& why) const = 0;
    // Connects whatever else of the host tells that the plugin went away; called before Start.
    virtual void watchHost() {}
    // Called once the plugin reports; what the host can add to each click (such as its picture),
    // added just before the click is handed on.
    virtual void reporting() {}
    virtual void complete(PlatformClick& click, uint time) {
        Q_UNUSED(click);
        Q_UNUSED(time);
    }

    // Ends the recording with `reason`, once; no click is reported after it.
    void lose(const QString& reason);

    QDBusConnection m_bus;
    const QString m_host;

private Q_SLOTS:
    void clicked(int x, int y, uint time, const QVariantMap& window);

private:
    void ping();

    ClickMonitor::Handler m_handler;
    ClickMonitor::LostHandler m_lost;
    QDBusServiceWatcher m_hostWatcher;
    QTimer m_ping;
    bool m_started = false;
    bool m_pinging = false;
    bool m_lostAlready = false;
};

} // namespace trovix
