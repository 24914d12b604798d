#pragma once

#include "render/Image.h"

#include <QFutureWatcher>
#include <QImage>
#include <QPixmap>
#include <QTimer>
#include <QWidget>

namespace trovix {

// A step's rendered picture fitted to the width it is given (aspect ratio kept), with rounded
// corners and a faint outline.
//
// The picture is scaled once per size on a worker thread, never while painting: until the scaled
// copy for the current size is ready the previous one is stretched into place, so dragging the
// split view stays smooth and the sharp picture follows a moment later.
class StepPicture : public QWidget {
    Q_OBJECT
public:
    static constexpr double cornerRadius = 6;

    explicit StepPicture(QWidget* parent = nullptr);

    void setImage(const Image& image, double scale);
    const Image& image() const { return m_image; }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return {0, 0}; }

    // True when the picture on screen was scaled for the widget's current size.
    bool isSharp() const;

Q_SIGNALS:
    void sharpened();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QSize targetPixels() const;
    void rescale();

    Image m_image;
    double m_scale = 1;
    QPixmap m_pixmap; // the picture scaled for m_pixmapFor
    QSize m_pixmapFor;
    quint64 m_generation = 0;
    QTimer m_rescale;
    QFutureWatcher<QImage> m_watcher;
    quint64 m_watching = 0;
};

} // namespace trovix
