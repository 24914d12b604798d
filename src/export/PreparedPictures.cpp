#include "export/PreparedPictures.h"

#include "export/Exporter.h"
#include "export/PngLayout.h"
#include "render/ImageCodec.h"

#include <QPainter>

#include <QThread>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

namespace trovix {

namespace {

// Opaque pixels as they look on a white page.
QImage onWhite(const QImage& pixels) {
    if (!pixels.hasAlphaChannel())
        return pixels;
    QImage out(pixels.size(), QImage::Format_RGB32);
    if (out.isNull())
        return {};
    out.fill(Qt::white);
    QPainter painter(&out);
    painter.drawImage(0, 0, pixels);
    return out;
}

// The step's stored PNG when a PDF can hold its data unchanged; otherwise its pixels encoded once,
// with the fast screenshot settings, into a PNG that it can.
void preparePdfStream(const Image& source, PreparedPictures::Picture& picture) {
    QByteArray png = source.hasPng() ? source.png() : QByteArray();
    picture.stored = !png.isEmpty() && PngLayout::embeddable(png);
    if (!picture.stored)
        png = ImageCodec::encodePng(onWhite(source.pixels()));
    if (!png.isEmpty())
        picture.image =
            ExportImage{source, std::move(png), QStringLiteral("png"), QStringLiteral("image/png")};
}

PreparedPictures::Picture prepareOne(const Step& step, ExportQuality quality, PreparedPictures::Use use) {
    // Exporting must not leave decoded screenshots behind in the guide: pixels that were not
    // cached before are released again once the picture is prepared.
    const Image& source = step.rendered;
    const bool hadPixels = source.hasPixels(), hadBase = step.base.hasPixels();
    PreparedPictures::Picture picture;
    if (use != PreparedPictures::Use::pdfStream)
        picture.image = Exporter::prepare(step, quality);
    else if (!source.isNull())
        preparePdfStream(source, picture);
    // A prepared JPEG is drawn from its bytes; only a picture that could not be prepared is drawn from
    // the step's own pixels.
    if (use == PreparedPictures::Use::drawn && !picture.image)
        picture.pixels = source.pixels();
    if (!hadPixels)
        source.dropPixels();
    if (!hadBase)
        step.base.dropPixels();
    return picture;
}

} // namespace

PreparedPictures::PreparedPictures(const QList<Step>& steps, ExportQuality quality, Use use)
    : m_steps(steps)
    , m_quality(quality)
    , m_use(use) {
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
        const Step step = m_steps[m_scheduled];
        const ExportQuality quality = m_quality;
        const Use use = m_use;
        m_jobs[m_scheduled++] =
            QtConcurrent::run(&m_pool, [step, quality, use] { return prepareOne(step, quality, use); });
    }
    Picture picture = m_jobs[index].result();
    // Replacing the finished future releases the result it kept.
    m_jobs[index] = QFuture<Picture>();
    return picture;
}

} // namespace trovix
