// Screen capture timings on a real X server. Run inside an X session of the size to measure, e.g.
//   TROVIX_SCREEN=3840x2160x24 tests/support/with-x11.sh build/release/bench/capture/bench_capture
#include "capture/Capture.h"
#include "capture/OverlayWindow.h"
#include "capture/RegionSelector.h"

#include <QApplication>
#include <QFutureWatcher>
#include <QScreen>
#include <QTest>
#include <QWidget>

#include <benchmark/benchmark.h>

using namespace trovix;

namespace {

QImage waitFor(QFuture<QImage> future) {
    while (!future.isFinished())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    return future.result();
}

// The grab alone: one shared-memory segment made, filled by the server and handed to an image.
void BM_GrabScreen(benchmark::State& state) {
    const QRect rect = Capture::nativeRect(QGuiApplication::primaryScreen());
    for (auto _ : state) {
        QImage image = Capture::grabNow(rect);
        benchmark::DoNotOptimize(image.constBits());
    }
    state.SetLabel(QStringLiteral("%1x%2").arg(rect.width()).arg(rect.height()).toStdString());
}
BENCHMARK(BM_GrabScreen)->Unit(benchmark::kMillisecond);

// Capture::display as the commands use it, with no window of ours on screen: the grab on a worker
// thread and the result back on the main thread.
void BM_Display(benchmark::State& state) {
    QScreen* screen = QGuiApplication::primaryScreen();
    for (auto _ : state)
        benchmark::DoNotOptimize(waitFor(Capture::display(screen)).constBits());
}
BENCHMARK(BM_Display)->Unit(benchmark::kMillisecond);

// Capture::display with one of our windows on screen: it is minimized, the screen settles, the grab
// runs, and the window comes back (timed until it is on screen again).
void BM_DisplayWithOwnWindow(benchmark::State& state) {
    QWidget window;
    window.setGeometry(200, 200, 800, 600);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window)) {
        state.SkipWithError("window not shown");
        return;
    }
    QScreen* screen = QGuiApplication::primaryScreen();
    for (auto _ : state) {
        benchmark::DoNotOptimize(waitFor(Capture::display(screen)).constBits());
        state.PauseTiming();
        QTRY_VERIFY_WITH_TIMEOUT(window.windowHandle()->isExposed(), 5000);
        QTest::qWait(100);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_DisplayWithOwnWindow)->Unit(benchmark::kMillisecond)->Iterations(10);

// From begin() to the overlay mapped and painted on the screen.
void BM_ShowOverlay(benchmark::State& state) {
    QScreen* screen = QGuiApplication::primaryScreen();
    const QImage image = Capture::grabNow(Capture::nativeRect(screen));
    RegionSelector selector;
    for (auto _ : state) {
        selector.begin({{screen, image}}, [](std::optional<Shot>) {});
        OverlayWindow* overlay = selector.windows().first();
        while (!overlay->windowHandle()->isExposed())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        QCoreApplication::processEvents(); // the first paint and its flush
        state.PauseTiming();
        selector.cancel();
        QTest::qWait(50);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_ShowOverlay)->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        std::fprintf(stderr,
                     "bench_capture needs an X11 display (run it through tests/support/with-x11.sh)\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
