#include "document/Guide.h"
#include "render/Renderer.h"

#include <QSignalSpy>
#include <QTest>

using namespace trovix;

namespace {

Image solid(int w, int h, QColor colour) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return Image(image);
}

Step makeStep(const QString& title) {
    return Step::make(solid(40, 20, Qt::blue), 2, title);
}

} // namespace

class GuideTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void dirty_followsTitleAndStepsOnly() {
        Guide guide;
        guide.setTitle(guide.title()); // an equal value still counts
        QVERIFY(guide.isDirty());

        guide.setDirty(false);
        guide.setSelection(QUuid::createUuid());
        guide.setRecording(true);
        guide.setRecording(false);
        guide.setFileURL(QUrl::fromLocalFile(QStringLiteral("/tmp/A.trovix")));
        QVERIFY(!guide.isDirty());

        guide.setSteps(guide.steps());
        QVERIFY(guide.isDirty());

        guide.setDirty(false);
        guide.append(makeStep(QStringLiteral("one")));
        QVERIFY(guide.isDirty());
        guide.setDirty(false);
        QVERIFY(guide.updateStep(guide.steps()[0].id, [](Step& s) { s.note = QStringLiteral("n"); }));
        QVERIFY(guide.isDirty());
        QVERIFY(!guide.updateStep(QUuid::createUuid(), [](Step&) {}));
    }

    void observers_seeOldValueDuringAssignment_andWillChangeComesFirst() {
        Guide guide;
        QStringList events;
        connect(&guide, &Guide::willChange, this, [&] { events << "will:" + guide.title(); });
        connect(&guide, &Guide::titleWillChange, this,
                [&](const QString& next) { events << "title:" + guide.title() + "->" + next; });
        guide.setTitle(QStringLiteral("Demo"));
        QCOMPARE(events, QStringList({"will:Untitled guide", "title:Untitled guide->Demo"}));
        QCOMPARE(guide.title(), QStringLiteral("Demo"));
    }

    void subscribe_deliversCurrentValueThenEveryAssignment() {
        Guide guide;
        QList<bool> seen;
        guide.subscribe(&Guide::recordingWillChange, &Guide::isRecording, this, [&](bool on) { seen << on; });
        guide.setRecording(true);
        guide.setRecording(true);
        guide.setRecording(false);
        QCOMPARE(seen, QList<bool>({false, true, true, false}));

        QList<int> counts;
        guide.subscribe(&Guide::stepsWillChange, &Guide::steps, this,
                        [&](const QList<Step>& steps) { counts << int(steps.size()); });
        QSignalSpy will(&guide, &Guide::willChange);
        const Step first = makeStep(QStringLiteral("a"));
        guide.append(first);
        QCOMPARE(counts, QList<int>({0, 1}));
        // Appending is two assignments (steps, then the selection of the new step).
        QCOMPARE(will.count(), 2);
        QCOMPARE(guide.selection(), first.id);
        const Step second = makeStep(QStringLiteral("b"));
        guide.append(second);
        QCOMPARE(guide.selection(), second.id);
        QCOMPARE(guide.steps().last().id, second.id);
    }

    void replaceContents_keepsDirtyAndSelectsFirst_thenDirtyWorksAgain() {
        Guide guide;
        const QList<Step> steps{makeStep("a"), makeStep("b")};
        guide.replaceContents(QStringLiteral("Loaded"), steps, QUrl::fromLocalFile("/x/G.trovix"));
        QVERIFY(!guide.isDirty());
        QCOMPARE(guide.selection(), steps[0].id);
        QCOMPARE(guide.fileURL().toLocalFile(), QStringLiteral("/x/G.trovix"));

        guide.setDirty(true);
        guide.replaceContents(QStringLiteral("Other"), {}, QUrl());
        QVERIFY(guide.isDirty()); // left as it was
        QVERIFY(guide.selection().isNull());

        guide.setDirty(false);
        guide.setTitle(QStringLiteral("typed"));
        QVERIFY(guide.isDirty());
    }

    void step_renderedFollowsAnnotations() {
        Step step = makeStep(QStringLiteral("s"));
        QVERIFY(step.rendered.sameAs(step.base));
        QCOMPARE(step.note, QString());
        QCOMPARE(step.imageName(), step.id.toString(QUuid::WithoutBraces).toUpper() + ".png");

        const Annotation box{Kind::highlight, {2, 2}, {10, 8}, {}, 0};
        step.setAnnotations({box});
        QVERIFY(!step.rendered.sameAs(step.base));
        QCOMPARE(step.rendered.size(), step.base.size());
        QCOMPARE(step.rendered.pixels(), Renderer::render(step.base.pixels(), {box}, 2));
        // Dropped pixels of a rendered picture are made again from the same recipe.
        const QImage before = step.rendered.pixels();
        QVERIFY(step.rendered.dropPixels());
        QCOMPARE(step.rendered.pixels(), before);
        // Drawing the picture leaves a screenshot known by its PNG undecoded (export memory).
        Step stored = Step::make(Image::fromPng(step.base.png(), step.base.size()), 2, "t", {box});
        QVERIFY(!stored.rendered.pixels().isNull());
        QVERIFY(!stored.base.hasPixels());

        step.setAnnotations({});
        QVERIFY(step.rendered.sameAs(step.base));
    }

    void replaceAnnotations_isOneAssignmentAndKeepsTitle() {
        Guide guide;
        guide.append(makeStep(QStringLiteral("keep me")));
        const QUuid id = guide.steps()[0].id;
        QSignalSpy steps(&guide, &Guide::stepsWillChange);
        QVERIFY(guide.replaceAnnotations(id, {Annotation{Kind::ring, {5, 5}, {}, {}, 0}}));
        QCOMPARE(steps.count(), 1);
        QCOMPARE(guide.steps()[0].title, QStringLiteral("keep me"));
        QCOMPARE(guide.steps()[0].annotations.size(), 1);
        QVERIFY(!guide.replaceAnnotations(QUuid::createUuid(), {}));
    }
};

QTEST_GUILESS_MAIN(GuideTest)
#include "test_guide.moc"
