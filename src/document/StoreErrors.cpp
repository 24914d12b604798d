#include "document/StoreErrors.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstring>

namespace trovix::StoreErrors {

QString quoted(const QString& text) {
    return QStringLiteral("“%1”").arg(text);
}

QString fileInFolder(const QString& path) {
    const QFileInfo info(QDir::cleanPath(path));
    const QString folder = QFileInfo(info.path()).fileName();
    if (folder.isEmpty())
        return quoted(info.fileName());
    return QStringLiteral("%1 in %2").arg(quoted(info.fileName()), quoted(folder));
}

QString reason(int error) {
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return QStringLiteral("there isn’t enough space on the disk");
    case EACCES:
    case EPERM:
        return QStringLiteral("you don’t have permission");
    case EROFS:
        return QStringLiteral("the disk is read-only");
    case ENOENT:
        return QStringLiteral("there is no such file or folder");
    case ENOTDIR:
        return QStringLiteral("part of its path is not a folder");
    case EISDIR:
        return QStringLiteral("it is a folder");
    case EEXIST:
        return QStringLiteral("a file of that name is in the way");
    case ENAMETOOLONG:
        return QStringLiteral("its name is too long");
    case EIO:
        return QStringLiteral("the disk reported an input/output error");
    default: {
        QString text = QString::fromLocal8Bit(std::strerror(error));
        if (!text.isEmpty())
            text[0] = text[0].toLower();
        return text.isEmpty() ? QStringLiteral("of an unknown error") : text;
    }
    }
}

Error ioError(const QString& path, const QString& verb, int error) {
    return Error(
        Error::Code::io,
        QStringLiteral("The file %1 couldn’t be %2 because %3.").arg(fileInFolder(path), verb, reason(error)),
        path);
}

Error decodingError(const QString& path, const QString& detail) {
    return Error(Error::Code::decoding,
                 QStringLiteral("The file %1 couldn’t be read because it isn’t in the correct format: %2.")
                     .arg(fileInFolder(path), detail),
                 path);
}

} // namespace trovix::StoreErrors
