#include "platform/browser/BrowserClickSource.h"

#include "platform/browser/BrowserChannel.h"
#include "platform/browser/PageMessage.h"

#include <QCoreApplication>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSet>
#include <QtConcurrent/QtConcurrentRun>

#include <sys/socket.h>
#include <unistd.h>

namespace trovix {

struct BrowserClickSource::Connection {
    PageMessage::FrameReader frames;
    // The extension's press ids → this source's.
    QHash<qint64, quint64> presses;
    // Those of them that end typing.
    QSet<quint64> typing;
    // The browser's process; 0 when unknown.
    qint64 browser = 0;
};

namespace {

// Only a process of this user may talk to Trovix, whatever the socket's folder allows.
// The peer's process when it is this user's; nothing otherwise.
std::optional<pid_t> sameUser(QLocalSocket* socket) {
    struct ucred peer {};
    socklen_t length = sizeof peer;
    if (getsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 ||
        peer.uid != getuid())
        return std::nullopt;
    return peer.pid;
}

// The parent of a process, from /proc; 0 when it cannot be read.
qint64 parentOf(pid_t process) {
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    // "pid (name) state ppid ...": the name may hold spaces and parentheses, so count from the last ")".
    const QByteArray stat = file.read(4096);
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 1).simplified().split(' ');
    return fields.size() > 1 ? fields.at(1).toLongLong() : 0;
}

QByteArray recordingMessage(bool on) {
    return PageMessage::frame(QJsonDocument(QJsonObject{{QStringLiteral("type"), QStringLiteral("recording")},
                                                        {QStringLiteral("on"), on}})
                                  .toJson(QJsonDocument::Compact));
}

} // namespace

BrowserClickSource& BrowserClickSource::instance() {
    static BrowserClickSource* source = new BrowserClickSource(QCoreApplication::instance());
    return *source;
}

BrowserClickSource::BrowserClickSource(QObject* parent)
    : QObject(parent) {
    if (!BrowserChannel::preparePrivateFolder(&m_error))
        return;
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    const QString path = BrowserChannel::socketPath();
    // A socket left by a Trovix that crashed; a running one owns the single instance and this
    // process would not have got here.
    QLocalServer::removeServer(path);
    if (!m_server->listen(path)) {
        m_error = QStringLiteral("Cannot listen on %1: %2").arg(path, m_server->errorString());
        return;
    }
    connect(m_server, &QLocalServer::newConnection, this, &BrowserClickSource::accept);
}

BrowserClickSource::~BrowserClickSource() = default;

void BrowserClickSource::setRecording(bool recording) {
    if (m_recording == recording)
        return;
    m_recording = recording;
    if (!recording)
        m_lateTypingUntil = std::chrono::steady_clock::now() + std::chrono::milliseconds(lateTypingMs);
    for (auto it = m_connections.cbegin(); it != m_connections.cend(); ++it) {
        it.key()->write(recordingMessage(recording));
        // Presses still on their way belong to the recording that has ended; typing it ended still
        // comes.
        if (!recording) {
            Connection& connection = *it.value();
            for (auto press = connection.presses.begin(); press != connection.presses.end();) {
                if (connection.typing.contains(press.value())) {
                    ++press;
                    continue;
                }
                Q_EMIT lost(press.value());
                press = connection.presses.erase(press);
            }
        }
    }
}

QList<qint64> BrowserClickSource::browserProcesses() const {
    QList<qint64> processes;
    for (const std::shared_ptr<Connection>& connection : m_connections)
        if (connection->browser > 1 && !processes.contains(connection->browser))
            processes.append(connection->browser);
    return processes;
}

bool BrowserClickSource::isBrowserProcess(qint64 process, const QList<qint64>& browsers) {
    // A browser's helpers are its children or grandchildren; a few steps up is enough.
    for (int depth = 0; depth < 6 && process > 1; ++depth) {
        if (browsers.contains(process))
            return true;
        process = parentOf(pid_t(process));
    }
    return false;
}

void BrowserClickSource::accept() {
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        const std::optional<pid_t> host = sameUser(socket);
        if (!host) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        const bool wasConnected = isConnected();
        auto connection = std::make_shared<Connection>();
        connection->browser = *host > 0 ? parentOf(*host) : 0;
        m_connections.insert(socket, connection);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QLocalSocket::disconnected, this, [this, socket] { drop(socket); });
        socket->write(recordingMessage(m_recording));
        if (!wasConnected)
            Q_EMIT connectedChanged(true);
    }
}

void BrowserClickSource::read(QLocalSocket* socket) {
    const std::shared_ptr<Connection> connection = m_connections.value(socket);
    if (!connection)
        return;
    connection->frames.append(socket->readAll());
    connection->frames.takeAll([this, &connection](const QByteArray& json) { take(*connection, json); },
                               [](const QString&) {});
}

void BrowserClickSource::take(Connection& connection, const QByteArray& json) {
    const PageMessage::Parsed parsed = PageMessage::parse(json);
    // The host checks every message first; one that still fails here makes no step.
    const PageMessage::Type type = parsed.message ? parsed.message->type : PageMessage::Type::lost;
    if (!parsed.message && !parsed.id)
        return;
    const qint64 id = parsed.message ? parsed.message->id : *parsed.id;
    if (type == PageMessage::Type::press) {
        const bool typing = parsed.message->typing;
        const bool late = typing && std::chrono::steady_clock::now() < m_lateTypingUntil;
        if ((m_recording || late) && !connection.presses.contains(id)) {
            connection.presses.insert(id, m_nextPress);
            if (typing) {
                connection.typing.insert(m_nextPress);
                Q_EMIT typingEnded(m_nextPress++);
            } else {
                Q_EMIT pressed(m_nextPress++);
            }
        }
        return;
    }
    if (type != PageMessage::Type::click && type != PageMessage::Type::lost)
        return;
    const auto press = connection.presses.find(id);
    if (press == connection.presses.end())
        return;
    const quint64 key = press.value();
    connection.presses.erase(press);
    connection.typing.remove(key);
    if (type != PageMessage::Type::click) {
        Q_EMIT lost(key);
        return;
    }
    const PageMessage::Message& message = *parsed.message;
    PageClick click;
    click.scale = message.scale;
    click.position = message.position;
    click.label = message.label;
    click.page = message.page;
    click.controlFrame = message.frame;
    click.passwordFields = message.passwordFields;
    if (message.typed)
        click.typing = PageTyping{message.typed->password, message.typed->text};
    // A 4K tab's PNG takes a good part of a second to decode: not on the thread that draws Trovix.
    // The clicks keep their order by their presses, whichever picture is ready first.
    QtConcurrent::run([png = message.png, size = message.pictureSize, click]() mutable {
        click.picture = QImage::fromData(png, "PNG");
        if (click.picture.size() != size)
            click.picture = QImage();
        return click;
    }).then(this, [this, key](const PageClick& decoded) {
        if (decoded.picture.isNull())
            Q_EMIT lost(key);
        else
            Q_EMIT clicked(key, decoded);
    });
}

void BrowserClickSource::drop(QLocalSocket* socket) {
    const std::shared_ptr<Connection> connection = m_connections.take(socket);
    socket->deleteLater();
    if (!connection)
        return;
    for (quint64 press : std::as_const(connection->presses))
        Q_EMIT lost(press);
    if (!isConnected())
        Q_EMIT connectedChanged(false);
}

} // namespace trovix
