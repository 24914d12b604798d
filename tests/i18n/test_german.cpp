// Trovix under a German locale: the main window, a menu and the exports speak German, read the way a
// user (or a screen reader) meets them.
#include "DesktopDriver.h"
#include "document/Guide.h"
#include "document/GuideStore.h"
#include "export/Exporter.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

using namespace trovix;
using namespace trovix::desktop;

namespace {

QString run(const QString& program, const QStringList& arguments, int* exitCode = nullptr) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(60000))
        process.kill();
    if (exitCode)
        *exitCode = process.exitCode();
    return QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
}

} // namespace

class TestGerman : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        // As a German desktop session sets it: the language comes from LANG alone.
        qputenv("LANG", "de_DE.UTF-8");
        for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANGUAGE"})
            qunsetenv(name);
        initAccessibility();
    }

    void mainWindowAndMenu() {
        Running app;
        QVERIFY2(!waitForWindow(QStringLiteral("^Unbenannte Anleitung")).isEmpty(),
                 "no German main window appeared");
        for (const char* name : {"Bereich aufnehmen", "Klicks aufzeichnen", "Titel der Anleitung"})
            QVERIFY2(!findOnScreen(app.pid(), QString::fromUtf8(name)).isEmpty(),
                     qPrintable(QString::fromUtf8(name) + QStringLiteral(" missing among: ") +
                                accessibleNames(app.pid()).join(u", ")));
        QVERIFY(!accessibleNames(app.pid()).contains(QStringLiteral("Capture Region")));
        screenshot(QStringLiteral("german-main-window"));

        const QRect file = findOnScreen(app.pid(), QStringLiteral("Datei"));
        QVERIFY2(!file.isEmpty(), "no menu “Datei”");
        click(file);
        for (const char* item : {"Neue Anleitung", "Speichern unter …", "Zuletzt geöffnet"})
            QVERIFY2(!findOnScreen(app.pid(), QString::fromUtf8(item)).isEmpty(),
                     qPrintable(QString::fromUtf8(item) + QStringLiteral(" not in the open menu")));
        screenshot(QStringLiteral("german-file-menu"));
        key(QStringLiteral("Escape"));
    }

    void exportsFollowTheLanguage() {
        Guide guide;
        QImage picture(320, 200, QImage::Format_ARGB32_Premultiplied);
        picture.fill(Qt::darkCyan);
        guide.replaceContents(QStringLiteral("Anleitung"),
                              {Step::make(Image(picture), 1, QStringLiteral("Eins")),
                               Step::make(Image(picture), 1, QStringLiteral("Zwei"))},
                              {});
        const QString folder = tmp(QStringLiteral("Anleitung.trovix"));
        GuideStore::write(guide, folder, false);
        const QString exporter = QDir(qEnvironmentVariable("TROVIX_BINARY_DIR"))
                                     .filePath(QStringLiteral("src/export/tool/trovix-export"));
        const QString date = Exporter::longDate(QDate::currentDate(), QLocale(QStringLiteral("de_DE")));

        int status = -1;
        const QString html = tmp(QStringLiteral("a.html")), pdf = tmp(QStringLiteral("a.pdf"));
        const QString said = run(exporter, {folder, "--format", "html", "--output", html}, &status);
        QCOMPARE(status, 0);
        QVERIFY2(said.contains(QStringLiteral("exportiert")), qPrintable(said));
        QFile page(html);
        QVERIFY(page.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(page.readAll());
        QVERIFY2(text.contains(QStringLiteral("2 Schritte · ") + date), qPrintable(text.left(2000)));
        QVERIFY(text.contains(QStringLiteral("alt=\"Schritt 1\"")));

        run(exporter, {folder, "--format", "pdf", "--output", pdf}, &status);
        QCOMPARE(status, 0);
        const QString pdfText = run(QStringLiteral("pdftotext"), {"-layout", pdf, "-"});
        QVERIFY2(pdfText.contains(QStringLiteral("Seite 1")) &&
                     pdfText.contains(QStringLiteral("2 Schritte")) && pdfText.contains(date),
                 qPrintable(pdfText));

        // A usage error is German too.
        const QString error = run(exporter, {folder}, &status);
        QCOMPARE(status, 2);
        QVERIFY2(error.contains(QStringLiteral("--format ist erforderlich")), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(TestGerman)
#include "test_german.moc"
