#pragma once

#include "document/Step.h"

#include <QStackedWidget>

class QLabel;
class QLineEdit;
class QPushButton;
class QScrollArea;

namespace trovix {

class GrowingTextEdit;
class StepPicture;

// The right-hand column of the main window: the selected step's title, note and picture with its
// two buttons, or a centred hint when no step is selected.
//
// Edits are reported as signals carrying the step's id; the column shows whatever it is given
// and leaves a field alone while its text already matches, so typing is never disturbed by the
// guide echoing the change back.
class StepDetail : public QStackedWidget {
    Q_OBJECT
public:
    explicit StepDetail(QWidget* parent = nullptr);

    // Shows `step`, or the hint for a guide with or without steps when it is null.
    void show(const Step* step, bool guideHasSteps);
    // The id of the step shown; null while the hint shows.
    QUuid shownStep() const { return m_id; }

    QLabel* hint() const { return m_hint; }
    QLineEdit* titleField() const { return m_title; }
    GrowingTextEdit* noteField() const { return m_note; }
    StepPicture* picture() const { return m_picture; }
    QPushButton* annotateButton() const { return m_annotate; }
    QPushButton* deleteButton() const { return m_delete; }

Q_SIGNALS:
    void titleEdited(const QUuid& id, const QString& title);
    void noteEdited(const QUuid& id, const QString& note);
    void annotateRequested(const QUuid& id);
    void deleteRequested();

private:
    QUuid m_id;
    QLabel* m_hint;
    QScrollArea* m_scroll;
    QLineEdit* m_title;
    GrowingTextEdit* m_note;
    StepPicture* m_picture;
    QPushButton* m_annotate;
    QPushButton* m_delete;
    bool m_updating = false;
};

} // namespace trovix
