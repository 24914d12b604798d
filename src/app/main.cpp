#include <QApplication>
#include <QMainWindow>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Trovix"));
    QApplication::setApplicationName(QStringLiteral("Trovix"));
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Trovix"));
    window.resize(1000, 680);
    window.show();
    return app.exec();
}
