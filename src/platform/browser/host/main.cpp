// trovix-browser-host: the browser extension's native messaging host. It reads the extension's
// messages on stdin, checks each one, and hands those it accepts to the running Trovix over the
// user's private local socket; Trovix's recording state goes the other way. It never starts Trovix:
// while Trovix is not running it says so to the extension and looks again every second.
#include "platform/browser/BrowserChannel.h"
#include "platform/browser/PageMessage.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <cstdio>
#include <optional>

#include <unistd.h>

namespace trovix {

namespace {

void writeToBrowser(const QJsonObject& message) {
    const QByteArray framed = PageMessage::frame(QJsonDocument(message).toJson(QJsonDocument::Compact));
    qsizetype written = 0;
    while (written < framed.size()) {
        const ssize_t n =
            ::write(STDOUT_FILENO, framed.constData() + written, size_t(framed.size() - written));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return; // the browser went away; stdin's end follows
        written += n;
    }
}

class BrowserHost : public QObject {
public:
    BrowserHost() {
        m_retry.setInterval(1000);
        m_retry.setSingleShot(true);
        connect(&m_retry, &QTimer::timeout, this, &BrowserHost::connectToTrovix);
        connect(&m_socket, &QLocalSocket::connected, this, [this] {
            setRunning(true);
            if (m_hello)
                m_socket.write(PageMessage::frame(*m_hello));
        });
        // A refused connection may end without any state change: look again once the attempt is over.
        connect(&m_socket, &QLocalSocket::stateChanged, this, &BrowserHost::checkConnection,
                Qt::QueuedConnection);
        connect(&m_socket, &QLocalSocket::readyRead, this, &BrowserHost::readFromTrovix);
        connectToTrovix();
    }

    // One message from the browser.
    void fromBrowser(const QByteArray& json) {
        PageMessage::Type type;
        std::optional<qint64> id;
        {
            // The checked message (a click's decoded picture) goes before the text is passed on.
            const PageMessage::Parsed parsed = PageMessage::parse(json);
            if (!parsed.message) {
                refuse(parsed.error, parsed.id);
                return;
            }
            type = parsed.message->type;
            id = parsed.id;
        }
        if (type == PageMessage::Type::recording) {
            refuse(QStringLiteral("Only Trovix starts and stops a recording."), id);
            return;
        }
        if (type == PageMessage::Type::hello)
            m_hello = json;
        if (m_socket.state() != QLocalSocket::ConnectedState) {
            if (type != PageMessage::Type::hello)
                refuse(QStringLiteral("Trovix is not running."), id);
            return;
        }
        // The length and the text apart: a picture's text is not copied to put its length in front.
        m_socket.write(PageMessage::lengthPrefix(json.size()));
        m_socket.write(json);
    }

    void refuse(const QString& reason, std::optional<qint64> id) {
        QJsonObject refusal{{QStringLiteral("type"), QStringLiteral("refused")},
                            {QStringLiteral("reason"), reason}};
        if (id) {
            refusal.insert(QStringLiteral("id"), double(*id));
            // The press already went on: its step is not to be waited for.
            if (m_socket.state() == QLocalSocket::ConnectedState) {
                const QJsonObject lost{{QStringLiteral("type"), QStringLiteral("lost")},
                                       {QStringLiteral("id"), double(*id)}};
                m_socket.write(PageMessage::frame(QJsonDocument(lost).toJson(QJsonDocument::Compact)));
            }
        }
        writeToBrowser(refusal);
    }

    // The browser closed stdin: a 4-byte length cut short or the extension's port closed.
    void browserGone() {
        while (m_socket.bytesToWrite() > 0 && m_socket.waitForBytesWritten(1000)) {
        }
        QCoreApplication::quit();
    }

private:
    void connectToTrovix() {
        if (m_socket.state() != QLocalSocket::UnconnectedState)
            return;
        m_socket.connectToServer(BrowserChannel::socketPath());
        QMetaObject::invokeMethod(this, &BrowserHost::checkConnection, Qt::QueuedConnection);
    }

    // Trovix is away (not started, or gone): say so once, and look again in a moment.
    void checkConnection() {
        if (m_socket.state() != QLocalSocket::UnconnectedState || m_retry.isActive())
            return;
        setRunning(false);
        m_retry.start();
    }

    void setRunning(bool running) {
        if (m_running == running)
            return;
        m_running = running;
        writeToBrowser(
            {{QStringLiteral("type"), QStringLiteral("trovix")}, {QStringLiteral("running"), running}});
    }

    void readFromTrovix() {
        m_fromTrovix.append(m_socket.readAll());
        m_fromTrovix.takeAll(
            [](const QByteArray& json) {
                const PageMessage::Parsed parsed = PageMessage::parse(json);
                if (parsed.message && parsed.message->type == PageMessage::Type::recording)
                    writeToBrowser({{QStringLiteral("type"), QStringLiteral("recording")},
                                    {QStringLiteral("on"), parsed.message->on}});
            },
            [](const QString&) {});
    }

    QLocalSocket m_socket;
    QTimer m_retry;
    PageMessage::FrameReader m_fromTrovix;
    std::optional<bool> m_running;
    std::optional<QByteArray> m_hello;
};

} // namespace

} // namespace trovix

int main(int argc, char* argv[]) {
    using namespace trovix;
    QCoreApplication app(argc, argv);
    if (app.arguments().contains(QStringLiteral("--help"))) {
        std::fputs("Usage: trovix-browser-host [ORIGIN]\n"
                   "The native messaging host of the Trovix browser extension. The browser starts it;\n"
                   "it passes clicks in web pages to the running Trovix.\n",
                   stdout);
        return 0;
    }
    BrowserHost host;
    // stdin is read on a thread of its own, so that a message arriving slowly never holds up Trovix's
    // replies; whole messages go to the main thread in order.
    QThread* reader = QThread::create([&host] {
        PageMessage::FrameReader frames;
        QByteArray chunk(1 << 16, Qt::Uninitialized);
        while (true) {
            const ssize_t n = ::read(STDIN_FILENO, chunk.data(), size_t(chunk.size()));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            frames.append(QByteArrayView(chunk.constData(), n).toByteArray());
            frames.takeAll(
                [&host](QByteArray json) {
                    QMetaObject::invokeMethod(&host,
                                              [&host, json = std::move(json)] { host.fromBrowser(json); });
                },
                [&host](const QString& error) {
                    QMetaObject::invokeMethod(&host, [&host, error] { host.refuse(error, std::nullopt); });
                });
        }
        QMetaObject::invokeMethod(&host, [&host] { host.browserGone(); });
    });
    reader->start();
    const int status = app.exec();
    reader->wait();
    delete reader;
    return status;
}
