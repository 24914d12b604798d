#include "recorder/Recorder.h"

#include "document/Guide.h"
#include "document/Step.h"
#include "recorder/ClickDescriber.h"
#include "recorder/ClickMark.h"
#include "recorder/ScreenLayout.h"

#include <QFutureWatcher>
#include <QGuiApplication>
#include <QPointer>
#include <QScopedValueRollback>
#include <QScreen>
#include <QTimer>

namespace trovix {

// One recorded click: its screenshot and its description run side by side from the moment of the
// click; the step is appended once both are in and the previous click's job has finished, and only
// if recording is still on then.
class ClickJob : public QObject {
    Q_OBJECT
public:
    ClickJob(Recorder& recorder, const QRectF& area, const RecordedClick& click,
             std::shared_ptr<ClickJob> prior)
        : m_recorder(&recorder)
        , m_screen(area)
        , m_location(click.location)
        , m_deadline(std::chrono::steady_clock::now() +
                     std::chrono::milliseconds(recorder.m_services.describeLimitMs))
        , m_prior(std::move(prior)) {
        if (m_prior && !m_prior->isFinished())
            connect(m_prior.get(), &ClickJob::finished, this, &ClickJob::advance);
    }

    bool isFinished() const { return m_finished; }
    // Whether the job is inside its own advance(): its finished signal and the guide's change
    // notification run from there, and either may drop the last reference to the job.
    bool isBusy() const { return m_busy; }

    // The screen to grab, or none when the click brings its picture (or brings it later).
    void start(const RecordedClick& click, QScreen* screen) {
        const Recorder::Services& services = m_recorder->m_services;
        if (click.target) {
            described(*click.target);
        } else {
            QPointer<ClickJob> self(this);
            services.describe(click, this, [self](const ClickTarget& target) {
                if (self)
                    self->described(target);
            });
            // The accessibility side gives up on its own at the budget; this only guards against a
            // service that cannot run at all.
            QTimer::singleShot(services.describeLimitMs + 1500, this, [this] {
                described({ClickDescriber::fallbackTitle(std::nullopt), std::nullopt});
            });
        }
        if (!screen && !click.pictureComing) {
            m_image = click.picture;
            captured();
            return;
        }

        // A failed or empty grab ends the job without a step; it still ends, so later clicks go on.
        // A watcher owned by the job, rather than a continuation on it: a continuation would still
        // call the job when the grab ends after the job is gone.
        auto* watcher = new QFutureWatcher<QImage>(this);
        connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
            const QFuture<QImage> done = watcher->future();
            try {
                if (!done.isCanceled() && done.resultCount() > 0)
                    m_image = done.result();
            } catch (...) {
            }
            captured();
        });
        watcher->setFuture(screen ? services.capture(screen) : *click.pictureComing);
    }

Q_SIGNALS:
    void finished();

private:
    void described(const ClickTarget& target) {
        if (m_target)
            return;
        m_target = target;
        advance();
    }

    void captured() {
        m_captured = true;
        advance();
    }

    void advance() {
        const QScopedValueRollback busy(m_busy, true);
        if (m_finished || !m_captured || !m_target)
            return;
        if (m_reading == Reading::notStarted)
            m_reading = startReading() ? Reading::running : Reading::done;
        if (m_reading == Reading::running || (m_prior && !m_prior->isFinished()))
            return;
        m_prior.reset();
        m_finished = true;
        if (m_recorder && m_recorder->isRecording() && !m_image.isNull())
            m_recorder->m_guide.append(makeStep());
        Q_EMIT finished();
    }

    // Where the description found no label, the screenshot may still show one; it is read off the
    // main thread while the jobs before this one finish, and waited for no longer than the
    // description would have been. False when there is nothing to read.
    bool startReading() {
        if (!m_recorder || !m_recorder->isRecording() || !m_target->labelSuffix || m_image.isNull())
            return false;
        const Recorder::Services& services = m_recorder->m_services;
        if (!services.readLabel)
            return false;
        const double pixelsPerPoint = m_image.width() / m_screen.width();
        const auto toPixels = [&](QPointF global) { return (global - m_screen.topLeft()) * pixelsPerPoint; };
        std::optional<QRectF> frame;
        if (m_target->frame)
            frame = QRectF(toPixels(m_target->frame->topLeft()), m_target->frame->size() * pixelsPerPoint);

        auto* watcher = new QFutureWatcher<std::optional<QString>>(this);
        connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
            const QFuture<std::optional<QString>> done = watcher->future();
            std::optional<QString> label;
            try {
                if (!done.isCanceled() && done.resultCount() > 0)
                    label = done.result();
            } catch (...) {
            }
            read(label);
        });
        watcher->setFuture(
            services.readLabel(m_image, toPixels(m_location), frame, pixelsPerPoint, m_deadline));
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            m_deadline - std::chrono::steady_clock::now());
        QTimer::singleShot(std::max<qint64>(0, left.count()), this, [this] { read(std::nullopt); });
        return true;
    }

    void read(const std::optional<QString>& label) {
        if (m_reading != Reading::running)
            return;
        if (label)
            m_target->title = ClickDescriber::labelledTitle(*label, *m_target->labelSuffix);
        m_reading = Reading::done;
        advance();
    }

    Step makeStep() const {
        const Annotation mark = ClickMark::make(*m_target, m_location, m_screen);
        const double scale = m_image.width() / m_screen.width();
        return Step::make(Image(m_image), scale, m_target->title, {mark});
    }

    QPointer<Recorder> m_recorder;
    QRectF m_screen;
    QPointF m_location;
    std::chrono::steady_clock::time_point m_deadline;
    std::shared_ptr<ClickJob> m_prior;
    QImage m_image;
    bool m_captured = false;
    std::optional<ClickTarget> m_target;
    enum class Reading { notStarted, running, done } m_reading = Reading::notStarted;
    bool m_finished = false;
    bool m_busy = false;
};

Recorder::Recorder(Guide& guide, Services services, QObject* parent)
    : QObject(parent)
    , m_guide(guide)
    , m_services(std::move(services)) {}

Recorder::~Recorder() = default;

bool Recorder::start() {
    m_monitor = m_services.installMonitor ? m_services.installMonitor(*this) : nullptr;
    if (!m_monitor)
        return false;
    m_guide.setRecording(true);
    if (m_services.enableAccessibility)
        m_services.enableAccessibility();
    return true;
}

void Recorder::stop() {
    m_monitor.reset();
    m_guide.setRecording(false);
}

void Recorder::monitorLost(const QString& reason) {
    if (!isRecording())
        return;
    stop();
    Q_EMIT interrupted(reason);
}

void Recorder::click(const RecordedClick& click) {
    QScreen* screen = nullptr;
    QRectF area = click.area;
    if (click.picture.isNull() && !click.pictureComing) {
        const QList<QScreen*> screens = QGuiApplication::screens();
        for (QScreen* candidate : screens) {
            if (ScreenLayout::contains(QRectF(candidate->geometry()), click.location)) {
                screen = candidate;
                break;
            }
        }
        if (!screen)
            return;
        area = QRectF(screen->geometry());
    } else if (area.isEmpty()) {
        return;
    }
    // A job goes as soon as its last owner lets go of it, unless that happens inside the job's own
    // signal; then it goes once control is back in the event loop. Deferring every deletion would
    // leak the last job whenever the recorder is destroyed after the event loop has ended.
    std::shared_ptr<ClickJob> job(new ClickJob(*this, area, click, m_previous), [](ClickJob* done) {
        if (done->isBusy())
            done->deleteLater();
        else
            delete done;
    });
    m_previous = job;
    job->start(click, screen);
}

} // namespace trovix

#include "Recorder.moc"
