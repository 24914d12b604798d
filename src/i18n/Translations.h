#pragma once

namespace trovix {

// The interface language: the user's locale picks Trovix's texts and Qt's own (standard buttons,
// file dialogs). English needs nothing loaded: it is what the sources say.
class Translations {
public:
    // Loads and installs the translations for QLocale::system(); call once the application exists.
    static void install();
};

} // namespace trovix
