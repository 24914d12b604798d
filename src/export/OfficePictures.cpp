#include "export/OfficePictures.h"

#include "export/ZipArchive.h"

#include <algorithm>

namespace trovix {

OfficePictures::OfficePictures(ZipArchive& zip, const QString& folder, const QList<Step>& steps,
                               ExportQuality quality, const ExportProgress& progress)
    : m_zip(zip)
    , m_prepared(steps, quality, PreparedPictures::Use::files)
    , m_pictures(size_t(steps.size()))
    , m_progress(progress) {
    const bool png = quality == ExportQuality::full;
    if (m_progress)
        m_progress(0, int(steps.size()));
    for (qsizetype i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        if (step.rendered.isNull())
            continue;
        Picture& picture = m_pictures[size_t(i)];
        picture.entry = folder + QStringLiteral("/step-%1.%2").arg(i + 1).arg(png ? "png" : "jpg");
        picture.mime = png ? QStringLiteral("image/png") : QStringLiteral("image/jpeg");
        // The size in points comes from the step's own picture, as in the PDF, never enlarged.
        const double scale = step.scale > 0 ? step.scale : 1;
        const QSizeF natural(step.rendered.width() / scale, step.rendered.height() / scale);
        const double fit = std::min({maxWidth / natural.width(), maxHeight / natural.height(), 1.0});
        picture.points = natural * fit;
        const int total = int(steps.size());
        zip.addLater(
            picture.entry,
            [this, i, total] {
                PreparedPictures::Picture prepared = m_prepared.take(int(i));
                Picture& picture = m_pictures[size_t(i)];
                QByteArray bytes;
                if (prepared.image) {
                    picture.ok = true;
                    picture.pixels = prepared.image->cg.size();
                    bytes = std::move(prepared.image->data);
                }
                m_reported = int(i) + 1;
                if (m_progress)
                    m_progress(m_reported, total);
                return bytes;
            },
            ZipArchive::Compression::store);
    }
}

ExportResult OfficePictures::commit() {
    ExportResult result;
    result.path = m_zip.path();
    result.bytes = m_zip.commit();
    result.files << result.path;
    if (m_progress && m_reported < size())
        m_progress(int(size()), int(size()));
    m_reported = int(size());
    return result;
}

} // namespace trovix
