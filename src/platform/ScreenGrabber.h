#pragma once

#include <QImage>
#include <QObject>
#include <QRect>
#include <QString>
#include <QWindow>

#include <functional>

namespace trovix {

// Takes stills of the desktop, and keeps this process's own windows out of them.
class ScreenGrabber {
public:
    enum class Access {
        granted,     // captures may be taken now
        needsGrant,  // the system must grant the permission first (requestAccess())
        unavailable, // this session cannot capture the screen at all (unavailableReason())
    };

    virtual ~ScreenGrabber() = default;

    // Whether the process may capture the screen; shows nothing.
    virtual Access access() const = 0;
    // Asks the system for the permission where one is needed; the answer is not awaited.
    virtual void requestAccess() {}
    // A sentence saying why screen capture is unavailable here; empty when it is available.
    virtual QString unavailableReason() const = 0;

    // The desktop's pixels inside `rect` (device pixels, desktop origin top-left), without the pointer,
    // as an opaque image of exactly rect's size. Throws Error (noDisplay when the rectangle is no longer
    // on the desktop). Safe to call from any thread; blocks only the calling thread.
    virtual QImage grab(const QRect& rect) = 0;
    // Several rectangles at one moment, in order; the same rules and errors as grab(). Backends whose
    // every grab is a costly request cut them all from one picture.
    virtual QList<QImage> grabAll(const QList<QRect>& rects) {
        QList<QImage> images;
        for (const QRect& rect : rects)
            images.append(grab(rect));
        return images;
    }

    // Whether a window manager runs, which then owns the iconic state of managed windows.
    virtual bool hasWindowManager() const = 0;
    // Takes a window off the screen or puts it back without telling Qt, for windows no window manager
    // looks after (override-redirect popups, or any window when none runs).
    virtual void unmapWindow(WId window) = 0;
    virtual void mapWindow(WId window) = 0;
    // Takes a window the window manager looks after off the screen at once, without the animation
    // minimizing plays, and puts such windows back where and as they were (or minimized), without
    // telling Qt. Where no window manager runs these are the plain unmap and map.
    virtual void withdrawWindow(WId window) { unmapWindow(window); }
    virtual void returnWindows(const QList<WId>& windows, bool minimized) {
        Q_UNUSED(minimized);
        for (WId window : windows)
            mapWindow(window);
    }

    // Calls `done` on context's thread once the screen no longer shows `leaving` (windows of this
    // process that were just asked to leave the screen) and the programs underneath have repainted
    // what they uncovered, or after a cap of a few hundred milliseconds. Never blocks.
    virtual void whenSettled(const QList<QWindow*>& leaving, QObject* context,
                             std::function<void()> done) = 0;
};

} // namespace trovix
