#pragma once

// Random secrets of every kind, and harmless text that looks a little like one, for screens drawn
// with drawScreen().
#include "support/SecretScreens.h"

#include <QRandomGenerator>
#include <QStringList>

namespace trovix::testing {

namespace secrets {

inline QString digits(QRandomGenerator& rng, int n) {
    QString out;
    for (int i = 0; i < n; ++i)
        out += QChar(u'0' + rng.bounded(10));
    return out;
}

inline QString luhnCompleted(const QString& body) {
    for (int check = 0; check < 10; ++check) {
        const QString number = body + QString::number(check);
        int sum = 0;
        bool twice = false;
        for (qsizetype i = number.size() - 1; i >= 0; --i) {
            int d = number[i].digitValue();
            if (twice && (d *= 2) > 9)
                d -= 9;
            sum += d;
            twice = !twice;
        }
        if (sum % 10 == 0)
            return number;
    }
    return {};
}

inline QString grouped(const QString& text, int size) {
    QString out;
    for (qsizetype i = 0; i < text.size(); i += size)
        out += (i ? QStringLiteral(" ") : QString()) + text.mid(i, size);
    return out;
}

inline QString card(QRandomGenerator& rng) {
    static const char* prefixes[] = {"4", "51", "55", "37", "6011"};
    const QString prefix = QLatin1String(prefixes[rng.bounded(5)]);
    const int length = prefix == QLatin1String("37") ? 15 : 16;
    const QString number = luhnCompleted(prefix + digits(rng, length - 1 - int(prefix.size())));
    return length == 16 ? grouped(number, 4) : number.left(4) + ' ' + number.mid(4, 6) + ' ' + number.mid(10);
}

inline QString iban(QRandomGenerator& rng) {
    static const char* countries[] = {"DE", "FR", "GB", "NL", "ES"};
    static const int lengths[] = {22, 27, 22, 18, 24};
    const int c = rng.bounded(5);
    const QString country = QLatin1String(countries[c]);
    QString bban;
    if (country == QLatin1String("GB") || country == QLatin1String("NL")) {
        for (int i = 0; i < 4; ++i)
            bban += QChar(u'A' + rng.bounded(26));
    }
    bban += digits(rng, lengths[c] - 4 - int(bban.size()));
    // Check digits: 98 minus the remainder of BBAN + country + "00".
    QString moved = bban + country + QStringLiteral("00");
    int remainder = 0;
    for (const QChar ch : moved)
        remainder = ch.isDigit() ? (remainder * 10 + ch.digitValue()) % 97
                                 : (remainder * 100 + (ch.unicode() - u'A' + 10)) % 97;
    const QString check = QString::number(98 - remainder).rightJustified(2, u'0');
    return grouped(country + check + bban, 4);
}

inline QString word(QRandomGenerator& rng, int minimum, int maximum) {
    static const char* syllables[] = {"ka", "mi",  "to",  "ren", "sa", "lo",
                                      "vi", "den", "mar", "nu",  "pe", "ro"};
    QString out;
    const int n = minimum + rng.bounded(maximum - minimum + 1);
    for (int i = 0; i < n; ++i)
        out += QLatin1String(syllables[rng.bounded(12)]);
    return out;
}

inline QString email(QRandomGenerator& rng) {
    static const char* domains[] = {"example.com", "mail.example.org", "corp.example.net", "example.de"};
    return word(rng, 1, 2) + (rng.bounded(2) ? QStringLiteral(".") : QString()) + word(rng, 1, 2) + '@' +
           QLatin1String(domains[rng.bounded(4)]);
}

inline QString ipv4(QRandomGenerator& rng) {
    return QStringLiteral("%1.%2.%3.%4")
        .arg(10 + rng.bounded(213))
        .arg(rng.bounded(256))
        .arg(rng.bounded(256))
        .arg(1 + rng.bounded(254));
}

inline QString ipv6(QRandomGenerator& rng) {
    QStringList groups{QStringLiteral("2001"), QStringLiteral("db8")};
    for (int i = 0; i < 2; ++i)
        groups.append(QString::number(rng.bounded(0x10000), 16));
    return groups.join(':') + QStringLiteral("::") + QString::number(1 + rng.bounded(0xfff), 16);
}

inline QString random(QRandomGenerator& rng, const char* alphabet, int n) {
    const int size = int(qstrlen(alphabet));
    QString out;
    for (int i = 0; i < n; ++i)
        out += QLatin1Char(alphabet[rng.bounded(size)]);
    return out;
}

inline QString token(QRandomGenerator& rng) {
    const char* mixed = "ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz23456789";
    switch (rng.bounded(6)) {
    case 0:
        return QStringLiteral("ghp_") + random(rng, mixed, 36);
    case 1:
        return QStringLiteral("glpat-") + random(rng, mixed, 20);
    case 2:
        return QStringLiteral("AKIA") + random(rng, "ABCDEFGHJKLMNPQRSTUVWXYZ234567", 16);
    case 3:
        return QStringLiteral("sk-") + random(rng, mixed, 40);
    case 4:
        return QStringLiteral("xoxb-") + digits(rng, 11) + '-' + digits(rng, 12) + '-' +
               random(rng, mixed, 24);
    default:
        return QStringLiteral("eyJhbGciOiJIUzI1NiJ9.") + random(rng, mixed, 24) + '.' +
               random(rng, mixed, 20);
    }
}

// Text that looks a little like a secret and is not one.
inline QString harmless(QRandomGenerator& rng) {
    switch (rng.bounded(7)) {
    case 0:
        return QStringLiteral("%1-%2-%3")
            .arg(2015 + rng.bounded(12))
            .arg(1 + rng.bounded(12), 2, 10, QChar(u'0'))
            .arg(1 + rng.bounded(28), 2, 10, QChar(u'0'));
    case 1:
        return QStringLiteral("v%1.%2.%3").arg(rng.bounded(20)).arg(rng.bounded(40)).arg(rng.bounded(200));
    case 2:
        return QStringLiteral("Order %1").arg(10000 + rng.bounded(90000));
    case 3:
        return QStringLiteral("%1,%2.%3 EUR")
            .arg(1 + rng.bounded(99))
            .arg(rng.bounded(1000), 3, 10, QChar(u'0'))
            .arg(rng.bounded(100), 2, 10, QChar(u'0'));
    case 4:
        return QStringLiteral("%1:%2:%3")
            .arg(rng.bounded(24), 2, 10, QChar(u'0'))
            .arg(rng.bounded(60), 2, 10, QChar(u'0'))
            .arg(rng.bounded(60), 2, 10, QChar(u'0'));
    case 5:
        return QStringLiteral("+49 30 %1 %2").arg(digits(rng, 4), digits(rng, 4));
    default:
        return QStringLiteral("build %1 of %2").arg(digits(rng, 6), word(rng, 2, 3));
    }
}

inline QString of(SecretKind kind, QRandomGenerator& rng) {
    switch (kind) {
    case SecretKind::email:
        return email(rng);
    case SecretKind::card:
        return card(rng);
    case SecretKind::iban:
        return iban(rng);
    case SecretKind::ip:
        return rng.bounded(3) ? ipv4(rng) : ipv6(rng);
    case SecretKind::token:
        return token(rng);
    default:
        return word(rng, 2, 3);
    }
}

} // namespace secrets

} // namespace trovix::testing
