#include "WidgetFactory.h"
#include "platform/atspi/DesktopEntries.h"
#include "recorder/Recorder.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace trovix;

namespace {

const QString app = QStringLiteral(" in Widget Factory");

QPointF centre(const QRect& r) {
    return QPointF(r.x() + r.width() / 2, r.y() + r.height() / 2);
}

// A window of another process with one button, "Cover", over a part of the screen.
int runCover(int argc, char** argv) {
    QApplication application(argc, argv);
    QPushButton button(QStringLiteral("Cover"));
    button.setWindowFlags(Qt::FramelessWindowHint);
    const QStringList args = QApplication::arguments();
    button.setGeometry(args.at(2).toInt(), args.at(3).toInt(), args.at(4).toInt(), args.at(5).toInt());
    button.show();
    return application.exec();
}

// A window of another process, "Log in" on its left half and a password field on its right.
int runLogin(int argc, char** argv) {
    QApplication application(argc, argv);
    const QStringList args = QApplication::arguments();
    const int width = args.at(4).toInt(), height = args.at(5).toInt();
    QWidget window(nullptr, Qt::FramelessWindowHint);
    QPushButton button(QStringLiteral("Log in"), &window);
    QLineEdit field(QStringLiteral("hunter2"), &window);
    field.setEchoMode(QLineEdit::Password);
    button.setGeometry(0, 0, width / 2, height);
    field.setGeometry(width / 2, 0, width - width / 2, height);
    window.setGeometry(args.at(2).toInt(), args.at(3).toInt(), width, height);
    window.show();
    return application.exec();
}

} // namespace

class AtspiDesktopTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        Recorder::enableWebAccessibility();
        QVERIFY2(m_factory.start(), qPrintable(m_factory.error()));
        m_factory.activate();
    }

    void controls_areTitledAndFramedFromTheTree() {
        struct Case {
            QString role, label;
            int index;
            QString title;
        };
        const QList<Case> cases{
            {QStringLiteral("radio button"), QStringLiteral("radiobutton"), 2,
             QStringLiteral("Click “radiobutton”") + app},
            {QStringLiteral("table cell"), QStringLiteral("Otto"), 0, QStringLiteral("Click “Otto”") + app},
            // Too long to be a title: the role in words instead.
            {QStringLiteral("text"), QString(), -1, QStringLiteral("Click the text") + app},
        };
        for (const Case& c : cases) {
            std::optional<WidgetFactory::Control> control;
            if (c.index >= 0) {
                control = m_factory.find(c.role, c.label, c.index);
            } else {
                for (const auto& candidate : m_factory.controls())
                    if (candidate.role == c.role && candidate.text.startsWith(QLatin1String("Lorem")))
                        control = candidate;
            }
            QVERIFY2(control, qPrintable(c.title));
            const ClickTarget target = Recorder::describeElement(centre(control->extents));
            QCOMPARE(target.title, c.title);
            QCOMPARE(target.frame, QRectF(control->extents));
        }
    }

    void windowOnTop_isTheOneDescribed() {
        const auto toggle = m_factory.find(QStringLiteral("toggle button"), QStringLiteral("togglebutton"));
        QVERIFY(toggle);
        const QRect cover = toggle->extents.adjusted(-10, -10, 10, 10);
        QProcess other;
        other.setProgram(QCoreApplication::applicationFilePath());
        other.setArguments({QStringLiteral("--cover"), QString::number(cover.x()), QString::number(cover.y()),
                            QString::number(cover.width()), QString::number(cover.height())});
        other.setProcessChannelMode(QProcess::ForwardedChannels);
        other.start();
        QVERIFY(other.waitForStarted());
        QElapsedTimer timer;
        timer.start();
        ClickTarget target;
        while (timer.elapsed() < 30000) {
            target = Recorder::describeElement(centre(toggle->extents));
            if (target.title.startsWith(QStringLiteral("Click “Cover”")))
                break;
            QTest::qWait(200);
        }
        QVERIFY2(target.title.startsWith(QStringLiteral("Click “Cover”")), qPrintable(target.title));
        QCOMPARE(target.frame, QRectF(cover));
        other.kill();
        other.waitForFinished();

        m_factory.activate();
        QTRY_COMPARE_WITH_TIMEOUT(Recorder::describeElement(centre(toggle->extents)).title,
                                  QStringLiteral("Click “togglebutton”") + app, 10000);
    }

    // The password fields showing in the clicked window come with its description.
    void passwordFields_ofTheClickedWindowAreFound() {
        const QRect area(400, 700, 400, 40);
        QProcess other;
        other.setProgram(QCoreApplication::applicationFilePath());
        other.setArguments({QStringLiteral("--login"), QString::number(area.x()), QString::number(area.y()),
                            QString::number(area.width()), QString::number(area.height())});
        other.start();
        QVERIFY(other.waitForStarted());
        ClickTarget target;
        QTRY_VERIFY_WITH_TIMEOUT(!(target = Recorder::describeElement(QPointF(area.x() + 50, area.y() + 20)))
                                      .passwordFields.isEmpty(),
                                 30000);
        other.kill();
        other.waitForFinished();
        QVERIFY2(target.title.startsWith(QStringLiteral("Click “Log in”")), qPrintable(target.title));
        QCOMPARE(target.passwordFields, QList<QRectF>{QRectF(area.adjusted(area.width() / 2, 0, 0, 0))});
        m_factory.activate();
    }

    void hungApplication_givesTheFallbackAndRecovers() {
        const auto toggle = m_factory.find(QStringLiteral("toggle button"), QStringLiteral("togglebutton"));
        QVERIFY(toggle);
        m_factory.pause();
        const ClickTarget target = Recorder::describeElement(centre(toggle->extents));
        m_factory.resume();
        QCOMPARE(target, (ClickTarget{QStringLiteral("Click") + app, std::nullopt}));
        QTRY_COMPARE_WITH_TIMEOUT(Recorder::describeElement(centre(toggle->extents)).title,
                                  QStringLiteral("Click “togglebutton”") + app, 10000);
    }

    void desktopEntries_nameTheApplicationTheUsersFolderOverrides() {
        // The "in <App>" of a title: an entry in the user's folder overrides the system's entry of
        // the same id, and a hidden one takes the application away.
        QTemporaryDir user, system;
        const auto entry = [](const QTemporaryDir& root, const QString& file, const QByteArray& keys) {
            QDir(root.path()).mkpath(QFileInfo("applications/" + file).path());
            QFile out(root.filePath("applications/" + file));
            QVERIFY(out.open(QIODevice::WriteOnly));
            out.write("[Desktop Entry]\nType=Application\n" + keys);
        };
        entry(system, "org.example.Scribble.desktop", "Name=Scribble\nExec=scribble %U\n");
        entry(user, "org.example.Scribble.desktop", "Name=Scribble\nHidden=true\n");
        entry(system, "tools/painter.desktop",
              "Name=Painter\nExec=env GDK_BACKEND=x11 /opt/paint/bin/paint-bin --new %F\n"
              "StartupWMClass=PaintWindow\n");
        const DesktopEntries entries({user.path(), system.path()});
        QCOMPARE(entries.displayName({}, {}, {"scribble"}), std::nullopt);
        QCOMPARE(entries.displayName("org.example.scribble", {}, {}), std::nullopt);
        QCOMPARE(entries.displayName({}, {}, {"bash", "paint-bin"}), QStringLiteral("Painter"));
        QCOMPARE(entries.displayName({}, "paintwindow", {}), QStringLiteral("Painter"));
        QCOMPARE(entries.displayName("tools-painter", {}, {}), QStringLiteral("Painter"));
    }

private:
    WidgetFactory m_factory;
};

int main(int argc, char** argv) {
    if (argc == 6 && qstrcmp(argv[1], "--cover") == 0)
        return runCover(argc, argv);
    if (argc == 6 && qstrcmp(argv[1], "--login") == 0)
        return runLogin(argc, argv);
    QApplication application(argc, argv);
    AtspiDesktopTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_atspi_desktop.moc"
