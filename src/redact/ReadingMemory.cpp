#include "redact/ReadingMemory.h"

#include <QHashFunctions>

#include <algorithm>
#include <cmath>
#include <optional>

namespace trovix {

namespace {

// Merges overlapping areas until none overlap.
void mergeOverlapping(QList<QRect>& areas) {
    for (bool merged = true; merged;) {
        merged = false;
        for (qsizetype i = 0; i < areas.size() && !merged; ++i) {
            for (qsizetype j = i + 1; j < areas.size(); ++j) {
                if (areas[i].intersects(areas[j])) {
                    areas[i] |= areas.takeAt(j);
                    merged = true;
                    break;
                }
            }
        }
    }
}

} // namespace

ReadingMemory::Tiles ReadingMemory::tiles(const QImage& picture) {
    Tiles grid;
    grid.size = picture.size();
    grid.columns = (picture.width() + tile - 1) / tile;
    const int rows = (picture.height() + tile - 1) / tile;
    grid.hashes.fill(0, qsizetype(grid.columns) * rows);
    const int bytesPerPixel = picture.depth() / 8;
    for (int y = 0; y < picture.height(); ++y) {
        const uchar* line = picture.constScanLine(y);
        size_t* row = grid.hashes.data() + qsizetype(y / tile) * grid.columns;
        for (int column = 0; column < grid.columns; ++column) {
            const int left = column * tile;
            const int width = std::min(tile, picture.width() - left);
            row[column] = qHashBits(line + left * bytesPerPixel, size_t(width * bytesPerPixel), row[column]);
        }
    }
    return grid;
}

QList<QRect> ReadingMemory::changedAreas(const Tiles& now, const Tiles& before,
                                         const QList<ReadWord>& words) {
    const QRect picture(QPoint(0, 0), now.size);
    const int rows = int(now.hashes.size() / std::max(1, now.columns));
    QList<QRect> areas;
    for (int row = 0; row < rows; ++row) {
        // Runs of changed tiles in a row, those close together as one.
        int runStart = -1, runEnd = -1;
        const auto flush = [&] {
            if (runStart < 0)
                return;
            const QRect changed(runStart * tile, row * tile, (runEnd - runStart + 1) * tile, tile);
            areas.append(changed.adjusted(-across, -margin, across, margin) & picture);
            runStart = -1;
        };
        for (int column = 0; column < now.columns; ++column) {
            const qsizetype at = qsizetype(row) * now.columns + column;
            if (now.hashes[at] == before.hashes.value(at))
                continue;
            if (runStart >= 0 && (column - runEnd) * tile > 2 * across)
                flush();
            if (runStart < 0)
                runStart = column;
            runEnd = column;
        }
        flush();
    }
    mergeOverlapping(areas);
    // A word read before that an area cuts is read again whole, with some room around it; that may
    // reach another area.
    for (bool grown = true; grown;) {
        grown = false;
        for (QRect& area : areas) {
            for (const ReadWord& word : words) {
                const QRect box = word.box.toAlignedRect().adjusted(-2, -2, 2, 2) & picture;
                if (area.intersects(box) && !area.contains(box)) {
                    area |= box;
                    grown = true;
                }
            }
        }
        mergeOverlapping(areas);
    }
    return areas;
}

QList<ReadWord> ReadingMemory::read(const QImage& prepared) {
    const Tiles now = tiles(prepared);
    std::optional<Reading> before;
    {
        std::lock_guard lock(m_mutex);
        for (const Reading& reading : std::as_const(m_readings)) {
            if (reading.tiles.size == prepared.size()) {
                before = reading;
                break;
            }
        }
    }
    const QList<QRect> areas = before ? changedAreas(now, before->tiles, before->words) : QList<QRect>();
    qint64 changed = 0;
    for (const QRect& area : areas)
        changed += qint64(area.width()) * area.height();
    // Much of the screen changed (another window, a scrolled page): one reading of all of it is quicker
    // than many pieces, and finds lines the way a whole page does.
    if (!before || changed > qint64(prepared.width()) * prepared.height() / 2) {
        const QList<ReadWord> words = m_read(prepared);
        keep({now, words});
        return words;
    }
    QList<ReadWord> words;
    for (const ReadWord& word : std::as_const(before->words)) {
        const bool reread = std::any_of(areas.cbegin(), areas.cend(),
                                        [&](const QRect& area) { return QRectF(area).intersects(word.box); });
        if (!reread)
            words.append(word);
    }
    const QRect picture = prepared.rect();
    for (const QRect& area : areas) {
        for (ReadWord word : m_read(prepared.copy(area))) {
            // An edge inside the picture cuts no word read before: what is read there is a sliver of
            // something unchanged, not text.
            const QRectF box = word.box.translated(area.topLeft());
            const bool cut = (area.top() > picture.top() && box.top() < area.top() + 1) ||
                             (area.bottom() < picture.bottom() && box.bottom() > area.bottom()) ||
                             (area.left() > picture.left() && box.left() < area.left() + 1) ||
                             (area.right() < picture.right() && box.right() > area.right());
            if (cut)
                continue;
            word.box = box;
            words.append(word);
        }
    }
    keep({now, words});
    return words;
}

void ReadingMemory::keep(Reading reading) {
    std::lock_guard lock(m_mutex);
    m_readings.removeIf([&](const Reading& kept) { return kept.tiles.size == reading.tiles.size; });
    m_readings.prepend(std::move(reading));
    while (m_readings.size() > remembered)
        m_readings.removeLast();
}

SecretDetector::Read ReadingMemory::remembering(SecretDetector::Read read) {
    auto memory = std::make_shared<ReadingMemory>(std::move(read));
    return [memory](const QImage& prepared) { return memory->read(prepared); };
}

} // namespace trovix
