#include "editor/TextPrompt.h"

#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace trovix {

TextPrompt::TextPrompt(QWidget* parent)
    : QDialog(parent)
    , m_field(new QLineEdit(this)) {
    setWindowTitle(QGuiApplication::applicationDisplayName());
    setModal(true);

    auto* message = new QLabel(tr("Annotation text"), this);
    QFont bold = message->font();
    bold.setBold(true);
    message->setFont(bold);

    m_field->setFixedSize(280, 24);

    auto* buttons = new QDialogButtonBox(this);
    m_add = buttons->addButton(tr("Add"), QDialogButtonBox::AcceptRole);
    m_cancel = buttons->addButton(tr("Cancel"), QDialogButtonBox::RejectRole);
    m_add->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(message);
    layout->addWidget(m_field);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    m_field->setFocus(Qt::OtherFocusReason);
}

std::optional<QString> TextPrompt::ask(QWidget* parent) {
    TextPrompt prompt(parent);
    if (prompt.exec() != QDialog::Accepted)
        return std::nullopt;
    return prompt.m_field->text();
}

} // namespace trovix
