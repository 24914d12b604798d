#include "render/PngChunk.h"

#include <QtEndian>

#include <libdeflate.h>

namespace trovix {

std::optional<QList<PngChunk>> PngChunk::readAll(const QByteArray& png, bool checkCrc) {
    const auto* data = reinterpret_cast<const uchar*>(png.constData());
    const qsizetype size = png.size();
    if (!png.startsWith("\x89PNG\r\n\x1a\n"))
        return std::nullopt;
    QList<PngChunk> chunks;
    for (qsizetype pos = 8;;) {
        if (size - pos < 12)
            return std::nullopt;
        const quint32 length = qFromBigEndian<quint32>(data + pos);
        if (qint64(length) > qint64(size - pos - 12))
            return std::nullopt;
        const uchar* type = data + pos + 4;
        const uchar* body = type + 4;
        // The checksum covers the type and the contents.
        if (checkCrc &&
            libdeflate_crc32(0, type, size_t(length) + 4) != qFromBigEndian<quint32>(body + length))
            return std::nullopt;
        const PngChunk chunk{QByteArrayView(type, 4), QByteArrayView(body, qsizetype(length))};
        chunks << chunk;
        if (chunk.is("IEND"))
            return chunks;
        pos += 12 + qsizetype(length);
    }
}

} // namespace trovix
