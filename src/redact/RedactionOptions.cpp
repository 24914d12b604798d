#include "redact/RedactionOptions.h"

#include <QSettings>

namespace trovix {

void RedactionOptions::set(SecretKind kind, bool on) {
    if (on)
        off.remove(kind);
    else
        off.insert(kind);
}

bool RedactionOptions::anyOn() const {
    for (const SecretKind kind : detectable())
        if (isOn(kind) && (kind != SecretKind::word || !words.isEmpty()))
            return true;
    return false;
}

QList<SecretKind> RedactionOptions::detectable() {
    return {SecretKind::password, SecretKind::email, SecretKind::card, SecretKind::iban,
            SecretKind::ip,       SecretKind::token, SecretKind::word};
}

RedactionOptions RedactionOptions::load(QSettings& settings) {
    RedactionOptions options;
    settings.beginGroup(QStringLiteral("Redaction"));
    for (const SecretKind kind : detectable())
        options.set(kind, settings.value(secretKindName(kind), true).toBool());
    for (const QString& word : settings.value(QStringLiteral("words")).toStringList())
        if (!word.trimmed().isEmpty())
            options.words.append(word.trimmed());
    settings.endGroup();
    return options;
}

void RedactionOptions::save(QSettings& settings) const {
    settings.beginGroup(QStringLiteral("Redaction"));
    for (const SecretKind kind : detectable())
        settings.setValue(secretKindName(kind), isOn(kind));
    settings.setValue(QStringLiteral("words"), words);
    settings.endGroup();
}

RedactionOptions RedactionOptions::current() {
    QSettings settings;
    return load(settings);
}

} // namespace trovix
