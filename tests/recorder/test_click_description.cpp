#include "FakeAccessibility.h"
#include "recorder/ClickDescriber.h"
#include "recorder/ClickMark.h"
#include "recorder/ScreenLayout.h"

#include <QTest>

using namespace trovix;

namespace {

const QRectF primary(0, 0, 1000, 800);
using A = ElementAttribute;

ClickTarget describe(const FakeDesktop& desktop) {
    return ClickDescriber::describe(desktop, QPointF(10, 10), primary);
}

} // namespace

class ClickDescriptionTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void climb_findsInteractiveAncestorWithinFiveLevels() {
        FakeDesktop desktop;
        auto window = FakeElement::make(QStringLiteral("AXWindow"));
        auto button = FakeElement::make(QStringLiteral("AXButton"), window);
        button->set(A::title, QStringLiteral("Save"));
        button->frame = QRectF(100, 200, 80, 24);
        auto text = FakeElement::make(QStringLiteral("AXStaticText"), button);
        text->set(A::title, QStringLiteral("inner text"));
        text->frame = QRectF(110, 204, 40, 16);
        desktop.hit = text;
        QCOMPARE(describe(desktop),
                 (ClickTarget{QStringLiteral("Click “Save” in Editor"), QRectF(100, 200, 80, 24)}));

        // Hit plus four ancestors are examined: a control four levels up is found…
        auto control = FakeElement::make(QStringLiteral("AXCheckBox"), window);
        control->set(A::title, QStringLiteral("Bold"));
        auto chain = control;
        for (int i = 0; i < 3; ++i)
            chain = FakeElement::make(QStringLiteral("AXGroup"), chain);
        auto hit = FakeElement::make(QStringLiteral("AXImage"), chain);
        hit->set(A::roleDescription, QStringLiteral("image"));
        hit->frame = QRectF(5, 5, 20, 20);
        desktop.hit = hit;
        QCOMPARE(describe(desktop).title, QStringLiteral("Click “Bold” in Editor"));

        // …one level further is not: the hit element itself is described, with its frame.
        hit->up = FakeElement::make(QStringLiteral("AXGroup"), chain);
        QCOMPARE(describe(desktop),
                 (ClickTarget{QStringLiteral("Click the image in Editor"), QRectF(5, 5, 20, 20)}));

    }

    void labels_followTheirOrderAndSkipEmptyAndLongTexts() {
        FakeDesktop desktop;
        auto chosen = FakeElement::make(QStringLiteral("AXButton"));
        auto hit = FakeElement::make(QStringLiteral("AXStaticText"), chosen);
        desktop.hit = hit;
        chosen->set(A::roleDescription, QStringLiteral("button"));

        QCOMPARE(describe(desktop).title, QStringLiteral("Click the button in Editor"));
        hit->set(A::value, QStringLiteral("hit value"));
        QCOMPARE(describe(desktop).title, QStringLiteral("Click “hit value” in Editor"));
        hit->set(A::description, QStringLiteral("hit description"));
        hit->set(A::title, QStringLiteral("hit title"));
        QCOMPARE(describe(desktop).title, QStringLiteral("Click “hit title” in Editor"));
        chosen->set(A::description, QStringLiteral("chosen description"));
        QCOMPARE(describe(desktop).title, QStringLiteral("Click “chosen description” in Editor"));
        chosen->set(A::title, QStringLiteral("chosen title"));
        QCOMPARE(describe(desktop).title, QStringLiteral("Click “chosen title” in Editor"));

        // An empty title counts as absent; so does one of 80 user-perceived characters or more.
        chosen->set(A::title, QString());
        QCOMPARE(describe(desktop).title, QStringLiteral("Click “chosen description” in Editor"));
        chosen->set(A::title, QString(80, QLatin1Char('x')));
        QCOMPARE(describe(desktop).title, QStringLiteral("Click “chosen description” in Editor"));
        const QString seventyNine(79, QLatin1Char('x'));
        chosen->set(A::title, seventyNine);
        QCOMPARE(describe(desktop).title, QStringLiteral("Click “%1” in Editor").arg(seventyNine));

        // Nothing known: the fallback, with or without the application's name.
        desktop.hit = FakeElement::make(QStringLiteral("AXGroup"));
        QCOMPARE(describe(desktop).title, QStringLiteral("Click in Editor"));
        desktop.application.reset();
        QCOMPARE(describe(desktop).title, QStringLiteral("Click"));
    }

    void frames_dropTinyAndWindowSizedOnes() {
        FakeDesktop desktop;
        auto button = FakeElement::make(QStringLiteral("AXButton"));
        button->set(A::title, QStringLiteral("OK"));
        desktop.hit = button;

        button->frame = QRectF(10, 10, 3, 40); // 3 points wide: title kept, frame dropped
        QCOMPARE(describe(desktop), (ClickTarget{QStringLiteral("Click “OK” in Editor"), std::nullopt}));
        button->frame = QRectF(10, 10, 4, 4);
        QCOMPARE(describe(desktop).frame, QRectF(10, 10, 4, 4));

        // Exactly 40 % of the primary display (1000 × 800) is kept; anything more is a window.
        button->frame = QRectF(0, 0, 400, 800);
        QCOMPARE(describe(desktop).frame, QRectF(0, 0, 400, 800));
        button->frame = QRectF(0, 0, 400.5, 800);
        QCOMPARE(describe(desktop).frame, std::nullopt);

        // The rule measures the primary display, even for a control on a larger second screen.
        button->frame = QRectF(2000, 0, 600, 600);
        QCOMPARE(describe(desktop).frame, std::nullopt);
    }

    void fallback_withoutTrustScreensOrElement() {
        FakeDesktop desktop;
        auto button = FakeElement::make(QStringLiteral("AXButton"));
        button->set(A::title, QStringLiteral("OK"));
        button->frame = QRectF(10, 10, 40, 20);
        desktop.hit = button;

        desktop.trusted = false;
        QCOMPARE(describe(desktop), (ClickTarget{QStringLiteral("Click in Editor"), std::nullopt}));
        QVERIFY(!desktop.askedAt);
        desktop.trusted = true;
        QCOMPARE(ClickDescriber::describe(desktop, QPointF(3, 4), std::nullopt).title,
                 QStringLiteral("Click in Editor"));
        desktop.hit = nullptr;
        QCOMPARE(ClickDescriber::describe(desktop, QPointF(3, 4), primary),
                 (ClickTarget{QStringLiteral("Click in Editor"), std::nullopt}));
        QCOMPARE(desktop.askedAt, QPointF(3, 4));
    }

    void marks_removeTheClickedScreensOffset() {
        // A second screen placed right of the primary one and raised above it.
        ScreenLayout layout;
        layout.screens = {{QRectF(0, 0, 1920, 1080), 1}, {QRectF(1920, -500, 1280, 1024), 2}};

        // The first screen containing the point, minimum edges in, maximum edges out.
        QCOMPARE(layout.screenAt(QPointF(1919.5, 1079.5)), 0);
        QCOMPARE(layout.screenAt(QPointF(1920, 0)), 1);
        QCOMPARE(layout.screenAt(QPointF(100, 1080)), -1);
        QCOMPARE(layout.screenAt(QPointF(2000, 524)), -1);

        const QRectF second = layout.screens[1].geometry;
        const Annotation target = ClickMark::make({QStringLiteral("Click"), QRectF(2000, -400, 100, 30)},
                                                  QPointF(2010, -390), second);
        QCOMPARE(target.kind, Kind::target);
        QCOMPARE(target.p1, QPointF(80, 100));
        QCOMPARE(target.p2, QPointF(180, 130));

        const Annotation ring =
            ClickMark::make({QStringLiteral("Click"), std::nullopt}, QPointF(2000, -300), second);
        QCOMPARE(ring.kind, Kind::ring);
        QCOMPARE(ring.p1, QPointF(80, 200));
        QCOMPARE(ring.p2, QPointF(0, 0));

        // Native pixels of the doubled second screen map to points from its own corner.
        QCOMPARE(layout.toPoints(QPointF(1920 + 200, -500 + 100)), QPointF(2020, -450));
        QCOMPARE(layout.toNative(QPointF(2020, -450)), QPointF(2120, -400));
        QCOMPARE(layout.toPoints(QRectF(2120, -400, 64, 32)), QRectF(2020, -450, 32, 16));
    }
};

QTEST_GUILESS_MAIN(ClickDescriptionTest)
#include "test_click_description.moc"
