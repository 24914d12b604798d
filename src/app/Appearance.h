#pragma once

#include <QColor>
#include <QFont>

class QPalette;
class QWidget;

namespace trovix {

// The text styles and colours of the main window, derived from the desktop's own font and palette
// so that they follow the user's theme.
namespace Appearance {

// Bold body text: section headings and the guide title.
QFont headline();
// A larger semibold heading: the step title in the detail column.
QFont title2();
// Small text under a control.
QFont caption();

// Text that matters less than the body text.
QColor secondaryText(const QPalette& palette);
// A faint line colour for outlines around pictures.
QColor faint(const QPalette& palette);
// The accent colour (the palette's highlight).
QColor accent(const QPalette& palette);
// The red of recording and destructive buttons.
QColor red();

// Gives `widget` the secondary text colour.
void makeSecondary(QWidget* widget);

} // namespace Appearance

} // namespace trovix
