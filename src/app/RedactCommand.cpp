#include "app/RedactCommand.h"

#include "document/Guide.h"
#include "platform/Dialogs.h"
#include "platform/ocr/TesseractRecognizer.h"
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
    return [reader](const QImage& prepared) {
        QList<ReadWord> words;
        const auto deadline = TextRecognizer::Clock::now() + std::chrono::seconds(60);
        for (const ScreenWord& word : reader->words(prepared, deadline))
            words.append(ReadWord{word.text, word.box});
        return words;
    };
}

QString RedactCommand::kindName(SecretKind kind, int count) {
    switch (kind) {
    case SecretKind::password:
        return tr("%n password field(s)", "", count);
    case SecretKind::email:
        return tr("%n e-mail address(es)", "", count);
    case SecretKind::card:
        return tr("%n card number(s)", "", count);
    case SecretKind::iban:
        return tr("%n IBAN(s)", "", count);
    case SecretKind::ip:
        return tr("%n IP address(es)", "", count);
    case SecretKind::token:
        return tr("%n key(s) or token(s)", "", count);
    case SecretKind::word:
        return tr("%n of your words", "", count);
    case SecretKind::manual:
        break;
    }
    return tr("%n region(s) covered by hand", "", count);
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
    alert.message = total > 0 ? tr("Covered %n region(s)", "", total) : tr("No secrets found");
    alert.informativeText = total > 0 ? summary(counts)
                                      : tr("Trovix found nothing to cover on the %n step(s) of this guide.",
                                           "", int(steps.size()));
    alert.buttons = {tr("OK")};
    alert.style = Dialogs::Style::informational;
    Dialogs::current().alert(window, alert);
}

} // namespace trovix
