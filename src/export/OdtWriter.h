#pragma once

#include "document/Step.h"
#include "export/Exporter.h"

#include <QDateTime>
#include <QString>

namespace trovix {

class OfficePictures;

// A guide as an OpenDocument text that stays editable: paragraph styles (Title, Subtitle, Heading 1
// numbered by the outline, Text Body), pictures inline at the text width with the step titles as
// alternative text, "Page N" in the footer, on US Letter pages.
class OdtWriter {
public:
    static ExportResult write(const QString& title, const QList<Step>& steps, ExportQuality quality,
                              const QString& file, const ExportProgress& progress, const QDateTime& created);

private:
    static QByteArray content(const QString& title, const QList<Step>& steps, const OfficePictures& pictures,
                              QDate date);
    static QByteArray styles(const QString& title);
    static QByteArray meta(const QString& title, const QDateTime& created);
    static QByteArray manifest(const OfficePictures& pictures);
};

} // namespace trovix
