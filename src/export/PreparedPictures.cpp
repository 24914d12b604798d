#include "export/PreparedPictures.h"

#include "export/Exporter.h"

#include <QThread>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

namespace trovix {

namespace {

PreparedPictures::Picture prepareOne(const Image& source, ExportQuality quality, bool withPixels) {
    // Exporting must not leave decoded screenshots behind in the guide: pixels that were not
    // cached before are released again once the picture is prepared.
    const bool hadPixels = source.hasPixels();
    PreparedPictures::Picture picture;
    picture.image = Exporter::prepare(source, quality);
    if (withPixels)
        picture.pixels = picture.image ? picture.image->cg.pixels() : source.pixels();
    if (!hadPixels)
        source.dropPixels();
    return picture;
}

} // namespace

PreparedPictures::PreparedPictures(const QList<Step>& steps, ExportQuality quality, bool withPixels)
    : m_steps(steps)
    , m_quality(quality)
    , m_withPixels(withPixels) {
    // A pool of our own: the global pool also encodes the guide's PNGs, and a prepare job may wait
    // for one of those.
    const int threads = std::max(1, QThread::idealThreadCount());
    m_pool.setMaxThreadCount(threads);
    m_lookAhead = threads + 1;
    m_jobs.resize(steps.size());
}

PreparedPictures::~PreparedPictures() {
    // Jobs still running (the writer failed part-way) hold copies of their steps; let them finish
    // before the pool goes away.
    m_pool.waitForDone();
}

PreparedPictures::Picture PreparedPictures::take(int index) {
    while (m_scheduled < m_steps.size() && m_scheduled <= index + m_lookAhead) {
        const Image source = m_steps[m_scheduled].rendered;
        const ExportQuality quality = m_quality;
        const bool withPixels = m_withPixels;
        m_jobs[m_scheduled++] = QtConcurrent::run(
            &m_pool, [source, quality, withPixels] { return prepareOne(source, quality, withPixels); });
    }
    Picture picture = m_jobs[index].result();
    // Replacing the finished future releases the result it kept.
    m_jobs[index] = QFuture<Picture>();
    return picture;
}

} // namespace trovix
