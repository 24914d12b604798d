#pragma once

#include "platform/ClickMonitor.h"

#include <QHash>
#include <QObject>

#include <chrono>
#include <memory>

class QLocalServer;
class QLocalSocket;

namespace trovix {

// Clicks in web pages, from the browser extension through its native messaging host. Listens on the
// user's private local socket from the first use on; tells every connected host whether Trovix
// records, and reports the presses and clicks they pass on only while it does.
class BrowserClickSource : public QObject {
    Q_OBJECT
public:
    // The source of this process, listening from its first use.
    static BrowserClickSource& instance();

    explicit BrowserClickSource(QObject* parent = nullptr);
    ~BrowserClickSource() override;

    // Whether at least one browser's extension is connected.
    bool isConnected() const { return !m_connections.isEmpty(); }
    // The processes of the browsers whose extensions are connected: each host's parent, which the
    // browser starts it from.
    QList<qint64> browserProcesses() const;
    // Whether a process is one of `browsers`, or one they started (read from /proc).
    static bool isBrowserProcess(qint64 process, const QList<qint64>& browsers);
    // How long after a recording stops the typing it ended in a page is still taken.
    static constexpr int lateTypingMs = 2500;

    // Tells the extensions to watch clicks, or to stop. Typing that ended before the stop, or that
    // the stop ends, is still reported for lateTypingMs.
    void setRecording(bool recording);
    bool isRecording() const { return m_recording; }
    // Why the source cannot listen; empty while it listens.
    QString error() const { return m_error; }

Q_SIGNALS:
    void connectedChanged(bool connected);
    // A trusted left press in a page; `press` identifies it until its click or its loss.
    void pressed(quint64 press);
    // Typing into a page's text field ended; its report comes as clicked() (with its typing), or is
    // lost, like a press's.
    void typingEnded(quint64 press);
    // The picture and description of a press reported before.
    void clicked(quint64 press, const trovix::PageClick& click);
    // The press's click will not come.
    void lost(quint64 press);

private:
    struct Connection;
    void accept();
    void read(QLocalSocket* socket);
    void take(Connection& connection, const QByteArray& json);
    void drop(QLocalSocket* socket);

    QLocalServer* m_server = nullptr;
    QHash<QLocalSocket*, std::shared_ptr<Connection>> m_connections;
    quint64 m_nextPress = 1;
    bool m_recording = false;
    std::chrono::steady_clock::time_point m_lateTypingUntil;
    QString m_error;
};

} // namespace trovix
