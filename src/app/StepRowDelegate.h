#pragma once

#include <QStyledItemDelegate>

namespace trovix {

class StepListModel;
class ThumbnailCache;

// Paints one row of the step list, left to right 8 pixels apart and centred vertically: the step
// number in an accent-coloured circle, the rendered picture's thumbnail, and the title on at most
// two lines. Thumbnails come from the cache; a row whose thumbnail is still being made shows an
// empty outlined box until it arrives.
class StepRowDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    static constexpr int spacing = 8;
    static constexpr int badgeSide = 20;
    static constexpr QSize thumbnailBox{64, 40};
    static constexpr int verticalPadding = 6;

    StepRowDelegate(const StepListModel* model, ThumbnailCache* thumbnails, QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // The title as it fits on at most two lines of `width` pixels, the second line elided.
    static QStringList titleLines(const QString& title, const QFont& font, int width);

private:
    const StepListModel* m_model;
    ThumbnailCache* m_thumbnails;
};

} // namespace trovix
