#include "WidgetFactory.h"
#include "document/Guide.h"
#include "document/GuideStore.h"
#include "export/Exporter.h"
#include "recorder/Recorder.h"
#include "support/Xdotool.h"

#include <QAccessible>
#include <QApplication>
#include <QDirIterator>
#include <QLineEdit>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

const QString app = QStringLiteral(" in Widget Factory");

// A window of entry_window.py: one entry, named on the accessibility bus, or with the bridge off.
struct EntryWindow {
    QProcess process;
    EntryWindow(const QString& title, const QString& name, bool password, bool accessible = true) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!accessible)
            environment.insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
        process.setProcessEnvironment(environment);
        QStringList arguments{QStringLiteral(TROVIX_ENTRY_WINDOW), title, name};
        if (password)
            arguments << QStringLiteral("password");
        process.start(QStringLiteral("/usr/bin/python3"), arguments);
        // Shown and given the keyboard, as a click on it would.
        xdotool({QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--name"), title,
                 QStringLiteral("windowactivate"), QStringLiteral("--sync")});
        QTest::qWait(1000);
    }
    ~EntryWindow() {
        process.kill();
        process.waitForFinished();
    }
};

// xdotool with the event loop running, as a user types while Trovix goes on working.
void live(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning, 30000);
    QVERIFY2(process.exitCode() == 0, qPrintable(arguments.join(' ')));
}

bool anyFileHolds(const QString& folder, const QByteArray& secret) {
    QDirIterator files(folder, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (file.open(QIODevice::ReadOnly) && file.readAll().contains(secret))
            return true;
    }
    return false;
}

} // namespace

class TypingX11Test : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        // The letters the test types get keys of their own, as on a keyboard that has them: xdotool
        // would otherwise lend each a key for a moment, and a busy application may read that key
        // after it was given back.
        QCOMPARE(QProcess::execute("xmodmap", {"-e", "keycode 200 = udiaeresis", "-e", "keycode 201 = ssharp",
                                               "-e", "keycode 202 = U6771", "-e", "keycode 203 = U4EAC"}),
                 0);
        QVERIFY2(m_factory.start(), qPrintable(m_factory.error()));
        m_factory.activate();
        QVERIFY(m_recorder.start());
    }

    // A click into an entry, typing with a correction and non-Latin text, then Tab: one step, the
    // typing's, titled with what the entry holds and framing it, its picture showing the text.
    void clickAndTypingIntoEntry_makeOneStep() {
        std::optional<WidgetFactory::Control> entry;
        for (const WidgetFactory::Control& control : m_factory.controls())
            if (!entry && control.role == QLatin1String("text") && control.text.isEmpty())
                entry = control;
        QVERIFY(entry);
        const QPoint centre = entry->extents.center();
        xdotool({"mousemove", QString::number(centre.x()), QString::number(centre.y()), "click", "1"});
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), 1, 15000);
        const QImage empty = m_guide.steps().first().base.pixels().copy(entry->extents);
        QTest::qWait(300);
        live({"type", "--delay", "60", "Grüßx"});
        live({"key", "BackSpace"});
        live({"type", "--delay", "60", "e, 東京"});
        live({"key", "Tab"});
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().last().title, QStringLiteral("Type “Grüße, 東京”") + app,
                                  15000);
        QCOMPARE(m_guide.steps().size(), 1);
        const Step& step = m_guide.steps().first();
        QCOMPARE(step.note, QString());
        QCOMPARE(step.annotations.size(), 1);
        QCOMPARE(step.annotations.first().kind, Kind::target);
        QCOMPARE(step.annotations.first().p1, QPointF(entry->extents.topLeft()));
        QVERIFY(step.base.pixels().copy(entry->extents) != empty);

        // Ctrl+A is a step of its own; Trovix's own Ctrl+Alt+S and lone arrows are none.
        live({"key", "ctrl+a", "ctrl+alt+s", "Left", "Right"});
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), 2, 15000);
        QTest::qWait(800);
        QCOMPARE(m_guide.steps().size(), 2);
        QCOMPARE(m_guide.steps().last().title, QStringLiteral("Press Ctrl+A") + app);
        QVERIFY(m_guide.steps().last().annotations.isEmpty());

        // Keys in Trovix's own windows are Trovix's business.
        QLineEdit own;
        own.setWindowTitle(QStringLiteral("Trovix"));
        own.setGeometry(100, 900, 300, 40);
        own.show();
        own.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&own));
        live({"type", "own"});
        live({"key", "ctrl+b", "Tab"});
        QTest::qWait(800);
        QCOMPARE(own.text(), QStringLiteral("own"));
        QCOMPARE(m_guide.steps().size(), 2);
    }

    // What a password entry holds goes into no title, note, saved folder or export (any of the five
    // formats), and the entry is covered in the picture. Trovix's own windows moving their focus
    // meanwhile (a step arrives in its list) neither cut the typing in two nor stand in for the field.
    void passwordEntry_textGoesNowhere() {
        const QByteArray secret = "Hunter2-Zebra";
        const qsizetype before = m_guide.steps().size();
        QLineEdit own;
        own.setGeometry(100, 900, 300, 40);
        own.show();
        {
            EntryWindow window(QStringLiteral("Sign in"), QStringLiteral("Password"), true);
            live({"type", "--delay", "30", QString::fromLatin1(secret.left(6))});
            QAccessibleEvent focus(&own, QAccessible::Focus);
            QAccessible::updateAccessibility(&focus);
            QTest::qWait(300);
            live({"type", "--delay", "30", QString::fromLatin1(secret.mid(6))});
            live({"key", "Return"});
            QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 1, 15000);
        }
        const Step& step = m_guide.steps().last();
        QCOMPARE(step.title, QStringLiteral("Type the password in “Password”"));
        QCOMPARE(step.redactions.size(), 1);
        QCOMPARE(step.redactions.first().kind, SecretKind::password);

        QTemporaryDir out;
        GuideStore::write(m_guide, out.filePath("working"), true);
        GuideStore::write(m_guide, out.filePath("Saved.trovix"), false);
        QVERIFY(!Exporter::writeMarkdown(m_guide, ExportQuality::full, out.path()).files.isEmpty());
        QVERIFY(
            !Exporter::writeHtml(m_guide, ExportQuality::full, out.filePath("guide.html")).files.isEmpty());
        QVERIFY(!Exporter::writePdf(m_guide, ExportQuality::full, out.filePath("guide.pdf")).files.isEmpty());
        // The office documents' parts are compressed: they are searched unpacked.
        for (const ExportFormat format : {ExportFormat::docx, ExportFormat::odt}) {
            const QString file = out.filePath(format == ExportFormat::docx ? "guide.docx" : "guide.odt");
            QVERIFY(!Exporter::write(format, m_guide.title(), m_guide.steps(), ExportQuality::full, file)
                         .files.isEmpty());
            QCOMPARE(QProcess::execute("python3", {"-c",
                                                   "import sys, zipfile; z = zipfile.ZipFile(sys.argv[1]); "
                                                   "open(sys.argv[1] + '.parts', 'wb').write(b''.join("
                                                   "z.read(n) for n in z.namelist()))",
                                                   file}),
                     0);
            QVERIFY(QFile(file + ".parts").size() > 0);
        }
        QProcess pdf;
        pdf.start("pdftotext", {out.filePath("guide.pdf"), out.filePath("guide.txt")});
        QVERIFY(pdf.waitForFinished() && pdf.exitCode() == 0);
        QVERIFY(QFile(out.filePath("guide.txt")).size() > 0);
        QVERIFY(!anyFileHolds(out.path(), secret));
    }

    // Where the field cannot be read, the keys themselves are the text: 200 of them at 50 a second
    // arrive all and in order.
    void keysInAnUnreadableField_arriveAllInOrder() {
        QString typed;
        for (int i = 0; i < 200; ++i)
            typed += QChar(u'a' + (i * 7) % 26);
        const qsizetype before = m_guide.steps().size();
        EntryWindow window(QStringLiteral("Plain"), QStringLiteral("Plain"), false, false);
        live({"type", "--delay", "20", typed});
        live({"key", "Tab"});
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 1, 15000);
        QCOMPARE(m_guide.steps().last().note, typed);
        QVERIFY(m_guide.steps().last().title.startsWith(QStringLiteral("Type “") + typed.left(78) +
                                                        QChar(0x2026)));
    }

private:
    WidgetFactory m_factory;
    Guide m_guide;
    Recorder m_recorder{m_guide, Recorder::systemServices(5000)};
};

QTEST_MAIN(TypingX11Test)
#include "test_typing_x11.moc"
