#include "app/PreferencesDialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSettings>
#include <QVBoxLayout>

namespace trovix {

QString PreferencesDialog::kindLabel(SecretKind kind) {
    switch (kind) {
    case SecretKind::password:
        return tr("Password fields");
    case SecretKind::email:
        return tr("E-mail addresses");
    case SecretKind::card:
        return tr("Payment card numbers");
    case SecretKind::iban:
        return tr("IBANs");
    case SecretKind::ip:
        return tr("IP addresses");
    case SecretKind::token:
        return tr("Access tokens and keys");
    case SecretKind::word:
        return tr("Your own words:");
    case SecretKind::manual:
        break;
    }
    return {};
}

PreferencesDialog::PreferencesDialog(QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(tr("Preferences"));
    auto* layout = new QVBoxLayout(this);
    auto* section = new QGroupBox(tr("Redaction"));
    section->setObjectName(QStringLiteral("redaction"));
    auto* inside = new QVBoxLayout(section);
    auto* intro = new QLabel(tr("Trovix reads the text on every new step, on this computer only, and covers "
                                "these with a solid colour before the step is saved:"));
    intro->setWordWrap(true);
    inside->addWidget(intro);
    for (const SecretKind kind : RedactionOptions::detectable()) {
        auto* box = new QCheckBox(kindLabel(kind));
        box->setObjectName(secretKindName(kind));
        m_kinds.insert(kind, box);
        inside->addWidget(box);
    }
    m_words = new QPlainTextEdit;
    m_words->setObjectName(QStringLiteral("words"));
    m_words->setPlaceholderText(tr("Customer names, host names… one a line"));
    m_words->setTabChangesFocus(true);
    m_words->setMaximumHeight(m_words->fontMetrics().lineSpacing() * 6);
    inside->addWidget(m_words);
    connect(m_kinds.value(SecretKind::word), &QCheckBox::toggled, m_words, &QWidget::setEnabled);
    layout->addWidget(section);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    setOptions(RedactionOptions::current());
}

RedactionOptions PreferencesDialog::options() const {
    RedactionOptions options;
    for (auto it = m_kinds.cbegin(); it != m_kinds.cend(); ++it)
        options.set(it.key(), it.value()->isChecked());
    for (const QString& line : m_words->toPlainText().split(u'\n'))
        if (!line.trimmed().isEmpty() && !options.words.contains(line.trimmed()))
            options.words.append(line.trimmed());
    return options;
}

void PreferencesDialog::setOptions(const RedactionOptions& options) {
    for (auto it = m_kinds.cbegin(); it != m_kinds.cend(); ++it)
        it.value()->setChecked(options.isOn(it.key()));
    m_words->setPlainText(options.words.join(u'\n'));
    m_words->setEnabled(options.isOn(SecretKind::word));
}

void PreferencesDialog::show(QWidget* parent) {
    PreferencesDialog dialog(parent);
    if (dialog.exec() != QDialog::Accepted)
        return;
    QSettings settings;
    dialog.options().save(settings);
}

} // namespace trovix
