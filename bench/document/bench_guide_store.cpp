// Guide folders and the working copy on 3840 × 2160 screenshot-like steps.
//
//   bench_guide_store                      all benchmarks (builds a 100-step working copy first)
//   bench_guide_store --resident <home>    (internal) loads the working copy under <home>, selects a
//                                          step, decodes it and prints the resident memory
//
// Figures: main-thread time of an autosave right after a new step was appended; load() of a 100-step
// working copy; resident memory with those steps loaded and one selected; Save As of the 100 steps;
// PNG encoding and decoding against Qt's own PNG writer and reader.

#include "document/GuideStore.h"
#include "render/ImageCodec.h"

#include "support/SyntheticScreenshot.h"

#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QImageReader>
#include <QImageWriter>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>

using namespace trovix;

namespace {

constexpr int width = 3840, height = 2160, stepCount = 100;

QString g_home;   // XDG_DATA_HOME of this run: the working copy lives below it
QString g_self;   // this executable, for the resident-memory child
QString g_folder; // where Save As writes

QImage screenshot(quint32 seed) {
    return testing::syntheticScreenshot(width, height, seed);
}

// Writes the 100-step working copy once; later benchmarks read it.
void ensureWorkingCopy() {
    static bool made = false;
    if (made)
        return;
    made = true;
    Guide guide;
    guide.setTitle(QStringLiteral("A hundred screenshots"));
    QList<Step> steps;
    for (int i = 0; i < stepCount; ++i) {
        steps.append(Step::make(Image(screenshot(quint32(1000 + i))), 1, QStringLiteral("Step %1").arg(i + 1),
                                {{Kind::rect, {100, 100}, {900, 500}, {}, 0}}));
        steps.last().base.png();        // encoded now: keeps at most one picture in memory at a time
        steps.last().base.dropPixels(); // the bytes are enough from here on
    }
    guide.setSteps(steps);
    GuideStore::write(guide, GuideStore::workingDir(), true);
}

qint64 residentKb(const char* field) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').first().toLongLong();
    return -1;
}

void BM_PngEncode_Trovix(benchmark::State& state) {
    const QImage shot = screenshot(7);
    qsizetype bytes = 0;
    for (auto _ : state)
        bytes = ImageCodec::encodePng(shot).size();
    state.counters["bytes"] = double(bytes);
}

void BM_PngEncode_QtDefault(benchmark::State& state) {
    const QImage shot = screenshot(7);
    qsizetype bytes = 0;
    for (auto _ : state) {
        QByteArray out;
        QBuffer buffer(&out);
        buffer.open(QIODevice::WriteOnly);
        QImageWriter(&buffer, "png").write(shot);
        bytes = out.size();
    }
    state.counters["bytes"] = double(bytes);
}

void BM_PngDecode_Trovix(benchmark::State& state) {
    const QByteArray png = ImageCodec::encodePng(screenshot(7));
    for (auto _ : state)
        benchmark::DoNotOptimize(ImageCodec::decode(png));
}

void BM_PngDecode_QtReader(benchmark::State& state) {
    const QByteArray png = ImageCodec::encodePng(screenshot(7));
    for (auto _ : state) {
        QBuffer buffer;
        buffer.setData(png);
        buffer.open(QIODevice::ReadOnly);
        benchmark::DoNotOptimize(QImageReader(&buffer, "png").read());
    }
}

void BM_PngCheck(benchmark::State& state) {
    const QByteArray png = ImageCodec::encodePng(screenshot(7));
    for (auto _ : state)
        benchmark::DoNotOptimize(ImageCodec::checkPng(png));
}

// What the autosave timer runs on the main thread, right after a capture was appended (its PNG still
// being encoded in the background). "write_ms" is when the background write had finished.
void BM_AutosaveMainThread_AfterAppend(benchmark::State& state) {
    const QString dir = g_home + "/autosave-bench";
    Guide guide;
    for (int i = 0; i < 10; ++i)
        guide.append(Step::make(Image(screenshot(quint32(500 + i))), 1, QStringLiteral("Earlier %1").arg(i)));
    GuideStore::write(guide, dir, true);
    QList<QImage> shots;
    for (int i = 0; i < 4; ++i)
        shots.append(screenshot(quint32(600 + i)));
    double writeMs = 0;
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        QList<Step> steps = guide.steps().mid(0, 10);
        guide.setSteps(steps);
        const Step fresh = Step::make(Image(shots[round++ % shots.size()]), 1, QStringLiteral("New"));
        guide.append(fresh); // starts nothing: the encode began in Step::make
        QElapsedTimer clock;
        clock.start();
        state.ResumeTiming();

        GuideStore::writeInBackground(guide, dir);

        state.PauseTiming();
        GuideStore::waitForBackgroundWrites();
        writeMs += double(clock.nsecsElapsed()) / 1e6;
        QFile::remove(dir + "/" + fresh.imageName()); // written afresh next round
        state.ResumeTiming();
    }
    state.counters["write_ms"] = writeMs / double(state.iterations());
}

// For comparison: the same autosave done as one blocking write on the main thread.
void BM_AutosaveBlocking_AfterAppend(benchmark::State& state) {
    const QString dir = g_home + "/blocking-bench";
    Guide guide;
    for (int i = 0; i < 10; ++i)
        guide.append(Step::make(Image(screenshot(quint32(500 + i))), 1, QStringLiteral("Earlier %1").arg(i)));
    GuideStore::write(guide, dir, true);
    const QImage shot = screenshot(700);
    for (auto _ : state) {
        state.PauseTiming();
        guide.setSteps(guide.steps().mid(0, 10));
        const Step fresh = Step::make(Image(shot), 1, QStringLiteral("New"));
        guide.append(fresh);
        state.ResumeTiming();
        GuideStore::write(guide, dir, true);
        state.PauseTiming();
        QFile::remove(dir + "/" + fresh.imageName());
        state.ResumeTiming();
    }
}

void BM_Load100(benchmark::State& state) {
    ensureWorkingCopy();
    for (auto _ : state) {
        const std::unique_ptr<Guide> guide = GuideStore::load();
        if (guide->steps().size() != stepCount)
            state.SkipWithError("the working copy did not load");
    }
}

// Until the first step is on screen: load, then the selected step's picture decoded and rendered.
void BM_Load100_FirstStepShown(benchmark::State& state) {
    ensureWorkingCopy();
    for (auto _ : state) {
        const std::unique_ptr<Guide> guide = GuideStore::load();
        benchmark::DoNotOptimize(guide->step(guide->selection())->rendered.pixels());
    }
}

void BM_Resident100Loaded_OneSelected(benchmark::State& state) {
    ensureWorkingCopy();
    for (auto _ : state) {
        QProcess child;
        child.start(g_self, {QStringLiteral("--resident"), g_home});
        child.waitForFinished(120000);
        const QList<QByteArray> figures = child.readAllStandardOutput().trimmed().split(' ');
        if (figures.size() != 3) {
            state.SkipWithError("the measuring process failed");
            return;
        }
        state.counters["rss_MB"] = figures[0].toDouble() / 1024;
        state.counters["peak_MB"] = figures[1].toDouble() / 1024;
        state.counters["baseline_MB"] = figures[2].toDouble() / 1024;
    }
}

void BM_SaveAs100(benchmark::State& state) {
    ensureWorkingCopy();
    const std::unique_ptr<Guide> guide = GuideStore::load();
    int round = 0;
    for (auto _ : state) {
        const QString folder = QStringLiteral("%1/Saved %2.trovix").arg(g_folder).arg(round++);
        GuideStore::write(*guide, folder, false);
        state.PauseTiming();
        QDir(folder).removeRecursively();
        state.ResumeTiming();
    }
}

int measureResident(const QString& home) {
    qputenv("XDG_DATA_HOME", QFile::encodeName(home));
    const qint64 baseline = residentKb("VmRSS:");
    const std::unique_ptr<Guide> guide = GuideStore::load();
    const QUuid chosen = guide->steps()[stepCount / 2].id;
    guide->setSelection(chosen);
    const Step* step = guide->step(chosen);
    const QImage shown = step->rendered.pixels(); // decodes the base and draws its annotations
    if (shown.isNull() || guide->steps().size() != stepCount)
        return 1;
    std::printf("%lld %lld %lld\n", residentKb("VmRSS:"), residentKb("VmHWM:"), baseline);
    return 0;
}

} // namespace

BENCHMARK(BM_PngEncode_Trovix)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_PngEncode_QtDefault)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_PngDecode_Trovix)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_PngDecode_QtReader)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_PngCheck)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AutosaveMainThread_AfterAppend)->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_AutosaveBlocking_AfterAppend)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_Load100)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Load100_FirstStepShown)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Resident100Loaded_OneSelected)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_SaveAs100)->Unit(benchmark::kMillisecond)->Iterations(5);

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (argc == 3 && qstrcmp(argv[1], "--resident") == 0) {
        QGuiApplication app(argc, argv);
        return measureResident(QString::fromLocal8Bit(argv[2]));
    }
    QTemporaryDir home(QDir::tempPath() + "/trovix-bench-XXXXXX");
    g_home = home.path();
    g_folder = home.filePath("Saved");
    // Before the first use of the working folder, which is worked out once.
    qputenv("XDG_DATA_HOME", QFile::encodeName(g_home));
    QGuiApplication app(argc, argv); // the screenshots' text needs fonts
    g_self = QCoreApplication::applicationFilePath();

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    GuideStore::waitForBackgroundWrites();
    return 0;
}
