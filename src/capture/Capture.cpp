#include "capture/Capture.h"

#include "capture/OwnWindows.h"
#include "document/Error.h"
#include "platform/Dialogs.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPointer>
#include <QPromise>
#include <QScreen>
#include <QThreadPool>

#include <cmath>
#include <memory>

namespace trovix {

bool Capture::ensureAccess(QWidget* parent) {
    ScreenGrabber& grabber = Platform::current().screenGrabber();
    switch (grabber.access()) {
    case ScreenGrabber::Access::granted:
        return true;
    case ScreenGrabber::Access::needsGrant:
        grabber.requestAccess();
        showPermissionAlert(parent);
        return false;
    case ScreenGrabber::Access::unavailable: {
        Dialogs::Alert alert;
        alert.message = QCoreApplication::translate("trovix::Capture", "Screen capture isn’t available");
        alert.informativeText = grabber.unavailableReason();
        alert.buttons = {QCoreApplication::translate("trovix::Capture", "OK")};
        Dialogs::current().alert(parent, alert);
        return false;
    }
    }
    return false;
}

void Capture::showPermissionAlert(QWidget* parent) {
    Dialogs::Alert alert;
    alert.message = QCoreApplication::translate("trovix::Capture", "Screen Recording permission needed");
    alert.informativeText = QCoreApplication::translate(
        "trovix::Capture",
        "Allow Trovix to take screenshots in your desktop’s privacy settings, then try again.");
    alert.buttons = {QCoreApplication::translate("trovix::Capture", "OK")};
    Dialogs::current().alert(parent, alert);
}

QSize Capture::pixelSize(const QScreen* screen) {
    const QSize points = screen->geometry().size();
    const double ratio = screen->devicePixelRatio();
    return QSize(int(std::trunc(points.width() * ratio)), int(std::trunc(points.height() * ratio)));
}

QRect Capture::nativeRect(const QScreen* screen) {
    // Qt keeps a screen's native position as its origin and divides only its size by the ratio.
    return QRect(screen->geometry().topLeft(), pixelSize(screen));
}

QImage Capture::grabNow(const QRect& nativeRect) {
    return Platform::current().screenGrabber().grab(nativeRect);
}

QFuture<QImage> Capture::display(QScreen* screen, Windows windows) {
    return displays({screen}, windows).then([](const QList<QImage>& images) { return images.constFirst(); });
}

QFuture<QList<QImage>> Capture::displays(const QList<QScreen*>& screens, Windows windows) {
    auto promise = std::make_shared<QPromise<QList<QImage>>>();
    promise->start();
    QFuture<QList<QImage>> future = promise->future();
    QList<QRect> rects;
    for (QScreen* screen : screens) {
        if (!screen || !QGuiApplication::screens().contains(screen)) {
            promise->setException(std::make_exception_ptr(Error(
                Error::Code::noDisplay,
                QCoreApplication::translate(
                    "trovix::Capture", "Trovix couldn’t capture the screen: it is no longer connected."))));
            promise->finish();
            return future;
        }
        rects.append(nativeRect(screen));
    }
    auto away =
        std::make_shared<OwnWindows>(windows == Windows::leave ? OwnWindows::leaveScreen() : OwnWindows());
    // The grab itself runs on a worker: a 4K screen is 33 MB, which the event loop should not wait for.
    auto grab = [promise, rects, away] {
        QThreadPool::globalInstance()->start([promise, rects, away] {
            try {
                promise->addResult(Platform::current().screenGrabber().grabAll(rects));
            } catch (const Error& error) {
                promise->setException(std::make_exception_ptr(error));
            }
            promise->finish();
            if (!away->isEmpty())
                QMetaObject::invokeMethod(
                    qApp, [away] { away->restore(); }, Qt::QueuedConnection);
        });
    };
    if (away->isEmpty())
        grab();
    else
        away->whenGone(qApp, grab);
    return future;
}

} // namespace trovix
