#pragma once

#include <QAccessibleWidget>
#include <QList>

namespace trovix {

class CardGrid;

// What screen readers (and anything else on the accessibility bus) see of the card grid: a list
// whose items are the painted cards, each named after its guide, described by its caption line,
// placed where it is drawn, and opened by its default action.
class CardGridAccessible : public QAccessibleWidget {
public:
    explicit CardGridAccessible(CardGrid* grid);
    ~CardGridAccessible() override;

    // Makes Qt use this class for every CardGrid.
    static void install();

    int childCount() const override;
    QAccessibleInterface* child(int index) const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* childAt(int x, int y) const override;

    CardGrid* grid() const;

private:
    void dropStaleChildren() const;

    mutable QList<QAccessible::Id> m_children; // by card index; 0 until asked for
    mutable int m_generation = -1;
};

} // namespace trovix
