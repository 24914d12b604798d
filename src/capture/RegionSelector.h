#pragma once

#include "document/Step.h"

#include <QHash>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QScreen>

#include <functional>
#include <optional>

namespace trovix {

class OverlayWindow;

// Lets the user drag out the region of a capture over frozen images of every screen, one overlay
// per screen, and crops the chosen region out of its screen's image at full resolution.
// One selector lives for the whole run; its overlay windows are made once per screen and reused.
class RegionSelector : public QObject {
    Q_OBJECT
public:
    // One screen and its frozen image, captured at the screen's native pixels.
    struct ScreenImage {
        QPointer<QScreen> screen;
        QImage image;
    };
    using Completion = std::function<void(std::optional<Shot>)>;

    explicit RegionSelector(QObject* parent = nullptr);
    ~RegionSelector() override;

    // Covers each screen with its image (in list order) and calls `completion` once, on the main
    // thread, with the chosen region or with nothing (Escape). Replaces any earlier completion.
    // An empty list shows nothing and never completes.
    void begin(const QList<ScreenImage>& shots, Completion completion);
    // Ends the selection as a cancel, if one is up.
    void cancel();
    // Takes the overlays off the screen without ending the selection, so a new capture can grab the
    // screens clean; the next begin() replaces them.
    void withdrawOverlays();

    bool isActive() const { return !m_windows.isEmpty(); }
    // The overlays currently up, one per screen.
    QList<OverlayWindow*> windows() const;

    // Image pixels per point, taken from the frozen image itself: its width over the screen's
    // width in points.
    static double scaleOf(const QImage& image, const QRect& screenFrame);
    // The smallest rectangle with whole-pixel edges that contains `rect` scaled by `scale`.
    static QRect pixelRect(const QRectF& rect, double scale);
    // The part of `image` under `rect` (points of the screen whose frame is `screenFrame`), keeping
    // only what lies on the image; nothing when no pixel does.
    static std::optional<Shot> crop(const QImage& image, const QRect& screenFrame, const QRectF& rect);

private:
    void finish(std::optional<QRectF> rect, const QRect& screenFrame, const QImage& image);
    OverlayWindow* overlayFor(QScreen* screen);

    QHash<QScreen*, OverlayWindow*> m_overlays;
    QList<QPointer<OverlayWindow>> m_windows;
    Completion m_completion;
};

} // namespace trovix
