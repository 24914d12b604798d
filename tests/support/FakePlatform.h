#pragma once

// The picture the capture tests put on screen: a colour that encodes the desktop position of every
// pixel, so that a captured region shows exactly where it was taken from.

#include "document/Error.h"

#include <QRgb>

namespace trovix {

struct FakePlatform {
    // Unique for every pixel of a 4096 × 4096 desktop.
    static QRgb patternColor(int x, int y) { return qRgb(x & 0xff, y & 0xff, ((x >> 8) << 4) | (y >> 8)); }
};

} // namespace trovix
