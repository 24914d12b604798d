// Titles read off the screenshot, in the chain of click jobs, with a stand-in reader: a label read
// in time completes a plain title, a reading that misses the click's deadline leaves the title plain
// without holding up later clicks, and a label from the accessibility tree is never read over.
#include "document/Guide.h"
#include "recorder/Recorder.h"

#include <QGuiApplication>
#include <QPromise>
#include <QScreen>
#include <QTest>

using namespace trovix;

class ScreenTitleChainTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void labelsReadInTime_completeOnlyTitlesWithoutLabel() {
        const QString in = QStringLiteral(" in Editor");
        QList<ClickTarget> targets{{QStringLiteral("Click") + in, std::nullopt, in},
                                   {QStringLiteral("Click the button") + in, QRectF(10, 10, 50, 20), in},
                                   {QStringLiteral("Click “OK”") + in, std::nullopt}};
        QList<QPointF> readAt;
        QPromise<std::optional<QString>> never;
        Recorder::Services services;
        services.describeLimitMs = 300;
        services.capture = [](QScreen* screen) {
            QImage image(screen->geometry().size() * 2, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::white);
            return QtFuture::makeReadyFuture(image);
        };
        services.describe = [&](QPointF, QObject*, auto done) { done(targets.takeFirst()); };
        services.installMonitor = [](Recorder&) { return std::make_unique<QObject>(); };
        services.readLabel = [&](const QImage&, QPointF click, const std::optional<QRectF>& frame,
                                 double scale, auto) {
            readAt << click << frame.value_or(QRectF()).topLeft() << QPointF(scale, 0);
            return readAt.size() == 3
                       ? QtFuture::makeReadyFuture(std::optional<QString>(QStringLiteral("Save")))
                       : never.future();
        };
        Guide guide;
        Recorder recorder(guide, services);
        recorder.start();
        for (int i = 0; i < 3; ++i)
            recorder.click(QPointF(20 + i, 30));
        QTRY_COMPARE(guide.steps().size(), 3);
        QCOMPARE(guide.steps().at(0).title, QStringLiteral("Click “Save”") + in);
        QCOMPARE(guide.steps().at(1).title, QStringLiteral("Click the button") + in);
        QCOMPARE(guide.steps().at(2).title, QStringLiteral("Click “OK”") + in);
        // The click and the frame in the screenshot's pixels, two per point here.
        QCOMPARE(readAt, (QList<QPointF>{{40, 60}, {0, 0}, {2, 0}, {42, 60}, {20, 20}, {2, 0}}));
    }
};

QTEST_MAIN(ScreenTitleChainTest)
#include "test_screen_title_chain.moc"
