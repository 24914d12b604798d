#pragma once

#include <QString>
#include <QStringList>

namespace trovix {

// What `trovix` was asked to do, read before any display is opened so that --help and --version
// work anywhere, and a desktop shortcut can hand a command to the running instance.
struct CommandLine {
    enum class Action {
        run,     // start (or reach) Trovix, open `paths`, then run `command` if any
        help,    // print usage() and exit 0
        version, // print the version and exit 0
        invalid, // print `error` and usage() on stderr, exit 2
    };

    Action action = Action::run;
    // "capture", "toggle-recording", "library" or empty.
    QString command;
    // Guide folders as given (relative paths are made absolute by the caller).
    QStringList paths;
    QString error;

    static CommandLine parse(const QStringList& arguments); // arguments without the program name
    static QString usage();
    static QString versionText();
};

} // namespace trovix
