#include "export/PngLayout.h"

#include <QtEndian>

#include <cstring>

namespace trovix {

std::optional<PngLayout> PngLayout::embeddable(const QByteArray& png) {
    const auto* data = reinterpret_cast<const uchar*>(png.constData());
    const qsizetype size = png.size();
    if (size < 8 || std::memcmp(data, "\x89PNG\r\n\x1a\n", 8) != 0)
        return std::nullopt;
    PngLayout layout;
    bool header = false, dataEnded = false;
    for (qsizetype pos = 8; size - pos >= 12;) {
        const quint32 length = qFromBigEndian<quint32>(data + pos);
        if (qint64(length) > qint64(size - pos - 12))
            return std::nullopt;
        const uchar* type = data + pos + 4;
        const uchar* body = type + 4;
        auto is = [type](const char* name) { return std::memcmp(type, name, 4) == 0; };
        if (is("IHDR")) {
            if (length != 13)
                return std::nullopt;
            layout.width = int(qFromBigEndian<quint32>(body));
            layout.height = int(qFromBigEndian<quint32>(body + 4));
            const int depth = body[8], colourType = body[9];
            // Compression and filter method 0 are the only ones defined; 0 is no interlacing.
            if (depth != 8 || (colourType != 2 && colourType != 0) || body[10] || body[11] || body[12] ||
                layout.width <= 0 || layout.height <= 0)
                return std::nullopt;
            layout.colours = colourType == 2 ? 3 : 1;
            header = true;
        } else if (is("tRNS")) {
            return std::nullopt; // a transparent colour: the picture has alpha
        } else if (is("IDAT")) {
            if (!header || dataEnded)
                return std::nullopt;
            layout.chunks << QByteArrayView(reinterpret_cast<const char*>(body), length);
        } else if (is("IEND")) {
            if (!header || layout.chunks.isEmpty())
                return std::nullopt;
            return layout;
        } else if (!layout.chunks.isEmpty()) {
            dataEnded = true;
        }
        pos += 12 + qsizetype(length);
    }
    return std::nullopt;
}

} // namespace trovix
