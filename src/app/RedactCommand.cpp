#include "app/RedactCommand.h"

#include "document/Guide.h"
#include "platform/Dialogs.h"
#include "platform/ocr/TesseractRecognizer.h"
#include "redact/ReadingMemory.h"
#include "redact/Redactor.h"
#include "redact/StepScreening.h"

#include <QEventLoop>
#include <QFutureWatcher>
#include <QProgressDialog>
#include <QtConcurrent/QtConcurrentRun>

#include <numeric>

namespace trovix {

RedactCommand::RedactCommand(QObject* parent)
    : QObject(parent) {}

SecretDetector::Read RedactCommand::systemReader() {
    std::shared_ptr<TesseractRecognizer> reader =
        TesseractRecognizer::create(QLocale::system(), TesseractRecognizer::Layout::page);
    if (!reader)
        return {};
    return ReadingMemory::remembering([reader](const QImage& prepared) {
        QList<ReadWord> words;
        const auto deadline = TextRecognizer::Clock::now() + std::chrono::seconds(60);
        for (const ScreenWord& word : reader->words(prepared, deadline))
            words.append(ReadWord{word.text, word.box});
        return words;
    });
}

QString RedactCommand::kindName(SecretKind kind, int count) {
    switch (kind) {
    case SecretKind::password:
        return (count == 1 ? tr("1 password field") : tr("%1 password fields").arg(count));
    case SecretKind::email:
        return (count == 1 ? tr("1 e-mail address") : tr("%1 e-mail addresses").arg(count));
    case SecretKind::card:
        return (count == 1 ? tr("1 card number") : tr("%1 card numbers").arg(count));
    case SecretKind::iban:
        return (count == 1 ? tr("1 IBAN") : tr("%1 IBANs").arg(count));
    case SecretKind::ip:
        return (count == 1 ? tr("1 IP address") : tr("%1 IP addresses").arg(count));
    case SecretKind::token:
        return (count == 1 ? tr("1 key or token") : tr("%1 keys or tokens").arg(count));
    case SecretKind::word:
        return (count == 1 ? tr("1 of your words") : tr("%1 of your words").arg(count));
    case SecretKind::manual:
        break;
    }
    return (count == 1 ? tr("1 region covered by hand") : tr("%1 regions covered by hand").arg(count));
}

QString RedactCommand::summary(const QMap<SecretKind, int>& counts) {
    QStringList parts;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        if (it.value() > 0)
            parts.append(kindName(it.key(), it.value()));
    return parts.join(QStringLiteral(", "));
}

void RedactCommand::redactGuide(Guide& guide, QWidget* window) {
    if (m_running)
        return;
    const SecretDetector::Read read = systemReader();
    if (!read) {
        Dialogs::Alert alert;
        alert.message = tr("Trovix can’t read text on this computer");
        alert.informativeText =
            tr("Redacting secrets needs Tesseract and its English data (the packages libtesseract5 and "
               "tesseract-ocr-eng).");
        alert.buttons = {tr("OK")};
        alert.style = Dialogs::Style::critical;
        Dialogs::current().alert(window, alert);
        return;
    }
    const RedactionOptions options = RedactionOptions::current();
    const QList<Step> steps = guide.steps();
    m_running = true;

    QProgressDialog progress(tr("Looking for secrets…"), QString(), 0, int(steps.size()), window);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(300);
    QFutureWatcher<QList<Step>> watcher;
    QEventLoop loop;
    connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    connect(&watcher, &QFutureWatcherBase::progressValueChanged, &progress, &QProgressDialog::setValue);
    watcher.setFuture(QtConcurrent::run([steps, read, options](QPromise<QList<Step>>& promise) {
        promise.setProgressRange(0, int(steps.size()));
        QList<Step> out;
        for (const Step& step : steps) {
            out.append(StepScreening::screen(step, read, options));
            promise.setProgressValue(int(out.size()));
        }
        promise.addResult(out);
    }));
    if (!watcher.isFinished())
        loop.exec();
    m_running = false;
    const QList<Step> screened = watcher.result();

    // Only the regions found now are counted; each step is updated by id and only its picture
    // changes, so steps moved, renamed, annotated or deleted meanwhile keep those changes.
    QMap<SecretKind, int> counts;
    for (qsizetype i = 0; i < screened.size(); ++i) {
        const QList<Redaction> added = screened[i].redactions.mid(steps[i].redactions.size());
        if (added.isEmpty())
            continue;
        for (const Redaction& region : added)
            ++counts[region.kind];
        guide.replacePicture(screened[i].id, [&](Step& step) {
            if (step.base.sameAs(steps[i].base))
                step = Redactor::cover(step, added);
        });
    }

    Dialogs::Alert alert;
    const int total = std::accumulate(counts.cbegin(), counts.cend(), 0);
    alert.message = total > 0 ? (total == 1 ? tr("Covered 1 region") : tr("Covered %1 regions").arg(total))
                              : tr("No secrets found");
    const int stepCount = int(steps.size());
    alert.informativeText =
        total > 0        ? summary(counts)
        : stepCount == 1 ? tr("Trovix found nothing to cover on the one step of this guide.")
                         : tr("Trovix found nothing to cover on the %1 steps of this guide.").arg(stepCount);
    alert.buttons = {tr("OK")};
    alert.style = Dialogs::Style::informational;
    Dialogs::current().alert(window, alert);
}

} // namespace trovix
