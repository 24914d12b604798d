// Kills a process that keeps changing a guide with autosave running, at random moments and at moments
// aimed at its writes, and checks after every kill that the working copy reads back whole and holds
// every step that existed 1.5 seconds before the kill.

#include "document/Error.h"
#include "document/GuideStore.h"
#include "render/ImageCodec.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <ctime>
#include <map>
#include <set>

using namespace trovix;

namespace {

constexpr qint64 second = 1000000000;
constexpr qint64 grace = 3 * second / 2;
constexpr qint64 longAgo = -1; // on disk when the child started

qint64 now() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return qint64(ts.tv_sec) * second + ts.tv_nsec;
}

// One child at a time writing its own working copy; several lanes run side by side.
class Lane : public QObject {
public:
    Lane(int index, int kills, QStringList& failures)
        : m_index(index)
        , m_killsLeft(kills)
        , m_failures(failures)
        , m_random(quint32(index) * 7919 + 1)
        , m_home(qEnvironmentVariable("TROVIX_TEST_TMP") + QStringLiteral("/lane%1").arg(index)) {
        QDir().mkpath(m_home);
        m_killTimer.setSingleShot(true);
        connect(&m_killTimer, &QTimer::timeout, this, [this] { kill(); });
    }

    bool done() const { return m_killsLeft == 0 && !m_child; }
    int kills() const { return m_kills; }
    int checkedSteps() const { return m_checked; }
    QString workingCopy() const { return m_home + "/Trovix/Current"; }

    void start() {
        m_child = new QProcess(this);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_DATA_HOME", m_home);
        m_child->setProcessEnvironment(env);
        m_child->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        // What a killed child had only in memory is gone with it; the new one reports what it loaded.
        m_added.clear();
        m_deleted.clear();
        connect(m_child, &QProcess::readyReadStandardOutput, this, [this] { readLines(); });
        m_aimed = false;
        m_child->start(QStringLiteral(CRASH_CHILD), {QString::number(++m_runs * 100 + m_index)});
    }

private:
    void readLines() {
        while (m_child && m_child->canReadLine()) {
            const QList<QByteArray> parts = m_child->readLine().trimmed().split(' ');
            const QByteArray& what = parts[0];
            if (what == "have") {
                m_added[QString::fromLatin1(parts[1])] = longAgo;
                m_deleted.erase(QString::fromLatin1(parts[1]));
            } else if (what == "add") {
                m_added[QString::fromLatin1(parts[1])] = parts[2].toLongLong();
            } else if (what == "del") {
                m_deleted.insert(QString::fromLatin1(parts[1]));
            } else if (what == "ready") {
                // Mostly random moments; every third kill is aimed at the write a burst of changes sets off.
                if (m_random.bounded(3) == 0)
                    m_aimed = true;
                else
                    m_killTimer.start(150 + int(m_random.bounded(2300)));
            } else if (what == "change" && m_aimed) {
                // Restarted by every change, like the child's own autosave timer, so the kill lands
                // just as the write after a burst of changes runs.
                m_killTimer.start(1000 + int(m_random.bounded(25)));
            }
        }
    }

    void kill() {
        if (!m_child)
            return;
        readLines();
        const qint64 killedAt = now();
        ::kill(pid_t(m_child->processId()), SIGKILL);
        m_child->waitForFinished(5000);
        readLines(); // what it reported before dying
        QProcess* child = m_child;
        m_child = nullptr;
        child->deleteLater();
        ++m_kills;
        --m_killsLeft;
        check(killedAt);
        if (m_killsLeft > 0)
            start();
    }

    void check(qint64 killedAt) {
        QStringList required;
        for (const auto& [id, at] : m_added)
            if (at <= killedAt - grace && !m_deleted.count(id))
                required << id;
        const QString where = QStringLiteral("lane %1, kill %2: ").arg(m_index).arg(m_kills);
        LoadedGuide copy;
        try {
            copy = GuideStore::read(workingCopy());
        } catch (const Error& error) {
            // Before the first write there is nothing to read, and nothing may be missing.
            if (!required.isEmpty() || QFile::exists(workingCopy() + "/guide.json"))
                m_failures << where + error.message();
            return;
        }
        std::set<QString> present;
        for (const Step& step : copy.steps) {
            const QString id = uuidString(step.id);
            present.insert(id);
            if (!m_added.count(id))
                m_failures << where + "a step that never existed: " + id;
            if (ImageCodec::decode(step.base.png()).size() != step.base.size())
                m_failures << where + "a picture that does not decode: " + id;
        }
        // When the record was last replaced, on the monotonic clock, to tell a late write from a wrong one.
        timespec wall;
        clock_gettime(CLOCK_REALTIME, &wall);
        const qint64 written =
            killedAt -
            (qint64(wall.tv_sec) * second + wall.tv_nsec -
             QFileInfo(workingCopy() + "/guide.json").lastModified().toMSecsSinceEpoch() * 1000000);
        for (const QString& id : required)
            if (!present.count(id))
                m_failures << where + QStringLiteral(
                                          "lost step %1, added %2 ms before the kill; the record was written "
                                          "%3 ms before the kill")
                                          .arg(id)
                                          .arg((killedAt - m_added[id]) / 1000000)
                                          .arg((killedAt - written) / 1000000);
        m_checked += int(required.size());
    }

    int m_index;
    int m_killsLeft;
    int m_kills = 0;
    int m_runs = 0;
    int m_checked = 0;
    bool m_aimed = false;
    QStringList& m_failures;
    QRandomGenerator m_random;
    QString m_home;
    QProcess* m_child = nullptr;
    QTimer m_killTimer;
    std::map<QString, qint64> m_added;
    std::set<QString> m_deleted;
};

} // namespace

class AutosaveCrashTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void workingCopySurvivesKillsAtAnyMoment() {
        constexpr int lanes = 3, killsPerLane = 17;
        QStringList failures;
        std::vector<std::unique_ptr<Lane>> all;
        for (int i = 0; i < lanes; ++i) {
            all.push_back(std::make_unique<Lane>(i, killsPerLane, failures));
            all.back()->start();
        }
        const auto finished = [&] {
            for (const auto& lane : all)
                if (!lane->done())
                    return false;
            return true;
        };
        QTRY_VERIFY_WITH_TIMEOUT(finished(), 150000);

        int kills = 0, checked = 0;
        for (const auto& lane : all) {
            kills += lane->kills();
            checked += lane->checkedSteps();
        }
        qInfo("%d kills, %d step presences checked", kills, checked);
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join('\n')));
        QVERIFY(kills >= 50);
        QVERIFY2(checked >= 100, "too few steps were old enough to be checked"); // the test must bite
    }
};

QTEST_GUILESS_MAIN(AutosaveCrashTest)
#include "test_autosave_crash.moc"
