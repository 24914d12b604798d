#include "recorder/Recorder.h"

#include "document/Guide.h"
#include "document/Step.h"
#include "recorder/ClickMark.h"
#include "recorder/ScreenLayout.h"

#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QTimer>

namespace trovix {

// One recorded click: its screenshot and its description run side by side from the moment of the
// click; the step is appended once both are in and the previous click's job has finished, and only
// if recording is still on then.
class ClickJob : public QObject {
    Q_OBJECT
public:
    ClickJob(Recorder& recorder, QScreen* screen, QPointF location, std::shared_ptr<ClickJob> prior)
        : m_recorder(&recorder)
        , m_screen(QRectF(screen->geometry()))
        , m_location(location)
        , m_prior(std::move(prior)) {
        if (m_prior && !m_prior->isFinished())
            connect(m_prior.get(), &ClickJob::finished, this, &ClickJob::advance);
    }

    bool isFinished() const { return m_finished; }

    void start(QScreen* screen) {
        const Recorder::Services& services = m_recorder->m_services;
        QPointer<ClickJob> self(this);
        services.describe(m_location, this, [self](const ClickTarget& target) {
            if (self)
                self->described(target);
        });
        // The accessibility side gives up on its own at the budget; this only guards against a
        // service that cannot run at all.
        QTimer::singleShot(services.describeLimitMs + 1500, this, [this] {
            described({QStringLiteral("Click"), std::nullopt});
        });

        // A failed or empty grab ends the job without a step; it still ends, so later clicks go on.
        services.capture(screen)
            .then(this,
                  [this](QFuture<QImage> done) {
                      try {
                          if (done.resultCount() > 0)
                              m_image = done.result();
                      } catch (...) {
                      }
                      captured();
                  })
            .onCanceled(this, [this] { captured(); });
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
        if (m_finished || !m_captured || !m_target || (m_prior && !m_prior->isFinished()))
            return;
        m_prior.reset();
        m_finished = true;
        if (m_recorder && m_recorder->isRecording() && !m_image.isNull())
            m_recorder->m_guide.append(makeStep());
        Q_EMIT finished();
    }

    Step makeStep() const {
        const Annotation mark = ClickMark::make(*m_target, m_location, m_screen);
        const double scale = m_image.width() / m_screen.width();
        return Step::make(Image(m_image), scale, m_target->title, {mark});
    }

    QPointer<Recorder> m_recorder;
    QRectF m_screen;
    QPointF m_location;
    std::shared_ptr<ClickJob> m_prior;
    QImage m_image;
    bool m_captured = false;
    std::optional<ClickTarget> m_target;
    bool m_finished = false;
};

Recorder::Recorder(Guide& guide, Services services, QObject* parent)
    : QObject(parent)
    , m_guide(guide)
    , m_services(std::move(services)) {}

Recorder::~Recorder() = default;

void Recorder::start() {
    m_guide.setRecording(true);
    if (m_services.enableAccessibility)
        m_services.enableAccessibility();
    m_monitor = m_services.installMonitor ? m_services.installMonitor(*this) : nullptr;
}

void Recorder::stop() {
    m_monitor.reset();
    m_guide.setRecording(false);
}

void Recorder::click(QPointF location) {
    const QList<QScreen*> screens = QGuiApplication::screens();
    QScreen* screen = nullptr;
    for (QScreen* candidate : screens) {
        if (ScreenLayout::contains(QRectF(candidate->geometry()), location)) {
            screen = candidate;
            break;
        }
    }
    if (!screen)
        return;
    // Jobs delete themselves later, never inside their own signal.
    std::shared_ptr<ClickJob> job(new ClickJob(*this, screen, location, m_previous),
                                  [](ClickJob* finished) { finished->deleteLater(); });
    m_previous = job;
    job->start(screen);
}

} // namespace trovix

#include "Recorder.moc"
