#pragma once

#include "export/ExportQuality.h"

#include <QFrame>
#include <QList>
#include <QPainterPath>

class QLabel;
class QPushButton;
class QToolButton;

namespace trovix {

// The export panel that drops down from the toolbar's Export button: the image quality picker with
// its description, a fixed line about saved guides, and one button per export format.
//
// The picker writes the "exportQuality" setting at once. A format button only reports the choice;
// the owner closes the panel first and starts the export after it has gone.
class ExportPopover : public QFrame {
    Q_OBJECT
public:
    static constexpr int width = 290;

    explicit ExportPopover(QWidget* parent = nullptr);

    // Shows the panel below `anchor`, its arrow pointing at the anchor's middle.
    void popup(QWidget* anchor);
    // Re-reads the setting.
    void refresh();

    // The stored value as the panel reads it: "balanced" while the setting is absent.
    static QString storedQuality();

    const QList<QToolButton*>& segments() const { return m_segments; }
    QLabel* description() const { return m_description; }
    const QList<QPushButton*>& formatButtons() const { return m_formats; }

Q_SIGNALS:
    void formatChosen(trovix::ExportFormat format);
    void closed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QPainterPath outline() const;
    void updateMask();

    QWidget* m_anchor = nullptr;
    int m_arrowX = width / 2;
    QList<QToolButton*> m_segments;
    QLabel* m_description;
    QList<QPushButton*> m_formats;
};

} // namespace trovix
