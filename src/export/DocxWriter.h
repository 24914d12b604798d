#pragma once

#include "document/Step.h"
#include "export/Exporter.h"

#include <QDateTime>
#include <QString>

namespace trovix {

class OfficePictures;

// A guide as a Word document (Office Open XML) that stays editable: real paragraph styles (Title,
// Subtitle, Heading 1 numbered by the style, Normal), pictures inline at the text width with the
// step titles as alt text, "Page N" in the footer, on US Letter pages.
class DocxWriter {
public:
    static ExportResult write(const QString& title, const QList<Step>& steps, ExportQuality quality,
                              const QString& file, const ExportProgress& progress, const QDateTime& created);

private:
    static QByteArray document(const QString& title, const QList<Step>& steps, const OfficePictures& pictures,
                               QDate date);
    static QByteArray relationships(const OfficePictures& pictures);
    static QByteArray footer(const QString& title);
    static QByteArray styles();
    static QByteArray properties(const QString& title, const QDateTime& created);
};

} // namespace trovix
