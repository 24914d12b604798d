#pragma once

#include <QObject>
#include <QStringList>

namespace trovix {

// The guides opened or saved lately, newest first, for the "Open Recent" menu. Kept in the
// settings and also announced in the desktop's shared list of recently used files
// (recently-used.xbel), where file choosers and launchers find them.
class RecentDocuments : public QObject {
    Q_OBJECT
public:
    static constexpr int limit = 10;

    explicit RecentDocuments(QObject* parent = nullptr);

    // Remembered guide folders that still exist, newest first.
    QStringList paths() const;
    // Puts `path` first (an absolute, cleaned path).
    void note(const QString& path);
    // Forgets every entry, here and in the shared list.
    void clear();

    // The shared list's location: $XDG_DATA_HOME/recently-used.xbel.
    static QString xbelPath();

Q_SIGNALS:
    void changed();
};

} // namespace trovix
