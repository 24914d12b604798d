#pragma once

#include <QString>

#include <array>
#include <optional>

namespace trovix {

// The picture quality of an export. Saved guides are never affected: they always keep their
// full-resolution PNG screenshots.
enum class ExportQuality { small, balanced, full };

// The three presets in the order they are offered to the user.
inline constexpr std::array<ExportQuality, 3> allExportQualities{
    ExportQuality::small, ExportQuality::balanced, ExportQuality::full};

// "small", "balanced" or "full": the case's identity in the settings and in lists.
QString storedValue(ExportQuality quality);
// The case whose stored value is exactly `value` (case-sensitive), or none.
std::optional<ExportQuality> exportQualityFromStoredValue(const QString& value);
// "Small file", "Balanced", "Full quality".
QString title(ExportQuality quality);
// One sentence for the quality picker.
QString description(ExportQuality quality);
// The longest side of an exported picture in pixels; none for full (pictures keep their size).
std::optional<int> maxSide(ExportQuality quality);
// The JPEG quality (0…1) of small and balanced; none for full, which exports PNG.
std::optional<double> jpegQuality(ExportQuality quality);

// The settings key holding the user's choice (organization and application "Trovix").
inline constexpr char exportQualityKey[] = "exportQuality";
// The user's choice as stored now; balanced when the setting is missing or unknown.
ExportQuality currentExportQuality();
// Stores the user's choice.
void setCurrentExportQuality(ExportQuality quality);

// The export formats, in the order of the export menu.
enum class ExportFormat { markdown, html, pdf, docx, odt };

inline constexpr std::array<ExportFormat, 5> allExportFormats{
    ExportFormat::markdown, ExportFormat::html, ExportFormat::pdf, ExportFormat::docx, ExportFormat::odt};

// The export menu's item titles ("Markdown (folder with images)…", "HTML (single file)…", "PDF…",
// "Word document (.docx)…", "OpenDocument text (.odt)…").
QString title(ExportFormat format);
// The name used on the command line and as the file's extension: "markdown", "html", "pdf", "docx",
// "odt".
QString formatName(ExportFormat format);

} // namespace trovix
