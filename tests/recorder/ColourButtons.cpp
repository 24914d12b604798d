// A Qt application of flat buttons, each one plain colour edge to edge, so that a test can find each
// button's exact rectangle in a screenshot and compare it with the frame a recorded click drew. A
// clicked button turns to half its colour, so a picture shows whether it was taken after the click.
// Usage: trovix_colour_buttons TITLE
#include <QApplication>
#include <QHBoxLayout>
#include <QPushButton>
#include <QWidget>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QWidget window;
    window.setWindowTitle(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("Colour Buttons"));
    window.setStyleSheet(QStringLiteral("QWidget { background: rgb(255, 255, 255); }"));
    auto* layout = new QHBoxLayout(&window);
    layout->setContentsMargins(40, 40, 40, 40);
    layout->setSpacing(30);
    const QList<std::tuple<QString, QString, QString>> buttons{
        {QStringLiteral("Red"), QStringLiteral("rgb(255, 0, 0)"), QStringLiteral("rgb(128, 0, 0)")},
        {QStringLiteral("Green"), QStringLiteral("rgb(0, 255, 0)"), QStringLiteral("rgb(0, 128, 0)")},
        {QStringLiteral("Blue"), QStringLiteral("rgb(0, 0, 255)"), QStringLiteral("rgb(0, 0, 128)")}};
    const QString style = QStringLiteral("QPushButton { background: %1; border: none; color: %1; }");
    for (const auto& [name, colour, clicked] : buttons) {
        auto* button = new QPushButton(name);
        button->setFixedSize(120, 50);
        button->setStyleSheet(style.arg(colour));
        QObject::connect(button, &QPushButton::clicked, button,
                         [button, style, clicked] { button->setStyleSheet(style.arg(clicked)); });
        layout->addWidget(button);
    }
    window.show();
    return app.exec();
}
