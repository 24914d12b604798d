#include "render/Image.h"

#include "render/ImageCodec.h"

#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>

#include <condition_variable>
#include <mutex>

namespace trovix {

// The cache is guarded by `mutex`, but the slow work (decoding, rendering, encoding) runs outside it,
// so a thread that only asks hasPixels() or hasPng() never waits for a decode on another thread.
// `making` marks pixels being made; other threads that need them wait on `ready` instead of making
// them a second time.
struct Image::Data {
    QSize size;
    Source make; // re-makes the pixels; empty when they come from pixels or PNG only
    mutable std::mutex mutex;
    std::condition_variable ready;
    bool making = false;
    QImage pixels;  // cache; may be dropped when png or make can restore it
    QByteArray png; // encoded once, then kept
    QFuture<QByteArray> encoding;
};

namespace {

// Every decoded picture is kept in one format, so that equal pixels compare equal whatever they were
// made from (opaque pixels are the same words in RGB32 and ARGB32 premultiplied).
QImage normalized(const QImage& image) {
    if (image.isNull() || image.format() == QImage::Format_ARGB32_Premultiplied)
        return image;
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QImage placeholder(QSize size) {
    QImage image(size.isValid() && !size.isEmpty() ? size : QSize(1, 1), QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) // too large to allocate: a small grey square stands in
        image = QImage(1, 1, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor(200, 200, 200));
    return image;
}

} // namespace

Image::Image(const QImage& pixels) {
    if (pixels.isNull())
        return;
    d = std::make_shared<Data>();
    d->pixels = normalized(pixels);
    d->size = d->pixels.size();
}

Image Image::fromPng(QByteArray png, QSize size) {
    Image image;
    image.d = std::make_shared<Data>();
    image.d->png = std::move(png);
    image.d->size = size;
    return image;
}

Image Image::lazy(QSize size, Source make) {
    Image image;
    image.d = std::make_shared<Data>();
    image.d->size = size;
    image.d->make = std::move(make);
    return image;
}

QSize Image::size() const {
    return d ? d->size : QSize();
}

QImage Image::pixels() const {
    if (!d)
        return {};
    std::unique_lock lock(d->mutex);
    d->ready.wait(lock, [&] { return !d->making; });
    if (!d->pixels.isNull())
        return d->pixels;

    d->making = true;
    const Source make = d->make;
    QByteArray png = d->png;
    QFuture<QByteArray> encoding = d->encoding;
    lock.unlock();

    QImage made;
    if (make) {
        made = normalized(make());
    } else {
        if (png.isEmpty() && encoding.isValid())
            png = encoding.result();
        made = normalized(ImageCodec::decode(png));
    }
    // A picture that cannot be decoded, or decodes to another size than its header promised, is
    // shown as a grey placeholder: the guide stays usable and its file stays as it was.
    if (made.isNull() || made.size() != d->size)
        made = placeholder(d->size);

    lock.lock();
    d->pixels = made;
    d->making = false;
    lock.unlock();
    d->ready.notify_all();
    return made;
}

bool Image::hasPixels() const {
    if (!d)
        return false;
    std::lock_guard lock(d->mutex);
    return !d->pixels.isNull();
}

QByteArray Image::png() const {
    if (!d)
        return {};
    std::unique_lock lock(d->mutex);
    if (!d->png.isEmpty())
        return d->png;
    QFuture<QByteArray> encoding = d->encoding;
    lock.unlock();

    QByteArray bytes;
    if (encoding.isValid())
        bytes = encoding.result();
    if (bytes.isEmpty()) // not started, or the background attempt failed: encode here
        bytes = ImageCodec::encodePng(pixels());

    lock.lock();
    if (d->png.isEmpty())
        d->png = bytes;
    return d->png;
}

bool Image::hasPng() const {
    if (!d)
        return false;
    std::lock_guard lock(d->mutex);
    return !d->png.isEmpty();
}

void Image::encodeInBackground(bool thenDropPixels) const {
    if (!d)
        return;
    std::lock_guard lock(d->mutex);
    if (!d->png.isEmpty() || d->encoding.isValid())
        return;
    std::shared_ptr<Data> data = d;
    d->encoding = QtConcurrent::run([data, thenDropPixels] {
        Image self;
        self.d = data;
        QByteArray bytes = ImageCodec::encodePng(self.pixels());
        std::lock_guard inner(data->mutex);
        if (data->png.isEmpty())
            data->png = bytes;
        if (thenDropPixels && !data->png.isEmpty() && !data->making)
            data->pixels = QImage();
        return bytes;
    });
}

bool Image::dropPixels() const {
    if (!d)
        return false;
    std::lock_guard lock(d->mutex);
    if (d->pixels.isNull() || d->making || (d->png.isEmpty() && !d->make))
        return false;
    d->pixels = QImage();
    return true;
}

} // namespace trovix
