#include "capture/OverlayWindow.h"

#include "capture/SelectionView.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QWindow>

namespace trovix {

OverlayWindow::OverlayWindow(QScreen* screen)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::X11BypassWindowManagerHint | Qt::NoDropShadowWindowHint)
    , m_screen(screen)
    , m_view(new SelectionView(this)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_DeleteOnClose, false);
    setWindowTitle(tr("Trovix Capture"));
    setCursor(Qt::CrossCursor);
    setPalette(SelectionView::sameWhenInactive(palette()));
    // The native window is made now, so showing it for a capture costs only the map and the paint.
    setGeometry(screen->geometry());
    create();
    windowHandle()->setScreen(screen);
    windowHandle()->installEventFilter(this);
}

void OverlayWindow::present(bool keyboard) {
    if (m_screen && geometry() != m_screen->geometry())
        setGeometry(m_screen->geometry());
    m_hasKeyboard = false;
    if (QGuiApplication::platformName() == QLatin1String("wayland")) {
        // A Wayland client cannot place a window or stack it above others, and gets no keyboard grab:
        // a full-screen window on its output is above the rest and has the keyboard once the
        // compositor focuses it, as it does a new full-screen window.
        m_wantsKeyboard = false;
        windowHandle()->setScreen(m_screen);
        showFullScreen();
        if (keyboard) {
            activateWindow();
            m_view->setFocus(Qt::OtherFocusReason);
        }
        return;
    }
    m_wantsKeyboard = keyboard;
    show();
    // Made before windows that came later, the overlay must be restacked above them (X11 keeps
    // a window's place in the stack when it is mapped again). The headless platform has no stack.
    if (QGuiApplication::platformName() != QLatin1String("offscreen"))
        raise();
    if (keyboard) {
        activateWindow();
        m_view->setFocus(Qt::OtherFocusReason);
    }
}

void OverlayWindow::dismiss() {
    m_wantsKeyboard = false;
    if (m_hasKeyboard)
        m_view->releaseKeyboard();
    m_hasKeyboard = false;
    hide();
}

void OverlayWindow::resizeEvent(QResizeEvent*) {
    m_view->setGeometry(rect());
}

bool OverlayWindow::eventFilter(QObject* watched, QEvent* event) {
    // A keyboard grab needs a viewable window: take it once the window is exposed.
    if (watched == windowHandle() && event->type() == QEvent::Expose && m_wantsKeyboard && !m_hasKeyboard &&
        windowHandle()->isExposed()) {
        m_wantsKeyboard = false;
        QTimer::singleShot(0, this, [this] { takeKeyboard(50); });
    }
    return QWidget::eventFilter(watched, event);
}

void OverlayWindow::takeKeyboard(int attemptsLeft) {
    if (!isVisible())
        return;
    // Fails while another client holds the keyboard (a menu of the application the user was in);
    // such grabs end soon, so keep trying for a little while.
    if (windowHandle() && windowHandle()->setKeyboardGrabEnabled(true)) {
        m_hasKeyboard = true;
        m_view->grabKeyboard(); // Qt hands every key event to the grabbing widget
        activateWindow();
        m_view->setFocus(Qt::OtherFocusReason);
        return;
    }
    if (attemptsLeft > 0)
        QTimer::singleShot(20, this, [this, attemptsLeft] { takeKeyboard(attemptsLeft - 1); });
}

} // namespace trovix
