#pragma once

#include "document/Redaction.h"
#include "redact/RedactionOptions.h"

#include <QList>
#include <QString>

namespace trovix {

// A secret found in a line of text: its kind and where it lies in the line, in UTF-16 units.
struct SecretMatch {
    SecretKind kind;
    qsizetype start = 0;
    qsizetype length = 0;

    friend bool operator==(const SecretMatch&, const SecretMatch&) = default;
};

// Finds secrets in text read off a screen. Recognised text has its words separated by single
// spaces, and may split a long string where the recogniser saw a gap; the checks that numbers carry
// (Luhn for cards, mod-97 for IBANs) keep ordinary numbers, dates and versions out.
namespace SecretPatterns {

// The secrets of the kinds switched on in one line, in line order, not overlapping.
QList<SecretMatch> find(const QString& line, const RedactionOptions& options);

bool luhnValid(const QString& digits);
bool ibanValid(const QString& iban); // without spaces
bool isIpv6(const QString& text);
// A string long and random enough to be a key: letters and digits mixed, many different characters.
bool isHighEntropy(const QString& text);

} // namespace SecretPatterns

} // namespace trovix
