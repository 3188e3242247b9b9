// Exact order statistics of 3x3 windows of integer pixels along a row,
// computed for many pixels at once: the nine window values of each pixel are
// sorted by an odd-even transposition network (nine rounds sort nine
// values) made of min/max passes that vectorise across the row. Any exact
// selection gives the reference's integer result; float keeps the
// reference's quickselect, whose NaN handling depends on its visiting order.
#ifndef RANKNETWORK3X3_H
#define RANKNETWORK3X3_H

#include <algorithm>

namespace tirn {

// out[x] = value of rank k (0 = smallest, clamped to 0..8) of the window
// rows pAbove/pRow/pBelow, columns x-1..x+1, for x in [1, iWidth-1).
template <class T>
void rank3x3Row(const T* pAbove, const T* pRow, const T* pBelow, int iWidth, int k, T* pOut)
{
    static_assert(sizeof(T) <= 2, "integer pixels of 8 or 16 bits only");
    k = std::min(std::max(k, 0), 8);
    if (k == 0 || k == 8) {
        // The extremes are separable: of each column's three, then of three
        // columns.
        const bool bMax = k == 8;
        auto pick = [bMax](T a, T b) { return bMax ? std::max(a, b) : std::min(a, b); };
        constexpr int kChunk = 1024;
        T column[kChunk + 2];
        for (int x0 = 0; x0 < iWidth - 2; x0 += kChunk) {
            const int n = std::min(kChunk, iWidth - 2 - x0) + 2;
            for (int t = 0; t < n; ++t)
                column[t] = pick(pick(pAbove[x0 + t], pRow[x0 + t]), pBelow[x0 + t]);
            for (int t = 0; t + 2 < n; ++t)
                pOut[x0 + t + 1] = pick(pick(column[t], column[t + 1]), column[t + 2]);
        }
        return;
    }
    constexpr int kChunk = 256;
    T v[9][kChunk];
    const T* apSource[9] = {pAbove - 1, pAbove, pAbove + 1, pRow - 1, pRow,
                            pRow + 1,   pBelow - 1, pBelow, pBelow + 1};
    for (int x0 = 1; x0 < iWidth - 1; x0 += kChunk) {
        const int n = std::min(kChunk, iWidth - 1 - x0);
        for (int i = 0; i < 9; ++i)
            std::copy(apSource[i] + x0, apSource[i] + x0 + n, v[i]);
        for (int iRound = 0; iRound < 9; ++iRound)
            for (int i = iRound % 2; i + 1 < 9; i += 2) {
                T* a = v[i];
                T* b = v[i + 1];
                for (int t = 0; t < n; ++t) {
                    const T lo = std::min(a[t], b[t]);
                    const T hi = std::max(a[t], b[t]);
                    a[t] = lo;
                    b[t] = hi;
                }
            }
        std::copy(v[k], v[k] + n, pOut + x0);
    }
}

} // namespace tirn

#endif
