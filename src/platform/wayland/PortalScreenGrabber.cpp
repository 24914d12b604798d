#include "platform/wayland/PortalScreenGrabber.h"

#include "document/Error.h"
#include "platform/wayland/PortalInterfaces.h"
#include "platform/wayland/PortalRequest.h"
#include "render/ImageCodec.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>
#include <QWindow>
#include <qpa/qplatformwindow.h>

#include <cmath>

namespace trovix {

namespace {

const QString screenshotInterface = QStringLiteral("org.freedesktop.portal.Screenshot");

Error refused(const QString& why) {
    return Error(Error::Code::permissionDenied,
                 QCoreApplication::translate("trovix::PortalScreenGrabber",
                                             "The desktop did not allow Trovix to take a screenshot (%1).")
                     .arg(why));
}

QWindow* windowWithId(WId id) {
    const QWindowList windows = QGuiApplication::allWindows();
    for (QWindow* window : windows) {
        if (window->handle() && window->winId() == id)
            return window;
    }
    return nullptr;
}

// Portals write the picture where they like; one in a temporary place is ours to remove, so that it
// can never be mistaken for the answer to a later request.
bool isTemporary(const QString& path) {
    const QString file = QFileInfo(path).absoluteFilePath();
    for (const QString& dir : {QDir::tempPath(), QStringLiteral("/tmp"),
                               QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation)}) {
        if (!dir.isEmpty() && file.startsWith(QDir(dir).absolutePath() + QLatin1Char('/')))
            return true;
    }
    return false;
}

} // namespace

PortalScreenGrabber::PortalScreenGrabber(const QDBusConnection& bus,
                                         std::shared_ptr<PortalInterfaces> interfaces)
    : m_bus(bus)
    , m_interfaces(std::move(interfaces))
    , m_watcher(std::make_unique<QObject>()) {
    // Worker threads grab; the screens may only be asked on the main thread.
    auto refresh = [this] {
        QList<QRect> frames;
        const QList<QScreen*> screens = QGuiApplication::screens();
        for (QScreen* screen : screens)
            frames.append(screen->geometry());
        QMutexLocker lock(&m_mutex);
        m_frames = frames;
    };
    auto watch = [this, refresh](QScreen* screen) {
        QObject::connect(screen, &QScreen::geometryChanged, m_watcher.get(), refresh);
    };
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens)
        watch(screen);
    QObject::connect(qGuiApp, &QGuiApplication::screenAdded, m_watcher.get(),
                     [watch, refresh](QScreen* screen) {
                         watch(screen);
                         refresh();
                     });
    QObject::connect(qGuiApp, &QGuiApplication::screenRemoved, m_watcher.get(), refresh);
    refresh();
}

PortalScreenGrabber::~PortalScreenGrabber() = default;

ScreenGrabber::Access PortalScreenGrabber::access() const {
    return m_interfaces->offers(screenshotInterface) ? Access::granted : Access::needsGrant;
}

QList<QRect> PortalScreenGrabber::screenFrames() const {
    QMutexLocker lock(&m_mutex);
    return m_frames;
}

QImage PortalScreenGrabber::desktop() {
    QMutexLocker serial(&m_requestMutex);
    // Without asking the user first; where the desktop insists on asking, the interactive way.
    for (const bool interactive : {false, true}) {
        const QDateTime asked = QDateTime::currentDateTime();
        const PortalRequest::Result result = PortalRequest::call(
            m_bus, screenshotInterface, QStringLiteral("Screenshot"), {QString()},
            {{QStringLiteral("interactive"), interactive}, {QStringLiteral("modal"), interactive}},
            timeoutMs);
        switch (result.status) {
        case PortalRequest::Result::Status::callFailed:
            throw refused(result.error);
        case PortalRequest::Result::Status::noAnswer:
            throw Error(Error::Code::serviceFailed,
                        QCoreApplication::translate(
                            "trovix::PortalScreenGrabber",
                            "The desktop’s screenshot service did not answer within %1 seconds.")
                            .arg(timeoutMs / 1000));
        case PortalRequest::Result::Status::answered:
            break;
        }
        if (result.response == 1)
            throw refused(
                QCoreApplication::translate("trovix::PortalScreenGrabber", "the request was cancelled"));
        if (result.response != 0) {
            if (!interactive)
                continue;
            throw refused(
                QCoreApplication::translate("trovix::PortalScreenGrabber", "the request was refused"));
        }
        const QUrl uri(result.results.value(QStringLiteral("uri")).toString());
        if (!uri.isLocalFile())
            throw Error(Error::Code::serviceFailed,
                        QCoreApplication::translate(
                            "trovix::PortalScreenGrabber",
                            "The desktop’s screenshot service answered without a picture file (“%1”).")
                            .arg(uri.toString()));
        const QString path = uri.toLocalFile();
        // Read at once: some portals write every picture to one fixed file. A whole desktop's PNG
        // decodes in a third of the time through the screenshot decoder the exports use.
        QFile file(path);
        const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        const QString readError = bytes.isEmpty() ? file.errorString() : QString();
        const QImage image = ImageCodec::decode(bytes);
        const QFileInfo info(path);
        const bool stale = info.exists() && info.lastModified().addSecs(2) < asked;
        if (isTemporary(path))
            QFile::remove(path);
        if (image.isNull())
            throw Error(Error::Code::serviceFailed,
                        QCoreApplication::translate("trovix::PortalScreenGrabber",
                                                    "Trovix couldn’t read the screenshot “%1”: %2.")
                            .arg(path, readError.isEmpty()
                                           ? QCoreApplication::translate("trovix::PortalScreenGrabber",
                                                                         "not a picture Trovix can read")
                                           : readError),
                        path);
        if (stale)
            throw Error(Error::Code::serviceFailed,
                        QCoreApplication::translate(
                            "trovix::PortalScreenGrabber",
                            "The desktop’s screenshot service answered with an old picture, “%1”.")
                            .arg(path),
                        path);
        return image;
    }
    return {};
}

QImage PortalScreenGrabber::grab(const QRect& rect) {
    return grabAll({rect}).constFirst();
}

QList<QImage> PortalScreenGrabber::grabAll(const QList<QRect>& rects) {
    const QImage whole = desktop();
    const QList<QRect> frames = screenFrames();
    QRect layout;
    for (const QRect& frame : frames)
        layout |= frame;
    if (layout.isEmpty())
        throw Error(
            Error::Code::noDisplay,
            QCoreApplication::translate("trovix::PortalScreenGrabber",
                                        "Trovix couldn’t capture the screen: no screen is connected."));
    // The picture is the layout in logical units times the largest output scale.
    const double sx = double(whole.width()) / layout.width();
    const double sy = double(whole.height()) / layout.height();
    QList<QImage> images;
    for (const QRect& rect : rects) {
        // A screen's rectangle has the screen's origin and its native size; anything else is taken as
        // logical units.
        QSize logical = rect.size();
        for (const QRect& frame : frames) {
            if (frame.topLeft() == rect.topLeft())
                logical = frame.size();
        }
        const QRect source(int(std::lround((rect.x() - layout.x()) * sx)),
                           int(std::lround((rect.y() - layout.y()) * sy)),
                           int(std::lround(logical.width() * sx)), int(std::lround(logical.height() * sy)));
        if (!whole.rect().intersects(source))
            throw Error(Error::Code::noDisplay,
                        QCoreApplication::translate(
                            "trovix::PortalScreenGrabber",
                            "Trovix couldn’t capture the screen: it is no longer connected."));
        QImage part = whole.copy(source);
        if (part.size() != rect.size())
            part = part.scaled(rect.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        images.append(part.convertToFormat(QImage::Format_RGB32));
    }
    return images;
}

// The platform window goes and comes back while the QWindow stays visible to Qt, so a dialog's
// event loop or a menu stays open across the grab.
void PortalScreenGrabber::unmapWindow(WId id) {
    if (QWindow* window = windowWithId(id))
        window->handle()->setVisible(false);
}

void PortalScreenGrabber::mapWindow(WId id) {
    if (QWindow* window = windowWithId(id)) {
        window->handle()->setVisible(true);
        window->requestUpdate();
    }
}

void PortalScreenGrabber::whenSettled(const QList<QWindow*>&, QObject* context, std::function<void()> done) {
    // The compositor shows the change from its next frame on; a few frames' grace covers a busy one.
    QTimer::singleShot(50, context, std::move(done));
}

} // namespace trovix
