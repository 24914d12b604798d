#pragma once

#include "support/TestFiles.h"

#include <QImage>
#include <QList>
#include <QRandomGenerator>

#include <algorithm>
#include <cstdlib>

namespace trovix::test {

// Uncorrelated pixels, so a block's average says something about every pixel in it.
inline QImage noise(int w, int h, quint32 seed = 7, QImage::Format format = QImage::Format_RGB32) {
    QImage image(w, h, QImage::Format_RGB32);
    QRandomGenerator random(seed);
    for (int y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
        for (int x = 0; x < w; ++x)
            line[x] = 0xff000000u | (random.generate() & 0xffffffu);
    }
    return image.convertToFormat(format);
}

inline QImage filled(int w, int h, QColor colour) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

// How much of a pixel is covered by opaque red (255, 59, 48) over a white background, 0 … 1.
inline double redCover(QRgb p) {
    return std::clamp((255 - qGreen(p)) / (255.0 - 59.0), 0.0, 1.0);
}

// Bounding box of the pixels covered more than half by red over white.
inline QRect redBounds(const QImage& image, QRect area = {}) {
    if (area.isNull())
        area = image.rect();
    QRect bounds;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (redCover(image.pixel(x, y)) > 0.5)
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

inline int maxDiff(const QImage& a, const QImage& b, QRect area = {}) {
    return testing::maxDifference(a, b, area);
}

} // namespace trovix::test
