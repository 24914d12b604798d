#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;

namespace trovix {

// One Trovix per user and display. The first launch listens on a local socket; a later launch
// hands its paths (possibly none) and command line command to it and exits, and the running one
// opens them, runs the command, or comes to the front.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    // The socket's path: in the user's runtime folder, named after the display.
    static QString socketPath();

    // Delivers `paths` and `command` (see CommandLine) to a running instance; false when none answers.
    static bool sendToRunning(const QStringList& paths, int timeoutMs = 2000, const QString& command = {});
    // Starts listening; false when another instance already listens.
    bool listen();

Q_SIGNALS:
    void openRequested(const QStringList& paths);
    void commandRequested(const QString& command);

private:
    QLocalServer* m_server = nullptr;
};

} // namespace trovix
