#include "render/Image.h"

#include "render/ImageCodec.h"

#include <QFuture>
#include <QPainter>
#include <QtConcurrent/QtConcurrentRun>

#include <mutex>

namespace trovix {

struct Image::Data {
    QSize size;
    Source make;         // re-makes the pixels; empty when they come from pixels or PNG only
    mutable std::mutex mutex;
    QImage pixels;       // cache; may be dropped when png or make can restore it
    QByteArray png;      // encoded once, then kept
    QFuture<QByteArray> encoding;
};

namespace {

QImage normalized(const QImage& image)
{
    if (image.isNull() || image.format() == QImage::Format_ARGB32_Premultiplied ||
        image.format() == QImage::Format_RGB32)
        return image;
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QImage placeholder(QSize size)
{
    QImage image(size.isValid() && !size.isEmpty() ? size : QSize(1, 1), QImage::Format_RGB32);
    image.fill(QColor(200, 200, 200));
    return image;
}

} // namespace

Image::Image(const QImage& pixels)
{
    if (pixels.isNull())
        return;
    d = std::make_shared<Data>();
    d->pixels = normalized(pixels);
    d->size = d->pixels.size();
}

Image Image::fromPng(QByteArray png, QSize size)
{
    Image image;
    image.d = std::make_shared<Data>();
    image.d->png = std::move(png);
    image.d->size = size;
    return image;
}

Image Image::lazy(QSize size, Source make)
{
    Image image;
    image.d = std::make_shared<Data>();
    image.d->size = size;
    image.d->make = std::move(make);
    return image;
}

QSize Image::size() const
{
    return d ? d->size : QSize();
}

QImage Image::pixels() const
{
    if (!d)
        return {};
    std::unique_lock lock(d->mutex);
    if (!d->pixels.isNull())
        return d->pixels;
    QImage made;
    if (d->make) {
        // Making may take a while (rendering); other threads asking meanwhile wait for the result
        // rather than making it twice.
        made = normalized(d->make());
    } else {
        QByteArray png = d->png;
        if (png.isEmpty() && d->encoding.isValid()) {
            lock.unlock();
            png = d->encoding.result();
            lock.lock();
        }
        made = normalized(ImageCodec::decode(png));
    }
    if (made.isNull() || made.size() != d->size)
        made = placeholder(d->size);
    d->pixels = made;
    return made;
}

bool Image::hasPixels() const
{
    if (!d)
        return false;
    std::lock_guard lock(d->mutex);
    return !d->pixels.isNull();
}

QByteArray Image::png() const
{
    if (!d)
        return {};
    std::unique_lock lock(d->mutex);
    if (!d->png.isEmpty())
        return d->png;
    if (d->encoding.isValid()) {
        QFuture<QByteArray> encoding = d->encoding;
        lock.unlock();
        QByteArray bytes = encoding.result();
        lock.lock();
        if (d->png.isEmpty())
            d->png = bytes;
        return d->png;
    }
    lock.unlock();
    QByteArray bytes = ImageCodec::encodePng(pixels());
    lock.lock();
    if (d->png.isEmpty())
        d->png = bytes;
    return d->png;
}

bool Image::hasPng() const
{
    if (!d)
        return false;
    std::lock_guard lock(d->mutex);
    return !d->png.isEmpty();
}

void Image::encodeInBackground() const
{
    if (!d)
        return;
    std::lock_guard lock(d->mutex);
    if (!d->png.isEmpty() || d->encoding.isValid())
        return;
    std::shared_ptr<Data> data = d;
    d->encoding = QtConcurrent::run([data] {
        Image self;
        self.d = data;
        QByteArray bytes = ImageCodec::encodePng(self.pixels());
        std::lock_guard inner(data->mutex);
        if (data->png.isEmpty())
            data->png = bytes;
        return bytes;
    });
}

bool Image::dropPixels() const
{
    if (!d)
        return false;
    std::lock_guard lock(d->mutex);
    if (d->pixels.isNull() || (d->png.isEmpty() && !d->make))
        return false;
    d->pixels = QImage();
    return true;
}

} // namespace trovix
