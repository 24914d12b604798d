#pragma once

#include <QDialog>

#include <optional>

class QLineEdit;
class QPushButton;

namespace trovix {

// The modal question the text tool asks: "Annotation text" with a one-line field and the buttons
// "Add" (the default, answering Return) and "Cancel".
class TextPrompt : public QDialog {
    Q_OBJECT
public:
    explicit TextPrompt(QWidget* parent = nullptr);

    QLineEdit* field() const { return m_field; }
    QPushButton* addButton() const { return m_add; }
    QPushButton* cancelButton() const { return m_cancel; }

    // Runs the prompt modally over parent. The text exactly as typed when the user chose "Add",
    // nothing when the prompt was cancelled.
    static std::optional<QString> ask(QWidget* parent);

private:
    QLineEdit* m_field;
    QPushButton* m_add;
    QPushButton* m_cancel;
};

} // namespace trovix
