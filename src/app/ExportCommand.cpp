#include "app/ExportCommand.h"

#include "redact/StepScreening.h"

#include "document/Error.h"
#include "document/Guide.h"
#include "platform/Dialogs.h"
#include "platform/filemanager/FileManager.h"

#include <QApplication>
#include <QDirIterator>
#include <QEventLoop>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QLocale>
#include <QPointer>
#include <QProgressDialog>
#include <QStandardPaths>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include <limits>

namespace trovix {

namespace {

// Swallows user input while an export runs, so the guide and the windows stay as they are even
// before the (modal) progress dialog appears; the dialog itself has nothing to press.
class InputBlocker : public QObject {
public:
    InputBlocker() { qApp->installEventFilter(this); }
    ~InputBlocker() override { qApp->removeEventFilter(this); }

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::Shortcut:
        case QEvent::ShortcutOverride:
        case QEvent::Wheel:
        case QEvent::Drop:
            return true;
        default:
            return false;
        }
    }
};

} // namespace

ExportCommand::ExportCommand(QObject* parent)
    : QObject(parent)
    , m_reveal(FileManager::reveal) {}

QString ExportCommand::startDirectory() const {
    if (!m_lastDirectory.isEmpty() && QFileInfo(m_lastDirectory).isDir())
        return m_lastDirectory;
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
}

void ExportCommand::showError(const QString& message, QWidget* window) {
    Dialogs::Alert alert;
    alert.message = message;
    alert.buttons = {tr("OK")};
    alert.style = Dialogs::Style::critical;
    alert.cancelButton = 0;
    Dialogs::current().alert(window, alert);
}

ExportCommand::Outcome ExportCommand::run(const QString& name,
                                          const std::function<ExportResult(const ExportProgress&)>& work,
                                          QWidget* window) {
    QProgressDialog progress(tr("Exporting “%1”…").arg(name), QString(), 0, 0, window);
    progress.setWindowTitle(tr("Export"));
    progress.setWindowModality(Qt::ApplicationModal);
    progress.setMinimumDuration(std::numeric_limits<int>::max()); // shown by the timer below
    progress.setAutoClose(false);
    progress.setAutoReset(false);
    progress.setMinimumWidth(360);
    progress.hide();
    QTimer showLater;
    showLater.setSingleShot(true);
    connect(&showLater, &QTimer::timeout, &progress, &QProgressDialog::show);
    showLater.start(m_progressDelay);

    QPointer<QProgressDialog> dialog(&progress);
    ExportProgress report = [dialog](int done, int total) {
        QMetaObject::invokeMethod(
            qApp,
            [dialog, done, total] {
                if (dialog) {
                    dialog->setMaximum(total);
                    dialog->setValue(done);
                }
            },
            Qt::QueuedConnection);
    };
    QFutureWatcher<Outcome> watcher;
    QEventLoop loop;
    connect(&watcher, &QFutureWatcher<Outcome>::finished, &loop, &QEventLoop::quit);
    InputBlocker blocker;
    watcher.setFuture(QtConcurrent::run([work, report]() -> Outcome {
        try {
            return {work(report), {}};
        } catch (const Error& error) {
            return {std::nullopt, error.message()};
        } catch (const std::exception& error) {
            return {std::nullopt, QString::fromUtf8(error.what())};
        }
    }));
    if (!watcher.isFinished())
        loop.exec();
    return watcher.result();
}

QString ExportCommand::saveTitle(ExportFormat format) {
    switch (format) {
    case ExportFormat::html:
        return tr("Export as HTML");
    case ExportFormat::pdf:
        return tr("Export as PDF");
    case ExportFormat::docx:
        return tr("Export as Word Document");
    case ExportFormat::odt:
        return tr("Export as OpenDocument Text");
    case ExportFormat::markdown:
        break;
    }
    return tr("Export");
}

void ExportCommand::exportGuide(const Guide& guide, ExportFormat format, QWidget* window) {
    if (m_running)
        return; // one export at a time
    const ExportQuality quality = currentExportQuality();
    if (format == ExportFormat::markdown) {
        exportMarkdown(guide, quality, window);
        return;
    }

    const QString ext = formatName(format);
    Dialogs::SavePanel panel;
    panel.title = saveTitle(format);
    panel.directory = startDirectory();
    panel.proposedName = guide.title() + u'.' + ext;
    panel.suffixes = {ext};
    panel.prompt = tr("Export");
    const QString file = Dialogs::current().save(window, panel);
    if (file.isEmpty())
        return;
    m_lastDirectory = QFileInfo(file).absolutePath();

    const QString title = guide.title();
    const QList<Step> steps = guide.steps();
    m_running = true;
    const Outcome outcome = run(
        QFileInfo(file).fileName(),
        [=](const ExportProgress& progress) {
            return Exporter::write(format, title, steps, quality, file, progress);
        },
        window);
    m_running = false;
    if (outcome.result)
        reportExport(outcome.result->path, outcome.result->bytes, window, StepScreening::count(steps));
    else
        showError(outcome.error, window);
}

void ExportCommand::exportMarkdown(const Guide& guide, ExportQuality quality, QWidget* window) {
    Dialogs::OpenPanel panel;
    panel.title = tr("Choose where to create the guide folder");
    panel.directory = startDirectory();
    panel.prompt = tr("Export Here");
    panel.chooseDirectories = true;
    panel.canCreateDirectories = true;
    const QString parent = Dialogs::current().open(window, panel);
    if (parent.isEmpty())
        return;
    m_lastDirectory = parent;

    const QString title = guide.title();
    const QList<Step> steps = guide.steps();
    const QString folder = Exporter::markdownFolder(parent, title);
    m_running = true;
    const Outcome outcome = run(
        QFileInfo(folder).fileName(),
        [=](const ExportProgress& progress) {
            return Exporter::writeMarkdown(title, steps, quality, folder, progress);
        },
        window);
    m_running = false;
    if (outcome.result)
        reportExport(outcome.result->path, outcome.result->bytes, window, StepScreening::count(steps));
    else
        showError(outcome.error, window);
}

qint64 ExportCommand::sizeOnDisk(const QString& path) {
    qint64 total = 0;
    QDirIterator it(path, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        total += it.fileInfo().size();
    }
    if (total == 0)
        total = QFileInfo(path).isFile() ? QFileInfo(path).size() : 0;
    return total;
}

QString ExportCommand::sizeText(qint64 bytes) {
    return QLocale::system().formattedDataSize(bytes, bytes >= 1000 * 1000 ? 1 : 0,
                                               QLocale::DataSizeSIFormat);
}

void ExportCommand::reportExport(const QString& path, qint64 bytes, QWidget* window, int covered) {
    const qint64 total = bytes > 0 ? bytes : sizeOnDisk(path);
    Dialogs::Alert alert;
    alert.message = tr("Exported “%1”").arg(QFileInfo(path).fileName());
    alert.informativeText = tr("%1 · %2 image quality").arg(sizeText(total), title(currentExportQuality()));
    if (covered > 0)
        alert.informativeText +=
            u'\n' + (covered == 1 ? tr("1 region redacted") : tr("%1 regions redacted").arg(covered));
    alert.buttons = {tr("Show in File Manager"), tr("Done")};
    alert.style = Dialogs::Style::informational;
    alert.cancelButton = 1;
    if (Dialogs::current().alert(window, alert) == 0 && m_reveal)
        m_reveal(path);
}

} // namespace trovix
