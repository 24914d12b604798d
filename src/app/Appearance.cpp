#include "app/Appearance.h"

#include <QFontDatabase>
#include <QPalette>
#include <QWidget>

namespace trovix::Appearance {

namespace {

QFont scaled(double factor, QFont::Weight weight) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * factor);
    else
        font.setPixelSize(qRound(font.pixelSize() * factor));
    font.setWeight(weight);
    return font;
}

} // namespace

QFont headline() {
    return scaled(1.0, QFont::Bold);
}

QFont title2() {
    return scaled(1.4, QFont::DemiBold);
}

QFont caption() {
    return scaled(0.87, QFont::Normal);
}

QColor secondaryText(const QPalette& palette) {
    QColor colour = palette.color(QPalette::Active, QPalette::WindowText);
    colour.setAlphaF(0.6);
    return colour;
}

QColor faint(const QPalette& palette) {
    QColor colour = palette.color(QPalette::Active, QPalette::WindowText);
    colour.setAlphaF(0.15);
    return colour;
}

QColor accent(const QPalette& palette) {
    return palette.color(QPalette::Active, QPalette::Highlight);
}

QColor red() {
    return QColor(255, 59, 48);
}

void makeSecondary(QWidget* widget) {
    QPalette palette = widget->palette();
    const QColor colour = secondaryText(palette);
    palette.setColor(QPalette::WindowText, colour);
    palette.setColor(QPalette::Text, colour);
    widget->setPalette(palette);
}

} // namespace trovix::Appearance
