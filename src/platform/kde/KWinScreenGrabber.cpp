#include "platform/kde/KWinScreenGrabber.h"

#include "document/Error.h"
#include "platform/kde/KWinClicks.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace trovix {

namespace {

const QString screenshotPath = QStringLiteral("/org/kde/KWin/ScreenShot2");
const QString screenshotInterface = QStringLiteral("org.kde.KWin.ScreenShot2");
// KWin writes the picture after its answer; a stalled writer ends the wait.
constexpr int readTimeoutMs = 5000;

QString tr(const char* text) {
    return QCoreApplication::translate("trovix::KWinScreenGrabber", text);
}

// Reads until the writer closes its end, `size` bytes at most.
bool readAll(int fd, char* data, qsizetype size) {
    qsizetype got = 0;
    while (got < size) {
        pollfd ready{fd, POLLIN, 0};
        if (::poll(&ready, 1, readTimeoutMs) <= 0)
            return false;
        const ssize_t n = ::read(fd, data + got, size_t(size - got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        got += n;
    }
    return true;
}

} // namespace

ScreenGrabber::Access KWinScreenGrabber::access() const {
    if (KWinClicks::isKWinRunning(QDBusConnection::sessionBus()))
        return Access::granted;
    return PortalScreenGrabber::access();
}

QImage KWinScreenGrabber::kwinDesktop(QString* error) {
    QRect layout;
    const QList<QRect> frames = screenFrames();
    for (const QRect& frame : frames)
        layout |= frame;
    if (layout.isEmpty()) {
        *error = tr("no screen is connected");
        return {};
    }
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        *error = QString::fromLocal8Bit(strerror(errno));
        return {};
    }
    QDBusMessage reply;
    {
        // Every copy of the write end goes before the reading starts, so that KWin's close ends it.
        QDBusMessage call =
            QDBusMessage::createMethodCall(QString::fromLatin1(KWinClicks::kwinService), screenshotPath,
                                           screenshotInterface, QStringLiteral("CaptureArea"));
        const QVariantMap options{{QStringLiteral("native-resolution"), true},
                                  {QStringLiteral("include-cursor"), false}};
        call << layout.x() << layout.y() << uint(layout.width()) << uint(layout.height()) << options
             << QVariant::fromValue(QDBusUnixFileDescriptor(fds[1]));
        ::close(fds[1]);
        reply = QDBusConnection::sessionBus().call(call, QDBus::Block, readTimeoutMs);
    }
    QImage image;
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        *error = reply.errorMessage().isEmpty() ? tr("KWin did not answer") : reply.errorMessage();
    } else {
        const QVariantMap results = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
        const int width = results.value(QStringLiteral("width")).toInt();
        const int height = results.value(QStringLiteral("height")).toInt();
        const qsizetype stride = results.value(QStringLiteral("stride")).toLongLong();
        const auto format = QImage::Format(results.value(QStringLiteral("format")).toInt());
        if (results.value(QStringLiteral("type")).toString() != QLatin1String("raw") || width <= 0 ||
            height <= 0 || format <= QImage::Format_Invalid || format >= QImage::NImageFormats ||
            stride < qsizetype(width) * QImage::toPixelFormat(format).bitsPerPixel() / 8) {
            *error = tr("KWin answered with a picture Trovix cannot read");
        } else {
            QByteArray bytes(stride * height, Qt::Uninitialized);
            if (!readAll(fds[0], bytes.data(), bytes.size()))
                *error = tr("KWin’s picture arrived incomplete");
            else
                image =
                    QImage(reinterpret_cast<const uchar*>(bytes.constData()), width, height, stride, format)
                        .copy()
                        .convertToFormat(QImage::Format_RGB32);
        }
    }
    ::close(fds[0]);
    return image;
}

QImage KWinScreenGrabber::desktop() {
    QString why;
    QImage image = kwinDesktop(&why);
    if (!image.isNull())
        return image;
    // KWin refused (Trovix's desktop entry is not the one it knows) or is too old: the portal.
    try {
        return PortalScreenGrabber::desktop();
    } catch (const Error& error) {
        throw Error(
            error.code(),
            tr("KWin gave no screenshot (%1), and neither did the portal: %2").arg(why, error.message()));
    }
}

} // namespace trovix
