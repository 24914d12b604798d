#include "CompositorSession.h"
#include "WidgetFactory.h"
#include "document/Guide.h"
#include "platform/Platform.h"
#include "platform/gnome/ShellExtension.h"
#include "recorder/Recorder.h"

#include <QApplication>
#include <QDBusConnection>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace trovix;

namespace {

const QString factoryApp = QStringLiteral(" in Widget Factory");

// The largest difference of one colour channel.
int distance(QRgb a, QRgb b) {
    return std::max(
        {std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
}

bool extensionRecording() {
    return pluginRecording(QStringLiteral("org.gnome.Shell"));
}

} // namespace

class RecorderGnomeTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCOMPARE(Platform::current().name(), QStringLiteral("wayland"));
        QCOMPARE(Platform::current().clickMonitor().unavailableReason(), QString());
        QVERIFY2(m_factory.start(), qPrintable(m_factory.error()));
        m_buttons.start(qEnvironmentVariable("TROVIX_BINARY_DIR") +
                            QStringLiteral("/tests/recorder/trovix_colour_buttons"),
                        {QStringLiteral("Colour Buttons")});
        QVERIFY(m_buttons.waitForStarted());
        // The buttons' true rectangles, off the screen's own pixels.
        for (int attempt = 0; attempt < 40 && m_blue.isEmpty(); ++attempt) {
            QTest::qWait(250);
            const QImage screen = Platform::current().screenGrabber().grab(QRect(0, 0, 1920, 1080));
            m_red = colourBox(screen, qRgb(255, 0, 0));
            m_green = colourBox(screen, qRgb(0, 255, 0));
            m_blue = colourBox(screen, qRgb(0, 0, 255));
        }
        QCOMPARE(m_blue.size(), QSize(120, 50));

        // The Shell renders in software beside the test: the titles, not the time they take, are
        // what is checked here (bench/ measures that).
        Recorder::Services services = Recorder::systemServices(2000);
        const auto install = services.installMonitor;
        services.installMonitor = [this, install](Recorder& recorder) {
            std::unique_ptr<QObject> watch = Platform::current().clickMonitor().watch(
                [this, &recorder](const PlatformClick& click) {
                    m_clicks.append(click);
                    RecordedClick recorded{QPointF(click.nativePosition), click.window};
                    if (click.screen) {
                        recorded.pictureComing = click.screen->image;
                        recorded.area = QRectF(click.screen->area);
                    }
                    recorder.click(recorded);
                },
                [&recorder](const QString& reason) { recorder.monitorLost(reason); });
            return watch;
        };
        m_recorder = std::make_unique<Recorder>(m_guide, services);
    }

    void clicksInGtkAndQtWindows_becomeStepsInOrderFramingTheControls() {
        QVERIFY(m_recorder->start());
        QTRY_VERIFY(extensionRecording());
        // A first click tells where the factory's window is.
        input(clickAt(QPoint(1200, 500)));
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), 1, 15000);
        QCOMPARE(m_clicks.size(), 1);
        const ClickedWindow factory = *m_clicks.first().window;
        QCOMPARE(factory.pid, m_factory.pid());
        QCOMPARE(factory.title, QStringLiteral("gtk3-widget-factory"));
        QCOMPARE(factory.wmClass, QStringLiteral("gtk3-widget-factory"));
        QVERIFY2(factory.buffer.contains(factory.frame), "the surface holds the window and its shadow");
        const auto onScreen = [&](const QRect& extents) {
            return extents.translated(factory.buffer.topLeft());
        };

        // GTK and Qt controls in turn, one at a time: exact titles and frames.
        const auto toggle = m_factory.find(QStringLiteral("toggle button"), QStringLiteral("togglebutton"));
        const auto check = m_factory.find(QStringLiteral("check box"), QStringLiteral("checkbutton"), 1);
        const auto entry = m_factory.find(QStringLiteral("text"), QStringLiteral("entry"), 1);
        QVERIFY(toggle && check && entry);
        const QList<std::pair<QRect, QString>> expected{
            {onScreen(toggle->extents), QStringLiteral("Click “togglebutton”") + factoryApp},
            {m_red, QStringLiteral("Click “Red”")},
            {onScreen(check->extents), QStringLiteral("Click “checkbutton”") + factoryApp},
            {m_green, QStringLiteral("Click “Green”")},
            {onScreen(entry->extents), QStringLiteral("Click “entry”") + factoryApp},
            {m_blue, QStringLiteral("Click “Blue”")},
        };
        // An application busy with the click itself may not answer in time; its step then has the
        // plain title, as designed. Such a click is made again, twice at most.
        QList<Step> described;
        for (const auto& [rect, title] : expected) {
            for (int attempt = 0; attempt < 3; ++attempt) {
                const qsizetype before = m_guide.steps().size();
                input(clickAt(centre(rect)));
                QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 1, 15000);
                if (m_guide.steps().last().title != QStringLiteral("Click") + factoryApp)
                    break;
            }
            const Step& step = m_guide.steps().last();
            QVERIFY2(step.title.startsWith(title), qPrintable(step.title + QStringLiteral(" ≠ ") + title));
            QVERIFY2(near(markFrame(step), rect), qPrintable(step.title));
            described.append(step);
        }
        // On the steps' own pixels: the Qt buttons' frames hold their colour edge to edge, and the
        // GTK button's frame meets its border, with the window's background just outside.
        for (int i : {1, 3, 5}) {
            const QImage pixels = described[i].base.pixels();
            const QRect frame = markFrame(described[i]);
            const QRgb colour = pixels.pixel(centre(frame));
            QVERIFY(near(colourBox(pixels, colour), frame));
        }
        // The pictures come from the screen cast, taken once the click has shown: the Shell's top bar
        // names the clicked application, which each click here changes (a picture taken at the press
        // would still name the one before).
        QVERIFY2(m_clicks.last().screen, "the pictures come from the screen cast, not the portal");
        const QRect topBar(0, 0, 700, 30);
        for (int i = 1; i < described.size(); ++i)
            QVERIFY2(described[i].base.pixels().copy(topBar) != described[i - 1].base.pixels().copy(topBar),
                     qPrintable(described[i].title));
        const QImage gtk = described[0].base.pixels();
        const QRect frame = markFrame(described[0]);
        const int row = centre(frame).y();
        for (const auto& [edge, out] : {std::pair{frame.left(), -1}, std::pair{frame.right(), 1}}) {
            QVERIFY(distance(gtk.pixel(edge + 3 * out, row), gtk.pixel(edge + 6 * out, row)) < 8);
            QVERIFY(std::max(distance(gtk.pixel(edge, row), gtk.pixel(edge + 3 * out, row)),
                             distance(gtk.pixel(edge - out, row), gtk.pixel(edge + 3 * out, row))) > 24);
        }

        // Ten clicks a second in one window: a step for each, in click order (each mark sits on
        // its own click, whether the busy application answered in time or not).
        QList<QPoint> burst;
        for (int i = 0; i < 5; ++i) {
            const auto box = m_factory.find(QStringLiteral("check box"), QStringLiteral("checkbutton"), i);
            QVERIFY(box);
            burst.append(centre(onScreen(box->extents)));
        }
        burst.append(centre(expected[0].first));
        const qsizetype before = m_guide.steps().size();
        const qsizetype clicksBefore = m_clicks.size();
        for (const QPoint& point : burst) {
            input(clickAt(point));
            QTest::qWait(100);
        }
        // Injected input is not a mouse: under load the Shell may handle two injected presses as
        // one moment, and then mutter counts only one. Every press the Shell reported must become
        // its step, in order; how many it saw is only reported.
        QTest::qWait(2000);
        const QList<PlatformClick> reported = m_clicks.mid(clicksBefore);
        if (reported.size() < burst.size())
            qWarning("the Shell reported %d of %d injected clicks", int(reported.size()), int(burst.size()));
        QVERIFY(reported.size() >= burst.size() - 1);
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + reported.size(), 30000);
        for (int i = 0; i < reported.size(); ++i) {
            const Annotation& mark = m_guide.steps().at(before + i).annotations.constFirst();
            const QPoint at = reported[i].nativePosition;
            QVERIFY2(burst.contains(at), "a click the test made");
            if (i > 0)
                QVERIFY2(burst.indexOf(at) > burst.indexOf(reported[i - 1].nativePosition), "in click order");
            QVERIFY2(mark.kind == Kind::target ? QRectF(mark.p1, mark.p2).contains(at) : mark.p1 == at,
                     qPrintable(QStringLiteral("step %1 is not where its click was").arg(i)));
        }
    }

    void popupMenuItem_isPicturedOpenAndBelongsToItsWindow() {
        // The factory's "Andrea" combo box (named by its icon) opens a menu over itself, its next
        // item "Otto" below.
        const auto combo =
            m_factory.find(QStringLiteral("combo box"), QStringLiteral("emblem-default-symbolic"));
        QVERIFY(combo);
        const QRect box = combo->extents.translated(m_clicks.first().window->buffer.topLeft());
        const qsizetype before = m_guide.steps().size();
        input(clickAt(centre(box)));
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 1, 15000);
        QTest::qWait(1000);
        input(clickAt(QPoint(box.left() + 24, centre(box).y() + box.height())));
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 2, 15000);
        // A click in the factory's window, titled off the picture of the open menu, or after its
        // window where the item cannot be read there (white on the highlight's blue); never after
        // the combo box under the menu (the items tell no position), and marked where it was.
        QCOMPARE(m_clicks.last().window->pid, m_factory.pid());
        QCOMPARE(m_clicks.last().window->title, QStringLiteral("gtk3-widget-factory"));
        QVERIFY(m_clicks.last().window->popup);
        const Step& step = m_guide.steps().last();
        QVERIFY2(step.title == QStringLiteral("Click “Otto”") + factoryApp ||
                     step.title == QStringLiteral("Click") + factoryApp,
                 qPrintable(step.title));
        QCOMPARE(step.annotations.constFirst().kind, Kind::ring);
        QCOMPARE(step.annotations.constFirst().p1, QPointF(m_clicks.last().nativePosition));
    }

    // Keys typed into a GTK entry come through the extension: the click into the entry gives way to
    // one typing step, titled with the entry's text and framed around it on the desktop.
    void typingIntoAnEntry_becomesOneStepFramingIt() {
        QVERIFY(Platform::current().keyMonitor().isAvailable());
        const auto entry = m_factory.find(QStringLiteral("text"), QStringLiteral("entry"), 1);
        QVERIFY(entry);
        const QRect box = entry->extents.translated(m_clicks.first().window->buffer.topLeft());
        const qsizetype before = m_guide.steps().size();
        input(clickAt(centre(box)));
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 1, 15000);
        // Z q 8, then Tab, at a hand's pace: the Shell reports a key before the entry has taken it.
        input("key 5a\nwait 100\nkey 71\nwait 100\nkey 38\nwait 300\nkey ff09\n");
        QTRY_VERIFY_WITH_TIMEOUT(m_guide.steps().last().title.startsWith(QStringLiteral("Type “")), 15000);
        QCOMPARE(m_guide.steps().size(), before + 1);
        const Step& step = m_guide.steps().last();
        QVERIFY2(step.title.startsWith(QStringLiteral("Type “")) &&
                     step.title.contains(QStringLiteral("Zq8")) &&
                     step.title.endsWith(QStringLiteral("”") + factoryApp),
                 qPrintable(step.title));
        QVERIFY2(near(markFrame(step), box), qPrintable(step.title));

        // A key combination names the window's application.
        input("key ffe3+61\n"); // Ctrl+A
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 2, 15000);
        QCOMPARE(m_guide.steps().last().title, QStringLiteral("Press Ctrl+A") + factoryApp);
    }

    void clickInXwaylandWindow_isTitledAndFramedOnTheDesktop() {
        // An X11 application under the Shell's Xwayland: its click is reported, titled and marked.
        qputenv("GDK_BACKEND", "x11");
        WidgetFactory x11;
        const bool started = x11.start();
        qputenv("GDK_BACKEND", "wayland");
        QVERIFY2(started, qPrintable(x11.error()));
        const auto toggle = x11.find(QStringLiteral("toggle button"), QStringLiteral("togglebutton"));
        QVERIFY(toggle);
        const qsizetype before = m_guide.steps().size();
        input(clickAt(centre(toggle->extents)));
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 1, 15000);
        QCOMPARE(m_clicks.last().window->pid, x11.pid());
        const Step& step = m_guide.steps().last();
        QVERIFY2(step.title.startsWith(QStringLiteral("Click “togglebutton”")), qPrintable(step.title));
        // Xwayland's clients tell the accessibility bus places on the desktop.
        QVERIFY(m_clicks.last().window->x11);
        QVERIFY2(near(markFrame(step), toggle->extents), qPrintable(step.title));
    }

    void otherProcesses_cannotStartTheExtension() {
        QProcess gdbus;
        gdbus.start("gdbus", {"call", "--session", "--dest", "org.gnome.Shell", "--object-path",
                              QString::fromLatin1(ShellExtension::clicksPath), "--method",
                              QString::fromLatin1(ShellExtension::clicksInterface) + ".Start"});
        QVERIFY(gdbus.waitForFinished(10000));
        QVERIFY(gdbus.exitCode() != 0);
        QVERIFY2(gdbus.readAllStandardError().contains("AccessDenied"), "the refusal names itself");
    }

    void extensionSwitchedOff_stopsTheRecordingAndSaysWhy() {
        QVERIFY(m_recorder->isRecording());
        QSignalSpy interrupted(m_recorder.get(), &Recorder::interrupted);
        QProcess::execute("gnome-extensions", {"disable", QString::fromLatin1(ShellExtension::uuid)});
        QTRY_COMPARE_WITH_TIMEOUT(interrupted.size(), 1, 10000);
        QVERIFY(!m_recorder->isRecording());
        QVERIFY2(interrupted.first().first().toString().contains(QStringLiteral("switched off")),
                 qPrintable(interrupted.first().first().toString()));
        const QString reason = Platform::current().clickMonitor().unavailableReason();
        QVERIFY2(reason.contains(QStringLiteral("installed but switched off")), qPrintable(reason));
        QVERIFY(!m_recorder->start());

        // Trovix offers to switch it on.
        QString error;
        QVERIFY2(ShellExtension::enable(QDBusConnection::sessionBus(), &error), qPrintable(error));
        QTRY_COMPARE(Platform::current().clickMonitor().unavailableReason(), QString());
        QVERIFY(m_recorder->start());
        m_recorder->stop();
        QTRY_VERIFY(!extensionRecording());
    }

    void killedRecorder_extensionStopsReporting() {
        // The name is this process's from the recordings above; a recorder process takes it over.
        killRecorderChild(QStringLiteral("org.gnome.Shell"));
    }

    void cleanupTestCase() {
        m_recorder.reset();
        m_buttons.kill();
        m_buttons.waitForFinished();
    }

private:
    WidgetFactory m_factory;
    QProcess m_buttons;
    Guide m_guide;
    std::unique_ptr<Recorder> m_recorder;
    QList<PlatformClick> m_clicks;
    QRect m_red, m_green, m_blue;
};

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc > 1 && QByteArray(argv[1]) == "--record-child")
        return recordChild();
    RecorderGnomeTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_recorder_gnome.moc"
