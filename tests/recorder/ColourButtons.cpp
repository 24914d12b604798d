// A Qt application of flat buttons, each one plain colour edge to edge, so that a test can find each
// button's exact rectangle in a screenshot and compare it with the frame a recorded click drew.
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
    const QList<std::pair<QString, QString>> buttons{
        {QStringLiteral("Red"), QStringLiteral("rgb(255, 0, 0)")},
        {QStringLiteral("Green"), QStringLiteral("rgb(0, 255, 0)")},
        {QStringLiteral("Blue"), QStringLiteral("rgb(0, 0, 255)")}};
    for (const auto& [name, colour] : buttons) {
        auto* button = new QPushButton(name);
        button->setFixedSize(120, 50);
        button->setStyleSheet(
            QStringLiteral("QPushButton { background: %1; border: none; color: %1; }").arg(colour));
        layout->addWidget(button);
    }
    window.show();
    return app.exec();
}
