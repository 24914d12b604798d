// trovix-export: exports a saved guide folder as Markdown, HTML, PDF, DOCX or ODT, for scripts and
// documentation pipelines.
//
// Exit status: 0 when everything was written, 1 when the export itself failed, 2 for bad arguments
// or a folder that is not a readable guide.

#include "document/Error.h"
#include "document/GuideStore.h"
#include "export/Exporter.h"
#include "i18n/Translations.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QTextStream>

#include <cstdio>
#include <unistd.h>

using namespace trovix;

namespace {

constexpr int exitFailed = 1;
constexpr int exitUsage = 2;

QTextStream& out() {
    static QTextStream stream(stdout);
    return stream;
}

QTextStream& err() {
    static QTextStream stream(stderr);
    return stream;
}

int usageError(const QString& message) {
    err() << "trovix-export: " << message << "\n"
          << QCoreApplication::translate("trovix::ExportTool",
                                         "Try “trovix-export --help” for more information.")
          << "\n";
    return exitUsage;
}

QString size(qint64 bytes) {
    return QLocale::system().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

std::optional<ExportFormat> formatNamed(const QString& name) {
    for (ExportFormat format : allExportFormats)
        if (name == formatName(format))
            return format;
    return std::nullopt;
}

// Where the export goes: next to the guide folder unless --output says otherwise. File names get
// the same treatment as the Markdown folder's name, so that no title can point outside the folder.
QString destination(ExportFormat format, const QString& guideFolder, const QString& title,
                    const QString& output) {
    const QString parent = QFileInfo(guideFolder).absolutePath();
    const QString extension = QLatin1Char('.') + formatName(format);
    if (format == ExportFormat::markdown)
        return output.isEmpty() ? Exporter::markdownFolder(parent, title)
                                : QFileInfo(output).absoluteFilePath();
    if (output.isEmpty())
        return QDir(parent).filePath(Exporter::safeName(title) + extension);
    if (QFileInfo(output).isDir())
        return QDir(output).absoluteFilePath(Exporter::safeName(title) + extension);
    return QFileInfo(output).absoluteFilePath();
}

// Qt's own warnings (a missing runtime folder and the like) are noise in a tool whose output
// scripts read; the tool reports its own failures.
void quietMessages(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtCriticalMsg || type == QtFatalMsg)
        qt_message_output(type, context, message);
}

} // namespace

int main(int argc, char** argv) {
    qInstallMessageHandler(quietMessages);
    // A command-line tool never opens a window: fonts and image codecs are all it needs.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("trovix-export"));
    Translations::install();

    QCommandLineParser parser;
    parser.setApplicationDescription(QCoreApplication::translate(
        "trovix::ExportTool",
        "Exports a Trovix guide folder as Markdown (a folder with guide.md and images), HTML (one file), "
        "PDF, or a Word (DOCX) or OpenDocument (ODT) document.\nWithout --output the export is written next "
        "to the guide folder."));
    parser.addPositionalArgument(
        QCoreApplication::translate("trovix::ExportTool", "GUIDE_FOLDER"),
        QCoreApplication::translate("trovix::ExportTool", "The saved guide folder (.trovix)."));
    const QCommandLineOption format(
        QStringLiteral("format"),
        QCoreApplication::translate("trovix::ExportTool", "markdown, html, pdf, docx or odt."),
        QCoreApplication::translate("trovix::ExportTool", "format"));
    const QCommandLineOption quality(
        QStringLiteral("quality"),
        QCoreApplication::translate(
            "trovix::ExportTool",
            "small, balanced or full (default: the quality chosen in Trovix, else balanced)."),
        QCoreApplication::translate("trovix::ExportTool", "quality"));
    const QCommandLineOption output(
        QStringLiteral("output"),
        QCoreApplication::translate(
            "trovix::ExportTool",
            "The HTML, PDF, DOCX or ODT file, or a folder to put it in; for Markdown, the folder to create."),
        QCoreApplication::translate("trovix::ExportTool", "path"));
    parser.addOptions({format, quality, output});
    const QCommandLineOption help = parser.addHelpOption();

    if (!parser.parse(QGuiApplication::arguments()))
        return usageError(parser.errorText());
    if (parser.isSet(help)) {
        out() << parser.helpText();
        return 0;
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 1)
        return usageError(positional.isEmpty()
                              ? QCoreApplication::translate("trovix::ExportTool", "no guide folder given")
                              : QCoreApplication::translate(
                                    "trovix::ExportTool", "only one guide folder can be exported at a time"));
    if (!parser.isSet(format))
        return usageError(QCoreApplication::translate(
            "trovix::ExportTool", "--format is required (markdown, html, pdf, docx or odt)"));
    const std::optional<ExportFormat> chosenFormat = formatNamed(parser.value(format));
    if (!chosenFormat)
        return usageError(
            QCoreApplication::translate("trovix::ExportTool",
                                        "unknown format “%1” (use markdown, html, pdf, docx or odt)")
                .arg(parser.value(format)));
    ExportQuality chosenQuality = currentExportQuality();
    if (parser.isSet(quality)) {
        const std::optional<ExportQuality> named = exportQualityFromStoredValue(parser.value(quality));
        if (!named)
            return usageError(QCoreApplication::translate(
                                  "trovix::ExportTool", "unknown quality “%1” (use small, balanced or full)")
                                  .arg(parser.value(quality)));
        chosenQuality = *named;
    }
    if (parser.isSet(output) && parser.value(output).isEmpty())
        return usageError(QCoreApplication::translate("trovix::ExportTool", "--output needs a path"));

    const QString guideFolder = QDir(positional.first()).absolutePath();
    if (!QFileInfo(guideFolder).isDir())
        return usageError(QCoreApplication::translate("trovix::ExportTool", "“%1” is not a folder")
                              .arg(positional.first()));
    LoadedGuide guide;
    try {
        guide = GuideStore::read(guideFolder);
    } catch (const Error& error) {
        err() << "trovix-export: " << error.message() << "\n";
        return exitUsage;
    }

    const QString target = destination(*chosenFormat, guideFolder, guide.title, parser.value(output));
    // A Markdown export must not fill the guide folder itself with its guide.md and images.
    if (QFileInfo(target).absoluteFilePath() == guideFolder)
        return usageError(QCoreApplication::translate(
                              "trovix::ExportTool", "the export would be written into the guide folder “%1”; "
                                                    "choose another place with --output")
                              .arg(guideFolder));

    const bool showProgress = isatty(STDERR_FILENO);
    const ExportProgress progress = [showProgress](int done, int total) {
        if (!showProgress || total == 0)
            return;
        err() << "\r"
              << QCoreApplication::translate("trovix::ExportTool", "Exporting step %1 of %2…")
                     .arg(done)
                     .arg(total);
        if (done == total)
            err() << "\r\033[K";
        err().flush();
    };

    ExportResult result;
    try {
        result = Exporter::write(*chosenFormat, guide.title, guide.steps, chosenQuality, target, progress);
    } catch (const Error& error) {
        if (showProgress)
            err() << "\n";
        err() << "trovix-export: " << error.message() << "\n";
        return exitFailed;
    }

    if (*chosenFormat == ExportFormat::markdown)
        for (const QString& file : std::as_const(result.files))
            out() << file << "  " << size(QFileInfo(file).size()) << "\n";
    out() << QCoreApplication::translate("trovix::ExportTool", "Exported %1  %2 · %3 image quality")
                 .arg(result.path, size(result.bytes), title(chosenQuality))
          << "\n";
    // As the application's export report says it: the regions covered in the exported pictures.
    qsizetype covered = 0;
    for (const Step& step : std::as_const(guide.steps))
        covered += step.redactions.size();
    if (covered > 0)
        out() << (covered == 1
                      ? QCoreApplication::translate("trovix::ExportTool", "1 region redacted")
                      : QCoreApplication::translate("trovix::ExportTool", "%1 regions redacted").arg(covered))
              << "\n";
    return 0;
}
