#include "DesktopDriver.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QMap>
#include <QRegularExpression>
#include <QTest>

#include <atspi/atspi.h>

#include <functional>

namespace trovix::desktop {

QString tmp(const QString& name) {
    return QDir(qEnvironmentVariable("TROVIX_TEST_TMP")).filePath(name);
}

QString trovixBinary() {
    return QDir(qEnvironmentVariable("TROVIX_BINARY_DIR")).filePath(QStringLiteral("src/app/trovix"));
}

bool waitUntil(const std::function<bool()>& done, int timeoutMs, int everyMs) {
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        if (done())
            return true;
        if (timer.elapsed() >= timeoutMs)
            return false;
        QTest::qWait(everyMs);
    }
}

QString xdotool(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

void key(const QString& keys) {
    xdotool({"key", "--clearmodifiers", keys});
}

void type(const QString& text) {
    xdotool({"type", "--delay", "8", text});
}

QString waitForWindow(const QString& pattern, int timeoutMs) {
    QString found;
    waitUntil(
        [&] {
            return !(found = xdotool({"search", "--onlyvisible", "--name", pattern})).isEmpty();
        },
        timeoutMs);
    return found.section(u'\n', 0, 0);
}

bool waitForWindowGone(const QString& pattern, int timeoutMs) {
    return waitUntil(
        [&] {
            return xdotool({"search", "--onlyvisible", "--name", pattern}).isEmpty();
        },
        timeoutMs);
}

QString windowTitle(const QString& window) {
    return xdotool({"getwindowname", window});
}

// xdotool's patterns see the title's bytes, not its characters, so they only narrow the search.
QString waitForTitled(const QString& title, int timeoutMs) {
    QString found;
    waitUntil(
        [&] {
            const QStringList ids =
                xdotool({"search", "--onlyvisible", "--name", QStringLiteral("^") + title}).split(u'\n');
            for (const QString& id : ids)
                if (!id.isEmpty() && windowTitle(id) == title + QStringLiteral(" — Trovix"))
                    found = id;
            return !found.isEmpty();
        },
        timeoutMs);
    return found;
}

bool waitForTitledGone(const QString& title, int timeoutMs) {
    return waitUntil([&] { return waitForTitled(title, 0).isEmpty(); }, timeoutMs);
}

QRect windowGeometry(const QString& window) {
    QMap<QString, int> values; // X, Y, WIDTH, HEIGHT, …
    for (const QString& line : xdotool({"getwindowgeometry", "--shell", window}).split(u'\n'))
        values.insert(line.section(u'=', 0, 0), line.section(u'=', 1).toInt());
    return QRect(values.value("X"), values.value("Y"), values.value("WIDTH"), values.value("HEIGHT"));
}

bool isViewable(const QString& window) {
    QProcess process;
    process.start(QStringLiteral("xwininfo"), {QStringLiteral("-id"), window});
    process.waitForFinished(5000);
    return process.exitCode() == 0 && process.readAllStandardOutput().contains("IsViewable");
}

void activate(const QString& window) {
    xdotool({"windowactivate", "--sync", window});
    QTest::qWait(200);
}

void typeIntoFileDialog(const QString& dialog, const QString& text) {
    activate(dialog);
    key(QStringLiteral("ctrl+a"));
    type(text);
    QTest::qWait(300);
    key(QStringLiteral("Return"));
    waitUntil([&] { return !isViewable(dialog); }, 2000);
    // A completion list may have taken the first Return.
    if (isViewable(dialog))
        key(QStringLiteral("Return"));
}

void screenshot(const QString& name) {
    const QString dir = qEnvironmentVariable("TROVIX_SHOTS");
    if (dir.isEmpty())
        return;
    QDir().mkpath(dir);
    QProcess::execute(QStringLiteral("import"),
                      {QStringLiteral("-window"), QStringLiteral("root"), QDir(dir).filePath(name + ".png")});
}

void initAccessibility() {
    atspi_init();
}

namespace {

// Calls `visit` on every node of the application with this process id, depth first down to
// `maxDepth` (the application is 0, its windows 1), until it answers true.
void walk(qint64 pid, const std::function<bool(AtspiAccessible*, int depth)>& visit, int maxDepth = 24) {
    std::function<bool(AtspiAccessible*, int)> descend = [&](AtspiAccessible* node, int depth) {
        if (!node || depth > maxDepth)
            return false;
        if (visit(node, depth))
            return true;
        const int children = atspi_accessible_get_child_count(node, nullptr);
        for (int i = 0; i < children; ++i) {
            AtspiAccessible* child = atspi_accessible_get_child_at_index(node, i, nullptr);
            const bool done = descend(child, depth + 1);
            if (child)
                g_object_unref(child);
            if (done)
                return true;
        }
        return false;
    };
    AtspiAccessible* desktop = atspi_get_desktop(0);
    const int apps = atspi_accessible_get_child_count(desktop, nullptr);
    bool done = false;
    for (int i = 0; i < apps && !done; ++i) {
        AtspiAccessible* app = atspi_accessible_get_child_at_index(desktop, i, nullptr);
        if (app && qint64(atspi_accessible_get_process_id(app, nullptr)) == pid)
            done = descend(app, 0);
        if (app)
            g_object_unref(app);
    }
    g_object_unref(desktop);
}

QString nameOf(AtspiAccessible* node) {
    gchar* name = atspi_accessible_get_name(node, nullptr);
    const QString result = QString::fromUtf8(name ? name : "");
    g_free(name);
    return result;
}

QRect extentsOf(AtspiAccessible* node) {
    AtspiComponent* component = atspi_accessible_get_component_iface(node);
    if (!component)
        return {};
    AtspiRect* r = atspi_component_get_extents(component, ATSPI_COORD_TYPE_SCREEN, nullptr);
    QRect rect;
    if (r && r->width > 0 && r->height > 0)
        rect = QRect(r->x, r->y, r->width, r->height);
    g_free(r);
    g_object_unref(component);
    return rect;
}

bool hasState(AtspiAccessible* node, AtspiStateType state) {
    AtspiStateSet* states = atspi_accessible_get_state_set(node);
    if (!states)
        return false;
    const bool result = atspi_state_set_contains(states, state);
    g_object_unref(states);
    return result;
}

AccessibleNode describe(AtspiAccessible* node, const QString& name, const QRect& rect) {
    AccessibleNode n;
    n.name = name;
    gchar* role = atspi_accessible_get_role_name(node, nullptr);
    n.role = QString::fromUtf8(role ? role : "");
    g_free(role);
    n.rect = rect;
    if (AtspiStateSet* states = atspi_accessible_get_state_set(node)) {
        n.showing = atspi_state_set_contains(states, ATSPI_STATE_SHOWING);
        n.enabled = atspi_state_set_contains(states, ATSPI_STATE_ENABLED);
        g_object_unref(states);
    }
    return n;
}

} // namespace

std::optional<AccessibleNode> findAccessible(qint64 pid, const std::function<bool(const QString&)>& matches) {
    std::optional<AccessibleNode> found;
    walk(pid, [&](AtspiAccessible* node, int) {
        const QString name = nameOf(node);
        if (!matches(name))
            return false;
        const QRect rect = extentsOf(node);
        if (rect.isEmpty())
            return false;
        found = describe(node, name, rect);
        return true;
    });
    return found;
}

QRect findOnScreen(qint64 pid, const QString& name, int timeoutMs) {
    std::optional<AccessibleNode> found;
    waitUntil(
        [&] {
            return (found = findAccessible(pid, [&](const QString& n) { return n == name; })).has_value();
        },
        timeoutMs, 200);
    return found ? found->rect : QRect();
}

bool hasActiveWindow(qint64 pid) {
    bool active = false;
    const auto visitWindow = [&](AtspiAccessible* node, int depth) {
        if (depth == 1)
            active = hasState(node, ATSPI_STATE_ACTIVE);
        return active;
    };
    walk(pid, visitWindow, 1);
    return active;
}

QStringList accessibleNames(qint64 pid) {
    QStringList names;
    walk(pid, [&](AtspiAccessible* node, int) {
        const QString name = nameOf(node);
        if (!name.isEmpty())
            names.append(name);
        return false;
    });
    return names;
}

QList<AccessibleNode> accessibleNodes(qint64 pid) {
    QList<AccessibleNode> nodes;
    walk(pid, [&](AtspiAccessible* node, int) {
        nodes.append(describe(node, nameOf(node), extentsOf(node)));
        return false;
    });
    return nodes;
}

bool retype(qint64 pid, const QString& field, const QString& text) {
    const QRect rect = findOnScreen(pid, field);
    if (rect.isEmpty())
        return false;
    click(rect);
    key(QStringLiteral("ctrl+a"));
    type(text);
    return true;
}

void click(const QPoint& point, int button) {
    xdotool({"mousemove", "--sync", QString::number(point.x()), QString::number(point.y())});
    QTest::qWait(100);
    xdotool({"click", QString::number(button)});
}

void moveTo(const QPoint& point) {
    xdotool({"mousemove", "--sync", QString::number(point.x()), QString::number(point.y())});
}

void drag(const QPoint& from, const QPoint& to, const std::function<void()>& whileHeld) {
    moveTo(from);
    QTest::qWait(150);
    xdotool({"mousedown", "1"});
    QTest::qWait(150);
    // In many steps, so the application sees a movement and not a jump.
    for (int i = 1; i <= 20; ++i) {
        moveTo(from + (to - from) * i / 20);
        QTest::qWait(30);
    }
    QTest::qWait(300);
    if (whileHeld)
        whileHeld();
    xdotool({"mouseup", "1"});
}

QJsonObject readJson(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

Running::Running(const QStringList& arguments) {
    m_process.setProgram(trovixBinary());
    m_process.setArguments(arguments);
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    m_process.start();
}

Running::~Running() {
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(2000);
    }
}

} // namespace trovix::desktop
