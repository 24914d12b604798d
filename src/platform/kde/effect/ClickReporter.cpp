#include "ClickReporter.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>

#include <time.h>

namespace trovix::kwin {

namespace {

const QString busName = QStringLiteral("io.github.trovix.Trovix");
const QString objectPath = QStringLiteral("/io/github/trovix/Trovix/Clicks");
const QString interfaceName = QStringLiteral("io.github.trovix.Trovix.Clicks");

QDBusArgument rectangle(const QRectF& rect) {
    const QRect r = rect.toAlignedRect();
    QDBusArgument argument;
    argument.beginStructure();
    argument << r.x() << r.y() << r.width() << r.height();
    argument.endStructure();
    return argument;
}

// Milliseconds on the clock input events are stamped with.
uint monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return uint(quint64(now.tv_sec) * 1000 + quint64(now.tv_nsec) / 1000000);
}

// The topmost window the user sees at `point`: popups and menus are windows of their own here.
KWin::EffectWindow* windowAt(QPoint point) {
    const KWin::EffectWindowList stack = KWin::effects->stackingOrder();
    for (auto it = stack.crbegin(); it != stack.crend(); ++it) {
        KWin::EffectWindow* window = *it;
        if (window->isDeleted() || window->isMinimized() || !window->isOnCurrentDesktop() ||
            !window->isVisible())
            continue;
        if (window->frameGeometry().contains(QPointF(point)))
            return window;
    }
    return nullptr;
}

} // namespace

ClickReporter::ClickReporter() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.registerObject(objectPath, this,
                       QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableSignals |
                           QDBusConnection::ExportAllProperties);
    m_watcher.setConnection(bus);
    m_watcher.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    // The recording ends with the recorder's connection: a crashed or killed Trovix leaves nothing
    // behind that reports clicks.
    connect(&m_watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this](const QString& name) {
        if (name == m_recorder)
            stopRecording();
    });
}

ClickReporter::~ClickReporter() {
    stopRecording();
    QDBusConnection::sessionBus().unregisterObject(objectPath);
}

void ClickReporter::askBus(const QString& method, const QString& name,
                           std::function<void(const QDBusMessage&)> answered) {
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                       QStringLiteral("/org/freedesktop/DBus"),
                                                       QStringLiteral("org.freedesktop.DBus"), method);
    call << name;
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, answered = std::move(answered)] {
        watcher->deleteLater();
        answered(watcher->reply());
    });
}

void ClickReporter::Start() {
    setDelayedReply(true);
    const QDBusMessage request = message();
    const QString sender = request.service();
    askBus(QStringLiteral("GetNameOwner"), busName, [this, request, sender](const QDBusMessage& owner) {
        if (owner.type() != QDBusMessage::ReplyMessage || owner.arguments().value(0).toString() != sender) {
            QDBusConnection::sessionBus().send(request.createErrorReply(
                QDBusError::AccessDenied,
                QStringLiteral("Only the owner of %1 may record clicks").arg(busName)));
            return;
        }
        askBus(QStringLiteral("GetConnectionUnixProcessID"), sender,
               [this, request, sender](const QDBusMessage& pid) {
                   if (pid.type() != QDBusMessage::ReplyMessage) {
                       QDBusConnection::sessionBus().send(
                           request.createErrorReply(QDBusError::Failed, pid.errorMessage()));
                       return;
                   }
                   startRecording(sender, pid.arguments().value(0).toLongLong());
                   QDBusConnection::sessionBus().send(request.createReply());
               });
    });
}

void ClickReporter::startRecording(const QString& recorder, qint64 pid) {
    stopRecording();
    m_recorder = recorder;
    m_recorderPid = pid;
    m_watcher.addWatchedService(recorder);
    // A recorder that left before it was watched is not waited for.
    askBus(QStringLiteral("NameHasOwner"), recorder, [this, recorder](const QDBusMessage& present) {
        if (m_recorder == recorder && !present.arguments().value(0).toBool())
            stopRecording();
    });
    m_mouse = connect(KWin::effects, &KWin::EffectsHandler::mouseChanged, this,
                      [this](const PointerPosition& position, const PointerPosition&,
                             Qt::MouseButtons buttons, Qt::MouseButtons before, Qt::KeyboardModifiers,
                             Qt::KeyboardModifiers) { mouseChanged(position, buttons, before); });
}

void ClickReporter::Stop() {
    if (message().service() == m_recorder)
        stopRecording();
}

void ClickReporter::stopRecording() {
    disconnect(m_mouse);
    if (!m_recorder.isEmpty())
        m_watcher.removeWatchedService(m_recorder);
    m_recorder.clear();
    m_recorderPid = 0;
}

void ClickReporter::mouseChanged(const PointerPosition& position, Qt::MouseButtons buttons,
                                 Qt::MouseButtons before) {
    if (m_recorder.isEmpty() || !(buttons & Qt::LeftButton) || (before & Qt::LeftButton))
        return;
    const QPoint point = pixel(position);
    KWin::EffectWindow* window = windowAt(point);
    if (!window)
        return;
    // A popup or dialog belongs to the window it came from.
    KWin::EffectWindow* owner = window;
    while (owner->transientFor() && owner->transientFor() != owner)
        owner = owner->transientFor();
    if (window->pid() == m_recorderPid || owner->pid() == m_recorderPid)
        return;
    report(point, owner);
}

void ClickReporter::report(QPoint position, KWin::EffectWindow* window) {
    QVariantMap description{
        {QStringLiteral("appId"), window->windowClass().section(QLatin1Char(' '), 1)},
        {QStringLiteral("wmClass"), window->windowClass().section(QLatin1Char(' '), 0, 0)},
        {QStringLiteral("pid"), qint64(window->pid())},
        {QStringLiteral("title"), window->caption()},
        {QStringLiteral("frame"), QVariant::fromValue(rectangle(window->frameGeometry()))},
        {QStringLiteral("buffer"), QVariant::fromValue(rectangle(window->bufferGeometry()))},
    };
    // To the recorder alone: a signal with a destination is never broadcast.
    QDBusMessage click =
        QDBusMessage::createTargetedSignal(m_recorder, objectPath, interfaceName, QStringLiteral("Click"));
    click << position.x() << position.y() << monotonicMs() << description;
    QDBusConnection::sessionBus().send(click);
}

} // namespace trovix::kwin

KWIN_EFFECT_FACTORY(trovix::kwin::ClickReporter, "metadata.json")

#include "ClickReporter.moc"
