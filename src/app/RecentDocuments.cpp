#include "app/RecentDocuments.h"

#include <QDateTime>
#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>
#include <QStandardPaths>
#include <QUrl>

namespace trovix {

namespace {

const QString settingsKey = QStringLiteral("recentDocuments");
const QString applicationName = QStringLiteral("Trovix");
const QString bookmarkNs = QStringLiteral("http://www.freedesktop.org/standards/desktop-bookmarks");
const QString mimeNs = QStringLiteral("http://www.freedesktop.org/standards/shared-mime-info");

QString now() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

QString clean(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// Reads the shared list. False when it exists but cannot be read or parsed: then it is left alone,
// as it belongs to every application of the desktop.
bool readXbel(QDomDocument& document) {
    QFile file(RecentDocuments::xbelPath());
    if (!file.exists()) {
        document.setContent(
            QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xbel version=\"1.0\" "
                           "xmlns:bookmark=\"%1\" xmlns:mime=\"%2\"/>")
                .arg(bookmarkNs, mimeNs));
        return true;
    }
    if (!file.open(QIODevice::ReadOnly))
        return false;
    return bool(document.setContent(&file));
}

void writeXbel(const QDomDocument& document) {
    QDir().mkpath(QFileInfo(RecentDocuments::xbelPath()).absolutePath());
    QSaveFile file(RecentDocuments::xbelPath());
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(document.toByteArray(2));
    file.commit();
}

QDomElement child(QDomElement parent, const QString& tag) {
    QDomElement element = parent.firstChildElement(tag);
    if (element.isNull()) {
        element = parent.ownerDocument().createElement(tag);
        parent.appendChild(element);
    }
    return element;
}

// Adds or refreshes this application's entry for `path` in the shared list.
void announce(const QString& path) {
    QDomDocument document;
    if (!readXbel(document))
        return;
    QDomElement root = document.documentElement();
    const QString href = QString::fromUtf8(QUrl::fromLocalFile(path).toEncoded());
    const QString stamp = now();

    QDomElement bookmark;
    for (QDomElement b = root.firstChildElement(QStringLiteral("bookmark")); !b.isNull();
         b = b.nextSiblingElement(QStringLiteral("bookmark")))
        if (b.attribute(QStringLiteral("href")) == href)
            bookmark = b;
    if (bookmark.isNull()) {
        bookmark = document.createElement(QStringLiteral("bookmark"));
        bookmark.setAttribute(QStringLiteral("href"), href);
        bookmark.setAttribute(QStringLiteral("added"), stamp);
        root.appendChild(bookmark);
    }
    bookmark.setAttribute(QStringLiteral("modified"), stamp);
    bookmark.setAttribute(QStringLiteral("visited"), stamp);

    QDomElement metadata = child(child(bookmark, QStringLiteral("info")), QStringLiteral("metadata"));
    metadata.setAttribute(QStringLiteral("owner"), QStringLiteral("http://freedesktop.org"));
    QDomElement mime = child(metadata, QStringLiteral("mime:mime-type"));
    mime.setAttribute(QStringLiteral("type"), QStringLiteral("inode/directory"));
    QDomElement applications = child(metadata, QStringLiteral("bookmark:applications"));
    QDomElement application;
    for (QDomElement a = applications.firstChildElement(QStringLiteral("bookmark:application")); !a.isNull();
         a = a.nextSiblingElement(QStringLiteral("bookmark:application")))
        if (a.attribute(QStringLiteral("name")) == applicationName)
            application = a;
    if (application.isNull()) {
        application = document.createElement(QStringLiteral("bookmark:application"));
        application.setAttribute(QStringLiteral("name"), applicationName);
        application.setAttribute(QStringLiteral("exec"), QStringLiteral("'trovix %u'"));
        application.setAttribute(QStringLiteral("count"), 0);
        applications.appendChild(application);
    }
    application.setAttribute(QStringLiteral("modified"), stamp);
    application.setAttribute(QStringLiteral("count"),
                             application.attribute(QStringLiteral("count")).toInt() + 1);
    writeXbel(document);
}

// Removes this application from every entry of the shared list, and entries left with no
// application at all.
void withdrawAll() {
    if (!QFile::exists(RecentDocuments::xbelPath()))
        return;
    QDomDocument document;
    if (!readXbel(document))
        return;
    QDomElement root = document.documentElement();
    bool changed = false;
    for (QDomElement b = root.firstChildElement(QStringLiteral("bookmark")); !b.isNull();) {
        QDomElement next = b.nextSiblingElement(QStringLiteral("bookmark"));
        QDomElement applications = b.firstChildElement(QStringLiteral("info"))
                                       .firstChildElement(QStringLiteral("metadata"))
                                       .firstChildElement(QStringLiteral("bookmark:applications"));
        for (QDomElement a = applications.firstChildElement(QStringLiteral("bookmark:application"));
             !a.isNull();) {
            QDomElement nextApp = a.nextSiblingElement(QStringLiteral("bookmark:application"));
            if (a.attribute(QStringLiteral("name")) == applicationName) {
                applications.removeChild(a);
                changed = true;
                if (applications.firstChildElement(QStringLiteral("bookmark:application")).isNull())
                    root.removeChild(b);
            }
            a = nextApp;
        }
        b = next;
    }
    if (changed)
        writeXbel(document);
}

} // namespace

RecentDocuments::RecentDocuments(QObject* parent)
    : QObject(parent) {}

QString RecentDocuments::xbelPath() {
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
        .filePath(QStringLiteral("recently-used.xbel"));
}

QStringList RecentDocuments::paths() const {
    QStringList list;
    const QStringList stored = QSettings().value(settingsKey).toStringList();
    for (const QString& path : stored)
        if (QFileInfo(path).isDir())
            list.append(path);
    return list;
}

void RecentDocuments::note(const QString& path) {
    const QString cleaned = clean(path);
    QStringList list = QSettings().value(settingsKey).toStringList();
    list.removeAll(cleaned);
    list.prepend(cleaned);
    while (list.size() > limit)
        list.removeLast();
    QSettings().setValue(settingsKey, list);
    announce(cleaned);
    Q_EMIT changed();
}

void RecentDocuments::clear() {
    QSettings().remove(settingsKey);
    withdrawAll();
    Q_EMIT changed();
}

} // namespace trovix
