// Keeps changing a guide the way a user would, with autosave running, until it is killed.
//
// It starts from the working copy, like the application, and reports on stdout (one line each,
// flushed at once, times from the monotonic clock in nanoseconds):
//   have <id>          a step loaded from the working copy
//   ready <t>          loading is done
//   add <id> <t>       a step was appended (reported after the append)
//   del <id> <t>       a step is about to be removed (reported before the removal)
//   change <t>         the guide was changed
// Changes come in short bursts with pauses a little longer than the autosave delay, so every change
// is followed by a write.

#include "document/GuideStore.h"

#include "support/SyntheticScreenshot.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QTimer>

#include <cstdio>
#include <ctime>

using namespace trovix;

namespace {

qint64 now() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

void report(const QString& line) {
    std::fputs(qPrintable(line + '\n'), stdout);
    std::fflush(stdout);
}

class Churn : public QObject {
public:
    Churn(Guide& guide, quint32 seed)
        : m_guide(guide)
        , m_random(seed)
        , m_seed(seed) {}

    void burst() {
        const int actions = 1 + int(m_random.bounded(3));
        for (int i = 0; i < actions; ++i) {
            QTimer::singleShot(int(m_random.bounded(30)) * i, this, [this] { act(); });
        }
        // The pause after a burst is longer than the autosave delay, so the write starts before the
        // next burst could postpone it.
        QTimer::singleShot(150 + 1050 + int(m_random.bounded(400)), this, [this] { burst(); });
    }

private:
    void act() {
        const QList<Step>& steps = m_guide.steps();
        const int roll = int(m_random.bounded(100));
        if (steps.size() >= 10 || (roll < 8 && steps.size() >= 3)) {
            const Step& victim = steps[int(m_random.bounded(quint32(steps.size())))];
            report(QStringLiteral("del %1 %2").arg(uuidString(victim.id)).arg(now()));
            const QUuid id = victim.id;
            QList<Step> rest = steps;
            rest.removeIf([&](const Step& s) { return s.id == id; });
            m_guide.setSteps(rest);
        } else if (roll < 2) {
            for (const Step& step : steps)
                report(QStringLiteral("del %1 %2").arg(uuidString(step.id)).arg(now()));
            m_guide.reset(); // writes at once, on this thread
        } else if (roll < 45) {
            const QImage picture = testing::syntheticScreenshot(800, 500, m_seed * 1000 + ++m_made);
            m_guide.append(Step::make(Image(picture), 2, QStringLiteral("Step %1").arg(m_made)));
            report(QStringLiteral("add %1 %2").arg(uuidString(m_guide.steps().last().id)).arg(now()));
        } else if (roll < 60 && !steps.isEmpty()) {
            const QUuid id = steps[int(m_random.bounded(quint32(steps.size())))].id;
            const Annotation mark{
                Kind(m_random.bounded(8)), {10, 10}, {120, 80}, QStringLiteral("Here/there"), 3};
            m_guide.replaceAnnotations(id, {mark});
        } else if (roll < 75 && !steps.isEmpty()) {
            const QUuid id = steps[int(m_random.bounded(quint32(steps.size())))].id;
            m_guide.updateStep(id,
                               [&](Step& s) { s.note = QStringLiteral("note %1").arg(m_random.generate()); });
        } else if (roll < 85 && steps.size() >= 2) {
            QList<Step> reordered = steps;
            reordered.move(0, reordered.size() - 1);
            m_guide.setSteps(reordered);
        } else if (roll < 92 && !steps.isEmpty()) {
            m_guide.setSelection(steps[int(m_random.bounded(quint32(steps.size())))].id);
        } else {
            m_guide.setTitle(QStringLiteral("Title %1").arg(m_random.generate()));
        }
        report(QStringLiteral("change %1").arg(now()));
    }

    Guide& m_guide;
    QRandomGenerator m_random;
    quint32 m_seed;
    int m_made = 0;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const quint32 seed = argc > 1 ? QByteArray(argv[1]).toUInt() : 1;
    const std::unique_ptr<Guide> guide = GuideStore::load();
    for (const Step& step : guide->steps())
        report(QStringLiteral("have %1").arg(uuidString(step.id)));
    report(QStringLiteral("ready %1").arg(now()));
    Churn churn(*guide, seed);
    churn.burst();
    return app.exec();
}
