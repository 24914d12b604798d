#include "app/CommandLine.h"

#include <QCoreApplication>

namespace trovix {

namespace {

const QStringList commands = {QStringLiteral("capture"), QStringLiteral("toggle-recording"),
                              QStringLiteral("library")};

// Qt's own options (`trovix -style Fusion`, `-platform xcb`), left for QApplication to take.
const QStringList qtOptionsWithValue = {QStringLiteral("platform"),
                                        QStringLiteral("platformpluginpath"),
                                        QStringLiteral("platformtheme"),
                                        QStringLiteral("plugin"),
                                        QStringLiteral("qwindowgeometry"),
                                        QStringLiteral("geometry"),
                                        QStringLiteral("qwindowtitle"),
                                        QStringLiteral("title"),
                                        QStringLiteral("qwindowicon"),
                                        QStringLiteral("icon"),
                                        QStringLiteral("display"),
                                        QStringLiteral("style"),
                                        QStringLiteral("stylesheet"),
                                        QStringLiteral("session"),
                                        QStringLiteral("name")};
const QStringList qtFlags = {QStringLiteral("reverse"), QStringLiteral("nograb"), QStringLiteral("dograb"),
                             QStringLiteral("sync"), QStringLiteral("widgetcount")};

} // namespace

CommandLine CommandLine::parse(const QStringList& arguments) {
    CommandLine line;
    bool optionsEnded = false;
    bool skipValue = false;
    for (const QString& argument : arguments) {
        if (skipValue) {
            skipValue = false;
            continue;
        }
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
        const QString bare = argument.mid(argument.startsWith(QLatin1String("--")) ? 2 : 1);
        if (qtFlags.contains(bare))
            continue;
        if (qtOptionsWithValue.contains(bare.section(u'=', 0, 0))) {
            skipValue = !bare.contains(u'=');
            continue;
        }
        const QString name = argument.mid(2);
        if (argument.startsWith(QLatin1String("--")) && commands.contains(name)) {
            if (!line.command.isEmpty() && line.command != name)
                return CommandLine{Action::invalid,
                                   {},
                                   {},
                                   QCoreApplication::translate("trovix::CommandLine",
                                                               "--%1 and --%2 cannot be used together")
                                       .arg(line.command, name)};
            line.command = name;
            continue;
        }
        return CommandLine{
            Action::invalid,
            {},
            {},
            QCoreApplication::translate("trovix::CommandLine", "unknown option %1").arg(argument)};
    }
    return line;
}

QString CommandLine::usage() {
    return QCoreApplication::translate(
        "trovix::CommandLine",
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
