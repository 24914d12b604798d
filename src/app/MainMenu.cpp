#include "app/MainMenu.h"

#include "app/AppDelegate.h"
#include "app/RecentDocuments.h"
#include "capture/OwnWindows.h"

#include <QActionGroup>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QWidget>

namespace trovix {

namespace {

// Runs an editing slot (undo, cut, paste…) on the widget with the keyboard focus, if it has one.
void editFocused(const char* slot) {
    if (QWidget* focus = QApplication::focusWidget())
        QMetaObject::invokeMethod(focus, slot);
}

QAction* add(QMenu* menu, const QString& text, const QKeySequence& keys, QObject* context,
             std::function<void()> run) {
    QAction* action = menu->addAction(text);
    action->setShortcut(keys);
    QObject::connect(action, &QAction::triggered, context, std::move(run));
    return action;
}

} // namespace

MainMenu::MainMenu(QMenuBar* bar, AppDelegate& app, RecentDocuments& recents)
    : QObject(bar)
    , m_bar(bar)
    , m_app(app)
    , m_recents(recents) {
    AppDelegate* a = &app;

    QMenu* trovix = bar->addMenu(QStringLiteral("Trovix"));
    add(trovix, tr("Hide Trovix"), QKeySequence(QStringLiteral("Ctrl+H")), this, &hideApplication);
    QAction* preferences = add(trovix, tr("Preferences…"), QKeySequence(QStringLiteral("Ctrl+,")), a,
                               [a] { a->preferencesAction(); });
    preferences->setMenuRole(QAction::PreferencesRole);
    trovix->addSeparator();
    QAction* quit =
        add(trovix, tr("Quit Trovix"), QKeySequence(QStringLiteral("Ctrl+Q")), a, [a] { a->quitAction(); });
    quit->setMenuRole(QAction::QuitRole);

    QMenu* file = bar->addMenu(tr("File"));
    add(file, tr("New Guide"), QKeySequence(QStringLiteral("Ctrl+N")), a, [a] { a->newGuideAction(); });
    add(file, tr("Open…"), QKeySequence(QStringLiteral("Ctrl+O")), a, [a] { a->openAction(); });
    m_recent = file->addMenu(tr("Open Recent"));
    connect(m_recent, &QMenu::aboutToShow, this, &MainMenu::fillRecent);
    fillRecent();
    connect(&m_recents, &RecentDocuments::changed, this, &MainMenu::fillRecent);
    add(file, tr("Capture Region"), QKeySequence(QStringLiteral("Ctrl+Alt+S")), a,
        [a] { a->captureRegion(); });
    m_record = add(file, tr("Start/Stop Click Recording"), QKeySequence(QStringLiteral("Ctrl+Alt+R")), a,
                   [a] { a->toggleRecording(); });
    m_recordTyping = file->addAction(tr("Record Typing and Keys"));
    m_recordTyping->setCheckable(true);
    m_recordTyping->setChecked(AppDelegate::recordsTyping());
    m_recordTyping->setToolTip(tr("Text typed into fields and key combinations become steps while recording; "
                                  "what is typed into a password field is never recorded"));
    connect(m_recordTyping, &QAction::triggered, a, [a](bool on) { a->setRecordsTyping(on); });
    if (const QString why = AppDelegate::typingUnavailableReason(); !why.isEmpty()) {
        m_recordTyping->setEnabled(false);
        m_recordTyping->setToolTip(why);
    }
    file->addSeparator();
    add(file, tr("Save"), QKeySequence(QStringLiteral("Ctrl+S")), a, [a] { a->saveAction(); });
    add(file, tr("Save As…"), QKeySequence(QStringLiteral("Shift+Ctrl+S")), a, [a] { a->saveAsAction(); });
    file->addSeparator();
    add(file, tr("Close Window"), QKeySequence(QStringLiteral("Ctrl+W")), this, [] {
        if (QWidget* window = QApplication::activeWindow())
            window->close();
    });

    QMenu* edit = bar->addMenu(tr("Edit"));
    add(edit, tr("Undo"), QKeySequence(QStringLiteral("Ctrl+Z")), this, [] { editFocused("undo"); });
    add(edit, tr("Redo"), QKeySequence(QStringLiteral("Shift+Ctrl+Z")), this, [] { editFocused("redo"); });
    edit->addSeparator();
    add(edit, tr("Cut"), QKeySequence(QStringLiteral("Ctrl+X")), this, [] { editFocused("cut"); });
    add(edit, tr("Copy"), QKeySequence(QStringLiteral("Ctrl+C")), this, [] { editFocused("copy"); });
    add(edit, tr("Paste"), QKeySequence(QStringLiteral("Ctrl+V")), this, [] { editFocused("paste"); });
    add(edit, tr("Select All"), QKeySequence(QStringLiteral("Ctrl+A")), this,
        [] { editFocused("selectAll"); });
    edit->addSeparator();
    add(edit, tr("Redact Secrets…"), QKeySequence(), a, [a] { a->redactSecretsAction(); });

    m_window = bar->addMenu(tr("Window"));
    add(m_window, tr("Minimize"), QKeySequence(QStringLiteral("Ctrl+M")), this, [] {
        if (QWidget* window = QApplication::activeWindow())
            window->showMinimized();
    });
    add(m_window, tr("Show Trovix"), QKeySequence(), a, [a] { a->showAction(); });
    add(m_window, tr("Guides Library"), QKeySequence(QStringLiteral("Shift+Ctrl+L")), a,
        [a] { a->libraryAction(); });
    connect(m_window, &QMenu::aboutToShow, this, &MainMenu::fillWindows);
}

void MainMenu::setRecordingAvailability(const QString& unavailable, const QString& note) {
    const QString said = unavailable.isEmpty() ? note : unavailable;
    QAction* record = m_record;
    record->setEnabled(unavailable.isEmpty());
    record->setToolTip(said.isEmpty() ? record->text() : said);
    record->setStatusTip(said);
    if (QMenu* file = qobject_cast<QMenu*>(record->parent()))
        file->setToolTipsVisible(true);
}

void MainMenu::setRecordsTyping(bool on) {
    m_recordTyping->setChecked(on);
}

QAction* MainMenu::action(const QString& menu, const QString& text) const {
    for (QAction* top : m_bar->actions()) {
        if (top->text() != menu || !top->menu())
            continue;
        for (QAction* item : top->menu()->actions())
            if (item->text() == text)
                return item;
    }
    return nullptr;
}

void MainMenu::hideApplication() {
    for (QWidget* window : QApplication::topLevelWidgets())
        if (window->isVisible() &&
            (window->windowType() == Qt::Window || window->windowType() == Qt::Dialog)) {
            window->showMinimized();
            OwnWindows::markMinimized(window->windowHandle());
        }
}

void MainMenu::fillRecent() {
    m_recent->clear();
    const QStringList paths = m_recents.paths();
    // Two guides of the same name are told apart by their folders.
    QHash<QString, int> names;
    for (const QString& path : paths)
        ++names[QFileInfo(path).fileName()];
    for (const QString& path : paths) {
        const QFileInfo info(path);
        QString text = info.fileName();
        if (names.value(text) > 1)
            text += QStringLiteral(" — ") + QDir::toNativeSeparators(info.absolutePath());
        QAction* action = m_recent->addAction(text);
        action->setToolTip(QDir::toNativeSeparators(path));
        connect(action, &QAction::triggered, &m_app, [this, path] { m_app.openRequest({path}); });
    }
    if (!paths.isEmpty())
        m_recent->addSeparator();
    QAction* clear = m_recent->addAction(tr("Clear Menu"));
    clear->setEnabled(!paths.isEmpty());
    connect(clear, &QAction::triggered, &m_recents, &RecentDocuments::clear);
}

void MainMenu::fillWindows() {
    // The open windows, the active one checked, after the fixed items.
    for (QAction* entry : std::as_const(m_windowEntries)) {
        m_window->removeAction(entry);
        entry->deleteLater();
    }
    m_windowEntries.clear();
    QList<QWidget*> windows;
    for (QWidget* window : QApplication::topLevelWidgets())
        if (window->isVisible() &&
            (window->windowType() == Qt::Window || window->windowType() == Qt::Dialog) &&
            !window->windowTitle().isEmpty())
            windows.append(window);
    if (windows.isEmpty())
        return;
    m_windowEntries.append(m_window->addSeparator());
    for (QWidget* window : windows) {
        QString title = window->windowTitle();
        title.replace(QStringLiteral("[*]"), window->isWindowModified() ? QStringLiteral("*") : QString());
        QAction* entry = m_window->addAction(title);
        entry->setCheckable(true);
        entry->setChecked(window == QApplication::activeWindow());
        QPointer<QWidget> target(window);
        connect(entry, &QAction::triggered, this, [target] {
            if (!target)
                return;
            if (target->isMinimized())
                target->showNormal();
            target->raise();
            target->activateWindow();
        });
        m_windowEntries.append(entry);
    }
}

} // namespace trovix
