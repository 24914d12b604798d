#pragma once

#include "platform/GlobalKeys.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>

#include <memory>

namespace trovix {

class PortalInterfaces;

// Global shortcuts through the desktop's GlobalShortcuts portal, where its backend offers one (KDE
// Plasma's does; GNOME's and wlroots' do not, as of this writing). The desktop, not Trovix, owns the
// keys there: Trovix names each shortcut, describes it and suggests a trigger, and the user confirms
// or changes it in the desktop's settings.
class PortalGlobalKeys : public QObject, public GlobalKeys {
    Q_OBJECT
public:
    PortalGlobalKeys(const QDBusConnection& bus, std::shared_ptr<PortalInterfaces> interfaces);
    ~PortalGlobalKeys() override;

    QString unavailableReason() const override;
    void setHandler(Handler handler) override;
    // Known combinations (Ctrl+Alt+S, Ctrl+Alt+R) become their named shortcuts; all binds of one turn
    // of the event loop go to the portal in one request.
    bool bind(Identity identity, quint32 keysym, quint32 modifiers) override;

    // The shortcut's name and description for a combination, and its trigger in the portal's notation.
    struct Shortcut {
        QString id;
        QString description;
        QString trigger;
    };
    static Shortcut shortcutFor(quint32 keysym, quint32 modifiers);

private Q_SLOTS:
    void onActivated(const QDBusObjectPath& session, const QString& id, qulonglong timestamp,
                     const QVariantMap& options);

private:
    void submit();
    void bindAll();

    QDBusConnection m_bus;
    std::shared_ptr<PortalInterfaces> m_interfaces;
    Handler m_handler;
    QList<std::pair<Shortcut, Identity>> m_shortcuts;
    QString m_session;
    bool m_creating = false;
    bool m_submitQueued = false;
    QString m_failure;
};

} // namespace trovix
