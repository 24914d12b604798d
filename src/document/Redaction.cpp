#include "document/Redaction.h"

namespace trovix {

QString secretKindName(SecretKind kind) {
    switch (kind) {
    case SecretKind::password:
        return QStringLiteral("password");
    case SecretKind::email:
        return QStringLiteral("email");
    case SecretKind::card:
        return QStringLiteral("card");
    case SecretKind::iban:
        return QStringLiteral("iban");
    case SecretKind::ip:
        return QStringLiteral("ip");
    case SecretKind::token:
        return QStringLiteral("token");
    case SecretKind::word:
        return QStringLiteral("word");
    case SecretKind::manual:
        break;
    }
    return QStringLiteral("manual");
}

std::optional<SecretKind> secretKindFromName(const QString& name) {
    for (const SecretKind kind : allSecretKinds)
        if (secretKindName(kind) == name)
            return kind;
    return std::nullopt;
}

} // namespace trovix
