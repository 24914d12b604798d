#pragma once

// Guide folders as a shared drive or a colleague's archive may hand them over: real pipes, links to
// /dev/zero, a 10 GB sparse "guide.json", a link loop, a link to a picture outside the folder, a
// folder only its owner may read and one with 100,000 entries.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QString>

#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace trovix::testing {

struct HostileFolder {
    QString name;        // "<name>.trovix" in the parent folder
    QString file;        // the file the reader refuses: "guide.json" or the step's picture
    QString reason;      // the end of the reader's sentence; empty for a sound guide
    bool locked = false; // refused only to a user other than its owner
};

// The unprivileged user that a test running as root reads the locked folder as.
inline constexpr uid_t nobody = 65534;

// Makes every case in `parent`, which must exist. `writeGuide(folder)` writes a good one-step guide
// there and answers its step picture's name. Empty when something could not be made.
inline QList<HostileFolder> makeHostileFolders(const QString& parent,
                                               const std::function<QString(const QString&)>& writeGuide) {
    const auto at = [&](const QString& name, const QString& file = {}) {
        const QString folder = QDir(parent).filePath(name + QStringLiteral(".trovix"));
        return file.isEmpty() ? folder : folder + u'/' + file;
    };
    const auto native = [](const QString& path) { return QFile::encodeName(path); };
    const QString json = QStringLiteral("guide.json");
    const QString notRegular = QStringLiteral("it is not a regular file");
    bool made = true;

    // No usable guide record.
    for (const QString& name : {QStringLiteral("Pipe record"), QStringLiteral("Zero record"),
                                QStringLiteral("Sparse record"), QStringLiteral("Loop")})
        made &= QDir().mkpath(at(name));
    made &= ::mkfifo(native(at(QStringLiteral("Pipe record"), json)), 0644) == 0;
    made &= ::symlink("/dev/zero", native(at(QStringLiteral("Zero record"), json))) == 0;
    const int sparse =
        ::open(native(at(QStringLiteral("Sparse record"), json)), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    made &= sparse >= 0 && ::ftruncate(sparse, 10LL << 30) == 0;
    ::close(sparse);
    made &= ::symlink("loop", native(at(QStringLiteral("Loop"), json))) == 0 &&
            ::symlink("guide.json", native(at(QStringLiteral("Loop"), QStringLiteral("loop")))) == 0;
    QList<HostileFolder> cases{
        {QStringLiteral("Pipe record"), json, notRegular},
        {QStringLiteral("Zero record"), json, notRegular},
        {QStringLiteral("Sparse record"), json, QStringLiteral("it is larger than 64 MB")},
        {QStringLiteral("Loop"), json, QStringLiteral("it is a link that leads round in a circle")},
    };

    // A good record whose step picture is not what it claims.
    const QString outside = QDir(parent).filePath(QStringLiteral("private.png"));
    made &= QFile::copy(at(QStringLiteral("Private"), writeGuide(at(QStringLiteral("Private")))), outside);
    QDir(at(QStringLiteral("Private"))).removeRecursively();
    for (const auto& [name, target, reason] :
         {std::tuple{QStringLiteral("Pipe picture"), QString(), notRegular},
          std::tuple{QStringLiteral("Zero picture"), QStringLiteral("/dev/zero"), notRegular},
          std::tuple{QStringLiteral("Outside picture"), outside,
                     QStringLiteral("it is a link to a file outside the guide folder")}}) {
        const QString picture = writeGuide(at(name));
        const QByteArray file = native(at(name, picture));
        ::unlink(file);
        made &= target.isEmpty() ? ::mkfifo(file, 0644) == 0 : ::symlink(native(target), file) == 0;
        cases.append({name, picture, reason});
    }

    // Sound guides in unusual folders.
    writeGuide(at(QStringLiteral("Locked")));
    made &= ::chmod(native(at(QStringLiteral("Locked"))), 0) == 0;
    cases.append({QStringLiteral("Locked"), json, QStringLiteral("you don’t have permission"), true});
    writeGuide(at(QStringLiteral("Many")));
    for (int i = 0; made && i < 100000; ++i) {
        const int fd = ::open(native(at(QStringLiteral("Many"), QStringLiteral("entry-%1").arg(i))),
                              O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        made &= fd >= 0 && ::close(fd) == 0;
    }
    cases.append({QStringLiteral("Many"), {}, {}});
    return made ? cases : QList<HostileFolder>();
}

// Lets other users reach `path` (a test's own temporary folder) through its parents: the group too,
// since a root who drops only its user id is still in the root group.
inline void openToOthers(const QString& path) {
    for (QDir dir(QDir::cleanPath(path)); !dir.isRoot(); dir.setPath(QFileInfo(dir.path()).path())) {
        struct stat info;
        if (::stat(QFile::encodeName(dir.path()).constData(), &info) == 0)
            ::chmod(QFile::encodeName(dir.path()).constData(), (info.st_mode & 07777) | 0055);
    }
}

} // namespace trovix::testing
