#pragma once

#include "redact/SecretDetector.h"

#include <QImage>
#include <QList>
#include <QRect>
#include <QSize>

#include <memory>
#include <mutex>

namespace trovix {

// Remembers the last pictures read (a hash of each small square) and their words, so that a picture
// that differs from one of them in a few places is read only there: clicks recorded in one window
// give screens that mostly repeat, and reading a whole screen takes seconds where a few words take a
// fraction of one. Callable from any thread.
class ReadingMemory {
public:
    // How many pictures are remembered, by size (a light and a dark reading per screen, two screens).
    static constexpr int remembered = 4;
    // A picture is compared in squares of this many pixels.
    static constexpr int tile = 16;
    // Pixels read around a change, in the prepared picture: above and below, so a line touched
    // anywhere is read whole; and sideways, so that the words beside a change are read with it.
    static constexpr int margin = 40;
    static constexpr int across = 160;

    explicit ReadingMemory(SecretDetector::Read read)
        : m_read(std::move(read)) {}

    QList<ReadWord> read(const QImage& prepared);

    // `read`, remembering what it read.
    static SecretDetector::Read remembering(SecretDetector::Read read);

    // What is kept of a picture read: a hash of each tile, row by row.
    struct Tiles {
        QSize size;
        int columns = 0;
        QList<size_t> hashes;
    };
    static Tiles tiles(const QImage& picture);
    // The areas to read again, given the tiles and words read before: the tiles that differ, with
    // the margins, grown so that no word read before is cut; none when nothing differs. Same size
    // assumed.
    static QList<QRect> changedAreas(const Tiles& now, const Tiles& before, const QList<ReadWord>& words);

private:
    struct Reading {
        Tiles tiles;
        QList<ReadWord> words;
    };

    void keep(Reading reading);

    SecretDetector::Read m_read;
    std::mutex m_mutex;
    QList<Reading> m_readings; // newest first
};

} // namespace trovix
