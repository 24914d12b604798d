#pragma once

// Small helpers shared by the application's tests: steps with recognisable pictures, and a guide
// filled with them.

#include "document/Guide.h"
#include "document/Step.h"

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QString>

namespace trovix::testing {

// A step whose picture is a flat colour with a darker frame, w × h pixels at the given scale.
inline Step colouredStep(const QString& title, QColor colour = QColor(70, 130, 200), int w = 320, int h = 200,
                         double scale = 1) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    QPainter painter(&image);
    painter.setPen(QPen(colour.darker(200), 4));
    painter.drawRect(image.rect().adjusted(2, 2, -2, -2));
    painter.end();
    return Step::make(Image(image), scale, title);
}

// Fills `guide` (clean afterwards) with steps titled "One", "Two", "Three", … and no selection.
inline void fill(Guide& guide, int count, const QString& title = QStringLiteral("Demo")) {
    static const QStringList names{QStringLiteral("One"), QStringLiteral("Two"), QStringLiteral("Three"),
                                   QStringLiteral("Four"), QStringLiteral("Five")};
    QList<Step> steps;
    for (int i = 0; i < count; ++i)
        steps.append(colouredStep(i < names.size() ? names[i] : QStringLiteral("Step %1").arg(i + 1),
                                  QColor::fromHsv((i * 47) % 360, 160, 220)));
    guide.replaceContents(title, steps, {});
    guide.setSelection({});
    guide.setDirty(false);
}

} // namespace trovix::testing
