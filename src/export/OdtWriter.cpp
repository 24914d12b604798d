#include "export/OdtWriter.h"

#include "export/OfficePictures.h"
#include "export/XmlText.h"
#include "export/ZipArchive.h"

#include <QCoreApplication>
#include <QLocale>

namespace trovix {

namespace {

constexpr char xmlHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr char mimeType[] = "application/vnd.oasis.opendocument.text";
constexpr char namespaces[] =
    " xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\""
    " xmlns:style=\"urn:oasis:names:tc:opendocument:xmlns:style:1.0\""
    " xmlns:text=\"urn:oasis:names:tc:opendocument:xmlns:text:1.0\""
    " xmlns:draw=\"urn:oasis:names:tc:opendocument:xmlns:drawing:1.0\""
    " xmlns:fo=\"urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0\""
    " xmlns:xlink=\"http://www.w3.org/1999/xlink\""
    " xmlns:svg=\"urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0\""
    " xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
    " xmlns:meta=\"urn:oasis:names:tc:opendocument:xmlns:meta:1.0\" office:version=\"1.2\"";

QByteArray points(double value) {
    return QByteArray::number(value, 'f', 2) + "pt";
}

QByteArray paragraph(const char* style, const QByteArray& content) {
    return QByteArray("<text:p text:style-name=\"") + style + "\">" + content + "</text:p>";
}

// fo:language and fo:country of the desktop's language.
QByteArray language() {
    const QLocale locale = QLocale::system();
    if (locale.language() == QLocale::C)
        return "fo:language=\"en\" fo:country=\"US\"";
    const QStringList parts = locale.name().split(u'_');
    QByteArray attributes = "fo:language=\"" + parts.value(0).toLatin1() + "\"";
    if (parts.size() > 1)
        attributes += " fo:country=\"" + parts.value(1).toLatin1() + "\"";
    return attributes;
}

} // namespace

QByteArray OdtWriter::content(const QString& title, const QList<Step>& steps, const OfficePictures& pictures,
                              QDate date) {
    QByteArray xml = xmlHead;
    xml += QByteArray("<office:document-content") + namespaces +
           "><office:automatic-styles><style:style style:name=\"Step\" style:family=\"graphic\" "
           "style:parent-style-name=\"Graphics\"/></office:automatic-styles><office:body><office:text>";
    xml += paragraph("Title", XmlText::odfText(XmlText::oneLine(title)));
    xml += paragraph("Subtitle", XmlText::odfText(Exporter::metaLine(int(steps.size()), date)));
    for (qsizetype i = 0; i < steps.size(); ++i) {
        // The number comes from the outline numbering, so it follows steps the reader adds.
        xml += "<text:h text:style-name=\"Heading_20_1\" text:outline-level=\"1\">" +
               XmlText::odfText(XmlText::oneLine(steps[i].title)) + "</text:h>";
        if (!steps[i].note.isEmpty())
            xml += paragraph("Text_20_body", XmlText::odfText(steps[i].note));
        const OfficePictures::Picture& picture = pictures[i];
        if (!picture.ok)
            continue;
        const QByteArray n = QByteArray::number(i + 1);
        xml += paragraph(
            "Picture", "<draw:frame draw:style-name=\"Step\" draw:name=\"Step " + n +
                           "\" text:anchor-type=\"as-char\" svg:width=\"" + points(picture.points.width()) +
                           "\" svg:height=\"" + points(picture.points.height()) +
                           "\" draw:z-index=\"0\"><draw:image xlink:href=\"" + picture.entry.toUtf8() +
                           "\" xlink:type=\"simple\" xlink:show=\"embed\" "
                           "xlink:actuate=\"onLoad\"/><svg:title>" +
                           XmlText::escaped(XmlText::oneLine(steps[i].title)) + "</svg:title></draw:frame>");
    }
    xml += "</office:text></office:body></office:document-content>";
    return xml;
}

QByteArray OdtWriter::styles(const QString& title) {
    const QString page = QCoreApplication::translate("trovix::PdfWriter", "Page %1");
    const qsizetype at = page.indexOf(QLatin1String("%1"));
    QByteArray footer = XmlText::odfText(XmlText::oneLine(title)) + "<text:tab/>";
    if (at > 0)
        footer += XmlText::odfText(page.left(at));
    footer += "<text:page-number text:select-page=\"current\">1</text:page-number>";
    if (at >= 0 && at + 2 < page.size())
        footer += XmlText::odfText(page.mid(at + 2));

    // Colours and sizes of the PDF: ink titles, muted meta line and footer, grey notes. The page's
    // bottom margin holds the footer, 46 points above the edge as in the PDF.
    QByteArray xml = xmlHead;
    xml +=
        QByteArray("<office:document-styles") + namespaces +
        "><office:font-face-decls><style:font-face style:name=\"Arial\" svg:font-family=\"Arial\" "
        "style:font-family-generic=\"swiss\" style:font-pitch=\"variable\"/></office:font-face-decls>"
        "<office:styles><style:default-style style:family=\"paragraph\"><style:paragraph-properties "
        "fo:margin-top=\"0pt\" fo:margin-bottom=\"6pt\" fo:line-height=\"110%\"/><style:text-properties "
        "style:font-name=\"Arial\" style:font-name-asian=\"Arial\" style:font-name-complex=\"Arial\" "
        "fo:font-size=\"11pt\" style:font-size-asian=\"11pt\" style:font-size-complex=\"11pt\" " +
        language() +
        "/></style:default-style>"
        "<style:style style:name=\"Standard\" style:family=\"paragraph\" style:class=\"text\">"
        "<style:text-properties fo:color=\"#636366\"/></style:style>"
        "<style:style style:name=\"Text_20_body\" style:display-name=\"Text Body\" "
        "style:family=\"paragraph\" "
        "style:parent-style-name=\"Standard\" style:class=\"text\"/>"
        "<style:style style:name=\"Title\" style:family=\"paragraph\" style:parent-style-name=\"Standard\" "
        "style:next-style-name=\"Text_20_body\" style:class=\"chapter\"><style:paragraph-properties "
        "fo:margin-bottom=\"4pt\"/><style:text-properties fo:color=\"#1c1c1f\" fo:font-size=\"28pt\" "
        "fo:font-weight=\"bold\" style:font-size-asian=\"28pt\" style:font-weight-asian=\"bold\" "
        "style:font-size-complex=\"28pt\" style:font-weight-complex=\"bold\"/></style:style>"
        "<style:style style:name=\"Subtitle\" style:family=\"paragraph\" "
        "style:parent-style-name=\"Standard\" "
        "style:next-style-name=\"Text_20_body\" style:class=\"chapter\"><style:paragraph-properties "
        "fo:margin-bottom=\"12pt\" fo:padding-bottom=\"12pt\" fo:border-bottom=\"0.75pt solid #d1d1d6\"/>"
        "<style:text-properties fo:color=\"#8c8c94\"/></style:style>"
        "<style:style style:name=\"Heading\" style:family=\"paragraph\" style:parent-style-name=\"Standard\" "
        "style:next-style-name=\"Text_20_body\" style:class=\"text\"><style:paragraph-properties "
        "fo:margin-top=\"18pt\" fo:margin-bottom=\"6pt\" "
        "fo:keep-with-next=\"always\"/><style:text-properties "
        "fo:color=\"#1c1c1f\" fo:font-size=\"15pt\" fo:font-weight=\"bold\" style:font-size-asian=\"15pt\" "
        "style:font-weight-asian=\"bold\" style:font-size-complex=\"15pt\" "
        "style:font-weight-complex=\"bold\"/></style:style>"
        "<style:style style:name=\"Heading_20_1\" style:display-name=\"Heading 1\" "
        "style:family=\"paragraph\" "
        "style:parent-style-name=\"Heading\" style:next-style-name=\"Text_20_body\" "
        "style:default-outline-level=\"1\" style:class=\"text\"/>"
        "<style:style style:name=\"Picture\" style:family=\"paragraph\" style:parent-style-name=\"Standard\" "
        "style:next-style-name=\"Text_20_body\" style:class=\"extra\"><style:paragraph-properties "
        "fo:margin-top=\"6pt\" fo:margin-bottom=\"12pt\" fo:line-height=\"100%\"/></style:style>"
        "<style:style style:name=\"Footer\" style:family=\"paragraph\" style:parent-style-name=\"Standard\" "
        "style:class=\"extra\"><style:paragraph-properties fo:margin-bottom=\"0pt\"><style:tab-stops>"
        "<style:tab-stop style:position=\"504pt\" style:type=\"right\"/></style:tab-stops>"
        "</style:paragraph-properties><style:text-properties fo:color=\"#8c8c94\" fo:font-size=\"9pt\" "
        "style:font-size-asian=\"9pt\" style:font-size-complex=\"9pt\"/></style:style>"
        "<style:style style:name=\"Graphics\" style:family=\"graphic\"><style:graphic-properties "
        "text:anchor-type=\"as-char\" svg:y=\"0pt\" style:vertical-pos=\"top\" "
        "style:vertical-rel=\"baseline\" "
        "fo:border=\"none\" fo:padding=\"0pt\"/></style:style>"
        "<text:outline-style style:name=\"Outline\"><text:outline-level-style text:level=\"1\" "
        "style:num-format=\"1\" style:num-suffix=\".\"><style:list-level-properties "
        "text:list-level-position-and-space-mode=\"label-alignment\"><style:list-level-label-alignment "
        "text:label-followed-by=\"space\" fo:text-indent=\"0pt\" fo:margin-left=\"0pt\"/>"
        "</style:list-level-properties></text:outline-level-style></text:outline-style></office:styles>"
        "<office:automatic-styles><style:page-layout style:name=\"Letter\"><style:page-layout-properties "
        "fo:page-width=\"612pt\" fo:page-height=\"792pt\" style:print-orientation=\"portrait\" "
        "fo:margin-top=\"54pt\" fo:margin-bottom=\"32pt\" fo:margin-left=\"54pt\" fo:margin-right=\"54pt\"/>"
        "<style:footer-style><style:header-footer-properties fo:min-height=\"14pt\" fo:margin-top=\"16pt\"/>"
        "</style:footer-style></style:page-layout></office:automatic-styles><office:master-styles>"
        "<style:master-page style:name=\"Standard\" style:page-layout-name=\"Letter\"><style:footer>" +
        paragraph("Footer", footer) +
        "</style:footer></style:master-page></office:master-styles></office:document-styles>";
    return xml;
}

QByteArray OdtWriter::meta(const QString& title, const QDateTime& created) {
    const QByteArray when = created.toUTC().toString(Qt::ISODate).toLatin1();
    return xmlHead + QByteArray("<office:document-meta") + namespaces +
           "><office:meta><meta:generator>Trovix</meta:generator><dc:title>" +
           XmlText::escaped(XmlText::oneLine(title)) + "</dc:title><meta:creation-date>" + when +
           "</meta:creation-date><dc:date>" + when + "</dc:date></office:meta></office:document-meta>";
}

QByteArray OdtWriter::manifest(const OfficePictures& pictures) {
    QByteArray xml = xmlHead;
    xml +=
        QByteArray("<manifest:manifest xmlns:manifest=\"urn:oasis:names:tc:opendocument:xmlns:manifest:1.0\" "
                   "manifest:version=\"1.2\"><manifest:file-entry manifest:full-path=\"/\" "
                   "manifest:version=\"1.2\" manifest:media-type=\"") +
        mimeType + "\"/>";
    for (const char* part : {"content.xml", "styles.xml", "meta.xml"})
        xml += QByteArray("<manifest:file-entry manifest:full-path=\"") + part +
               "\" manifest:media-type=\"text/xml\"/>";
    for (qsizetype i = 0; i < pictures.size(); ++i)
        if (pictures[i].ok)
            xml += "<manifest:file-entry manifest:full-path=\"" + pictures[i].entry.toUtf8() +
                   "\" manifest:media-type=\"" + pictures[i].mime.toUtf8() + "\"/>";
    xml += "</manifest:manifest>";
    return xml;
}

ExportResult OdtWriter::write(const QString& title, const QList<Step>& steps, ExportQuality quality,
                              const QString& file, const ExportProgress& progress, const QDateTime& created) {
    ZipArchive zip(file);
    // First and uncompressed, so that the file's type can be read at a fixed place.
    zip.add(QStringLiteral("mimetype"), mimeType, ZipArchive::Compression::store);
    zip.add(QStringLiteral("styles.xml"), styles(title));
    zip.add(QStringLiteral("meta.xml"), meta(title, created));
    OfficePictures pictures(zip, QStringLiteral("Pictures"), steps, quality, progress);
    const QDate date = created.date();
    zip.addLater(QStringLiteral("content.xml"), [&] { return content(title, steps, pictures, date); });
    zip.addLater(QStringLiteral("META-INF/manifest.xml"), [&] { return manifest(pictures); });
    return pictures.commit();
}

} // namespace trovix
