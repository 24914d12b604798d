#include "app/CommandLine.h"

namespace trovix {

namespace {

const QStringList commands = {QStringLiteral("capture"), QStringLiteral("toggle-recording"),
                              QStringLiteral("library")};

} // namespace

CommandLine CommandLine::parse(const QStringList& arguments) {
    CommandLine line;
    bool optionsEnded = false;
    for (const QString& argument : arguments) {
        if (optionsEnded || !argument.startsWith(u'-') || argument == QLatin1String("-")) {
            line.paths.append(argument);
            continue;
        }
        if (argument == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        if (argument == QLatin1String("-h") || argument == QLatin1String("--help"))
            return CommandLine{Action::help, {}, {}, {}};
        if (argument == QLatin1String("-v") || argument == QLatin1String("--version"))
            return CommandLine{Action::version, {}, {}, {}};
        const QString name = argument.mid(2);
        if (argument.startsWith(QLatin1String("--")) && commands.contains(name)) {
            if (!line.command.isEmpty() && line.command != name)
                return CommandLine{
                    Action::invalid,
                    {},
                    {},
                    QStringLiteral("--%1 and --%2 cannot be used together").arg(line.command, name)};
            line.command = name;
            continue;
        }
        return CommandLine{Action::invalid, {}, {}, QStringLiteral("unknown option %1").arg(argument)};
    }
    return line;
}

QString CommandLine::usage() {
    return QStringLiteral(
        "Usage: trovix [OPTION] [GUIDE_FOLDER…]\n"
        "Turn screenshots into step-by-step illustrated guides.\n"
        "\n"
        "  --capture            capture a region of the screen\n"
        "  --toggle-recording   start or stop click recording\n"
        "  --library            show the guides library\n"
        "  -h, --help           show this help and exit\n"
        "  -v, --version        show the version and exit\n"
        "\n"
        "A command goes to the Trovix already running on this display, or starts it first.\n"
        "Bind `trovix --capture` to a keyboard shortcut where the desktop does not let Trovix\n"
        "register Ctrl+Alt+S itself (Wayland sessions).\n");
}

QString CommandLine::versionText() {
    return QStringLiteral("trovix %1\n").arg(QStringLiteral(TROVIX_VERSION));
}

} // namespace trovix
