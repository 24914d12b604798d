#pragma once

#include "render/Image.h"

#include <QByteArray>
#include <QString>

namespace trovix {

// One step's picture, ready to be written into an export.
struct ExportImage {
    Image cg; // the picture as it looks in the export (scaled and, for JPEG, after the lossy round trip)
    QByteArray data; // the encoded file contents, embedded or written unchanged
    QString ext;     // "jpg" or "png"
    QString mime;    // "image/jpeg" or "image/png"
};

} // namespace trovix
