#pragma once

// Screens with known secrets and known harmless text on them, drawn with real fonts at everyday
// sizes: a terminal (light text on dark) and a web form (dark text on light). Each value's box is
// known, so a test or a benchmark can tell which secrets were found and what was covered by mistake.
#include "document/Redaction.h"

#include <QFont>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>
#include <QString>

#include <optional>

namespace trovix::testing {

struct ScreenItem {
    std::optional<SecretKind> kind; // none: harmless text that must stay
    QString text;
    QRect box; // in the screen's pixels
};

struct SecretScreen {
    QImage image;
    QList<ScreenItem> items;
};

// Draws labelled values, one a line: as a terminal (monospace, light on dark) or a web form (sans,
// dark on light, values in framed fields). `size` is the font's pixel size.
inline SecretScreen drawScreen(const QList<std::pair<QString, ScreenItem>>& lines, int size, bool terminal,
                               QSize screen = QSize(1280, 720)) {
    SecretScreen out;
    out.image = QImage(screen, QImage::Format_ARGB32_Premultiplied);
    const QColor background = terminal ? QColor(30, 30, 36) : QColor(250, 250, 252);
    const QColor ink = terminal ? QColor(220, 223, 228) : QColor(32, 33, 36);
    out.image.fill(background);
    QPainter painter(&out.image);
    QFont font(terminal ? QStringLiteral("DejaVu Sans Mono") : QStringLiteral("DejaVu Sans"));
    font.setPixelSize(size);
    font.setHintingPreference(QFont::PreferFullHinting);
    painter.setFont(font);
    const QFontMetrics metrics(font);
    const int lineHeight = terminal ? metrics.height() + size / 3 : metrics.height() * 2 + size;
    int y = 24;
    const int margin = 24;
    for (const auto& [label, item] : lines) {
        if (y + lineHeight > screen.height() - 8)
            break;
        ScreenItem placed = item;
        int x = margin;
        painter.setPen(terminal ? QColor(120, 200, 140) : QColor(90, 90, 96));
        if (!label.isEmpty()) {
            painter.drawText(x, y + metrics.ascent(), label);
            x += metrics.horizontalAdvance(label) + (terminal ? metrics.horizontalAdvance(' ') : size);
        }
        if (!terminal) {
            const QRect field(x - 6, y - size / 2, metrics.horizontalAdvance(item.text) + 12,
                              metrics.height() + size);
            painter.setPen(QColor(180, 182, 190));
            painter.setBrush(Qt::white);
            painter.drawRoundedRect(field, 4, 4);
            painter.setBrush(Qt::NoBrush);
        }
        painter.setPen(ink);
        painter.drawText(x, y + metrics.ascent(), item.text);
        placed.box = QRect(x, y, metrics.horizontalAdvance(item.text), metrics.height());
        out.items.append(placed);
        y += lineHeight;
    }
    return out;
}

} // namespace trovix::testing
