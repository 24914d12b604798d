#pragma once

#include <QFuture>
#include <QImage>
#include <QRect>

class QScreen;
class QWidget;

namespace trovix {

// Whole-screen stills for the capture and recording commands. Stateless: every call looks at the
// screens and windows as they are now.
class Capture {
public:
    // True when the process may capture the screen (always so on X11). Otherwise asks the system for
    // the permission where it grants one, tells the user in a modal alert over `parent`, and answers
    // false. Main thread only.
    static bool ensureAccess(QWidget* parent = nullptr);
    // The modal alert that the desktop has to allow screen capture first.
    static void showPermissionAlert(QWidget* parent);

    // What display() does with this process's windows.
    enum class Windows {
        leave,       // visible ones leave the screen for the grab and come back afterwards
        alreadyGone, // the caller has taken them away already (see OwnWindows)
    };

    // One screen at its native pixel size (see pixelSize()), without the pointer and without any
    // window of this process. Returns at once; the grab runs on a worker thread and the image
    // arrives through the future (use .then(context, …) and .onFailed(context, [](const Error&) {…})
    // to continue on the main thread). A screen that is gone fails with Error::Code::noDisplay.
    // Main thread only.
    static QFuture<QImage> display(QScreen* screen, Windows windows = Windows::leave);
    // Every screen in `screens` at one moment, the images in the same order; otherwise as display().
    static QFuture<QList<QImage>> displays(const QList<QScreen*>& screens, Windows windows = Windows::leave);

    // The grab's pixel size: the screen's size in points times its device pixel ratio, each product
    // truncated towards zero.
    static QSize pixelSize(const QScreen* screen);
    // The screen's rectangle in desktop device pixels: its native origin and pixelSize().
    static QRect nativeRect(const QScreen* screen);
    // Grabs on the calling thread, leaving windows alone; for callers that have already taken this
    // process's windows off the screen (see OwnWindows). Throws Error.
    static QImage grabNow(const QRect& nativeRect);
};

} // namespace trovix
