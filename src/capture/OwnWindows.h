#pragma once

#include <QList>
#include <QPointer>
#include <QWindow>

#include <functional>

class QWidget;

namespace trovix {

// This process's windows, stepping aside so a screen grab shows what lies beneath them. Managed
// windows are minimized through the window manager, which also takes their frames away, or withdrawn
// from it when the picture is wanted at once (minimizing waits for the window manager's animation);
// windows it does not manage (popups, tooltips, or all of them when no window manager runs) are
// unmapped directly. Neither is told to Qt, so a modal dialog's event loop goes on undisturbed.
class OwnWindows {
public:
    enum class Way { minimize, withdraw };
    // Takes every visible, unminimized window of this process off the screen, except `keep` and the
    // tray icon. Windows already minimized or hidden are left alone.
    static OwnWindows leaveScreen(const QList<QWidget*>& keep = {}, Way way = Way::minimize);
    // Minimizes every visible window, so the application the user works in is in front again.
    static void hideApplication();
    // Notes that a window was minimized on purpose. A Wayland compositor never tells a client that
    // its window is minimized (Qt soon forgets asking), and a window taken off the screen for a grab
    // would come back unminimized: until it is active again, such a window counts as off the screen.
    static void markMinimized(QWindow* window);

    bool isEmpty() const { return m_minimized.isEmpty() && m_unmapped.isEmpty() && m_withdrawn.isEmpty(); }
    // Calls `done` on context's thread once the windows are off the screen and the programs beneath
    // have repainted (or a short cap has passed). Calls it at once, queued, when there are none.
    void whenGone(QObject* context, std::function<void()> done) const;
    // Puts every window back as it was.
    void restore();
    // Puts back the windows unmapped directly; the minimized ones stay minimized and the withdrawn
    // ones come back minimized, so the application stays out of the user's way.
    void restoreHidden();
    // Adds another set (a capture started while an earlier one was still selecting).
    void merge(const OwnWindows& other);

private:
    struct Minimized {
        QPointer<QWidget> widget;
        QPointer<QWindow> window;
        Qt::WindowStates states;
    };
    QList<Minimized> m_minimized;
    QList<QPointer<QWindow>> m_unmapped;
    QList<QPointer<QWindow>> m_withdrawn;

    void returnWithdrawn(bool minimized);
};

} // namespace trovix
