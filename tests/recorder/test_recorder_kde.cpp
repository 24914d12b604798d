#include "CompositorSession.h"
#include "WidgetFactory.h"
#include "platform/Platform.h"
#include "platform/kde/KWinClicks.h"
#include "platform/kde/KWinScreenGrabber.h"
#include "recorder/Recorder.h"

#include <QApplication>
#include <QDBusConnection>
#include <QFile>
#include <QTest>

using namespace trovix;

namespace {

const QString kwin = QStringLiteral("org.kde.KWin");

} // namespace

class RecorderKdeTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCOMPARE(Platform::current().name(), QStringLiteral("wayland"));
        QVERIFY2(m_factory.start(), qPrintable(m_factory.error()));
        m_buttons.start(qEnvironmentVariable("TROVIX_BINARY_DIR") +
                            QStringLiteral("/tests/recorder/trovix_colour_buttons"),
                        {QStringLiteral("Colour Buttons")});
        QVERIFY(m_buttons.waitForStarted());
        // KWin centres both windows, one over the other: a KWin script moves the buttons below the
        // factory, where clicks on either window reach their controls.
        const QString script = qEnvironmentVariable("TROVIX_TEST_TMP") + QStringLiteral("/place.js");
        QFile file(script);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("function place(c) { if (c.caption == 'Colour Buttons') c.frameGeometry = "
                   "{x: 1300, y: 930, width: c.width, height: c.height}; }\n"
                   "workspace.clientList().forEach(place); workspace.clientAdded.connect(place);\n");
        file.close();
        QDBusMessage load =
            QDBusMessage::createMethodCall(kwin, "/Scripting", "org.kde.kwin.Scripting", "loadScript");
        load << script << QStringLiteral("trovix-test-placement");
        QCOMPARE(QDBusConnection::sessionBus().call(load).type(), QDBusMessage::ReplyMessage);
        QDBusConnection::sessionBus().call(
            QDBusMessage::createMethodCall(kwin, "/Scripting", "org.kde.kwin.Scripting", "start"));
        Recorder::Services services = Recorder::systemServices(2000);
        services.installMonitor = [this](Recorder& recorder) {
            return Platform::current().clickMonitor().watch(
                [this, &recorder](const PlatformClick& click) {
                    m_clicks.append(click);
                    recorder.click(RecordedClick{QPointF(click.nativePosition), click.window});
                },
                [&recorder](const QString& reason) { recorder.monitorLost(reason); });
        };
        m_recorder = std::make_unique<Recorder>(m_guide, services);
    }

    void regionCapture_comesStraightFromKWin() {
        auto* grabber = dynamic_cast<KWinScreenGrabber*>(&Platform::current().screenGrabber());
        QVERIFY(grabber);
        // No portal runs here: every picture is KWin's own. The buttons' true rectangles, off it.
        for (int attempt = 0; attempt < 40 && m_blue.size() != QSize(120, 50); ++attempt) {
            QTest::qWait(250);
            QString error;
            const QImage screen = grabber->kwinDesktop(&error);
            QVERIFY2(screen.size() == QSize(1920, 1080), qPrintable(error));
            m_red = colourBox(screen, qRgb(255, 0, 0));
            m_blue = colourBox(screen, qRgb(0, 0, 255));
        }
        QCOMPARE(m_blue.size(), QSize(120, 50));
        QString error;
        QCOMPARE(grabber->grab(m_blue), grabber->kwinDesktop(&error).copy(m_blue));
    }

    void effectMissing_saysWhatToInstall_thenLoadsOnceInstalled() {
        ClickMonitor& clicks = Platform::current().clickMonitor();
        QVERIFY2(clicks.unavailableReason().contains(QStringLiteral("not installed")),
                 qPrintable(clicks.unavailableReason()));
        QVERIFY(!m_recorder->start());
        const QString plugin =
            qEnvironmentVariable("TROVIX_BINARY_DIR") +
            QStringLiteral("/src/platform/kde/effect/plugins/kwin/effects/plugins/trovixclicks.so");
        QVERIFY(QFile::copy(plugin, qEnvironmentVariable("TROVIX_KWIN_PLUGINS") +
                                        QStringLiteral("/trovixclicks.so")));
        QCOMPARE(clicks.unavailableReason(), QString());
        QVERIFY(dynamic_cast<KWinClicks&>(clicks).state() == KWinClicks::State::notLoaded);
        QVERIFY(m_recorder->start());
        QVERIFY(pluginRecording(kwin));
    }

    void clicksInGtkAndQtWindows_becomeStepsInOrderFramingTheControls() {
        input(clickAt(QPoint(1500, 300)));
        QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), 1, 15000);
        const ClickedWindow factory = *m_clicks.first().window;
        QCOMPARE(factory.pid, m_factory.pid());
        QCOMPARE(factory.title, QStringLiteral("gtk3-widget-factory"));
        QVERIFY2(factory.buffer.contains(factory.frame), "the surface holds the window and its shadow");
        const auto onScreen = [&](const QRect& extents) {
            return extents.translated(factory.buffer.topLeft());
        };
        const auto toggle = m_factory.find(QStringLiteral("toggle button"), QStringLiteral("togglebutton"));
        const auto check = m_factory.find(QStringLiteral("check box"), QStringLiteral("checkbutton"), 1);
        QVERIFY(toggle && check);
        const QString factoryApp = QStringLiteral(" in Widget Factory");
        const QList<std::pair<QRect, QString>> expected{
            {onScreen(toggle->extents), QStringLiteral("Click “togglebutton”") + factoryApp},
            {m_red, QStringLiteral("Click “Red”")},
            {onScreen(check->extents), QStringLiteral("Click “checkbutton”") + factoryApp},
            {m_blue, QStringLiteral("Click “Blue”")},
        };
        // An application busy with the click itself may not answer in time, and its step then names
        // what did answer: such a click is made again, twice at most.
        for (const auto& [rect, title] : expected) {
            for (int attempt = 0; attempt < 3; ++attempt) {
                const qsizetype before = m_guide.steps().size();
                input(clickAt(centre(rect)));
                QTRY_COMPARE_WITH_TIMEOUT(m_guide.steps().size(), before + 1, 15000);
                if (m_guide.steps().last().title.startsWith(title))
                    break;
            }
            const Step& step = m_guide.steps().last();
            QVERIFY2(step.title.startsWith(title), qPrintable(step.title + QStringLiteral(" ≠ ") + title));
            QVERIFY2(near(markFrame(step), rect), qPrintable(step.title));
        }
        // The Qt button's frame holds its colour edge to edge on the step's own pixels.
        const Step& blue = m_guide.steps().last();
        QVERIFY(near(colourBox(blue.base.pixels(), qRgb(0, 0, 255)), markFrame(blue)));
    }

    void otherProcesses_cannotStartTheEffect() {
        QProcess gdbus;
        gdbus.start("gdbus", {"call", "--session", "--dest", "org.kde.KWin", "--object-path",
                              QString::fromLatin1(ReportedClicksWatch::clicksPath), "--method",
                              QString::fromLatin1(ReportedClicksWatch::clicksInterface) + ".Start"});
        QVERIFY(gdbus.waitForFinished(10000));
        QVERIFY2(gdbus.readAllStandardError().contains("AccessDenied"), "the refusal names itself");
        QVERIFY(pluginRecording(kwin));
    }

    void killedRecorder_effectGoesQuiet() {
        m_recorder->stop();
        QTRY_VERIFY(!pluginRecording(kwin));
        killRecorderChild(kwin);
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
    QRect m_red, m_blue;
};

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc > 1 && QByteArray(argv[1]) == "--record-child")
        return recordChild();
    RecorderKdeTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_recorder_kde.moc"
