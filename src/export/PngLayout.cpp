#include "export/PngLayout.h"

#include "render/PngChunk.h"

#include <QtEndian>

namespace trovix {

std::optional<PngLayout> PngLayout::embeddable(const QByteArray& png) {
    const std::optional<QList<PngChunk>> chunks = PngChunk::readAll(png, false);
    if (!chunks)
        return std::nullopt;
    PngLayout layout;
    bool header = false, dataEnded = false;
    for (const PngChunk& chunk : *chunks) {
        const auto* body = reinterpret_cast<const uchar*>(chunk.body.data());
        if (chunk.is("IHDR")) {
            if (chunk.body.size() != 13)
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
        } else if (chunk.is("tRNS")) {
            return std::nullopt; // a transparent colour: the picture has alpha
        } else if (chunk.is("IDAT")) {
            if (!header || dataEnded)
                return std::nullopt;
            layout.chunks << chunk.body;
        } else if (chunk.is("IEND")) {
            if (!header || layout.chunks.isEmpty())
                return std::nullopt;
        } else if (!layout.chunks.isEmpty()) {
            dataEnded = true;
        }
    }
    return layout;
}

} // namespace trovix
