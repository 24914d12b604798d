// Renderer and image helpers on 4K screenshots: the cost of every recorded click and annotation
// change (render), of an editor repaint (draw, whole and clipped), and of export's picture preparation
// (scaledDown + jpegData).
#include "render/ImageOps.h"
#include "render/Renderer.h"

#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QRandomGenerator>

#include <benchmark/benchmark.h>

using namespace trovix;

namespace {

constexpr int W = 3840, H = 2160;

// A desktop-like picture at 2 pixels per point: gradient wallpaper, flat windows, lines of text and
// small busy icons.
QImage screenshot() {
    QImage image(W, H, QImage::Format_ARGB32_Premultiplied);
    QPainter p(&image);
    QLinearGradient wallpaper(0, 0, W * 0.3, H);
    wallpaper.setColorAt(0, QColor(52, 92, 140));
    wallpaper.setColorAt(1, QColor(20, 30, 60));
    p.fillRect(image.rect(), wallpaper);
    QRandomGenerator random(42);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(26);
    p.setFont(font);
    for (int w = 0; w < 4; ++w) {
        const QRect window(120 + w * 540, 150 + w * 180, 1500, 1300);
        p.fillRect(window, QColor(246, 246, 248));
        p.fillRect(window.x(), window.y(), window.width(), 64, QColor(225, 225, 230));
        p.setPen(QColor(30, 30, 30));
        for (int line = 0; line < 30; ++line)
            p.drawText(window.x() + 40, window.y() + 120 + line * 38,
                       QStringLiteral("Line %1: Settings, Network, Export the document as PDF…").arg(line));
        for (int icon = 0; icon < 12; ++icon)
            for (int y = 0; y < 48; ++y)
                for (int x = 0; x < 48; ++x)
                    image.setPixel(window.x() + 40 + icon * 100 + x, window.bottom() - 80 + y,
                                   0xff000000u | (random.generate() & 0xffffffu));
    }
    return image;
}

QList<Annotation> twentyMarks() {
    QList<Annotation> list;
    for (int i = 0; i < 20; ++i) {
        const double x = 60 + (i % 5) * 360, y = 60 + (i / 5) * 250;
        const Kind kind = allKinds[size_t(i % 8)];
        Annotation a{kind, {x, y}, {x + 280, y + 180}, {}, 0};
        if (kind == Kind::text)
            a.text = QStringLiteral("Click here to save");
        if (kind == Kind::step)
            a.number = i;
        list.append(a);
    }
    // Blurs as a user makes them: one large, one of a line of text.
    list.append(Annotation{Kind::blur, {100, 100}, {900, 600}, {}, 0});
    list.append(Annotation{Kind::blur, {1000, 800}, {1400, 830}, {}, 0});
    return list.mid(list.size() - 20);
}

const QImage& base() {
    static const QImage image = screenshot();
    return image;
}

void BM_RenderEmpty(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Renderer::render(base(), {}, 2));
}
BENCHMARK(BM_RenderEmpty)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void BM_Render20Mixed(benchmark::State& state) {
    const QList<Annotation> marks = twentyMarks();
    for (auto _ : state)
        benchmark::DoNotOptimize(Renderer::render(base(), marks, 2));
}
BENCHMARK(BM_Render20Mixed)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

// The editor canvas: the 2x screenshot shown at 1:1 points (1920 × 1080 device pixels), either
// repainted whole or only in a 300 × 200 rectangle around a dragged mark.
void BM_CanvasDraw(benchmark::State& state) {
    const QList<Annotation> marks = twentyMarks();
    QImage target(W / 2, H / 2, QImage::Format_ARGB32_Premultiplied);
    const bool clipped = state.range(0);
    for (auto _ : state) {
        QPainter painter(&target);
        if (clipped)
            painter.setClipRect(QRect(300, 250, 300, 200));
        Renderer::draw(base(), QSizeF(W / 2, H / 2), marks, painter);
    }
    state.SetLabel(clipped ? "300x200 clip" : "whole");
}
BENCHMARK(BM_CanvasDraw)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();

void BM_ScaledDown1800(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(scaledDown(base(), 1800));
}
BENCHMARK(BM_ScaledDown1800)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void BM_ScaledDown1800Jpeg085(benchmark::State& state) {
    size_t bytes = 0;
    for (auto _ : state) {
        const QByteArray jpeg = jpegData(scaledDown(base(), 1800), 0.85);
        bytes = size_t(jpeg.size());
        benchmark::DoNotOptimize(jpeg.data());
    }
    state.counters["jpeg_bytes"] = double(bytes);
}
BENCHMARK(BM_ScaledDown1800Jpeg085)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv); // fonts for text marks
    base();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
