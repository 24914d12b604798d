#pragma once

// Screenshot-like test pictures: a desktop with a few application windows made of flat areas,
// gradients, lines of text, buttons and icons. The seed changes the text, the layout and the colours,
// so that pictures made with different seeds do not share their compressed bytes. Text needs a
// QGuiApplication; without one the lines of text are drawn as bars.

#include <QColor>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>
#include <QRandomGenerator>
#include <QStringList>

#include <algorithm>

namespace trovix::testing {

inline QImage syntheticScreenshot(int width, int height, quint32 seed) {
    QRandomGenerator random(seed);
    auto pick = [&](int lo, int hi) { return lo + int(random.bounded(hi - lo + 1)); };
    const bool canDrawText = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;

    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing, false);

    // Desktop: a vertical gradient wallpaper and a panel along the top.
    QLinearGradient wallpaper(0, 0, width * 0.3, height);
    wallpaper.setColorAt(0, QColor::fromHsv(int(seed * 37 % 360), 120, 140));
    wallpaper.setColorAt(1, QColor::fromHsv(int((seed * 37 + 60) % 360), 160, 60));
    p.fillRect(image.rect(), wallpaper);
    const int panel = std::max(12, height / 40);
    p.fillRect(0, 0, width, panel, QColor(40, 40, 44));

    static const QStringList words{"File",    "Edit",   "View",     "Save",  "Open",    "Export",  "Settings",
                                   "Network", "Colour", "Document", "Print", "Preview", "Account", "Window",
                                   "Help",    "Search", "Library",  "Share", "Cancel",  "Apply",   "OK"};
    auto sentence = [&](int n) {
        QStringList out;
        for (int i = 0; i < n; ++i)
            out << words[int(random.bounded(quint32(words.size())))];
        return out.join(' ');
    };
    auto textLine = [&](int x, int y, int w, int size, QColor colour, const QString& text) {
        if (canDrawText) {
            QFont font(QStringLiteral("DejaVu Sans"));
            font.setPixelSize(size);
            p.setFont(font);
            p.setPen(colour);
            p.drawText(QRect(x, y, w, size * 2), Qt::AlignLeft | Qt::AlignVCenter, text);
        } else {
            p.fillRect(x, y + size / 2, std::min(w, int(text.size()) * size / 2), size, colour);
        }
    };

    // Windows, back to front.
    const int windows = pick(3, 5);
    for (int wi = 0; wi < windows; ++wi) {
        const int ww = pick(width / 2, width * 9 / 10), wh = pick(height / 2, height * 9 / 10);
        const int wx = pick(0, width - ww), wy = pick(panel, height - wh);
        const int bar = std::max(16, height / 36);
        p.fillRect(wx + 6, wy + 6, ww, wh, QColor(0, 0, 0, 60)); // shadow
        p.fillRect(wx, wy, ww, wh, QColor(246, 245, 244));
        QLinearGradient title(0, wy, 0, wy + bar);
        title.setColorAt(0, QColor(232, 232, 231));
        title.setColorAt(1, QColor(214, 213, 212));
        p.fillRect(wx, wy, ww, bar, title);
        textLine(wx + bar, wy, ww / 2, bar / 2, QColor(50, 50, 50), sentence(3));
        for (int b = 0; b < 3; ++b) {
            p.setBrush(QColor::fromHsv(b * 40, 200, 230));
            p.setPen(Qt::NoPen);
            p.setRenderHint(QPainter::Antialiasing, true);
            p.drawEllipse(QPoint(wx + ww - bar * (b + 1), wy + bar / 2), bar / 4, bar / 4);
            p.setRenderHint(QPainter::Antialiasing, false);
        }
        // Sidebar with a list.
        const int side = ww / 5, row = std::max(12, height / 60);
        p.fillRect(wx, wy + bar, side, wh - bar, QColor(235, 234, 233));
        for (int y = wy + bar + row / 2, i = 0; y + row < wy + wh; y += row, ++i) {
            if (i == int(seed % 7))
                p.fillRect(wx, y, side, row, QColor(53, 132, 228));
            textLine(wx + row, y - row / 4, side - row, row / 2, i == int(seed % 7) ? Qt::white : Qt::black,
                     sentence(pick(1, 2)));
        }
        // Content: paragraphs, a gradient picture, buttons.
        const int cx = wx + side + row, cw = ww - side - 2 * row;
        int y = wy + bar + row;
        for (int block = 0; y + row < wy + wh - 3 * row; ++block) {
            const int kind = block == 1 ? 0 : pick(0, 5);
            if (kind == 0 && y + 6 * row < wy + wh) {
                QRadialGradient photo(cx + cw / 3, y + 3 * row, cw / 2);
                photo.setColorAt(0, QColor::fromHsv(pick(0, 359), 90, 250));
                photo.setColorAt(1, QColor::fromHsv(pick(0, 359), 200, 90));
                p.fillRect(cx, y, cw * 2 / 3, 6 * row, photo);
                // Photographs carry fine detail that compresses poorly; a little noise stands in for it.
                const QRect grain(cx + cw * 2 / 3 + row, y, cw / 4, 6 * row);
                p.end();
                for (int gy = grain.top(); gy <= grain.bottom() && gy < height; ++gy) {
                    auto* line = reinterpret_cast<QRgb*>(image.scanLine(gy));
                    for (int gx = grain.left(); gx <= grain.right() && gx < width; ++gx) {
                        const int n = int(random.bounded(24u)) - 12;
                        line[gx] = qRgb(std::clamp(120 + gx % 97 + n, 0, 255),
                                        std::clamp(90 + gy % 61 + n, 0, 255), std::clamp(140 + n, 0, 255));
                    }
                }
                p.begin(&image);
                y += 7 * row;
            } else if (kind == 1) {
                for (int b = 0, bx = cx; b < 3; ++b, bx += cw / 4) {
                    p.setPen(QColor(190, 190, 190));
                    p.setBrush(b == 0 ? QColor(53, 132, 228) : QColor(250, 250, 250));
                    p.drawRoundedRect(bx, y, cw / 5, row * 3 / 2, 5, 5);
                    textLine(bx + row / 2, y - row / 4, cw / 5 - row, row / 2, b == 0 ? Qt::white : Qt::black,
                             sentence(1));
                }
                y += 2 * row;
            } else {
                for (int line = pick(2, 6); line > 0 && y + row < wy + wh - 3 * row; --line, y += row * 3 / 4)
                    textLine(cx, y, cw, row / 2, QColor(30, 30, 30), sentence(pick(8, 20)));
                y += row / 2;
            }
        }
    }
    p.end();
    return image;
}

} // namespace trovix::testing
