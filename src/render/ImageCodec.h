#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

namespace trovix::ImageCodec {

// Encodes pixels as a PNG file; empty on failure.
QByteArray encodePng(const QImage& image);
// Decodes the first image of PNG (or any readable) bytes; null on failure.
QImage decode(const QByteArray& bytes);
// The pixel size recorded in a PNG header, or an invalid size when the bytes are no PNG.
QSize pngSize(const QByteArray& bytes);

} // namespace trovix::ImageCodec
