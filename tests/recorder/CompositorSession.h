#pragma once

// What the tests of click recording under a compositor with Trovix's own plugin share: the session's
// pointer (with-gnome.sh, with-kwin.sh), and reading steps' frames back off their pixels.
#include "document/Guide.h"
#include "platform/Platform.h"
#include "platform/compositor/ReportedClicksWatch.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QImage>
#include <QProcess>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

namespace trovix {

inline QPoint centre(const QRect& r) {
    return r.topLeft() + QPoint(r.width() / 2, r.height() / 2);
}

// Moves and clicks the session's pointer.
inline void input(const QByteArray& commands) {
    const int fd = ::open(qgetenv("TROVIX_POINTER").constData(), O_WRONLY | O_NONBLOCK);
    QVERIFY2(fd >= 0, "the session has no pointer");
    QCOMPARE(::write(fd, commands.constData(), size_t(commands.size())), commands.size());
    ::close(fd);
}

// A click as a hand makes it: the pointer arrives, then the button goes down and up.
inline QByteArray clickAt(QPoint point) {
    return QStringLiteral("move %1 %2\nwait 30\npress\nrelease\n").arg(point.x()).arg(point.y()).toUtf8();
}

// The bounding box of the pixels of exactly this colour.
inline QRect colourBox(const QImage& image, QRgb colour) {
    QRect box;
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            if ((line[x] & 0xffffff) == (colour & 0xffffff))
                box |= QRect(x, y, 1, 1);
    }
    return box;
}

inline QRect markFrame(const Step& step) {
    if (step.annotations.size() != 1 || step.annotations.first().kind != Kind::target)
        return {};
    const Annotation& mark = step.annotations.first();
    return QRectF(mark.p1, mark.p2).toRect();
}

inline bool near(const QRect& a, const QRect& b) {
    return std::abs(a.left() - b.left()) <= 1 && std::abs(a.top() - b.top()) <= 1 &&
           std::abs(a.right() - b.right()) <= 1 && std::abs(a.bottom() - b.bottom()) <= 1;
}

// Whether Trovix's plugin in `host` (the compositor's bus name) reports clicks now.
inline bool pluginRecording(const QString& host) {
    QDBusMessage get = QDBusMessage::createMethodCall(
        host, QString::fromLatin1(ReportedClicksWatch::clicksPath),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get.setArguments(
        {QString::fromLatin1(ReportedClicksWatch::clicksInterface), QStringLiteral("Recording")});
    const QDBusMessage reply = QDBusConnection::sessionBus().call(get);
    return reply.type() == QDBusMessage::ReplyMessage &&
           reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

// A recorder process of its own (this test run with --record-child, see recordChild()), killed
// mid-recording: the plugin in `host` must stop reporting.
inline void killRecorderChild(const QString& host) {
    // This process's name goes to the child.
    QDBusConnection::sessionBus().unregisterService(QString::fromLatin1(ReportedClicksWatch::ownerName));
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--record-child")});
    QVERIFY(child.waitForReadyRead(15000));
    QCOMPARE(child.readAllStandardOutput().trimmed(), QByteArray("recording"));
    QVERIFY(pluginRecording(host));
    child.kill();
    QVERIFY(child.waitForFinished(5000));
    QTRY_VERIFY_WITH_TIMEOUT(!pluginRecording(host), 5000);
}

// The child's side: records until killed.
inline int recordChild() {
    QString error;
    auto watch = Platform::current().clickMonitor().watch([](const PlatformClick&) {}, {}, &error);
    if (!watch) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    std::printf("recording\n");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

} // namespace trovix
