#include "render/AreaScaler.h"

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
    m_pairs = (m_taps + 1) / 2;
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
    // Room for the zero-weight taps past the last column, and the one sum read beyond each tap.
    m_sums.assign(size_t(W + 2 * m_pairs + 2) * 3, 0);
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

// One output row from the sums. Per output column: from its first source column, `pairs` pairs of
// taps, each with its weight four times over (the layout SSE2 multiplies by).
#if defined(__SSE2__)
// Every x86-64 has SSE2: one tap's four sums (red, green, blue and the next column's red, which goes
// nowhere) against its weight, two taps a vector, twice as fast as one channel at a time.
void weighColumns(const quint16* sums, const int* first, const quint16* weights, int pairs, quint32* out,
                  int width) {
    const __m128i half = _mm_set1_epi32(32768);
    for (int x = 0; x < width; ++x) {
        const quint16* p = sums + 3 * qsizetype(first[x]);
        __m128i total = half;
        for (int k = 0; k < pairs; ++k, p += 6, weights += 8) {
            const __m128i v = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                                                 _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 3)));
            const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights));
            const __m128i low = _mm_mullo_epi16(v, w), high = _mm_mulhi_epu16(v, w);
            total = _mm_add_epi32(total, _mm_add_epi32(_mm_unpacklo_epi16(low, high),
                                                       _mm_unpackhi_epi16(low, high)));
        }
        // Sums are in 65536ths: rounded (the half added first), each lane is at most 255.
        const __m128i words = _mm_packs_epi32(_mm_srli_epi32(total, 16), total);
        const auto rgb = quint32(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
        out[x] = 0xff000000u | ((rgb & 0xff) << 16) | (rgb & 0xff00) | ((rgb >> 16) & 0xff);
    }
}
#else
void weighColumns(const quint16* sums, const int* first, const quint16* weights, int pairs, quint32* out,
                  int width) {
    for (int x = 0; x < width; ++x) {
        const quint16* p = sums + 3 * qsizetype(first[x]);
        quint32 r = 32768, g = 32768, b = 32768;
        for (int k = 0; k < 2 * pairs; ++k, p += 3) {
            const quint32 w = weights[k / 2 * 8 + k % 2 * 4];
            r += w * p[0];
            g += w * p[1];
            b += w * p[2];
        }
        weights += 8 * pairs;
        out[x] = 0xff000000u | ((r >> 16) << 16) | ((g >> 16) << 8) | (b >> 16);
    }
}
#endif

} // namespace

void AreaScaler::finishRow(int outputRow) {
    weighColumns(m_sums.data(), m_first.data(), m_weights.data(), m_pairs,
                 reinterpret_cast<quint32*>(m_out.scanLine(outputRow)), m_to.width());
}

QImage AreaScaler::result() const {
    return m_sourceRow == m_from.height() ? m_out : QImage();
}

} // namespace trovix
