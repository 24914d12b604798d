#pragma once

#include "platform/Dialogs.h"

namespace trovix {

// Dialogs shown with QMessageBox and QFileDialog, application-modal.
class WidgetDialogs : public Dialogs {
public:
    int alert(QWidget* parent, const Alert& alert) override;
    QString save(QWidget* parent, const SavePanel& panel) override;
    QString open(QWidget* parent, const OpenPanel& panel) override;

    // A proposed file name made usable as one path component: a slash cannot be part of a name
    // on Linux, so it is shown as a hyphen.
    static QString usableName(const QString& proposed);
};

} // namespace trovix
