#pragma once

#include <QFuture>
#include <QImage>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace trovix {

// The window under a click, as a compositor that reports clicks describes it. Rectangles are on the
// desktop, in native pixels.
struct ClickedWindow {
    QString appId;
    QString wmClass;
    QString title;
    qint64 pid = 0;
    // The window as the desktop draws it, decorations included.
    QRect frame;
    // The client's own surface (client-side shadows included): window-relative accessibility
    // extents count from its top-left corner.
    QRect buffer;
    // The press was in a popup menu of this window (whose items tell no position of their own).
    bool popup = false;
    // An X11 client (under Xwayland): its accessibility extents count from the desktop.
    bool x11 = false;
};

// The end of typing into a text field of a web page, as the page reports it.
struct PageTyping {
    bool password = false;
    // What the field holds then; never given for a password field.
    std::optional<QString> text;
};

// A click in a web page as a browser reports it: the page's own picture and its own naming of the
// control. Positions are in the picture's points (CSS pixels of the top-level viewport).
struct PageClick {
    QImage picture;
    // Picture pixels per point (the page's device pixel ratio).
    double scale = 1;
    QPointF position;
    // The control's label; empty when it has none.
    QString label;
    // The page's title.
    QString page;
    // The clicked control; none when it has no useful box.
    std::optional<QRectF> controlFrame;
    // The page's visible password fields, in the same coordinates as `position`.
    QList<QRectF> passwordFields;
    // Set when the report is the end of typing into the control (its field) rather than a click.
    std::optional<PageTyping> typing = std::nullopt;
};

// The screen around a click, as a source that can take it itself delivers it a moment after the press,
// once the click has had its effect on the screen.
struct ScreenPicture {
    QFuture<QImage> image;
    // The screen the picture shows, on the desktop in native pixels.
    QRect area;
};

// One left press outside this process's windows, with whatever its source knows besides.
struct PlatformClick {
    // The pointer on the desktop in native pixels (for a page click: where the browser's window is
    // not known, a point inside the page).
    QPoint nativePosition;
    // The window under the press, where the source knows it.
    std::optional<ClickedWindow> window;
    // A click a browser described itself, picture and all.
    std::optional<PageClick> page;
    // The screen's picture, where the source takes it; otherwise the recorder grabs the screen.
    std::optional<ScreenPicture> screen = std::nullopt;
    // When the press reached this process; zero when not known. Clicks can be held back before they
    // are handed on (to match a browser's report), keys are not: this puts both back in order.
    std::chrono::steady_clock::time_point made = {};
};

// Left clicks in other applications, wherever on the desktop they land.
class ClickMonitor {
public:
    // Called on the main thread once per press of the left button outside this process's windows.
    using Handler = std::function<void(const PlatformClick& click)>;
    // Called on the main thread when clicks can no longer be seen (the source went away), with a
    // sentence saying why. No click is reported after it.
    using LostHandler = std::function<void(const QString& reason)>;

    virtual ~ClickMonitor() = default;

    // Why clicks in other applications cannot be seen in this session, and what to do instead;
    // empty when they can.
    virtual QString unavailableReason() const = 0;
    // Whether Trovix itself can make clicks visible (by switching on what the desktop needs), and
    // the button text that offers it; empty when it cannot.
    virtual QString enableOffer() const { return {}; }
    // Does what enableOffer() offers; false with the reason in `error` when that fails.
    virtual bool enable(QString* error) {
        if (error)
            *error = unavailableReason();
        return false;
    }
    // Reports clicks to `handler` until the returned object is destroyed. Null when the clicks
    // cannot be watched; `error` (when given) then says why.
    virtual std::unique_ptr<QObject> watch(Handler handler, LostHandler lost = {},
                                           QString* error = nullptr) = 0;
};

} // namespace trovix
