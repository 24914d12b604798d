#include "capture/OwnWindows.h"

#include "platform/Platform.h"

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include <optional>

namespace trovix {

namespace {

// Qt makes these override-redirect: no window manager frames, minimizes or restores them.
bool isManaged(const QWindow* window) {
    const Qt::WindowType type = window->type();
    return type != Qt::Popup && type != Qt::ToolTip && type != Qt::SplashScreen &&
           !(window->flags() & Qt::BypassWindowManagerHint);
}

QWidget* widgetOf(const QWindow* window) {
    const QList<QWidget*> widgets = QApplication::topLevelWidgets();
    for (QWidget* widget : widgets) {
        if (widget->windowHandle() == window)
            return widget;
    }
    return nullptr;
}

const char* const minimizedByUs = "trovixMinimized";

bool onScreen(QWindow* window) {
    if (window->property(minimizedByUs).toBool()) {
        if (!window->isActive())
            return false;
        window->setProperty(minimizedByUs, QVariant());
    }
    return window->handle() && window->isVisible() && window->isExposed() &&
           !(window->windowStates() & Qt::WindowMinimized) && window->type() != Qt::Desktop;
}

void setStates(QWidget* widget, QWindow* window, Qt::WindowStates states) {
    // Through the widget when there is one, so QWidget's own idea of its state stays right.
    if (widget)
        widget->setWindowState(states);
    else if (window)
        window->setWindowStates(states);
}

} // namespace

OwnWindows OwnWindows::leaveScreen(const QList<QWidget*>& keep, Way way) {
    OwnWindows result;
    ScreenGrabber& grabber = Platform::current().screenGrabber();
    std::optional<bool> windowManager; // asked only when a window is on screen: it costs round trips
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow* window : windows) {
        if (!onScreen(window))
            continue;
        QWidget* widget = widgetOf(window);
        // The tray icon lives inside the panel, which belongs in the picture.
        if (widget && (keep.contains(widget) || widget->inherits("QSystemTrayIconSys")))
            continue;
        if (!windowManager)
            windowManager = grabber.hasWindowManager();
        if (*windowManager && isManaged(window) && way == Way::withdraw) {
            grabber.withdrawWindow(window->winId());
            result.m_withdrawn.append(window);
        } else if (*windowManager && isManaged(window)) {
            const Qt::WindowStates states = widget ? widget->windowState() : window->windowStates();
            setStates(widget, window, states | Qt::WindowMinimized);
            result.m_minimized.append({widget, window, states});
        } else {
            grabber.unmapWindow(window->winId());
            result.m_unmapped.append(window);
        }
    }
    return result;
}

void OwnWindows::markMinimized(QWindow* window) {
    if (window)
        window->setProperty(minimizedByUs, true);
}

void OwnWindows::hideApplication() {
    const bool windowManager = Platform::current().screenGrabber().hasWindowManager();
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow* window : windows) {
        if (!onScreen(window))
            continue;
        QWidget* widget = widgetOf(window);
        if (widget && widget->inherits("QSystemTrayIconSys"))
            continue;
        if (!isManaged(window)) {
            if (widget)
                widget->hide(); // an open menu or tooltip closes
            continue;
        }
        if (windowManager) {
            setStates(widget, window,
                      (widget ? widget->windowState() : window->windowStates()) | Qt::WindowMinimized);
            markMinimized(window);
        } else
            window->lower(); // nothing could bring a minimized window back
    }
}

void OwnWindows::whenGone(QObject* context, std::function<void()> done) const {
    if (isEmpty()) {
        QTimer::singleShot(0, context, std::move(done));
        return;
    }
    QList<QWindow*> leaving;
    for (const Minimized& entry : m_minimized) {
        if (entry.window)
            leaving.append(entry.window);
    }
    for (const QList<QPointer<QWindow>>* list : {&m_unmapped, &m_withdrawn}) {
        for (const QPointer<QWindow>& window : *list) {
            if (window)
                leaving.append(window);
        }
    }
    Platform::current().screenGrabber().whenSettled(leaving, context, std::move(done));
}

void OwnWindows::restore() {
    for (const Minimized& entry : std::as_const(m_minimized))
        setStates(entry.widget, entry.window, entry.states & ~Qt::WindowMinimized);
    m_minimized.clear();
    returnWithdrawn(false);
    restoreHidden();
}

void OwnWindows::returnWithdrawn(bool minimized) {
    QList<WId> windows;
    for (const QPointer<QWindow>& window : std::as_const(m_withdrawn)) {
        if (window && window->isVisible())
            windows.append(window->winId());
    }
    m_withdrawn.clear();
    if (!windows.isEmpty())
        Platform::current().screenGrabber().returnWindows(windows, minimized);
}

void OwnWindows::restoreHidden() {
    returnWithdrawn(true);
    for (const QPointer<QWindow>& window : std::as_const(m_unmapped)) {
        if (window && window->isVisible())
            Platform::current().screenGrabber().mapWindow(window->winId());
    }
    m_unmapped.clear();
    m_minimized.clear();
}

void OwnWindows::merge(const OwnWindows& other) {
    m_minimized += other.m_minimized;
    m_unmapped += other.m_unmapped;
    m_withdrawn += other.m_withdrawn;
}

} // namespace trovix
