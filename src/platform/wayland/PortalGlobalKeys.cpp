#include "platform/wayland/PortalGlobalKeys.h"

#include "platform/wayland/PortalInterfaces.h"
#include "platform/wayland/PortalRequest.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QTimer>

namespace trovix {

namespace {

const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

// One entry of BindShortcuts' a(sa{sv}).
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace

} // namespace trovix

Q_DECLARE_METATYPE(trovix::PortalShortcut)

namespace trovix {

PortalGlobalKeys::PortalGlobalKeys(const QDBusConnection& bus, std::shared_ptr<PortalInterfaces> interfaces)
    : m_bus(bus)
    , m_interfaces(std::move(interfaces)) {
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
}

PortalGlobalKeys::~PortalGlobalKeys() = default;

QString PortalGlobalKeys::unavailableReason() const {
    if (!m_interfaces->offers(shortcutsInterface))
        return tr("This desktop offers no global shortcuts to applications. Bind “trovix --capture” and "
                  "“trovix --toggle-recording” to keys in your desktop’s keyboard settings instead.");
    if (!m_failure.isEmpty())
        return tr("The desktop did not set up Trovix’s global shortcuts (%1). Bind “trovix --capture” and "
                  "“trovix --toggle-recording” to keys in your desktop’s keyboard settings instead.")
            .arg(m_failure);
    return {};
}

void PortalGlobalKeys::setHandler(Handler handler) {
    m_handler = std::move(handler);
}

PortalGlobalKeys::Shortcut PortalGlobalKeys::shortcutFor(quint32 keysym, quint32 modifiers) {
    QString trigger;
    if (modifiers & control)
        trigger += QLatin1String("CTRL+");
    if (modifiers & option)
        trigger += QLatin1String("ALT+");
    if (modifiers & shift)
        trigger += QLatin1String("SHIFT+");
    if (modifiers & command)
        trigger += QLatin1String("LOGO+");
    // Latin-1 keysyms are their characters.
    trigger += keysym < 0x100 ? QString(QChar(keysym)) : QStringLiteral("0x%1").arg(keysym, 0, 16);
    const bool controlOption = (modifiers & (control | option | shift | command)) == (control | option);
    if (controlOption && keysym == 's')
        return {QStringLiteral("capture-region"), tr("Capture a region of the screen as a new step"),
                trigger};
    if (controlOption && keysym == 'r')
        return {QStringLiteral("toggle-recording"), tr("Start or stop recording clicks as steps"), trigger};
    return {QStringLiteral("key-%1-%2").arg(keysym, 0, 16).arg(modifiers, 0, 16), tr("Trovix shortcut"),
            trigger};
}

bool PortalGlobalKeys::bind(Identity identity, quint32 keysym, quint32 modifiers) {
    const Shortcut shortcut = shortcutFor(keysym, modifiers);
    for (auto& [known, knownIdentity] : m_shortcuts) {
        if (known.id == shortcut.id) {
            knownIdentity = identity;
            return unavailableReason().isEmpty();
        }
    }
    m_shortcuts.append({shortcut, identity});
    if (!m_submitQueued) {
        m_submitQueued = true;
        QTimer::singleShot(0, this, &PortalGlobalKeys::submit);
    }
    return true;
}

void PortalGlobalKeys::submit() {
    m_submitQueued = false;
    if (!m_interfaces->offers(shortcutsInterface) || m_creating)
        return;
    if (!m_session.isEmpty()) {
        bindAll();
        return;
    }
    m_creating = true;
    auto* request =
        new PortalRequest(m_bus, shortcutsInterface, QStringLiteral("CreateSession"), {},
                          {{QStringLiteral("session_handle_token"), QStringLiteral("trovix")}}, 60000, this);
    connect(request, &PortalRequest::finished, this, [this, request](const PortalRequest::Result& result) {
        request->deleteLater();
        m_creating = false;
        if (result.status != PortalRequest::Result::Status::answered || result.response != 0) {
            m_failure = result.error.isEmpty() ? tr("no session") : result.error;
            return;
        }
        const QVariant handle = result.results.value(QStringLiteral("session_handle"));
        m_session =
            handle.canConvert<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path() : handle.toString();
        m_bus.connect(PortalRequest::service, PortalRequest::path, shortcutsInterface,
                      QStringLiteral("Activated"), this,
                      SLOT(onActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
        bindAll();
    });
}

void PortalGlobalKeys::bindAll() {
    QList<PortalShortcut> shortcuts;
    for (const auto& [shortcut, identity] : std::as_const(m_shortcuts))
        shortcuts.append({shortcut.id,
                          {{QStringLiteral("description"), shortcut.description},
                           {QStringLiteral("preferred_trigger"), shortcut.trigger}}});
    // The desktop may ask the user to confirm; that takes as long as it takes.
    auto* request = new PortalRequest(
        m_bus, shortcutsInterface, QStringLiteral("BindShortcuts"),
        {QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(shortcuts), QString()}, {},
        10 * 60000, this);
    connect(request, &PortalRequest::finished, this, [this, request](const PortalRequest::Result& result) {
        request->deleteLater();
        if (result.status != PortalRequest::Result::Status::answered || result.response != 0)
            m_failure = result.error.isEmpty() ? tr("the shortcuts were refused") : result.error;
    });
}

void PortalGlobalKeys::onActivated(const QDBusObjectPath& session, const QString& id, qulonglong,
                                   const QVariantMap&) {
    if (session.path() != m_session || !m_handler)
        return;
    for (const auto& [shortcut, identity] : std::as_const(m_shortcuts)) {
        if (shortcut.id == id)
            m_handler(identity);
    }
}

} // namespace trovix
