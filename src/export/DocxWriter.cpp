#include "export/DocxWriter.h"

#include "export/OfficePictures.h"
#include "export/XmlText.h"
#include "export/ZipArchive.h"

#include <QCoreApplication>
#include <QLocale>

#include <cmath>

namespace trovix {

namespace {

constexpr char xmlHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n";
constexpr char wordNs[] = "http://schemas.openxmlformats.org/wordprocessingml/2006/main";
constexpr char relNs[] = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";

// English Metric Units: 12700 to the point.
QByteArray emu(double points) {
    return QByteArray::number(qint64(std::llround(points * 12700)));
}

QByteArray paragraph(const char* style, const QByteArray& content) {
    return QByteArray("<w:p><w:pPr><w:pStyle w:val=\"") + style + "\"/></w:pPr>" + content + "</w:p>";
}

QByteArray language() {
    const QString name = QLocale::system().name();
    return name == QLatin1String("C") ? QByteArray("en-US") : name.toLatin1().replace('_', '-');
}

QByteArray drawing(int n, const QString& title, const OfficePictures::Picture& picture) {
    const QByteArray id = QByteArray::number(n), cx = emu(picture.points.width()),
                     cy = emu(picture.points.height()), alt = XmlText::escaped(XmlText::oneLine(title));
    return "<w:r><w:drawing><wp:inline distT=\"0\" distB=\"0\" distL=\"0\" distR=\"0\"><wp:extent cx=\"" +
           cx + "\" cy=\"" + cy + "\"/><wp:effectExtent l=\"0\" t=\"0\" r=\"0\" b=\"0\"/><wp:docPr id=\"" +
           id + "\" name=\"Step " + id + "\" descr=\"" + alt +
           "\"/><wp:cNvGraphicFramePr><a:graphicFrameLocks noChangeAspect=\"1\"/></wp:cNvGraphicFramePr>"
           "<a:graphic><a:graphicData uri=\"http://schemas.openxmlformats.org/drawingml/2006/picture\">"
           "<pic:pic><pic:nvPicPr><pic:cNvPr id=\"" +
           id + "\" name=\"" + picture.entry.section(u'/', -1).toUtf8() + "\" descr=\"" + alt +
           "\"/><pic:cNvPicPr><a:picLocks noChangeAspect=\"1\"/></pic:cNvPicPr></pic:nvPicPr>"
           "<pic:blipFill><a:blip r:embed=\"rIdStep" +
           id +
           "\"/><a:stretch><a:fillRect/></a:stretch></pic:blipFill><pic:spPr><a:xfrm><a:off x=\"0\" y=\"0\"/>"
           "<a:ext cx=\"" +
           cx + "\" cy=\"" + cy +
           "\"/></a:xfrm><a:prstGeom "
           "prst=\"rect\"><a:avLst/></a:prstGeom></pic:spPr></pic:pic></a:graphicData>"
           "</a:graphic></wp:inline></w:drawing></w:r>";
}

} // namespace

QByteArray DocxWriter::document(const QString& title, const QList<Step>& steps,
                                const OfficePictures& pictures, QDate date) {
    QByteArray xml = xmlHead;
    xml += QByteArray("<w:document xmlns:w=\"") + wordNs + "\" xmlns:r=\"" + relNs +
           "\" xmlns:wp=\"http://schemas.openxmlformats.org/drawingml/2006/wordprocessingDrawing\""
           " xmlns:a=\"http://schemas.openxmlformats.org/drawingml/2006/main\""
           " xmlns:pic=\"http://schemas.openxmlformats.org/drawingml/2006/picture\"><w:body>";
    xml += paragraph("Title", XmlText::wordRuns(XmlText::oneLine(title)));
    xml += paragraph("Subtitle", XmlText::wordRuns(Exporter::metaLine(int(steps.size()), date)));
    for (qsizetype i = 0; i < steps.size(); ++i) {
        // The number comes from the heading style's numbering, so it follows steps the reader adds.
        xml += paragraph("Heading1", XmlText::wordRuns(XmlText::oneLine(steps[i].title)));
        if (!steps[i].note.isEmpty())
            xml += paragraph("Normal", XmlText::wordRuns(steps[i].note));
        if (pictures[i].ok)
            xml += paragraph("Picture", drawing(int(i + 1), steps[i].title, pictures[i]));
    }
    xml +=
        "<w:sectPr><w:footerReference w:type=\"default\" r:id=\"rIdFooter\"/>"
        "<w:pgSz w:w=\"12240\" w:h=\"15840\"/><w:pgMar w:top=\"1080\" w:right=\"1080\" w:bottom=\"1240\" "
        "w:left=\"1080\" w:header=\"720\" w:footer=\"640\" w:gutter=\"0\"/></w:sectPr></w:body></w:document>";
    return xml;
}

QByteArray DocxWriter::relationships(const OfficePictures& pictures) {
    const char* type = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
    QByteArray xml = xmlHead;
    xml += "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
    for (const char* part : {"styles", "numbering", "settings", "footer"})
        xml += QByteArray("<Relationship Id=\"rId") + (part == QByteArrayView("footer") ? "Footer" : part) +
               "\" Type=\"" + type + part + "\" Target=\"" + part +
               (part == QByteArrayView("footer") ? "1" : "") + ".xml\"/>";
    for (qsizetype i = 0; i < pictures.size(); ++i)
        if (pictures[i].ok)
            xml += "<Relationship Id=\"rIdStep" + QByteArray::number(i + 1) + "\" Type=\"" + type +
                   "image\" Target=\"" + pictures[i].entry.mid(5).toUtf8() + "\"/>";
    xml += "</Relationships>";
    return xml;
}

QByteArray DocxWriter::footer(const QString& title) {
    const QString page = QCoreApplication::translate("trovix::PdfWriter", "Page %1");
    const qsizetype at = page.indexOf(QLatin1String("%1"));
    QByteArray content = XmlText::wordRuns(XmlText::oneLine(title)) + "<w:r><w:tab/></w:r>";
    if (at > 0)
        content += XmlText::wordRuns(page.left(at));
    content += "<w:fldSimple w:instr=\" PAGE \"><w:r><w:t>1</w:t></w:r></w:fldSimple>";
    if (at >= 0 && at + 2 < page.size())
        content += XmlText::wordRuns(page.mid(at + 2));
    return xmlHead + QByteArray("<w:ftr xmlns:w=\"") + wordNs + "\" xmlns:r=\"" + relNs + "\">" +
           paragraph("Footer", content) + "</w:ftr>";
}

QByteArray DocxWriter::styles() {
    // Colours and sizes of the PDF: ink titles, muted meta line and footer, grey notes.
    QByteArray xml = xmlHead;
    xml +=
        QByteArray("<w:styles xmlns:w=\"") + wordNs +
        "\"><w:docDefaults><w:rPrDefault><w:rPr><w:rFonts w:ascii=\"Arial\" w:hAnsi=\"Arial\" "
        "w:eastAsia=\"Arial\" w:cs=\"Arial\"/><w:sz w:val=\"22\"/><w:szCs w:val=\"22\"/><w:lang w:val=\"" +
        language() +
        "\"/></w:rPr></w:rPrDefault><w:pPrDefault><w:pPr><w:spacing w:after=\"120\" w:line=\"264\" "
        "w:lineRule=\"auto\"/></w:pPr></w:pPrDefault></w:docDefaults>"
        "<w:style w:type=\"paragraph\" w:default=\"1\" w:styleId=\"Normal\"><w:name w:val=\"Normal\"/>"
        "<w:qFormat/><w:rPr><w:color w:val=\"636366\"/></w:rPr></w:style>"
        "<w:style w:type=\"paragraph\" w:styleId=\"Title\"><w:name w:val=\"Title\"/><w:basedOn "
        "w:val=\"Normal\"/><w:next w:val=\"Normal\"/><w:uiPriority "
        "w:val=\"10\"/><w:qFormat/><w:pPr><w:spacing "
        "w:after=\"80\"/></w:pPr><w:rPr><w:b/><w:bCs/><w:color w:val=\"1C1C1F\"/><w:sz w:val=\"56\"/><w:szCs "
        "w:val=\"56\"/></w:rPr></w:style>"
        "<w:style w:type=\"paragraph\" w:styleId=\"Subtitle\"><w:name w:val=\"Subtitle\"/><w:basedOn "
        "w:val=\"Normal\"/><w:next w:val=\"Normal\"/><w:uiPriority w:val=\"11\"/><w:qFormat/><w:pPr><w:pBdr>"
        "<w:bottom w:val=\"single\" w:sz=\"4\" w:space=\"12\" w:color=\"D1D1D6\"/></w:pBdr><w:spacing "
        "w:after=\"480\"/></w:pPr><w:rPr><w:color w:val=\"8C8C94\"/></w:rPr></w:style>"
        "<w:style w:type=\"paragraph\" w:styleId=\"Heading1\"><w:name w:val=\"heading 1\"/><w:basedOn "
        "w:val=\"Normal\"/><w:next w:val=\"Normal\"/><w:uiPriority "
        "w:val=\"9\"/><w:qFormat/><w:pPr><w:keepNext/>"
        "<w:keepLines/><w:numPr><w:numId w:val=\"1\"/></w:numPr><w:spacing w:before=\"360\" w:after=\"120\"/>"
        "<w:outlineLvl w:val=\"0\"/></w:pPr><w:rPr><w:b/><w:bCs/><w:color w:val=\"1C1C1F\"/><w:sz "
        "w:val=\"30\"/><w:szCs w:val=\"30\"/></w:rPr></w:style>"
        "<w:style w:type=\"paragraph\" w:customStyle=\"1\" w:styleId=\"Picture\"><w:name w:val=\"Picture\"/>"
        "<w:basedOn w:val=\"Normal\"/><w:next w:val=\"Normal\"/><w:qFormat/><w:pPr><w:spacing "
        "w:before=\"120\" w:after=\"240\" w:line=\"240\" w:lineRule=\"auto\"/></w:pPr></w:style>"
        "<w:style w:type=\"paragraph\" w:styleId=\"Footer\"><w:name w:val=\"footer\"/><w:basedOn "
        "w:val=\"Normal\"/><w:uiPriority w:val=\"99\"/><w:pPr><w:tabs><w:tab w:val=\"right\" "
        "w:pos=\"10080\"/></w:tabs><w:spacing w:after=\"0\"/></w:pPr><w:rPr><w:color w:val=\"8C8C94\"/><w:sz "
        "w:val=\"18\"/><w:szCs w:val=\"18\"/></w:rPr></w:style></w:styles>";
    return xml;
}

QByteArray DocxWriter::properties(const QString& title, const QDateTime& created) {
    const QByteArray when = created.toUTC().toString(Qt::ISODate).toLatin1();
    return xmlHead +
           QByteArray(
               "<cp:coreProperties "
               "xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\" "
               "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:dcterms=\"http://purl.org/dc/terms/\" "
               "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><dc:title>") +
           XmlText::escaped(XmlText::oneLine(title)) + "</dc:title><dc:language>" + language() +
           "</dc:language><dcterms:created xsi:type=\"dcterms:W3CDTF\">" + when +
           "</dcterms:created><dcterms:modified xsi:type=\"dcterms:W3CDTF\">" + when +
           "</dcterms:modified></cp:coreProperties>";
}

ExportResult DocxWriter::write(const QString& title, const QList<Step>& steps, ExportQuality quality,
                               const QString& file, const ExportProgress& progress,
                               const QDateTime& created) {
    ZipArchive zip(file);
    zip.add(QStringLiteral("[Content_Types].xml"),
            xmlHead +
                QByteArray("<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
                           "<Default Extension=\"rels\" "
                           "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
                           "<Default Extension=\"xml\" ContentType=\"application/xml\"/>"
                           "<Default Extension=\"png\" ContentType=\"image/png\"/>"
                           "<Default Extension=\"jpg\" ContentType=\"image/jpeg\"/>"
                           "<Override PartName=\"/word/document.xml\" ContentType=\"application/"
                           "vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml\"/>"
                           "<Override PartName=\"/word/styles.xml\" ContentType=\"application/"
                           "vnd.openxmlformats-officedocument.wordprocessingml.styles+xml\"/>"
                           "<Override PartName=\"/word/numbering.xml\" ContentType=\"application/"
                           "vnd.openxmlformats-officedocument.wordprocessingml.numbering+xml\"/>"
                           "<Override PartName=\"/word/settings.xml\" ContentType=\"application/"
                           "vnd.openxmlformats-officedocument.wordprocessingml.settings+xml\"/>"
                           "<Override PartName=\"/word/footer1.xml\" ContentType=\"application/"
                           "vnd.openxmlformats-officedocument.wordprocessingml.footer+xml\"/>"
                           "<Override PartName=\"/docProps/core.xml\" "
                           "ContentType=\"application/vnd.openxmlformats-package.core-properties+xml\"/>"
                           "<Override PartName=\"/docProps/app.xml\" ContentType=\"application/"
                           "vnd.openxmlformats-officedocument.extended-properties+xml\"/></Types>"));
    zip.add(QStringLiteral("_rels/.rels"),
            xmlHead +
                QByteArray("<Relationships "
                           "xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
                           "<Relationship Id=\"rId1\" Type=\"") +
                relNs +
                "/officeDocument\" Target=\"word/document.xml\"/><Relationship Id=\"rId2\" "
                "Type=\"http://schemas.openxmlformats.org/package/2006/relationships/metadata/"
                "core-properties\" Target=\"docProps/core.xml\"/><Relationship Id=\"rId3\" Type=\"" +
                relNs + "/extended-properties\" Target=\"docProps/app.xml\"/></Relationships>");
    zip.add(QStringLiteral("docProps/core.xml"), properties(title, created));
    zip.add(QStringLiteral("docProps/app.xml"),
            xmlHead + QByteArray("<Properties xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/"
                                 "extended-properties\"><Application>Trovix</Application></Properties>"));
    zip.add(QStringLiteral("word/styles.xml"), styles());
    zip.add(
        QStringLiteral("word/numbering.xml"),
        xmlHead + QByteArray("<w:numbering xmlns:w=\"") + wordNs +
            "\"><w:abstractNum w:abstractNumId=\"0\"><w:multiLevelType w:val=\"singleLevel\"/><w:lvl "
            "w:ilvl=\"0\"><w:start w:val=\"1\"/><w:numFmt w:val=\"decimal\"/><w:pStyle w:val=\"Heading1\"/>"
            "<w:suff w:val=\"space\"/><w:lvlText w:val=\"%1.\"/><w:lvlJc w:val=\"left\"/><w:pPr><w:ind "
            "w:left=\"0\" w:firstLine=\"0\"/></w:pPr></w:lvl></w:abstractNum><w:num w:numId=\"1\">"
            "<w:abstractNumId w:val=\"0\"/></w:num></w:numbering>");
    zip.add(QStringLiteral("word/settings.xml"),
            xmlHead + QByteArray("<w:settings xmlns:w=\"") + wordNs +
                "\"><w:defaultTabStop w:val=\"720\"/><w:compat><w:compatSetting w:name=\"compatibilityMode\" "
                "w:uri=\"http://schemas.microsoft.com/office/word\" w:val=\"15\"/></w:compat></w:settings>");
    zip.add(QStringLiteral("word/footer1.xml"), footer(title));

    OfficePictures pictures(zip, QStringLiteral("word/media"), steps, quality, progress);
    const QDate date = created.date();
    zip.addLater(QStringLiteral("word/document.xml"), [&] { return document(title, steps, pictures, date); });
    zip.addLater(QStringLiteral("word/_rels/document.xml.rels"), [&] { return relationships(pictures); });
    return pictures.commit();
}

} // namespace trovix
