#pragma once

#include "platform/compositor/ReportedClicksWatch.h"

#include <QDBusConnection>
#include <QString>

namespace trovix {

// Trovix's GNOME Shell extension as the running Shell sees it, over org.gnome.Shell.Extensions.
class ShellExtension {
public:
    static constexpr const char* uuid = "trovix@trovix.github.io";
    // The bus name only Trovix may own: the extension reports to its owner alone.
    static constexpr const char* ownerName = ReportedClicksWatch::ownerName;
    static constexpr const char* clicksPath = ReportedClicksWatch::clicksPath;
    static constexpr const char* clicksInterface = ReportedClicksWatch::clicksInterface;
    static constexpr const char* shellService = "org.gnome.Shell";

    enum class State {
        enabled,
        disabled,  // installed, loaded, switched off
        failed,    // the Shell found it but could not run it (an error, or not for this version)
        notLoaded, // on disk, but the running Shell has not read it: a new login loads it
        notInstalled,
    };

    // Whether a GNOME Shell runs on this session bus.
    static bool isShellRunning(const QDBusConnection& bus);
    // Asks the Shell; waits a second at most.
    static State state(const QDBusConnection& bus);
    // Whether the Shell may switch user extensions on from here (not when the administrator has
    // locked the setting).
    static bool canEnable(const QDBusConnection& bus);
    // Switches the extension on; false with the Shell's reason in `error` when it refuses.
    static bool enable(const QDBusConnection& bus, QString* error = nullptr);
    // The extension's folder in one of the places the Shell looks, or empty.
    static QString installedFolder();
    // A sentence for the user: why clicks cannot be recorded in this state and what to do; empty
    // when enabled.
    static QString reason(State state);
};

} // namespace trovix
