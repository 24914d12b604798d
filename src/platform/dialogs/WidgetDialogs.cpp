#include "platform/dialogs/WidgetDialogs.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

namespace trovix {

namespace {

Dialogs* installed = nullptr;

WidgetDialogs& widgetDialogs() {
    static WidgetDialogs dialogs;
    return dialogs;
}

QMessageBox::Icon iconFor(Dialogs::Style style) {
    switch (style) {
    case Dialogs::Style::informational:
        return QMessageBox::Information;
    case Dialogs::Style::warning:
        return QMessageBox::Warning;
    case Dialogs::Style::critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

QString applicationTitle() {
    const QString name = QGuiApplication::applicationDisplayName();
    return name.isEmpty() ? QStringLiteral("Trovix") : name;
}

} // namespace

Dialogs& Dialogs::current() {
    return installed ? *installed : widgetDialogs();
}

void Dialogs::setCurrent(Dialogs* dialogs) {
    installed = dialogs;
}

int WidgetDialogs::alert(QWidget* parent, const Alert& alert) {
    QMessageBox box(parent);
    box.setWindowModality(Qt::ApplicationModal);
    box.setWindowTitle(applicationTitle());
    box.setIcon(iconFor(alert.style));
    box.setText(alert.message);
    box.setInformativeText(alert.informativeText);
    box.setTextFormat(Qt::PlainText);

    const QStringList titles = alert.buttons.isEmpty()
                                   ? QStringList{QCoreApplication::translate("trovix::WidgetDialogs", "OK")}
                                   : alert.buttons;
    QList<QAbstractButton*> buttons;
    for (int i = 0; i < titles.size(); ++i) {
        // The roles only decide where the platform's button layout puts each button; the first is
        // always the default, the cancel button answers Escape.
        QMessageBox::ButtonRole role = QMessageBox::ActionRole;
        if (i == 0)
            role = QMessageBox::AcceptRole;
        else if (i == alert.cancelButton)
            role = QMessageBox::RejectRole;
        buttons.append(box.addButton(titles[i], role));
    }
    box.setDefaultButton(qobject_cast<QPushButton*>(buttons.first()));
    if (alert.cancelButton >= 0 && alert.cancelButton < buttons.size())
        box.setEscapeButton(buttons[alert.cancelButton]);
    else if (buttons.size() == 1)
        box.setEscapeButton(buttons.first());

    // The message in bold above the smaller explanation, and room for both on one line each.
    if (auto* label = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"))) {
        QFont bold = label->font();
        bold.setBold(true);
        label->setFont(bold);
    }
    if (auto* grid = qobject_cast<QGridLayout*>(box.layout()))
        grid->addItem(new QSpacerItem(360, 0, QSizePolicy::Minimum, QSizePolicy::Fixed), grid->rowCount(), 0,
                      1, grid->columnCount());

    box.exec();
    const int chosen = buttons.indexOf(box.clickedButton());
    if (chosen >= 0)
        return chosen;
    return alert.cancelButton;
}

QString WidgetDialogs::usableName(const QString& proposed) {
    QString name = proposed;
    name.replace(u'/', u'-');
    return name;
}

namespace {

// A save dialog for documents that may be folders (a guide is a folder named "….trovix"): choosing
// an existing one means saving over it, after asking, rather than opening it as a folder.
class SaveDialog : public QFileDialog {
public:
    SaveDialog(QWidget* parent, const Dialogs::SavePanel& panel)
        : QFileDialog(parent, panel.title, panel.directory)
        , m_suffixes(panel.suffixes) {
        // Qt's own dialog, so that the rule above holds on every desktop.
        setOption(QFileDialog::DontUseNativeDialog);
    }

    QString chosen() const {
        return m_chosen.isEmpty() && !selectedFiles().isEmpty() ? selectedFiles().first() : m_chosen;
    }

    void accept() override {
        const QString path = selectedFiles().value(0);
        const QFileInfo info(path);
        if (info.isDir() && m_suffixes.contains(info.suffix())) {
            QMessageBox ask(QMessageBox::Warning, windowTitle(),
                            QCoreApplication::translate("trovix::WidgetDialogs",
                                                        "“%1” already exists. Do you want to replace it?")
                                .arg(info.fileName()),
                            QMessageBox::NoButton, this);
            QAbstractButton* replace = ask.addButton(
                QCoreApplication::translate("trovix::WidgetDialogs", "Replace"), QMessageBox::AcceptRole);
            ask.addButton(QCoreApplication::translate("trovix::WidgetDialogs", "Cancel"),
                          QMessageBox::RejectRole);
            ask.setDefaultButton(qobject_cast<QPushButton*>(replace));
            ask.exec();
            if (ask.clickedButton() != replace)
                return;
            m_chosen = path;
            QDialog::accept();
            return;
        }
        QFileDialog::accept();
    }

private:
    QStringList m_suffixes;
    QString m_chosen;
};

} // namespace

QString WidgetDialogs::save(QWidget* parent, const SavePanel& panel) {
    SaveDialog dialog(parent, panel);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    if (!panel.suffixes.isEmpty()) {
        QStringList patterns;
        for (const QString& suffix : panel.suffixes)
            patterns.append(QStringLiteral("*.") + suffix);
        dialog.setNameFilter(panel.suffixes.first().toUpper() + QStringLiteral(" (") + patterns.join(u' ') +
                             u')');
        dialog.setDefaultSuffix(panel.suffixes.first());
    }
    if (!panel.prompt.isEmpty())
        dialog.setLabelText(QFileDialog::Accept, panel.prompt);
    if (!panel.proposedName.isEmpty())
        dialog.selectFile(usableName(panel.proposedName));
    if (dialog.exec() != QDialog::Accepted)
        return {};
    return dialog.chosen();
}

QString WidgetDialogs::open(QWidget* parent, const OpenPanel& panel) {
    QFileDialog dialog(parent, panel.title, panel.directory);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(panel.chooseDirectories ? QFileDialog::Directory : QFileDialog::ExistingFile);
    dialog.setOption(QFileDialog::ReadOnly, !panel.canCreateDirectories);
    if (!panel.prompt.isEmpty())
        dialog.setLabelText(QFileDialog::Accept, panel.prompt);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return {};
    return dialog.selectedFiles().first();
}

} // namespace trovix
