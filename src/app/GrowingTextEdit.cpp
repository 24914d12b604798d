#include "app/GrowingTextEdit.h"

#include <QAbstractTextDocumentLayout>
#include <QScrollBar>
#include <QtMath>

namespace trovix {

GrowingTextEdit::GrowingTextEdit(QWidget* parent)
    : QTextEdit(parent) {
    setAcceptRichText(false);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setLineWrapMode(QTextEdit::WidgetWidth);
    setTabChangesFocus(true);
    document()->setDocumentMargin(2);
    viewport()->setAutoFillBackground(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(document()->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this,
            &GrowingTextEdit::fitHeight);
}

QSize GrowingTextEdit::sizeHint() const {
    const int lines = qMax(1, qCeil(document()->size().height()));
    const int line = fontMetrics().lineSpacing() + 2 * int(document()->documentMargin());
    return {100, qMax(lines, line) + contentsMargins().top() + contentsMargins().bottom()};
}

void GrowingTextEdit::fitHeight() {
    const int height = sizeHint().height();
    if (height != this->height()) {
        setFixedHeight(height);
        updateGeometry();
    }
    // Keep the first line in place: the field itself never scrolls.
    verticalScrollBar()->setValue(0);
}

void GrowingTextEdit::resizeEvent(QResizeEvent* event) {
    QTextEdit::resizeEvent(event);
    fitHeight();
}

} // namespace trovix
