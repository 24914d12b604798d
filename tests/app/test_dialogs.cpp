#include "platform/dialogs/WidgetDialogs.h"

#include "support/FakeDialogs.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

using namespace trovix;

namespace {

// Runs `answer` on the first modal dialog of type T once it is up.
template <typename T>
void whenShown(std::function<void(T*)> answer) {
    auto* timer = new QTimer;
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, answer] {
        if (auto* dialog = qobject_cast<T*>(QApplication::activeModalWidget())) {
            timer->stop();
            timer->deleteLater();
            answer(dialog);
        }
    });
    timer->start();
}

QPushButton* buttonTitled(QWidget* dialog, const QString& title) {
    for (QPushButton* button : dialog->findChildren<QPushButton*>())
        if (button->text() == title)
            return button;
    return nullptr;
}

} // namespace

class DialogsTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void alert_answersTheIndexOfTheButtonChosen() {
        WidgetDialogs dialogs;
        const Dialogs::Alert question{
            QStringLiteral("Save changes to “Demo”?"),
            QStringLiteral("Your changes will be lost if you don’t save them."),
            {QStringLiteral("Save"), QStringLiteral("Don’t Save"), QStringLiteral("Cancel")},
            Dialogs::Style::warning,
            2};
        for (int i = 0; i < 3; ++i) {
            whenShown<QMessageBox>([&, i](QMessageBox* box) {
                QCOMPARE(box->text(), question.message);
                QCOMPARE(box->informativeText(), question.informativeText);
                QCOMPARE(box->defaultButton(), buttonTitled(box, QStringLiteral("Save")));
                buttonTitled(box, question.buttons[i])->click();
            });
            QCOMPARE(dialogs.alert(nullptr, question), i);
        }

        // Escape answers the cancel button.
        whenShown<QMessageBox>([](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); });
        QCOMPARE(dialogs.alert(nullptr, question), 2);
    }

    void savePanel_proposesTheNameAndAnswersThePathOrNothing() {
        WidgetDialogs dialogs;
        const QString dir = qEnvironmentVariable("TROVIX_TEST_TMP");
        const Dialogs::SavePanel panel{
            QStringLiteral("Export"), dir, QStringLiteral("Release: 1/2.html"), {QStringLiteral("html")}, {}};
        whenShown<QFileDialog>([&](QFileDialog* dialog) {
            QCOMPARE(dialog->directory().absolutePath(), QDir(dir).absolutePath());
            auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            QVERIFY(name);
            // A slash cannot be part of a file name; the colon can.
            QCOMPARE(name->text(), QStringLiteral("Release: 1-2.html"));
            name->setText(QStringLiteral("Guide"));
            QMetaObject::invokeMethod(dialog, "accept");
        });
        QCOMPARE(dialogs.save(nullptr, panel), QDir(dir).filePath(QStringLiteral("Guide.html")));

        whenShown<QFileDialog>([](QFileDialog* dialog) { dialog->reject(); });
        QCOMPARE(dialogs.save(nullptr, panel), QString());
    }

    void savePanel_treatsAnExistingGuideFolderAsTheDocument() {
        WidgetDialogs dialogs;
        const QString dir = qEnvironmentVariable("TROVIX_TEST_TMP");
        QVERIFY(QDir(dir).mkpath(QStringLiteral("Demo.trovix")));
        const Dialogs::SavePanel panel{
            QStringLiteral("Save"), dir, QStringLiteral("Demo"), {QStringLiteral("trovix")}, {}};
        for (const QString& answer : {QStringLiteral("Cancel"), QStringLiteral("Replace")}) {
            whenShown<QFileDialog>([&](QFileDialog* dialog) {
                // Saving over the folder asks first instead of opening it.
                whenShown<QMessageBox>([dialog, answer, dir](QMessageBox* box) {
                    QCOMPARE(box->text(),
                             QStringLiteral("“Demo.trovix” already exists. Do you want to replace it?"));
                    buttonTitled(box, answer)->click();
                    if (answer == QStringLiteral("Cancel")) {
                        QCOMPARE(dialog->directory().absolutePath(), QDir(dir).absolutePath());
                        dialog->reject();
                    }
                });
                QMetaObject::invokeMethod(dialog, "accept", Qt::QueuedConnection);
            });
            const QString chosen = dialogs.save(nullptr, panel);
            QCOMPARE(chosen, answer == QStringLiteral("Replace")
                                 ? QDir(dir).filePath(QStringLiteral("Demo.trovix"))
                                 : QString());
        }
    }

    void current_isTheInstalledDialogsUntilRemoved() {
        Dialogs* widgets = &Dialogs::current();
        QVERIFY(dynamic_cast<WidgetDialogs*>(widgets));
        {
            FakeDialogs fake;
            QCOMPARE(&Dialogs::current(), static_cast<Dialogs*>(&fake));
            fake.answerAlert(1);
            QCOMPARE(Dialogs::current().alert(nullptr, {QStringLiteral("A"), {}, {}, {}, -1}), 1);
            // Nothing queued: recorded as unexpected and answered as a cancel.
            QCOMPARE(Dialogs::current().save(nullptr, {}), QString());
            QCOMPARE(fake.unexpected.size(), 1);
        }
        QCOMPARE(&Dialogs::current(), widgets);
    }
};

QTEST_MAIN(DialogsTest)
#include "test_dialogs.moc"
