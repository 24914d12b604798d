#pragma once

#include "platform/ClickMonitor.h"

#include <QDBusConnection>
#include <QObject>

#include <memory>
#include <optional>
#include <vector>

struct pw_context;
struct pw_core;
struct pw_thread_loop;

namespace trovix {

class ScreenCastStream;

// The screens as mutter streams them to a screen cast of Trovix's own (org.gnome.Mutter.ScreenCast,
// frames in shared memory over PipeWire), while a recording runs. A click's picture is then the screen
// just after the click has had its effect, with no image encoded on the way and no screenshot portal
// request per click (the portal answers one request at a time and encodes a PNG for each).
class ScreenCastFrames : public QObject {
    Q_OBJECT
public:
    // How long a picture waits for the click's effect to reach the screen: at least until the button
    // is usually released, then until a frame has come and none after it for a moment, and no longer
    // than the limit.
    static constexpr qint64 releaseWaitMs = 200;
    static constexpr qint64 quietMs = 60;
    static constexpr qint64 settleLimitMs = 600;
    // How long after the first frame past the release wait the screen may keep changing.
    static constexpr qint64 movingMs = 150;

    explicit ScreenCastFrames(QDBusConnection bus, QObject* parent = nullptr);
    ~ScreenCastFrames() override;

    // Asks mutter to stream every screen; the frames start arriving shortly after. False, with the
    // reason in `error`, when mutter or PipeWire refuse.
    bool start(QString* error);
    enum class Moment {
        press,   // the screen as the press at `time` found it
        settled, // once the click, made just now, has shown on the screen
    };
    // The screen holding `nativePoint` at that moment of a click pressed at `time` (milliseconds of
    // the monotonic clock, as input events carry it); none while that screen sends no frames (the
    // caller then takes the picture another way).
    std::optional<ScreenPicture> after(QPoint nativePoint, quint32 time, Moment moment);

private:
    friend class ScreenCastStream;
    void frameArrived(ScreenCastStream* stream);
    void connectStream(ScreenCastStream* stream, quint32 node);

    QDBusConnection m_bus;
    QString m_session;
    pw_thread_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    std::vector<std::unique_ptr<ScreenCastStream>> m_streams;
};

} // namespace trovix
