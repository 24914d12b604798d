#pragma once

#include "KWinApi.h"

#include <QDBusContext>
#include <QDBusServiceWatcher>
#include <QString>
#include <QVariantMap>

#include <functional>

namespace trovix::kwin {

// Reports left-button presses over other applications' windows to the Trovix process that asked for
// them, and to nobody else, while a recording runs. Silent until then: it takes no part in painting
// and keeps nothing of the presses it sees.
class ClickReporter : public KWin::Effect, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "io.github.trovix.Trovix.Clicks")
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(bool Recording READ isRecording)
public:
    ClickReporter();
    ~ClickReporter() override;

    bool isActive() const override { return false; }

    uint version() const { return 1; }
    bool isRecording() const { return !m_recorder.isEmpty(); }

public Q_SLOTS:
    // Only the process that owns Trovix's well-known name may record, and only one at a time. Answered
    // once the bus has said who asks: KWin never waits on the bus itself.
    Q_SCRIPTABLE void Start();
    Q_SCRIPTABLE void Stop();

Q_SIGNALS:
    // Declared for introspection; every report goes to the recorder alone (see report()).
    Q_SCRIPTABLE void Click(int x, int y, uint time, const QVariantMap& window);

private:
    void mouseChanged(const PointerPosition& position, Qt::MouseButtons buttons, Qt::MouseButtons before);
    void report(QPoint position, KWin::EffectWindow* window);
    // Calls the bus daemon without waiting; `answered` gets the reply on KWin's thread.
    void askBus(const QString& method, const QString& name,
                std::function<void(const QDBusMessage&)> answered);
    void startRecording(const QString& recorder, qint64 pid);
    void stopRecording();

    QString m_recorder; // the recorder's unique bus name
    qint64 m_recorderPid = 0;
    QDBusServiceWatcher m_watcher;
    QMetaObject::Connection m_mouse;
};

} // namespace trovix::kwin
