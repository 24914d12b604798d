#include "export/OutputFile.h"

#include "document/Error.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>

namespace trovix {

QString quoted(const QString& path) {
    return QStringLiteral("“%1”").arg(QDir::toNativeSeparators(path));
}

namespace {

[[noreturn]] void fail(const QString& what, const QString& path, const QString& reason) {
    QString message = what.arg(quoted(path));
    if (!reason.isEmpty())
        message += QStringLiteral(": ") + reason;
    throw Error(Error::Code::io, message + QLatin1Char('.'), path);
}

} // namespace

OutputFile::OutputFile(const QString& path)
    : m_path(path)
    , m_file(path) {
    if (QFileInfo(path).isDir())
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not write %1"), path,
             QCoreApplication::translate("trovix::OutputFile", "a folder of that name is in the way"));
    if (!m_file.open(QIODevice::WriteOnly))
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not create %1"), path,
             m_file.errorString());
}

OutputFile::~OutputFile() {
    if (!m_committed)
        m_file.cancelWriting();
}

void OutputFile::write(const char* data, qint64 size) {
    if (size > 0 && m_file.write(data, size) != size)
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not write %1"), m_path,
             m_file.errorString());
}

qint64 OutputFile::commit() {
    const qint64 size = m_file.size();
    if (!m_file.commit())
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not save %1"), m_path,
             m_file.errorString());
    m_committed = true;
    return size;
}

qint64 OutputFile::writeWhole(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (QFileInfo(path).isDir())
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not write %1"), path,
             QCoreApplication::translate("trovix::OutputFile", "a folder of that name is in the way"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not create %1"), path,
             file.errorString());
    if (file.write(bytes) != bytes.size() || !file.flush())
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not write %1"), path,
             file.errorString());
    file.close();
    if (file.error() != QFileDevice::NoError)
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not write %1"), path,
             file.errorString());
    return bytes.size();
}

void OutputFile::makeFolder(const QString& folder) {
    // Name the part of the path that is in the way rather than just the folder asked for.
    QString existing = folder;
    while (!existing.isEmpty() && !QFileInfo::exists(existing)) {
        const QString parent = QFileInfo(existing).path();
        if (parent == existing)
            break;
        existing = parent;
    }
    if (QFileInfo::exists(existing) && !QFileInfo(existing).isDir())
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not create the folder %1"), folder,
             QCoreApplication::translate("trovix::OutputFile", "%1 is a file, not a folder")
                 .arg(quoted(existing)));
    errno = 0;
    if (!QDir().mkpath(folder)) {
        const int error = errno;
        fail(QCoreApplication::translate("trovix::OutputFile", "Could not create the folder %1"), folder,
             error ? QString::fromLocal8Bit(std::strerror(error)) : QString());
    }
}

} // namespace trovix
