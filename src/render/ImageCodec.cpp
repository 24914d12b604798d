#include "render/ImageCodec.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <QtEndian>

namespace trovix::ImageCodec {

QByteArray encodePng(const QImage& image)
{
    if (image.isNull())
        return {};
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image))
        return {};
    return bytes;
}

QImage decode(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(false);
    return reader.read();
}

QSize pngSize(const QByteArray& bytes)
{
    static const char signature[] = "\x89PNG\r\n\x1a\n";
    // signature (8) + IHDR length (4) + "IHDR" (4) + width (4) + height (4)
    if (bytes.size() < 24 || !bytes.startsWith(QByteArray::fromRawData(signature, 8)) ||
        bytes.mid(12, 4) != "IHDR")
        return {};
    const auto* p = reinterpret_cast<const uchar*>(bytes.constData());
    return QSize(int(qFromBigEndian<quint32>(p + 16)), int(qFromBigEndian<quint32>(p + 20)));
}

} // namespace trovix::ImageCodec
