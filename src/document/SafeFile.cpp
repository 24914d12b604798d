#include "document/SafeFile.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace trovix::SafeFile {

namespace {

int writeAll(int fd, const char* data, qsizetype size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size_t(size));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        data += n;
        size -= n;
    }
    return 0;
}

} // namespace

int replace(const QString& path, const QByteArray& bytes, const QString& temporary) {
    Batch batch;
    if (const int error = batch.add(path, bytes, temporary))
        return error;
    return batch.commit(nullptr);
}

Batch::~Batch() {
    abandonFrom(0);
}

void Batch::abandonFrom(size_t index) {
    for (size_t i = index; i < m_files.size(); ++i) {
        ::close(m_files[i].fd);
        ::unlink(m_files[i].temporary.constData());
    }
    m_files.resize(std::min(index, m_files.size()));
}

int Batch::add(const QString& path, const QByteArray& bytes, const QString& temporary) {
    File file{QFile::encodeName(path), QFile::encodeName(temporary), -1};
    // A temporary file left by an earlier crash is replaced, never written through (it might be a link).
    ::unlink(file.temporary.constData());
    file.fd = ::open(file.temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file.fd < 0)
        return errno;
    if (const int error = writeAll(file.fd, bytes.constData(), bytes.size())) {
        ::close(file.fd);
        ::unlink(file.temporary.constData());
        return error;
    }
    // Start writing back now; commit() waits for it. A failure here only means commit() does it all.
    ::sync_file_range(file.fd, 0, 0, SYNC_FILE_RANGE_WRITE);
    m_files.push_back(std::move(file));
    return 0;
}

int Batch::commit(QString* failedPath) {
    for (size_t i = 0; i < m_files.size(); ++i) {
        File& file = m_files[i];
        // The data must be on the disk before the new name is: after a power cut the name might
        // otherwise point at an empty file.
        int error = ::fdatasync(file.fd) != 0 ? errno : 0;
        if (::close(file.fd) != 0 && !error)
            error = errno;
        file.fd = -1;
        if (!error && ::rename(file.temporary.constData(), file.path.constData()) != 0)
            error = errno;
        if (error) {
            ::unlink(file.temporary.constData());
            if (failedPath)
                *failedPath = QFile::decodeName(file.path);
            abandonFrom(i + 1);
            m_files.clear();
            return error;
        }
    }
    m_files.clear();
    return 0;
}

namespace {

// Whether `path` is `folder` itself or lies below it; both already resolved.
bool isInside(const QByteArray& path, const QByteArray& folder) {
    if (folder == "/")
        return true;
    return path.startsWith(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

QByteArray resolved(const QByteArray& path, int* error) {
    char buffer[PATH_MAX];
    if (!::realpath(path.constData(), buffer)) {
        *error = errno;
        return {};
    }
    return QByteArray(buffer);
}

} // namespace

int read(const QString& path, QByteArray& bytes, qint64 maxSize, const QString& within) {
    QByteArray target = QFile::encodeName(path);
    QByteArray folder;
    if (!within.isEmpty()) {
        // Resolved first, so that what is checked below is the file the links lead to.
        int error = 0;
        target = resolved(target, &error);
        if (error)
            return error;
        folder = resolved(QFile::encodeName(within), &error);
        if (error)
            return error;
    }
    // Looked at before it is opened: opening a pipe waits for a writer, and opening some devices
    // does something.
    struct stat info;
    if (::stat(target.constData(), &info) != 0)
        return errno;
    if (S_ISDIR(info.st_mode))
        return EISDIR;
    if (!S_ISREG(info.st_mode))
        return notRegularFile;
    if (!folder.isEmpty() && !isInside(target, folder))
        return outsideFolder;
    if (info.st_size > maxSize)
        return tooLarge;

    // O_NONBLOCK: should the name have become a pipe since, the open still returns at once, and the
    // fstat below refuses it.
    const int fd = ::open(target.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const auto fail = [fd](int error) {
        ::close(fd);
        return error;
    };
    if (::fstat(fd, &info) != 0)
        return fail(errno);
    if (S_ISDIR(info.st_mode))
        return fail(EISDIR);
    if (!S_ISREG(info.st_mode))
        return fail(notRegularFile);
    if (info.st_size > maxSize)
        return fail(tooLarge);
    QByteArray data(qsizetype(info.st_size), Qt::Uninitialized);
    qsizetype done = 0;
    bool atEnd = false;
    while (!atEnd) {
        // Past the size fstat gave (a file that grew, or one that reports no size) reads go through a
        // small buffer, so the common case allocates exactly once and keeps no slack.
        char more[16 * 1024];
        const bool inside = done < data.size();
        const ssize_t n = inside ? ::read(fd, data.data() + done, size_t(data.size() - done))
                                 : ::read(fd, more, sizeof more);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return fail(errno);
        }
        if (n == 0) {
            atEnd = true;
        } else {
            if (!inside)
                data.append(more, n);
            done += n;
            if (done > maxSize)
                return fail(tooLarge);
        }
    }
    ::close(fd);
    if (done < data.size()) {
        data.truncate(done);
        data.squeeze();
    }
    bytes = std::move(data);
    return 0;
}

int remove(const QString& path) {
    if (::unlink(QFile::encodeName(path).constData()) != 0 && errno != ENOENT)
        return errno;
    return 0;
}

} // namespace trovix::SafeFile
