#pragma once

// Guide folders written straight to disk, the way a save leaves them, so that library tests do not
// depend on the writer: "guide.json" with the given title and number of steps, an optional
// "thumbnail.jpg", and the modification date the listing sorts by.

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include "library/Library.h"

namespace trovix::testing {

inline const QDateTime noon = QDateTime(QDate(2026, 11, 3), QTime(12, 0), Qt::UTC);

inline QStringList titles(const QList<GuideSummary>& list) {
    QStringList result;
    for (const GuideSummary& summary : list)
        result.append(summary.title);
    return result;
}

inline bool setModified(const QString& path, const QDateTime& when) {
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.setFileTime(when, QFileDevice::FileModificationTime);
}

// Writes folder/name with a guide titled `title`; returns the folder's path, empty on failure.
inline QString writeGuideFolder(const QString& folder, const QString& name, const QString& title, int steps,
                                const QDateTime& modified, const QImage& thumbnail = {}) {
    const QString path = QDir(folder).filePath(name);
    if (!QDir().mkpath(path))
        return {};
    QJsonArray records;
    for (int i = 0; i < steps; ++i) {
        const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        records.append(QJsonObject{
            {QStringLiteral("id"), id},
            {QStringLiteral("title"), QStringLiteral("Step %1").arg(i + 1)},
            {QStringLiteral("note"), QString()},
            {QStringLiteral("scale"), 1},
            {QStringLiteral("annotations"), QJsonArray()},
        });
    }
    const QJsonObject record{{QStringLiteral("title"), title}, {QStringLiteral("steps"), records}};
    QFile json(QDir(path).filePath(QStringLiteral("guide.json")));
    if (!json.open(QIODevice::WriteOnly) ||
        json.write(QJsonDocument(record).toJson(QJsonDocument::Compact)) < 0)
        return {};
    json.close();
    if (!thumbnail.isNull() &&
        !thumbnail.save(QDir(path).filePath(QStringLiteral("thumbnail.jpg")), "JPEG", 80))
        return {};
    if (modified.isValid() && !setModified(json.fileName(), modified))
        return {};
    return path;
}

} // namespace trovix::testing
