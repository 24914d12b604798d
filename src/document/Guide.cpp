#include "document/Guide.h"

#include "document/GuideStore.h"

#include <QFutureWatcher>

namespace trovix {

Guide::Guide(QObject* parent)
    : QObject(parent) {
    // The dirty observers: every later assignment to title or steps marks the document dirty.
    connect(this, &Guide::titleWillChange, this, &Guide::markDirty);
    connect(this, &Guide::stepsWillChange, this, &Guide::markDirty);

    m_autosave.setSingleShot(true);
    m_autosave.setInterval(1000);
}

void Guide::markDirty() {
    if (!m_suppressDirty)
        m_isDirty = true;
}

QString Guide::untitledTitle() {
    return tr("Untitled guide");
}

void Guide::setTitle(const QString& title) {
    Q_EMIT willChange();
    Q_EMIT titleWillChange(title);
    m_title = title;
}

void Guide::setSteps(const QList<Step>& steps) {
    Q_EMIT willChange();
    Q_EMIT stepsWillChange(steps);
    m_steps = steps;
}

void Guide::setSelection(const QUuid& id) {
    Q_EMIT willChange();
    Q_EMIT selectionWillChange(id);
    m_selection = id;
}

void Guide::setRecording(bool on) {
    Q_EMIT willChange();
    Q_EMIT recordingWillChange(on);
    m_isRecording = on;
}

void Guide::setFileURL(const QUrl& url) {
    Q_EMIT willChange();
    Q_EMIT fileURLWillChange(url);
    m_fileURL = url;
}

const Step* Guide::step(const QUuid& id) const {
    const int i = indexOf(id);
    return i < 0 ? nullptr : &m_steps[i];
}

int Guide::indexOf(const QUuid& id) const {
    for (int i = 0; i < m_steps.size(); ++i)
        if (m_steps[i].id == id)
            return i;
    return -1;
}

bool Guide::updateStep(const QUuid& id, const std::function<void(Step&)>& change) {
    const int i = indexOf(id);
    if (i < 0)
        return false;
    QList<Step> steps = m_steps;
    change(steps[i]);
    setSteps(steps);
    return true;
}

QUuid Guide::replacePicture(const QUuid& id, const std::function<void(Step&)>& change) {
    const int i = indexOf(id);
    if (i < 0)
        return {};
    QList<Step> steps = m_steps;
    change(steps[i]);
    if (!steps[i].base.sameAs(m_steps[i].base))
        steps[i].id = QUuid::createUuid();
    const QUuid now = steps[i].id;
    const bool selected = m_selection == id;
    setSteps(steps);
    if (selected && now != id)
        setSelection(now);
    return now;
}

bool Guide::replaceAnnotations(const QUuid& id, const QList<Annotation>& annotations) {
    return updateStep(id, [&](Step& step) { step.setAnnotations(annotations); });
}

void Guide::append(const Step& step) {
    if (!m_intake) {
        appendNow(step);
        return;
    }
    QFuture<Step> screened = m_intake(step);
    QList<Step> pending = pendingSteps();
    pending.append(step);
    Q_EMIT pendingWillChange(pending);
    m_pending.append({step, screened});
    // A watcher the guide owns, rather than a continuation on the future: a guide gone before the
    // screening ends takes its watcher along, while a continuation would still be called. It reports
    // a future that is already finished too.
    auto* watcher = new QFutureWatcher<Step>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        watcher->deleteLater();
        admitFinished();
    });
    watcher->setFuture(screened);
}

QUuid Guide::lastAppended() const {
    if (!m_pending.isEmpty())
        return m_pending.last().given.id;
    return m_steps.isEmpty() ? QUuid() : m_steps.last().id;
}

void Guide::withdrawLast() {
    if (!m_pending.isEmpty()) {
        // Its screening runs on, and its result is dropped.
        Q_EMIT pendingWillChange(pendingSteps().first(m_pending.size() - 1));
        m_pending.removeLast();
    } else if (!m_steps.isEmpty()) {
        setSteps(m_steps.first(m_steps.size() - 1));
    }
}

QList<Step> Guide::pendingSteps() const {
    QList<Step> steps;
    steps.reserve(m_pending.size());
    for (const Pending& pending : m_pending)
        steps.append(pending.given);
    return steps;
}

void Guide::admitFinished() {
    while (!m_pending.isEmpty() && m_pending.first().screened.isFinished()) {
        Step step = m_pending.first().given;
        try {
            const QFuture<Step>& screened = m_pending.first().screened;
            if (!screened.isCanceled() && screened.resultCount() > 0)
                step = screened.result();
        } catch (...) {
        }
        // Out of the pending list before it joins, so no observer ever sees the step twice.
        Q_EMIT pendingWillChange(pendingSteps().mid(1));
        m_pending.removeFirst();
        appendNow(step);
    }
}

void Guide::settlePending() {
    for (Pending& pending : m_pending)
        pending.screened.waitForFinished();
    admitFinished();
}

void Guide::appendNow(const Step& step) {
    QList<Step> steps = m_steps;
    steps.append(step);
    setSteps(steps);
    setSelection(step.id);
}

void Guide::replaceContents(const QString& title, const QList<Step>& steps, const QUrl& fileURL) {
    if (!m_pending.isEmpty()) {
        // Taken for the contents being replaced, which the user has saved or chosen to discard:
        // they go with them. Their screening runs on and its result is dropped (the watchers
        // report into an empty list).
        Q_EMIT pendingWillChange({});
        m_pending.clear();
    }
    m_suppressDirty = true;
    setTitle(title);
    setSteps(steps);
    setSelection(steps.isEmpty() ? QUuid() : steps.first().id);
    setFileURL(fileURL);
    m_suppressDirty = false;
}

void Guide::reset() {
    replaceContents(untitledTitle(), {}, QUrl());
    m_isDirty = false;
    writeWorkingCopy();
}

void Guide::startAutosave() {
    // Each change restarts the one-second timer; the write runs once the changes pause. It runs on the
    // store's writer thread from a snapshot taken here, so neither typing nor a fresh capture whose PNG
    // is still being encoded ever waits for the disk.
    m_autosave.disconnect(this);
    m_autosave.setTimerType(Qt::PreciseTimer); // a coarse timer may fire 50 ms late
    connect(&m_autosave, &QTimer::timeout, this,
            [this] { GuideStore::writeInBackground(*this, GuideStore::workingDir()); });
    connect(this, &Guide::willChange, &m_autosave, qOverload<>(&QTimer::start), Qt::UniqueConnection);
}

void Guide::writeWorkingCopy() {
    try {
        GuideStore::write(*this, GuideStore::workingDir(), true);
    } catch (const std::exception&) {
        // The working copy follows the guide as best it can; a full disk must not disturb the user.
    }
}

} // namespace trovix
