// Click titles read off the screenshot, on a real X server: gtk3-widget-factory started without
// accessibility (GTK_A11Y=none, NO_AT_BRIDGE=1) answers nothing on the accessibility bus, so its
// labels can only come from the screen. Where its controls are is learnt first from an instance
// with accessibility; any offset between the two windows is taken into account.
#include "WidgetFactory.h"
#include "document/Guide.h"
#include "recorder/Recorder.h"
#include "support/Xdotool.h"

#include <QApplication>
#include <QDBusConnectionInterface>
#include <QTest>

using namespace trovix;
using namespace trovix::testing;

// The top-left corner of the first visible window of a process, waiting for it.
static QPoint windowCorner(qint64 pid) {
    for (int attempt = 0; attempt < 100; ++attempt, QTest::qWait(200)) {
        QProcess xdo;
        xdo.start("sh", {"-c", QString("xdotool search --onlyvisible --pid %1 | head -n1 | "
                                       "xargs -r xdotool getwindowgeometry --shell")
                                   .arg(pid)});
        xdo.waitForFinished(10000);
        const QList<QByteArray> lines = xdo.readAllStandardOutput().split('\n');
        if (lines.size() > 2 && lines[1].startsWith("X=") && lines[2].startsWith("Y="))
            return {lines[1].mid(2).toInt(), lines[2].mid(2).toInt()};
    }
    return {-1, -1};
}

class OcrTitlesTest : public QObject {
    Q_OBJECT
private:
    // Clicks at a point of the factory without accessibility and answers the new step's title.
    QString titleOfClickAt(const QString& control) {
        const qsizetype before = m_guide.steps().size();
        const QPoint at = m_points.value(control) + m_offset;
        xdotool({"mousemove", QString::number(at.x()), QString::number(at.y()), "click", "1"});
        if (!QTest::qWaitFor([&] { return m_guide.steps().size() == before + 1; }, 15000))
            return "(no step)";
        // A ring at the click point, not a frame: the accessibility tree had nothing to say.
        const Step& step = m_guide.steps().last();
        const bool ring = step.annotations.size() == 1 && step.annotations.first().kind == Kind::ring &&
                          step.annotations.first().p1 == QPointF(at);
        return ring ? step.title : "(wrong mark) " + step.title;
    }

    QProcess m_plain;
    QPoint m_offset;
    QMap<QString, QPoint> m_points;
    Guide m_guide;
    // A generous budget: a busy machine must not turn a slow read into a plain title here.
    Recorder m_recorder{m_guide, Recorder::systemServices(5000)};

private Q_SLOTS:
    void initTestCase() {
        auto described = std::make_unique<WidgetFactory>();
        QVERIFY2(described->start(), qPrintable(described->error()));
        const QPoint corner = windowCorner(described->pid());
        // The topmost of each kind: the rows below hold insensitive copies.
        for (const char* role : {"toggle button", "check box", "page tab", "push button"})
            for (const WidgetFactory::Control& control : described->controls())
                if (control.role == role && !control.extents.isEmpty() &&
                    (!m_points.contains(control.name) || control.extents.top() < m_points[control.name].y()))
                    m_points[control.name] = control.extents.center();
        // Icons: the spin button's "+" at its right end; the entry's clear button (a nameless button).
        const auto spin = described->find("spin button", "50");
        QVERIFY(spin);
        m_points["+"] = QPoint(spin->extents.right() - 16, spin->extents.center().y());
        for (const char* name : {"togglebutton", "checkbutton", "page 2", "link button", "+", ""})
            QVERIFY2(m_points.contains(name), name);
        described.reset();
        // A second instance would only hand over to the first while that still holds its name.
        QTRY_VERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered("org.gtk.WidgetFactory"));

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("GTK_A11Y", "none");
        environment.insert("NO_AT_BRIDGE", "1");
        m_plain.setProcessEnvironment(environment);
        m_plain.start("gtk3-widget-factory", {});
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
        for (const QString label : {"togglebutton", "checkbutton", "page 2", "link button"})
            QCOMPARE(titleOfClickAt(label), "Click “" + label + "” in Widget Factory");
    }

    void iconOnlyControls_keepThePlainTitle() {
        QCOMPARE(titleOfClickAt("+"), "Click in Widget Factory");
        QCOMPARE(titleOfClickAt(""), "Click in Widget Factory"); // the entry's clear button
    }
};

QTEST_MAIN(OcrTitlesTest)
#include "test_ocr_titles_x11.moc"
