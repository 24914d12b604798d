#include "recorder/ScreenText.h"

#include "recorder/ClickDescriber.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <limits>

namespace trovix {

namespace {

// Borders, separators and icons come back as lone marks ("|", "=", "+") or as words the
// recogniser doubts.
bool isNoise(const ScreenWord& word) {
    if (word.text.isEmpty() || word.confidence < ScreenText::minimumConfidence)
        return true;
    return word.text.size() == 1 && !word.text.at(0).isLetterOrNumber();
}

double distance(QPointF point, const QRectF& box) {
    const double dx = std::max({box.left() - point.x(), 0.0, point.x() - box.right()});
    const double dy = std::max({box.top() - point.y(), 0.0, point.y() - box.bottom()});
    return std::hypot(dx, dy);
}

// Whether a word touches an end of the region that lies inside the screen rather than on its edge:
// such a word may be cut short ("radiob"). Lines cut at the top or bottom come back as noise.
bool isCut(const QRectF& box, const QRectF& region, const QRectF& screen) {
    constexpr double tolerance = 1;
    return (region.left() > screen.left() && box.left() <= region.left() + tolerance) ||
           (region.right() < screen.right() && box.right() >= region.right() - tolerance);
}

bool isDark(const QImage& gray) {
    qint64 sum = 0;
    for (int y = 0; y < gray.height(); ++y) {
        const uchar* row = gray.constScanLine(y);
        for (int x = 0; x < gray.width(); ++x)
            sum += row[x];
    }
    return sum < qint64(gray.width()) * gray.height() * 128;
}

} // namespace

QRect ScreenText::region(QSize image, QPointF click, const std::optional<QRectF>& frame,
                         double pixelsPerPoint) {
    const double halfHeight = bandHalfHeight * pixelsPerPoint;
    QRectF area(click.x() - bandHalfWidth * pixelsPerPoint, click.y() - halfHeight,
                2 * bandHalfWidth * pixelsPerPoint, 2 * halfHeight);
    if (frame) {
        // A little beyond the frame, so that text flush with its border is not taken for cut.
        const double margin = 4 * pixelsPerPoint;
        const QRectF wide(click.x() - frameHalfWidth * pixelsPerPoint, area.top(),
                          2 * frameHalfWidth * pixelsPerPoint, area.height());
        area = wide.intersected(frame->adjusted(-margin, -margin, margin, margin));
    }
    return area.toAlignedRect().intersected(QRect(QPoint(0, 0), image));
}

std::optional<QString> ScreenText::nearestLabel(const QList<ScreenWord>& words, QPointF click,
                                                const std::optional<QRectF>& frame, const QRect& region,
                                                QSize image) {
    QList<ScreenWord> usable;
    for (ScreenWord word : words) {
        word.text = word.text.trimmed();
        if (isNoise(word) || isCut(word.box, QRectF(region), QRectF(QPointF(0, 0), QSizeF(image))))
            continue;
        if (frame && !frame->contains(word.box.center()))
            continue;
        usable.append(word);
    }

    qsizetype anchor = -1;
    double nearest = std::numeric_limits<double>::infinity();
    for (qsizetype i = 0; i < usable.size(); ++i) {
        const double d = distance(click, usable[i].box);
        if (d < nearest) {
            nearest = d;
            anchor = i;
        }
    }
    if (anchor < 0)
        return std::nullopt;
    // Read as one line, a word's box may stretch over the region's whole height; text is no taller
    // than half of it.
    const auto textHeight = [&](const QRectF& box) { return std::min(box.height(), region.height() / 2.0); };
    const QRectF anchorBox = usable[anchor].box;
    if (!frame && nearest > reachInWordHeights * textHeight(anchorBox))
        return std::nullopt;

    // The anchor's line, left to right, and the run of closely spaced words around the anchor.
    QList<ScreenWord> line;
    for (const ScreenWord& word : usable) {
        const double tolerance = std::max(textHeight(word.box), textHeight(anchorBox)) / 2;
        if (std::abs(word.box.center().y() - anchorBox.center().y()) <= tolerance)
            line.append(word);
    }
    std::sort(line.begin(), line.end(),
              [](const ScreenWord& a, const ScreenWord& b) { return a.box.left() < b.box.left(); });
    const qsizetype at = std::find_if(line.cbegin(), line.cend(),
                                      [&](const ScreenWord& word) { return word.box == anchorBox; }) -
                         line.cbegin();
    const auto adjacent = [&](qsizetype left) {
        const QRectF& a = line[left].box;
        const QRectF& b = line[left + 1].box;
        return b.left() - a.right() <= wordGapInLineHeights * std::max(textHeight(a), textHeight(b));
    };
    qsizetype first = at;
    qsizetype last = at;
    while (first > 0 && adjacent(first - 1))
        --first;
    while (last + 1 < line.size() && adjacent(last))
        ++last;
    QStringList parts;
    for (qsizetype i = first; i <= last; ++i)
        parts.append(line[i].text);
    const QString label = parts.join(QLatin1Char(' '));

    // One character names nothing a user would recognise; a label has letters or digits.
    const qsizetype characters = label.size() - label.count(QLatin1Char(' '));
    if (characters < 2 ||
        std::none_of(label.cbegin(), label.cend(), [](QChar c) { return c.isLetterOrNumber(); }))
        return std::nullopt;
    return ClickDescriber::usableLabel(label);
}

std::optional<QString> ScreenText::read(TextRecognizer& recognizer, const QImage& screenshot, QPointF click,
                                        const std::optional<QRectF>& frame, double pixelsPerPoint,
                                        Clock::time_point deadline) {
    const QRect area = region(screenshot.size(), click, frame, pixelsPerPoint);
    if (area.width() < 2 || area.height() < 2 || Clock::now() >= deadline)
        return std::nullopt;

    // Recognisers read text best at about twice the size a screen shows it, dark on light.
    const double zoom = std::clamp(2.0 / pixelsPerPoint, 1.0, 3.0);
    QImage picture = screenshot.copy(area).convertToFormat(QImage::Format_Grayscale8);
    if (zoom > 1)
        picture = picture.scaled((QSizeF(picture.size()) * zoom).toSize(), Qt::IgnoreAspectRatio,
                                 Qt::SmoothTransformation);
    if (isDark(picture))
        picture.invertPixels();
    const int dotsPerMetre = qRound(96 / 0.0254 * pixelsPerPoint * zoom);
    picture.setDotsPerMeterX(dotsPerMetre);
    picture.setDotsPerMeterY(dotsPerMetre);

    QList<ScreenWord> words = recognizer.words(picture, deadline);
    for (ScreenWord& word : words)
        word.box = QRectF(area.topLeft() + word.box.topLeft() / zoom, word.box.size() / zoom);
    return nearestLabel(words, click, frame, area, screenshot.size());
}

} // namespace trovix
