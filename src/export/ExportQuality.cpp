#include "export/ExportQuality.h"

#include <QCoreApplication>
#include <QSettings>

namespace trovix {

QString storedValue(ExportQuality quality) {
    switch (quality) {
    case ExportQuality::small:
        return QStringLiteral("small");
    case ExportQuality::balanced:
        return QStringLiteral("balanced");
    case ExportQuality::full:
        return QStringLiteral("full");
    }
    return {};
}

std::optional<ExportQuality> exportQualityFromStoredValue(const QString& value) {
    for (ExportQuality quality : allExportQualities)
        if (storedValue(quality) == value)
            return quality;
    return std::nullopt;
}

QString title(ExportQuality quality) {
    switch (quality) {
    case ExportQuality::small:
        return QCoreApplication::translate("trovix::ExportQuality", "Small file");
    case ExportQuality::balanced:
        return QCoreApplication::translate("trovix::ExportQuality", "Balanced");
    case ExportQuality::full:
        return QCoreApplication::translate("trovix::ExportQuality", "Full quality");
    }
    return {};
}

QString description(ExportQuality quality) {
    switch (quality) {
    case ExportQuality::small:
        return QCoreApplication::translate(
            "trovix::ExportQuality",
            "Smallest files (about 80% smaller). Fine on screen; text is slightly softer when printed.");
    case ExportQuality::balanced:
        return QCoreApplication::translate("trovix::ExportQuality",
                                           "Sharp text with roughly half the file size. Recommended.");
    case ExportQuality::full:
        return QCoreApplication::translate("trovix::ExportQuality",
                                           "Original PNG screenshots. Largest files.");
    }
    return {};
}

std::optional<int> maxSide(ExportQuality quality) {
    switch (quality) {
    case ExportQuality::small:
        return 1280;
    case ExportQuality::balanced:
        return 1800;
    case ExportQuality::full:
        break;
    }
    return std::nullopt;
}

std::optional<double> jpegQuality(ExportQuality quality) {
    switch (quality) {
    case ExportQuality::small:
        return 0.7;
    case ExportQuality::balanced:
        return 0.85;
    case ExportQuality::full:
        break;
    }
    return std::nullopt;
}

ExportQuality currentExportQuality() {
    // Named explicitly so that the command-line exporter reads the same settings as the application.
    const QSettings settings(QStringLiteral("Trovix"), QStringLiteral("Trovix"));
    return exportQualityFromStoredValue(settings.value(QLatin1String(exportQualityKey)).toString())
        .value_or(ExportQuality::balanced);
}

void setCurrentExportQuality(ExportQuality quality) {
    QSettings settings(QStringLiteral("Trovix"), QStringLiteral("Trovix"));
    settings.setValue(QLatin1String(exportQualityKey), storedValue(quality));
}

QString title(ExportFormat format) {
    switch (format) {
    case ExportFormat::markdown:
        return QCoreApplication::translate("trovix::ExportQuality", "Markdown (folder with images)…");
    case ExportFormat::html:
        return QCoreApplication::translate("trovix::ExportQuality", "HTML (single file)…");
    case ExportFormat::pdf:
        return QCoreApplication::translate("trovix::ExportQuality", "PDF…");
    case ExportFormat::docx:
        return QCoreApplication::translate("trovix::ExportQuality", "Word document (.docx)…");
    case ExportFormat::odt:
        return QCoreApplication::translate("trovix::ExportQuality", "OpenDocument text (.odt)…");
    }
    return {};
}

QString formatName(ExportFormat format) {
    switch (format) {
    case ExportFormat::markdown:
        return QStringLiteral("markdown");
    case ExportFormat::html:
        return QStringLiteral("html");
    case ExportFormat::pdf:
        return QStringLiteral("pdf");
    case ExportFormat::docx:
        return QStringLiteral("docx");
    case ExportFormat::odt:
        return QStringLiteral("odt");
    }
    return {};
}

} // namespace trovix
