#pragma once

// Pictures that compress like real screenshots rather than like noise or a flat fill: a wallpaper,
// windows with title bars and sidebars, lines of text and a grainy photo. The seed changes layout,
// text and colours, so pictures of different seeds share no compressed bytes. Text needs a
// QGuiApplication; without one the lines are drawn as bars.

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRandomGenerator>

#include <algorithm>

namespace trovix::testing {

inline QImage syntheticScreenshot(int width, int height, quint32 seed) {
    QRandomGenerator random(seed);
    const auto pick = [&](int lo, int hi) { return lo + int(random.bounded(hi - lo + 1)); };
    const bool canDrawText = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
    static const char* const words[] = {"File",   "Edit",     "View",    "Save",  "Open",
                                        "Export", "Settings", "Network", "Print", "Account",
                                        "Search", "Cancel",   "Apply",   "OK"};
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    QPainter p(&image);
    QLinearGradient wallpaper(0, 0, width * 0.3, height);
    wallpaper.setColorAt(0, QColor::fromHsv(int(seed * 37 % 360), 120, 140));
    wallpaper.setColorAt(1, QColor::fromHsv(int((seed * 37 + 60) % 360), 160, 60));
    p.fillRect(image.rect(), wallpaper);
    const int row = std::max(12, height / 60);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(row / 2 + 2);
    p.setFont(font);
    for (int w = pick(3, 5); w > 0; --w) {
        const QRect window(pick(0, width / 2), pick(0, height / 2), pick(width / 2, width * 9 / 10),
                           pick(height / 2, height * 9 / 10));
        p.fillRect(window, QColor(246, 245, 244));
        p.fillRect(window.x(), window.y(), window.width(), 2 * row, QColor(220, 220, 219));
        p.fillRect(window.x(), window.y() + 2 * row, window.width() / 5, window.height(),
                   QColor(235, 234, 233));
        for (int y = window.y() + 3 * row; y < window.bottom() - row; y += row) {
            QString text;
            for (int n = pick(1, 12); n > 0; --n)
                text += QString::fromLatin1(words[random.bounded(14)]) + QLatin1Char(' ');
            const int x = window.x() + (y % 3 ? window.width() / 5 + row : row / 2);
            if (canDrawText) {
                p.setPen(QColor(30, 30, 30));
                p.drawText(x, y, text);
            } else {
                p.fillRect(x, y - row / 2, int(text.size()) * row / 4, row / 2, QColor(30, 30, 30));
            }
        }
    }
    p.end();
    // Photographs carry fine detail that compresses poorly; a grainy patch stands in for one.
    const QRect grain(pick(0, width / 2), pick(0, height / 2), width / 4, height / 4);
    for (int y = grain.top(); y <= grain.bottom() && y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = grain.left(); x <= grain.right() && x < width; ++x) {
            const int n = int(random.bounded(24u)) - 12;
            line[x] = qRgb(std::clamp(120 + x % 97 + n, 0, 255), std::clamp(90 + y % 61 + n, 0, 255),
                           std::clamp(140 + n, 0, 255));
        }
    }
    return image;
}

} // namespace trovix::testing
