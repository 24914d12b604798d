#pragma once

// Helpers shared by the editor tests: synthetic mouse input with fractional positions, answering the
// modal text prompt, and comparing pictures.

#include "editor/TextPrompt.h"

#include <QApplication>
#include <QImage>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace trovix::testing {

// Sends one mouse event at a position that may lie between pixels or outside the widget.
inline void sendMouse(QWidget* widget, QEvent::Type type, QPointF pos,
                      Qt::MouseButton button = Qt::LeftButton) {
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton
                                  : type == QEvent::MouseMove        ? Qt::MouseButtons(Qt::LeftButton)
                                                                     : Qt::MouseButtons(button);
    QMouseEvent event(type, pos, widget->mapToGlobal(pos), type == QEvent::MouseMove ? Qt::NoButton : button,
                      held, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

// Press at `from`, move through every point of `path`, release at `release` (the last path point when
// not given).
inline void drag(QWidget* widget, QPointF from, const QList<QPointF>& path,
                 std::optional<QPointF> release = {}) {
    sendMouse(widget, QEvent::MouseButtonPress, from);
    for (QPointF p : path)
        sendMouse(widget, QEvent::MouseMove, p);
    sendMouse(widget, QEvent::MouseButtonRelease, release.value_or(path.isEmpty() ? from : path.last()));
}

// Answers the next text prompt once it is up: `answer` sees the prompt and ends it (sets the text,
// clicks a button). Returns at once; the answer runs from the prompt's own event loop. A prompt the
// answer leaves open (a failed check returned early) is cancelled, so a failure never hangs the test.
inline void answerTextPrompt(std::function<void(TextPrompt*)> answer) {
    auto* poll = new QTimer;
    poll->setInterval(5);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, answer] {
        auto* prompt = qobject_cast<TextPrompt*>(QApplication::activeModalWidget());
        if (!prompt || !prompt->isVisible())
            return;
        poll->stop();
        poll->deleteLater();
        QPointer<TextPrompt> guard(prompt);
        answer(prompt);
        if (guard && guard->isVisible())
            guard->reject();
    });
    poll->start();
}

// Lets closed editors go.
inline void settle() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QApplication::processEvents();
}

// The largest difference of any colour channel between two pictures of the same size, and how many
// pixels differ by more than `tolerance`.
struct Difference {
    int largest = 0;
    int pixelsOver = 0;
};

inline Difference compare(const QImage& a, const QImage& b, int tolerance = 0) {
    Difference d;
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    if (x.size() != y.size())
        return {255, x.width() * x.height()};
    for (int row = 0; row < x.height(); ++row) {
        const auto* p = reinterpret_cast<const QRgb*>(x.constScanLine(row));
        const auto* q = reinterpret_cast<const QRgb*>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col) {
            const int diff =
                std::max({std::abs(qRed(p[col]) - qRed(q[col])), std::abs(qGreen(p[col]) - qGreen(q[col])),
                          std::abs(qBlue(p[col]) - qBlue(q[col]))});
            d.largest = std::max(d.largest, diff);
            d.pixelsOver += diff > tolerance;
        }
    }
    return d;
}

} // namespace trovix::testing
