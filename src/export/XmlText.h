#pragma once

#include <QByteArray>
#include <QString>

namespace trovix {

// The guide's own text as XML 1.0 can carry it, for the office writers.
namespace XmlText {

// The text with what XML 1.0 cannot hold taken out: control characters other than tab and line
// feed are dropped, a carriage return (alone or before a line feed) becomes a line feed, and
// unpaired surrogates and the non-characters U+FFFE and U+FFFF become U+FFFD.
QString clean(const QString& text);

// Cleaned, with <, >, &, " and ' escaped, in UTF-8: fit for element text and attribute values.
QByteArray escaped(const QString& text);

// One line: line feeds and tabs become spaces.
QString oneLine(const QString& text);

// Word runs for the text, keeping its line breaks (<w:br/>) and tabs (<w:tab/>).
QByteArray wordRuns(const QString& text);

// OpenDocument paragraph content keeping line breaks, tabs and runs of spaces, which an
// OpenDocument reader would otherwise fold into one.
QByteArray odfText(const QString& text);

} // namespace XmlText

} // namespace trovix
