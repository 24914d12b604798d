#pragma once

#include <QTextEdit>

namespace trovix {

// A borderless plain-text field that grows downwards to show every line of its text, so the
// scroll area around it scrolls instead of the field.
class GrowingTextEdit : public QTextEdit {
    Q_OBJECT
public:
    explicit GrowingTextEdit(QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void fitHeight();
};

} // namespace trovix
