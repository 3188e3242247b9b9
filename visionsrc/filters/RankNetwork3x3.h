// Exact order statistics of 3x3 windows of integer pixels along a row,
// computed a SIMD vector of pixels at a time (the target chosen at run
// time). Any exact selection gives the reference's integer result; float
// keeps the reference's quickselect, whose NaN handling depends on its
// visiting order.
#ifndef RANKNETWORK3X3_H
#define RANKNETWORK3X3_H

#include <cstdint>

namespace tirn {

// One compare-exchange of a network on nine wires: the smaller value to
// wire a (when bLow), the larger to wire b (when bHigh); a side nothing
// later reads is not written.
struct RankStep
{
    std::uint8_t a = 0, b = 0;
    bool bLow = false, bHigh = false;
};

struct RankNetwork
{
    RankStep steps[64];
    int nSteps = 0;
};

// The steps that leave the value of rank k (0 = smallest, 0..8) of nine
// values on wire k: Batcher's odd-even merge sort of sixteen wires, the
// seven beyond the ninth taken as +infinity, cut down to what wire k
// depends on. Built at compile time for the kernels.
constexpr RankNetwork rankNetwork9(int k)
{
    constexpr int n = 16;
    RankStep all[64];
    int nAll = 0;
    for (int p = 1; p < n; p <<= 1)
        for (int s = p; s >= 1; s >>= 1)
            for (int j = s % p; j + s < n; j += 2 * s)
                for (int i = 0; i < (s < n - j - s ? s : n - j - s); ++i)
                    if ((i + j) / (2 * p) == (i + j + s) / (2 * p) && i + j + s < 9)
                        all[nAll++] = {std::uint8_t(i + j), std::uint8_t(i + j + s), true, true};
    // Backwards from wire k: a step is kept if the result or a kept later
    // step reads one of its outputs, and then it reads both its inputs.
    bool abNeeded[9] = {};
    abNeeded[k] = true;
    RankNetwork network;
    RankStep kept[64];
    int nKept = 0;
    for (int i = nAll - 1; i >= 0; --i) {
        const RankStep s = all[i];
        if (!abNeeded[s.a] && !abNeeded[s.b])
            continue;
        kept[nKept++] = {s.a, s.b, abNeeded[s.a], abNeeded[s.b]};
        abNeeded[s.a] = abNeeded[s.b] = true;
    }
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

} // namespace tirn

#endif
