#pragma once

#include "platform/atspi/AtspiClient.h"

#include <QList>
#include <QProcess>
#include <QRect>
#include <QString>

#include <memory>
#include <optional>

namespace trovix {

// gtk3-widget-factory, a real third-party application, started for a test and read back through
// its accessibility tree.
class WidgetFactory {
public:
    struct Control {
        QString role; // the toolkit's role name ("toggle button")
        QString name;
        QString text; // the text of text objects
        QRect extents;
    };

    WidgetFactory();
    ~WidgetFactory();

    // Starts the application and waits until its window shows its controls on the accessibility
    // bus. False, with the reason in error(), when that does not happen.
    bool start();
    QString error() const { return m_error; }
    qint64 pid() const { return m_process.processId(); }

    // The showing objects of its windows, in tree order.
    QList<Control> controls();
    // The index-th showing control with this role whose name (or text) is label.
    std::optional<Control> find(const QString& role, const QString& label, int index = 0);

    // Raises its window and gives it the keyboard, as a click on it would.
    void activate();
    // Stops or resumes the process, to play a hung application.
    void pause();
    void resume();

private:
    void walk(const AtspiRef& object, int depth, QList<Control>& out);

    QProcess m_process;
    std::unique_ptr<AtspiClient> m_client;
    QString m_error;
};

} // namespace trovix
