// Click recording under load, on a real X server with gtk3-widget-factory: the time from a click to
// its step in the guide, and the highest click rate the recorder keeps up with for 10 seconds
// without losing a click or its order. Run it through run.sh.
//
// With --ocr every click is treated as one in an application without accessibility: its
// description is replaced by the plain title without a frame, so that each title has to be read off
// the screenshot (the accessibility lookup still runs, so the figures are an upper bound). The
// report then also says how many titles named the clicked control correctly.
//
// With --redact every step is searched for secrets (the screenshot read with Tesseract where it
// differs from the ones before, every kind switched on) before it joins the guide, as in the
// application: click to step then includes that search.
//
// With --first-clicks N it measures instead the first click of N recordings, each started afresh,
// with --entries M desktop entries of translated applications installed first: how long the
// description took and how many titles were whole ("Click “checkbutton” in Widget Factory").
#include "WidgetFactory.h"
#include "capture/Capture.h"
#include "document/Guide.h"
#include "platform/ocr/TesseractRecognizer.h"
#include "recorder/Recorder.h"
#include "recorder/ScreenText.h"
#include "redact/ReadingMemory.h"
#include "redact/StepScreening.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <thread>

using namespace trovix;
using Clock = std::chrono::steady_clock;

namespace {

// Clicks through XTEST on a connection of its own, as a mouse would.
class Clicker {
public:
    Clicker() {
        m_connection = xcb_connect(nullptr, nullptr);
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }
    ~Clicker() { xcb_disconnect(m_connection); }

    // Presses and releases the left button at point; answers the moment the server has the press.
    Clock::time_point click(QPoint point) {
        xcb_test_fake_input(m_connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, m_root,
                            std::int16_t(point.x()), std::int16_t(point.y()), 0);
        xcb_test_fake_input(m_connection, XCB_BUTTON_PRESS, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
        const Clock::time_point pressed = Clock::now();
        xcb_test_fake_input(m_connection, XCB_BUTTON_RELEASE, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_flush(m_connection);
        return pressed;
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_root;
};

double percentile(std::vector<double> values, double p) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t rank = std::size_t(std::ceil(p / 100.0 * double(values.size())));
    return values[std::clamp<std::size_t>(rank, 1, values.size()) - 1];
}

double ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

struct Target {
    QPoint point;
    QPointF frameOrigin;
    QString label;
};

const QString application = QStringLiteral(" in Widget Factory");

// Records when each step reaches the guide.
class Arrivals {
public:
    explicit Arrivals(Guide& guide)
        : m_guide(guide) {
        QObject::connect(&guide, &Guide::stepsWillChange, &guide, [this](const QList<Step>& steps) {
            if (steps.size() > m_count) {
                m_times.push_back(Clock::now());
                m_count = steps.size();
                if (m_shown.size() < m_times.size()) // no intake: shown as it joins
                    m_shown.push_back(m_times.back());
            }
        });
        // With an intake, a step shows in the window (pending) before it joins the guide.
        QObject::connect(&guide, &Guide::pendingWillChange, &guide, [this](const QList<Step>& pending) {
            if (pending.size() > m_pending)
                m_shown.push_back(Clock::now());
            m_pending = pending.size();
        });
    }
    void reset() {
        m_guide.replaceContents(Guide::untitled, {}, {});
        m_times.clear();
        m_shown.clear();
        m_count = 0;
        m_pending = 0;
    }
    std::size_t size() const { return m_times.size(); }
    Clock::time_point at(std::size_t i) const { return m_times.at(i); }
    Clock::time_point shownAt(std::size_t i) const { return m_shown.at(i); }

    bool waitFor(std::size_t count, int timeoutMs) {
        QElapsedTimer timer;
        timer.start();
        while (m_times.size() < count && timer.elapsed() < timeoutMs)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
        return m_times.size() >= count;
    }

private:
    Guide& m_guide;
    std::vector<Clock::time_point> m_times;
    std::vector<Clock::time_point> m_shown;
    qsizetype m_count = 0;
    qsizetype m_pending = 0;
};

void idle(int ms) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

} // namespace

// Installs count desktop entries of the size a translated application has in the user's folder.
void installEntries(int count) {
    const QString folder = qEnvironmentVariable("XDG_DATA_HOME") + "/applications";
    QDir().mkpath(folder);
    for (int n = 0; n < count; ++n) {
        QByteArray entry = "[Desktop Entry]\nType=Application\nName=Application " + QByteArray::number(n) +
                           "\nExec=application-" + QByteArray::number(n) + " %U\n";
        for (int language = 0; language < 60; ++language) {
            const QByteArray code = QByteArray(1, char('a' + language % 26)) + char('a' + language / 26);
            for (const char* key : {"Name", "GenericName", "Comment", "Keywords"})
                entry += QByteArray(key) + "[" + code + "]=" + key + " of application " +
                         QByteArray::number(n) + " in language " + code + ";\n";
        }
        QFile out(QStringLiteral("%1/org.example.App%2.desktop").arg(folder).arg(n));
        if (out.open(QIODevice::WriteOnly))
            out.write(entry);
    }
}

// The first click of `recordings` recordings, each with a fresh recorder and the everyday budget.
int firstClicks(int recordings, const std::vector<Target>& targets) {
    std::vector<double> describeTimes;
    int whole = 0;
    for (int i = 0; i < recordings; ++i) {
        const Target& target = targets[std::size_t(i) % targets.size()];
        Clock::time_point asked, described;
        Recorder::Services services = Recorder::systemServices();
        services.describe = [&, describe = services.describe](const RecordedClick& at, QObject* context,
                                                              std::function<void(const ClickTarget&)> done) {
            asked = Clock::now();
            describe(at, context, [&, done](const ClickTarget& result) {
                described = Clock::now();
                done(result);
            });
        };
        Guide guide;
        Recorder recorder(guide, services);
        recorder.start();
        Clicker clicker;
        clicker.click(target.point);
        QElapsedTimer timer;
        timer.start();
        while (guide.steps().isEmpty() && timer.elapsed() < 5000)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
        recorder.stop();
        if (guide.steps().isEmpty())
            continue;
        // A description still out when the step went in with the plain title took at least as long.
        describeTimes.push_back(ms((described > asked ? described : Clock::now()) - asked));
        whole += guide.steps().first().title ==
                 QStringLiteral("Click \u201C%1\u201D").arg(target.label) + application;
        idle(200);
    }
    std::printf("first click of %d recordings: describe median %.1f ms, p95 %.1f ms, max %.1f ms; "
                "whole titles %d of %d (%.1f %%)\n",
                recordings, percentile(describeTimes, 50), percentile(describeTimes, 95),
                describeTimes.empty() ? 0.0 : *std::max_element(describeTimes.begin(), describeTimes.end()),
                whole, recordings, 100.0 * whole / std::max(1, recordings));
    return 0;
}

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    QStringList arguments = qapp.arguments().mid(1);
    const bool ocr = arguments.removeAll(QStringLiteral("--ocr")) > 0;
    const bool redact = arguments.removeAll(QStringLiteral("--redact")) > 0;
    int firstClickRecordings = 0;
    if (const qsizetype at = arguments.indexOf(QStringLiteral("--first-clicks"));
        at >= 0 && at + 1 < arguments.size()) {
        firstClickRecordings = arguments.at(at + 1).toInt();
        arguments.remove(at, 2);
    }
    if (const qsizetype at = arguments.indexOf(QStringLiteral("--entries"));
        at >= 0 && at + 1 < arguments.size()) {
        installEntries(arguments.at(at + 1).toInt());
        arguments.remove(at, 2);
    }
    WidgetFactory factory;
    if (!factory.start()) {
        std::fprintf(stderr, "%s\n", qPrintable(factory.error()));
        return 1;
    }
    factory.activate();

    // Twelve distinct controls, so that no two clicks in a row land on the same one.
    std::vector<Target> targets;
    const std::pair<QString, QString> kinds[] = {
        {QStringLiteral("check box"), QStringLiteral("checkbutton")},
        {QStringLiteral("radio button"), QStringLiteral("radiobutton")}};
    for (int i = 0; i < 6; ++i) {
        for (const auto& [role, name] : kinds) {
            const auto control = factory.find(role, name, i);
            if (!control) {
                std::fprintf(stderr, "gtk3-widget-factory shows no %s %d\n", qPrintable(role), i);
                return 1;
            }
            targets.push_back({control->extents.center(), QPointF(control->extents.topLeft()), name});
        }
    }
    if (firstClickRecordings > 0)
        return firstClicks(firstClickRecordings, targets);

    // The system's services, with the moments each phase of the last click ends noted down.
    Clock::time_point seen, described, grabbed;
    Recorder::Services services = Recorder::systemServices();
    services.capture = [&, capture = services.capture](QScreen* screen) {
        seen = Clock::now();
        return capture(screen).then([&](const QImage& image) {
            grabbed = Clock::now();
            return image;
        });
    };
    services.describe = [&, describe = services.describe](const RecordedClick& at, QObject* context,
                                                          std::function<void(const ClickTarget&)> done) {
        describe(at, context, [&, done](const ClickTarget& target) {
            described = Clock::now();
            done(ocr ? ClickTarget{QStringLiteral("Click") + application, std::nullopt, application}
                     : target);
        });
    };
    if (ocr && !services.readLabel) {
        std::fprintf(stderr, "--ocr: Tesseract or its English data is not installed\n");
        return 1;
    }
    Guide guide;
    if (redact) {
        std::shared_ptr<TesseractRecognizer> reader(
            TesseractRecognizer::create(QLocale(QLocale::English), TesseractRecognizer::Layout::page));
        if (!reader || !reader->load()) {
            std::fprintf(stderr, "--redact: Tesseract or its English data is not installed\n");
            return 1;
        }
        // As the application reads: only what changed since the screens before.
        guide.setIntake(StepScreening::intake(ReadingMemory::remembering([reader](const QImage& prepared) {
                                                  QList<ReadWord> words;
                                                  for (const ScreenWord& w : reader->words(
                                                           prepared, Clock::now() + std::chrono::seconds(60)))
                                                      words.append({w.text, w.box});
                                                  return words;
                                              }),
                                              [] { return RedactionOptions{}; }));
    }
    const int waitMs = redact ? 60000 : 3000;
    Recorder recorder(guide, services);
    Arrivals arrivals(guide);
    recorder.start();
    Clicker clicker;
    idle(500);

    // The two halves of a click's work, each alone: describing the control and grabbing the screen.
    {
        std::vector<double> describe, grab;
        for (int i = 0; i < 30; ++i) {
            Clock::time_point begin = Clock::now();
            Recorder::describeElement(QPointF(targets[std::size_t(i) % targets.size()].point));
            describe.push_back(ms(Clock::now() - begin));
            begin = Clock::now();
            QFuture<QImage> image = Capture::display(QGuiApplication::primaryScreen());
            while (!image.isFinished())
                QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
            grab.push_back(ms(Clock::now() - begin));
        }
        std::printf(
            "describe alone: median %.1f ms, p95 %.1f ms; screen grab alone: median %.1f ms, p95 %.1f ms\n",
            percentile(describe, 50), percentile(describe, 95), percentile(grab, 50), percentile(grab, 95));
    }
    if (ocr) {
        // Reading one label off a 1920×1080 screenshot, on this thread, with the engine loaded.
        const auto recognizer = TesseractRecognizer::create();
        QFuture<QImage> grab = Capture::display(QGuiApplication::primaryScreen());
        while (!grab.isFinished())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        const QImage screenshot = grab.result();
        recognizer->load();
        std::vector<double> read;
        int right = 0;
        for (int i = 0; i < 60; ++i) {
            const Target& target = targets[std::size_t(i) % targets.size()];
            const Clock::time_point begin = Clock::now();
            const auto label = ScreenText::read(*recognizer, screenshot, QPointF(target.point), std::nullopt,
                                                1.0, begin + std::chrono::seconds(5));
            read.push_back(ms(Clock::now() - begin));
            right += label == target.label;
        }
        std::printf("label read alone (%s): median %.1f ms, p95 %.1f ms; right %d of %d\n",
                    qPrintable(recognizer->language()), percentile(read, 50), percentile(read, 95), right,
                    60);
    }

    // Latency: one click at a time.
    const int latencyClicks = arguments.isEmpty() ? 100 : arguments.first().toInt();
    std::vector<double> latencies, toShown, toMonitor, toDescribed, toGrabbed;
    int lost = 0;
    for (int i = 0; i < latencyClicks; ++i) {
        const Clock::time_point clicked = clicker.click(targets[std::size_t(i) % targets.size()].point);
        if (!arrivals.waitFor(std::size_t(i + 1 - lost), waitMs)) {
            ++lost;
            continue;
        }
        latencies.push_back(ms(arrivals.at(std::size_t(i - lost)) - clicked));
        toShown.push_back(ms(arrivals.shownAt(std::size_t(i - lost)) - clicked));
        toMonitor.push_back(ms(seen - clicked));
        toDescribed.push_back(ms(described - clicked));
        toGrabbed.push_back(ms(grabbed - clicked));
        idle(150);
    }
    std::printf("click to step in the guide (and so in every write), %d clicks one at a time: median %.1f "
                "ms, p95 %.1f ms, max %.1f ms, lost %d\n",
                latencyClicks, percentile(latencies, 50), percentile(latencies, 95),
                *std::max_element(latencies.begin(), latencies.end()), lost);
    std::printf(
        "  medians from the click: seen by the monitor %.1f ms, described %.1f ms, screen grabbed %.1f ms\n",
        percentile(toMonitor, 50), percentile(toDescribed, 50), percentile(toGrabbed, 50));
    std::printf(
        "click to step shown in the window (pending while it is checked for secrets): median %.1f ms, "
        "p95 %.1f ms\n",
        percentile(toShown, 50), percentile(toShown, 95));
    if (redact) {
        std::printf("(sustained rates are measured without --redact)\n");
        return 0;
    }

    // Sustained rates: 10 s of clicks at a fixed period from another thread.
    const int seconds = 10;
    // Titles that name the clicked control, out of the steps that arrived.
    const auto named = [&](const QList<Step>& steps) {
        int right = 0;
        for (qsizetype i = 0; i < steps.size(); ++i)
            right +=
                steps[i].title ==
                QStringLiteral("Click \u201C%1\u201D").arg(targets[std::size_t(i) % targets.size()].label) +
                    application;
        return right;
    };
    std::printf("  titles naming the control: %d of %lld\n", named(guide.steps()),
                static_cast<long long>(guide.steps().size()));
    std::printf("%6s %7s %6s %8s %6s %6s %14s %10s\n", "rate/s", "clicks", "steps", "ordered", "plain",
                "named", "p95 latency", "last lag");
    int best = 0;
    for (int rate : {4, 6, 8, 10, 12, 15, 20}) {
        arrivals.reset();
        idle(1000); // let the previous run's pictures finish encoding
        const int clicks = rate * seconds;
        std::vector<Clock::time_point> clickTimes(static_cast<std::size_t>(clicks));
        std::atomic<bool> done = false;
        std::thread driver([&] {
            Clicker own;
            const auto period = std::chrono::microseconds(1000000 / rate);
            const Clock::time_point begin = Clock::now();
            for (int i = 0; i < clicks; ++i) {
                std::this_thread::sleep_until(begin + i * period);
                clickTimes[std::size_t(i)] = own.click(targets[std::size_t(i) % targets.size()].point);
            }
            done = true;
        });
        while (!done)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
        driver.join();
        arrivals.waitFor(std::size_t(clicks), 5000);

        // In order: each step marks the control its click hit, with a frame around it or, when the
        // description ran out of time, a ring at the click point.
        const QList<Step>& steps = guide.steps();
        bool ordered = steps.size() == clicks;
        int plain = 0;
        for (int i = 0; ordered && i < clicks; ++i) {
            const Target& expected = targets[std::size_t(i) % targets.size()];
            const Step& step = steps.at(i);
            if (step.annotations.size() != 1) {
                ordered = false;
                break;
            }
            const Annotation& mark = step.annotations.first();
            if (!step.title.contains(QChar(0x201C)))
                ++plain;
            ordered = (mark.kind == Kind::target && mark.p1 == expected.frameOrigin) ||
                      (mark.kind == Kind::ring && mark.p1 == QPointF(expected.point));
        }
        std::vector<double> lags;
        for (std::size_t i = 0; i < arrivals.size() && i < clickTimes.size(); ++i)
            lags.push_back(ms(arrivals.at(i) - clickTimes[i]));
        const double lastLag = lags.size() == std::size_t(clicks) ? lags.back() : -1;
        // Kept up: every click, in order, and the last step no later than a second after its click.
        const bool keptUp = ordered && lastLag >= 0 && lastLag <= 1000;
        // "plain": steps without a label in their title (the description or the reading ran out of
        // time, or nothing was read); "named": titles naming the clicked control.
        std::printf("%6d %7d %6lld %8s %6d %6d %11.1f ms %7.1f ms%s\n", rate, clicks,
                    static_cast<long long>(steps.size()), ordered ? "yes" : "no", plain, named(steps),
                    percentile(lags, 95), lastLag, keptUp ? "" : "  (falls behind)");
        if (!keptUp)
            break;
        best = rate;
    }
    std::printf("highest rate sustained for %d s with every click in order: %d clicks/s\n", seconds, best);
    recorder.stop();
    return 0;
}
