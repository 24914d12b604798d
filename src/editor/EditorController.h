#pragma once

#include "document/Annotation.h"
#include "document/Redaction.h"
#include "render/Image.h"

#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QButtonGroup;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QScrollArea;
class QWidget;

namespace trovix {

class CanvasView;
class RedactionOverlay;

// One annotation editor window: a tool bar over a scrolling canvas showing one step's screenshot.
// Done hands the edited list to the callback and closes; closing the window any other way discards
// the edits. Copy and Save… put the annotated picture on the clipboard or in a PNG file without
// touching the guide.
//
// An editor keeps itself alive: it joins openEditors() when made and leaves it (and is deleted)
// once its window closes, so callers create it with `new` and never delete it.
class EditorController : public QObject {
    Q_OBJECT
public:
    using DoneCallback = std::function<void(const QList<Annotation>&)>;

    // Opens the window in front, titled `title`. Without onDone the window has no Done button.
    EditorController(const Image& base, double scale, const QList<Annotation>& annotations,
                     const QString& title, DoneCallback onDone = {});
    ~EditorController() override;

    // What Done does with the covered regions: the regions uncovered and the boxes covered.
    using RedactDone = std::function<void(const QList<Redaction>& uncovered, const QList<QRectF>& added)>;
    // Shows the step's covered regions and adds the Redact tool. `original` is the picture before
    // they were covered, or null when they are final. Done calls onDone after the annotations' callback.
    void setRedactions(const QList<Redaction>& regions, const Image& original, RedactDone onDone);
    RedactionOverlay* redactions() const { return m_redactions; }
    // The Redact tool's segment in tools(), after the annotation tools.
    static int redactSegment();

    // Every editor whose window is open, oldest first.
    static const QList<EditorController*>& openEditors();

    QWidget* window() const { return m_window.get(); }
    CanvasView* canvas() const { return m_canvas; }
    QButtonGroup* tools() const { return m_tools; }
    QScrollArea* scrollArea() const { return m_scroll; }

    // The tools in the order of their segments, with their labels.
    static const QList<Kind>& toolKinds();
    static QString label(Kind kind);

    // The window's content size for a canvas of this many points: as wide as the picture within
    // 640…1300, as high as the picture up to 800, plus the tool bar.
    static QSize contentSize(QSizeF pointSize);
    static constexpr int toolBarHeight = 44;

public Q_SLOTS:
    void toolChanged(int segment);
    void undo();
    // Puts a PNG of the annotated picture on the clipboard.
    void copyImage();
    // Asks where to save a PNG of the annotated picture and writes it there.
    void save();
    // Hands the annotations to the done callback, then closes the window.
    void done();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildUI();
    QPushButton* button(const QString& title, void (EditorController::*action)());
    void windowWillClose();

    std::unique_ptr<QWidget> m_window;
    CanvasView* m_canvas = nullptr;
    QScrollArea* m_scroll = nullptr;
    QButtonGroup* m_tools = nullptr;
    QHBoxLayout* m_segments = nullptr;
    QLabel* m_redactionNote = nullptr;
    RedactionOverlay* m_redactions = nullptr;
    DoneCallback m_onDone;
    RedactDone m_onRedactDone;
};

} // namespace trovix
