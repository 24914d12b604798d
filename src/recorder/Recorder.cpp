#include "recorder/Recorder.h"

#include "document/Guide.h"
#include "document/Step.h"
#include "recorder/ClickDescriber.h"
#include "recorder/ClickMark.h"
#include "recorder/ScreenLayout.h"
#include "redact/Redactor.h"
#include "redact/StepScreening.h"

#include <QCursor>
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
        , m_keyboard(bool(click.describe))
        , m_typing(click.typing)
        , m_afterStop(click.afterStop)
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
        // Typing is pictured on the screen of its field, which the description finds.
        const bool deferred = click.typing && screen;
        if (deferred)
            m_fieldScreen = screen;
        if (click.target) {
            described(*click.target);
        } else if (click.describe) {
            QPointer<ClickJob> self(this);
            click.describe(this, [self](const ClickTarget& target) {
                if (self)
                    self->described(target);
            });
            // A step made with the keyboard that cannot be described is left out (an empty title).
            QTimer::singleShot(services.describeLimitMs + 1500, this, [this] { described({}); });
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
        if (deferred)
            return;
        if (!screen && !click.pictureComing) {
            m_image = click.picture;
            captured();
            return;
        }
        grab(screen ? services.capture(screen) : *click.pictureComing);
    }

Q_SIGNALS:
    void finished();

private:
    void grab(const QFuture<QImage>& picture) {
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
        watcher->setFuture(picture);
    }

    void described(const ClickTarget& target) {
        if (m_target)
            return;
        m_target = target;
        if (QScreen* screen = std::exchange(m_fieldScreen, nullptr)) {
            if (target.title.isEmpty() || !m_recorder) {
                captured(); // no step comes of it
                return;
            }
            if (target.frame) {
                m_location = target.frame->center();
                for (QScreen* candidate : QGuiApplication::screens()) {
                    if (ScreenLayout::contains(QRectF(candidate->geometry()), m_location)) {
                        screen = candidate;
                        break;
                    }
                }
            }
            m_screen = QRectF(screen->geometry());
            grab(m_recorder->m_services.capture(screen));
        }
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
        const bool wanted = m_keyboard ? !m_target->title.isEmpty() : true;
        if (m_recorder && (m_recorder->isRecording() || m_afterStop) && wanted && !m_image.isNull()) {
            const Step step = makeStep();
            m_recorder->appendStep(step, m_keyboard, m_typing ? m_target->frame : std::nullopt, m_location);
        }
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
        QList<Annotation> marks;
        if (m_target->frame || m_target->ring)
            marks.append(ClickMark::make(*m_target, m_location, m_screen));
        const double scale = m_image.width() / m_screen.width();
        const Step step = Step::make(Image(m_image), scale, m_target->title, marks, m_target->note);
        QList<QRectF> fields;
        for (const QRectF& field : m_target->passwordFields)
            fields.append(field.translated(-m_screen.topLeft()));
        const Step covered =
            fields.isEmpty() ? step : StepScreening::coverFields(step, fields, RedactionOptions::current());
        if (!m_target->secret)
            return covered;
        // A field typed into as a password is filled whatever the settings say, before the step goes
        // anywhere: what it shows is never kept.
        const QRectF secret = m_target->secret->translated(-m_screen.topLeft());
        if (fields.contains(secret) && RedactionOptions::current().isOn(SecretKind::password))
            return covered;
        return Redactor::cover(covered, {{SecretKind::password, secret}});
    }

    QPointer<Recorder> m_recorder;
    QRectF m_screen;
    QPointF m_location;
    bool m_keyboard = false;
    bool m_typing = false;
    bool m_afterStop = false;
    // The screen a typing step is pictured on until its field's own is known.
    QPointer<QScreen> m_fieldScreen;
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
    m_typing = TypingTracker();
    m_lastClick = QUuid();
    if (m_recordsKeys && m_services.installKeyMonitor)
        m_keyMonitor = m_services.installKeyMonitor(*this);
    m_guide.setRecording(true);
    if (m_services.enableAccessibility)
        m_services.enableAccessibility();
    return true;
}

void Recorder::stop() {
    m_keyMonitor.reset();
    // The typing under way ends here and still becomes a step.
    keyEvents(m_typing.end(), true);
    m_monitor.reset();
    m_guide.setRecording(false);
}

void Recorder::monitorLost(const QString& reason) {
    if (!isRecording())
        return;
    stop();
    Q_EMIT interrupted(reason);
}

void Recorder::setRecordsKeys(bool on) {
    m_recordsKeys = on;
    if (!isRecording())
        return;
    if (on && !m_keyMonitor && m_services.installKeyMonitor) {
        m_keyMonitor = m_services.installKeyMonitor(*this);
    } else if (!on && m_keyMonitor) {
        m_keyMonitor.reset();
        keyEvents(m_typing.end());
    }
}

void Recorder::key(const KeyStroke& stroke, const QVariant& focusedField) {
    if (!isRecording() || !m_keyMonitor || m_services.ownKeys.contains(TypingTracker::sequence(stroke)))
        return;
    const int typings = m_typing.typingNumber();
    keyEvents(m_typing.key(stroke, focusedField));
    if (m_typing.typingNumber() != typings)
        m_typingBegan = std::chrono::steady_clock::now();
    // Typing into a field the focus events have not named (it had the focus before the recording
    // began): the field is looked for at once, before focus can move on.
    if (m_typing.isTyping() && m_typing.typingNumber() != typings && !focusedField.isValid() &&
        m_services.findFocus) {
        auto search = std::make_shared<FocusSearch>();
        search->typing = m_typing.typingNumber();
        m_focusSearch = search;
        m_services.findFocus(this, [this, search](const QVariant& field) {
            search->answered = true;
            search->field = field;
            m_typing.identify(search->typing, field);
            if (search->then)
                std::exchange(search->then, {})();
        });
    }
}

void Recorder::focusChanged(const QVariant& focusedField) {
    if (isRecording())
        keyEvents(m_typing.focusChanged(focusedField));
}

void Recorder::keyEvents(const QList<TypingTracker::Event>& events, bool afterStop) {
    for (const TypingTracker::Event& event : events) {
        RecordedClick step{QPointF(QCursor::pos())};
        step.afterStop = afterStop;
        if (event.kind == TypingTracker::Event::Kind::typed) {
            step.typing = true;
            // A typing that ended before the search for its field answered waits for it.
            std::shared_ptr<FocusSearch> search;
            if (!event.field.isValid() && m_focusSearch && m_focusSearch->typing == event.number)
                search = m_focusSearch;
            step.describe = [read = m_services.readField, event, search](QObject* context, auto done) {
                if (!read) {
                    done(TypingTracker::typingTarget(event, std::nullopt));
                    return;
                }
                QPointer<QObject> receiver(context);
                auto go = [read, event, receiver, done](const QVariant& field) {
                    if (!receiver)
                        return;
                    read(field, event.window, receiver,
                         [event, done](const std::optional<TypedField>& typed) {
                             done(TypingTracker::typingTarget(event, typed));
                         });
                };
                if (search && !search->answered)
                    search->then = [go, weak = std::weak_ptr(search)] {
                        if (const auto answered = weak.lock())
                            go(answered->field);
                    };
                else
                    go(search ? search->field : event.field);
            };
        } else {
            step.describe = [name = m_services.activeApplication, keys = event.text,
                             window = event.window](QObject* context, auto done) {
                if (!name) {
                    done(TypingTracker::keysTarget(keys, std::nullopt));
                    return;
                }
                name(window, context, [keys, done](const std::optional<QString>& application) {
                    done(TypingTracker::keysTarget(keys, application));
                });
            };
        }
        click(step);
    }
}

void Recorder::appendStep(const Step& step, bool keyboard, const std::optional<QRectF>& field,
                          QPointF location) {
    // A click into a field and the typing into it make one step: the typing's. So does typing that
    // a click into the same field interrupted (to put the cursor elsewhere): the field's text now
    // holds both.
    // The step before may still be in the guide's intake.
    if (field) {
        if (!m_lastClick.isNull() && m_guide.lastAppended() == m_lastClick && field->contains(m_lastClickAt))
            m_guide.withdrawLast();
        if (!m_lastTyped.isNull() && m_guide.lastAppended() == m_lastTyped && m_lastTypedField == *field)
            m_guide.withdrawLast();
    }
    m_lastClick = keyboard ? QUuid() : step.id;
    m_lastClickAt = location;
    // A click keeps the typing before it in mind: typing into the same field right after it
    // continues that typing.
    if (keyboard) {
        m_lastTyped = field ? step.id : QUuid();
        m_lastTypedField = field.value_or(QRectF());
    }
    m_guide.append(step);
}

void Recorder::click(const RecordedClick& click) {
    // A click ends the typing before it, whose step comes first. A click that reaches us after the
    // typing that followed it began (it was held back to be matched) leaves that typing alone.
    const bool madeBeforeTyping = click.made != std::chrono::steady_clock::time_point() &&
                                  m_typing.isTyping() && click.made < m_typingBegan;
    if (!click.describe && !madeBeforeTyping)
        keyEvents(m_typing.end());
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
