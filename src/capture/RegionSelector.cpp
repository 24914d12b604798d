#include "capture/RegionSelector.h"

#include "capture/OverlayWindow.h"
#include "capture/SelectionView.h"

#include <QGuiApplication>

#include <cmath>

namespace trovix {

RegionSelector::RegionSelector(QObject* parent)
    : QObject(parent) {
    // Overlays are made ahead, so the first capture shows as fast as the others.
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens)
        overlayFor(screen);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this](QScreen* screen) {
        if (OverlayWindow* overlay = m_overlays.take(screen)) {
            m_windows.removeAll(overlay);
            overlay->deleteLater();
        }
    });
}

RegionSelector::~RegionSelector() {
    qDeleteAll(m_overlays);
}

OverlayWindow* RegionSelector::overlayFor(QScreen* screen) {
    OverlayWindow*& overlay = m_overlays[screen];
    if (!overlay)
        overlay = new OverlayWindow(screen);
    return overlay;
}

QList<OverlayWindow*> RegionSelector::windows() const {
    QList<OverlayWindow*> result;
    for (const QPointer<OverlayWindow>& window : m_windows) {
        if (window)
            result.append(window);
    }
    return result;
}

void RegionSelector::begin(const QList<ScreenImage>& shots, Completion completion) {
    m_completion = std::move(completion);
    withdrawOverlays();
    bool first = true;
    for (const ScreenImage& shot : shots) {
        if (!shot.screen)
            continue;
        OverlayWindow* overlay = overlayFor(shot.screen);
        const QRect frame = shot.screen->geometry();
        const QImage image = shot.image;
        overlay->view()->setImage(image, frame.size());
        overlay->view()->setOnFinish([self = QPointer(this), frame, image](std::optional<QRectF> rect) {
            if (self)
                self->finish(rect, frame, image);
        });
        overlay->present(first);
        first = false;
        m_windows.append(overlay);
    }
}

void RegionSelector::withdrawOverlays() {
    for (const QPointer<OverlayWindow>& window : std::as_const(m_windows)) {
        if (window) {
            window->dismiss();
            // Lets the frozen screen go now (its callback holds it too), so its memory can serve the
            // next capture.
            window->view()->setOnFinish({});
            window->view()->setImage({}, {});
        }
    }
    m_windows.clear();
}

void RegionSelector::cancel() {
    if (isActive() || m_completion)
        finish(std::nullopt, {}, {});
}

void RegionSelector::finish(std::optional<QRectF> rect, const QRect& screenFrame, const QImage& image) {
    withdrawOverlays();
    // Taken before calling, so a second overlay finishing right after finds nothing to call.
    Completion completion = std::move(m_completion);
    m_completion = nullptr;
    if (!completion)
        return;
    if (!rect) {
        completion(std::nullopt);
        return;
    }
    completion(crop(image, screenFrame, *rect));
}

double RegionSelector::scaleOf(const QImage& image, const QRect& screenFrame) {
    return screenFrame.width() > 0 ? double(image.width()) / screenFrame.width() : 1.0;
}

QRect RegionSelector::pixelRect(const QRectF& rect, double scale) {
    const double left = std::floor(rect.left() * scale);
    const double top = std::floor(rect.top() * scale);
    const double right = std::ceil(rect.right() * scale);
    const double bottom = std::ceil(rect.bottom() * scale);
    return QRect(int(left), int(top), int(right - left), int(bottom - top));
}

std::optional<Shot> RegionSelector::crop(const QImage& image, const QRect& screenFrame, const QRectF& rect) {
    if (image.isNull())
        return std::nullopt;
    const double scale = scaleOf(image, screenFrame);
    const QRect pixels = pixelRect(rect, scale).intersected(image.rect());
    if (pixels.isEmpty())
        return std::nullopt;
    QImage part = image.copy(pixels);
    if (part.isNull())
        return std::nullopt;
    return Shot{Image(part), scale};
}

} // namespace trovix
