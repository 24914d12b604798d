#pragma once

#include "render/Image.h"

#include <QColor>
#include <QHash>
#include <QObject>
#include <QPixmap>
#include <QSet>
#include <QSize>
#include <QThreadPool>

#include <memory>

namespace trovix {

// Small, ready-to-draw pictures of step images for the step list: filled into a fixed box (the
// overflow cut away), with rounded corners and a faint outline.
//
// A list row never scales a full screenshot while painting: a missing thumbnail is made on a worker
// thread (decoding the image first if its pixels were dropped, and dropping them again after) and
// the list is told when it is ready. Entries are keyed by the image's shared buffer; retain()
// forgets the images a guide no longer holds.
class ThumbnailCache : public QObject {
    Q_OBJECT
public:
    struct Look {
        QSize box;         // in device-independent pixels
        double radius = 4; // corner radius in device-independent pixels
        QColor outline;
    };

    explicit ThumbnailCache(const Look& look, QObject* parent = nullptr);
    ~ThumbnailCache() override;

    // The thumbnail at this device pixel ratio, or a null pixmap while it is being made.
    QPixmap thumbnail(const Image& image, double devicePixelRatio);
    // Makes the thumbnail now, on this thread (used where a picture is needed at once).
    QPixmap thumbnailNow(const Image& image, double devicePixelRatio);

    // Forgets every entry whose image is not among `images`.
    void retain(const QList<Image>& images);
    void setOutline(const QColor& colour);
    int size() const { return int(m_entries.size()); }
    // Waits until no thumbnail is being made (tests and benchmarks).
    void waitForDone();

    // The thumbnail drawn from `pixels`: exposed for tests.
    static QImage draw(const QImage& pixels, const Look& look, double devicePixelRatio);

Q_SIGNALS:
    // A thumbnail of the image with this key is ready.
    void ready(quintptr imageKey);

private:
    struct Entry {
        Image image; // kept so the key stays unique while the entry lives
        double dpr = 1;
        QPixmap pixmap;
    };

    void finished(quintptr key, double dpr, const QImage& thumbnail);

    Look m_look;
    QHash<quintptr, Entry> m_entries;
    QSet<quintptr> m_pending;
    QThreadPool m_pool;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace trovix
