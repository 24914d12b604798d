#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace trovix {

// The applications installed on the desktop (freedesktop desktop entries), to give a window the
// name its application goes by ("Widget Factory" rather than "gtk3-widget-factory").
class DesktopEntries {
public:
    // Reads the entries under each folder's "applications" folder; earlier folders win.
    explicit DesktopEntries(const QStringList& dataFolders);
    // The entries of the user's data folders ($XDG_DATA_HOME, then $XDG_DATA_DIRS).
    static DesktopEntries system();

    // The display name of the application with this window class or executable, matched in this
    // order: StartupWMClass, desktop file id, executable name. Case does not matter.
    std::optional<QString> displayName(const QString& instance, const QString& className,
                                       const QStringList& executables) const;

    int size() const { return int(m_names.size()); }

private:
    void read(const QString& path, const QString& id);

    QHash<QString, QString> m_names;        // desktop id → display name
    QHash<QString, QString> m_byWmClass;    // StartupWMClass (lower case) → id
    QHash<QString, QString> m_byId;         // id and its last dotted part (lower case) → id
    QHash<QString, QString> m_byExecutable; // executable file name → id
};

// The file names a running process goes by: its executable's and its first argument's.
QStringList executablesOf(uint pid);

} // namespace trovix
