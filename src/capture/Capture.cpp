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
    case ScreenGrabber::Access::needsGrant: {
        grabber.requestAccess();
        Dialogs::Alert alert;
        alert.message = QStringLiteral("Screen Recording permission needed");
        alert.informativeText = QStringLiteral("Enable Trovix in System Settings → Privacy & Security → "
                                               "Screen & System Audio Recording, then try "
                                               "again (you may need to relaunch the app).");
        alert.buttons = {QStringLiteral("OK")};
        Dialogs::current().alert(parent, alert);
        return false;
    }
    case ScreenGrabber::Access::unavailable: {
        Dialogs::Alert alert;
        alert.message = QStringLiteral("Screen capture isn’t available");
        alert.informativeText = grabber.unavailableReason();
        alert.buttons = {QStringLiteral("OK")};
        Dialogs::current().alert(parent, alert);
        return false;
    }
    }
    return false;
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
    auto promise = std::make_shared<QPromise<QImage>>();
    promise->start();
    QFuture<QImage> future = promise->future();
    if (!screen || !QGuiApplication::screens().contains(screen)) {
        promise->setException(std::make_exception_ptr(Error(
            Error::Code::noDisplay, QStringLiteral("Trovix couldn’t capture the screen: it is no longer "
                                                   "connected."))));
        promise->finish();
        return future;
    }
    const QRect rect = nativeRect(screen);
    auto away =
        std::make_shared<OwnWindows>(windows == Windows::leave ? OwnWindows::leaveScreen() : OwnWindows());
    // The grab itself runs on a worker: a 4K screen is 33 MB, which the event loop should not wait for.
    auto grab = [promise, rect, away] {
        QThreadPool::globalInstance()->start([promise, rect, away] {
            try {
                promise->addResult(grabNow(rect));
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
