#include "document/SafeFile.h"

#include <QFile>

#include <cerrno>
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
    const QByteArray target = QFile::encodeName(path);
    const QByteArray temp = QFile::encodeName(temporary);
    // A temporary file left by an earlier crash is replaced, never written through (it might be a link).
    ::unlink(temp.constData());
    const int fd = ::open(temp.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0)
        return errno;
    int error = writeAll(fd, bytes.constData(), bytes.size());
    // The data must be on the disk before the new name is: after a power cut the name may otherwise
    // point at an empty file.
    if (!error && ::fdatasync(fd) != 0)
        error = errno;
    if (::close(fd) != 0 && !error)
        error = errno;
    if (!error && ::rename(temp.constData(), target.constData()) != 0)
        error = errno;
    if (error)
        ::unlink(temp.constData());
    return error;
}

int read(const QString& path, QByteArray& bytes) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    struct stat info;
    if (::fstat(fd, &info) != 0) {
        const int error = errno;
        ::close(fd);
        return error;
    }
    if (S_ISDIR(info.st_mode)) {
        ::close(fd);
        return EISDIR;
    }
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
            const int error = errno;
            ::close(fd);
            return error;
        }
        if (n == 0) {
            atEnd = true;
        } else {
            if (!inside)
                data.append(more, n);
            done += n;
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
