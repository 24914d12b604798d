// make_bench_guide: builds a guide folder from screenshot files, as Trovix saves one, for the export
// benchmarks: every step's PNG encoded by Trovix's own encoder, and every `every`-th step (1: all)
// carrying five marks.
//
//   make_bench_guide FOLDER EVERY SCREENSHOT.png...

#include "document/Guide.h"
#include "document/GuideStore.h"
#include "render/ImageCodec.h"

#include <QFile>
#include <QGuiApplication>
#include <QTextStream>

#include <cstdio>

using namespace trovix;

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4) {
        std::fprintf(stderr, "usage: make_bench_guide FOLDER EVERY SCREENSHOT.png...\n");
        return 2;
    }
    const int every = std::max(1, args[2].toInt());
    QList<Step> steps;
    for (int i = 3; i < args.size(); ++i) {
        QFile file(args[i]);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "make_bench_guide: cannot read %s\n", qPrintable(args[i]));
            return 1;
        }
        // Only the encoded bytes are kept, so a hundred 4K steps fit in memory.
        const QImage pixels = ImageCodec::decode(file.readAll());
        const QByteArray png = ImageCodec::encodePng(pixels);
        if (png.isEmpty()) {
            std::fprintf(stderr, "make_bench_guide: %s is no picture\n", qPrintable(args[i]));
            return 1;
        }
        const int n = i - 2;
        const double w = pixels.width(), h = pixels.height();
        QList<Annotation> marks;
        if ((n - 1) % every == 0)
            marks = {
                {Kind::rect, {w * 0.30, h * 0.30}, {w * 0.45, h * 0.40}, {}, 0},
                {Kind::arrow, {w * 0.60, h * 0.60}, {w * 0.46, h * 0.41}, {}, 0},
                {Kind::highlight, {w * 0.10, h * 0.70}, {w * 0.35, h * 0.74}, {}, 0},
                {Kind::text, {w * 0.62, h * 0.62}, {w * 0.80, h * 0.66}, QStringLiteral("Then this one"), 0},
                {Kind::step, {w * 0.28, h * 0.28}, {w * 0.30, h * 0.31}, {}, n}};
        steps << Step::make(Image::fromPng(png, pixels.size()), 1,
                            QStringLiteral("Click “Button %1” in Widget Factory").arg(n), marks,
                            n % 3 ? QString() : QStringLiteral("Wait for the page to open."));
    }
    Guide guide;
    guide.setTitle(QStringLiteral("Realistic guide"));
    guide.setSteps(steps);
    GuideStore::write(guide, args[1], false);
    return 0;
}
