#pragma once

#include "export/Exporter.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class QWidget;

namespace trovix {

class Guide;

// The command behind the export panel's format buttons: reads the quality setting, asks where to
// export, runs the writer and reports what was written (name, size, quality) with a way to show it
// in the file manager, or shows what failed.
//
// The writer runs on a worker thread over a copy of the steps while the user interface stays
// blocked for input; an export that takes longer than half a second shows its progress.
class ExportCommand : public QObject {
    Q_OBJECT
public:
    static constexpr int progressDelayMs = 500;
    using Reveal = std::function<void(const QString& path)>;

    explicit ExportCommand(QObject* parent = nullptr);

    void exportGuide(const Guide& guide, ExportFormat format, QWidget* window);
    void exportMarkdown(const Guide& guide, ExportQuality quality, QWidget* window);
    // Tells the user what was written at `path`; `bytes` is the size written (when 0, the size of
    // everything at `path` is counted), and `covered` how many regions of the pictures were covered
    // to hide secrets.
    void reportExport(const QString& path, qint64 bytes, QWidget* window, int covered = 0);

    // The size of a file, or of every file below a folder.
    static qint64 sizeOnDisk(const QString& path);
    // "2.4 MB", "823 kB", "12 bytes".
    static QString sizeText(qint64 bytes);

    // How "Show in File Manager" shows a path (tests replace it).
    void setReveal(Reveal reveal) { m_reveal = std::move(reveal); }
    bool isRunning() const { return m_running; }
    // How long an export runs before its progress shows.
    void setProgressDelay(int ms) { m_progressDelay = ms; }

private:
    struct Outcome {
        std::optional<ExportResult> result;
        QString error;
    };
    Outcome run(const QString& name, const std::function<ExportResult(const ExportProgress&)>& work,
                QWidget* window);
    QString startDirectory() const;
    // The save dialog's title for a one-file format.
    static QString saveTitle(ExportFormat format);
    void showError(const QString& message, QWidget* window);

    Reveal m_reveal;
    QString m_lastDirectory;
    bool m_running = false;
    int m_progressDelay = progressDelayMs;
};

} // namespace trovix
