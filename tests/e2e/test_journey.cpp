// A user's whole journey with the real trovix executable, next to a real third-party application
// (gtk3-widget-factory), driven only through xdotool: a first launch with nothing kept, two region
// captures, three recorded clicks, reordering and deleting steps, annotating one step, saving into
// the library, quitting and relaunching, a second launch handing a folder over, opening from the
// library and exporting all three formats. Every file left on disk is then read back.
//
// With TROVIX_SHOTS set to a folder, a screenshot of every window on the way is saved there, in
// order (01-…png).

#include "../recorder/WidgetFactory.h"
#include "DesktopDriver.h"
#include "support/TestFiles.h"

#include "document/Error.h"
#include "document/GuideStore.h"
#include "library/Library.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace trovix;
using namespace trovix::testing;
using namespace trovix::desktop;

namespace {

const QString inFactory = QStringLiteral(" in Widget Factory");
// What the window manager's title adds to a window's own title.
const QString suffix = QStringLiteral(" — Trovix");

QString clickTitle(const QString& control) {
    return QStringLiteral("Click “%1”").arg(control) + inFactory;
}

int shotNumber = 0;

// The next screenshot of the journey, numbered so that the folder lists them in order.
void shot(const QString& name) {
    screenshot(QStringLiteral("%1-%2").arg(++shotNumber, 2, 10, QLatin1Char('0')).arg(name));
}

// The step titles of the working copy, as the application last wrote them.
QStringList workingTitles() {
    QStringList titles;
    const QJsonArray steps = readJson(GuideStore::workingDir() + "/guide.json").value("steps").toArray();
    for (const QJsonValue& step : steps)
        titles.append(step.toObject().value("title").toString());
    return titles;
}

// Whether the control called `name` is enabled; nullopt when there is none.
std::optional<bool> isEnabled(qint64 pid, const QString& name) {
    const auto found = findAccessible(pid, [&](const QString& n) { return n == name; });
    return found ? std::optional<bool>(found->enabled) : std::nullopt;
}

QString run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(30000) || process.exitCode() != 0)
        return {};
    return QString::fromUtf8(process.readAllStandardOutput());
}

} // namespace

class JourneyTest : public QObject {
    Q_OBJECT

    WidgetFactory m_factory;
    std::unique_ptr<Running> m_app;
    QString m_window; // the main window
    QString m_saved;  // the guide folder saved into the library
    QString m_out;    // where the exports go

    // The main window in front, its title settled to `title` (no edited mark when clean).
    bool mainWindowShows(const QString& title, bool dirty) {
        const QString expected = title + (dirty ? QStringLiteral("*") : QString()) + suffix;
        if (waitUntil([&] { return isViewable(m_window) && windowTitle(m_window) == expected; }, 15000))
            return true;
        qWarning("main window: viewable %d, title “%s”, expected “%s”", isViewable(m_window),
                 qPrintable(windowTitle(m_window)), qPrintable(expected));
        return false;
    }

    bool workingCopyLists(const QStringList& titles) {
        if (waitUntil([&] { return workingTitles() == titles; }, 15000))
            return true;
        qWarning("working copy lists: %s", qPrintable(workingTitles().join(QStringLiteral(" | "))));
        return false;
    }

    // The screen rectangle of the step row showing this number and title, waiting for it.
    QRect row(int number, const QString& title) {
        const QString name = QStringLiteral("%1. %2").arg(number).arg(title);
        const QRect found = findOnScreen(m_app->pid(), name);
        if (!found.isEmpty())
            return found;
        qWarning("no row “%s”; names: %s", qPrintable(name),
                 qPrintable(accessibleNames(m_app->pid()).join(QStringLiteral(" | "))));
        return {};
    }

    // The widget factory's window on the screen.
    QRect factoryFrame() {
        const QString windows =
            xdotool({"search", "--onlyvisible", "--pid", QString::number(m_factory.pid())});
        return windowGeometry(windows.split(u'\n').value(0));
    }

    // Drags out a region on the capture overlay that the hot key brings up.
    bool captureRegion(const QRect& region, bool withShot) {
        key(QStringLiteral("ctrl+alt+s"));
        if (waitForTitled(QStringLiteral("Trovix Capture")).isEmpty())
            return false;
        QTest::qWait(300);
        drag(region.topLeft(), region.bottomRight(), [&] {
            if (withShot)
                shot(QStringLiteral("overlay-selecting"));
        });
        return waitForTitledGone(QStringLiteral("Trovix Capture"));
    }

    bool m_broken = false; // a step of the journey failed: the ones after it cannot run

private Q_SLOTS:
    void init() {
        if (m_broken)
            QSKIP("an earlier step of the journey failed");
    }

    void cleanup() {
        if (QTest::currentTestFailed())
            m_broken = true;
    }

    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
        QVERIFY2(QFileInfo(trovixBinary()).isExecutable(), qPrintable(trovixBinary()));
        QVERIFY2(!QFileInfo::exists(GuideStore::workingDir()), "the test needs a first launch");
        initAccessibility();
        QVERIFY2(m_factory.start(), qPrintable(m_factory.error()));
        m_out = tmp(QStringLiteral("out"));
        QVERIFY(QDir().mkpath(m_out + "/md"));
    }

    void firstLaunch_showsAnEmptyGuide() {
        m_app = std::make_unique<Running>();
        m_window = waitForTitled(QStringLiteral("Untitled guide"));
        QVERIFY2(!m_window.isEmpty(), "no main window");
        activate(m_window);
        QVERIFY(!findOnScreen(m_app->pid(), QStringLiteral("Capture a region or record clicks to add steps."))
                     .isEmpty());
        QCOMPARE(isEnabled(m_app->pid(), QStringLiteral("Export")), std::optional<bool>(false));
        shot(QStringLiteral("main-window-empty"));
    }

    void twoRegionCaptures_addSteps() {
        // From the main window: the overlay comes up, and the main window is back in front after.
        activate(m_window);
        const QRect factory = factoryFrame();
        QVERIFY2(factory.width() > 900 && factory.height() > 500,
                 qPrintable(QStringLiteral("%1 × %2").arg(factory.width()).arg(factory.height())));
        const QPoint corner = factory.topLeft() + QPoint(20, 20);
        QVERIFY(captureRegion(QRect(corner, corner + QPoint(660, 440)), true));
        QVERIFY(mainWindowShows(QStringLiteral("Untitled guide"), true));
        QVERIFY(workingCopyLists({QStringLiteral("Step 1")}));
        QCOMPARE(isEnabled(m_app->pid(), QStringLiteral("Export")), std::optional<bool>(true));

        // From the widget factory in front: afterwards Trovix steps aside for it.
        m_factory.activate();
        QTRY_VERIFY_WITH_TIMEOUT(!hasActiveWindow(m_app->pid()), 10000);
        const QPoint second = factory.topLeft() + QPoint(300, 100);
        QVERIFY(captureRegion(QRect(second, second + QPoint(560, 380)), false));
        QVERIFY(workingCopyLists({QStringLiteral("Step 1"), QStringLiteral("Step 2")}));
        QTRY_VERIFY_WITH_TIMEOUT(!isViewable(m_window), 10000);

        // Launching Trovix again brings the running one forward; the second process ends at once.
        Running again;
        QVERIFY(again.waitForExit());
        QCOMPARE(again.exitCode(), 0);
        QVERIFY(mainWindowShows(QStringLiteral("Untitled guide"), true));
        QTest::qWait(500); // thumbnails
        shot(QStringLiteral("main-window-steps"));
    }

    void recordedClicks_nameTheClickedControls() {
        const auto toggle = m_factory.find(QStringLiteral("toggle button"), QStringLiteral("togglebutton"));
        const auto check = m_factory.find(QStringLiteral("check box"), QStringLiteral("checkbutton"));
        const auto entry = m_factory.find(QStringLiteral("text"), QStringLiteral("entry"), 1);
        QVERIFY(toggle && check && entry);

        // Starting to record puts Trovix out of the way.
        activate(m_window);
        key(QStringLiteral("ctrl+alt+r"));
        QTRY_VERIFY_WITH_TIMEOUT(!isViewable(m_window), 10000);
        m_factory.activate();
        const QStringList before = workingTitles();
        QStringList expected = before;
        for (const auto& [control, name] :
             {std::pair{*toggle, QStringLiteral("togglebutton")},
              std::pair{*check, QStringLiteral("checkbutton")}, std::pair{*entry, QStringLiteral("entry")}}) {
            click(control.extents.center());
            expected.append(clickTitle(name));
            QVERIFY(workingCopyLists(expected));
            if (name == QLatin1String("checkbutton"))
                shot(QStringLiteral("recording-widget-factory"));
        }
        // Stopping brings the main window back.
        key(QStringLiteral("ctrl+alt+r"));
        QVERIFY(mainWindowShows(QStringLiteral("Untitled guide"), true));
        QVERIFY(!row(5, clickTitle(QStringLiteral("entry"))).isEmpty());
    }

    void reorderAndDelete_likeAUser() {
        activate(m_window);
        // Drag the last step above the first.
        const QRect last = row(5, clickTitle(QStringLiteral("entry")));
        const QRect first = row(1, QStringLiteral("Step 1"));
        QVERIFY(!last.isEmpty() && !first.isEmpty());
        drag(last.center(), QPoint(first.center().x(), first.top() + 4));
        QVERIFY(workingCopyLists({clickTitle(QStringLiteral("entry")), QStringLiteral("Step 1"),
                                  QStringLiteral("Step 2"), clickTitle(QStringLiteral("togglebutton")),
                                  clickTitle(QStringLiteral("checkbutton"))}));

        // Select "Step 2" and press Delete: the step after it becomes the selected one.
        // The rows are numbered by their new places at once.
        QVERIFY(!row(1, clickTitle(QStringLiteral("entry"))).isEmpty());
        click(row(3, QStringLiteral("Step 2")));
        QTest::qWait(300);
        key(QStringLiteral("Delete"));
        QVERIFY(workingCopyLists({clickTitle(QStringLiteral("entry")), QStringLiteral("Step 1"),
                                  clickTitle(QStringLiteral("togglebutton")),
                                  clickTitle(QStringLiteral("checkbutton"))}));
        QVERIFY(!row(3, clickTitle(QStringLiteral("togglebutton"))).isEmpty());

        // Name the guide in the sidebar's title field.
        QVERIFY(retype(m_app->pid(), QStringLiteral("Guide title"), QStringLiteral("Journey")));
        QVERIFY(mainWindowShows(QStringLiteral("Journey"), true));
    }

    void annotate_arrowAndPixelation() {
        activate(m_window);
        click(row(2, QStringLiteral("Step 1")));
        const QRect annotate = findOnScreen(m_app->pid(), QStringLiteral("Annotate…"));
        QVERIFY(!annotate.isEmpty());
        click(annotate);
        const QString editor = waitForTitled(QStringLiteral("Step 1"));
        QVERIFY2(!editor.isEmpty(), "no editor window");
        activate(editor);

        // The canvas starts under the tool bar, which holds the tool segments.
        const QRect arrow = findOnScreen(m_app->pid(), QStringLiteral("Arrow"));
        const QRect pixelate = findOnScreen(m_app->pid(), QStringLiteral("Pixelate"));
        QVERIFY(!arrow.isEmpty() && !pixelate.isEmpty());
        const QPoint canvas(arrow.left(), arrow.bottom() + 20);
        click(arrow);
        drag(canvas + QPoint(60, 60), canvas + QPoint(260, 200));
        click(pixelate);
        drag(canvas + QPoint(320, 40), canvas + QPoint(560, 180));
        QTest::qWait(300);
        shot(QStringLiteral("editor-arrow-pixelation"));
        // Renamed in the main window while its editor is open: Done keeps the new name.
        activate(m_window);
        QVERIFY(retype(m_app->pid(), QStringLiteral("Step title"), QStringLiteral("Open the lid")));
        activate(editor);
        key(QStringLiteral("Return")); // Done
        QTRY_VERIFY_WITH_TIMEOUT(!isViewable(editor), 15000);

        QTRY_VERIFY_WITH_TIMEOUT(
            [] {
                const QJsonArray steps =
                    readJson(GuideStore::workingDir() + "/guide.json").value("steps").toArray();
                return steps.size() == 4 &&
                       steps.at(1).toObject().value("annotations").toArray().size() == 2 &&
                       steps.at(1).toObject().value("title").toString() == QLatin1String("Open the lid");
            }(),
            15000);
    }

    void save_intoTheLibrary() {
        activate(m_window);
        key(QStringLiteral("ctrl+s"));
        const QString dialog = waitForWindow(QStringLiteral("Save this guide"));
        QVERIFY2(!dialog.isEmpty(), "no save dialog");
        QTest::qWait(500);
        shot(QStringLiteral("save-dialog"));
        // Only a name: the dialog starts in the library folder.
        typeIntoFileDialog(dialog, QStringLiteral("Journey"));
        m_saved = QDir(Library::folder()).filePath(QStringLiteral("Journey.trovix"));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_saved + "/thumbnail.jpg"), 15000);
        QVERIFY(mainWindowShows(QStringLiteral("Journey"), false));
    }

    void quitAndRelaunch_restoresTheGuideClean() {
        activate(m_window);
        key(QStringLiteral("ctrl+q"));
        QVERIFY(m_app->waitForExit());
        QCOMPARE(m_app->exitCode(), 0);
        const QJsonObject working = readJson(GuideStore::workingDir() + "/guide.json");
        QCOMPARE(working.value("sourcePath").toString(), m_saved);
        QCOMPARE(working.value("dirty").toBool(true), false);

        m_app = std::make_unique<Running>();
        m_window = waitForTitled(QStringLiteral("Journey"));
        QVERIFY2(!m_window.isEmpty(), "the relaunch did not restore the guide");
        QVERIFY(mainWindowShows(QStringLiteral("Journey"), false));
        QVERIFY(!row(4, clickTitle(QStringLiteral("checkbutton"))).isEmpty());
        // Still clean once the window's refresh has run.
        QTest::qWait(1000);
        QCOMPARE(windowTitle(m_window), QStringLiteral("Journey") + suffix);
    }

    void secondLaunch_handsItsFolderOver_thenLibraryOpensTheGuide() {
        const QString other = m_out + "/Other.trovix";
        {
            Guide guide;
            guide.replaceContents(QStringLiteral("Other"),
                                  {Step::make(Image(flat(320, 200, Qt::darkCyan)), 1, QStringLiteral("One")),
                                   Step::make(Image(flat(320, 200, Qt::darkRed)), 1, QStringLiteral("Two"))},
                                  {});
            GuideStore::write(guide, other, false);
        }
        // Written with a "." component, which names the same folder.
        Running second({m_out + "/./Other.trovix"});
        QVERIFY(second.waitForExit());
        QCOMPARE(second.exitCode(), 0);
        QVERIFY(mainWindowShows(QStringLiteral("Other"), false));
        QVERIFY(m_app->isRunning());

        activate(m_window);
        key(QStringLiteral("shift+ctrl+l"));
        const QString library = waitForTitled(QStringLiteral("Guides Library"));
        QVERIFY2(!library.isEmpty(), "no library window");
        // The listing arrives from a background scan: one card, the saved guide.
        QTRY_VERIFY_WITH_TIMEOUT(
            !findAccessible(m_app->pid(), [](const QString& n) { return n == "No saved guides yet"; }),
            10000);
        // The first card of the grid: under the tool bar, the search row (12 + field + 12), the divider
        // and the grid's margin of 18 lies its 140-high picture.
        const QRect chooseFolder = findOnScreen(m_app->pid(), QStringLiteral("Choose Folder…"));
        QVERIFY(!chooseFolder.isEmpty());
        const QPoint card(chooseFolder.left() + 100, chooseFolder.bottom() + 60 + 18 + 70);
        QTest::qWait(300);
        shot(QStringLiteral("library-window"));
        moveTo(card);
        QTest::qWait(100);
        xdotool({"click", "--repeat", "2", "--delay", "80", "1"});
        QVERIFY(waitForTitledGone(QStringLiteral("Guides Library")));
        QVERIFY(mainWindowShows(QStringLiteral("Journey"), false));
    }

    void export_everyFormat() {
        struct Export {
            QString dialog, path, reported, shotName;
            int tabs;
        };
        const QList<Export> exports{
            {QStringLiteral("Choose where to create"), m_out + "/md/", QStringLiteral("Journey"), {}, 2},
            {QStringLiteral("Export as HTML"),
             m_out + "/Journey.html",
             QStringLiteral("Journey.html"),
             {},
             3},
            {QStringLiteral("Export as PDF"), m_out + "/Journey.pdf", QStringLiteral("Journey.pdf"),
             QStringLiteral("export"), 4},
            {QStringLiteral("Export as Word Document"),
             m_out + "/Journey.docx",
             QStringLiteral("Journey.docx"),
             {},
             5},
            {QStringLiteral("Export as OpenDocument Text"),
             m_out + "/Journey.odt",
             QStringLiteral("Journey.odt"),
             {},
             6},
        };
        for (const Export& e : exports) {
            activate(m_window);
            const QRect exportButton = findOnScreen(m_app->pid(), QStringLiteral("Export"));
            QVERIFY2(!exportButton.isEmpty(), "no Export button on the accessibility bus");
            click(exportButton);
            QTest::qWait(500);
            if (!e.shotName.isEmpty())
                shot(e.shotName + "-panel");
            // The panel is a pop-up, which the accessibility tree leaves out: reach the format button
            // from the keyboard, starting on the chosen quality (Balanced).
            for (int i = 0; i < e.tabs; ++i)
                key(QStringLiteral("Tab"));
            key(QStringLiteral("space"));
            const QString dialog = waitForWindow(e.dialog);
            QVERIFY2(!dialog.isEmpty(), qPrintable(e.dialog));
            typeIntoFileDialog(dialog, e.path);
            const QString report = waitForWindow(QStringLiteral("^Trovix$"), 30000);
            QVERIFY2(!report.isEmpty(), "no export report");
            const QString message = QStringLiteral("Exported “%1”").arg(e.reported);
            QVERIFY2(!findOnScreen(m_app->pid(), message).isEmpty(), qPrintable(message));
            if (!e.shotName.isEmpty()) {
                QTest::qWait(300);
                shot(e.shotName + "-report");
            }
            activate(report);
            key(QStringLiteral("Escape")); // "Done"
            QVERIFY(waitForWindowGone(QStringLiteral("^Trovix$")));
        }
    }

    void filesOnDisk_matchTheGuide() {
        const QStringList titles{clickTitle(QStringLiteral("entry")), QStringLiteral("Open the lid"),
                                 clickTitle(QStringLiteral("togglebutton")),
                                 clickTitle(QStringLiteral("checkbutton"))};

        // The guide folder: titles in order, the marks of each step, one PNG per step, a thumbnail.
        LoadedGuide saved;
        try {
            saved = GuideStore::read(m_saved);
        } catch (const Error& error) {
            QFAIL(qPrintable(error.message()));
        }
        QCOMPARE(saved.title, QStringLiteral("Journey"));
        QStringList savedTitles;
        for (const Step& step : saved.steps)
            savedTitles.append(step.title);
        QCOMPARE(savedTitles, titles);
        // The marks, read without the application's reader: the kinds' numbers, 7 target, 0 arrow,
        // 3 pixelation.
        const QJsonObject json = readJson(m_saved + "/guide.json");
        const QJsonArray jsonSteps = json.value("steps").toArray();
        QCOMPARE(jsonSteps.size(), 4);
        QList<QList<int>> jsonKinds;
        for (const QJsonValue& step : jsonSteps) {
            QList<int> stepKinds;
            for (const QJsonValue& mark : step.toObject().value("annotations").toArray())
                stepKinds.append(mark.toObject().value("kind").toInt(-1));
            jsonKinds.append(stepKinds);
        }
        QCOMPARE(jsonKinds, (QList<QList<int>>{{7}, {0, 3}, {7}, {7}}));
        // The arrow runs the way it was dragged, in the picture's points.
        const Annotation& arrow = saved.steps[1].annotations[0];
        QVERIFY2(arrow.p2.x() - arrow.p1.x() > 150 && arrow.p2.y() - arrow.p1.y() > 100,
                 qPrintable(QStringLiteral("%1,%2 → %3,%4")
                                .arg(arrow.p1.x())
                                .arg(arrow.p1.y())
                                .arg(arrow.p2.x())
                                .arg(arrow.p2.y())));
        // Region captures keep the dragged size; recorded clicks the whole screen.
        const QSize region = QImage(m_saved + "/" + saved.steps[1].imageName()).size();
        QVERIFY2(qAbs(region.width() - 660) <= 2 && qAbs(region.height() - 440) <= 2,
                 qPrintable(QStringLiteral("%1 × %2").arg(region.width()).arg(region.height())));
        QCOMPARE(QImage(m_saved + "/" + saved.steps[0].imageName()).size(), QSize(1920, 1080));
        QCOMPARE(QDir(m_saved).entryList({QStringLiteral("*.png")}, QDir::Files).size(), 4);
        const QImage thumbnail(m_saved + "/thumbnail.jpg");
        QCOMPARE(thumbnail.size(), QSize(640, 360)); // the first step, a whole screen, scaled down

        // Markdown and HTML (their exact text is checked elsewhere): every step with its picture.
        QFile markdown(m_out + "/md/Journey/guide.md");
        QVERIFY(markdown.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(markdown.readAll()).count(QStringLiteral("\n## ")), 4);
        QVERIFY(!QImage(m_out + "/md/Journey/images/step-4.jpg").isNull());
        QFile html(m_out + "/Journey.html");
        QVERIFY(html.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(html.readAll()).count(QStringLiteral("data:image/jpeg;base64,")), 4);

        // Word and OpenDocument (LibreOffice reads them in their own test): archives with every picture.
        for (const QString& picture :
             {"/Journey.docx:word/media/step-4.jpg", "/Journey.odt:Pictures/step-4.jpg"}) {
            QFile archive(m_out + picture.section(u':', 0, 0));
            QVERIFY(archive.open(QIODevice::ReadOnly));
            const QByteArray bytes = archive.readAll();
            QVERIFY(bytes.startsWith("PK\x03\x04") && bytes.contains(picture.section(u':', 1).toUtf8()));
        }

        // PDF, read back with poppler: the titles in order and the document's title (layout and footers are
        // the PDF export's test).
        const QString info = run(QStringLiteral("pdfinfo"), {m_out + "/Journey.pdf"});
        const QRegularExpressionMatch pages =
            QRegularExpression(QStringLiteral("Pages:\\s+(\\d+)")).match(info);
        QVERIFY2(pages.hasMatch(), qPrintable(info));
        QVERIFY2(pages.captured(1).toInt() >= 2, qPrintable(info)); // four steps, three of them whole screens
        QVERIFY2(info.contains(QRegularExpression(QStringLiteral("Title:\\s+Journey\\n"))), qPrintable(info));
        const QString text = run(QStringLiteral("pdftotext"), {m_out + "/Journey.pdf", QStringLiteral("-")});
        QVERIFY(text.startsWith(QStringLiteral("Journey")));
        qsizetype at = 0;
        for (const QString& title : titles) {
            const qsizetype found = text.indexOf(title, at);
            QVERIFY2(found >= at, qPrintable(title + "\n---\n" + text));
            at = found;
        }
        // pdftoppm draws each page: the pictures are really there, not blank pages.
        QVERIFY(
            run(QStringLiteral("pdftoppm"), {QStringLiteral("-png"), QStringLiteral("-r"),
                                             QStringLiteral("40"), m_out + "/Journey.pdf", m_out + "/page"})
                .isEmpty());
        const QImage page1(QDir(m_out).entryInfoList({QStringLiteral("page-*1.png")}).value(0).filePath());
        QVERIFY(!page1.isNull());

        if (!qEnvironmentVariable("TROVIX_SHOTS").isEmpty()) {
            const QString shots = qEnvironmentVariable("TROVIX_SHOTS");
            QProcess::execute(QStringLiteral("cp"),
                              {QStringLiteral("-r"), m_out + "/md/Journey", shots + "/guide-md"});
            QFile::copy(m_out + "/Journey.html", shots + "/Journey.html");
            QFile::copy(m_out + "/Journey.pdf", shots + "/Journey.pdf");
        }
    }

    void cleanupTestCase() {
        if (m_app && m_app->isRunning()) {
            activate(m_window);
            key(QStringLiteral("ctrl+q"));
            m_app->waitForExit();
        }
    }
};

QTEST_MAIN(JourneyTest)
#include "test_journey.moc"
