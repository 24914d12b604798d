#include "app/StepPicture.h"

#include "app/Appearance.h"

#include <QPainter>
#include <QPainterPath>
#include <QtConcurrent/QtConcurrentRun>

namespace trovix {

namespace {

QImage scaledPicture(const Image& image, QSize target) {
    const bool hadPixels = image.hasPixels();
    QImage pixels = image.pixels();
    if (!hadPixels)
        image.dropPixels();
    if (pixels.isNull() || target.isEmpty())
        return {};
    if (pixels.size() == target)
        return pixels;
    if (pixels.width() > target.width() * 4)
        pixels = pixels.scaled(target * 2, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    return pixels.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

} // namespace

StepPicture::StepPicture(QWidget* parent)
    : QWidget(parent) {
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    m_rescale.setSingleShot(true);
    connect(&m_rescale, &QTimer::timeout, this, &StepPicture::rescale);
    connect(&m_watcher, &QFutureWatcher<QImage>::finished, this, [this] {
        if (m_watching != m_generation)
            return; // the image or size changed meanwhile; a newer job is coming
        const QImage scaled = m_watcher.result();
        m_pixmap = QPixmap::fromImage(scaled);
        m_pixmapFor = scaled.size();
        update();
        if (isSharp())
            Q_EMIT sharpened();
    });
}

void StepPicture::setImage(const Image& image, double scale) {
    if (image.sameAs(m_image) && scale == m_scale)
        return;
    m_image = image;
    m_scale = scale > 0 ? scale : 1;
    m_pixmap = QPixmap();
    m_pixmapFor = QSize();
    ++m_generation;
    updateGeometry();
    update();
    m_rescale.start(0);
}

int StepPicture::heightForWidth(int width) const {
    if (m_image.isNull() || m_image.width() <= 0)
        return 0;
    return qRound(double(width) * m_image.height() / m_image.width());
}

QSize StepPicture::sizeHint() const {
    // The picture's size in points, as captured.
    if (m_image.isNull())
        return {0, 0};
    return (QSizeF(m_image.size()) / m_scale).toSize();
}

QSize StepPicture::targetPixels() const {
    return (QSizeF(size()) * devicePixelRatioF()).toSize();
}

bool StepPicture::isSharp() const {
    return !m_pixmap.isNull() && m_pixmapFor == targetPixels();
}

void StepPicture::resizeEvent(QResizeEvent*) {
    if (m_pixmapFor == targetPixels())
        return;
    ++m_generation;
    // Continuous resizing (dragging the divider) rescales once it pauses.
    m_rescale.start(m_pixmap.isNull() ? 0 : 80);
}

void StepPicture::rescale() {
    const QSize target = targetPixels();
    if (m_image.isNull() || target.isEmpty() || m_pixmapFor == target)
        return;
    m_watching = m_generation;
    m_watcher.setFuture(QtConcurrent::run(scaledPicture, m_image, target));
}

void StepPicture::paintEvent(QPaintEvent*) {
    if (m_image.isNull())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
    const QRectF bounds = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath clip;
    clip.addRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    painter.setClipPath(clip);
    if (!m_pixmap.isNull())
        painter.drawPixmap(rect(), m_pixmap);
    else
        painter.fillRect(rect(), Appearance::faint(palette()));
    painter.setClipping(false);
    painter.setPen(QPen(Appearance::faint(palette()), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(bounds, cornerRadius - 0.5, cornerRadius - 0.5);
}

} // namespace trovix
