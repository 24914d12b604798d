#pragma once

#include "app/MainActions.h"
#include "document/Step.h"

#include <QSplitter>

class QLineEdit;

namespace trovix {

class Guide;
class StepDetail;
class StepListModel;
class StepListView;
class ThumbnailCache;

// The main window's content: the sidebar (guide title, step list) and the detail column, side by
// side in a split view. It shows and edits the shared guide directly; everything else goes through
// the actions.
//
// The guide announces each change before storing it, with the new value; the view takes the new
// value from the announcement, so it is up to date when the assignment returns.
class MainView : public QSplitter {
    Q_OBJECT
public:
    static constexpr int sidebarWidth = 260;
    static constexpr int sidebarMinimum = 220;
    static constexpr int sidebarMaximum = 400;

    MainView(Guide& guide, const MainActions& actions, QWidget* parent = nullptr);
    ~MainView() override;

    // Deletes the selected step and selects the one that took its place (else the new last one).
    void deleteSelected();
    // Moves the steps at `rows` before the step at `position` (the end when it equals the count).
    void moveSteps(const QList<int>& rows, int position);
    // The move rule, on any list.
    static QList<Step> moved(const QList<Step>& steps, const QList<int>& rows, int position);

    QLineEdit* titleField() const { return m_title; }
    StepListView* stepList() const { return m_list; }
    StepListModel* stepModel() const { return m_model; }
    StepDetail* detail() const { return m_detail; }
    ThumbnailCache* thumbnails() const { return m_thumbnails; }

private:
    void stepsChanging(const QList<Step>& steps);
    void pendingChanging(const QList<Step>& pending);
    void retainThumbnails();
    void selectionChanging(const QUuid& id);
    void showSelection(const QList<Step>& steps, const QUuid& id);
    void selectRow(const QUuid& id);

    Guide& m_guide;
    MainActions m_actions;
    QLineEdit* m_title;
    StepListView* m_list;
    StepListModel* m_model;
    ThumbnailCache* m_thumbnails;
    StepDetail* m_detail;
    bool m_syncing = false;
};

} // namespace trovix
