#pragma once

#include "document/Step.h"
#include "export/ExportImage.h"
#include "export/ExportQuality.h"

#include <QFuture>
#include <QImage>
#include <QList>
#include <QThreadPool>

#include <optional>

namespace trovix {

// Prepares the steps' pictures on a small worker pool, a few steps ahead of the writer, and hands
// them out strictly in step order. The output is exactly what preparing one step after another
// would give; only the waiting overlaps.
//
// Memory stays bounded however long the guide is: at most `lookAhead` pictures are prepared but
// not yet taken, a taken picture is the writer's to release, and a step picture whose pixels had
// to be decoded or rendered for the export has them dropped again afterwards.
class PreparedPictures {
public:
    enum class Use {
        files,     // the encoded picture is written out
        drawn,     // also its pixels, to draw
        pdfStream, // full quality only: a PNG whose data a PDF image can hold as it is
    };

    struct Picture {
        std::optional<ExportImage> image; // none when the picture cannot be prepared
        // For drawn, when the picture could not be prepared: the step's own pixels (null when there
        // are none).
        QImage pixels;
        // For pdfStream: the PNG bytes are the step's own stored file, which the guide keeps anyway.
        bool stored = false;
    };

    PreparedPictures(const QList<Step>& steps, ExportQuality quality, Use use);
    ~PreparedPictures();
    PreparedPictures(const PreparedPictures&) = delete;
    PreparedPictures& operator=(const PreparedPictures&) = delete;

    // The picture of step `index`; call with 0, 1, 2, … in order.
    Picture take(int index);

private:
    QList<Step> m_steps;
    ExportQuality m_quality;
    Use m_use;
    QThreadPool m_pool;
    QList<QFuture<Picture>> m_jobs;
    int m_lookAhead;
    qsizetype m_scheduled = 0; // steps [0, m_scheduled) have a job
};

} // namespace trovix
