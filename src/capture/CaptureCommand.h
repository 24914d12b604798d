#pragma once

#include "capture/OwnWindows.h"
#include "capture/RegionSelector.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

class QWidget;

namespace trovix {

class Guide;
class Error;

// The region capture: every screen is grabbed as a frozen image, the selector lets the user drag
// out a region over them, and the region becomes the guide's next step, "Step N".
class CaptureCommand : public QObject {
    Q_OBJECT
public:
    // `showMainWindow` brings the main window to the front; `mainWindow` parents the alerts.
    CaptureCommand(Guide& guide, RegionSelector& selector, std::function<void()> showMainWindow,
                   std::function<QWidget*()> mainWindow = {}, QObject* parent = nullptr);

    // Starts a capture and returns at once; ignored while an earlier one is still collecting images.
    void captureRegion();
    // True while the screens are being captured (not while the selector is up).
    bool isBusy() const { return m_busy; }

Q_SIGNALS:
    // A capture passed the busy guard and began collecting images.
    void started();
    // The images are collected and the selector is up.
    void selecting();
    // The capture is over: with the step appended, or cancelled, or failed.
    void finished(bool stepAdded);

private:
    void collect(QList<QPointer<QScreen>> screens);
    void fail(const Error& error);
    void complete(std::optional<Shot> shot);

    Guide& m_guide;
    RegionSelector& m_selector;
    std::function<void()> m_showMainWindow;
    std::function<QWidget*()> m_mainWindow;
    bool m_busy = false;
    // Whether Trovix was the active application when the capture now selecting started.
    bool m_wasActive = false;
    OwnWindows m_windows;
};

} // namespace trovix
