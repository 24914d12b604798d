// Which installed application a window belongs to, from the desktop entries: the name that ends a
// recorded click's title.
#include "platform/atspi/DesktopEntries.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QTest>


using namespace trovix;

namespace {

void write(const QDir& dir, const QString& name, const QByteArray& text) {
    QDir().mkpath(QFileInfo(dir.filePath(name)).absolutePath());
    QFile file(dir.filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

} // namespace

class AtspiRulesTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void windows_findTheirApplicationsName() {
        QTemporaryDir home, system;
        const QDir user(home.path() + QStringLiteral("/applications"));
        const QDir shared(system.path() + QStringLiteral("/applications"));
        write(shared, QStringLiteral("org.example.Writer.desktop"),
              "[Desktop Entry]\nType=Application\nName=Writer\nName[de]=Schreiber\nExec=writer %F\n"
              "[Desktop Action new]\nName=New Document\n");
        write(shared, QStringLiteral("viewer.desktop"),
              "[Desktop Entry]\nType=Application\nName=Picture Viewer\nStartupWMClass=PixView\n"
              "Exec=env GDK_BACKEND=x11 /opt/pix/bin/pixview\n");
        write(shared, QStringLiteral("tools/sketch.desktop"),
              "[Desktop Entry]\nType=Application\nName=Sketch\nExec=\"/usr/bin/sketch-pad\" --new\n");
        write(shared, QStringLiteral("hidden.desktop"),
              "[Desktop Entry]\nType=Application\nName=Gone\nHidden=true\n");
        // The user's own entry overrides the system's.
        write(user, QStringLiteral("viewer.desktop"),
              "[Desktop Entry]\nType=Application\nName=My Viewer\nStartupWMClass=PixView\n");
        write(user, QStringLiteral("tools-sketch.desktop"),
              "[Desktop Entry]\nType=Application\nName=X\nHidden=true\n");

        const DesktopEntries entries({home.path(), system.path()});
        QCOMPARE(entries.displayName(QStringLiteral("pixview"), QStringLiteral("PixView"), {}),
                 QStringLiteral("My Viewer"));
        // The desktop file id, whole or its last dotted part, matches the window class.
        QCOMPARE(entries.displayName(QStringLiteral("org.example.Writer"), QString(), {}),
                 QStringLiteral("Writer"));
        // Else the program: Exec's first word without folders, quotes or an env prefix.
        const QStringList sketchPad{QStringLiteral("sketch-pad")};
        QCOMPARE(DesktopEntries({system.path()}).displayName(QStringLiteral("main"), {}, sketchPad),
                 QStringLiteral("Sketch"));
        // The user's hidden entry of the same id (tools/sketch.desktop is tools-sketch) removes it.
        QCOMPARE(entries.displayName(QStringLiteral("main"), {}, sketchPad), std::nullopt);
        QCOMPARE(
            entries.displayName(QString(), QString(), {QStringLiteral("python3"), QStringLiteral("writer")}),
            QStringLiteral("Writer"));
        QCOMPARE(entries.displayName(QStringLiteral("hidden"), QStringLiteral("Hidden"), {}), std::nullopt);

        QLocale::setDefault(QLocale(QStringLiteral("de_DE")));
        const DesktopEntries german({system.path()});
        QLocale::setDefault(QLocale::c());
        QCOMPARE(german.displayName(QStringLiteral("writer"), QString(), {}), QStringLiteral("Schreiber"));
    }
};

QTEST_GUILESS_MAIN(AtspiRulesTest)
#include "test_atspi_rules.moc"
