#pragma once

#include "redact/RedactionOptions.h"

#include <QDialog>
#include <QMap>

class QCheckBox;
class QPlainTextEdit;

namespace trovix {

// The preferences window. Its "Redaction" section says which kinds of secret are covered on every
// new step and lists the user's own words; OK stores them in the settings.
class PreferencesDialog : public QDialog {
    Q_OBJECT
public:
    explicit PreferencesDialog(QWidget* parent = nullptr);

    // Opens the window modally over parent and stores the choices when it is accepted.
    static void show(QWidget* parent);

    // What the window shows now.
    RedactionOptions options() const;
    void setOptions(const RedactionOptions& options);

    static QString kindLabel(SecretKind kind);

private:
    QMap<SecretKind, QCheckBox*> m_kinds;
    QPlainTextEdit* m_words = nullptr;
};

} // namespace trovix
