#pragma once

#include <QString>
#include <Qt>

namespace trovix {

// One key pressed in another application, as a keyboard source reports it: the key as Qt names it
// (Qt::Key_S for the S key whatever Shift does to it, Qt::Key_Return, Qt::Key_F5), the modifiers held
// with it (Ctrl, Alt, Super as Meta, Shift; AltGr is no modifier here, it types), and the characters
// it types, empty when it types none (with Ctrl, Alt or Super held it types none).
struct KeyStroke {
    int key = 0;
    Qt::KeyboardModifiers modifiers = Qt::NoModifier;
    QString text;
};

} // namespace trovix
