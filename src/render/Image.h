#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <functional>
#include <memory>

namespace trovix {

// The image handle every step, editor and export holds.
//
// Why not a plain QImage: a step keeps its full-resolution screenshot and its rendered picture for as
// long as the guide lives, and a 100-step guide recorded at 3840×2160 would pin 6.6 GB of decoded
// pixels. An Image is an immutable, reference-counted value whose decoded pixels are only a cache:
//  - it can carry its encoded PNG bytes (encoded once, on a worker thread, then kept), so saving only
//    writes bytes and the pixels can be dropped and decoded again later;
//  - or it can carry a recipe that makes its pixels (a rendered picture is "these annotations drawn
//    over that base"), so dropped pixels are simply made again.
// Copies share one buffer; sameAs() compares that buffer. All members are safe to call from any
// thread: the cache is guarded inside.
class Image {
public:
    using Source = std::function<QImage()>;

    Image() = default;
    // Takes ownership of decoded pixels (converted to ARGB32 premultiplied when needed).
    explicit Image(const QImage& pixels);
    // An image known only by its PNG bytes; pixels are decoded on first use. size is the pixel size
    // read from the PNG header.
    static Image fromPng(QByteArray png, QSize size);
    // An image whose pixels are made by `make` on first use and after every dropPixels().
    static Image lazy(QSize size, Source make);

    bool isNull() const { return !d; }
    QSize size() const;
    int width() const { return size().width(); }
    int height() const { return size().height(); }

    // The decoded pixels, decoding or re-making them when they were dropped. A decode that fails
    // gives a grey placeholder of the image's size, never a crash. Null only for the null image.
    QImage pixels() const;
    bool hasPixels() const;

    // The PNG bytes, encoded on first request (or waiting for a background encoding) and then kept.
    QByteArray png() const;
    bool hasPng() const;
    // Starts encoding the PNG on a worker thread, if it is not encoded or being encoded already. With
    // thenDropPixels the decoded pixels are released once the bytes exist (unless something is making
    // them at that moment): a step's full-size screenshot then costs its PNG, not 33 MB at 4K.
    void encodeInBackground(bool thenDropPixels = false) const;

    // Releases the decoded pixels when they can be had again (from PNG bytes or the recipe).
    // Returns whether anything was released.
    bool dropPixels() const;

    bool sameAs(const Image& other) const { return d == other.d; }
    // A number that identifies the shared buffer, for caches keyed by image.
    quintptr key() const { return reinterpret_cast<quintptr>(d.get()); }

private:
    struct Data;
    std::shared_ptr<Data> d;
};

} // namespace trovix
