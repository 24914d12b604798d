// Export of a long guide of 4K screenshots: wall time, output size and peak memory for every format
// at every quality, and how close the PDF comes to the sum of its prepared JPEGs.
//
//   bench_export [--benchmark_filter=Pdf]      (TROVIX_BENCH_STEPS overrides the 100 steps;
//                                              TROVIX_BENCH_ANNOTATED=1 marks every step;
//                                              TROVIX_BENCH_GUIDE=folder exports that saved guide
//                                              instead, e.g. the one realistic.sh makes)

#include "document/GuideStore.h"
#include "export/Exporter.h"
#include "render/ImageCodec.h"
#include "render/PngFastDecoder.h"

#include "support/SyntheticScreenshot.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QThread>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include <benchmark/benchmark.h>

#include <cstdio>

using namespace trovix;

namespace {

constexpr int distinctPictures = 10;

const QList<Step>& savedGuide();
bool useSavedGuide();

int stepCount() {
    if (useSavedGuide())
        return int(savedGuide().size());
    const int steps = qEnvironmentVariableIntValue("TROVIX_BENCH_STEPS");
    return steps > 0 ? steps : 100;
}

// Ten different screenshots, PNG-encoded once, as a guide folder holds them.
const QList<QByteArray>& pngs() {
    static const QList<QByteArray> list = [] {
        QList<QByteArray> out;
        for (int i = 0; i < distinctPictures; ++i)
            out << ImageCodec::encodePng(testing::syntheticScreenshot(3840, 2160, quint32(i)));
        return out;
    }();
    return list;
}

// A saved guide named by TROVIX_BENCH_GUIDE, read once.
const QList<Step>& savedGuide() {
    static const QList<Step> steps = GuideStore::read(qEnvironmentVariable("TROVIX_BENCH_GUIDE")).steps;
    return steps;
}

bool useSavedGuide() {
    return !qEnvironmentVariableIsEmpty("TROVIX_BENCH_GUIDE");
}

// The stored PNG of step i.
QByteArray stepPng(int i) {
    return useSavedGuide() ? savedGuide()[i].base.png() : pngs()[i % distinctPictures];
}

// A guide as read from disk: every step's picture known only by its PNG bytes, decoded when needed.
QList<Step> guideSteps() {
    if (useSavedGuide())
        return savedGuide();
    QList<Step> steps;
    // TROVIX_BENCH_ANNOTATED=1 gives every step a box and an arrow, as a hand-finished guide has.
    const bool annotated = qEnvironmentVariableIntValue("TROVIX_BENCH_ANNOTATED") > 0;
    for (int i = 0; i < stepCount(); ++i) {
        steps << Step::make(Image::fromPng(pngs()[i % distinctPictures], QSize(3840, 2160)), 2,
                            QStringLiteral("Click “Button %1” in Settings").arg(i + 1), {},
                            i % 3 ? QString() : QStringLiteral("Then wait for the window to open."));
        if (annotated)
            steps.last().setAnnotations(
                {{Kind::rect, {200, 150}, {600, 400}, {}, 0}, {Kind::arrow, {900, 800}, {620, 420}, {}, 0}});
    }
    return steps;
}

qint64 preparedBytes(ExportQuality quality) {
    qint64 sum = 0;
    for (const Step& step : guideSteps()) {
        sum += Exporter::prepare(step.rendered, quality)->data.size();
        // Decoded pictures are not kept: a hundred of them would not fit.
        step.rendered.dropPixels();
        step.base.dropPixels();
    }
    return sum;
}

// Resets the peak resident size so each run reports its own.
void resetPeak() {
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
}

double peakMegabytes() {
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : file.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
    return 0;
}

void exportGuide(benchmark::State& state, ExportFormat format, ExportQuality quality) {
    const QList<Step> steps = guideSteps();
    for (const Step& step : steps)
        step.rendered.dropPixels();
    qint64 bytes = 0;
    double peak = 0;
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir dir;
        const QString target = dir.filePath(format == ExportFormat::markdown ? QStringLiteral("Guide")
                                                                             : "Guide." + formatName(format));
        resetPeak();
        state.ResumeTiming();
        bytes = Exporter::write(format, QStringLiteral("Benchmark guide"), steps, quality, target).bytes;
        state.PauseTiming();
        peak = peakMegabytes();
        state.ResumeTiming();
    }
    state.counters["output_MB"] = double(bytes) / 1e6;
    state.counters["peak_RSS_MB"] = peak;
    if (format == ExportFormat::pdf && quality != ExportQuality::full) {
        const qint64 jpegs = preparedBytes(quality);
        state.counters["jpegs_MB"] = double(jpegs) / 1e6;
        state.counters["pdf_over_jpegs_KB"] = double(bytes - jpegs) / 1e3;
        state.counters["pdf_over_jpegs_pct"] = 100.0 * double(bytes - jpegs) / double(jpegs);
    }
}

// The floor under every export: only decoding the guide's PNGs, on as many threads as the export
// prepares pictures with. Balanced and small exports are judged against it.
//  - pixels: Trovix's decoder, making every step's full-size pixels;
//  - rows: the same decoder handing out unfiltered rows that nothing keeps, as a shrinking export
//    reads a stored screenshot;
//  - libpng+zlib: Qt's own PNG reader, for comparison.
enum class Floor { pixels, rows, zlib };

int decodeOnly(int i, Floor floor) {
    switch (floor) {
    case Floor::pixels:
        return ImageCodec::decode(stepPng(i)).width();
    case Floor::rows: {
        int rows = 0;
        PngFastDecoder::readRows(
            stepPng(i), ImageCodec::maxSide, ImageCodec::maxPixels,
            [](const PngFastDecoder::Header&) { return true; }, [&rows](const uchar*) { ++rows; });
        return rows;
    }
    case Floor::zlib:
        return QImage::fromData(stepPng(i), "PNG").width();
    }
    return 0;
}

void decodeFloor(benchmark::State& state, Floor floor) {
    QThreadPool pool;
    pool.setMaxThreadCount(std::max(1, QThread::idealThreadCount()));
    for (auto _ : state) {
        QList<QFuture<int>> jobs;
        for (int i = 0; i < stepCount(); ++i)
            jobs << QtConcurrent::run(&pool, [i, floor] { return decodeOnly(i, floor); });
        for (QFuture<int>& job : jobs)
            benchmark::DoNotOptimize(job.result());
    }
}

void registerAll() {
    const std::pair<Floor, const char*> floors[] = {{Floor::pixels, "Export/DecodeFloor/pixels"},
                                                    {Floor::rows, "Export/DecodeFloor/rows"},
                                                    {Floor::zlib, "Export/DecodeFloor/libpng+zlib"}};
    for (const auto& [floor, name] : floors)
        benchmark::RegisterBenchmark(name, [floor](benchmark::State& state) { decodeFloor(state, floor); })
            ->Iterations(1)
            ->Unit(benchmark::kSecond)
            ->UseRealTime();
    const std::pair<ExportFormat, const char*> formats[] = {{ExportFormat::markdown, "Markdown"},
                                                            {ExportFormat::html, "Html"},
                                                            {ExportFormat::pdf, "Pdf"},
                                                            {ExportFormat::docx, "Docx"},
                                                            {ExportFormat::odt, "Odt"}};
    for (const auto& [format, formatName] : formats)
        for (ExportQuality quality : allExportQualities) {
            const std::string name =
                std::string("Export/") + formatName + "/" + storedValue(quality).toStdString();
            benchmark::RegisterBenchmark(
                name.c_str(),
                [format, quality](benchmark::State& state) { exportGuide(state, format, quality); })
                ->Iterations(1)
                ->Unit(benchmark::kSecond)
                ->UseRealTime();
        }
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    // Reading a saved guide is not part of any figure.
    if (useSavedGuide() && savedGuide().isEmpty()) {
        std::fprintf(stderr, "bench_export: no steps in %s\n",
                     qPrintable(qEnvironmentVariable("TROVIX_BENCH_GUIDE")));
        return 1;
    }
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
