#include "render/Pixelate.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace trovix {

namespace {

// Block edges along one axis, relative to the region's start: 0, round(b), round(2b), …, length.
// Strictly increasing because b >= 1.
std::vector<int> blockEdges(int length, double blockSize) {
    std::vector<int> edges;
    edges.reserve(size_t(length / blockSize) + 2);
    for (int i = 0;; ++i) {
        const long edge = std::lround(i * blockSize);
        if (edge >= length) {
            edges.push_back(length);
            break;
        }
        edges.push_back(int(edge));
    }
    return edges;
}

// Indices [first, last) of the blocks that meet [from, to).
std::pair<size_t, size_t> blocksMeeting(const std::vector<int>& edges, int from, int to) {
    const size_t first = size_t(std::upper_bound(edges.begin(), edges.end(), from) - edges.begin()) - 1;
    const size_t last = size_t(std::lower_bound(edges.begin(), edges.end(), to) - edges.begin());
    return {first, last};
}

} // namespace

Pixelated pixelate(const QImage& base, const QRect& region, double blockSize, const QRect& wanted) {
    if (base.isNull() || region.isEmpty() || !base.rect().contains(region) || !(blockSize >= 1))
        return {};
    const QRect want = (wanted & region).translated(-region.topLeft());
    if (want.isEmpty())
        return {};

    const std::vector<int> xs = blockEdges(region.width(), blockSize);
    const std::vector<int> ys = blockEdges(region.height(), blockSize);
    const auto [col0, col1] = blocksMeeting(xs, want.left(), want.left() + want.width());
    const auto [row0, row1] = blocksMeeting(ys, want.top(), want.top() + want.height());
    // The part of the region that is computed, relative to the region.
    const QRect part(QPoint(xs[col0], ys[row0]), QPoint(xs[col1] - 1, ys[row1] - 1));

    // Read 32-bit premultiplied pixels straight from the base when it has them (opaque RGB32 has
    // alpha 0xff); convert only the needed part otherwise.
    QImage source = base;
    QPoint sourceOrigin(0, 0);
    if (base.format() != QImage::Format_ARGB32_Premultiplied && base.format() != QImage::Format_RGB32) {
        sourceOrigin = part.translated(region.topLeft()).topLeft();
        source =
            base.copy(part.translated(region.topLeft())).convertToFormat(QImage::Format_ARGB32_Premultiplied);
        if (source.isNull())
            return {};
    }

    QImage out(part.size(), QImage::Format_ARGB32_Premultiplied);
    if (out.isNull())
        return {};

    const size_t blocks = col1 - col0;
    std::vector<quint64> sums(blocks * 4);
    for (size_t row = row0; row < row1; ++row) {
        std::fill(sums.begin(), sums.end(), 0);
        for (int y = ys[row]; y < ys[row + 1]; ++y) {
            const auto* line =
                reinterpret_cast<const quint32*>(source.constScanLine(region.top() + y - sourceOrigin.y())) +
                (region.left() - sourceOrigin.x());
            quint64* sum = sums.data();
            for (size_t col = col0; col < col1; ++col, sum += 4) {
                quint64 a = 0, r = 0, g = 0, b = 0;
                for (int x = xs[col]; x < xs[col + 1]; ++x) {
                    const quint32 p = line[x];
                    a += p >> 24;
                    r += (p >> 16) & 0xff;
                    g += (p >> 8) & 0xff;
                    b += p & 0xff;
                }
                sum[0] += a;
                sum[1] += r;
                sum[2] += g;
                sum[3] += b;
            }
        }

        const int top = ys[row] - part.top();
        auto* first = reinterpret_cast<quint32*>(out.scanLine(top));
        const quint64* sum = sums.data();
        for (size_t col = col0; col < col1; ++col, sum += 4) {
            const quint64 n = quint64(xs[col + 1] - xs[col]) * quint64(ys[row + 1] - ys[row]);
            const auto avg = [n](quint64 s) { return quint32((s + n / 2) / n); };
            const quint32 colour = avg(sum[0]) << 24 | avg(sum[1]) << 16 | avg(sum[2]) << 8 | avg(sum[3]);
            std::fill_n(first + (xs[col] - part.left()), xs[col + 1] - xs[col], colour);
        }
        const size_t rowBytes = size_t(part.width()) * 4;
        for (int y = top + 1; y < ys[row + 1] - part.top(); ++y)
            std::memcpy(out.scanLine(y), first, rowBytes);
    }
    return {out, part.topLeft() + region.topLeft()};
}

} // namespace trovix
