#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <optional>

namespace trovix {

// One chunk of a PNG file, viewing the file's bytes.
struct PngChunk {
    QByteArrayView type; // four letters, e.g. "IDAT"
    QByteArrayView body;

    bool is(const char* name) const { return type == QByteArrayView(name, 4); }

    // The chunks of `png` up to and including its end chunk. None when the signature is missing, a
    // length runs past the end of the file, no end chunk comes, or (with checkCrc) a checksum is wrong.
    static std::optional<QList<PngChunk>> readAll(const QByteArray& png, bool checkCrc);
};

} // namespace trovix
