#include "platform/filemanager/FileManager.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace trovix::FileManager {

void reveal(const QString& path) {
    const QString absolute = QFileInfo(path).absoluteFilePath();
    const QString parent = QFileInfo(absolute).absolutePath();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolder(parent);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(absolute).toString()} << QString();
    // Asynchronous: a slow or absent file manager must not hold up the window.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), nullptr);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [watcher, parent] {
        if (watcher->isError())
            openFolder(parent);
        watcher->deleteLater();
    });
}

void openFolder(const QString& path) {
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()));
}

} // namespace trovix::FileManager
