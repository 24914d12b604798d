#pragma once

#include "platform/KeyMonitor.h"

#include <QDBusConnection>

#include <functional>

namespace trovix {

// The keys a compositor plugin of Trovix's own reports while it records clicks (the GNOME Shell
// extension): each key pressed into another application's window, with that window, to Trovix alone.
// Keys come only while the click recording runs, which starts and stops the plugin.
class ReportedKeys : public KeyMonitor {
public:
    // `host`: the compositor's bus name; `available`: whether its plugin can report now.
    ReportedKeys(QDBusConnection bus, QString host, std::function<bool()> available);

    bool isAvailable() const override { return m_available(); }
    std::unique_ptr<QObject> watch(Handler pressed, QString* error = nullptr) override;

    // A reported key as the recorder takes it: `modifiers` is the compositor's state mask.
    static KeyStroke stroke(uint keysym, uint modifiers, const QString& text);

private:
    QDBusConnection m_bus;
    QString m_host;
    std::function<bool()> m_available;
};

} // namespace trovix
