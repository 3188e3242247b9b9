// Exact order statistics of small windows along a row, a SIMD vector of
// pixels at a time (the target chosen at run time), by networks of min/max
// steps. Any exact selection gives the reference's result for integer
// pixels. For float the reference's quickselect returns a value equal to
// the k-th smallest, which fixes the bits unless the window holds a NaN
// (unordered: where it lands depends on the visiting order) or a -0 (equal
// to +0, other bits); such windows are flagged for the caller.
#ifndef RANKNETWORKS_H
#define RANKNETWORKS_H

#include <cstdint>

namespace tirn {

// One compare-exchange of a network: the smaller value to wire a (when
// bLow), the larger to wire b (when bHigh); a side nothing later reads is
// not written.
struct RankStep
{
    std::uint8_t a = 0, b = 0;
    bool bLow = false, bHigh = false;
};

// Batcher's sort of 64 wires has 543 steps.
constexpr int kMaxRankSteps = 543;

struct RankNetwork
{
    RankStep steps[kMaxRankSteps];
    int nSteps = 0;
};

// The steps that leave the value of rank k (0 = smallest) of nWires values
// (1 to 64) on wire k: Batcher's odd-even merge sort of 32 wires (64 from 33
// wires on), those from nWires on taken as +infinity, cut down to what wire k
// depends on. Built at compile time for the kernels.
constexpr RankNetwork rankNetwork(int nWires, int k)
{
    const int n = nWires <= 32 ? 32 : 64;
    RankStep all[kMaxRankSteps];
    int nAll = 0;
    for (int p = 1; p < n; p <<= 1)
        for (int s = p; s >= 1; s >>= 1)
            for (int j = s % p; j + s < n; j += 2 * s)
                for (int i = 0; i < (s < n - j - s ? s : n - j - s); ++i)
                    if ((i + j) / (2 * p) == (i + j + s) / (2 * p) && i + j + s < nWires)
                        all[nAll++] = {std::uint8_t(i + j), std::uint8_t(i + j + s), true, true};
    // Backwards from wire k: a step is kept if the result or a kept later
    // step reads one of its outputs, and then it reads both its inputs.
    bool abNeeded[64] = {};
    abNeeded[k] = true;
    RankStep kept[kMaxRankSteps];
    int nKept = 0;
    for (int i = nAll - 1; i >= 0; --i) {
        const RankStep s = all[i];
        if (!abNeeded[s.a] && !abNeeded[s.b])
            continue;
        kept[nKept++] = {s.a, s.b, abNeeded[s.a], abNeeded[s.b]};
        abNeeded[s.a] = abNeeded[s.b] = true;
    }
    RankNetwork network;
    for (int i = 0; i < nKept; ++i)
        network.steps[i] = kept[nKept - 1 - i];
    network.nSteps = nKept;
    return network;
}

// out[x] = value of rank k (clamped to 0..8) of the window rows
// pAbove/pRow/pBelow, columns x-1..x+1, for x in [1, iWidth-1).
void rank3x3Row(const unsigned char* pAbove, const unsigned char* pRow,
                const unsigned char* pBelow, int iWidth, int k, unsigned char* pOut);
void rank3x3Row(const unsigned short* pAbove, const unsigned short* pRow,
                const unsigned short* pBelow, int iWidth, int k, unsigned short* pOut);

// For x in [x0, x1) of row y of a float channel, whose (2h+1)^2 windows (h
// 1 or 2) lie inside it: out[x] = their median (the value of rank
// ((2h+1)^2 + 1) / 2 - 1), and flag[x] = 1 where the window holds a NaN or
// -0 (out[x] is then not the reference's), else 0. A null pFlag says that no
// window holds either.
void medianFloatRow(const float* pData, int iWidth, int y, int h, int x0, int x1, float* pOut,
                    unsigned char* pFlag);

// The median (the value of rank (n + 1) / 2 - 1) of n floats, 1 <= n <=
// (2h+1)^2, h 1 or 2, none of them a NaN or -0: a window cut by the border.
float paddedMedian(const float* p, int n, int h);

// medianFloatRow for integer pixels and h 2 or 3 (5x5 and 7x7 windows),
// where every exact selection gives the reference's value.
void medianIntegerRow(const unsigned char* pData, int iWidth, int y, int h, int x0, int x1,
                      unsigned char* pOut);
void medianIntegerRow(const unsigned short* pData, int iWidth, int y, int h, int x0, int x1,
                      unsigned short* pOut);

} // namespace tirn

#endif
