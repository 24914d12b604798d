#pragma once

#include <QByteArray>
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

    // The display name of the application with this window class or executable, matched in this
    // order: StartupWMClass, desktop file id, executable name. Case does not matter.
    std::optional<QString> displayName(const QString& instance, const QString& className,
                                       const QStringList& executables) const;

    int size() const { return int(m_names.size()); }

    // An entry is read no further than this; names come first in every real one.
    static constexpr qint64 maximumEntrySize = 1 << 20;

private:
    void read(const QString& path, const QString& id);

    QByteArray m_localeKey;                 // "Name[de_DE]"
    QByteArray m_languageKey;               // "Name[de]"
    QHash<QString, QString> m_names;        // desktop id → display name
    QHash<QString, QString> m_byWmClass;    // StartupWMClass (lower case) → id
    QHash<QString, QString> m_byId;         // id and its last dotted part (lower case) → id
    QHash<QString, QString> m_byExecutable; // executable file name → id
};

// The file names a running process goes by: its executable's and its first argument's.
QStringList executablesOf(uint pid);

} // namespace trovix
