#include "platform/gnome/ScreenCastFrames.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPromise>
#include <QScreen>
#include <QTimer>

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <atomic>
#include <chrono>
#include <mutex>

namespace trovix {

namespace {

const QString screenCast = QStringLiteral("org.gnome.Mutter.ScreenCast");

QDBusMessage castCall(const QString& path, const QString& interface, const QString& method,
                      const QVariantList& arguments = {}) {
    QDBusMessage call = QDBusMessage::createMethodCall(screenCast, path, interface, method);
    call.setArguments(arguments);
    return call;
}

} // namespace

// One screen's stream: PipeWire hands each frame over on its own thread; the newest one is kept out
// of the stream's rotation until a newer one arrives, so that a picture is a copy made only when a
// click asks for it.
class ScreenCastStream : public QObject {
    Q_OBJECT
public:
    ScreenCastStream(ScreenCastFrames& owner, QRect area, QString path)
        : m_owner(owner)
        , m_area(area)
        , m_path(std::move(path)) {}

    ~ScreenCastStream() override {
        if (m_stream)
            pw_stream_destroy(m_stream);
    }

    QRect area() const { return m_area; }
    const QString& path() const { return m_path; }
    quint64 frames() const { return m_frames; }
    // Whether frames are arriving and one is at hand.
    bool isStreaming() const { return m_streaming && m_frames > 0; }

    bool connect(pw_core* core, quint32 node) {
        static const pw_stream_events events = [] {
            pw_stream_events e{};
            e.version = PW_VERSION_STREAM_EVENTS;
            e.param_changed = &ScreenCastStream::paramChanged;
            e.process = &ScreenCastStream::process;
            e.state_changed = &ScreenCastStream::stateChanged;
            e.remove_buffer = &ScreenCastStream::removeBuffer;
            return e;
        }();
        m_stream = pw_stream_new(core, "trovix-click-pictures",
                                 pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                                                   "Capture", PW_KEY_MEDIA_ROLE, "Screen", nullptr));
        if (!m_stream)
            return false;
        pw_stream_add_listener(m_stream, &m_listener, &events, this);

        uint8_t buffer[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
        spa_rectangle size{uint32_t(m_area.width()), uint32_t(m_area.height())};
        spa_rectangle smallest{1, 1};
        spa_rectangle largest{16384, 16384};
        spa_fraction rate{0, 1};
        spa_fraction slowest{0, 1};
        spa_fraction fastest{1000, 1};
        const spa_pod* format = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
            SPA_FORMAT_VIDEO_format,
            SPA_POD_CHOICE_ENUM_Id(3, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA),
            SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&size, &smallest, &largest),
            SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&rate, &slowest, &fastest)));
        return pw_stream_connect(m_stream, PW_DIRECTION_INPUT, node,
                                 pw_stream_flags(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS),
                                 &format, 1) == 0;
    }

    // A copy of the newest frame; null before the first one.
    QImage latest() {
        const std::lock_guard lock(m_mutex);
        return copy(m_newest.buffer);
    }

    // A copy of the newest frame that had arrived by `time` (milliseconds of the monotonic clock,
    // as input events carry it), or of the one before the newest where that came later.
    QImage at(quint32 time) {
        const std::lock_guard lock(m_mutex);
        const bool later = qint32(m_newest.arrived - time) > 0;
        return copy(later && m_before.buffer ? m_before.buffer : m_newest.buffer);
    }

private Q_SLOTS:
    void added(uint node) { m_owner.connectStream(this, node); }

private:
    QImage copy(pw_buffer* buffer) const {
        if (!buffer || m_width <= 0 || m_height <= 0)
            return {};
        const spa_data& data = buffer->buffer->datas[0];
        const qint64 stride = data.chunk->stride > 0 ? data.chunk->stride : qint64(m_width) * 4;
        if (stride < qint64(m_width) * 4 || data.chunk->offset + stride * m_height > data.maxsize)
            return {};
        // Both formats are the screen's opaque pixels; the alpha byte of BGRA carries nothing.
        const QImage view(static_cast<const uchar*>(data.data) + data.chunk->offset, m_width, m_height,
                          stride, QImage::Format_RGB32);
        return view.copy();
    }

    static void stateChanged(void* self, pw_stream_state, pw_stream_state state, const char* error) {
        auto* stream = static_cast<ScreenCastStream*>(self);
        stream->m_streaming = state == PW_STREAM_STATE_STREAMING;
        if (state == PW_STREAM_STATE_ERROR)
            qWarning("trovix: the screen cast stopped (%s); click pictures come from the screenshot portal",
                     error ? error : "no reason given");
    }

    // A frame kept back is given up with its buffer (the stream ends or its size changes).
    static void removeBuffer(void* self, pw_buffer* buffer) {
        auto* stream = static_cast<ScreenCastStream*>(self);
        const std::lock_guard lock(stream->m_mutex);
        for (Frame* frame : {&stream->m_newest, &stream->m_before})
            if (frame->buffer == buffer)
                *frame = {};
    }

    static void paramChanged(void* self, uint32_t id, const spa_pod* param) {
        auto* stream = static_cast<ScreenCastStream*>(self);
        uint32_t mediaType = 0, mediaSubtype = 0;
        if (!param || id != SPA_PARAM_Format || spa_format_parse(param, &mediaType, &mediaSubtype) < 0 ||
            mediaType != SPA_MEDIA_TYPE_video || mediaSubtype != SPA_MEDIA_SUBTYPE_raw)
            return;
        spa_video_info_raw info{};
        if (spa_format_video_raw_parse(param, &info) < 0)
            return;
        {
            const std::lock_guard lock(stream->m_mutex);
            stream->m_width = int(info.size.width);
            stream->m_height = int(info.size.height);
        }
        // Frames in memory this process can map, never on the graphics card.
        uint8_t buffer[256];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
        const spa_pod* buffers = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
        pw_stream_update_params(stream->m_stream, &buffers, 1);
    }

    static void process(void* self) {
        auto* stream = static_cast<ScreenCastStream*>(self);
        pw_buffer* newest = nullptr;
        while (pw_buffer* next = pw_stream_dequeue_buffer(stream->m_stream)) {
            if (newest)
                pw_stream_queue_buffer(stream->m_stream, newest);
            newest = next;
        }
        if (!newest)
            return;
        const spa_data& data = newest->buffer->datas[0];
        if (!data.data || !data.chunk || data.chunk->size == 0 ||
            (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED)) {
            pw_stream_queue_buffer(stream->m_stream, newest);
            return;
        }
        const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now().time_since_epoch());
        pw_buffer* older = nullptr;
        {
            const std::lock_guard lock(stream->m_mutex);
            older = std::exchange(stream->m_before, stream->m_newest).buffer;
            stream->m_newest = {newest, quint32(now.count())};
        }
        if (older)
            pw_stream_queue_buffer(stream->m_stream, older);
        ++stream->m_frames;
        QMetaObject::invokeMethod(
            stream, [stream] { stream->m_owner.frameArrived(stream); }, Qt::QueuedConnection);
    }

    ScreenCastFrames& m_owner;
    QRect m_area;
    QString m_path;
    pw_stream* m_stream = nullptr;
    spa_hook m_listener{};
    std::mutex m_mutex;
    // The newest frame and the one before it, kept out of the stream's rotation, with the time each
    // arrived.
    struct Frame {
        pw_buffer* buffer = nullptr;
        quint32 arrived = 0;
    };
    Frame m_newest;
    Frame m_before;
    int m_width = 0;
    int m_height = 0;
    std::atomic<quint64> m_frames = 0;
    std::atomic<bool> m_streaming = false;
};

namespace {

// One click's picture: the newest frame once the click has shown on the screen and the screen has been
// still for a moment. A press and its release take about a tenth of a second by hand, so nothing is
// taken before that; a click that changes nothing on the screen waits until the limit.
class Settling : public QObject {
    Q_OBJECT
public:
    Settling(ScreenCastStream& stream, QObject* parent)
        : QObject(parent)
        , m_stream(stream) {
        m_promise.start();
        m_sinceClick.start();
        m_check.setSingleShot(true);
        QObject::connect(&m_check, &QTimer::timeout, this, &Settling::check);
        m_check.start(int(ScreenCastFrames::releaseWaitMs));
    }

    ~Settling() override { deliver(); }

    QFuture<QImage> future() { return m_promise.future(); }
    ScreenCastStream& stream() const { return m_stream; }

    void frameArrived() {
        m_lastFrame = m_sinceClick.elapsed();
        if (m_lastFrame < ScreenCastFrames::releaseWaitMs)
            return;
        // Something that never stops moving (a spinner, a video) leaves no quiet spell to wait for.
        if (m_limit == ScreenCastFrames::settleLimitMs)
            m_limit = std::min(m_limit, m_lastFrame + ScreenCastFrames::movingMs);
        wait(ScreenCastFrames::quietMs);
    }

private:
    void check() {
        const qint64 still = m_sinceClick.elapsed() - m_lastFrame;
        if (m_lastFrame >= 0 && still >= ScreenCastFrames::quietMs)
            deliver();
        else
            wait(m_lastFrame < 0 ? ScreenCastFrames::settleLimitMs : ScreenCastFrames::quietMs - still);
    }

    // Checks again after `ms`, or delivers at the limit.
    void wait(qint64 ms) {
        const qint64 left = m_limit - m_sinceClick.elapsed();
        if (left <= 0)
            deliver();
        else
            m_check.start(int(std::min(ms, left)));
    }

    void deliver() {
        if (m_delivered)
            return;
        m_delivered = true;
        m_check.stop();
        m_promise.addResult(m_stream.latest());
        m_promise.finish();
        deleteLater();
    }

    ScreenCastStream& m_stream;
    QPromise<QImage> m_promise;
    QElapsedTimer m_sinceClick;
    qint64 m_lastFrame = -1; // since the click; none yet
    qint64 m_limit = ScreenCastFrames::settleLimitMs;
    QTimer m_check;
    bool m_delivered = false;
};

} // namespace

ScreenCastFrames::ScreenCastFrames(QDBusConnection bus, QObject* parent)
    : QObject(parent)
    , m_bus(std::move(bus)) {}

ScreenCastFrames::~ScreenCastFrames() {
    // Pictures still settling get the screen as it is now, while the streams are still there.
    for (Settling* settling : findChildren<Settling*>(Qt::FindDirectChildrenOnly))
        delete settling;
    if (m_loop)
        pw_thread_loop_stop(m_loop);
    m_streams.clear();
    if (m_core)
        pw_core_disconnect(m_core);
    if (m_context)
        pw_context_destroy(m_context);
    if (m_loop)
        pw_thread_loop_destroy(m_loop);
    if (!m_session.isEmpty())
        m_bus.send(castCall(m_session, screenCast + QStringLiteral(".Session"), QStringLiteral("Stop")));
}

bool ScreenCastFrames::start(QString* error) {
    static std::once_flag initialised;
    std::call_once(initialised, [] { pw_init(nullptr, nullptr); });
    m_loop = pw_thread_loop_new("trovix-screen-cast", nullptr);
    m_context = m_loop ? pw_context_new(pw_thread_loop_get_loop(m_loop), nullptr, 0) : nullptr;
    m_core = m_context ? pw_context_connect(m_context, nullptr, 0) : nullptr;
    if (!m_core || pw_thread_loop_start(m_loop) != 0) {
        *error = QStringLiteral("PipeWire does not answer");
        return false;
    }

    const QString session = screenCast + QStringLiteral(".Session");
    const auto call = [&](const QString& path, const QString& interface, const QString& method,
                          const QVariantList& arguments) -> std::optional<QString> {
        const QDBusMessage reply =
            m_bus.call(castCall(path, interface, method, arguments), QDBus::Block, 3000);
        if (reply.type() != QDBusMessage::ReplyMessage) {
            *error =
                QStringLiteral("mutter did not stream the screen (%1: %2)").arg(method, reply.errorMessage());
            return std::nullopt;
        }
        return reply.arguments().value(0).value<QDBusObjectPath>().path();
    };
    const std::optional<QString> created = call(QStringLiteral("/org/gnome/Mutter/ScreenCast"), screenCast,
                                                QStringLiteral("CreateSession"), {QVariantMap()});
    if (!created || created->isEmpty())
        return false;
    m_session = *created;
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens) {
        // The pointer itself stays out of the pictures, as in every other screenshot.
        const QVariantMap options{{QStringLiteral("cursor-mode"), QVariant::fromValue(0u)}};
        std::optional<QString> path =
            call(m_session, session, QStringLiteral("RecordMonitor"), {screen->name(), options});
        if (!path && screens.size() == 1)
            path = call(m_session, session, QStringLiteral("RecordMonitor"), {QString(), options});
        if (!path || path->isEmpty())
            continue; // clicks on this screen are pictured another way
        const QRect area(screen->geometry().topLeft(),
                         screen->geometry().size() * screen->devicePixelRatio());
        auto stream = std::make_unique<ScreenCastStream>(*this, area, *path);
        m_bus.connect(screenCast, *path, screenCast + QStringLiteral(".Stream"),
                      QStringLiteral("PipeWireStreamAdded"), stream.get(), SLOT(added(uint)));
        m_streams.push_back(std::move(stream));
    }
    if (m_streams.empty())
        return false;
    return call(m_session, session, QStringLiteral("Start"), {}).has_value();
}

void ScreenCastFrames::connectStream(ScreenCastStream* stream, quint32 node) {
    pw_thread_loop_lock(m_loop);
    const bool connected = stream->connect(m_core, node);
    pw_thread_loop_unlock(m_loop);
    if (!connected)
        qWarning("trovix: the screen cast stream %u could not be read", node);
}

std::optional<ScreenPicture> ScreenCastFrames::after(QPoint nativePoint, quint32 time, Moment moment) {
    for (const auto& stream : m_streams) {
        if (!stream->area().contains(nativePoint) || !stream->isStreaming())
            continue;
        if (moment == Moment::press)
            return ScreenPicture{QtFuture::makeReadyFuture(stream->at(time)), stream->area()};
        auto* settling = new Settling(*stream, this);
        return ScreenPicture{settling->future(), stream->area()};
    }
    return std::nullopt;
}

void ScreenCastFrames::frameArrived(ScreenCastStream* stream) {
    for (Settling* settling : findChildren<Settling*>(Qt::FindDirectChildrenOnly))
        if (&settling->stream() == stream)
            settling->frameArrived();
}

} // namespace trovix

#include "ScreenCastFrames.moc"
