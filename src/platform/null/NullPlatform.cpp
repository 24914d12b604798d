#include "platform/null/NullPlatform.h"

#include "document/Error.h"

#include <QCoreApplication>
#include <QTimer>

namespace trovix {

class NullPlatform::Grabber : public ScreenGrabber {
public:
    explicit Grabber(QString platformName)
        : m_reason(QCoreApplication::translate(
                       "trovix::NullPlatform",
                       "Trovix can’t capture the screen in this session: screen capture works in X11 "
                       "and Wayland sessions, and this session uses the “%1” display platform.")
                       .arg(platformName)) {}

    Access access() const override { return Access::unavailable; }
    QString unavailableReason() const override { return m_reason; }
    QImage grab(const QRect&) override { throw Error(Error::Code::noDisplay, m_reason); }
    bool hasWindowManager() const override { return false; }
    void unmapWindow(WId) override {}
    void mapWindow(WId) override {}
    void whenSettled(const QList<QWindow*>&, QObject* context, std::function<void()> done) override {
        QTimer::singleShot(0, context, std::move(done));
    }

private:
    QString m_reason;
};

class NullPlatform::Keys : public GlobalKeys {
public:
    explicit Keys(QString platformName)
        : m_reason(QCoreApplication::translate("trovix::NullPlatform",
                                               "Global hot keys work in X11 and Wayland sessions; this "
                                               "session uses the “%1” display platform.")
                       .arg(platformName)) {}

    QString unavailableReason() const override { return m_reason; }
    void setHandler(Handler) override {}
    bool bind(Identity, quint32, quint32) override { return false; }

private:
    QString m_reason;
};

class NullPlatform::Clicks : public ClickMonitor {
public:
    explicit Clicks(QString platformName)
        : m_reason(QCoreApplication::translate("trovix::NullPlatform",
                                               "Click recording works in X11 sessions; this session uses "
                                               "the “%1” display platform. Capture each step with Capture "
                                               "Region instead.")
                       .arg(platformName)) {}

    QString unavailableReason() const override { return m_reason; }
    std::unique_ptr<QObject> watch(Handler, LostHandler, QString* error) override {
        if (error)
            *error = m_reason;
        return nullptr;
    }

private:
    QString m_reason;
};

NullPlatform::NullPlatform(QString platformName)
    : m_grabber(std::make_unique<Grabber>(platformName))
    , m_keys(std::make_unique<Keys>(platformName))
    , m_clicks(std::make_unique<Clicks>(platformName)) {}

NullPlatform::~NullPlatform() = default;

ScreenGrabber& NullPlatform::screenGrabber() {
    return *m_grabber;
}

GlobalKeys& NullPlatform::globalKeys() {
    return *m_keys;
}

ClickMonitor& NullPlatform::clickMonitor() {
    return *m_clicks;
}

} // namespace trovix
