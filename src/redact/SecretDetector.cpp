#include "redact/SecretDetector.h"

#include "redact/SecretPatterns.h"

#include <algorithm>
#include <cmath>

namespace trovix {

namespace {

struct Line {
    QList<ReadWord> words;
    QRectF box;
};

// Words into lines: a word belongs to a line when its middle lies within the line's height and it
// does not start far beyond the line's end. The recogniser reads in columns and blocks, so words
// of one visual line may arrive apart.
QList<Line> intoLines(QList<ReadWord> words) {
    std::sort(words.begin(), words.end(),
              [](const ReadWord& a, const ReadWord& b) { return a.box.left() < b.box.left(); });
    QList<Line> lines;
    for (const ReadWord& word : words) {
        if (word.text.trimmed().isEmpty())
            continue;
        Line* home = nullptr;
        for (Line& line : lines) {
            const double height = std::max(line.box.height(), word.box.height());
            const double gap = word.box.left() - line.box.right();
            if (std::abs(word.box.center().y() - line.box.center().y()) <= height * 0.5 &&
                gap <= height * 3) {
                home = &line;
                break;
            }
        }
        if (!home) {
            lines.append(Line{{}, word.box});
            home = &lines.last();
        }
        home->words.append(word);
        home->box = home->box.united(word.box);
    }
    return lines;
}

// Where a picture has text on a light background and where on a dark one: the bounding boxes of
// the tiles with enough contrast to hold letters, by the brightness of their background. Empty
// desktop, flat panels and photos' smooth areas are left out, so only what may hold text is read,
// and each way round only where it can be.
struct TextAreas {
    QRect light;
    QRect dark;
};

TextAreas textAreas(const QImage& gray) {
    constexpr int tile = 24;
    TextAreas areas;
    for (int top = 0; top < gray.height(); top += tile) {
        for (int left = 0; left < gray.width(); left += tile) {
            const QRect cell = QRect(left, top, tile, tile) & gray.rect();
            int low = 255, high = 0;
            qint64 sum = 0, count = 0;
            for (int y = cell.top(); y <= cell.bottom(); y += 2) {
                const uchar* row = gray.constScanLine(y);
                for (int x = cell.left(); x <= cell.right(); x += 2) {
                    low = std::min<int>(low, row[x]);
                    high = std::max<int>(high, row[x]);
                    sum += row[x];
                    ++count;
                }
            }
            if (high - low < 80 || count == 0)
                continue;
            // Letters cover a small part of a tile: its mean is its background's side.
            QRect& side = sum / count >= 128 ? areas.light : areas.dark;
            const QRect grown = cell.adjusted(-tile, -tile, tile, tile) & gray.rect();
            side = side.isNull() ? grown : side.united(grown);
        }
    }
    return areas;
}

bool sameRegion(const QRectF& a, const QRectF& b) {
    const QRectF common = a.intersected(b);
    const double shared = common.width() * common.height();
    return shared > 0.5 * std::min(a.width() * a.height(), b.width() * b.height());
}

} // namespace

QList<Redaction> SecretDetector::inWords(const QList<ReadWord>& words, const RedactionOptions& options) {
    QList<Redaction> found;
    for (const Line& line : intoLines(words)) {
        QString text;
        QList<qsizetype> starts;
        for (const ReadWord& word : line.words) {
            if (!text.isEmpty())
                text += u' ';
            starts.append(text.size());
            text += word.text.trimmed();
        }
        for (const SecretMatch& match : SecretPatterns::find(text, options)) {
            // The part of each word the match covers, by its share of the word's letters: a
            // "TOKEN=ghp_…" word loses only its value.
            QRectF box;
            for (qsizetype i = 0; i < line.words.size(); ++i) {
                const ReadWord& word = line.words[i];
                const qsizetype length = word.text.trimmed().size();
                const qsizetype from = std::max(match.start, starts[i]);
                const qsizetype to = std::min(match.start + match.length, starts[i] + length);
                if (from >= to || length == 0)
                    continue;
                const double left = word.box.left() + word.box.width() * double(from - starts[i]) / length;
                const double right = word.box.left() + word.box.width() * double(to - starts[i]) / length;
                const QRectF part(QPointF(left, word.box.top()), QPointF(right, word.box.bottom()));
                box = box.isNull() ? part : box.united(part);
            }
            if (box.isNull())
                continue;
            // A margin around the letters: their boxes hug the ink, and anti-aliased edges and the
            // letters' share of a word are only close.
            // Sideways a little more: where a word's box ends is the recogniser's guess, a letter
            // either way.
            const double across = std::max(3.0, box.height() * 0.6);
            const double down = std::max(2.0, box.height() * 0.2);
            found.append(Redaction{match.kind, box.adjusted(-across, -down, across, down)});
        }
    }
    return found;
}

QList<Redaction> SecretDetector::detect(const QImage& picture, double scale, const Read& read,
                                        const RedactionOptions& options) {
    if (picture.isNull() || !read || !options.anyOn())
        return {};
    scale = scale > 0 ? scale : 1;
    const double zoom = zoomFor(scale);
    QImage prepared = picture.convertToFormat(QImage::Format_Grayscale8);
    if (zoom > 1)
        prepared = prepared.scaled((QSizeF(prepared.size()) * zoom).toSize(), Qt::IgnoreAspectRatio,
                                   Qt::SmoothTransformation);
    const int dotsPerMetre = qRound(96 / 0.0254 * scale * zoom);
    prepared.setDotsPerMeterX(dotsPerMetre);
    prepared.setDotsPerMeterY(dotsPerMetre);

    // Each reading on its own: words of two readings interleaved would make lines of neither.
    // Recognisers look for dark letters: light text on a dark background (a terminal, a dark theme)
    // is read the other way round.
    const TextAreas areas = textAreas(picture.convertToFormat(QImage::Format_Grayscale8));
    const auto secretsIn = [&](const QRect& area, bool invert) {
        if (area.isEmpty())
            return QList<Redaction>();
        const QRect zoomed =
            QRectF(QPointF(area.topLeft()) * zoom, QSizeF(area.size()) * zoom).toAlignedRect() &
            prepared.rect();
        QImage part = prepared.copy(zoomed);
        if (invert)
            part.invertPixels();
        QList<ReadWord> words = read(part);
        for (ReadWord& word : words)
            word.box = QRectF((word.box.topLeft() + zoomed.topLeft()) / zoom, word.box.size() / zoom);
        return inWords(words, options);
    };
    QList<Redaction> found = secretsIn(areas.light, false);
    found += secretsIn(areas.dark, true);
    const QRectF bounds(QPointF(0, 0), QSizeF(picture.size()));
    QList<Redaction> inPoints;
    for (Redaction region : found) {
        region.rect = region.rect.intersected(bounds);
        if (region.rect.isEmpty())
            continue;
        region.rect = QRectF(region.rect.topLeft() / scale, region.rect.size() / scale);
        // The same secret read both ways is covered once, as far as either reading saw it.
        const auto seen = std::find_if(inPoints.begin(), inPoints.end(), [&](const Redaction& other) {
            return sameRegion(other.rect, region.rect);
        });
        if (seen == inPoints.end())
            inPoints.append(region);
        else
            seen->rect = seen->rect.united(region.rect);
    }
    return inPoints;
}

} // namespace trovix
