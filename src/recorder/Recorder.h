#pragma once

#include "platform/ClickMonitor.h"
#include "platform/KeyMonitor.h"
#include "recorder/ClickTarget.h"
#include "recorder/TypingTracker.h"

#include <QFuture>
#include <QImage>
#include <QObject>
#include <QPointF>
#include <QUuid>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QScreen;

namespace trovix {

class ClickJob;
class Guide;
struct Step;

// One click as the recorder takes it. A location is all it needs; a source that knows more brings
// it along, and the recorder then asks the system for less.
struct RecordedClick {
    // Global points (top-left origin); a point of `area` when the click brings its own picture.
    QPointF location;
    // The window under the click, where the source knows it.
    std::optional<ClickedWindow> window = std::nullopt;
    // A picture the source took itself and the points it covers; otherwise the screen under the
    // click is grabbed.
    QImage picture = {};
    QRectF area = {};
    // A picture of `area` the source is still taking (it fails or gives a null image when that fails).
    std::optional<QFuture<QImage>> pictureComing = std::nullopt;
    // The source's own description of the control; otherwise the accessibility tree is asked.
    std::optional<ClickTarget> target = std::nullopt;
    // For a step made with the keyboard: describes it instead of the control at the location, and
    // marks it as no click.
    std::function<void(QObject* context, std::function<void(const ClickTarget&)> done)> describe = {};
    // Text typed into a field, which takes the place of a click into that field just before it.
    bool typing = false;
    // Made by stopping the recording (the typing it ended), so still appended after the stop.
    bool afterStop = false;
    // When the press was made; zero when not known (see PlatformClick::made).
    std::chrono::steady_clock::time_point made = {};
};

// Click recording: while it is on, every left click in another application becomes a step of the
// guide, with a screenshot of the screen under the pointer, a title naming the clicked control and
// one mark on it. Each click starts its screenshot and its description at once; the steps still
// reach the guide strictly in click order, and none after stop().
class Recorder : public QObject {
    Q_OBJECT
public:
    // How long a click's description may take before its step falls back to the plain title.
    static constexpr int describeBudgetMs = 450;

    // What the recorder needs from the system. Tests replace each piece.
    struct Services {
        // Starts grabbing one screen; the image arrives on the main thread (the future fails or
        // gives a null image when the grab fails).
        std::function<QFuture<QImage>(QScreen*)> capture;
        // Starts describing the control under a click; done is called once on the main thread,
        // unless context is gone by then.
        std::function<void(const RecordedClick& click, QObject* context,
                           std::function<void(const ClickTarget&)> done)>
            describe;
        // Installs the global left-click monitor, which calls recorder.click() for each press in
        // another application, and recorder.monitorLost() if it stops seeing them; null when none
        // can be installed. Destroying it removes it.
        std::function<std::unique_ptr<QObject>(Recorder& recorder)> installMonitor;
        // Switches the desktop's accessibility on, so that applications describe their controls.
        std::function<void()> enableAccessibility;
        // Reads the clicked control's label off the click's screenshot, for a click the description
        // found no label for: the screenshot, the click and the control's frame when known (in the
        // screenshot's pixels), its pixels per point, and when to give up. The future may finish on
        // any thread. Null where no text recognition is installed.
        std::function<QFuture<std::optional<QString>>(
            const QImage& screenshot, QPointF click, const std::optional<QRectF>& frame,
            double pixelsPerPoint, std::chrono::steady_clock::time_point deadline)>
            readLabel;
        // How long describe takes at most; a description later than this plus a margin is not
        // waited for. A label read off the screenshot must be in by the same time after the click.
        int describeLimitMs = Recorder::describeBudgetMs;

        // Installs the key monitor, which calls recorder.key() for each key pressed in another
        // application and recorder.focusChanged() when the keyboard focus moves; null when keys
        // cannot be seen (recording then records clicks alone).
        std::function<std::unique_ptr<QObject>(Recorder& recorder)> installKeyMonitor;
        // Reads the field a typing source named (its token), in the window that had the keyboard
        // where the source knows it, at the end of the typing; done is called once on the main
        // thread, with nothing when the field cannot be read, unless context is gone.
        std::function<void(const QVariant& field, const std::optional<ClickedWindow>& window,
                           QObject* context, std::function<void(const std::optional<TypedField>&)> done)>
            readField;
        // Names the application that has the keyboard (that of the window, where the source knows
        // it), for a key step; done as above.
        std::function<void(const std::optional<ClickedWindow>& window, QObject* context,
                           std::function<void(const std::optional<QString>&)> done)>
            activeApplication;
        // Finds the field that has the focus, for typing that began where the key monitor knew
        // none; done as above, with an invalid token when none is found.
        std::function<void(QObject* context, std::function<void(const QVariant&)> done)> findFocus;
        // This application's own global keys, which never become steps.
        QList<QKeySequence> ownKeys;
    };

    // The session's click monitor, the accessibility description and the screen capture. A click's
    // description gives up after budgetMs (then the step has the plain title); the default keeps a burst of
    // clicks from piling up behind a slow application.
    static Services systemServices(int budgetMs = describeBudgetMs);

    // The recorder for the open guide, with the system's services.
    explicit Recorder(Guide& guide, QObject* parent = nullptr);
    Recorder(Guide& guide, Services services, QObject* parent = nullptr);
    ~Recorder() override;

    Guide& guide() const { return m_guide; }

    // Switches recording on: installs the click monitor, marks the guide as recording and switches
    // accessibility on. False, and nothing changed, when no monitor can be installed: a recording
    // that could see no click would record nothing in silence. Call only while not recording.
    bool start();
    // Switches recording off. Clicks still being processed finish without adding a step.
    void stop();
    // Whether the click monitor is installed.
    bool isRecording() const { return m_monitor != nullptr; }
    // Whether typing and key combinations become steps too, from the next start() on.
    // Switched off during a recording, the typing under way still becomes a step.
    void setRecordsKeys(bool on);
    bool recordsKeys() const { return m_recordsKeys; }

    // One left click at a global point (points, top-left origin), as the monitor reports it.
    // A click outside every screen is dropped.
    void click(QPointF location) { click(RecordedClick{location}); }
    void click(const RecordedClick& click);
    // One key pressed in another application, with the token of the field that has the focus.
    void key(const KeyStroke& stroke, const QVariant& focusedField);
    // The keyboard focus moved to another field (an invalid token: somewhere unknown).
    void focusChanged(const QVariant& focusedField);
    // The monitor can no longer see clicks: recording stops, and interrupted() says why.
    void monitorLost(const QString& reason);

    // Describes the control at a global point, waiting at most about half a second for the
    // accessibility tree. Never fails: the fallback is "Click in App" or "Click".
    static ClickTarget describeElement(QPointF location);
    // Asks applications to expose their accessibility trees (web content included).
    static void enableWebAccessibility();

Q_SIGNALS:
    // Recording stopped without being asked to, with a sentence for the user saying why.
    void interrupted(const QString& reason);

private:
    friend class ClickJob;
    void keyEvents(const QList<TypingTracker::Event>& events, bool afterStop = false);
    // Appends a step; a typing step (with its field) takes the place of the click into that field
    // just before it.
    void appendStep(const Step& step, bool keyboard, const std::optional<QRectF>& field, QPointF location);

    Guide& m_guide;
    Services m_services;
    std::unique_ptr<QObject> m_monitor;
    std::shared_ptr<ClickJob> m_previous;
    bool m_recordsKeys = true;
    std::unique_ptr<QObject> m_keyMonitor;
    TypingTracker m_typing;
    // When the typing under way began.
    std::chrono::steady_clock::time_point m_typingBegan;
    // The search for the field of a typing that began where no focus was known.
    struct FocusSearch {
        int typing = 0;
        bool answered = false;
        QVariant field;
        std::function<void()> then;
    };
    std::shared_ptr<FocusSearch> m_focusSearch;
    // The last click step appended, and where it clicked, until another step follows it.
    QUuid m_lastClick;
    QPointF m_lastClickAt;
    // The last typing step appended and its field, until another step follows it.
    QUuid m_lastTyped;
    QRectF m_lastTypedField;
};

} // namespace trovix
