#include "export/XmlText.h"

namespace trovix::XmlText {

QString clean(const QString& text) {
    QString out;
    out.reserve(text.size());
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = text[i];
        const char16_t u = c.unicode();
        if (c.isHighSurrogate() && i + 1 < n && text[i + 1].isLowSurrogate()) {
            out += c;
            out += text[++i];
        } else if (c.isSurrogate() || u == 0xFFFE || u == 0xFFFF) {
            out += QChar(QChar::ReplacementCharacter);
        } else if (u == u'\r') {
            out += u'\n';
            if (i + 1 < n && text[i + 1] == u'\n')
                ++i;
        } else if (u >= 0x20 || u == u'\t' || u == u'\n') {
            out += c;
        }
    }
    return out;
}

namespace {

void append(QByteArray& out, QStringView text) {
    // Runs of plain text are converted at once; the escaped characters are all ASCII, so no run
    // splits a surrogate pair.
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char* entity = nullptr;
        switch (text[i].unicode()) {
        case u'&':
            entity = "&amp;";
            break;
        case u'<':
            entity = "&lt;";
            break;
        case u'>':
            entity = "&gt;";
            break;
        case u'"':
            entity = "&quot;";
            break;
        case u'\'':
            entity = "&apos;";
            break;
        default:
            continue;
        }
        out += text.mid(start, i - start).toUtf8();
        out += entity;
        start = i + 1;
    }
    out += text.mid(start).toUtf8();
}

// Calls `piece` for each stretch of ordinary text and `mark` for each tab or line feed.
template <typename Piece, typename Mark>
void split(const QString& text, Piece piece, Mark mark) {
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != u'\n' && text[i] != u'\t')
            continue;
        if (i > start)
            piece(QStringView(text).mid(start, i - start));
        if (i < text.size())
            mark(text[i]);
        start = i + 1;
    }
}

} // namespace

QByteArray escaped(const QString& text) {
    QByteArray out;
    append(out, clean(text));
    return out;
}

QString oneLine(const QString& text) {
    QString line = text;
    line.replace(u'\n', u' ').replace(u'\r', u' ').replace(u'\t', u' ');
    return line;
}

QByteArray wordRuns(const QString& text) {
    QByteArray out;
    split(
        clean(text),
        [&](QStringView piece) {
            out += "<w:t xml:space=\"preserve\">";
            append(out, piece);
            out += "</w:t>";
        },
        [&](QChar mark) { out += mark == u'\t' ? "<w:tab/>" : "<w:br/>"; });
    return "<w:r>" + out + "</w:r>";
}

QByteArray odfText(const QString& text) {
    QByteArray out;
    split(
        clean(text),
        [&](QStringView piece) {
            // A space is kept as it is only after something other than a space; the others, and a
            // space that starts a line, are counted in <text:s/>.
            qsizetype i = 0;
            while (i < piece.size()) {
                if (piece[i] != u' ') {
                    qsizetype j = i;
                    while (j < piece.size() && piece[j] != u' ')
                        ++j;
                    append(out, piece.mid(i, j - i));
                    i = j;
                    continue;
                }
                qsizetype j = i;
                while (j < piece.size() && piece[j] == u' ')
                    ++j;
                qsizetype spaces = j - i;
                if (i > 0) {
                    out += ' ';
                    --spaces;
                }
                if (spaces == 1)
                    out += "<text:s/>";
                else if (spaces > 1)
                    out += "<text:s text:c=\"" + QByteArray::number(spaces) + "\"/>";
                i = j;
            }
        },
        [&](QChar mark) { out += mark == u'\t' ? "<text:tab/>" : "<text:line-break/>"; });
    return out;
}

} // namespace trovix::XmlText
