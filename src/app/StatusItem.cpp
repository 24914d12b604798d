#include "app/StatusItem.h"

#include "app/AppDelegate.h"
#include "app/Icons.h"
#include "document/Guide.h"

#include <QCursor>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QSystemTrayIcon>
#include <QTimer>

namespace trovix {

namespace {

const QColor systemRed(255, 59, 48);
constexpr int iconSides[] = {16, 22, 24, 32, 48, 64};

QPixmap drawnCamera(int side) {
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const double u = side / 16.0;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(60, 60, 60));
    painter.drawRoundedRect(QRectF(1 * u, 4 * u, 14 * u, 10 * u), 2 * u, 2 * u);
    painter.drawRect(QRectF(5 * u, 2.5 * u, 6 * u, 2 * u));
    painter.setBrush(Qt::white);
    painter.drawEllipse(QPointF(8 * u, 9 * u), 3.2 * u, 3.2 * u);
    painter.setBrush(QColor(60, 60, 60));
    painter.drawEllipse(QPointF(8 * u, 9 * u), 2 * u, 2 * u);
    return pixmap;
}

QPixmap drawnRecord(int side) {
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPointF centre(side / 2.0, side / 2.0);
    // A filled disc with the record dot cut out of it as a ring.
    QPainterPath path;
    path.addEllipse(centre, side * 0.46, side * 0.46);
    QPainterPath gap;
    gap.addEllipse(centre, side * 0.30, side * 0.30);
    QPainterPath dot;
    dot.addEllipse(centre, side * 0.22, side * 0.22);
    painter.fillPath(path.subtracted(gap).united(dot), systemRed);
    return pixmap;
}

void drawCount(QPixmap& pixmap, int steps) {
    const int side = pixmap.width();
    const QString text = steps > 99 ? QStringLiteral("99+") : QString::number(steps);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font;
    font.setBold(true);
    font.setPixelSize(std::max(7, int(side * 0.5)));
    painter.setFont(font);
    const QFontMetricsF metrics(font);
    const double height = metrics.height() * 0.95;
    const double width = std::max(height, metrics.horizontalAdvance(text) + height * 0.4);
    const QRectF badge(side - width, side - height, width, height);
    painter.setPen(QPen(Qt::white, std::max(1.0, side / 32.0)));
    painter.setBrush(QColor(20, 20, 20, 235));
    painter.drawRoundedRect(badge, height / 2, height / 2);
    painter.setPen(Qt::white);
    painter.drawText(badge, Qt::AlignCenter, text);
}

} // namespace

StatusItem::StatusItem(Guide& guide, Actions actions, QObject* parent)
    : QObject(parent)
    , m_guide(guide)
    , m_actions(std::move(actions))
    , m_tray(std::make_unique<QSystemTrayIcon>()) {
    // Notifications come before the new value is stored: refresh on the event loop, once, after it.
    connect(&m_guide, &Guide::stepsWillChange, this, &StatusItem::scheduleRefresh);
    connect(&m_guide, &Guide::recordingWillChange, this, &StatusItem::scheduleRefresh);
    // A click opens the same menu as the context click, as a menu-bar item would.
    connect(m_tray.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger && m_menu)
                    m_menu->popup(QCursor::pos());
            });
    refresh();
    m_tray->show();
}

StatusItem::~StatusItem() {
    m_tray->setContextMenu(nullptr);
    delete m_menu;
}

void StatusItem::scheduleRefresh() {
    if (m_refreshPending)
        return;
    m_refreshPending = true;
    QTimer::singleShot(0, this, [this] {
        m_refreshPending = false;
        refresh();
    });
}

QString StatusItem::recordLabel(bool recording) {
    return recording ? tr("Stop Recording Clicks  (Ctrl+Alt+R)") : tr("Record Clicks  (Ctrl+Alt+R)");
}

QIcon StatusItem::iconFor(bool recording, int steps) {
    const QIcon themedCamera = recording ? QIcon() : Icons::themed({QStringLiteral("camera-photo")});
    QIcon icon;
    for (int side : iconSides) {
        QPixmap pixmap = recording               ? drawnRecord(side)
                         : themedCamera.isNull() ? drawnCamera(side)
                                                 : themedCamera.pixmap(side, side);
        if (pixmap.size() != QSize(side, side))
            pixmap = pixmap.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        if (steps > 0)
            drawCount(pixmap, steps);
        icon.addPixmap(pixmap);
    }
    return icon;
}

QString StatusItem::toolTipFor(bool recording, int steps) {
    QString tip = QStringLiteral("Trovix");
    if (steps > 0)
        tip += steps == 1 ? tr(" — 1 step") : tr(" — %1 steps").arg(steps);
    if (recording)
        tip += tr(" (recording clicks)");
    return tip;
}

void StatusItem::refresh() {
    const bool recording = m_guide.isRecording();
    const int steps = int(m_guide.steps().size());
    m_tray->setIcon(iconFor(recording, steps));
    m_tray->setToolTip(toolTipFor(recording, steps));

    auto* menu = new QMenu;
    auto add = [menu](const QString& label, const std::function<void()>& action) {
        QAction* entry = menu->addAction(label);
        QObject::connect(entry, &QAction::triggered, menu, [action] {
            if (action)
                action();
        });
        return entry;
    };
    add(tr("Show Trovix"), m_actions.show);
    add(tr("Guides Library"), m_actions.library);
    add(tr("Capture Region  (Ctrl+Alt+S)"), m_actions.capture);
    QAction* record = add(recordLabel(recording), m_actions.toggleRecording);
    QAction* typing = menu->addAction(tr("Record Typing and Keys"));
    typing->setCheckable(true);
    typing->setChecked(AppDelegate::recordsTyping());
    if (const QString why = AppDelegate::typingUnavailableReason(); !why.isEmpty()) {
        typing->setEnabled(false);
        typing->setToolTip(why);
        menu->setToolTipsVisible(true);
    }
    QObject::connect(typing, &QAction::triggered, menu, [set = m_actions.setRecordsTyping](bool on) {
        if (set)
            set(on);
    });
    if (!m_actions.recordingUnavailable.isEmpty()) {
        record->setEnabled(false);
        record->setToolTip(m_actions.recordingUnavailable);
        menu->setToolTipsVisible(true);
    }
    menu->addSeparator();
    add(tr("Quit Trovix"), m_actions.quit);

    m_tray->setContextMenu(menu);
    if (m_menu)
        m_menu->deleteLater(); // it may be the menu whose action is running right now
    m_menu = menu;
}

} // namespace trovix
