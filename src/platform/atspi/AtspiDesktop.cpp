#include "platform/atspi/AtspiDesktop.h"

#include "platform/atspi/AtspiRoles.h"
#include "platform/atspi/DesktopEntries.h"
#include "platform/atspi/X11Windows.h"

#include <atspi/atspi-constants.h>

namespace trovix {

namespace {

bool has(quint64 states, AtspiStateType state) {
    return states & (quint64(1) << state);
}

// One object of the tree. Reads each fact once.
class AtspiElement : public AccessibleElement {
public:
    AtspiElement(AtspiClient* client, const ScreenLayout* layout, AtspiRef ref, QPoint origin)
        : m_client(client)
        , m_layout(layout)
        , m_ref(std::move(ref))
        , m_origin(origin) {}

    std::optional<QString> text(ElementAttribute attribute) const override {
        switch (attribute) {
        case ElementAttribute::role:
            return roleName();
        case ElementAttribute::title:
            return m_client->name(m_ref);
        case ElementAttribute::description:
            return m_client->description(m_ref);
        case ElementAttribute::value:
            // Long texts never make a title; a thousand characters are plenty to tell.
            return m_client->text(m_ref, 1000);
        case ElementAttribute::roleDescription:
            return m_client->localizedRoleName(m_ref);
        case ElementAttribute::contents:
            return m_client->text(m_ref, 1 << 20);
        }
        return std::nullopt;
    }

    ElementRef parent() const override {
        const std::optional<AtspiRef> parent = m_client->parent(m_ref);
        if (!parent || parent->isNull())
            return nullptr;
        return std::make_shared<AtspiElement>(m_client, m_layout, *parent, m_origin);
    }

    std::optional<QPointF> position() const override {
        const std::optional<QRectF> frame = extents();
        return frame ? std::optional<QPointF>(frame->topLeft()) : std::nullopt;
    }

    std::optional<QSizeF> size() const override {
        const std::optional<QRectF> frame = extents();
        return frame ? std::optional<QSizeF>(frame->size()) : std::nullopt;
    }

    // A role that cannot be read counts as a secret: a password field that answers slowly must
    // not have its text taken for an ordinary field's.
    bool isSecret() const override {
        const std::optional<uint> role = m_client->role(m_ref);
        return !role || *role == uint(ATSPI_ROLE_PASSWORD_TEXT);
    }

private:
    std::optional<QRectF> extents() const {
        if (!m_extentsRead) {
            m_extentsRead = true;
            // Popup menu items on Wayland know no place at all (INT_MIN).
            const std::optional<QRect> native = m_client->extents(m_ref);
            if (native && native->x() > -1000000 && native->y() > -1000000)
                m_extents = m_layout->toPoints(QRectF(native->translated(m_origin)));
        }
        return m_extents;
    }

    std::optional<QString> roleName() const {
        const std::optional<uint> role = m_client->role(m_ref);
        if (!role)
            return std::nullopt;
        AtspiRoles::Facts facts;
        facts.states = [this] { return m_client->states(m_ref).value_or(0); };
        facts.parentRole = [this]() -> std::optional<uint> {
            const std::optional<AtspiRef> parent = m_client->parent(m_ref);
            return parent ? m_client->role(*parent) : std::nullopt;
        };
        facts.hasEditableTextChild = [this] {
            const auto children = m_client->children(m_ref);
            if (!children)
                return false;
            for (const AtspiRef& child : *children) {
                const std::optional<uint> role = m_client->role(child);
                if (role == uint(ATSPI_ROLE_TEXT) || role == uint(ATSPI_ROLE_ENTRY)) {
                    if (has(m_client->states(child).value_or(0), ATSPI_STATE_EDITABLE))
                        return true;
                }
            }
            return false;
        };
        return AtspiRoles::name(*role, facts);
    }

    AtspiClient* m_client;
    const ScreenLayout* m_layout;
    AtspiRef m_ref;
    QPoint m_origin;
    mutable bool m_extentsRead = false;
    mutable std::optional<QRectF> m_extents;
};

} // namespace

AtspiDesktop::AtspiDesktop(Context context, ScreenLayout layout)
    : m_context(context)
    , m_layout(std::move(layout)) {}

QPoint AtspiDesktop::windowOrigin(const ClickedWindow& window, const QRect& reported) {
    if (window.x11)
        return {};
    const QRect& buffer = window.buffer;
    if (reported.topLeft() != QPoint(0, 0) && buffer.contains(reported))
        return {};
    const int side = std::max(0, (buffer.width() - reported.width()) / 2);
    const int top = std::max(0, buffer.height() - reported.height() - side);
    return buffer.topLeft() + QPoint(side, top);
}

bool AtspiDesktop::visitShowingWindows(
    const std::function<bool(std::optional<uint> pid)>& wanted,
    const std::function<void(const AtspiRef& window, quint64 states, const QRect& extents)>& visit) const {
    AtspiClient& client = *m_context.client;
    const std::optional<QList<AtspiRef>> applications = client.children(AtspiRef::desktop());
    if (!applications)
        return false;
    for (const AtspiRef& application : *applications) {
        if (!wanted(client.processId(application.service)))
            continue;
        const std::optional<QList<AtspiRef>> windows =
            client.children(AtspiRef::applicationRoot(application.service));
        if (!windows)
            continue;
        for (const AtspiRef& window : *windows) {
            const quint64 states = client.states(window).value_or(0);
            if (!has(states, ATSPI_STATE_SHOWING))
                continue;
            if (const std::optional<QRect> extents = client.extents(window))
                visit(window, states, *extents);
        }
    }
    return true;
}

std::optional<AtspiRef> AtspiDesktop::clickedWindow() const {
    AtspiClient& client = *m_context.client;
    const ClickedWindow& clicked = *m_context.clicked;
    if (clicked.pid <= 0 || clicked.pid == qint64(m_context.ownPid))
        return std::nullopt;
    struct Candidate {
        AtspiRef window;
        QRect extents;
        std::tuple<bool, bool, qint64> score;
    };
    std::optional<Candidate> best;
    visitShowingWindows(
        [&](std::optional<uint> pid) { return pid == uint(clicked.pid); },
        [&](const AtspiRef& window, quint64 states, const QRect& extents) {
            // The window the compositor names: the one of that title, else the
            // active one, else the one whose size comes closest to the buffer's.
            const bool titled = client.name(window).value_or(QString()) == clicked.title;
            const qint64 misfit = std::abs(qint64(clicked.buffer.width()) - extents.width()) +
                                  std::abs(qint64(clicked.buffer.height()) - extents.height());
            Candidate candidate{window, extents, {titled, has(states, ATSPI_STATE_ACTIVE), -misfit}};
            if (!best || candidate.score > best->score)
                best = candidate;
        });
    if (!best)
        return std::nullopt;
    m_origin = windowOrigin(clicked, best->extents);
    return best->window;
}

std::optional<AtspiRef> AtspiDesktop::windowAt(QPoint point) const {
    m_origin = {};
    if (m_context.clicked)
        return clickedWindow();
    // The X window on top at the point tells which application, and which of its windows, gets the
    // click; the accessibility tree alone knows nothing of stacking.
    const std::optional<X11Windows::Client>& top = topLevelAt(point);
    // With the X server answering, no window at the point means only the root window is there.
    if (m_context.windows && !top)
        return std::nullopt;
    const std::optional<uint> topPid = top ? top->pid : std::nullopt;

    struct Candidate {
        AtspiRef window;
        QRect extents;
        bool active = false;
    };
    QList<Candidate> candidates;
    const bool listed = visitShowingWindows(
        [&](std::optional<uint> pid) {
            return pid && *pid != m_context.ownPid && (!topPid || *pid == *topPid);
        },
        [&](const AtspiRef& window, quint64 states, const QRect& extents) {
            if (extents.contains(point))
                candidates.append({window, extents, has(states, ATSPI_STATE_ACTIVE)});
        });
    if (!listed)
        return std::nullopt;
    // A window on top whose process is unknown can only be one of the candidates if it holds it;
    // otherwise it belongs to something that is not accessible and covers them all.
    if (top && !topPid)
        candidates.removeIf([&](const Candidate& c) { return !top->geometry.contains(c.extents); });
    if (candidates.isEmpty())
        return std::nullopt;

    // Several windows may contain the point (a dialog over its main window, a popup over both):
    // prefer the one that lies within the X window on top, then the active one, then the smallest.
    auto score = [&](const Candidate& candidate) {
        const bool inside = top && top->geometry.contains(candidate.extents);
        return std::make_tuple(inside, candidate.active,
                               -qint64(candidate.extents.width()) * candidate.extents.height());
    };
    const Candidate* best = &candidates.first();
    for (const Candidate& candidate : candidates)
        if (score(candidate) > score(*best))
            best = &candidate;
    return best->window;
}

ElementRef AtspiDesktop::elementAt(QPointF point) const {
    AtspiClient& client = *m_context.client;
    const QPoint native = nativePoint(point);
    const std::optional<AtspiRef> window = windowAt(native);
    if (!window)
        return nullptr;
    // Down to the deepest child at the point; stop when there is none or the same one comes back.
    AtspiRef element = *window;
    for (int depth = 0; depth < 64; ++depth) {
        const std::optional<AtspiRef> child = client.accessibleAtPoint(element, native - m_origin);
        if (!child || child->isNull() || *child == element)
            break;
        element = *child;
    }
    return std::make_shared<AtspiElement>(m_context.client, &m_layout, element, m_origin);
}

ElementRef AtspiDesktop::element(const AtspiRef& ref) const {
    if (ref.isNull())
        return nullptr;
    // Inside a window the compositor named, places count from that window (Wayland).
    m_origin = {};
    if (m_context.clicked)
        clickedWindow();
    return std::make_shared<AtspiElement>(m_context.client, &m_layout, ref, m_origin);
}

std::optional<uint> AtspiDesktop::processOf(const AtspiRef& ref) const {
    return m_context.client->processId(ref.service);
}

bool AtspiDesktop::inWebPage(const AtspiRef& ref) const {
    AtspiClient& client = *m_context.client;
    AtspiRef object = ref;
    // Deeper than any form a page puts its fields in; the browser's own window ends the walk sooner.
    for (int depth = 0; depth < 64 && !object.isNull(); ++depth) {
        const std::optional<uint> role = client.role(object);
        if (!role || *role == uint(ATSPI_ROLE_APPLICATION))
            return false;
        if (*role == uint(ATSPI_ROLE_DOCUMENT_WEB))
            return true;
        const std::optional<AtspiRef> parent = client.parent(object);
        if (!parent || *parent == object)
            return false;
        object = *parent;
    }
    return false;
}

std::optional<AtspiRef> AtspiDesktop::focused() const {
    AtspiClient& client = *m_context.client;
    const std::optional<X11Windows::Client> active =
        m_context.windows ? m_context.windows->activeWindow() : std::nullopt;
    if (!active || !active->pid || *active->pid == m_context.ownPid)
        return std::nullopt;
    const std::optional<QList<AtspiRef>> applications = client.children(AtspiRef::desktop());
    if (!applications)
        return std::nullopt;
    for (const AtspiRef& application : *applications) {
        if (client.processId(application.service) != *active->pid)
            continue;
        const std::optional<AtspiRef> focused =
            client.focusedIn(AtspiRef::applicationRoot(application.service));
        if (focused && !focused->isNull())
            return focused;
    }
    return std::nullopt;
}

QList<QRectF> AtspiDesktop::passwordFields(QPointF point) const {
    AtspiClient& client = *m_context.client;
    const std::optional<AtspiRef> window = windowAt(nativePoint(point));
    if (!window)
        return {};
    constexpr quint64 showing = quint64(1) << ATSPI_STATE_SHOWING;
    std::optional<QList<AtspiRef>> found =
        client.descendantsWith(*window, showing, uint(ATSPI_ROLE_PASSWORD_TEXT), 64);
    if (!found) {
        found.emplace();
        QList<AtspiRef> queue{*window};
        for (int seen = 0; !queue.isEmpty() && seen < 400 && !client.expired(); ++seen) {
            const AtspiRef object = queue.takeFirst();
            if (!(client.states(object).value_or(0) & showing))
                continue;
            if (client.role(object) == uint(ATSPI_ROLE_PASSWORD_TEXT))
                found->append(object);
            else if (const auto children = client.children(object))
                queue += *children;
        }
    }
    QList<QRectF> fields;
    for (const AtspiRef& field : std::as_const(*found))
        if (const std::optional<QRect> native = client.extents(field); native && !native->isEmpty())
            fields.append(m_layout.toPoints(QRectF(native->translated(m_origin))));
    return fields;
}

std::optional<QString> AtspiDesktop::applicationName(uint pid) const {
    AtspiClient& client = *m_context.client;
    const std::optional<QList<AtspiRef>> applications = client.children(AtspiRef::desktop());
    if (!applications)
        return std::nullopt;
    for (const AtspiRef& application : *applications) {
        if (client.processId(application.service) != pid)
            continue;
        const std::optional<QString> name = client.name(AtspiRef::applicationRoot(application.service));
        if (name && !name->isEmpty())
            return name;
    }
    return std::nullopt;
}

QPoint AtspiDesktop::nativePoint(QPointF point) const {
    const QPointF native = m_layout.toNative(point);
    return QPoint(int(std::floor(native.x())), int(std::floor(native.y())));
}

const std::optional<X11Windows::Client>& AtspiDesktop::topLevelAt(QPoint point) const {
    if (!m_top || m_top->first != point)
        m_top.emplace(point, m_context.windows ? m_context.windows->topLevelAt(point) : std::nullopt);
    return m_top->second;
}

std::optional<QString> AtspiDesktop::displayName(const X11Windows::Client& window) const {
    const QStringList executables = window.pid ? executablesOf(*window.pid) : QStringList();
    if (const auto entries = m_context.entries ? m_context.entries() : nullptr) {
        if (auto name = entries->displayName(window.instance, window.className, executables))
            return name;
    }
    if (window.pid) {
        if (auto name = applicationName(*window.pid))
            return name;
    }
    if (!window.className.isEmpty())
        return window.className;
    return std::nullopt;
}

std::optional<QString> AtspiDesktop::frontmostApplicationName(QPointF click) const {
    // The compositor that named the clicked window has made it the active one.
    if (m_context.clicked && m_context.clicked->pid != qint64(m_context.ownPid)) {
        X11Windows::Client window;
        window.pid =
            m_context.clicked->pid > 0 ? std::optional<uint>(uint(m_context.clicked->pid)) : std::nullopt;
        window.instance = m_context.clicked->appId;
        window.className = m_context.clicked->wmClass;
        return displayName(window);
    }
    if (!m_context.windows)
        return std::nullopt;
    std::optional<X11Windows::Client> active = m_context.windows->activeWindow();
    if (active && active->pid == m_context.ownPid)
        active.reset();
    const std::optional<X11Windows::Client>& clicked = topLevelAt(nativePoint(click));
    const bool clickActivates = clicked && clicked->takesFocus && clicked->pid != m_context.ownPid &&
                                (!active || !active->pid || active->pid != clicked->pid);
    if (clickActivates || (!active && clicked))
        return displayName(*clicked);
    if (active)
        return displayName(*active);
    return std::nullopt;
}

} // namespace trovix
