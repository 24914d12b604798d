#include "document/StoreErrors.h"

#include "document/SafeFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>

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
    return QCoreApplication::translate("trovix::StoreErrors", "%1 in %2")
        .arg(quoted(info.fileName()), quoted(folder));
}

QString reason(int error, qint64 limit) {
    switch (error) {
    case SafeFile::notRegularFile:
        return QCoreApplication::translate("trovix::StoreErrors", "it is not a regular file");
    case SafeFile::outsideFolder:
        return QCoreApplication::translate("trovix::StoreErrors",
                                           "it is a link to a file outside the guide folder");
    case SafeFile::tooLarge:
        if (limit > 0)
            return QCoreApplication::translate("trovix::StoreErrors", "it is larger than %1")
                .arg(QLocale::system().formattedDataSize(limit, 0, QLocale::DataSizeSIFormat));
        return QCoreApplication::translate("trovix::StoreErrors", "it is too large");
    case ELOOP:
        return QCoreApplication::translate("trovix::StoreErrors",
                                           "it is a link that leads round in a circle");
    case ENOSPC:
    case EDQUOT:
        return QCoreApplication::translate("trovix::StoreErrors", "there isn’t enough space on the disk");
    case EACCES:
    case EPERM:
        return QCoreApplication::translate("trovix::StoreErrors", "you don’t have permission");
    case EROFS:
        return QCoreApplication::translate("trovix::StoreErrors", "the disk is read-only");
    case ENOENT:
        return QCoreApplication::translate("trovix::StoreErrors", "there is no such file or folder");
    case ENOTDIR:
        return QCoreApplication::translate("trovix::StoreErrors", "part of its path is not a folder");
    case EISDIR:
        return QCoreApplication::translate("trovix::StoreErrors", "it is a folder");
    case EEXIST:
        return QCoreApplication::translate("trovix::StoreErrors", "a file of that name is in the way");
    case ENAMETOOLONG:
        return QCoreApplication::translate("trovix::StoreErrors", "its name is too long");
    case EIO:
        return QCoreApplication::translate("trovix::StoreErrors", "the disk reported an input/output error");
    default: {
        QString text = QString::fromLocal8Bit(std::strerror(error));
        if (!text.isEmpty())
            text[0] = text[0].toLower();
        return text.isEmpty() ? QCoreApplication::translate("trovix::StoreErrors", "of an unknown error")
                              : text;
    }
    }
}

Error ioError(const QString& path, const QString& verb, int error, qint64 limit) {
    return Error(Error::Code::io,
                 QCoreApplication::translate("trovix::StoreErrors", "The file %1 couldn’t be %2 because %3.")
                     .arg(fileInFolder(path), verb, reason(error, limit)),
                 path);
}

Error decodingError(const QString& path, const QString& detail) {
    return Error(
        Error::Code::decoding,
        QCoreApplication::translate(
            "trovix::StoreErrors", "The file %1 couldn’t be read because it isn’t in the correct format: %2.")
            .arg(fileInFolder(path), detail),
        path);
}

} // namespace trovix::StoreErrors
