#pragma once

#include <QColor>
#include <QIcon>
#include <QStringList>

namespace trovix::Icons {

// Uses the Adwaita theme when the desktop names no icon theme of its own (a bare X session), so
// that the toolbar has pictures everywhere.
void ensureTheme();

// The first of `names` that the icon theme has (each also tried with "-symbolic"), else `fallback`.
QIcon themed(const QStringList& names, const QIcon& fallback = {});

// The icon redrawn in one colour, for the red recording button.
QIcon tinted(const QIcon& icon, const QColor& colour);

// The application's own icon.
QIcon application();

} // namespace trovix::Icons
