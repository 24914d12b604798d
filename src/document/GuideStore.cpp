#include "document/GuideStore.h"

#include "document/Error.h"
#include "document/GuideJson.h"
#include "document/SafeFile.h"
#include "document/StoreErrors.h"
#include "render/ImageCodec.h"
#include "render/ImageOps.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QSet>
#include <QStandardPaths>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <thread>

namespace trovix {

namespace {

const QString guideFile = QStringLiteral("guide.json");
const QString thumbnailFile = QStringLiteral("thumbnail.jpg");
constexpr double thumbnailSide = 640;
constexpr double thumbnailQuality = 0.8;
constexpr qsizetype maxOpenFiles = 64; // step images waiting for the disk at once

QString inFolder(const QString& folder, const QString& name) {
    return QDir(folder).filePath(name);
}

QString folderName(const QString& folder) {
    return QFileInfo(QDir::cleanPath(folder)).fileName();
}

// The guide as it was at one moment: what a write needs, detached from the live object so that it can
// be written on another thread while the guide goes on changing. Copying it is cheap: the lists and
// strings are shared until changed, and images are shared handles.
struct Snapshot {
    QString title;
    QList<Step> steps;
    std::optional<QString> sourcePath;
    std::optional<bool> dirty;
    bool isWorkingCopy = false;
    quint64 generation = 0;
};

std::atomic<quint64> lastGeneration{0};

Snapshot snapshotOf(const Guide& guide, bool isWorkingCopy) {
    Snapshot s;
    s.title = guide.title();
    s.steps = guide.steps();
    s.isWorkingCopy = isWorkingCopy;
    if (isWorkingCopy) {
        const QUrl& url = guide.fileURL();
        if (!url.isEmpty())
            s.sourcePath = url.isLocalFile() ? url.toLocalFile() : url.path();
        s.dirty = guide.isDirty();
    }
    s.generation = ++lastGeneration;
    return s;
}

bool entryExists(const QString& path) {
    struct stat info;
    return ::stat(QFile::encodeName(path).constData(), &info) == 0;
}

// Creates the folder and its missing parents; 0 or the errno of the step that failed.
int makePath(const QString& folder) {
    const QString clean = QDir::cleanPath(QDir(folder).absolutePath());
    struct stat info;
    if (::stat(QFile::encodeName(clean).constData(), &info) == 0)
        return S_ISDIR(info.st_mode) ? 0 : ENOTDIR;
    const QString parent = QFileInfo(clean).path();
    if (parent != clean)
        if (const int error = makePath(parent))
            return error;
    if (::mkdir(QFile::encodeName(clean).constData(), 0777) != 0) {
        const int error = errno;
        if (error != EEXIST)
            return error;
        if (::stat(QFile::encodeName(clean).constData(), &info) != 0 || !S_ISDIR(info.st_mode))
            return ENOTDIR;
    }
    return 0;
}

void writeThumbnail(const QList<Step>& steps, const QString& folder) {
    const QString path = inFolder(folder, thumbnailFile);
    QByteArray jpeg;
    if (!steps.isEmpty()) {
        const Step& first = steps.first();
        // Making the thumbnail may decode and render the first step; what was not cached before is
        // released again, so saving does not leave full-size pixels behind.
        const bool hadBase = first.base.hasPixels(), hadRendered = first.rendered.hasPixels();
        const QImage small = scaledDown(first.rendered, thumbnailSide);
        if (!small.isNull())
            jpeg = jpegData(small, thumbnailQuality);
        if (!hadRendered)
            first.rendered.dropPixels();
        if (!hadBase)
            first.base.dropPixels();
    }
    if (!jpeg.isEmpty())
        SafeFile::replace(path, jpeg, inFolder(folder, QStringLiteral(".thumbnail.jpg.tmp")));
    else
        SafeFile::remove(path);
}

void writeSnapshot(const Snapshot& s, const QString& folder) {
    if (const int error = makePath(folder)) {
        const QFileInfo info(QDir::cleanPath(folder));
        throw Error(Error::Code::io,
                    QCoreApplication::translate("trovix::GuideStore",
                                                "The folder %1 couldn’t be created in %2 because %3.")
                        .arg(StoreErrors::quoted(info.fileName()),
                             StoreErrors::quoted(QFileInfo(info.path()).fileName()),
                             StoreErrors::reason(error)),
                    folder);
    }

    // Step images. A step's base never changes, so a file of its name already holds its picture. They
    // are written in batches and all in place before the record that names them.
    QSet<QString> current;
    current.reserve(s.steps.size());
    SafeFile::Batch batch;
    QString failed;
    for (qsizetype i = 0; i < s.steps.size(); ++i) {
        const Step& step = s.steps[i];
        const QString name = step.imageName();
        if (current.contains(name)) // the same step twice: one file serves both
            continue;
        current.insert(name);
        const QString path = inFolder(folder, name);
        if (entryExists(path))
            continue;
        const QByteArray png = step.base.png();
        if (png.isEmpty())
            throw Error(Error::Code::writeUnknown,
                        QCoreApplication::translate(
                            "trovix::GuideStore", "The picture of step %1 couldn’t be encoded as PNG, so the "
                                                  "guide couldn’t be saved in %2.")
                            .arg(QString::number(i + 1), StoreErrors::quoted(folderName(folder))),
                        path);
        // The hidden temporary name ends in ".png", so one left behind by a crash goes with the stale
        // images at the next write.
        if (const int error = batch.add(path, png, inFolder(folder, QLatin1Char('.') + name)))
            throw StoreErrors::ioError(path, QCoreApplication::translate("trovix::GuideStore", "saved"),
                                       error);
        if (batch.size() == maxOpenFiles)
            if (const int error = batch.commit(&failed))
                throw StoreErrors::ioError(failed, QCoreApplication::translate("trovix::GuideStore", "saved"),
                                           error);
    }
    if (const int error = batch.commit(&failed))
        throw StoreErrors::ioError(failed, QCoreApplication::translate("trovix::GuideStore", "saved"), error);

    // The record.
    GuideRecord record;
    record.title = s.title;
    record.sourcePath = s.sourcePath;
    record.dirty = s.dirty;
    record.steps.reserve(s.steps.size());
    for (const Step& step : s.steps)
        record.steps.append(
            StepRecord{step.id, step.title, step.note, step.scale, step.annotations, step.redactions});
    const QString jsonPath = inFolder(folder, guideFile);
    const QByteArray json = GuideJson::encode(record, jsonPath);
    if (const int error =
            SafeFile::replace(jsonPath, json, inFolder(folder, QStringLiteral(".guide.json.tmp"))))
        throw StoreErrors::ioError(jsonPath, QCoreApplication::translate("trovix::GuideStore", "saved"),
                                   error);

    // Stale images go only once the new "guide.json" no longer names them: removed any earlier, a crash
    // in between would leave the old record pointing at a missing picture, and the whole folder
    // unreadable. Only names ending in ".png" (in that case) are touched; failures are ignored.
    const QStringList entries =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : entries)
        if (name.endsWith(QLatin1String(".png"), Qt::CaseSensitive) && !current.contains(name))
            SafeFile::remove(inFolder(folder, name));

    if (!s.isWorkingCopy)
        writeThumbnail(s.steps, folder);
}

// Writes to one folder never overlap, and a snapshot older than one already written is dropped.
struct WriteOrder {
    std::mutex mutex;
    std::map<QString, quint64> written; // folder → newest generation written
};

WriteOrder& writeOrder() {
    static WriteOrder order;
    return order;
}

QString folderKey(const QString& folder) {
    return QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
}

void writeInOrder(const Snapshot& s, const QString& folder) {
    WriteOrder& order = writeOrder();
    std::lock_guard lock(order.mutex);
    quint64& newest = order.written[folderKey(folder)];
    if (s.generation < newest)
        return;
    newest = s.generation;
    writeSnapshot(s, folder);
}

// One thread that writes working copies. Only the newest snapshot per folder waits; an older one
// that has not begun is replaced, since the newer one holds everything it would have written.
class BackgroundWriter {
public:
    static BackgroundWriter& instance() {
        static BackgroundWriter writer;
        return writer;
    }

    void enqueue(Snapshot snapshot, const QString& folder) {
        {
            std::lock_guard lock(m_mutex);
            m_pending.insert_or_assign(folder, std::move(snapshot));
        }
        m_wake.notify_one();
    }

    void waitUntilIdle() {
        std::unique_lock lock(m_mutex);
        m_idle.wait(lock, [&] { return m_pending.empty() && !m_busy; });
    }

private:
    BackgroundWriter() {
        // Step images are encoded on the global pool and a write may wait for one; made first, the pool
        // is destroyed after this writer at exit, so a last write still finds it running.
        QThreadPool::globalInstance();
        m_thread = std::thread([this] { run(); });
    }

    ~BackgroundWriter() {
        {
            std::lock_guard lock(m_mutex);
            m_stop = true;
        }
        m_wake.notify_one();
        m_thread.join();
    }

    void run() {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [&] { return m_stop || !m_pending.empty(); });
            if (m_pending.empty())
                return; // stopping, with nothing left to write
            auto next = m_pending.begin();
            for (auto it = m_pending.begin(); it != m_pending.end(); ++it)
                if (it->second.generation < next->second.generation)
                    next = it;
            const QString folder = next->first;
            const Snapshot snapshot = std::move(next->second);
            m_pending.erase(next);
            m_busy = true;
            lock.unlock();
            try {
                writeInOrder(snapshot, folder);
            } catch (const std::exception&) {
                // Working-copy writes ignore errors; the next change tries again.
            }
            lock.lock();
            m_busy = false;
            if (m_pending.empty())
                m_idle.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::map<QString, Snapshot> m_pending;
    bool m_busy = false;
    bool m_stop = false;
    std::thread m_thread;
};

// A step image read from disk: its bytes and the result of checking them.
struct StepFile {
    QString path;
    QByteArray bytes;
    int error = 0;
    ImageCodec::PngCheck check;
};

Error stepImageError(const StepFile& file, qsizetype index, const QString& folder) {
    const QString what =
        QCoreApplication::translate("trovix::GuideStore", "the picture of step %1 (%2)")
            .arg(QString::number(index + 1), StoreErrors::quoted(QFileInfo(file.path).fileName()));
    QString why;
    if (file.error == ENOENT)
        why = QCoreApplication::translate("trovix::GuideStore", "%1 is missing").arg(what);
    else if (file.error)
        why = QCoreApplication::translate("trovix::GuideStore", "%1 couldn’t be read because %2")
                  .arg(what, StoreErrors::reason(file.error, GuideStore::maxPictureSize));
    else
        why = QCoreApplication::translate("trovix::GuideStore", "%1 is damaged: %2")
                  .arg(what, file.check.problem);
    return Error(
        Error::Code::corruptFile,
        QCoreApplication::translate("trovix::GuideStore", "The guide in %1 couldn’t be opened because %2.")
            .arg(StoreErrors::quoted(folderName(folder)), why),
        file.path);
}

QImage thumbnailOf(const QImage& image) {
    if (image.isNull() || std::max(image.width(), image.height()) <= int(thumbnailSide))
        return image;
    return image.scaled(int(thumbnailSide), int(thumbnailSide), Qt::KeepAspectRatio,
                        Qt::SmoothTransformation);
}

// Decodes thumbnail bytes at the smallest 1/2, 1/4 or 1/8 of their size that still covers `cover`
// (the JPEG decoder scales while decoding, so the whole picture is never made).
QImage decodeCovering(const QByteArray& bytes, QSize cover) {
    if (cover.isEmpty())
        return ImageCodec::decode(bytes);
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "jpeg");
    reader.setDecideFormatFromContent(false);
    const QSize size = reader.size();
    int denominator = 1;
    while (denominator < 8 && size.width() / (denominator * 2) >= cover.width() &&
           size.height() / (denominator * 2) >= cover.height())
        denominator *= 2;
    if (denominator > 1)
        reader.setScaledSize(size / denominator);
    return reader.read();
}

// The smallest copy that still covers `cover`; the picture itself when it is no larger.
QImage scaledToCover(const QImage& image, QSize cover) {
    if (image.isNull() || cover.isEmpty() || image.width() <= cover.width() ||
        image.height() <= cover.height())
        return image;
    return image.scaled(cover, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
}

} // namespace

void GuideStore::write(const Guide& guide, const QString& folder, bool isWorkingCopy) {
    writeInOrder(snapshotOf(guide, isWorkingCopy), folder);
}

void GuideStore::writeInBackground(const Guide& guide, const QString& folder) {
    BackgroundWriter::instance().enqueue(snapshotOf(guide, true), folderKey(folder));
}

void GuideStore::waitForBackgroundWrites() {
    BackgroundWriter::instance().waitUntilIdle();
}

LoadedGuide GuideStore::read(const QString& folder) {
    const QString jsonPath = inFolder(folder, guideFile);
    QByteArray json;
    if (const int error = SafeFile::read(jsonPath, json, maxRecordSize, folder))
        throw StoreErrors::ioError(jsonPath, QCoreApplication::translate("trovix::GuideStore", "opened"),
                                   error, maxRecordSize);
    const GuideRecord record = GuideJson::decode(json, jsonPath);
    json.clear();

    // Reading and checking a hundred screenshots takes a moment; both cores share it.
    std::vector<StepFile> files(size_t(record.steps.size()));
    for (qsizetype i = 0; i < record.steps.size(); ++i)
        files[size_t(i)].path = inFolder(folder, uuidString(record.steps[i].id) + QStringLiteral(".png"));
    QtConcurrent::blockingMap(files, [&folder](StepFile& file) {
        file.error = SafeFile::read(file.path, file.bytes, maxPictureSize, folder);
        if (!file.error)
            file.check = ImageCodec::checkPng(file.bytes);
    });

    LoadedGuide loaded;
    loaded.title = record.title;
    loaded.sourcePath = record.sourcePath;
    loaded.dirty = record.dirty;
    loaded.steps.reserve(record.steps.size());
    for (qsizetype i = 0; i < record.steps.size(); ++i) {
        StepFile& file = files[size_t(i)];
        if (file.error || !file.check.ok())
            throw stepImageError(file, i, folder);
        const StepRecord& r = record.steps[i];
        loaded.steps.append(Step::restore(r.id, r.title, r.note,
                                          Image::fromPng(std::move(file.bytes), file.check.size), r.scale,
                                          r.annotations));
        loaded.steps.last().redactions = r.redactions;
    }
    return loaded;
}

std::optional<GuideSummary> GuideStore::summary(const QString& folder, QSize thumbnailSize) {
    const QString jsonPath = inFolder(folder, guideFile);
    QByteArray json;
    if (const int error = SafeFile::read(jsonPath, json, maxRecordSize, folder)) {
        // No "guide.json" (or no folder): not a guide. Anything else is a guide the user should hear of.
        if (error == ENOENT || error == ENOTDIR)
            return std::nullopt;
        return unreadable(folder, StoreErrors::ioError(
                                      jsonPath, QCoreApplication::translate("trovix::GuideStore", "opened"),
                                      error, maxRecordSize)
                                      .message());
    }
    GuideRecord record;
    try {
        record = GuideJson::decode(json, jsonPath);
    } catch (const Error&) {
        return std::nullopt;
    }

    GuideSummary summary;
    summary.url = QUrl::fromLocalFile(QDir::cleanPath(QFileInfo(folder).absoluteFilePath()));
    summary.title = record.title;
    summary.stepCount = record.steps.size();
    const QDateTime modified = QFileInfo(jsonPath).lastModified();
    summary.modified = modified.isValid() ? modified.toUTC() : distantPast();

    QByteArray bytes;
    if (SafeFile::read(inFolder(folder, thumbnailFile), bytes, maxThumbnailSize, folder) == 0)
        summary.thumbnail = decodeCovering(bytes, thumbnailSize);
    if (summary.thumbnail.isNull() && !record.steps.isEmpty()) {
        // No usable thumbnail: a small copy of the first screenshot, without its annotations.
        const QString first = inFolder(folder, uuidString(record.steps.first().id) + QStringLiteral(".png"));
        if (SafeFile::read(first, bytes, maxPictureSize, folder) == 0)
            summary.thumbnail = scaledToCover(thumbnailOf(ImageCodec::decode(bytes)), thumbnailSize);
    }
    return summary;
}

QString GuideStore::workingDir() {
    static const QString dir = QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
                                   .filePath("Trovix/Current");
    return dir;
}

namespace {

// Renames an unreadable working copy to "Current (unreadable <time>)" beside it, so that the steps it
// still holds can be recovered by hand. Nothing happens when there is no working copy at all.
void keepUnreadableWorkingCopy() {
    const QString dir = GuideStore::workingDir();
    if (!QFileInfo::exists(dir + QStringLiteral("/guide.json")))
        return;
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh.mm.ss"));
    QString aside = dir + QStringLiteral(" (unreadable %1)").arg(stamp);
    for (int n = 2; QFileInfo::exists(aside); ++n)
        aside = dir + QStringLiteral(" (unreadable %1 %2)").arg(stamp).arg(n);
    QDir().rename(dir, aside); // on failure the copy is simply written over, as before
}

} // namespace

std::unique_ptr<Guide> GuideStore::load() {
    auto guide = std::make_unique<Guide>();
    try {
        LoadedGuide loaded = read(workingDir());
        const QUrl url = loaded.sourcePath ? QUrl::fromLocalFile(*loaded.sourcePath) : QUrl();
        guide->replaceContents(loaded.title, loaded.steps, url);
        // A working copy of a guide that was never saved has nothing on disk to go back to: with steps
        // it is unsaved work, whatever "dirty" says (or when it says nothing).
        guide->setDirty(loaded.dirty.value_or(false) || (!loaded.sourcePath && !loaded.steps.isEmpty()));
    } catch (const std::exception&) {
        // No working copy yet, or one that cannot be read: start with an empty guide. A damaged copy
        // may still hold most of someone's unsaved work, so it is moved aside, not written over.
        keepUnreadableWorkingCopy();
    }
    guide->startAutosave();
    return guide;
}

QDateTime GuideStore::distantPast() {
    return QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
}

GuideSummary GuideStore::unreadable(const QString& folder, const QString& problem) {
    GuideSummary summary;
    summary.url = QUrl::fromLocalFile(QDir::cleanPath(QFileInfo(folder).absoluteFilePath()));
    summary.title = QFileInfo(QDir::cleanPath(folder)).completeBaseName();
    summary.modified = distantPast();
    summary.problem = problem;
    return summary;
}

} // namespace trovix
