// The main window with a 200-step guide of 2560×1600 screenshots: how long it takes to show, how
// long until the visible rows have their thumbnails, and what one sidebar repaint costs while
// scrolling (the budget is one frame, 16 ms).
//
//   QT_QPA_PLATFORM=offscreen bench_main_window
//
// The screenshots are held as PNG bytes, as a loaded or saved guide holds them; their pixels are
// decoded only for the thumbnails and the detail picture.

#include "app/MainView.h"
#include "app/MainWindowController.h"
#include "app/StepListView.h"
#include "app/ThumbnailCache.h"
#include "document/Guide.h"
#include "support/SyntheticScreenshot.h"

#include <QApplication>
#include <QBuffer>
#include <QElapsedTimer>
#include <QScrollBar>

#include <benchmark/benchmark.h>

using namespace trovix;

namespace {

constexpr int stepCount = 200;

QList<Step> makeSteps() {
    // A handful of distinct screenshots, each step its own image (its own thumbnail to make).
    QList<QByteArray> pngs;
    for (quint32 seed = 1; seed <= 8; ++seed) {
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        testing::syntheticScreenshot(2560, 1600, seed).save(&buffer, "PNG");
        pngs.append(png);
    }
    QList<Step> steps;
    for (int i = 0; i < stepCount; ++i)
        steps.append(Step::make(
            Image::fromPng(pngs[i % pngs.size()], QSize(2560, 1600)), 2,
            QStringLiteral("Click “Button %1” in Settings, then choose the option below it").arg(i)));
    return steps;
}

const QList<Step>& steps() {
    static const QList<Step> list = makeSteps();
    return list;
}

void settle() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

void BM_ShowMainWindow(benchmark::State& state) {
    double thumbnailsMs = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Guide guide;
        // Fresh images each round, so no thumbnail is cached from the last one.
        QList<Step> fresh;
        for (const Step& step : steps())
            fresh.append(
                Step::make(Image::fromPng(step.base.png(), step.base.size()), step.scale, step.title));
        guide.replaceContents(QStringLiteral("Benchmark"), fresh, {});
        state.ResumeTiming();

        QElapsedTimer clock;
        clock.start();
        MainWindow window(guide, {});
        window.show();
        settle();
        window.repaint();
        benchmark::DoNotOptimize(window.isVisible());

        state.PauseTiming();
        window.view()->thumbnails()->waitForDone();
        settle();
        thumbnailsMs += clock.nsecsElapsed() / 1e6;
        state.ResumeTiming();
    }
    state.counters["thumbnails_ready_ms"] = benchmark::Counter(thumbnailsMs / double(state.iterations()));
}
BENCHMARK(BM_ShowMainWindow)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_SidebarRepaintWhileScrolling(benchmark::State& state) {
    Guide guide;
    guide.replaceContents(QStringLiteral("Benchmark"), steps(), {});
    MainWindow window(guide, {});
    window.show();
    settle();
    StepListView* list = window.view()->stepList();
    QScrollBar* bar = list->verticalScrollBar();

    // Warm the thumbnails of every row, as after the user has scrolled through once.
    for (int value = 0; value <= bar->maximum(); value += list->viewport()->height() / 2) {
        bar->setValue(value);
        list->viewport()->repaint();
        window.view()->thumbnails()->waitForDone();
    }
    window.view()->thumbnails()->waitForDone();
    settle();

    const int step = list->sizeHintForRow(0) / 3; // a smooth scroll moves a few pixels at a time
    int value = 0;
    for (auto _ : state) {
        value = value + step > bar->maximum() ? 0 : value + step;
        bar->setValue(value);
        list->viewport()->repaint();
    }
    state.counters["visible_rows"] = list->viewport()->height() / double(list->sizeHintForRow(0));
}
BENCHMARK(BM_SidebarRepaintWhileScrolling)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Trovix"));
    QApplication::setApplicationName(QStringLiteral("Trovix-bench"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
