// Exact order statistics of complete float windows along a row, many pixels
// at once: each pixel's window values are sorted by an odd-even
// transposition network whose min/max passes vectorise across the row.
// The reference's quickselect returns a value equal to the k-th smallest,
// and for float that fixes the bits unless the window holds a NaN
// (unordered: where it lands depends on the visiting order) or a -0 (equal
// to +0, other bits). Such windows are flagged and left to the caller.
#ifndef RANKNETWORKFLOAT_H
#define RANKNETWORKFLOAT_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace tirn {

// A NaN or -0: the values whose choice only the reference's order decides.
inline bool orderSensitive(float v)
{
    std::uint32_t u;
    std::memcpy(&u, &v, sizeof u);
    return v != v || u == 0x80000000u;
}

// For x in [x0, x1) of row y (windows of half side h lie inside the image):
// out[x] = k-th smallest (0-based) of the window, and flag[x] = 1 where the
// window holds a NaN or -0 (out[x] is then not the reference's).
class RankNetworkFloat
{
public:
    void row(const float* pData, int iWidth, int y, int h, int k, int x0, int x1, float* pOut,
             unsigned char* pFlag)
    {
        const int iSide = 2 * h + 1, n = iSide * iSide;
        k = std::min(std::max(k, 0), n - 1);
        constexpr int kChunk = 128;
        v.resize(std::size_t(n) * kChunk);
        for (int xa = x0; xa < x1; xa += kChunk) {
            const int m = std::min(kChunk, x1 - xa);
            unsigned char* pF = pFlag + xa;
            std::fill(pF, pF + m, 0);
            for (int j = 0; j < iSide; ++j) {
                const float* pRow = pData + std::size_t(y - h + j) * iWidth + xa - h;
                for (int i = 0; i < iSide; ++i) {
                    float* pv = &v[std::size_t(j * iSide + i) * kChunk];
                    const float* p = pRow + i;
                    for (int t = 0; t < m; ++t) {
                        pv[t] = p[t];
                        pF[t] |= (unsigned char)orderSensitive(p[t]);
                    }
                }
            }
            for (int iRound = 0; iRound < n; ++iRound)
                for (int i = iRound % 2; i + 1 < n; i += 2) {
                    exchange(&v[std::size_t(i) * kChunk], &v[std::size_t(i + 1) * kChunk], m);
                }
            std::copy(&v[std::size_t(k) * kChunk], &v[std::size_t(k) * kChunk] + m, pOut + xa);
        }
    }

private:
    std::vector<float> v;

    // Rows a and b never overlap; saying so lets the passes vectorise.
    static void exchange(float* __restrict a, float* __restrict b, int m)
    {
        for (int t = 0; t < m; ++t) {
            const float x = a[t], y = b[t];
            a[t] = std::min(x, y);
            b[t] = std::max(x, y);
        }
    }
};

} // namespace tirn

#endif
