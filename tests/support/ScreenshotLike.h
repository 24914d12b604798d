#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRandomGenerator>

namespace trovix::testing {

// A picture that compresses like a real screenshot rather than like noise or a flat fill: a title
// bar, a sidebar, a gradient banner, flat panels and many lines of small text. `seed` varies the
// text and colours so that no two steps are alike.
inline QImage screenshotLike(int width, int height, quint32 seed) {
    QRandomGenerator random(seed);
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(246, 246, 248));
    QPainter painter(&image);
    const double u = width / 1920.0; // layout unit: the picture is laid out as if 1920 wide

    painter.fillRect(QRectF(0, 0, width, 40 * u), QColor(225, 225, 230));
    painter.fillRect(QRectF(0, 40 * u, 280 * u, height), QColor(236, 236, 240));
    QLinearGradient banner(0, 0, width, 0);
    banner.setColorAt(0, QColor::fromHsv(int(random.bounded(360)), 120, 230));
    banner.setColorAt(1, QColor::fromHsv(int(random.bounded(360)), 90, 250));
    painter.fillRect(QRectF(300 * u, 60 * u, width - 320 * u, 160 * u), banner);

    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(std::max(8, int(14 * u)));
    painter.setFont(font);
    static const char* const words[] = {"Settings",    "Network", "Display", "Open",      "Save",  "Export",
                                        "Preferences", "Account", "Wi-Fi",   "Bluetooth", "Sound", "Keyboard",
                                        "Privacy",     "Updates", "About",   "Apply"};
    const double line = 22 * u;
    for (double y = 60 * u; y < height - line; y += line) {
        painter.setPen(QColor(60, 60, 67));
        painter.drawText(QPointF(20 * u, y + 16 * u), QString::fromLatin1(words[random.bounded(16)]));
        if (y > 240 * u) {
            QString text;
            const int count = 4 + int(random.bounded(12));
            for (int i = 0; i < count; ++i)
                text += QString::fromLatin1(words[random.bounded(16)]) + QLatin1Char(' ');
            painter.setPen(QColor(28, 28, 30));
            painter.drawText(QPointF(320 * u, y + 16 * u), text);
        }
    }
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 6; ++i) {
        painter.setBrush(QColor::fromHsv(int(random.bounded(360)), 60, 245));
        painter.drawRoundedRect(
            QRectF((1300 + random.bounded(400)) * u, (300 + i * 120) * u, 260 * u, 90 * u), 8 * u, 8 * u);
    }
    painter.end();
    return image;
}

} // namespace trovix::testing
