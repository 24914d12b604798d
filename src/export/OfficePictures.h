#pragma once

#include "document/Step.h"
#include "export/Exporter.h"
#include "export/PreparedPictures.h"

#include <QSize>
#include <QSizeF>
#include <QString>

#include <vector>

namespace trovix {

class ZipArchive;

// The step pictures of a word-processor document, shared by the DOCX and ODT writers. Each step's
// picture is one archive entry, prepared on the worker pool and written as the archive is written,
// one after another; the document's own text, added after them, then knows how each turned out.
//
// At small and balanced an entry is the preset's JPEG; at full it is the step's stored PNG as it
// is, or the marked picture encoded once.
class OfficePictures {
public:
    // The widest and tallest a picture is shown, in points: the text width of a US Letter page with
    // 54-point margins, and a height that leaves room for the step's heading on the same page.
    static constexpr double maxWidth = 504, maxHeight = 600;

    struct Picture {
        QString entry; // its name in the archive; empty when the step has no picture
        QString mime;
        QSize pixels;    // of the picture in the archive
        QSizeF points;   // as shown on the page
        bool ok = false; // written; false when it could not be prepared (the step is shown without it)
    };

    // Adds the entries as `folder`/step-N.jpg|png.
    OfficePictures(ZipArchive& zip, const QString& folder, const QList<Step>& steps, ExportQuality quality,
                   const ExportProgress& progress);

    const Picture& operator[](qsizetype index) const { return m_pictures[size_t(index)]; }
    qsizetype size() const { return qsizetype(m_pictures.size()); }

    // Writes the archive (pictures and the document's text), then reports the last steps done.
    ExportResult commit();

private:
    ZipArchive& m_zip;
    PreparedPictures m_prepared;
    std::vector<Picture> m_pictures;
    ExportProgress m_progress;
    int m_reported = 0;
};

} // namespace trovix
