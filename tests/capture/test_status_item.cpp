// The tray icon's picture, tooltip and menu follow the guide, headless.
#include "app/StatusItem.h"
#include "document/Guide.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTest>

using namespace trovix;

namespace {

QStringList labels(const QMenu* menu) {
    QStringList list;
    for (const QAction* action : menu->actions())
        list.append(action->isSeparator() ? QStringLiteral("—") : action->text());
    return list;
}

Step someStep() {
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::gray);
    return Step::make(Image(image), 1, QStringLiteral("x"));
}

int countPixels(const QImage& image, const std::function<bool(QColor)>& test) {
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            n += test(QColor::fromRgba(image.pixel(x, y)));
    return n;
}

bool isSystemRed(QColor c) {
    return c.alpha() == 255 && c.red() == 255 && c.green() == 59 && c.blue() == 48;
}

} // namespace

class TestStatusItem : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void menuAndTooltip_followStepsAndRecording() {
        Guide guide;
        QStringList calls;
        StatusItem item(guide,
                        {[&] { calls << "show"; }, [&] { calls << "library"; }, [&] { calls << "capture"; },
                         [&] { calls << "toggle"; }, [&] { calls << "quit"; }});
        QCOMPARE(labels(item.menu()),
                 (QStringList{"Show Trovix", "Guides Library", "Capture Region  (Ctrl+Alt+S)",
                              "Record Clicks  (Ctrl+Alt+R)", "—", "Quit Trovix"}));
        QCOMPARE(item.trayIcon().toolTip(), QStringLiteral("Trovix"));
        QCOMPARE(item.trayIcon().contextMenu(), item.menu());

        // Changes are announced before they are stored: the refresh comes later, reading new values.
        QMenu* before = item.menu();
        guide.append(someStep());
        guide.append(someStep());
        guide.append(someStep());
        QCOMPARE(item.menu(), before);
        QTRY_COMPARE(item.trayIcon().toolTip(), QStringLiteral("Trovix — 3 steps"));
        QVERIFY(item.menu() != before);

        guide.setRecording(true);
        QTRY_COMPARE(labels(item.menu()).value(3), QStringLiteral("Stop Recording Clicks  (Ctrl+Alt+R)"));
        QCOMPARE(item.trayIcon().toolTip(), QStringLiteral("Trovix — 3 steps (recording clicks)"));
        guide.setSteps({});
        guide.setRecording(false);
        QTRY_COMPARE(labels(item.menu()).value(3), QStringLiteral("Record Clicks  (Ctrl+Alt+R)"));
        QCOMPARE(item.trayIcon().toolTip(), QStringLiteral("Trovix"));

        for (QAction* action : item.menu()->actions())
            action->trigger();
        QCOMPARE(calls, (QStringList{"show", "library", "capture", "toggle", "quit"}));
    }

    void icon_isRedWhileRecording_andCarriesTheCount() {
        const QImage camera = StatusItem::iconFor(false, 0).pixmap(32, 32).toImage();
        const QImage record = StatusItem::iconFor(true, 0).pixmap(32, 32).toImage();
        QVERIFY(!camera.isNull() && !record.isNull());
        QCOMPARE(countPixels(camera, isSystemRed), 0);
        QVERIFY(countPixels(record, isSystemRed) > 100);

        // The count is drawn at the bottom right; other numbers draw other pixels.
        const QImage three = StatusItem::iconFor(false, 3).pixmap(32, 32).toImage();
        const QImage four = StatusItem::iconFor(false, 4).pixmap(32, 32).toImage();
        QVERIFY(three != camera);
        QVERIFY(three != four);
        QCOMPARE(three.copy(0, 0, 12, 12), camera.copy(0, 0, 12, 12));
        QVERIFY(three.copy(20, 20, 12, 12) != camera.copy(20, 20, 12, 12));
        QVERIFY(StatusItem::iconFor(false, 1000).pixmap(32, 32).toImage() != three);
    }
};

QTEST_MAIN(TestStatusItem)
#include "test_status_item.moc"
