// The editor canvas while the user drags out a mark on a 3840×2160 screenshot that already carries 20
// marks, three of them pixelated: the time from one mouse move to the repainted window, which must
// stay well under a 60 Hz frame (16 ms) for drawing to feel smooth. For comparison, the same frame
// drawn the naive way (the whole visible area from the base with every mark), and the cost of a
// commit (the cached picture is made again).
//
// Run with: bench_editor [--benchmark_filter=…]   (QT_QPA_PLATFORM defaults to offscreen; under X11
// set QT_QPA_PLATFORM=xcb to include the copy to the X server).
#include "editor/CanvasView.h"
#include "editor/EditorController.h"
#include "render/Renderer.h"
#include "support/SyntheticScreenshot.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QWidget>

#include <benchmark/benchmark.h>

#include <cmath>

using namespace trovix;

namespace {

constexpr int W = 3840, H = 2160;

const Image& screenshot() {
    static const Image image(testing::syntheticScreenshot(W, H, 42));
    return image;
}

// 20 marks of every kind over the top-left area the window shows, three of them blurs.
QList<Annotation> twentyMarks(double scale) {
    const QList<Kind> kinds{Kind::arrow, Kind::rect, Kind::highlight, Kind::blur,   Kind::text,
                            Kind::step,  Kind::ring, Kind::target,    Kind::arrow,  Kind::rect,
                            Kind::blur,  Kind::text, Kind::step,      Kind::arrow,  Kind::highlight,
                            Kind::rect,  Kind::blur, Kind::arrow,     Kind::target, Kind::step};
    QList<Annotation> list;
    const double unit = 1 / scale; // spread over the same share of the picture at every scale
    for (int i = 0; i < kinds.size(); ++i) {
        const double x = (80 + (i % 5) * 560) * unit, y = (80 + (i / 5) * 440) * unit;
        Annotation a{kinds[i], {x, y}, {x + 400 * unit, y + 300 * unit}, {}, 0};
        if (a.kind == Kind::text)
            a.text = QStringLiteral("Click here to save");
        if (a.kind == Kind::step)
            a.number = i;
        list.append(a);
    }
    return list;
}

void send(QWidget* widget, QEvent::Type type, QPointF pos) {
    QMouseEvent event(type, pos, widget->mapToGlobal(pos),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

// The pointer's position on a loop through the visible part of the picture.
QPointF along(int64_t i, QPointF start) {
    const double t = double(i % 240) / 240 * 2 * M_PI;
    return start + QPointF(300 + 250 * std::cos(t), 200 + 180 * std::sin(2 * t));
}

// One mouse move during a drag and the window's repaint that follows it.
void dragRepaint(benchmark::State& state, Kind tool) {
    const double scale = double(state.range(0));
    auto* editor = new EditorController(screenshot(), scale, twentyMarks(scale), QStringLiteral("Bench"));
    CanvasView* canvas = editor->canvas();
    canvas->setKind(tool);
    QApplication::processEvents();
    const QPointF start(180, 160);
    send(canvas, QEvent::MouseButtonPress, start);
    QApplication::processEvents();
    int64_t i = 0;
    for (auto _ : state) {
        send(canvas, QEvent::MouseMove, along(i++, start));
        QApplication::processEvents();
    }
    send(canvas, QEvent::MouseButtonRelease, along(i, start));
    editor->window()->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void BM_DragArrowRepaint(benchmark::State& state) {
    dragRepaint(state, Kind::arrow);
}
BENCHMARK(BM_DragArrowRepaint)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void BM_DragBlurRepaint(benchmark::State& state) {
    dragRepaint(state, Kind::blur);
}
BENCHMARK(BM_DragBlurRepaint)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// The same frame without the cache: the visible 1300×800 points drawn from the base with all 21
// marks.
void BM_NaiveVisibleRepaint(benchmark::State& state) {
    const double scale = double(state.range(0));
    const QImage base = screenshot().pixels();
    QList<Annotation> list = twentyMarks(scale);
    list.append(Annotation{Kind::arrow, {180, 160}, {500, 400}, {}, 0});
    QImage frame(1300, 800, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        QPainter painter(&frame);
        painter.setClipRect(QRect(0, 0, 1300, 800));
        painter.setRenderHint(QPainter::Antialiasing);
        Renderer::draw(base, QSizeF(W / scale, H / scale), list, painter);
    }
}
BENCHMARK(BM_NaiveVisibleRepaint)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// Releasing a drag: the mark is committed and the cached picture made again.
void BM_CommitAndRepaint(benchmark::State& state) {
    const double scale = double(state.range(0));
    auto* editor = new EditorController(screenshot(), scale, twentyMarks(scale), QStringLiteral("Bench"));
    CanvasView* canvas = editor->canvas();
    QApplication::processEvents();
    for (auto _ : state) {
        send(canvas, QEvent::MouseButtonPress, QPointF(200, 200));
        send(canvas, QEvent::MouseMove, QPointF(400, 300));
        send(canvas, QEvent::MouseButtonRelease, QPointF(400, 300));
        QApplication::processEvents();
        state.PauseTiming();
        canvas->undo();
        QApplication::processEvents();
        state.ResumeTiming();
    }
    editor->window()->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}
BENCHMARK(BM_CommitAndRepaint)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
