#include "app/StepRowDelegate.h"

#include "app/Appearance.h"
#include "app/StepListModel.h"
#include "app/ThumbnailCache.h"

#include <QApplication>
#include <QPainter>
#include <QTextLayout>

namespace trovix {

StepRowDelegate::StepRowDelegate(const StepListModel* model, ThumbnailCache* thumbnails, QObject* parent)
    : QStyledItemDelegate(parent)
    , m_model(model)
    , m_thumbnails(thumbnails) {}

QStringList StepRowDelegate::titleLines(const QString& title, const QFont& font, int width) {
    if (title.isEmpty() || width <= 0)
        return {};
    // Line breaks typed into a title are shown as spaces, as a list row has no room for them.
    QString text = title;
    text.replace(u'\n', u' ');
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    QTextLine first = layout.createLine();
    if (!first.isValid()) {
        layout.endLayout();
        return {};
    }
    first.setLineWidth(width);
    QTextLine second = layout.createLine();
    layout.endLayout();

    QStringList lines{text.mid(first.textStart(), first.textLength()).trimmed()};
    if (second.isValid()) {
        const QString rest = text.mid(second.textStart()).trimmed();
        lines.append(QFontMetrics(font).elidedText(rest, Qt::ElideRight, width));
    }
    return lines;
}

QSize StepRowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    const int twoLines = 2 * QFontMetrics(option.font).lineSpacing();
    const int height = qMax(thumbnailBox.height(), twoLines) + 2 * verticalPadding;
    return {spacing * 4 + badgeSide + thumbnailBox.width() + 40, height};
}

void StepRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    if (!index.isValid() || index.row() >= m_model->rowCount())
        return;
    const Step& step = m_model->stepAt(index.row());
    // A step still being checked for secrets: faded, with what it waits for under its title.
    const bool pending = m_model->isPending(index.row());

    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    background.icon = QIcon();
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &background, painter, widget);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect rect = option.rect;
    const int middle = rect.top() + rect.height() / 2;
    const bool selected = option.state & QStyle::State_Selected;
    const QPalette& palette = option.palette;

    // Number badge.
    int x = rect.left() + spacing;
    const QRectF badge(x, middle - badgeSide / 2.0, badgeSide, badgeSide);
    painter->setPen(selected ? QPen(palette.color(QPalette::HighlightedText), 1.5) : Qt::NoPen);
    painter->setBrush(pending ? Appearance::faint(palette) : Appearance::accent(palette));
    painter->drawEllipse(badge.adjusted(0.5, 0.5, -0.5, -0.5));
    QFont badgeFont = Appearance::caption();
    badgeFont.setBold(true);
    painter->setFont(badgeFont);
    painter->setPen(Qt::white);
    painter->drawText(badge, Qt::AlignCenter, QString::number(index.row() + 1));
    x += badgeSide + spacing;

    // Thumbnail.
    const QRect thumbRect(QPoint(x, middle - thumbnailBox.height() / 2), thumbnailBox);
    const double dpr = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
    const QPixmap thumb = m_thumbnails->thumbnail(step.rendered, dpr);
    if (!thumb.isNull()) {
        painter->setOpacity(pending ? 0.45 : 1.0);
        painter->drawPixmap(thumbRect.topLeft(), thumb);
        painter->setOpacity(1.0);
    } else {
        painter->setPen(QPen(Appearance::faint(palette), 1));
        painter->setBrush(Appearance::faint(palette));
        painter->drawRoundedRect(QRectF(thumbRect).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    }
    x += thumbnailBox.width() + spacing;

    // Title, at most two lines.
    const int width = rect.right() - spacing - x;
    QStringList lines = titleLines(step.title, option.font, width);
    const QFontMetrics metrics(option.font);
    if (pending)
        lines = {metrics.elidedText(lines.value(0), Qt::ElideRight, width),
                 metrics.elidedText(StepListModel::pendingText(), Qt::ElideRight, width)};
    const int textHeight = int(lines.size()) * metrics.lineSpacing();
    int y = middle - textHeight / 2;
    painter->setFont(option.font);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const bool status = pending && i == 1;
        painter->setPen(status     ? Appearance::secondaryText(palette)
                        : selected ? palette.color(QPalette::HighlightedText)
                                   : palette.color(QPalette::Text));
        painter->drawText(QRect(x, y, width, metrics.lineSpacing()), Qt::AlignLeft | Qt::AlignVCenter,
                          lines[i]);
        y += metrics.lineSpacing();
    }
    painter->restore();
}

} // namespace trovix
