#include "app/SingleInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

#include <memory>

#include <unistd.h>

namespace trovix {

namespace {

// Absolute paths travel as UTF-8 lines, a command as a line starting with '!' (no absolute path
// does); an empty message asks to come to the front.
QByteArray encode(const QStringList& paths, const QString& command) {
    QByteArray data;
    for (const QString& path : paths)
        data += path.toUtf8() + '\n';
    if (!command.isEmpty())
        data += '!' + command.toUtf8() + '\n';
    return data;
}

struct Request {
    QStringList paths;
    QString command;
};

Request decode(const QByteArray& data) {
    Request request;
    for (const QByteArray& line : data.split('\n')) {
        if (line.startsWith('!'))
            request.command = QString::fromUtf8(line.mid(1));
        else if (!line.isEmpty())
            request.paths.append(QString::fromUtf8(line));
    }
    return request;
}

bool anyoneListening() {
    QLocalSocket socket;
    socket.connectToServer(SingleInstance::socketPath());
    return socket.waitForConnected(500);
}

} // namespace

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::socketPath() {
    QString display = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (display.isEmpty())
        display = qEnvironmentVariable("DISPLAY");
    if (display.isEmpty())
        display = QStringLiteral("none");
    for (QChar& c : display)
        if (!c.isLetterOrNumber())
            c = u'_';
    QString dir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (dir.isEmpty())
        return QDir(QDir::tempPath()).filePath(QStringLiteral("trovix-%1-%2").arg(getuid()).arg(display));
    return QDir(dir).filePath(QStringLiteral("trovix-%1").arg(display));
}

bool SingleInstance::sendToRunning(const QStringList& paths, int timeoutMs, const QString& command) {
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(encode(paths, command));
    socket.write("\n"); // an empty line ends the message
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    // The running instance answers once it has taken the request.
    if (!socket.waitForReadyRead(timeoutMs))
        return false;
    socket.disconnectFromServer();
    return true;
}

bool SingleInstance::listen() {
    // Listening replaces any socket file at the path, so ask first whether someone answers there;
    // a file nobody answers on was left by an instance that crashed.
    if (anyoneListening())
        return false;
    QLocalServer::removeServer(socketPath());
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(socketPath()))
        return false;
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            auto buffer = std::make_shared<QByteArray>();
            connect(socket, &QLocalSocket::readyRead, this, [this, socket, buffer] {
                *buffer += socket->readAll();
                if (!buffer->endsWith("\n\n") && *buffer != "\n")
                    return;
                const Request request = decode(*buffer);
                buffer->clear();
                socket->write("ok\n");
                socket->flush();
                // Later, from the event loop: opening may ask questions in modal loops, during which
                // the sender disconnects and this socket is deleted under its own signal.
                QMetaObject::invokeMethod(
                    this,
                    [this, request] {
                        // A bare command (a desktop shortcut) must not pull the main window forward.
                        if (!request.paths.isEmpty() || request.command.isEmpty())
                            Q_EMIT openRequested(request.paths);
                        if (!request.command.isEmpty())
                            Q_EMIT commandRequested(request.command);
                    },
                    Qt::QueuedConnection);
            });
        }
    });
    return true;
}

} // namespace trovix
