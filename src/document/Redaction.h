#pragma once

#include <QRectF>
#include <QString>

#include <array>
#include <optional>

namespace trovix {

// What a covered region of a screenshot showed. The names are stored in guide files and must never
// change.
enum class SecretKind {
    password, // a password field
    email,    // an e-mail address
    card,     // a payment card number
    iban,     // an international bank account number
    ip,       // an IPv4 or IPv6 address
    token,    // an access token, key or other long random string
    word,     // one of the user's own words
    manual,   // covered by hand in the editor
};

inline constexpr std::array<SecretKind, 8> allSecretKinds{
    SecretKind::password, SecretKind::email, SecretKind::card, SecretKind::iban,
    SecretKind::ip,       SecretKind::token, SecretKind::word, SecretKind::manual};

QString secretKindName(SecretKind kind);
std::optional<SecretKind> secretKindFromName(const QString& name);

// A region of a step's screenshot filled with one opaque colour, so that nothing under it can be
// recovered. `rect` is in annotation space: points of the captured display, origin at the top-left.
struct Redaction {
    SecretKind kind = SecretKind::manual;
    QRectF rect;

    friend bool operator==(const Redaction&, const Redaction&) = default;
};

} // namespace trovix
