#pragma once

// Guide folders written straight to disk, the way a save leaves them, so that library tests do not
// depend on the writer: "guide.json" with the given title and number of steps, an optional
// "thumbnail.jpg", and the modification date the listing sorts by.

#include <QColor>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
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
// `firstStep` becomes the first step's PNG (the summary's picture when there is no thumbnail).
inline QString writeGuideFolder(const QString& folder, const QString& name, const QString& title, int steps,
                                const QDateTime& modified, const QImage& thumbnail = {},
                                const QImage& firstStep = {}) {
    const QString path = QDir(folder).filePath(name);
    if (!QDir().mkpath(path))
        return {};
    QJsonArray records;
    for (int i = 0; i < steps; ++i) {
        const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        if (i == 0 && !firstStep.isNull() &&
            !firstStep.save(QDir(path).filePath(id + QStringLiteral(".png")), "PNG"))
            return {};
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

// A 640 × 360 thumbnail of one colour with a lighter band, like a saved guide's.
inline QImage thumbnailOf(QColor colour, QSize size = QSize(640, 360)) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    QPainter painter(&image);
    painter.fillRect(QRect(0, size.height() / 3, size.width(), size.height() / 6), colour.lighter(150));
    return image;
}

} // namespace trovix::testing
