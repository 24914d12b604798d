#include "library/CardGrid.h"

#include "library/CardGridAccessible.h"

#include <QAccessible>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDir>
#include <QIcon>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>
#include <QScrollBar>
#include <QStyle>

#include <algorithm>

namespace trovix {

namespace {

// File URLs compare by their cleaned path, so "a/./b/../G.trovix" and "a/G.trovix" name one guide.
QString standardized(const QUrl& url) {
    if (url.isLocalFile())
        return QDir::cleanPath(url.toLocalFile());
    return url.adjusted(QUrl::NormalizePathSegments | QUrl::StripTrailingSlash).toString();
}

QColor withAlpha(QColor colour, double alpha) {
    colour.setAlphaF(colour.alphaF() * alpha);
    return colour;
}

QColor secondaryColour(const QPalette& palette) {
    return withAlpha(palette.color(QPalette::WindowText), 0.6);
}

} // namespace

QRect CardGrid::Layout::cardRect(int index) const {
    const int row = index / columns;
    const int column = index % columns;
    return QRect(left + column * (columnWidth + columnSpacing), padding + row * (cardHeight + rowSpacing),
                 columnWidth, cardHeight);
}

CardGrid::Layout CardGrid::layoutFor(int width, int count, int cardHeight) {
    Layout layout;
    const int available = std::max(1, width - 2 * padding);
    // As many columns as fit at their narrowest; the spare width widens them up to their widest.
    layout.columns = std::max(1, (available + columnSpacing) / (minColumnWidth + columnSpacing));
    layout.columnWidth = std::max(
        1, std::min(maxColumnWidth, (available - columnSpacing * (layout.columns - 1)) / layout.columns));
    const int gridWidth = layout.columns * layout.columnWidth + (layout.columns - 1) * columnSpacing;
    layout.left = std::max(0, (width - gridWidth) / 2);
    layout.cardHeight = cardHeight;
    layout.rows = (count + layout.columns - 1) / layout.columns;
    layout.contentHeight =
        layout.rows == 0 ? 0 : 2 * padding + layout.rows * cardHeight + (layout.rows - 1) * rowSpacing;
    return layout;
}

CardGrid::CardGrid(QWidget* parent)
    : QAbstractScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    verticalScrollBar()->setSingleStep(24);
    m_photo = QIcon::fromTheme(QStringLiteral("image-x-generic-symbolic"),
                               QIcon::fromTheme(QStringLiteral("image-x-generic")));
    m_warning = QIcon::fromTheme(QStringLiteral("dialog-warning-symbolic"),
                                 QIcon::fromTheme(QStringLiteral("dialog-warning")));
    CardGridAccessible::install();
    setAccessibleName(tr("Guides"));
}

QSize CardGrid::sizeHint() const {
    return QSize(860, 600);
}

QFont CardGrid::headlineFont() const {
    QFont font = this->font();
    font.setBold(true);
    return font;
}

QFont CardGrid::captionFont() const {
    QFont font = this->font();
    font.setPointSizeF(std::max(7.0, font.pointSizeF() * 0.85));
    return font;
}

int CardGrid::cardHeight() const {
    return thumbnailHeight + partSpacing + QFontMetrics(headlineFont()).height() + partSpacing +
           QFontMetrics(captionFont()).height();
}

void CardGrid::setCards(const QList<GuideSummary>& cards) {
    m_cards = cards;
    ++m_generation;
    updateScrollRange();
    viewport()->update();
    if (QAccessible::isActive()) {
        QAccessibleEvent event(this, QAccessible::ObjectReorder);
        QAccessible::updateAccessibility(&event);
    }
}

void CardGrid::setOpenURL(const QUrl& url) {
    m_openURL = url;
    viewport()->update();
}

bool CardGrid::isOpen(const QUrl& url) const {
    return !m_openURL.isEmpty() && standardized(m_openURL) == standardized(url);
}

void CardGrid::setSelected(const QUrl& url) {
    if (m_selected == url)
        return;
    m_selected = url;
    viewport()->update();
    Q_EMIT selectedChanged(url);
}

int CardGrid::selectedIndex() const {
    for (int i = 0; i < m_cards.size(); ++i) {
        if (m_cards[i].url == m_selected)
            return i;
    }
    return -1;
}

CardGrid::Layout CardGrid::currentLayout() const {
    return layoutFor(viewport()->width(), int(m_cards.size()), cardHeight());
}

QRect CardGrid::cardRect(int index) const {
    return currentLayout().cardRect(index).translated(0, -verticalScrollBar()->value());
}

int CardGrid::cardAt(QPoint pos) const {
    const Layout layout = currentLayout();
    if (layout.rows == 0)
        return -1;
    const QPoint content = pos + QPoint(0, verticalScrollBar()->value());
    const int column = (content.x() - layout.left) / (layout.columnWidth + columnSpacing);
    const int row = (content.y() - padding) / (layout.cardHeight + rowSpacing);
    if (content.x() < layout.left || content.y() < padding || column >= layout.columns)
        return -1;
    const int index = row * layout.columns + column;
    if (index >= m_cards.size() || !layout.cardRect(index).contains(content))
        return -1;
    return index;
}

QRect CardGrid::thumbnailRect(const QRect& card) {
    return QRect(card.left(), card.top(), card.width(), thumbnailHeight);
}

void CardGrid::scrollToCard(int index) {
    const QRect rect = currentLayout().cardRect(index);
    QScrollBar* bar = verticalScrollBar();
    if (rect.top() - padding < bar->value())
        bar->setValue(rect.top() - padding);
    else if (rect.bottom() + padding > bar->value() + viewport()->height())
        bar->setValue(rect.bottom() + padding - viewport()->height());
}

void CardGrid::updateScrollRange() {
    const Layout layout = currentLayout();
    QScrollBar* bar = verticalScrollBar();
    bar->setPageStep(viewport()->height());
    bar->setRange(0, std::max(0, layout.contentHeight - viewport()->height()));
}

void CardGrid::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    updateScrollRange();
}

void CardGrid::changeEvent(QEvent* event) {
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        updateScrollRange();
}

QString CardGrid::abbreviatedDateFormat(const QLocale& locale) {
    QString format = locale.dateFormat(QLocale::LongFormat);
    // Drop the weekday ("dddd" or "ddd") with the separator that follows or precedes it.
    static const QRegularExpression weekdayFirst(QStringLiteral("(?<!d)d{3,4}(?!d)[,.]?\\s*"));
    static const QRegularExpression weekdayLast(QStringLiteral("[,.]?\\s*(?<!d)d{3,4}(?!d)"));
    static const QRegularExpression weekday(QStringLiteral("(?<!d)d{3,4}(?!d)"));
    const QRegularExpressionMatch match = weekday.match(format);
    if (match.hasMatch()) {
        if (match.capturedStart() == 0)
            format.remove(weekdayFirst);
        else
            format.remove(weekdayLast);
    }
    format.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    return format.trimmed();
}

QString CardGrid::unreadableCaption() {
    return tr("Can’t be read");
}

QString CardGrid::captionLine(qint64 stepCount, const QDateTime& modified, const QLocale& locale) {
    const QString date = locale.toString(modified.toLocalTime().date(), abbreviatedDateFormat(locale));
    return (stepCount == 1 ? tr("%1 step · %2") : tr("%1 steps · %2")).arg(stepCount).arg(date);
}

void CardGrid::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform |
                           QPainter::TextAntialiasing);
    const Layout layout = currentLayout();
    const int offset = verticalScrollBar()->value();
    const QRect visible = event->rect().translated(0, offset);
    m_lastPainted = 0;
    if (layout.rows == 0)
        return;
    const int rowPitch = layout.cardHeight + rowSpacing;
    const int firstRow = std::max(0, (visible.top() - padding) / rowPitch);
    const int lastRow = std::min(layout.rows - 1, (visible.bottom() - padding) / rowPitch);
    for (int row = firstRow; row <= lastRow; ++row) {
        for (int column = 0; column < layout.columns; ++column) {
            const int index = row * layout.columns + column;
            if (index >= m_cards.size())
                break;
            const QRect rect = layout.cardRect(index).translated(0, -offset);
            if (!rect.intersects(event->rect()))
                continue;
            paintCard(painter, rect, m_cards[index]);
            ++m_lastPainted;
        }
    }
}

void CardGrid::paintCard(QPainter& painter, const QRect& rect, const GuideSummary& card) const {
    const QPalette& palette = this->palette();
    const QRectF box = thumbnailRect(rect);
    QPainterPath shape;
    shape.addRoundedRect(box, 8, 8);

    painter.save();
    painter.setClipPath(shape);
    if (!card.problem.isEmpty()) {
        // What is wrong, in the picture's place: the reader's sentence names the file and the reason.
        painter.fillRect(box, withAlpha(palette.color(QPalette::WindowText), 0.08));
        const int side = 24;
        QRectF text = box.adjusted(12, 10 + side + 6, -12, -8);
        if (!m_warning.isNull())
            m_warning.paint(&painter, QRect(int(box.left()) + 12, int(box.top()) + 10, side, side));
        else
            text.setTop(box.top() + 10);
        painter.setFont(captionFont());
        painter.setPen(palette.color(QPalette::WindowText));
        painter.drawText(text, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, card.problem);
    } else if (!card.thumbnail.isNull()) {
        // Fill the box keeping the aspect ratio; the overflow is cut away.
        const QSizeF image = card.thumbnail.size();
        const double boxAspect = box.width() / box.height();
        QRectF source(QPointF(0, 0), image);
        if (image.width() / image.height() > boxAspect)
            source.setWidth(image.height() * boxAspect);
        else
            source.setHeight(image.width() / boxAspect);
        source.moveCenter(QRectF(QPointF(0, 0), image).center());
        painter.drawImage(box, card.thumbnail, source);
    } else {
        painter.fillRect(box, withAlpha(palette.color(QPalette::WindowText), 0.08));
        const int side = 34;
        const QRect iconRect(int(box.center().x()) - side / 2, int(box.center().y()) - side / 2, side, side);
        if (!m_photo.isNull()) {
            // Tint the symbolic icon with the secondary colour.
            QPixmap pixmap = m_photo.pixmap(QSize(side, side), devicePixelRatioF());
            QPainter tint(&pixmap);
            tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
            tint.fillRect(pixmap.rect(), secondaryColour(palette));
            tint.end();
            painter.drawPixmap(iconRect, pixmap);
        } else {
            painter.setPen(QPen(secondaryColour(palette), 2));
            painter.drawRoundedRect(iconRect.adjusted(2, 6, -2, -6), 3, 3);
        }
    }
    painter.restore();

    const bool selected = card.url == m_selected;
    if (selected)
        painter.setPen(QPen(palette.color(QPalette::Highlight), 3));
    else
        painter.setPen(QPen(withAlpha(palette.color(QPalette::WindowText), 0.6 * 0.3), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(shape);

    if (isOpen(card.url)) {
        QFont font = captionFont();
        font.setBold(true);
        const QFontMetrics metrics(font);
        const QString text = tr("Open");
        const QSizeF size(metrics.horizontalAdvance(text) + 14, metrics.height() + 4);
        const QRectF badge(box.right() - 6 - size.width(), box.top() + 6, size.width(), size.height());
        painter.setPen(Qt::NoPen);
        painter.setBrush(palette.color(QPalette::Highlight));
        painter.drawRoundedRect(badge, size.height() / 2, size.height() / 2);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(badge, Qt::AlignCenter, text);
    }

    const QFont headline = headlineFont();
    const QFontMetrics headlineMetrics(headline);
    QRect line(rect.left(), int(box.bottom()) + partSpacing, rect.width(), headlineMetrics.height());
    painter.setFont(headline);
    painter.setPen(palette.color(QPalette::WindowText));
    painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter,
                     headlineMetrics.elidedText(card.title, Qt::ElideRight, rect.width()));

    const QFont caption = captionFont();
    const QFontMetrics captionMetrics(caption);
    line = QRect(rect.left(), line.bottom() + 1 + partSpacing, rect.width(), captionMetrics.height());
    painter.setFont(caption);
    painter.setPen(secondaryColour(palette));
    painter.drawText(
        line, Qt::AlignLeft | Qt::AlignVCenter,
        captionMetrics.elidedText(card.problem.isEmpty()
                                      ? captionLine(card.stepCount, card.modified, QLocale::system())
                                      : unreadableCaption(),
                                  Qt::ElideRight, rect.width()));
}

QMenu* CardGrid::contextMenu(int index, QWidget* parent) {
    if (index < 0 || index >= m_cards.size())
        return nullptr;
    const GuideSummary card = m_cards[index];
    auto* menu = new QMenu(parent);
    connect(menu->addAction(tr("Open")), &QAction::triggered, this,
            [this, url = card.url] { Q_EMIT openRequested(url); });
    connect(menu->addAction(tr("Show in File Manager")), &QAction::triggered, this,
            [this, url = card.url] { Q_EMIT revealRequested(url); });
    menu->addSeparator();
    QAction* trash = menu->addAction(QIcon::fromTheme(QStringLiteral("user-trash")), tr("Move to Trash"));
    trash->setEnabled(!isOpen(card.url));
    connect(trash, &QAction::triggered, this, [this, card] { Q_EMIT trashRequested(card); });
    return menu;
}

void CardGrid::mousePressEvent(QMouseEvent* event) {
    const int index = cardAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && index >= 0)
        setSelected(m_cards[index].url);
    QAbstractScrollArea::mousePressEvent(event);
}

void CardGrid::mouseDoubleClickEvent(QMouseEvent* event) {
    const int index = cardAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && index >= 0)
        Q_EMIT openRequested(m_cards[index].url);
}

void CardGrid::contextMenuEvent(QContextMenuEvent* event) {
    int index = -1;
    QPoint at = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        index = selectedIndex();
        if (index >= 0)
            at = viewport()->mapToGlobal(cardRect(index).center());
    } else {
        index = cardAt(viewport()->mapFromGlobal(event->globalPos()));
    }
    if (QMenu* menu = contextMenu(index, this)) {
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(at);
    }
}

void CardGrid::keyPressEvent(QKeyEvent* event) {
    if (m_cards.isEmpty())
        return QAbstractScrollArea::keyPressEvent(event);
    const Layout layout = currentLayout();
    const int current = selectedIndex();
    int next = -1;
    switch (event->key()) {
    case Qt::Key_Left:
        next = current < 0 ? 0 : current - 1;
        break;
    case Qt::Key_Right:
        next = current < 0 ? 0 : current + 1;
        break;
    case Qt::Key_Up:
        next = current < 0 ? 0 : current - layout.columns;
        break;
    case Qt::Key_Down:
        next = current < 0 ? 0 : current + layout.columns;
        break;
    case Qt::Key_Home:
        next = 0;
        break;
    case Qt::Key_End:
        next = int(m_cards.size()) - 1;
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (current >= 0)
            Q_EMIT openRequested(m_cards[current].url);
        return;
    default:
        return QAbstractScrollArea::keyPressEvent(event);
    }
    if (next >= 0 && next < m_cards.size()) {
        setSelected(m_cards[next].url);
        scrollToCard(next);
    }
}

} // namespace trovix
