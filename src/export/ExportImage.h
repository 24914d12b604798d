#pragma once

#include "render/Image.h"

#include <QByteArray>
#include <QString>

namespace trovix {

// One step's picture, ready to be written into an export.
struct ExportImage {
    // The picture as it looks in the export (scaled and, for JPEG, after the lossy round trip; those
    // pixels are decoded on first use).
    Image cg;
    QByteArray data; // the encoded file contents, embedded or written unchanged
    QString ext;     // "jpg" or "png"
    QString mime;    // "image/jpeg" or "image/png"
};

} // namespace trovix
