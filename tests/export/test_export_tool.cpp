#include "document/Guide.h"
#include "document/GuideStore.h"
#include "export/Exporter.h"
#include "render/ImageCodec.h"

#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

struct Outcome {
    int code = -1;
    QString out;
    QString err;
};

Outcome exportTool(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral(TROVIX_EXPORT_TOOL), arguments);
    process.waitForFinished(120000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

// A saved guide folder in `parent`.
QString savedGuide(const QString& parent, const QString& title, const QList<QImage>& pictures) {
    Guide guide;
    QList<Step> steps;
    for (int i = 0; i < pictures.size(); ++i)
        steps << Step::make(Image(pictures[i]), 1, QStringLiteral("Step %1").arg(i + 1), {},
                            i == 0 ? QStringLiteral("A note") : QString());
    guide.replaceContents(title, steps, {});
    const QString folder = QDir(parent).filePath(QStringLiteral("Saved.trovix"));
    GuideStore::write(guide, folder, false);
    return folder;
}

} // namespace

class TestExportTool : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void badArgumentsAndUnreadableGuides_exitWithTwo() {
        QTemporaryDir dir;
        const QString guide = savedGuide(dir.path(), "G", {flat(40, 30, Qt::red)});
        const QList<QStringList> bad = {
            {},
            {guide, "--format", "docx"},
            {guide, "--format", "pdf", "--colour", "red"},
            {dir.filePath("nowhere.trovix"), "--format", "pdf"},
        };
        for (const QStringList& arguments : bad) {
            const Outcome outcome = exportTool(arguments);
            QVERIFY2(outcome.code == 2,
                     qPrintable(arguments.join(' ') + " → " + QString::number(outcome.code)));
            QVERIFY(outcome.err.startsWith("trovix-export: "));
            QVERIFY(outcome.out.isEmpty());
        }
        QVERIFY(
            exportTool({dir.filePath("nowhere.trovix"), "--format", "pdf"}).err.contains("nowhere.trovix"));

        QFile json(guide + "/guide.json");
        QVERIFY(json.open(QIODevice::WriteOnly));
        json.write("{\"title\":");
        json.close();
        // The message names the file that is damaged.
        const Outcome outcome = exportTool({guide, "--format", "markdown"});
        QCOMPARE(outcome.code, 2);
        QVERIFY2(outcome.err.contains("guide.json"), qPrintable(outcome.err));
        QCOMPARE(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
                 QStringList{"Saved.trovix"});
    }

    void exports_nextToTheGuideWithTheSavedQuality() {
        QTemporaryDir dir;
        const QString guide =
            savedGuide(dir.path(), "Release: 1/2", {flat(3000, 1500, Qt::red), flat(64, 48, Qt::blue)});

        // No setting: balanced. The Markdown folder and file names are made safe from the title.
        Outcome outcome = exportTool({guide, "--format", "markdown"});
        QCOMPARE(outcome.code, 0);
        QVERIFY(outcome.err.isEmpty()); // no progress when stderr is not a terminal
        const QString folder = dir.filePath("Release- 1-2");
        QCOMPARE(QDir(folder + "/images").entryList(QDir::Files), (QStringList{"step-1.jpg", "step-2.jpg"}));
        QFile picture(folder + "/images/step-1.jpg");
        QVERIFY(picture.open(QIODevice::ReadOnly));
        QCOMPARE(ImageCodec::decode(picture.readAll()).size(), QSize(1800, 900));
        QVERIFY(outcome.out.contains(folder + "/guide.md"));
        QVERIFY2(outcome.out.contains("Balanced image quality"), qPrintable(outcome.out));
        QFile markdown(folder + "/guide.md");
        QVERIFY(markdown.open(QIODevice::ReadOnly));
        QVERIFY(markdown.readAll().startsWith(
            "# Release: 1/2\n\n## 1. Step 1\n\nA note\n\n![Step 1](images/step-1.jpg)"));

        // The user's saved choice applies; --quality overrides it.
        {
            QSettings settings(QStringLiteral("Trovix"), QStringLiteral("Trovix"));
            settings.setValue("exportQuality", "small");
        }
        outcome = exportTool({guide, "--format", "html"});
        QCOMPARE(outcome.code, 0);
        const QString html = dir.filePath("Release- 1-2.html");
        QVERIFY2(outcome.out.contains(html) && outcome.out.contains("Small file image quality"),
                 qPrintable(outcome.out));
        QFile htmlFile(html);
        QVERIFY(htmlFile.open(QIODevice::ReadOnly));
        const QByteArray document = htmlFile.readAll();
        QVERIFY(document.contains("<title>Release: 1/2</title>"));
        QCOMPARE(document.count("data:image/jpeg;base64,"), 2);

        // --output names the file itself.
        outcome = exportTool({guide, "--format", "pdf", "--output", dir.filePath("named.pdf")});
        QCOMPARE(outcome.code, 0);
        QVERIFY(QFileInfo(dir.filePath("named.pdf")).size() > 0);
    }

    void failedExport_exitsWithOne() {
        QTemporaryDir dir;
        const QString guide = savedGuide(dir.path(), "Guide", {flat(40, 30, Qt::red)});
        QFile blocker(dir.filePath("file"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QString target = dir.filePath("file/Guide.pdf");
        const Outcome outcome = exportTool({guide, "--format", "pdf", "--output", target});
        QCOMPARE(outcome.code, 1);
        QVERIFY2(outcome.err.contains(target), qPrintable(outcome.err));
        QVERIFY(outcome.out.isEmpty());
    }
};

QTEST_MAIN(TestExportTool)
#include "test_export_tool.moc"
