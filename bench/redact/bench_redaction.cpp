// Finding and covering secrets on screenshots with the system's Tesseract:
//  - time per picture at 1920×1080 and 3840×2160 (median, p95), screens full of ordinary text with
//    a few secrets among it;
//  - recall per kind of secret and font size, and precision (false positives per 100 screens), on
//    generated screens (a terminal and a web form, 11–16 px) with known secrets and known harmless
//    text: dates, versions, amounts, times, phone and order numbers.
// Usage: bench_redaction [SCREENS=200] [TIMED=10]
#include "RandomSecrets.h"
#include "platform/ocr/TesseractRecognizer.h"
#include "redact/Redactor.h"
#include "redact/StepScreening.h"

#include <QElapsedTimer>
#include <QGuiApplication>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>

using namespace trovix;
using namespace trovix::testing;

namespace {

SecretDetector::Read reader(std::shared_ptr<TesseractRecognizer> ocr) {
    return [ocr](const QImage& prepared) {
        QList<ReadWord> words;
        for (const ScreenWord& w :
             ocr->words(prepared, TextRecognizer::Clock::now() + std::chrono::minutes(5)))
            words.append({w.text, w.box});
        return words;
    };
}

QList<std::pair<QString, ScreenItem>> randomLines(QRandomGenerator& rng, int count, int secrets) {
    static const QList<SecretKind> kinds{SecretKind::email, SecretKind::card,  SecretKind::iban,
                                         SecretKind::ip,    SecretKind::token, SecretKind::word};
    static const char* labels[] = {"Account", "Contact", "Server", "Key",
                                   "Note",    "Value",   "Field",  "Billing"};
    QList<std::pair<QString, ScreenItem>> lines;
    for (int i = 0; i < count; ++i) {
        const QString label = QLatin1String(labels[rng.bounded(8)]);
        if (i < secrets) {
            const SecretKind kind = kinds[rng.bounded(kinds.size())];
            lines.append({label,
                          {kind,
                           kind == SecretKind::word ? QStringLiteral("Kestrelworks") : secrets::of(kind, rng),
                           {}}});
        } else {
            lines.append({label, {std::nullopt, secrets::harmless(rng), {}}});
        }
    }
    std::shuffle(lines.begin(), lines.end(), std::mt19937(rng.generate()));
    return lines;
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(p * (values.size() - 1) + 0.5))];
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const int screens = argc > 1 ? atoi(argv[1]) : 200;
    const int timed = argc > 2 ? atoi(argv[2]) : 10;
    auto ocr = std::shared_ptr<TesseractRecognizer>(
        TesseractRecognizer::create(QLocale(QLocale::English), TesseractRecognizer::Layout::page));
    if (!ocr || !ocr->load()) {
        std::fprintf(stderr, "Tesseract with English data is not installed\n");
        return 1;
    }
    const SecretDetector::Read read = reader(ocr);
    RedactionOptions options;
    options.words = {QStringLiteral("Kestrelworks")};
    QRandomGenerator rng(20261125);

    // Time per picture: a full screen of a terminal or a form, 24 lines of text, 4 of them secrets.
    for (const QSize size : {QSize(1920, 1080), QSize(3840, 2160)}) {
        const double scale = size.width() > 2000 ? 2 : 1;
        std::vector<double> ms;
        for (int i = 0; i < timed; ++i) {
            const int pixelSize = int(13 * scale);
            SecretScreen screen = drawScreen(randomLines(rng, 40, 4), pixelSize, i % 2 == 0, size);
            const Step step = Step::make(Image(screen.image), scale, QStringLiteral("s"));
            QElapsedTimer timer;
            timer.start();
            const Step done = StepScreening::screen(step, read, options);
            ms.push_back(timer.nsecsElapsed() / 1e6);
        }
        std::printf("detection %dx%d: median %.0f ms, p95 %.0f ms (%d pictures)\n", size.width(),
                    size.height(), percentile(ms, 0.5), percentile(ms, 0.95), timed);
        std::fflush(stdout);
    }

    // Recall and precision.
    struct Tally {
        int shown = 0;
        int found = 0;
    };
    std::map<std::pair<QString, bool>, Tally> recall; // (kind, 13 px or larger)
    int harmlessShown = 0;
    int harmlessCovered = 0;
    int regions = 0;
    int falseRegions = 0;
    for (int i = 0; i < screens; ++i) {
        const int pixelSize = 11 + i % 6;
        const SecretScreen screen =
            drawScreen(randomLines(rng, 8, 5), pixelSize, i % 2 == 0, QSize(1024, 576));
        const Step step =
            StepScreening::screen(Step::make(Image(screen.image), 1, QStringLiteral("s")), read, options);
        const QImage pixels = step.base.pixels();
        for (const ScreenItem& item : screen.items) {
            const QRect box = item.box.adjusted(1, 2, -1, -2);
            qint64 covered = 0;
            for (int y = box.top(); y <= box.bottom(); ++y)
                for (int x = box.left(); x <= box.right(); ++x)
                    covered += pixels.pixel(x, y) == Redactor::fill.rgb();
            const double share = double(covered) / (qint64(box.width()) * box.height());
            if (item.kind) {
                Tally& t = recall[{secretKindName(*item.kind), pixelSize >= 13}];
                ++t.shown;
                t.found += share > 0.99;
            } else {
                ++harmlessShown;
                harmlessCovered += share > 0;
            }
            // With TROVIX_BENCH_VERBOSE, what went wrong and what the recogniser read there.
            if (qEnvironmentVariableIsSet("TROVIX_BENCH_VERBOSE") &&
                (item.kind ? share <= 0.99 : share > 0)) {
                const QRect band = item.box.adjusted(-item.box.left(), -4, 200, 4) & screen.image.rect();
                QImage crop = screen.image.copy(band).convertToFormat(QImage::Format_Grayscale8);
                crop = crop.scaled(crop.size() * 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
                if (i % 2 == 0)
                    crop.invertPixels();
                QStringList read;
                for (const ReadWord& w : reader(ocr)(crop))
                    read.append(w.text);
                std::fprintf(stderr, "%s %s (%d px, %s): %.2f covered; read: %s\n",
                             item.kind ? "missed" : "touched", qPrintable(item.text), pixelSize,
                             i % 2 == 0 ? "terminal" : "web", share, qPrintable(read.join(' ')));
            }
        }
        for (const Redaction& region : step.redactions) {
            ++regions;
            const bool onSecret =
                std::any_of(screen.items.cbegin(), screen.items.cend(), [&](const ScreenItem& item) {
                    return item.kind && region.rect.intersects(QRectF(item.box));
                });
            falseRegions += !onSecret;
        }
        if ((i + 1) % 20 == 0) {
            std::fprintf(stderr, "%d screens\n", i + 1);
        }
    }
    std::printf("\nrecall on %d screens (1024x576, 11-16 px, terminal and web form alternating)\n", screens);
    std::printf("%-8s %16s %16s\n", "kind", "11-12 px", "13-16 px");
    for (const SecretKind kind : {SecretKind::email, SecretKind::card, SecretKind::iban, SecretKind::ip,
                                  SecretKind::token, SecretKind::word}) {
        const Tally small = recall[{secretKindName(kind), false}];
        const Tally large = recall[{secretKindName(kind), true}];
        std::printf("%-8s %6.1f %% (%3d/%3d) %6.1f %% (%3d/%3d)\n", qPrintable(secretKindName(kind)),
                    small.shown ? 100.0 * small.found / small.shown : 0.0, small.found, small.shown,
                    large.shown ? 100.0 * large.found / large.shown : 0.0, large.found, large.shown);
    }
    std::printf("precision: %.1f %% of %d regions on a secret; %d false regions = %.1f per 100 screens; "
                "%d of %d harmless values touched\n",
                regions ? 100.0 * (regions - falseRegions) / regions : 100.0, regions, falseRegions,
                100.0 * falseRegions / screens, harmlessCovered, harmlessShown);
    return 0;
}
