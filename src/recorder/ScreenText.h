#pragma once

#include <QImage>
#include <QList>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QString>

#include <chrono>
#include <optional>

namespace trovix {

// One word read off a picture: its text, its box in the picture's pixels, and how sure the reader
// is of it (0 to 100).
struct ScreenWord {
    QString text;
    QRectF box;
    double confidence = 0;
};

// Text recognition: the words of a picture holding about one line of text. The picture's dots per
// metre say how large its text is. Slow enough that callers keep it off the main thread; answers
// nothing once the deadline has passed.
class TextRecognizer {
public:
    using Clock = std::chrono::steady_clock;
    virtual ~TextRecognizer() = default;
    virtual QList<ScreenWord> words(const QImage& picture, Clock::time_point deadline) = 0;
};

// Reads the label of a clicked control off the click's screenshot, for applications that do not
// describe their controls: the word or words nearest the click on its line of text, within the
// control's frame when it is known, else close to the click. All coordinates are the screenshot's
// pixels.
class ScreenText {
public:
    using Clock = TextRecognizer::Clock;

    // The part of the screenshot to read: a band around the click, cut to the frame when known.
    static QRect region(QSize image, QPointF click, const std::optional<QRectF>& frame,
                        double pixelsPerPoint);
    // The label among words read from region, or nothing when no word is near enough, sure enough
    // and long enough to name the control.
    static std::optional<QString> nearestLabel(const QList<ScreenWord>& words, QPointF click,
                                               const std::optional<QRectF>& frame, const QRect& region,
                                               QSize image);
    // Reads the region with the recogniser and picks the label.
    static std::optional<QString> read(TextRecognizer& recognizer, const QImage& screenshot, QPointF click,
                                       const std::optional<QRectF>& frame, double pixelsPerPoint,
                                       Clock::time_point deadline);

    // The band around a click, in points either side: about one line of text, a short phrase wide.
    static constexpr double bandHalfWidth = 200;
    static constexpr double bandHalfHeight = 14;
    // How far right or left of the click a frame is read at most, in points.
    static constexpr double frameHalfWidth = 400;
    // Words the recogniser is less sure of (0 to 100) are noise: borders, icons, cut letters.
    static constexpr double minimumConfidence = 60;
    // Without a frame, the nearest word must lie within this many of its own heights from the click,
    // so that a click on an icon does not take the label of a control beside it.
    static constexpr double reachInWordHeights = 2.5;
    // Words of one label are at most this many line heights apart.
    static constexpr double wordGapInLineHeights = 0.8;
};

} // namespace trovix
