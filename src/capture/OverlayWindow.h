#pragma once

#include <QPointer>
#include <QWidget>

class QScreen;

namespace trovix {

class SelectionView;

// A borderless window that covers one whole screen above everything else, panels included (it
// bypasses the window manager), and takes the keyboard so Escape works whichever application was in
// front. Made once per screen and shown again for every capture.
class OverlayWindow : public QWidget {
    Q_OBJECT
public:
    explicit OverlayWindow(QScreen* screen);

    QScreen* targetScreen() const { return m_screen; }
    SelectionView* view() const { return m_view; }

    // Covers the screen (as it is now) and takes the keyboard when `keyboard` is set.
    void present(bool keyboard);
    // Leaves the screen and gives the keyboard back.
    void dismiss();

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void takeKeyboard(int attemptsLeft);

    QPointer<QScreen> m_screen;
    SelectionView* m_view;
    bool m_wantsKeyboard = false;
    bool m_hasKeyboard = false;
};

} // namespace trovix
