// Click pictures under GNOME Shell on Wayland, from mutter's screen cast against the screenshot portal:
// the recorder with the session's real click monitor and accessibility, clicks injected into
// gtk3-widget-factory at 1920×1080. For each way: press → step appended to the guide (median, p95),
// press → picture in hand, and the highest rate of 2, 4, 8, 10, 16 and 20 clicks a second (3 s each)
// at which every reported click became its step, in click order. gnome-pictures.sh runs it inside
// the headless Shell.
//   bench_gnome_pictures [CLICKS]
#include "WidgetFactory.h"
#include "document/Guide.h"
#include "platform/Platform.h"
#include "recorder/Recorder.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFutureWatcher>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

using namespace trovix;

namespace {

void input(const QByteArray& commands) {
    const int fd = ::open(qgetenv("TROVIX_POINTER").constData(), O_WRONLY);
    if (fd < 0 || ::write(fd, commands.constData(), size_t(commands.size())) != commands.size())
        std::fprintf(stderr, "the session has no pointer\n");
    ::close(fd);
}

QByteArray clickAt(QPoint point) {
    return QStringLiteral("move %1 %2\nwait 30\npress\nrelease\n").arg(point.x()).arg(point.y()).toUtf8();
}

QString percentiles(std::vector<double> times) {
    if (times.empty())
        return QStringLiteral("no samples");
    std::sort(times.begin(), times.end());
    const auto at = [&](double q) {
        return times[std::min(times.size() - 1, size_t(q * double(times.size())))];
    };
    return QStringLiteral("median %1 ms, p95 %2 ms").arg(at(0.5), 0, 'f', 0).arg(at(0.95), 0, 'f', 0);
}

struct Run {
    Guide guide;
    QList<QPoint> reported;
    std::vector<double> pictures; // press → picture in hand, where the click brought one
    QElapsedTimer clock;
    std::unique_ptr<Recorder> recorder;

    bool start() {
        clock.start();
        Recorder::Services services = Recorder::systemServices();
        services.installMonitor = [this](Recorder& target) {
            return Platform::current().clickMonitor().watch(
                [this, &target](const PlatformClick& click) {
                    reported.append(click.nativePosition);
                    RecordedClick recorded{QPointF(click.nativePosition), click.window};
                    if (click.screen) {
                        recorded.pictureComing = click.screen->image;
                        recorded.area = QRectF(click.screen->area);
                        auto* watcher = new QFutureWatcher<QImage>(&guide);
                        const qint64 since = clock.elapsed();
                        QObject::connect(watcher, &QFutureWatcherBase::finished, watcher,
                                         [this, watcher, since] {
                                             pictures.push_back(double(clock.elapsed() - since));
                                             watcher->deleteLater();
                                         });
                        watcher->setFuture(click.screen->image);
                    }
                    target.click(recorded);
                },
                [](const QString& reason) { std::fprintf(stderr, "lost: %s\n", qPrintable(reason)); });
        };
        recorder = std::make_unique<Recorder>(guide, services);
        return recorder->start();
    }
};

// One way of taking pictures: latencies one click at a time, then rising rates.
void measure(const char* name, int clicks) {
    Run run;
    if (!run.start()) {
        std::printf("%s: recording did not start\n", name);
        return;
    }
    QTest::qWait(1500); // the screen cast's first frame
    std::vector<double> steps;
    for (int i = 0; i < clicks; ++i) {
        const qsizetype before = run.guide.steps().size();
        QElapsedTimer timer;
        timer.start();
        input(clickAt(QPoint(1150, 500 + i % 5)));
        if (!QTest::qWaitFor([&] { return run.guide.steps().size() > before; }, 10000))
            std::printf("%s: click %d made no step within 10 s\n", name, i);
        steps.push_back(double(timer.nsecsElapsed()) / 1e6);
        QTest::qWait(300);
    }
    std::printf("%s press → step in the guide: %s; press → picture: %s (%d clicks)\n", name,
                qPrintable(percentiles(steps)), qPrintable(percentiles(run.pictures)), clicks);

    int best = 0;
    for (int rate : {2, 4, 8, 10, 16, 20}) {
        const qsizetype before = run.guide.steps().size();
        const qsizetype reportedBefore = run.reported.size();
        const int n = rate * 3;
        for (int i = 0; i < n; ++i) {
            input(clickAt(QPoint(1050 + 4 * i, 500)));
            QTest::qWait(1000 / rate);
        }
        // How long after the last press its step is in: a source that takes one picture at a time
        // falls behind the clicks.
        QElapsedTimer drain;
        drain.start();
        QTest::qWait(1000);
        (void)QTest::qWaitFor(
            [&] { return run.guide.steps().size() >= before + run.reported.size() - reportedBefore; }, 30000);
        const qint64 behind = drain.elapsed();
        QTest::qWait(500);
        const qsizetype reported = run.reported.size() - reportedBefore;
        bool ordered = run.guide.steps().size() == before + reported;
        for (qsizetype i = 1; ordered && i < reported; ++i)
            ordered = run.reported[reportedBefore + i].x() > run.reported[reportedBefore + i - 1].x();
        for (qsizetype i = 0; ordered && i < reported; ++i) {
            const Annotation& mark = run.guide.steps().at(before + i).annotations.constFirst();
            const QPoint at = run.reported[reportedBefore + i];
            ordered = mark.kind == Kind::target ? QRectF(mark.p1, mark.p2).contains(at) : mark.p1 == at;
        }
        // Kept up: every step in, in order, within a second of the last press.
        const bool keptUp = ordered && behind < 1500;
        std::printf(
            "%s %d clicks/s for 3 s: %d of %d presses reported, %lld steps, %s, the last %lld ms after "
            "the last press\n",
            name, rate, int(reported), n, static_cast<long long>(run.guide.steps().size() - before),
            ordered ? "in click order" : "lost or out of order", static_cast<long long>(behind));
        if (!keptUp)
            break;
        best = rate;
    }
    std::printf(
        "%s sustained: %d clicks/s, every reported click a step in order and caught up within 1.5 s\n", name,
        best);
    run.recorder->stop();
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const int clicks = argc > 1 ? std::max(1, atoi(argv[1])) : 15;
    WidgetFactory factory;
    if (!factory.start()) {
        std::printf("%s\n", qPrintable(factory.error()));
        return 1;
    }
    measure("screen cast", clicks);
    qputenv("TROVIX_GNOME_PICTURES", "portal");
    measure("portal", clicks);
    return 0;
}
