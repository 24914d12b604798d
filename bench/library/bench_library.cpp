// The library of 1,000 saved guides, each with its 640 × 360 "thumbnail.jpg":
//  - Scan: Library::scan alone, thumbnails kept at card size (as the window asks) or whole;
//  - ReloadToGridShown: LibraryModel::reload() until the window's grid has painted the new listing.
// Counters: the bytes the listing holds (thumbnail pixels + texts) and the process's resident memory
// growth from before the first listing.
//
// The guide folders are made once under $TROVIX_BENCH_DIR (default /tmp/trovix-bench-library) and
// reused; the page cache is therefore warm after the first run.

#include "GuideFolders.h"
#include "document/Guide.h"
#include "library/CardGrid.h"
#include "library/Library.h"
#include "library/LibraryModel.h"
#include "library/LibraryView.h"
#include "library/LibraryWindowController.h"
#include "support/SyntheticScreenshot.h"

#include <QApplication>
#include <QEventLoop>
#include <QFile>
#include <QScrollBar>
#include <QSettings>

#include <benchmark/benchmark.h>
#include <sys/resource.h>

using namespace trovix;

namespace {

constexpr int guideCount = 1000;

QString libraryFolder() {
    static const QString folder = [] {
        const QString root =
            qEnvironmentVariable("TROVIX_BENCH_DIR", QStringLiteral("/tmp/trovix-bench-library"));
        const QString dir = QDir(root).filePath(QStringLiteral("Guides"));
        const QString done = QDir(root).filePath(QStringLiteral("complete-%1").arg(guideCount));
        if (!QFileInfo::exists(done)) {
            QDir(dir).removeRecursively();
            QDir().mkpath(dir);
            const QDateTime start(QDate(2026, 11, 16), QTime(9, 0), Qt::UTC);
            for (int i = 0; i < guideCount; ++i) {
                testing::writeGuideFolder(dir, QStringLiteral("Guide %1.trovix").arg(i),
                                          QStringLiteral("How to do task number %1").arg(i), 1 + i % 40,
                                          start.addSecs(-i * 600),
                                          testing::syntheticScreenshot(640, 360, quint32(i)));
            }
            QFile(done).open(QIODevice::WriteOnly);
        }
        return dir;
    }();
    return folder;
}

qint64 residentBytes() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong() * 1024;
    }
    return 0;
}

qint64 listingBytes(const QList<GuideSummary>& list) {
    qint64 bytes = list.capacity() * qint64(sizeof(GuideSummary));
    for (const GuideSummary& summary : list) {
        bytes += summary.thumbnail.sizeInBytes();
        bytes += (summary.title.capacity() + summary.url.toString().size()) * qint64(sizeof(QChar));
    }
    return bytes;
}

qint64 g_baselineRss = 0;

// CPU time of every thread of the process, in milliseconds: on a busy shared machine the wall time
// says little, while this is the work a reload costs (on an idle machine with n cores the wall time is
// about this divided by n, as the scan keeps every core busy).
double processCpuMs() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

void BM_Scan(benchmark::State& state) {
    const QString folder = libraryFolder();
    const QSize size = state.range(0) ? QSize(CardGrid::maxColumnWidth, CardGrid::thumbnailHeight) : QSize();
    QList<GuideSummary> list;
    const double cpu = processCpuMs();
    for (auto _ : state) {
        list = Library::scan(folder, size);
        benchmark::DoNotOptimize(list);
    }
    state.counters["process_cpu_ms"] = (processCpuMs() - cpu) / double(state.iterations());
    state.counters["guides"] = double(list.size());
    state.counters["listing_MB"] = double(listingBytes(list)) / 1e6;
    state.SetLabel(state.range(0) ? "thumbnails at card size" : "thumbnails whole");
}

void BM_ReloadToGridShown(benchmark::State& state) {
    QSettings().setValue(QStringLiteral("libraryFolder"), libraryFolder());
    Guide guide;
    LibraryWindowController controller(guide, [](const QUrl&) {});
    controller.show();
    QCoreApplication::processEvents();
    CardGrid* grid = controller.view()->grid();
    const qint64 before = residentBytes();
    const double cpu = processCpuMs();
    for (auto _ : state) {
        QEventLoop loop;
        QObject::connect(&controller.model(), &LibraryModel::scanFinished, &loop, &QEventLoop::quit);
        controller.model().reload();
        loop.exec();
        grid->viewport()->repaint(); // the grid as the user first sees it
        if (grid->lastPaintedCount() == 0)
            state.SkipWithError("the grid painted no cards");
    }
    state.counters["process_cpu_ms"] = (processCpuMs() - cpu) / double(state.iterations());
    const QList<GuideSummary>& items = controller.model().items();
    state.counters["guides"] = double(items.size());
    state.counters["cards_painted"] = double(grid->lastPaintedCount());
    state.counters["listing_MB"] = double(listingBytes(items)) / 1e6;
    state.counters["rss_growth_MB"] = double(residentBytes() - before) / 1e6;
    state.counters["rss_MB"] = double(residentBytes()) / 1e6;
    state.counters["rss_before_any_listing_MB"] = double(g_baselineRss) / 1e6;
}

// One frame of scrolling through the listed library: the rows in view are painted, thumbnails scaled
// into their boxes.
void BM_ScrollFrame(benchmark::State& state) {
    QSettings().setValue(QStringLiteral("libraryFolder"), libraryFolder());
    Guide guide;
    LibraryWindowController controller(guide, [](const QUrl&) {});
    controller.show();
    QEventLoop loop;
    QObject::connect(&controller.model(), &LibraryModel::scanFinished, &loop, &QEventLoop::quit);
    controller.model().reload();
    loop.exec();
    CardGrid* grid = controller.view()->grid();
    QScrollBar* bar = grid->verticalScrollBar();
    int position = 0;
    for (auto _ : state) {
        position = (position + 97) % std::max(1, bar->maximum());
        bar->setValue(position);
        grid->viewport()->repaint();
    }
    state.counters["cards_painted"] = double(grid->lastPaintedCount());
}

} // namespace

BENCHMARK(BM_ScrollFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReloadToGridShown)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_Scan)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TrovixBench"));
    QCoreApplication::setApplicationName(QStringLiteral("TrovixBench"));
    libraryFolder();
    g_baselineRss = residentBytes();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
