#pragma once

#include <QList>
#include <QPointer>
#include <QWindow>

#include <functional>

class QWidget;

namespace trovix {

// This process's windows, stepping aside so a screen grab shows what lies beneath them. Managed
// windows are minimized through the window manager, which also takes their frames away; windows it
// does not manage (popups, tooltips, or all of them when no window manager runs) are unmapped
// directly, without Qt noticing, so a modal dialog's event loop goes on undisturbed.
class OwnWindows {
public:
    // Takes every visible, unminimized window of this process off the screen, except `keep` and the
    // tray icon. Windows already minimized or hidden are left alone.
    static OwnWindows leaveScreen(const QList<QWidget*>& keep = {});
    // Minimizes every visible window, so the application the user works in is in front again.
    static void hideApplication();

    bool isEmpty() const { return m_minimized.isEmpty() && m_unmapped.isEmpty(); }
    // Calls `done` on context's thread once the windows are off the screen and the programs beneath
    // have repainted (or a short cap has passed). Calls it at once, queued, when there are none.
    void whenGone(QObject* context, std::function<void()> done) const;
    // Puts every window back as it was.
    void restore();
    // Puts back only the windows unmapped directly; the minimized ones stay minimized, so the
    // application stays out of the user's way.
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
};

} // namespace trovix
