// Runs the real trovix executable in its own X session and drives it like a user: key presses and
// typing through xdotool, button clicks at the places the accessibility tree reports for them, and
// the real file dialogs. Checks what lands on disk.
//
// With TROVIX_SHOTS set to a folder, screenshots of the main window, the export panel and the
// export report are saved there.

#include "DesktopDriver.h"
#include "app/AppTestSupport.h"

#include "document/GuideStore.h"
#include "library/Library.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;
using namespace trovix::desktop;

namespace {

// A step picture with some structure, so the exports carry real pictures.
Step pictureStep(const QString& title, int hue) {
    QImage image(1280, 800, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor::fromHsv(hue, 40, 245));
    QPainter painter(&image);
    painter.fillRect(QRect(0, 0, 1280, 48), QColor::fromHsv(hue, 160, 120));
    painter.setPen(Qt::black);
    QFont font = painter.font();
    font.setPixelSize(28);
    painter.setFont(font);
    for (int i = 0; i < 8; ++i)
        painter.drawText(QPoint(80, 140 + i * 70),
                         QStringLiteral("%1 — line %2 of the window").arg(title).arg(i + 1));
    painter.fillRect(QRect(900, 600, 240, 70), QColor::fromHsv(hue, 200, 200));
    painter.end();
    return Step::make(Image(image), 2, title);
}

} // namespace

class EndToEndTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
        QVERIFY2(QFileInfo(trovixBinary()).isExecutable(), qPrintable(trovixBinary()));
        initAccessibility();
    }

    void save_reopen_andExportAllThreeFormats() {
        // A working copy as a previous run would have left it: three unsaved steps.
        {
            Guide guide;
            guide.replaceContents(QStringLiteral("Demo"),
                                  {pictureStep("Open the menu", 210), pictureStep("Choose “Settings”", 120),
                                   pictureStep("Press Save", 20)},
                                  {});
            guide.setDirty(true);
            GuideStore::write(guide, GuideStore::workingDir(), true);
        }
        const QString out = tmp("out");
        QDir().mkpath(out + "/md");

        auto app = std::make_unique<Running>();
        QString window = waitForWindow(QStringLiteral("^Demo\\*"));
        QVERIFY2(!window.isEmpty(), "the main window did not show the working copy");
        activate(window);
        QTest::qWait(800); // thumbnails
        screenshot(QStringLiteral("main-window-steps"));

        // Save: Ctrl+S on an unsaved guide asks where, starting in the library folder.
        key(QStringLiteral("ctrl+s"));
        QString dialog = waitForWindow(QStringLiteral("Save this guide"));
        QVERIFY(!dialog.isEmpty());
        typeIntoFileDialog(dialog, out + "/Demo");
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(out + "/Demo.trovix/guide.json"), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(out + "/Demo.trovix/thumbnail.jpg"), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!windowTitle(window).contains(u'*'), 5000);
        const LoadedGuide saved = GuideStore::read(out + "/Demo.trovix");
        QCOMPARE(saved.title, QStringLiteral("Demo"));
        QCOMPARE(saved.steps.size(), 3);
        QCOMPARE(saved.steps[1].title, QStringLiteral("Choose “Settings”"));
        QVERIFY(QDir(Library::folder()).exists());

        // Quit (clean: no question), and the working copy now points at the saved folder.
        activate(window);
        key(QStringLiteral("ctrl+q"));
        QVERIFY(app->waitForExit());
        QCOMPARE(app->exitCode(), 0);
        GuideStore::waitForBackgroundWrites();
        const QJsonObject working = readJson(GuideStore::workingDir() + "/guide.json");
        QCOMPARE(working.value("sourcePath").toString(), out + "/Demo.trovix");
        QCOMPARE(working.value("dirty").toBool(true), false);

        // Reopen from the command line; a second launch hands its folder over and exits.
        {
            Guide other;
            fill(other, 1, QStringLiteral("Other"));
            GuideStore::write(other, out + "/Other.trovix", false);
        }
        app = std::make_unique<Running>(QStringList{out + "/Demo.trovix"});
        window = waitForWindow(QStringLiteral("^Demo"));
        QVERIFY(!window.isEmpty());
        Running second({out + "/Other.trovix"});
        QVERIFY(second.waitForExit());
        QCOMPARE(second.exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(windowTitle(window).startsWith(QStringLiteral("Other")), 10000);
        Running third({out + "/./Demo.trovix"});
        QVERIFY(third.waitForExit());
        QTRY_VERIFY_WITH_TIMEOUT(windowTitle(window).startsWith(QStringLiteral("Demo")), 10000);
        QVERIFY(app->isRunning());

        // Export each format through the export panel and the real dialogs.
        struct Export {
            QString button, dialog, path, reported;
            int tabs;
        };
        const QList<Export> exports{
            {QStringLiteral("PDF…"), QStringLiteral("Export as PDF"), out + "/Demo.pdf",
             QStringLiteral("Demo.pdf"), 4},
            {QStringLiteral("HTML (single file)…"), QStringLiteral("Export as HTML"), out + "/Demo.html",
             QStringLiteral("Demo.html"), 3},
            {QStringLiteral("Markdown (folder with images)…"), QStringLiteral("Choose where to create"),
             out + "/md/", QStringLiteral("Demo"), 2},
        };
        for (const Export& e : exports) {
            activate(window);
            const QRect exportButton = findOnScreen(app->pid(), QStringLiteral("Export"));
            QVERIFY2(!exportButton.isEmpty(), "no Export button on the accessibility bus");
            click(exportButton);
            QTest::qWait(500);
            if (e.button.startsWith(QStringLiteral("PDF")))
                screenshot(QStringLiteral("export-panel"));
            // The panel is a pop-up, which the accessibility tree leaves out: reach the format
            // button from the keyboard, starting on the chosen quality (Balanced).
            for (int i = 0; i < e.tabs; ++i)
                key(QStringLiteral("Tab"));
            key(QStringLiteral("space"));
            dialog = waitForWindow(e.dialog);
            QVERIFY2(!dialog.isEmpty(), qPrintable(e.dialog));
            typeIntoFileDialog(dialog, e.path);
            const QString report = waitForWindow(QStringLiteral("^Trovix$"), 30000);
            QVERIFY2(!report.isEmpty(), "no export report");
            if (e.button.startsWith(QStringLiteral("PDF"))) {
                QTest::qWait(300);
                screenshot(QStringLiteral("export-report"));
            }
            const QString message = QStringLiteral("Exported “%1”").arg(e.reported);
            QVERIFY2(!findOnScreen(app->pid(), message).isEmpty(), qPrintable(message));
            activate(report);
            key(QStringLiteral("Escape")); // "Done"
            QVERIFY(waitForWindowGone(QStringLiteral("^Trovix$")));
        }

        // What the exports left on disk.
        QProcess pdfinfo;
        pdfinfo.start(QStringLiteral("pdfinfo"), {out + "/Demo.pdf"});
        QVERIFY(pdfinfo.waitForFinished(10000));
        const QString info = QString::fromUtf8(pdfinfo.readAllStandardOutput());
        QVERIFY2(info.contains(QRegularExpression(QStringLiteral("Pages:\\s+[1-9]"))), qPrintable(info));
        QVERIFY2(info.contains(QRegularExpression(QStringLiteral("Title:\\s+Demo\\n"))), qPrintable(info));

        QFile html(out + "/Demo.html");
        QVERIFY(html.open(QIODevice::ReadOnly));
        const QByteArray page = html.readAll();
        QVERIFY(page.contains("Choose “Settings”"));
        QCOMPARE(page.count("data:image/jpeg;base64,"), 3);

        QFile markdown(out + "/md/Demo/guide.md");
        QVERIFY(markdown.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(markdown.readAll());
        QVERIFY(
            text.startsWith(QStringLiteral("# Demo\n\n## 1. Open the menu\n\n![Step 1](images/step-1.jpg)")));
        for (int i = 1; i <= 3; ++i)
            QVERIFY(QFile::exists(out + QStringLiteral("/md/Demo/images/step-%1.jpg").arg(i)));

        activate(window);
        key(QStringLiteral("ctrl+q"));
        QVERIFY(app->waitForExit());
    }
};

QTEST_MAIN(EndToEndTest)
#include "test_end_to_end.moc"
