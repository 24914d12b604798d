#pragma once

// A scripted Dialogs for tests: installs itself while it lives, answers each question from a queue
// of prepared answers and records what was asked. A question without a matching answer is recorded in
// `unexpected` and answered as a cancel.

#include "platform/Dialogs.h"

#include <QList>
#include <QString>
#include <QStringList>

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

    FakeDialogs() { Dialogs::setCurrent(this); }
    ~FakeDialogs() override { Dialogs::setCurrent(nullptr); }
    FakeDialogs(const FakeDialogs&) = delete;
    FakeDialogs& operator=(const FakeDialogs&) = delete;

    void answerAlert(int button) { m_answers.append(Answer{Kind::alert, button, {}}); }
    // An empty path answers as a cancelled panel.
    void answerSave(const QString& path) { m_answers.append(Answer{Kind::save, 0, path}); }
    int count(Kind kind) const {
        int n = 0;
        for (const Asked& a : asked)
            n += a.kind == kind;
        return n;
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

    void record(const Asked& a) { asked.append(a); }

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
