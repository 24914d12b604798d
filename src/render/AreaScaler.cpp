#include "render/AreaScaler.h"

#include <algorithm>

namespace trovix {

namespace {

// The weight, in 256ths, of the first `part` units of a span `whole` units long. Weights taken as
// differences of these add up to exactly 256 over the whole span.
int share(qint64 part, qint64 whole) {
    return int((part * 256 + whole / 2) / whole);
}

void accumulate(quint16* __restrict sums, const uchar* __restrict row, quint16 weight, qsizetype length) {
    for (qsizetype i = 0; i < length; ++i)
        sums[i] = quint16(sums[i] + weight * row[i]);
}

} // namespace

AreaScaler::AreaScaler(QSize from, QSize to)
    : m_from(from)
    , m_to(to)
    , m_out(to, QImage::Format_RGB32) {
    if (to.isEmpty() || to.width() > from.width() || to.height() > from.height()) {
        m_out = QImage();
        return;
    }
    // In units of 1/to.width() of a source pixel, source column i spans [i·w, (i+1)·w) and output
    // column x spans [x·W, (x+1)·W).
    const qint64 W = from.width(), w = to.width();
    m_first.resize(size_t(w));
    for (qint64 x = 0; x < w; ++x) {
        m_first[size_t(x)] = int(x * W / w);
        m_taps = std::max(m_taps, int(((x + 1) * W - 1) / w - m_first[size_t(x)] + 1));
    }
    m_weights.assign(size_t(w * m_taps), 0);
    for (qint64 x = 0; x < w; ++x) {
        const qint64 lo = x * W, hi = lo + W, first = m_first[size_t(x)], last = (hi - 1) / w;
        for (qint64 i = first; i <= last; ++i)
            m_weights[size_t(x * m_taps + i - first)] =
                quint16(share(std::min(hi, (i + 1) * w) - lo, W) - share(std::max(lo, i * w) - lo, W));
    }
    m_sums.assign(size_t(W + m_taps) * 3, 0);
    m_nextSums = m_sums;
}

void AreaScaler::addRgbRow(const uchar* rgb) {
    if (m_out.isNull() || m_sourceRow >= m_from.height())
        return;
    // As with columns: source row y spans [y·h, (y+1)·h), output row j spans [j·H, (j+1)·H). A
    // source row is never taller than an output row, so it meets at most two.
    const qint64 H = m_from.height(), h = m_to.height();
    const qint64 lo = m_sourceRow * h, hi = lo + h, j = lo / H, end = (j + 1) * H;
    ++m_sourceRow;
    const qsizetype length = qsizetype(m_from.width()) * 3;
    accumulate(m_sums.data(), rgb, quint16(share(std::min(hi, end) - j * H, H) - share(lo - j * H, H)),
               length);
    if (hi > end)
        accumulate(m_nextSums.data(), rgb, quint16(share(hi - end, H)), length);
    if (hi >= end) {
        finishRow(int(j));
        std::swap(m_sums, m_nextSums);
        std::fill(m_nextSums.begin(), m_nextSums.end(), quint16(0));
    }
}

void AreaScaler::addPremultipliedRow(const quint32* argb) {
    m_rgb.resize(size_t(m_from.width()) * 3);
    uchar* out = m_rgb.data();
    for (int x = 0; x < m_from.width(); ++x, out += 3) {
        // Over white: each channel plus the white that shows through.
        const quint32 p = argb[x], white = 255 - (p >> 24);
        out[0] = uchar(((p >> 16) & 0xff) + white);
        out[1] = uchar(((p >> 8) & 0xff) + white);
        out[2] = uchar((p & 0xff) + white);
    }
    addRgbRow(m_rgb.data());
}

namespace {

// One output row from the sums: `Taps` columns weighed for each output pixel. A compile-time tap
// count for the usual ratios lets the compiler unroll the loop.
template <int Taps>
void weighColumns(const quint16* sums, const int* first, const quint16* weight, int taps, quint32* out,
                  int width) {
    const int n = Taps > 0 ? Taps : taps;
    for (int x = 0; x < width; ++x, weight += n) {
        const quint16* p = sums + 3 * qsizetype(first[x]);
        quint32 r = 0, g = 0, b = 0;
        for (int k = 0; k < n; ++k) {
            r += weight[k] * quint32(p[3 * k]);
            g += weight[k] * quint32(p[3 * k + 1]);
            b += weight[k] * quint32(p[3 * k + 2]);
        }
        // Sums are in 65536ths; round to the nearest step.
        out[x] = 0xff000000u | (((r + 32768) >> 16) << 16) | (((g + 32768) >> 16) << 8) | ((b + 32768) >> 16);
    }
}

} // namespace

void AreaScaler::finishRow(int outputRow) {
    auto* out = reinterpret_cast<quint32*>(m_out.scanLine(outputRow));
    const auto weigh = m_taps == 2   ? weighColumns<2>
                       : m_taps == 3 ? weighColumns<3>
                       : m_taps == 4 ? weighColumns<4>
                                     : weighColumns<0>;
    weigh(m_sums.data(), m_first.data(), m_weights.data(), m_taps, out, m_to.width());
}

QImage AreaScaler::result() const {
    return m_sourceRow == m_from.height() ? m_out : QImage();
}

} // namespace trovix
