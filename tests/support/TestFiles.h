#pragma once

// Small helpers shared by the tests that work with files: reading and writing whole files, a picture
// with detail everywhere, Qt's own file of a picture, and PNG chunks with correct checksums for building
// damaged files.

#include <QBuffer>
#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QString>
#include <QTest>
#include <QtEndian>

#include <algorithm>
#include <cstdlib>
#include <zlib.h>

namespace trovix::testing {

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(path));
    QCOMPARE(file.write(bytes), bytes.size());
}

// A picture with detail in every row and column, so that any damage to the pixels shows.
inline QImage pattern(int w, int h, int seed) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < w; ++x)
            line[x] = qRgb((x * 7 + seed * 31) & 0xff, (y * 5 + seed) & 0xff, ((x ^ y) + seed * 3) & 0xff);
    }
    return image;
}

inline QImage flat(int w, int h, QColor colour = QColor(230, 230, 230)) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

// The largest difference of any premultiplied channel between two pictures of one size over `area`
// (all of them when null); 256 when the sizes differ.
inline int maxDifference(const QImage& a, const QImage& b, QRect area = {}) {
    if (a.size() != b.size())
        return 256;
    if (area.isNull())
        area = a.rect();
    const QImage x = a.convertToFormat(QImage::Format_ARGB32_Premultiplied),
                 y = b.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    int worst = 0;
    for (int row = area.top(); row <= area.bottom(); ++row)
        for (int col = area.left(); col <= area.right(); ++col) {
            const QRgb p = x.pixel(col, row), q = y.pixel(col, row);
            worst = std::max({worst, std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                              std::abs(qBlue(p) - qBlue(q)), std::abs(qAlpha(p) - qAlpha(q))});
        }
    return worst;
}

// The picture as Qt's own writer stores it in `format`.
inline QByteArray encoded(const QImage& image, const char* format = "PNG") {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

// One PNG chunk: length, type, body and a correct CRC.
inline QByteArray pngChunk(const char* type, const QByteArray& body) {
    QByteArray out(4, '\0');
    qToBigEndian<quint32>(quint32(body.size()), out.data());
    out += QByteArray(type, 4) + body;
    QByteArray crc(4, '\0');
    const QByteArray covered = out.mid(4);
    qToBigEndian<quint32>(
        quint32(crc32(0, reinterpret_cast<const Bytef*>(covered.constData()), uInt(covered.size()))),
        crc.data());
    return out + crc;
}

// Replaces the first chunk of `type` by one holding `body`, as a damaged-but-consistent file would look.
inline QByteArray withChunk(const QByteArray& png, const char* type, const QByteArray& body) {
    qsizetype pos = 8;
    while (pos + 8 <= png.size()) {
        const quint32 length = qFromBigEndian<quint32>(png.constData() + pos);
        if (png.mid(pos + 4, 4) == type)
            return png.left(pos) + pngChunk(type, body) + png.mid(pos + 12 + length);
        pos += 12 + length;
    }
    return png;
}

} // namespace trovix::testing
