// The recorder's connections to the real system: the session's click monitor, the accessibility service,
// text recognition and the screen capture. Kept apart so that tests of the click chain link none of
// them.
#include "capture/Capture.h"
#include "platform/Platform.h"
#include "platform/atspi/AtspiDesktop.h"
#include "platform/atspi/AtspiFocusWatcher.h"
#include "platform/atspi/AtspiService.h"
#include "platform/browser/BrowserClickSource.h"
#include "platform/browser/SessionClickMonitor.h"
#include "platform/ocr/TesseractRecognizer.h"
#include "recorder/ClickDescriber.h"
#include "recorder/Recorder.h"
#include "recorder/ScreenLayout.h"
#include "recorder/ScreenText.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPointer>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include <chrono>
#include <future>

namespace trovix {

namespace {

using Clock = std::chrono::steady_clock;

std::optional<QRectF> primaryScreen(const ScreenLayout& layout) {
    if (layout.screens.isEmpty())
        return std::nullopt;
    return layout.screens.constFirst().geometry;
}

// Reads labels off click screenshots: one engine for the whole run, loaded in the background as
// soon as a recorder is made and kept between clicks and recordings, reading one click at a time
// on a thread of its own so that a burst of clicks queues there rather than on the user interface.
class LabelReader {
public:
    // Null when text recognition is not installed, and once the application object has gone.
    static LabelReader* instance() {
        static LabelReader* reader = []() -> LabelReader* {
            std::shared_ptr<TesseractRecognizer> recognizer = TesseractRecognizer::create();
            if (!recognizer)
                return nullptr;
            // Tesseract shares its dictionaries through a cache among its own statics; the engine
            // has to hand them back before those go, so it goes with the application object.
            qAddPostRoutine([] {
                delete reader;
                reader = nullptr;
            });
            return new LabelReader(std::move(recognizer));
        }();
        return reader;
    }

    explicit LabelReader(std::shared_ptr<TesseractRecognizer> recognizer)
        : m_recognizer(std::move(recognizer)) {
        m_pool.setMaxThreadCount(1);
        m_pool.start([recognizer = m_recognizer] { recognizer->load(); });
    }

    QFuture<std::optional<QString>> read(const QImage& screenshot, QPointF click,
                                         const std::optional<QRectF>& frame, double pixelsPerPoint,
                                         Clock::time_point deadline) {
        return QtConcurrent::run(&m_pool, [=, recognizer = m_recognizer] {
            return ScreenText::read(*recognizer, screenshot, click, frame, pixelsPerPoint, deadline);
        });
    }

private:
    std::shared_ptr<TesseractRecognizer> m_recognizer;
    QThreadPool m_pool;
};

// A click as the platform reports it (native pixels), as the recorder takes it (points), with the
// screen's picture where the source takes it. A click in a web page keeps the page's own picture,
// coordinates and naming.
RecordedClick recordedClick(const PlatformClick& click, const ScreenLayout& layout) {
    RecordedClick recorded{layout.toPoints(QPointF(click.nativePosition))};
    recorded.made = click.made;
    if (click.window) {
        ClickedWindow window = *click.window;
        window.frame = layout.toPoints(QRectF(window.frame)).toAlignedRect();
        window.buffer = layout.toPoints(QRectF(window.buffer)).toAlignedRect();
        recorded.window = window;
    }
    if (click.screen) {
        recorded.pictureComing = click.screen->image;
        recorded.area = layout.toPoints(QRectF(click.screen->area));
    }
    if (const std::optional<PageClick>& page = click.page;
        page && !page->picture.isNull() && page->scale > 0) {
        recorded.location = page->position;
        recorded.picture = page->picture;
        recorded.pictureComing.reset();
        recorded.area = QRectF(QPointF(0, 0), QSizeF(page->picture.size()) / page->scale);
        if (page->typing) {
            // Typing the page reported: titled as typing seen on the desktop, with its field's frame.
            TypedField field;
            field.password = page->typing->password;
            field.text = field.password ? std::nullopt : page->typing->text;
            if (const QString label = page->label.simplified(); !label.isEmpty())
                field.name = label;
            field.frame = page->controlFrame;
            if (const QString holder = page->page.simplified(); !holder.isEmpty())
                field.application = holder;
            TypingTracker::Event typed;
            typed.text = field.text.value_or(QString());
            const ClickTarget target = TypingTracker::typingTarget(typed, field);
            recorded.target = target;
            recorded.typing = true;
            // Made with the keyboard: it takes the place of the click into its field just before it.
            recorded.describe = [target](QObject*, std::function<void(const ClickTarget&)> done) {
                done(target);
            };
            if (field.frame)
                recorded.location = field.frame->center();
        } else {
            recorded.target = ClickDescriber::describeNamed(page->label, page->page, page->controlFrame);
        }
        recorded.target->passwordFields = page->passwordFields;
    }
    return recorded;
}

// Hands a result made on the accessibility thread to the main thread, unless the receiver is gone.
template <typename Result>
void deliver(QPointer<QObject> receiver, std::function<void(const Result&)> done, Result result) {
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [receiver, done = std::move(done), result = std::move(result)] {
            if (receiver)
                done(result);
        },
        Qt::QueuedConnection);
}

// The session's keys, and the focus as the accessibility bus reports it.
std::unique_ptr<QObject> installKeyMonitor(Recorder& recorder) {
    auto holder = std::make_unique<QObject>();
    auto* focus = new AtspiFocusWatcher(holder.get());
    const auto token = [](const QStringList& focused) {
        return focused.isEmpty() ? QVariant() : QVariant(focused);
    };
    QPointer<Recorder> weak(&recorder);
    std::unique_ptr<QObject> keys =
        Platform::current().keyMonitor().watch([weak, focus, token](const KeyStroke& stroke) {
            if (weak)
                weak->key(stroke, token(focus->focused()));
        });
    if (!keys)
        return nullptr;
    keys.release()->setParent(holder.get());
    QObject::connect(focus, &AtspiFocusWatcher::focusChanged, holder.get(),
                     [weak, token](const QStringList& focused) {
                         if (weak)
                             weak->focusChanged(token(focused));
                     });
    return holder;
}

// A point on no window: the application named for it is the one with the keyboard.
const QPointF nowhere(-1e9, -1e9);

} // namespace

Recorder::Recorder(Guide& guide, QObject* parent)
    : Recorder(guide, systemServices(), parent) {}

Recorder::Services Recorder::systemServices(int budgetMs) {
    Services services;
    services.describeLimitMs = budgetMs;
    services.capture = [](QScreen* screen) { return Capture::display(screen); };
    services.describe = [budgetMs](const RecordedClick& click, QObject* context,
                                   std::function<void(const ClickTarget&)> done) {
        const QPointF location = click.location;
        const ScreenLayout layout = ScreenLayout::current();
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(budgetMs);
        QPointer<QObject> receiver(context);
        // The accessibility side works in native pixels, as the source reported the window.
        std::optional<ClickedWindow> window = click.window;
        if (window) {
            const auto toNative = [&](const QRect& rect) {
                return QRectF(layout.toNative(rect.topLeft()),
                              layout.toNative(rect.topLeft() + QPointF(rect.width(), rect.height())))
                    .toRect();
            };
            window->frame = toNative(window->frame);
            window->buffer = toNative(window->buffer);
        }
        // A popup menu's items tell the accessibility bus no position, and under them lies the window
        // the menu opened from: the item's label is read off the picture instead.
        const bool popup = window && window->popup;
        AtspiService::instance().run(
            [location, layout, popup, receiver, done = std::move(done)](const AccessibleDesktop& desktop) {
                const ClickTarget target =
                    popup ? ClickDescriber::describeNamed(
                                {}, desktop.frontmostApplicationName(location).value_or(QString()),
                                std::nullopt)
                          : ClickDescriber::describe(desktop, location, primaryScreen(layout));
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [receiver, done, target] {
                        if (receiver)
                            done(target);
                    },
                    Qt::QueuedConnection);
            },
            layout, deadline, window);
    };
    if (LabelReader* reader = LabelReader::instance()) {
        services.readLabel = [reader](const QImage& screenshot, QPointF click,
                                      const std::optional<QRectF>& frame, double pixelsPerPoint,
                                      Clock::time_point deadline) {
            return reader->read(screenshot, click, frame, pixelsPerPoint, deadline);
        };
    }
    services.installMonitor = [](Recorder& recorder) -> std::unique_ptr<QObject> {
        QPointer<Recorder> weak(&recorder);
        return SessionClickMonitor::instance().watch(
            [weak](const PlatformClick& click) {
                if (!weak)
                    return;
                RecordedClick recorded = recordedClick(click, ScreenLayout::current());
                if (recorded.typing && !weak->recordsKeys())
                    return;
                // The typing a stop ended in a page comes just after the stop, and still becomes a step.
                if (!weak->isRecording()) {
                    if (!recorded.typing)
                        return;
                    recorded.afterStop = true;
                }
                weak->click(recorded);
            },
            [weak](const QString& reason) {
                if (weak)
                    weak->monitorLost(reason);
            });
    };
    services.installKeyMonitor = installKeyMonitor;
    services.readField = [budgetMs](const QVariant& field, const std::optional<ClickedWindow>& window,
                                    QObject* context,
                                    std::function<void(const std::optional<TypedField>&)> done) {
        const QStringList ref = field.toStringList();
        QPointer<QObject> receiver(context);
        // Browsers whose extension reports the typing in their pages themselves.
        const QList<qint64> browsers = BrowserClickSource::instance().browserProcesses();
        AtspiService::instance().run(
            [ref, browsers, receiver, done = std::move(done)](const AccessibleDesktop& desktop) {
                std::optional<TypedField> typed;
                const auto* atspi = dynamic_cast<const AtspiDesktop*>(&desktop);
                const ElementRef element = atspi && desktop.isTrusted() && ref.size() == 2
                                               ? atspi->element({ref.at(0), ref.at(1)})
                                               : nullptr;
                if (element && !browsers.isEmpty()) {
                    const AtspiRef object{ref.at(0), ref.at(1)};
                    const std::optional<uint> process = atspi->processOf(object);
                    if (process && BrowserClickSource::isBrowserProcess(*process, browsers) &&
                        atspi->inWebPage(object)) {
                        typed = TypedField{};
                        typed->reportedByPage = true;
                        deliver(receiver, done, typed);
                        return;
                    }
                }
                if (element) {
                    const std::optional<QRectF> frame = ClickDescriber::frameOf(*element);
                    typed = TypedField::read(
                        *element, desktop.frontmostApplicationName(frame ? frame->center() : nowhere));
                }
                deliver(receiver, done, typed);
            },
            ScreenLayout::current(), Clock::now() + std::chrono::milliseconds(budgetMs), window);
    };
    services.findFocus = [budgetMs](QObject* context, std::function<void(const QVariant&)> done) {
        QPointer<QObject> receiver(context);
        AtspiService::instance().run(
            [receiver, done = std::move(done)](const AccessibleDesktop& desktop) {
                const auto* atspi = dynamic_cast<const AtspiDesktop*>(&desktop);
                const std::optional<AtspiRef> focused = atspi ? atspi->focused() : std::nullopt;
                deliver(receiver, done,
                        focused ? QVariant(QStringList{focused->service, focused->path}) : QVariant());
            },
            ScreenLayout::current(), Clock::now() + std::chrono::milliseconds(budgetMs));
    };
    services.activeApplication = [budgetMs](const std::optional<ClickedWindow>& window, QObject* context,
                                            std::function<void(const std::optional<QString>&)> done) {
        QPointer<QObject> receiver(context);
        AtspiService::instance().run(
            [receiver, done = std::move(done)](const AccessibleDesktop& desktop) {
                deliver(receiver, done, desktop.frontmostApplicationName(nowhere));
            },
            ScreenLayout::current(), Clock::now() + std::chrono::milliseconds(budgetMs), window);
    };
    // The global keys this application binds for itself.
    services.ownKeys = {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_S),
                        QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_R)};
    services.enableAccessibility = [] {
        enableWebAccessibility();
        // Read the installed applications' names now rather than on the first click.
        AtspiService::instance().prepareApplications();
    };
    return services;
}

ClickTarget Recorder::describeElement(QPointF location) {
    const ScreenLayout layout = ScreenLayout::current();
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(describeBudgetMs);
    auto result = std::make_shared<std::promise<ClickTarget>>();
    std::future<ClickTarget> future = result->get_future();
    AtspiService::instance().run(
        [location, layout, result](const AccessibleDesktop& desktop) {
            result->set_value(ClickDescriber::describe(desktop, location, primaryScreen(layout)));
        },
        layout, deadline);
    // The service gives up on its own at the deadline; the margin covers a request still queued
    // behind an earlier one.
    if (future.wait_until(deadline + std::chrono::milliseconds(100)) != std::future_status::ready)
        return {ClickDescriber::fallbackTitle(std::nullopt), std::nullopt};
    return future.get();
}

void Recorder::enableWebAccessibility() {
    AtspiService::enableAccessibility();
}

} // namespace trovix
