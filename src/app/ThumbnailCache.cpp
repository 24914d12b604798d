#include "app/ThumbnailCache.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPainter>
#include <QPainterPath>

namespace trovix {

ThumbnailCache::ThumbnailCache(const Look& look, QObject* parent)
    : QObject(parent)
    , m_look(look) {
    // Leave a core for the user interface.
    m_pool.setMaxThreadCount(qMax(1, QThread::idealThreadCount() - 1));
}

ThumbnailCache::~ThumbnailCache() {
    *m_alive = false;
    m_pool.clear();
    m_pool.waitForDone();
}

QImage ThumbnailCache::draw(const QImage& pixels, const Look& look, double devicePixelRatio) {
    const QSize box = (QSizeF(look.box) * devicePixelRatio).toSize();
    QImage out(box, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    if (pixels.isNull() || box.isEmpty())
        return out;

    // Fill the box keeping the aspect ratio; halve cheaply first so that a 4K screenshot does not
    // go through a smooth scale at full size.
    const QSize filled = pixels.size().scaled(box, Qt::KeepAspectRatioByExpanding);
    QImage source = pixels;
    if (source.width() > filled.width() * 4)
        source = source.scaled(filled * 2, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    const QImage scaled = source.scaled(filled, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const QPoint offset((box.width() - filled.width()) / 2, (box.height() - filled.height()) / 2);

    QPainter painter(&out);
    painter.setRenderHint(QPainter::Antialiasing);
    const double radius = look.radius * devicePixelRatio;
    const QRectF rect(0.5, 0.5, box.width() - 1.0, box.height() - 1.0);
    QPainterPath path;
    path.addRoundedRect(QRectF(out.rect()), radius, radius);
    painter.setClipPath(path);
    painter.drawImage(offset, scaled);
    painter.setClipping(false);
    painter.setPen(QPen(look.outline, devicePixelRatio));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(rect, radius - 0.5, radius - 0.5);
    painter.end();
    out.setDevicePixelRatio(devicePixelRatio);
    return out;
}

QPixmap ThumbnailCache::thumbnail(const Image& image, double devicePixelRatio) {
    if (image.isNull())
        return {};
    const quintptr key = image.key();
    auto it = m_entries.constFind(key);
    if (it != m_entries.constEnd() && qFuzzyCompare(it->dpr, devicePixelRatio))
        return it->pixmap;
    if (m_pending.contains(key))
        return {};
    m_pending.insert(key);

    const Look look = m_look;
    std::weak_ptr<bool> alive = m_alive;
    m_pool.start([this, alive, image, look, devicePixelRatio, key] {
        if (alive.expired())
            return;
        const bool hadPixels = image.hasPixels();
        const QImage thumb = draw(image.pixels(), look, devicePixelRatio);
        // A screenshot whose pixels had been let go stays that way: the thumbnail was all we needed.
        if (!hadPixels)
            image.dropPixels();
        QMetaObject::invokeMethod(
            this,
            [this, alive, key, devicePixelRatio, thumb] {
                if (!alive.expired())
                    finished(key, devicePixelRatio, thumb);
            },
            Qt::QueuedConnection);
    });
    // Keep the image alive until its entry exists, so its key cannot be reused meanwhile.
    m_entries.insert(key, Entry{image, 0, {}});
    return {};
}

QPixmap ThumbnailCache::thumbnailNow(const Image& image, double devicePixelRatio) {
    if (image.isNull())
        return {};
    auto it = m_entries.find(image.key());
    if (it != m_entries.end() && qFuzzyCompare(it->dpr, devicePixelRatio))
        return it->pixmap;
    QPixmap pixmap = QPixmap::fromImage(draw(image.pixels(), m_look, devicePixelRatio));
    m_entries.insert(image.key(), Entry{image, devicePixelRatio, pixmap});
    return pixmap;
}

void ThumbnailCache::finished(quintptr key, double dpr, const QImage& thumbnail) {
    m_pending.remove(key);
    auto it = m_entries.find(key);
    if (it == m_entries.end())
        return; // forgotten meanwhile
    it->dpr = dpr;
    it->pixmap = QPixmap::fromImage(thumbnail);
    Q_EMIT ready(key);
}

void ThumbnailCache::retain(const QList<Image>& images) {
    QSet<quintptr> keep;
    keep.reserve(images.size());
    for (const Image& image : images)
        keep.insert(image.key());
    for (auto it = m_entries.begin(); it != m_entries.end();) {
        if (keep.contains(it.key()) || m_pending.contains(it.key()))
            ++it;
        else
            it = m_entries.erase(it);
    }
}

void ThumbnailCache::setOutline(const QColor& colour) {
    if (m_look.outline == colour)
        return;
    m_look.outline = colour;
    // Made again on the next paint.
    for (auto it = m_entries.begin(); it != m_entries.end();) {
        if (m_pending.contains(it.key()))
            ++it;
        else
            it = m_entries.erase(it);
    }
}

void ThumbnailCache::waitForDone() {
    m_pool.waitForDone();
    QCoreApplication::sendPostedEvents(this);
}

} // namespace trovix
