#include "redact/SecretPatterns.h"

#include <QHash>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace trovix::SecretPatterns {

namespace {

bool isTokenChar(QChar c) {
    return (c.unicode() < 128 && c.isLetterOrNumber()) || c == u'_' || c == u'-' || c == u'.';
}

// A token with a known prefix, and how long the whole token is at least. The recogniser sometimes
// splits such a string where two letters sit far apart; pieces after a space are joined on until
// the token has its length.
struct TokenShape {
    QRegularExpression pattern;
    int minimumLength;
};

const QList<TokenShape>& tokenShapes() {
    static const QList<TokenShape> shapes = [] {
        const auto re = [](const char* pattern) {
            return QRegularExpression(QLatin1String(pattern), QRegularExpression::UseUnicodePropertiesOption);
        };
        return QList<TokenShape>{
            {re(R"((?<![A-Za-z0-9])gh[pousr]_[A-Za-z0-9]{6,})"), 40},
            {re(R"((?<![A-Za-z0-9])github_pat_[A-Za-z0-9_]{6,})"), 82},
            {re(R"((?<![A-Za-z0-9])glpat-[A-Za-z0-9_\-]{6,})"), 26},
            {re(R"((?<![A-Za-z0-9])xox[bpaors]-[A-Za-z0-9\-]{6,})"), 40},
            {re(R"((?<![A-Za-z0-9])sk-(?:proj-|live_|test_)?[A-Za-z0-9_\-]{12,})"), 40},
            {re(R"((?<![A-Za-z0-9])(?:AKIA|ASIA)[A-Z0-9]{12,})"), 20},
            {re(R"((?<![A-Za-z0-9])eyJ[A-Za-z0-9_\-]{8,} ?\. ?[A-Za-z0-9_\-]{8,}(?: ?\. ?[A-Za-z0-9_\-]+)?)"),
             60},
            {re(R"(BEGIN (?:[A-Z]+ )?PRIVATE KEY)"), 0},
        };
    }();
    return shapes;
}

// Grows a token match over the pieces the recogniser split off it.
qsizetype joinPieces(const QString& line, qsizetype start, qsizetype end, int minimumLength) {
    // A letter the recogniser took for a bracket or a quote ends the pattern, not the token.
    while (end < line.size() && !line[end].isSpace())
        ++end;
    const auto tokenLength = [&](qsizetype to) {
        qsizetype n = 0;
        for (qsizetype i = start; i < to; ++i)
            n += line[i] != u' ';
        return n;
    };
    while (tokenLength(end) < minimumLength && end + 1 < line.size() && line[end] == u' ' &&
           isTokenChar(line[end + 1])) {
        qsizetype next = end + 1;
        while (next < line.size() && isTokenChar(line[next]))
            ++next;
        end = next;
    }
    return end;
}

void add(QList<SecretMatch>& found, SecretKind kind, qsizetype start, qsizetype end) {
    // Earlier, longer and more specific matches win; a match overlapping one already taken is dropped.
    for (const SecretMatch& m : found)
        if (start < m.start + m.length && m.start < end)
            return;
    found.append({kind, start, end - start});
}

void findEmails(const QString& line, QList<SecretMatch>& found) {
    static const QRegularExpression email(QStringLiteral(
        R"([A-Za-z0-9_%+\-]+(?:\. ?[A-Za-z0-9_%+\-]+)*@[A-Za-z0-9\-]+(?:\. ?[A-Za-z0-9\-]*)*)"));
    for (auto it = email.globalMatch(line); it.hasNext();) {
        const auto m = it.next();
        // An address cut off by a window's edge or a field's end still names someone: a name and a
        // domain of two letters each are enough.
        const QString text = m.captured();
        const qsizetype at = text.indexOf(u'@');
        if (at >= 2 && text.size() - at > 2)
            add(found, SecretKind::email, m.capturedStart(), m.capturedEnd());
    }
}

void findTokens(const QString& line, QList<SecretMatch>& found) {
    for (const TokenShape& shape : tokenShapes()) {
        for (auto it = shape.pattern.globalMatch(line); it.hasNext();) {
            const auto m = it.next();
            qsizetype end = joinPieces(line, m.capturedStart(), m.capturedEnd(), shape.minimumLength);
            add(found, SecretKind::token, m.capturedStart(), end);
        }
    }
    // Long random strings, alone or as the value of "name=value" or "name: value".
    static const QRegularExpression run(QStringLiteral(R"([A-Za-z0-9+/_\-=]{20,})"));
    for (auto it = run.globalMatch(line); it.hasNext();) {
        const auto m = it.next();
        qsizetype start = m.capturedStart();
        QString text = m.captured();
        const qsizetype equals = text.indexOf(u'=');
        if (equals > 0 && equals + 1 < text.size() && text[equals + 1] != u'=') {
            start += equals + 1;
            text = text.mid(equals + 1);
        }
        while (text.endsWith(u'='))
            text.chop(1);
        if (isHighEntropy(text))
            add(found, SecretKind::token, start, start + text.size());
    }
}

void findCards(const QString& line, QList<SecretMatch>& found) {
    static const QRegularExpression card(
        QStringLiteral(R"((?<![0-9.\-/:])[0-9](?:[ \-]?[0-9]){12,18}(?![0-9]))"));
    for (auto it = card.globalMatch(line); it.hasNext();) {
        const auto m = it.next();
        QString digits = m.captured();
        digits.remove(u' ').remove(u'-');
        if (digits.size() >= 13 && digits.size() <= 19 && luhnValid(digits))
            add(found, SecretKind::card, m.capturedStart(), m.capturedEnd());
    }
}

// Letters a recogniser reads for the digits they resemble.
QChar asDigit(QChar c) {
    switch (c.unicode()) {
    case u'O':
    case u'D':
        return u'0';
    case u'I':
    case u'l':
    case u'|':
        return u'1';
    case u'Z':
        return u'2';
    case u'S':
        return u'5';
    case u'B':
        return u'8';
    default:
        return c;
    }
}

// An IBAN as banks print it, in groups of four after the country, with a letter or two misread:
// its check digits then fail, but its shape alone gives it away. Mostly digits, so that a line of
// four-letter words never matches.
bool looksLikeIban(const QString& text) {
    const QStringList groups = text.split(u' ');
    if (groups.size() < 4 || groups.first().size() != 4)
        return false;
    int digits = 0;
    for (qsizetype i = 0; i < groups.size(); ++i) {
        if (groups[i].size() > 4 || (i + 1 < groups.size() && groups[i].size() != 4))
            return false;
        for (const QChar c : groups[i])
            digits += c.isDigit();
    }
    return digits * 2 > text.size() - groups.size() + 1;
}

void findIbans(const QString& line, QList<SecretMatch>& found) {
    static const QRegularExpression iban(
        QStringLiteral(R"((?<![A-Za-z0-9])[A-Z]{2}[0-9OIl]{2}(?: ?[A-Z0-9)|]){11,30}(?![A-Za-z0-9]))"));
    for (auto it = iban.globalMatch(line); it.hasNext();) {
        const auto m = it.next();
        // The match may run on into the next word: try it shorter, group by group.
        QString text = m.captured();
        while (text.size() >= 15) {
            QString compact = text;
            compact.remove(u' ');
            QString fixed = compact;
            for (qsizetype i = 2; i < 4; ++i)
                fixed[i] = asDigit(fixed[i]);
            if (compact.size() >= 15 && compact.size() <= 34 &&
                (ibanValid(compact) || ibanValid(fixed) || looksLikeIban(text))) {
                add(found, SecretKind::iban, m.capturedStart(), m.capturedStart() + text.size());
                break;
            }
            const qsizetype space = text.lastIndexOf(u' ');
            if (space < 0)
                break;
            text.truncate(space);
        }
    }
}

void findAddresses(const QString& line, QList<SecretMatch>& found) {
    static const QRegularExpression v4(
        QStringLiteral(R"((?<![0-9A-Za-z.])(?:(?:25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])\.){3})"
                       R"((?:25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])(?:/[0-9]{1,2})?(?![0-9]|\.[0-9]))"));
    for (auto it = v4.globalMatch(line); it.hasNext();) {
        const auto m = it.next();
        add(found, SecretKind::ip, m.capturedStart(), m.capturedEnd());
    }
    // IPv6: the recogniser often splits an address where its "::" leaves a gap ("2001:db8: :1"), so
    // pieces that meet at a colon are tried together.
    static const QRegularExpression piece(QStringLiteral(R"([0-9A-Fa-f:lIO]+)"));
    QList<std::pair<qsizetype, qsizetype>> pieces; // start, end
    for (auto it = piece.globalMatch(line); it.hasNext();) {
        const auto m = it.next();
        const bool alone = (m.capturedStart() == 0 || !line[m.capturedStart() - 1].isLetterOrNumber()) &&
                           (m.capturedEnd() == line.size() || !line[m.capturedEnd()].isLetterOrNumber());
        if (alone)
            pieces.append({m.capturedStart(), m.capturedEnd()});
    }
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        qsizetype last = i;
        while (last + 1 < pieces.size() && pieces[last + 1].first == pieces[last].second + 1 &&
               (line[pieces[last].second - 1] == u':' || line[pieces[last + 1].first] == u':'))
            ++last;
        for (qsizetype j = last; j >= i; --j) {
            qsizetype start = pieces[i].first;
            qsizetype end = pieces[j].second;
            while (end > start && line[end - 1] == u':' && (end - 1 == start || line[end - 2] != u':'))
                --end;
            QString joined = line.mid(start, end - start);
            joined.remove(u' ');
            for (QChar& c : joined)
                c = c == u'l' || c == u'I' ? u'1' : c == u'O' ? u'0' : c;
            if (isIpv6(joined)) {
                add(found, SecretKind::ip, start, end);
                i = j;
                break;
            }
        }
    }
}

void findWords(const QString& line, const QStringList& words, QList<SecretMatch>& found) {
    for (const QString& word : words) {
        // Whole words only: "Acme" covers "acme" and "ACME," but not "Acmeville".
        const QRegularExpression pattern(
            QStringLiteral("(?<![\\p{L}\\p{N}_])") + QRegularExpression::escape(word.simplified()) +
                QStringLiteral("(?![\\p{L}\\p{N}_])"),
            QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
        for (auto it = pattern.globalMatch(line); it.hasNext();) {
            const auto m = it.next();
            add(found, SecretKind::word, m.capturedStart(), m.capturedEnd());
        }
    }
}

} // namespace

bool luhnValid(const QString& digits) {
    if (digits.isEmpty())
        return false;
    int sum = 0;
    bool twice = false;
    for (qsizetype i = digits.size() - 1; i >= 0; --i) {
        if (!digits[i].isDigit())
            return false;
        int d = digits[i].digitValue();
        if (twice && (d *= 2) > 9)
            d -= 9;
        sum += d;
        twice = !twice;
    }
    return sum % 10 == 0;
}

bool ibanValid(const QString& iban) {
    if (iban.size() < 15 || iban.size() > 34 || !iban[0].isUpper() || !iban[1].isUpper() ||
        !iban[2].isDigit() || !iban[3].isDigit())
        return false;
    const QString moved = iban.mid(4) + iban.left(4);
    int remainder = 0;
    for (const QChar c : moved) {
        if (c.isDigit()) {
            remainder = (remainder * 10 + c.digitValue()) % 97;
        } else if (c >= u'A' && c <= u'Z') {
            remainder = (remainder * 100 + (c.unicode() - u'A' + 10)) % 97;
        } else {
            return false;
        }
    }
    return remainder == 1;
}

bool isIpv6(const QString& text) {
    const qsizetype gap = text.indexOf(QLatin1String("::"));
    if (gap >= 0 && text.indexOf(QLatin1String("::"), gap + 1) >= 0)
        return false;
    const auto groups = [](const QString& part, qsizetype& count) {
        if (part.isEmpty())
            return true;
        for (const QString& group : part.split(u':')) {
            if (group.isEmpty() || group.size() > 4)
                return false;
            ++count;
        }
        return true;
    };
    qsizetype count = 0;
    if (gap < 0)
        return groups(text, count) && count == 8;
    // With "::", at least three groups, so that "ab::cd" in program text stays.
    return groups(text.left(gap), count) && groups(text.mid(gap + 2), count) && count >= 2 && count <= 7 &&
           text.count(u':') >= 3;
}

bool isHighEntropy(const QString& text) {
    if (text.size() < 20)
        return false;
    bool letter = false;
    bool digit = false;
    QHash<QChar, int> counts;
    for (const QChar c : text) {
        letter = letter || c.isLetter();
        digit = digit || c.isDigit();
        ++counts[c];
    }
    if (!letter || !digit)
        return false;
    double bits = 0;
    for (const int n : counts) {
        const double p = double(n) / text.size();
        bits -= p * std::log2(p);
    }
    // English words joined by underscores stay near 3.3 bits a character, random keys above 4.
    return bits >= 3.7;
}

QList<SecretMatch> find(const QString& line, const RedactionOptions& options) {
    QList<SecretMatch> found;
    if (options.isOn(SecretKind::word))
        findWords(line, options.words, found);
    if (options.isOn(SecretKind::email))
        findEmails(line, found);
    if (options.isOn(SecretKind::iban))
        findIbans(line, found);
    if (options.isOn(SecretKind::card))
        findCards(line, found);
    if (options.isOn(SecretKind::token))
        findTokens(line, found);
    if (options.isOn(SecretKind::ip))
        findAddresses(line, found);
    std::sort(found.begin(), found.end(),
              [](const SecretMatch& a, const SecretMatch& b) { return a.start < b.start; });
    return found;
}

} // namespace trovix::SecretPatterns
