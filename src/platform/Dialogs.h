#pragma once

#include <QString>
#include <QStringList>

class QWidget;

namespace trovix {

// Modal alerts and file panels. Everything the user is asked goes through the current Dialogs
// object, so tests install one that answers without a human (setCurrent()).
class Dialogs {
public:
    enum class Style { informational, warning, critical };

    struct Alert {
        QString message;          // the bold first line
        QString informativeText;  // the smaller text below it
        QStringList buttons;      // left-to-right order of importance: the first is the default
        Style style = Style::warning;
        int cancelButton = -1;    // index answered by Escape, -1 for none
    };

    struct SavePanel {
        QString title;
        QString directory;        // starting folder
        QString proposedName;     // file name proposed in the name field
        QStringList suffixes;     // allowed file name suffixes without the dot; empty for any
        QString prompt;           // the confirm button's text; empty for the default
    };

    struct OpenPanel {
        QString title;
        QString directory;
        QString prompt;           // the confirm button's text; empty for the default
        bool chooseDirectories = true;
        QString directorySuffix;  // when set, only folders with this suffix (e.g. "trovix") are offered
        bool canCreateDirectories = false;
    };

    virtual ~Dialogs() = default;

    // The index of the button chosen.
    virtual int alert(QWidget* parent, const Alert& alert) = 0;
    // The chosen path, or empty when cancelled.
    virtual QString save(QWidget* parent, const SavePanel& panel) = 0;
    virtual QString open(QWidget* parent, const OpenPanel& panel) = 0;

    // The Dialogs in use: the widget-based ones unless a test installed its own.
    static Dialogs& current();
    // Installs `dialogs` (not owned), or the widget-based ones again for nullptr.
    static void setCurrent(Dialogs* dialogs);
};

} // namespace trovix
