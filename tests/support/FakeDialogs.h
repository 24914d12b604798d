#pragma once

// A scripted Dialogs for tests: installs itself while it lives, answers every alert and panel from
// a queue of prepared answers, and records what was asked.
//
//     #include "support/FakeDialogs.h"
//     FakeDialogs dialogs;
//     dialogs.answerAlert(1);                        // "Don’t Save"
//     dialogs.answerSave(dir + "/Demo");             // the save panel's chosen path
//     … run the command …
//     QCOMPARE(dialogs.asked.size(), 2);
//     QCOMPARE(dialogs.asked[0].alert.message, …);
//     QVERIFY(dialogs.unexpected.isEmpty());
//
// A question without a matching answer (none queued, or the next answer is for another kind of
// dialog) is recorded in `unexpected` and answered as a cancel: -1 (or the alert's cancel button)
// for an alert, an empty path for a panel.

#include "platform/Dialogs.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace trovix {

class FakeDialogs : public Dialogs {
public:
    enum class Kind { alert, save, open };

    struct Asked {
        Kind kind;
        Alert alert;    // kind == alert
        SavePanel save; // kind == save
        OpenPanel open; // kind == open
        QWidget* parent = nullptr;
    };

    QList<Asked> asked;
    QStringList unexpected;
    // Called with each question before it is answered, e.g. to look at the windows at that moment.
    std::function<void(const Asked&)> onAsk;

    FakeDialogs() { Dialogs::setCurrent(this); }
    ~FakeDialogs() override { Dialogs::setCurrent(nullptr); }
    FakeDialogs(const FakeDialogs&) = delete;
    FakeDialogs& operator=(const FakeDialogs&) = delete;

    void answerAlert(int button) { m_answers.append(Answer{Kind::alert, button, {}}); }
    // An empty path answers as a cancelled panel.
    void answerSave(const QString& path) { m_answers.append(Answer{Kind::save, 0, path}); }
    void answerOpen(const QString& path) { m_answers.append(Answer{Kind::open, 0, path}); }

    bool allAnswered() const { return m_answers.isEmpty(); }
    int count(Kind kind) const {
        int n = 0;
        for (const Asked& a : asked)
            n += a.kind == kind;
        return n;
    }
    // The messages of the alerts asked, in order.
    QStringList alertMessages() const {
        QStringList list;
        for (const Asked& a : asked)
            if (a.kind == Kind::alert)
                list.append(a.alert.message);
        return list;
    }

    int alert(QWidget* parent, const Alert& alert) override {
        Asked a{Kind::alert, alert, {}, {}, parent};
        record(a);
        if (const Answer* answer = next(Kind::alert, alert.message))
            return answer->button;
        return alert.cancelButton;
    }

    QString save(QWidget* parent, const SavePanel& panel) override {
        Asked a{Kind::save, {}, panel, {}, parent};
        record(a);
        const Answer* answer = next(Kind::save, QStringLiteral("save panel “%1”").arg(panel.title));
        return answer ? answer->path : QString();
    }

    QString open(QWidget* parent, const OpenPanel& panel) override {
        Asked a{Kind::open, {}, {}, panel, parent};
        record(a);
        const Answer* answer = next(Kind::open, QStringLiteral("open panel “%1”").arg(panel.title));
        return answer ? answer->path : QString();
    }

private:
    struct Answer {
        Kind kind;
        int button;
        QString path;
    };

    void record(const Asked& a) {
        asked.append(a);
        if (onAsk)
            onAsk(a);
    }

    const Answer* next(Kind kind, const QString& what) {
        if (m_answers.isEmpty() || m_answers.first().kind != kind) {
            unexpected.append(what);
            return nullptr;
        }
        m_current = m_answers.takeFirst();
        return &m_current;
    }

    QList<Answer> m_answers;
    Answer m_current{Kind::alert, -1, {}};
};

} // namespace trovix
