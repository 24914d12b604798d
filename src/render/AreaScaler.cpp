#include "render/AreaScaler.h"

#include <QSysInfo>

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// Where the channels sit in a pixel's bytes, and how a pixel's four averaged bytes (each 0…255)
// become an opaque RGB32 word: premultiplied pixels over white gain the white that shows through.
struct Layout {
    int red, green, blue, alpha; // alpha -1: none

    quint32 pixel(const quint32* lanes) const {
        const quint32 white = alpha < 0 ? 0 : 255 - lanes[alpha];
        const auto channel = [&](int i) { return std::min<quint32>(lanes[i] + white, 255); };
        return 0xff000000u | (channel(red) << 16) | (channel(green) << 8) | channel(blue);
    }
};

Layout layoutOf(AreaScaler::Rows rows) {
    // A QImage word 0xAARRGGBB lies in memory as B, G, R, A on little-endian machines.
    const bool littleEndian = QSysInfo::ByteOrder == QSysInfo::LittleEndian;
    switch (rows) {
    case AreaScaler::Rows::rgb:
        return {0, 1, 2, -1};
    case AreaScaler::Rows::rgb32:
        return littleEndian ? Layout{2, 1, 0, -1} : Layout{1, 2, 3, -1};
    case AreaScaler::Rows::premultiplied:
        break;
    }
    return littleEndian ? Layout{2, 1, 0, 3} : Layout{1, 2, 3, 0};
}

int channelsOf(AreaScaler::Rows rows) {
    return rows == AreaScaler::Rows::rgb ? 3 : 4;
}

// One output row from the sums. Per output column: from its first source column, `pairs` pairs of
// taps, each with its weight four times over. A tap is four sums: a pixel's four bytes, or for
// three-byte pixels its three and the next pixel's first, whose total goes unused.
#if defined(__SSE2__)
// Every x86-64 has SSE2: two taps a vector, twice as fast as one channel at a time. x86 is
// little-endian, so premultiplied words lie in memory as blue, green, red, alpha.
template <int Channels>
void weighColumns(const quint16* sums, const int* first, const quint16* weights, int pairs, Layout layout,
                  quint32* out, int width) {
    const __m128i half = _mm_set1_epi32(32768), opaque = _mm_set1_epi32(255);
    // RGB32's top byte means nothing: its lane is set to 255, so that no white is added.
    const __m128i noAlpha = layout.alpha < 0 ? _mm_setr_epi32(0, 0, 0, 255) : _mm_setzero_si128();
    for (int x = 0; x < width; ++x) {
        const quint16* p = sums + Channels * qsizetype(first[x]);
        __m128i total = half;
        for (int k = 0; k < pairs; ++k, p += 2 * Channels, weights += 8) {
            const __m128i v =
                Channels == 4 ? _mm_loadu_si128(reinterpret_cast<const __m128i*>(p))
                              : _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                                                   _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 3)));
            const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights));
            const __m128i low = _mm_mullo_epi16(v, w), high = _mm_mulhi_epu16(v, w);
            total = _mm_add_epi32(total, _mm_add_epi32(_mm_unpacklo_epi16(low, high),
                                                       _mm_unpackhi_epi16(low, high)));
        }
        // Sums are in 65536ths, rounded by the half added first.
        __m128i lanes = _mm_srli_epi32(total, 16);
        if constexpr (Channels == 4) {
            // Over white: every lane gains 255 − alpha, which also makes alpha 255; packing clamps.
            lanes = _mm_or_si128(lanes, noAlpha);
            lanes = _mm_add_epi32(lanes, _mm_sub_epi32(opaque, _mm_shuffle_epi32(lanes, 0xff)));
            const __m128i words = _mm_packs_epi32(lanes, lanes);
            out[x] = quint32(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
        } else {
            const __m128i words = _mm_packs_epi32(lanes, lanes);
            const auto rgb = quint32(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
            out[x] = 0xff000000u | ((rgb & 0xff) << 16) | (rgb & 0xff00) | ((rgb >> 16) & 0xff);
        }
    }
}
#else
template <int Channels>
void weighColumns(const quint16* sums, const int* first, const quint16* weights, int pairs, Layout layout,
                  quint32* out, int width) {
    for (int x = 0; x < width; ++x, weights += 8 * pairs) {
        const quint16* p = sums + Channels * qsizetype(first[x]);
        quint32 lanes[4] = {32768, 32768, 32768, 32768};
        for (int k = 0; k < 2 * pairs; ++k, p += Channels)
            for (int c = 0; c < 4; ++c)
                lanes[c] += quint32(weights[k / 2 * 8 + k % 2 * 4]) * p[c];
        for (quint32& lane : lanes)
            lane >>= 16;
        out[x] = layout.pixel(lanes);
    }
}
#endif

} // namespace

AreaScaler::AreaScaler(QSize from, QSize to, Rows rows)
    : m_from(from)
    , m_to(to)
    , m_rows(rows)
    , m_out(to, QImage::Format_RGB32) {
    if (to.isEmpty() || to.width() > from.width() || to.height() > from.height()) {
        m_out = QImage();
        return;
    }
    // In units of 1/to.width() of a source pixel, source column i spans [i·w, (i+1)·w) and output
    // column x spans [x·W, (x+1)·W).
    const qint64 W = from.width(), w = to.width();
    int taps = 1;
    m_first.resize(size_t(w));
    for (qint64 x = 0; x < w; ++x) {
        m_first[size_t(x)] = int(x * W / w);
        taps = std::max(taps, int(((x + 1) * W - 1) / w - m_first[size_t(x)] + 1));
    }
    m_pairs = (taps + 1) / 2;
    m_weights.assign(size_t(w * m_pairs * 8), 0);
    for (qint64 x = 0; x < w; ++x) {
        const qint64 lo = x * W, hi = lo + W, first = m_first[size_t(x)], last = (hi - 1) / w;
        for (qint64 i = first; i <= last; ++i) {
            const auto weight =
                quint16(share(std::min(hi, (i + 1) * w) - lo, W) - share(std::max(lo, i * w) - lo, W));
            const qint64 tap = i - first;
            quint16* lanes = m_weights.data() + (x * m_pairs + tap / 2) * 8 + (tap % 2) * 4;
            std::fill(lanes, lanes + 4, weight);
        }
    }
    // Room for the zero-weight taps past the last column, and the sum read beyond each tap.
    m_sums.assign(size_t(W + 2 * m_pairs + 2) * size_t(channelsOf(rows)), 0);
    m_nextSums = m_sums;
}

void AreaScaler::addRow(const uchar* row) {
    if (m_out.isNull() || m_sourceRow >= m_from.height())
        return;
    // As with columns: source row y spans [y·h, (y+1)·h), output row j spans [j·H, (j+1)·H). A
    // source row is never taller than an output row, so it meets at most two.
    const qint64 H = m_from.height(), h = m_to.height();
    const qint64 lo = m_sourceRow * h, hi = lo + h, j = lo / H, end = (j + 1) * H;
    ++m_sourceRow;
    const qsizetype length = qsizetype(m_from.width()) * channelsOf(m_rows);
    accumulate(m_sums.data(), row, quint16(share(std::min(hi, end) - j * H, H) - share(lo - j * H, H)),
               length);
    if (hi > end)
        accumulate(m_nextSums.data(), row, quint16(share(hi - end, H)), length);
    if (hi >= end) {
        finishRow(int(j));
        std::swap(m_sums, m_nextSums);
        std::fill(m_nextSums.begin(), m_nextSums.end(), quint16(0));
    }
}

void AreaScaler::finishRow(int outputRow) {
    const auto weigh = channelsOf(m_rows) == 3 ? weighColumns<3> : weighColumns<4>;
    weigh(m_sums.data(), m_first.data(), m_weights.data(), m_pairs, layoutOf(m_rows),
          reinterpret_cast<quint32*>(m_out.scanLine(outputRow)), m_to.width());
}

QImage AreaScaler::result() const {
    return m_sourceRow == m_from.height() ? m_out : QImage();
}

} // namespace trovix
