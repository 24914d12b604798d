#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;

namespace trovix {

// One Trovix per user and display. The first launch listens on a local socket; a later launch
// hands its paths (possibly none) to it and exits, and the running one opens them or comes to the
// front.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    // The socket's path: in the user's runtime folder, named after the display.
    static QString socketPath();

    // Delivers `paths` to a running instance; false when none answers.
    static bool sendToRunning(const QStringList& paths, int timeoutMs = 2000);
    // Starts listening; false when another instance already listens.
    bool listen();

Q_SIGNALS:
    void openRequested(const QStringList& paths);

private:
    QLocalServer* m_server = nullptr;
};

} // namespace trovix
