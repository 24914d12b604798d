#include "AppTestSupport.h"

#include "app/ExportCommand.h"
#include "support/FakeDialogs.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QKeyEvent>
#include <QLineEdit>
#include <QProgressDialog>
#include <QSettings>
#include <QTest>
#include <QTimer>

using namespace trovix;
using namespace trovix::testing;

namespace {

QString scratch(const QString& name) {
    const QString path = QDir(qEnvironmentVariable("TROVIX_TEST_TMP")).filePath(name);
    QDir().mkpath(path);
    return path;
}

qint64 sumOfFiles(const QString& folder) {
    qint64 total = 0;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        total += QFileInfo(it.next()).size();
    return total;
}

struct Fixture {
    FakeDialogs dialogs;
    Guide guide;
    ExportCommand command;
    QStringList revealed;

    explicit Fixture(const QString& title, int steps = 2) {
        fill(guide, steps, title);
        command.setReveal([this](const QString& path) { revealed.append(path); });
    }
};

} // namespace

class ExportCommandTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
    }

    void init() { QSettings().clear(); }

    void html_proposesTheRawTitle_writesTheFile_andReportsIt() {
        Fixture f(QStringLiteral("Release: 1/2"));
        const QString file = scratch("html") + "/Release.html";
        f.dialogs.answerSave(file);
        f.dialogs.answerAlert(0); // Show in File Manager
        f.command.exportGuide(f.guide, ExportFormat::html, nullptr);

        const Dialogs::SavePanel& panel = f.dialogs.asked[0].save;
        QCOMPARE(panel.proposedName, QStringLiteral("Release: 1/2.html"));
        QCOMPARE(panel.suffixes, QStringList{"html"});
        QVERIFY(QFileInfo(file).size() > 0);
        QVERIFY(QFile(file).open(QIODevice::ReadOnly));

        // The report: the file's name, its size and the quality (absent setting: Balanced).
        const Dialogs::Alert& report = f.dialogs.asked[1].alert;
        QCOMPARE(report.message, QStringLiteral("Exported “Release.html”"));
        QCOMPARE(report.informativeText, ExportCommand::sizeText(QFileInfo(file).size()) +
                                             QStringLiteral(" · Balanced image quality"));
        QCOMPARE(report.buttons, (QStringList{"Show in File Manager", "Done"}));
        QCOMPARE(f.revealed, QStringList{file});
        QVERIFY(f.dialogs.unexpected.isEmpty());
    }

    void markdown_createsTheSafelyNamedFolder_andReportsEverythingWritten() {
        QSettings().setValue(QStringLiteral("exportQuality"), QStringLiteral("full"));
        Fixture f(QStringLiteral("Release: 1/2"), 3);
        const QString parent = scratch("md");
        f.dialogs.answerOpen(parent);
        f.dialogs.answerAlert(1); // Done
        f.command.exportGuide(f.guide, ExportFormat::markdown, nullptr);

        const Dialogs::OpenPanel& panel = f.dialogs.asked[0].open;
        QCOMPARE(panel.prompt, QStringLiteral("Export Here"));
        QCOMPARE(panel.title, QStringLiteral("Choose where to create the guide folder"));
        QVERIFY(panel.chooseDirectories);
        QVERIFY(panel.canCreateDirectories);

        const QString folder = parent + "/Release- 1-2";
        QVERIFY(QFile::exists(folder + "/guide.md"));
        QVERIFY(QFile::exists(folder + "/images/step-3.png"));
        const Dialogs::Alert& report = f.dialogs.asked[1].alert;
        QCOMPARE(report.message, QStringLiteral("Exported “Release- 1-2”"));
        QCOMPARE(report.informativeText, ExportCommand::sizeText(sumOfFiles(folder)) +
                                             QStringLiteral(" · Full quality image quality"));
        QVERIFY(f.revealed.isEmpty()); // "Done" reveals nothing
    }

    void cancelledDialogs_writeNothingAndSayNothing() {
        Fixture f(QStringLiteral("Quiet"));
        const QString dir = scratch("cancel");
        for (ExportFormat format : allExportFormats) {
            if (format == ExportFormat::markdown)
                f.dialogs.answerOpen({});
            else
                f.dialogs.answerSave({});
            f.command.exportGuide(f.guide, format, nullptr);
        }
        QCOMPARE(f.dialogs.asked.size(), 3);
        QCOMPARE(f.dialogs.count(FakeDialogs::Kind::alert), 0);
        QVERIFY(QDir(dir).isEmpty());
        QVERIFY(f.dialogs.unexpected.isEmpty());
    }

    void writerFailure_isShownAsAnError_withoutAReport() {
        Fixture f(QStringLiteral("Doomed"));
        QFile blocker(scratch("fail") + "/not-a-folder");
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        f.dialogs.answerSave(blocker.fileName() + "/Doomed.pdf");
        f.dialogs.answerAlert(0);
        f.command.exportGuide(f.guide, ExportFormat::pdf, nullptr);
        QCOMPARE(f.dialogs.count(FakeDialogs::Kind::alert), 1);
        const Dialogs::Alert& error = f.dialogs.asked.last().alert;
        QVERIFY(!error.message.startsWith(QStringLiteral("Exported")));
        QVERIFY2(error.message.contains(QStringLiteral("Doomed.pdf")), qPrintable(error.message));
        QCOMPARE(error.style, Dialogs::Style::critical);
        QVERIFY(!f.command.isRunning());
    }

    void export_showsItsProgress_andBlocksInputMeanwhile() {
        Fixture f(QStringLiteral("Long"), 0);
        QList<Step> steps;
        for (int i = 0; i < 4; ++i)
            steps.append(colouredStep(QStringLiteral("Step %1").arg(i), QColor::fromHsv(i * 30, 200, 200),
                                      1600, 1000));
        f.guide.setSteps(steps);
        f.command.setProgressDelay(0); // as if it had run for half a second already

        QLineEdit field;
        field.show();
        QString progressLabel;
        QTimer probe;
        probe.setInterval(5);
        QObject::connect(&probe, &QTimer::timeout, [&] {
            for (QWidget* widget : QApplication::topLevelWidgets())
                if (auto* progress = qobject_cast<QProgressDialog*>(widget);
                    progress && progress->isVisible())
                    progressLabel = progress->labelText();
            QKeyEvent key(QEvent::KeyPress, Qt::Key_X, Qt::NoModifier, QStringLiteral("x"));
            QApplication::sendEvent(&field, &key);
        });
        probe.start();
        f.dialogs.answerSave(scratch("long") + "/Long.pdf");
        f.dialogs.answerAlert(1);
        f.command.exportGuide(f.guide, ExportFormat::pdf, nullptr);
        probe.stop();
        QCOMPARE(progressLabel, QStringLiteral("Exporting “Long.pdf”…"));
        QVERIFY(field.text().isEmpty()); // typing went nowhere while the export ran
        QCOMPARE(f.dialogs.alertMessages(), QStringList{"Exported “Long.pdf”"});

        // Afterwards input flows again.
        QKeyEvent key(QEvent::KeyPress, Qt::Key_X, Qt::NoModifier, QStringLiteral("x"));
        QApplication::sendEvent(&field, &key);
        QCOMPARE(field.text(), QStringLiteral("x"));
    }

    void sizes_countEveryFileBelowAFolder_andFormatInSIUnits() {
        const QString dir = scratch("sizes/a/b");
        QFile one(dir + "/one");
        QVERIFY(one.open(QIODevice::WriteOnly));
        one.write(QByteArray(1500, 'x'));
        one.close();
        QFile two(scratch("sizes") + "/two");
        QVERIFY(two.open(QIODevice::WriteOnly));
        two.write(QByteArray(500, 'x'));
        two.close();
        QCOMPARE(ExportCommand::sizeOnDisk(scratch("sizes")), 2000);
        QCOMPARE(ExportCommand::sizeOnDisk(two.fileName()), 500);
        QCOMPARE(ExportCommand::sizeOnDisk(scratch("sizes") + "/missing"), 0);
        QCOMPARE(ExportCommand::sizeText(2'400'000), QStringLiteral("2.4 MB"));
        QCOMPARE(ExportCommand::sizeText(823'456), QStringLiteral("823 kB"));
    }
};

QTEST_MAIN(ExportCommandTest)
#include "test_export_command.moc"
