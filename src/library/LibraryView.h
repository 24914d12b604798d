#pragma once

#include "document/GuideStore.h"

#include <QList>
#include <QUrl>
#include <QWidget>

#include <functional>

class QLabel;
class QLineEdit;
class QStackedWidget;

namespace trovix {

class CardGrid;
class Guide;
class LibraryModel;

// The library window's content: the search row with the library's path, a divider, and either the
// grid of the guides whose titles match the search or an empty state.
class LibraryView : public QWidget {
    Q_OBJECT
public:
    using OpenHandler = std::function<void(const QUrl& url)>;

    LibraryView(LibraryModel& model, Guide& guide, QWidget* parent = nullptr);

    void setOpenHandler(OpenHandler open) { m_open = std::move(open); }

    // The search with tabs and Unicode space separators trimmed from both ends (line breaks stay).
    static QString trimmedSearch(const QString& search);
    // The items, in order, whose titles contain the trimmed search, ignoring case; all when it is empty.
    static QList<GuideSummary> filtered(const QList<GuideSummary>& items, const QString& search);
    // `folder` with every occurrence of `home` written "~".
    static QString displayPath(const QString& folder, const QString& home);

    QString search() const;
    void setSearch(const QString& text);
    const QUrl& selected() const;

    CardGrid* grid() const { return m_grid; }
    QLineEdit* searchField() const { return m_search; }
    // The full text of the path shown in the search row (before it is shortened to fit).
    QString shownPath() const;
    // Whether the empty state is showing, and its lines.
    bool isShowingEmptyState() const;
    QStringList emptyStateLines() const;

private:
    void refresh();
    void open(const QUrl& url);

    LibraryModel& m_model;
    Guide& m_guide;
    OpenHandler m_open;
    QLineEdit* m_search = nullptr;
    class PathLabel* m_path = nullptr;
    QStackedWidget* m_stack = nullptr;
    CardGrid* m_grid = nullptr;
    QWidget* m_empty = nullptr;
    QLabel* m_emptyHeadline = nullptr;
    QLabel* m_emptyDetail = nullptr;
};

} // namespace trovix
