#include "library/CardGridAccessible.h"

#include "library/CardGrid.h"

#include <QLocale>
#include <QScrollBar>

namespace trovix {

namespace {

class CardAccessible : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    CardAccessible(CardGridAccessible* list, int index)
        : m_list(list)
        , m_index(index) {}

    bool isValid() const override { return grid() && m_index < grid()->cards().size(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return m_list->window(); }
    QAccessibleInterface* parent() const override { return m_list; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* focusChild() const override { return nullptr; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString&) override {}

    QString text(QAccessible::Text t) const override {
        if (!isValid())
            return {};
        const GuideSummary& card = grid()->cards()[m_index];
        if (t == QAccessible::Name)
            return card.title;
        if (t == QAccessible::Description)
            return card.problem.isEmpty()
                       ? CardGrid::captionLine(card.stepCount, card.modified, QLocale::system())
                       : card.problem;
        return {};
    }

    QRect rect() const override {
        if (!isValid())
            return {};
        const QRect inViewport = grid()->cardRect(m_index);
        return QRect(grid()->viewport()->mapToGlobal(inViewport.topLeft()), inViewport.size());
    }

    QAccessible::State state() const override {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.selectable = true;
        state.focusable = true;
        state.selected = grid()->cards()[m_index].url == grid()->selected();
        const QRect visible = grid()->viewport()->rect();
        state.invisible = !grid()->isVisible() || !visible.intersects(grid()->cardRect(m_index));
        state.offscreen = state.invisible;
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }

    QStringList actionNames() const override { return {pressAction()}; }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }
    void doAction(const QString& name) override {
        if (!isValid())
            return;
        const GuideSummary card = grid()->cards()[m_index];
        if (name == pressAction()) {
            grid()->setSelected(card.url);
            Q_EMIT grid()->openRequested(card.url);
        }
    }

private:
    CardGrid* grid() const { return m_list->grid(); }

    CardGridAccessible* m_list;
    int m_index;
};

QAccessibleInterface* factory(const QString& className, QObject* object) {
    if (className == QLatin1String("trovix::CardGrid") && object && object->isWidgetType())
        return new CardGridAccessible(static_cast<CardGrid*>(object));
    return nullptr;
}

} // namespace

CardGridAccessible::CardGridAccessible(CardGrid* grid)
    : QAccessibleWidget(grid, QAccessible::List) {}

CardGridAccessible::~CardGridAccessible() {
    for (QAccessible::Id id : std::as_const(m_children)) {
        if (id)
            QAccessible::deleteAccessibleInterface(id);
    }
}

void CardGridAccessible::install() {
    static const bool once = (QAccessible::installFactory(factory), true);
    Q_UNUSED(once);
}

CardGrid* CardGridAccessible::grid() const {
    return static_cast<CardGrid*>(widget());
}

void CardGridAccessible::dropStaleChildren() const {
    if (m_generation == grid()->cardsGeneration())
        return;
    for (QAccessible::Id id : std::as_const(m_children)) {
        if (id)
            QAccessible::deleteAccessibleInterface(id);
    }
    m_children = QList<QAccessible::Id>(grid()->cards().size(), 0);
    m_generation = grid()->cardsGeneration();
}

int CardGridAccessible::childCount() const {
    return int(grid()->cards().size());
}

QAccessibleInterface* CardGridAccessible::child(int index) const {
    dropStaleChildren();
    if (index < 0 || index >= m_children.size())
        return nullptr;
    if (!m_children[index]) {
        auto* card = new CardAccessible(const_cast<CardGridAccessible*>(this), index);
        m_children[index] = QAccessible::registerAccessibleInterface(card);
    }
    return QAccessible::accessibleInterface(m_children[index]);
}

int CardGridAccessible::indexOfChild(const QAccessibleInterface* child) const {
    dropStaleChildren();
    const QAccessible::Id id = QAccessible::uniqueId(const_cast<QAccessibleInterface*>(child));
    return int(m_children.indexOf(id));
}

QAccessibleInterface* CardGridAccessible::childAt(int x, int y) const {
    const int index = grid()->cardAt(grid()->viewport()->mapFromGlobal(QPoint(x, y)));
    return index >= 0 ? child(index) : nullptr;
}

} // namespace trovix
