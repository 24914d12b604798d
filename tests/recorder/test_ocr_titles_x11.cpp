// Click titles read off the screenshot, on a real X server: gtk3-widget-factory started without
// accessibility (GTK_A11Y=none) answers nothing on the accessibility bus, so its labels can only
// come from the screen. Where its controls are is learnt first from an instance with accessibility;
// the window manager places both windows alike, and any offset between them is taken into account.
#include "WidgetFactory.h"
#include "document/Guide.h"
#include "recorder/Recorder.h"
#include "support/Xdotool.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

namespace {

// The top-left corner of the first visible window of a process, waiting for it.
QPoint windowCorner(qint64 pid) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        QProcess xdo;
        xdo.start(QStringLiteral("sh"),
                  {QStringLiteral("-c"), QStringLiteral("xdotool search --onlyvisible --pid %1 "
                                                        "| head -n1 | xargs -r xdotool "
                                                        "getwindowgeometry --shell")
                                             .arg(pid)});
        xdo.waitForFinished(10000);
        const QList<QByteArray> lines = xdo.readAllStandardOutput().split('\n');
        if (lines.size() > 2 && lines[1].startsWith("X=") && lines[2].startsWith("Y="))
            return {lines[1].mid(2).toInt(), lines[2].mid(2).toInt()};
        QTest::qWait(200);
    }
    return {-1, -1};
}

} // namespace

class OcrTitlesTest : public QObject {
    Q_OBJECT
private:
    // Clicks at a point of the factory without accessibility and answers the new step's title.
    QString titleOfClickAt(QPoint point) {
        const qsizetype before = m_guide.steps().size();
        const QPoint at = point + m_offset;
        xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
                 QStringLiteral("click"), QStringLiteral("1")});
        if (!QTest::qWaitFor([&] { return m_guide.steps().size() == before + 1; }, 15000))
            return QStringLiteral("(no step)");
        // A ring at the click point, not a frame: the accessibility tree had nothing to say.
        const Step& step = m_guide.steps().last();
        if (step.annotations.size() != 1 || step.annotations.first().kind != Kind::ring ||
            step.annotations.first().p1 != QPointF(at))
            return QStringLiteral("(wrong mark) ") + step.title;
        return step.title;
    }

    std::optional<WidgetFactory> m_described{std::in_place};
    QProcess m_plain;
    QPoint m_offset;
    QMap<QString, QPoint> m_points;
    Guide m_guide;
    // A generous budget: a busy machine must not turn a slow read into a plain title here.
    Recorder m_recorder{m_guide, Recorder::systemServices(5000)};

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(m_described->start(), qPrintable(m_described->error()));
        const QPoint corner = windowCorner(m_described->pid());
        // The topmost of its kind: the rows below hold insensitive copies.
        const auto centre = [&](const QString& role, const QString& name) {
            QRect topmost;
            for (const WidgetFactory::Control& control : m_described->controls())
                if (control.role == role && control.name == name && !control.extents.isEmpty() &&
                    (topmost.isNull() || control.extents.top() < topmost.top()))
                    topmost = control.extents;
            return topmost.center();
        };
        m_points[QStringLiteral("togglebutton")] =
            centre(QStringLiteral("toggle button"), QStringLiteral("togglebutton"));
        m_points[QStringLiteral("checkbutton")] =
            centre(QStringLiteral("check box"), QStringLiteral("checkbutton"));
        m_points[QStringLiteral("page 2")] = centre(QStringLiteral("page tab"), QStringLiteral("page 2"));
        m_points[QStringLiteral("link button")] =
            centre(QStringLiteral("push button"), QStringLiteral("link button"));
        // Icons: the spin button's "+" at its right end, and the entry's clear button.
        const auto spin = m_described->find(QStringLiteral("spin button"), QStringLiteral("50"));
        QVERIFY(spin);
        m_points[QStringLiteral("+")] = QPoint(spin->extents.right() - 16, spin->extents.center().y());
        m_points[QStringLiteral("clear")] = centre(QStringLiteral("push button"), QString());
        for (const QPoint& point : std::as_const(m_points))
            QVERIFY(!point.isNull());
        m_described.reset();
        // A second instance would only hand over to the first while that still holds its name.
        QTRY_VERIFY_WITH_TIMEOUT(!QDBusConnection::sessionBus().interface()->isServiceRegistered(
                                     QStringLiteral("org.gtk.WidgetFactory")),
                                 10000);

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("GTK_A11Y"), QStringLiteral("none"));
        environment.insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
        m_plain.setProcessEnvironment(environment);
        m_plain.start(QStringLiteral("gtk3-widget-factory"), {});
        QVERIFY(m_plain.waitForStarted(10000));
        const QPoint plainCorner = windowCorner(m_plain.processId());
        QVERIFY(plainCorner != QPoint(-1, -1));
        m_offset = plainCorner - corner;
        QTest::qWait(1000); // let it draw
        m_recorder.start();
    }

    void cleanupTestCase() {
        m_recorder.stop();
        m_plain.kill();
        m_plain.waitForFinished(5000);
    }

    void labelledControls_titledFromTheScreen() {
        const QString app = QStringLiteral(" in Widget Factory");
        for (const QString label : {"togglebutton", "checkbutton", "page 2", "link button"})
            QCOMPARE(titleOfClickAt(m_points[label]), QStringLiteral("Click “%1”").arg(label) + app);
    }

    void iconOnlyControls_keepThePlainTitle() {
        QCOMPARE(titleOfClickAt(m_points[QStringLiteral("+")]), QStringLiteral("Click in Widget Factory"));
        QCOMPARE(titleOfClickAt(m_points[QStringLiteral("clear")]),
                 QStringLiteral("Click in Widget Factory"));
    }
};

QTEST_MAIN(OcrTitlesTest)
#include "test_ocr_titles_x11.moc"
