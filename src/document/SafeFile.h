#pragma once

#include <QByteArray>
#include <QString>

#include <cerrno>
#include <vector>

// Whole-file reads and crash-safe writes for guide folders. Each returns 0 on success or the errno
// of the failed operation, so callers can say why in their own words.
namespace trovix::SafeFile {

// Writes the bytes to `temporary` (a name in the same folder), flushes them to the disk and renames
// the file onto `path`. Whoever reads `path`, at any moment and after any crash, sees either the old
// content or the new one, never a part. A failed write removes the temporary file.
int replace(const QString& path, const QByteArray& bytes, const QString& temporary);

// replace() for many files: add() writes each file's temporary copy and starts it on its way to the
// disk without waiting; commit() then waits for all of them, which the disk handles together far
// faster than one after another, and renames them in the order they were added.
class Batch {
public:
    Batch() = default;
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;
    // Removes the temporary files of whatever was not committed.
    ~Batch();

    int add(const QString& path, const QByteArray& bytes, const QString& temporary);
    // Stops at the first failure, naming its file in failedPath; what was renamed before it stays.
    int commit(QString* failedPath);
    qsizetype size() const { return qsizetype(m_files.size()); }

private:
    struct File {
        QByteArray path;
        QByteArray temporary;
        int fd;
    };
    void abandonFrom(size_t index);
    std::vector<File> m_files;
};

// What read() answers, besides errno values, for files it refuses.
inline constexpr int notRegularFile = -1; // a pipe, a device, a socket
inline constexpr int outsideFolder = -2;  // a link that leads out of the folder it must stay in
inline constexpr int tooLarge = EFBIG;    // more bytes than the caller allows

// Reads the whole of a regular file of at most maxSize bytes. Guide folders come from other people,
// so nothing else is read: a pipe or a device is refused before it is opened (opening one may block
// for ever, and reading /dev/zero never ends), and a file that grows past maxSize while it is read
// is refused once maxSize + 1 bytes are in. With `within`, the file (after following every link)
// must lie inside that folder; links inside it are followed.
int read(const QString& path, QByteArray& bytes, qint64 maxSize, const QString& within = {});

// Removes a file (not a folder). Removing a missing file succeeds.
int remove(const QString& path);

} // namespace trovix::SafeFile
