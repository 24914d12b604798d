#pragma once

#include "document/Redaction.h"

#include <QSet>
#include <QStringList>

class QSettings;

namespace trovix {

// Which kinds of secret are looked for on new screenshots, and the user's own words (customer
// names, host names) that are covered wherever they appear. Every kind is on until switched off;
// the words start empty.
struct RedactionOptions {
    QSet<SecretKind> off;
    QStringList words;

    bool isOn(SecretKind kind) const { return !off.contains(kind); }
    void set(SecretKind kind, bool on);
    // Whether detection has anything to look for at all.
    bool anyOn() const;

    // The options in the settings' "Redaction" group.
    static RedactionOptions load(QSettings& settings);
    void save(QSettings& settings) const;
    // The options of the application's own settings.
    static RedactionOptions current();

    // The kinds that can be switched on and off (all but the ones covered by hand).
    static QList<SecretKind> detectable();

    friend bool operator==(const RedactionOptions&, const RedactionOptions&) = default;
};

} // namespace trovix
