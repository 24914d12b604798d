#pragma once

#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

class QSystemTrayIcon;

namespace trovix {

class Guide;

// The icon in the desktop's system tray: a camera, or a red record symbol while clicks are being
// recorded, with the number of steps drawn onto it and named in its tooltip, and a menu of the main
// commands. It follows the guide's steps and recording flag by itself. Where the desktop has no
// tray it simply never appears; every command stays reachable from the windows and the hot keys.
class StatusItem : public QObject {
    Q_OBJECT
public:
    struct Actions {
        std::function<void()> show;
        std::function<void()> library;
        std::function<void()> capture;
        std::function<void()> toggleRecording;
        std::function<void()> quit;
        // Why click recording cannot work in this session; its entry is greyed out then.
        QString recordingUnavailable;
        // Switches the recording of typing and keys on or off (its tick reads the setting).
        std::function<void(bool on)> setRecordsTyping = {};
    };

    StatusItem(Guide& guide, Actions actions, QObject* parent = nullptr);
    ~StatusItem() override;

    // Greys out the record entry with the reason, or enables it again for an empty one.
    void setRecordingUnavailable(const QString& reason) {
        m_actions.recordingUnavailable = reason;
        scheduleRefresh();
    }
    // Redraws the icon, tooltip and menu from the guide as it is now.
    void refresh();

    QSystemTrayIcon& trayIcon() const { return *m_tray; }
    // The menu as last rebuilt.
    QMenu* menu() const { return m_menu; }

    // The menu entry of the record command.
    static QString recordLabel(bool recording);
    // The camera or record icon with `steps` drawn onto it (nothing drawn for 0).
    static QIcon iconFor(bool recording, int steps);
    static QString toolTipFor(bool recording, int steps);

private:
    void scheduleRefresh();

    Guide& m_guide;
    Actions m_actions;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    QPointer<QMenu> m_menu;
    bool m_refreshPending = false;
};

} // namespace trovix
