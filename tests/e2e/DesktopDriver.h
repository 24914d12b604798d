#pragma once

// Drives the real trovix executable the way a user does: key presses, typing and clicks through
// xdotool, windows found by title, controls found by name on the accessibility bus, screenshots of
// the whole screen with ImageMagick's import. Nothing here reaches inside the application.

#include <QJsonObject>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace trovix::desktop {

// A path inside the test's scratch folder ($TROVIX_TEST_TMP).
QString tmp(const QString& name);
// The trovix executable of this build tree.
QString trovixBinary();

// Asks `done` every `everyMs` until it answers true (true) or `timeoutMs` have passed (false).
bool waitUntil(const std::function<bool()>& done, int timeoutMs, int everyMs = 100);

// Runs xdotool and answers what it printed, trimmed.
QString xdotool(const QStringList& arguments);
// Presses keys ("ctrl+s", "Return") with the modifiers held by nobody else.
void key(const QString& keys);
void type(const QString& text);

// The first visible window whose title matches `pattern` (a regular expression), waiting for it;
// empty when none appeared in time.
QString waitForWindow(const QString& pattern, int timeoutMs = 15000);
bool waitForWindowGone(const QString& pattern, int timeoutMs = 15000);
QString windowTitle(const QString& window);
// The visible window titled exactly `title` followed by the application's name (" — Trovix"),
// waiting for it; empty when none appeared in time.
QString waitForTitled(const QString& title, int timeoutMs = 15000);
bool waitForTitledGone(const QString& title, int timeoutMs = 15000);
QRect windowGeometry(const QString& window);
bool isViewable(const QString& window);
void activate(const QString& window);

// Types a path into a file dialog's name field, replacing what it holds, and confirms.
void typeIntoFileDialog(const QString& dialog, const QString& text);

// Saves a picture of the whole screen as <name>.png in $TROVIX_SHOTS, when that is set.
void screenshot(const QString& name);

// The screen rectangle of the first accessible object called `name` in the application with this
// process id, waiting for it; empty when none appeared in time. Call initAccessibility() first.
void initAccessibility();
QRect findOnScreen(qint64 pid, const QString& name, int timeoutMs = 10000);
// Every accessible name in that application's tree (for messages when something is missing).
QStringList accessibleNames(qint64 pid);
// Every object of that application's tree with its role name ("push button", "label", …) and its
// screen rectangle (empty when it has none), depth first.
struct AccessibleNode {
    QString name;
    QString role;
    QRect rect;
    bool showing = false;
    bool enabled = false;
};
QList<AccessibleNode> accessibleNodes(qint64 pid);
// The first object of that application's tree whose name `matches` and that has a place on the
// screen; nullopt when there is none. Does not wait.
std::optional<AccessibleNode> findAccessible(qint64 pid, const std::function<bool(const QString&)>& matches);
// Whether one of that application's windows is the active one, as the application itself sees it.
bool hasActiveWindow(qint64 pid);

// Types a new text into the line edit with this accessible name; false when it is not on screen.
bool retype(qint64 pid, const QString& field, const QString& text);

void click(const QPoint& point, int button = 1);
inline void click(const QRect& rect) {
    click(rect.center());
}
void moveTo(const QPoint& point);
// A press, a slow movement and a release, as a hand makes it; `whileHeld` runs before the release.
void drag(const QPoint& from, const QPoint& to, const std::function<void()>& whileHeld = {});

QJsonObject readJson(const QString& path);

// The trovix executable, started with `arguments`; terminated when this goes away.
class Running {
public:
    explicit Running(const QStringList& arguments = {});
    ~Running();
    qint64 pid() const { return m_process.processId(); }
    bool waitForExit(int ms = 30000) { return m_process.waitForFinished(ms); }
    int exitCode() const { return m_process.exitCode(); }
    bool crashed() const { return m_process.exitStatus() == QProcess::CrashExit; }
    bool isRunning() const { return m_process.state() == QProcess::Running; }

private:
    QProcess m_process;
};

} // namespace trovix::desktop
