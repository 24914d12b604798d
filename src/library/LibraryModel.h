#pragma once

#include "library/Library.h"
#include "platform/Dialogs.h"

#include <QList>
#include <QObject>
#include <QSize>
#include <QString>

#include <functional>

namespace trovix {

// The state behind the library window: the listing of the library folder and the folder it came from.
// Lists in the background and stores each result on the main thread; re-lists on every
// guideLibraryChanged.
class LibraryModel : public QObject {
    Q_OBJECT
public:
    // Lists a folder; runs on a thread of its own, which is left behind at exit if it hangs.
    using Scanner =
        std::function<QList<GuideSummary>(const QString& folder, const Library::ScanOptions& options)>;
    // Runs the folder panel and answers the chosen folder, empty when cancelled.
    using FolderPanel = std::function<QString(const Dialogs::OpenPanel& panel)>;

    // Empty listing, folder = Library::folder(); lists nothing until reload().
    explicit LibraryModel(QObject* parent = nullptr);

    const QList<GuideSummary>& items() const { return m_items; }
    const QString& folder() const { return m_folder; }

    // Starts a scan of Library::folder() and returns at once. Scans are neither cancelled nor merged:
    // each stores its list when it ends, so the one that ends last stays. While the newest scan still
    // waits for slow folders, the guides it has read so far are shown.
    void reload();
    // Stops waiting for every running scan (at quit); their results are dropped.
    void cancelScans();
    // Asks for another library folder; on confirmation stores it under "libraryFolder" and reloads.
    void chooseFolder();
    // Moves the guide folder to the trash off the main thread, then reloads; failures are silent.
    void trash(const GuideSummary& summary);

    // Scans still running.
    int pendingScans() const { return m_pending; }

    // The window shows the folder panel; without one the panel counts as cancelled.
    void setFolderPanel(FolderPanel panel) { m_folderPanel = std::move(panel); }
    // Pixel size the thumbnails must cover (a card's picture box); empty keeps them whole.
    void setThumbnailSize(QSize size) { m_thumbnailSize = size; }
    // Replaces the scan (Library::scan by default).
    void setScanner(Scanner scanner) { m_scanner = std::move(scanner); }

    // The panel chooseFolder() shows for a library now in `folder`.
    static Dialogs::OpenPanel folderPanel(const QString& folder);

Q_SIGNALS:
    void folderChanged();
    void itemsChanged();
    // A scan stored its result (after itemsChanged).
    void scanFinished();

private:
    void setItems(const QList<GuideSummary>& items);

    QList<GuideSummary> m_items;
    QString m_folder;
    int m_pending = 0;
    int m_started = 0; // scans started; the newest one's partial lists are shown
    QSize m_thumbnailSize;
    Scanner m_scanner;
    FolderPanel m_folderPanel;
};

} // namespace trovix
