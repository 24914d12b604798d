#pragma once

#include <QImage>
#include <QSize>

#include <vector>

namespace trovix {

// Shrinks a picture by area averaging: each output pixel is the mean of the source pixels it covers,
// a partly covered pixel counting by the part it covers. The source rows come one at a time, top to
// bottom, and only two output rows of sums are held, so a decoder can feed rows as it makes them and
// the full-size pixels are never made.
//
// Weights are whole 256ths that add up to exactly 256 for every output pixel, so a flat area keeps
// its colour exactly; at a ratio of 1 the pixels come through unchanged. Past about 256:1 in one
// direction most source pixels weigh nothing and it samples rather than averages.
class AreaScaler {
public:
    enum class Rows {
        rgb,           // three bytes a pixel: red, green, blue
        rgb32,         // QImage's RGB32 words, whose top byte means nothing
        premultiplied, // QImage's premultiplied ARGB32 words, shown over white
    };

    // `to` is at most `from` in both directions, and neither is empty.
    AreaScaler(QSize from, QSize to, Rows rows);

    // The next source row, in the layout given to the constructor.
    void addRow(const uchar* row);

    // The shrunk picture (RGB32) once every source row has been added; null when it could not be
    // made or rows are missing.
    QImage result() const;

private:
    void finishRow(int outputRow);

    QSize m_from, m_to;
    Rows m_rows;
    int m_sourceRow = 0;
    // Per output column: its first source column, and the weights of the 2·`m_pairs` columns from
    // there (zero past the ones it covers), each four times over. One tap count for all columns
    // keeps the inner loop free of data-dependent branches.
    std::vector<int> m_first;
    std::vector<quint16> m_weights;
    int m_pairs = 1;
    // Weighted sums of the current output row and the next one, one per source byte, and room for
    // the taps past the last column.
    std::vector<quint16> m_sums, m_nextSums;
    QImage m_out;
};

} // namespace trovix
