#pragma once

#include "document/Step.h"

#include <QFuture>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <QUuid>

#include <functional>

namespace trovix {

// The one open document of the run. Windows and commands all observe this same object; new, open and
// load rewrite its fields in place rather than replacing it.
//
// Every assignment to a published field (title, steps, selection, isRecording, fileURL) first emits
// willChange() and then the field's own *WillChange(newValue) signal, and only then stores the value,
// so observers still read the old value during the assignment. Equal values are assigned (and
// announced) too. subscribe() gives a per-field stream that also delivers the current value at once.
class Guide : public QObject {
    Q_OBJECT
public:
    // The title of a new guide: `untitled` as the sources say it, untitledTitle() in the user's language.
    static inline const QString untitled = QStringLiteral("Untitled guide");
    static QString untitledTitle();

    explicit Guide(QObject* parent = nullptr);

    const QString& title() const { return m_title; }
    void setTitle(const QString& title);

    const QList<Step>& steps() const { return m_steps; }
    void setSteps(const QList<Step>& steps);

    // The selected step's id; null when none.
    QUuid selection() const { return m_selection; }
    void setSelection(const QUuid& id);

    bool isRecording() const { return m_isRecording; }
    void setRecording(bool on);

    // The guide folder this document was last opened from or saved to; empty when none.
    const QUrl& fileURL() const { return m_fileURL; }
    void setFileURL(const QUrl& url);

    bool isDirty() const { return m_isDirty; }
    void setDirty(bool dirty) { m_isDirty = dirty; }

    // The first step with this id, or nullptr.
    const Step* step(const QUuid& id) const;
    int indexOf(const QUuid& id) const;
    // Changes the first step with this id in one assignment to `steps`; false when there is none.
    bool updateStep(const QUuid& id, const std::function<void(Step&)>& change);
    // Changes the picture of the first step with this id (and whatever else `change` does) in one
    // assignment to `steps`. A step whose base changed gets a new id, and the selection follows it:
    // a guide folder keeps each step's picture under its id and never writes it again. Answers the
    // step's id afterwards, or a null id when there is no such step.
    QUuid replacePicture(const QUuid& id, const std::function<void(Step&)>& change);
    // Replaces a step's annotations (and its rendered picture) in one assignment to `steps`.
    bool replaceAnnotations(const QUuid& id, const QList<Annotation>& annotations);

    // Appends the step, then selects it (two assignments). With an intake set, the step first goes
    // through it, and is appended once the intake is done with it, in the order appended.
    void append(const Step& step);
    // The id of the step appended last, whether it has joined the guide or is still in the intake;
    // null when there is none. withdrawLast() takes that step back out.
    QUuid lastAppended() const;
    void withdrawLast();

    // What every new step goes through before it joins the guide, for work that must be done before
    // any write of the step: it may change the step (never its id). The future may finish on any
    // thread; a failed or cancelled one lets the step in as it was given.
    using Intake = std::function<QFuture<Step>(const Step&)>;
    void setIntake(Intake intake) { m_intake = std::move(intake); }
    // Steps handed to append() that are still in the intake, in the order appended: windows show
    // them as pending, while every write (which reads steps()) leaves them out until they join.
    int pendingCount() const { return int(m_pending.size()); }
    QList<Step> pendingSteps() const;
    // Waits for every step in the intake and appends it: before quitting, so none is lost.
    void settlePending();
    // Replaces title, steps (selecting the first), and file URL without touching isDirty. Steps still
    // in the intake belong to the guide they were taken for: they never join the new contents, so
    // a command that replaces them lets them join first (settlePending) before it asks to save.
    void replaceContents(const QString& title, const QList<Step>& steps, const QUrl& fileURL);
    // Empties the document, marks it clean and writes the working copy at once.
    void reset();

    // Writes the working copy about one second after the last change.
    void startAutosave();
    // Writes the working copy now, ignoring errors.
    void writeWorkingCopy();

    // Calls fn with the field's current value now and with every newly assigned value later, for as
    // long as context lives. Usage: guide.subscribe(&Guide::titleWillChange, &Guide::title, this, fn).
    template <typename Signal, typename Getter, typename Fn>
    QMetaObject::Connection subscribe(Signal signal, Getter getter, const QObject* context, Fn fn) {
        fn((this->*getter)());
        return connect(this, signal, context, std::move(fn));
    }

Q_SIGNALS:
    // One signal for every assignment to any published field, before the value is stored.
    void willChange();
    void titleWillChange(const QString& title);
    void stepsWillChange(const QList<trovix::Step>& steps);
    void selectionWillChange(const QUuid& selection);
    void recordingWillChange(bool isRecording);
    void fileURLWillChange(const QUrl& fileURL);
    // The steps in the intake changed: one arrived, joined the guide, or was left behind.
    void pendingWillChange(const QList<trovix::Step>& pending);

private:
    void markDirty();
    void appendNow(const Step& step);
    void admitFinished();

    QString m_title = untitledTitle();
    QList<Step> m_steps;
    QUuid m_selection;
    bool m_isRecording = false;
    QUrl m_fileURL;
    bool m_isDirty = false;
    bool m_suppressDirty = false;
    QTimer m_autosave;
    Intake m_intake;
    struct Pending {
        Step given;
        QFuture<Step> screened;
    };
    QList<Pending> m_pending;
};

} // namespace trovix
