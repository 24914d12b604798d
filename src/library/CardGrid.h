#pragma once

#include "document/GuideStore.h"

#include <QAbstractScrollArea>
#include <QIcon>
#include <QList>
#include <QUrl>

class QMenu;

namespace trovix {

// The library's grid of guide cards. Columns adapt to the width (each 220…300 wide, 18 apart, rows
// 22 apart, the grid centred inside an 18-wide margin). Cards are painted straight from the listing,
// and only the rows in view are painted, so a large library costs nothing for the cards off screen.
class CardGrid : public QAbstractScrollArea {
    Q_OBJECT
public:
    static constexpr int minColumnWidth = 220;
    static constexpr int maxColumnWidth = 300;
    static constexpr int columnSpacing = 18;
    static constexpr int rowSpacing = 22;
    static constexpr int padding = 18;
    static constexpr int thumbnailHeight = 140;
    static constexpr int partSpacing = 8;

    struct Layout {
        int columns = 1;
        int columnWidth = 0;
        int left = 0; // x of the first column
        int cardHeight = 0;
        int rows = 0;
        int contentHeight = 0;
        QRect cardRect(int index) const;
    };
    // The grid for `count` cards in a viewport `width` wide.
    static Layout layoutFor(int width, int count, int cardHeight);

    explicit CardGrid(QWidget* parent = nullptr);

    void setCards(const QList<GuideSummary>& cards);
    const QList<GuideSummary>& cards() const { return m_cards; }
    // Counts the calls to setCards, so that accessibility objects for old cards can be dropped.
    int cardsGeneration() const { return m_generation; }
    // The guide open in the main window (badged, not trashable); empty for none.
    void setOpenURL(const QUrl& url);
    bool isOpen(const QUrl& url) const;
    // The card clicked last; kept when the cards change even if it is no longer listed.
    void setSelected(const QUrl& url);
    const QUrl& selected() const { return m_selected; }

    Layout currentLayout() const;
    // The card under a viewport position, or -1.
    int cardAt(QPoint viewportPos) const;
    // The card's rectangle in viewport coordinates.
    QRect cardRect(int index) const;
    // The picture box inside a card's rectangle.
    static QRect thumbnailRect(const QRect& card);
    // Brings the card into view.
    void scrollToCard(int index);

    // The context menu for a card: "Open", "Show in File Manager", "Move to Trash" (disabled on the
    // open card). The caller owns it.
    QMenu* contextMenu(int index, QWidget* parent);

    // The caption of a guide that cannot be read.
    static QString unreadableCaption();
    // "1 step · Nov 3, 2026" in the locale's abbreviated date style.
    static QString captionLine(qint64 stepCount, const QDateTime& modified, const QLocale& locale);
    // The locale's long date format without the weekday and with abbreviated month names.
    static QString abbreviatedDateFormat(const QLocale& locale);

    // Cards painted by the last paint, for checking that the grid stays lazy.
    int lastPaintedCount() const { return m_lastPainted; }

    QSize sizeHint() const override;

Q_SIGNALS:
    void selectedChanged(const QUrl& url);
    void openRequested(const QUrl& url);
    void revealRequested(const QUrl& url);
    void trashRequested(const trovix::GuideSummary& summary);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    int cardHeight() const;
    int selectedIndex() const;
    void updateScrollRange();
    void paintCard(QPainter& painter, const QRect& rect, const GuideSummary& card) const;
    QFont headlineFont() const;
    QFont captionFont() const;

    QList<GuideSummary> m_cards;
    QUrl m_openURL;
    QUrl m_selected;
    QIcon m_photo;   // the placeholder's picture
    QIcon m_warning; // an unreadable guide's picture
    int m_lastPainted = 0;
    int m_generation = 0;
};

} // namespace trovix
