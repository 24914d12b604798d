#pragma once

#include "document/Redaction.h"
#include "redact/RedactionOptions.h"

#include <QImage>
#include <QList>
#include <QRectF>
#include <QString>

#include <functional>

namespace trovix {

// One word a text recogniser read, with its box in the pixels of the picture it was given.
struct ReadWord {
    QString text;
    QRectF box;
};

// Finds the regions of a screenshot that show a secret: it reads all of the picture's text, joins
// the words into lines, and looks for secrets in each line. Needs no display; the recogniser is
// handed in.
class SecretDetector {
public:
    // Reads every word of a prepared picture (grey, dark text on light, at a size recognisers read
    // well, its dots per metre set).
    using Read = std::function<QList<ReadWord>(const QImage& prepared)>;

    // The regions, in annotation space (points: pixels / scale), of every secret on the picture.
    static QList<Redaction> detect(const QImage& picture, double scale, const Read& read,
                                   const RedactionOptions& options);

    // The same on words already read (boxes in the picture's pixels), into picture pixels: the
    // part of detection that needs no recogniser.
    static QList<Redaction> inWords(const QList<ReadWord>& words, const RedactionOptions& options);

    // How much larger than the screen the picture is read: small text is read far better at twice
    // its size.
    static double zoomFor(double scale) { return std::clamp(2.0 / scale, 1.0, 2.0); }
};

} // namespace trovix
