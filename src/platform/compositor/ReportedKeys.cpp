#include "platform/compositor/ReportedKeys.h"

#include "platform/compositor/ReportedClicksWatch.h"
#include "platform/keys/KeySymbols.h"

#include <QDBusError>

namespace trovix {

namespace {

// The modifier bits of the compositor's state (X's, with Super and Meta as the Shell adds them).
constexpr uint shiftMask = 1u << 0;
constexpr uint controlMask = 1u << 2;
constexpr uint altMask = 1u << 3;
constexpr uint mod4Mask = 1u << 6;
constexpr uint superMask = 1u << 26;
constexpr uint metaMask = 1u << 28;

class KeysWatch : public QObject {
    Q_OBJECT
public:
    KeysWatch(QDBusConnection bus, const QString& host, KeyMonitor::Handler pressed)
        : m_bus(std::move(bus))
        , m_host(host)
        , m_pressed(std::move(pressed)) {
        m_connected = m_bus.connect(m_host, QString::fromLatin1(ReportedClicksWatch::clicksPath),
                                    QString::fromLatin1(ReportedClicksWatch::clicksInterface),
                                    QStringLiteral("Key"), this, SLOT(key(uint, uint, QString, QVariantMap)));
    }
    ~KeysWatch() override {
        m_bus.disconnect(m_host, QString::fromLatin1(ReportedClicksWatch::clicksPath),
                         QString::fromLatin1(ReportedClicksWatch::clicksInterface), QStringLiteral("Key"),
                         this, SLOT(key(uint, uint, QString, QVariantMap)));
    }
    bool isConnected() const { return m_connected; }

private Q_SLOTS:
    void key(uint keysym, uint modifiers, const QString& text, const QVariantMap& window) {
        KeyStroke stroke = ReportedKeys::stroke(keysym, modifiers, text);
        if (!stroke.key && stroke.text.isEmpty())
            return; // a modifier alone
        stroke.window = ReportedClicksWatch::window(window);
        m_pressed(stroke);
    }

private:
    QDBusConnection m_bus;
    QString m_host;
    KeyMonitor::Handler m_pressed;
    bool m_connected = false;
};

} // namespace

ReportedKeys::ReportedKeys(QDBusConnection bus, QString host, std::function<bool()> available)
    : m_bus(std::move(bus))
    , m_host(std::move(host))
    , m_available(std::move(available)) {}

KeyStroke ReportedKeys::stroke(uint keysym, uint modifiers, const QString& text) {
    KeyStroke stroke;
    if (modifiers & controlMask)
        stroke.modifiers |= Qt::ControlModifier;
    if (modifiers & altMask)
        stroke.modifiers |= Qt::AltModifier;
    if (modifiers & (mod4Mask | superMask | metaMask))
        stroke.modifiers |= Qt::MetaModifier;
    if (modifiers & shiftMask)
        stroke.modifiers |= Qt::ShiftModifier;
    stroke.key = KeySymbols::qtKey(keysym);
    const bool command = stroke.modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    if (!command && !text.isEmpty() && text.at(0).unicode() >= 0x20 && text.at(0).unicode() != 0x7f)
        stroke.text = text;
    return stroke;
}

std::unique_ptr<QObject> ReportedKeys::watch(Handler pressed, QString* error) {
    auto watch = std::make_unique<KeysWatch>(m_bus, m_host, std::move(pressed));
    if (watch->isConnected())
        return watch;
    if (error)
        *error = m_bus.lastError().message();
    return nullptr;
}

} // namespace trovix

#include "ReportedKeys.moc"
