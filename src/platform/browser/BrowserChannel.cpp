#include "platform/browser/BrowserChannel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <unistd.h>

namespace trovix::BrowserChannel {

namespace {

QString folder() {
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + QStringLiteral("/trovix");
}

} // namespace

QString socketPath() {
    return folder() + QStringLiteral("/browser");
}

bool preparePrivateFolder(QString* error) {
    const QString path = folder();
    if (!QDir().mkpath(path)) {
        if (error)
            *error = QStringLiteral("Cannot create the folder %1.").arg(path);
        return false;
    }
    const QFileInfo info(path);
    const QFile::Permissions userOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                        QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
    if (info.isSymLink() || !QFile::setPermissions(path, userOnly) || info.ownerId() != uint(getuid())) {
        if (error)
            *error = QStringLiteral("The folder %1 cannot be made private to this user.").arg(path);
        return false;
    }
    return true;
}

} // namespace trovix::BrowserChannel
