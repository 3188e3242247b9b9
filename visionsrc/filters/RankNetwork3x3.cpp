#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/RankNetwork3x3.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <utility>

#include "filters/RankNetwork3x3.h"

HWY_BEFORE_NAMESPACE();
namespace tirn {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class V> HWY_INLINE V middleOfThree(V a, V b, V c)
{
    return hn::Max(hn::Min(a, b), hn::Min(hn::Max(a, b), c));
}

// The network of rank K on nine vectors, unrolled, so that they stay in
// registers.
template <int K, class V, std::size_t... I>
HWY_INLINE V runNetwork(V* v, std::index_sequence<I...>)
{
    constexpr RankNetwork network = rankNetwork9(K);
    const auto step = [v](const RankStep& s) {
        const V a = v[s.a], b = v[s.b];
        if (s.bLow)
            v[s.a] = hn::Min(a, b);
        if (s.bHigh)
            v[s.b] = hn::Max(a, b);
    };
    (step(network.steps[I]), ...);
    return v[K];
}

template <int K, class D, class T>
HWY_INLINE hn::Vec<D> rankOfWindows(D d, const T* pAbove, const T* pRow, const T* pBelow, int x)
{
    using V = hn::Vec<D>;
    if constexpr (K == 4) {
        // Each column's three sorted once; the median is then the middle of
        // the largest low, the middle middle and the smallest high.
        V lo[3], mid[3], hi[3];
        for (int i = 0; i < 3; ++i) {
            const V a = hn::LoadU(d, pAbove + x - 1 + i);
            const V r = hn::LoadU(d, pRow + x - 1 + i);
            const V b = hn::LoadU(d, pBelow + x - 1 + i);
            const V ar = hn::Min(a, r), rb = hn::Max(a, r);
            lo[i] = hn::Min(ar, b);
            const V t = hn::Max(ar, b);
            mid[i] = hn::Min(rb, t);
            hi[i] = hn::Max(rb, t);
        }
        const V maxLow = hn::Max(hn::Max(lo[0], lo[1]), lo[2]);
        const V minHigh = hn::Min(hn::Min(hi[0], hi[1]), hi[2]);
        const V midMid = middleOfThree(mid[0], mid[1], mid[2]);
        return middleOfThree(maxLow, midMid, minHigh);
    } else {
        V v[9];
        for (int i = 0; i < 3; ++i) {
            v[i] = hn::LoadU(d, pAbove + x - 1 + i);
            v[3 + i] = hn::LoadU(d, pRow + x - 1 + i);
            v[6 + i] = hn::LoadU(d, pBelow + x - 1 + i);
        }
        return runNetwork<K>(v, std::make_index_sequence<std::size_t(rankNetwork9(K).nSteps)>());
    }
}

template <int K, class T>
void rankRow(const T* HWY_RESTRICT pAbove, const T* HWY_RESTRICT pRow,
             const T* HWY_RESTRICT pBelow, int iWidth, T* HWY_RESTRICT pOut)
{
    const hn::ScalableTag<T> d;
    const int N = int(hn::Lanes(d));
    // Vectors start at x = 1; the last one may reach back over pixels a
    // vector already did, which gives the same values again.
    const int iLast = iWidth - 1 - N;
    if (iLast < 1) {
        // Too narrow for one vector: the same network on single values.
        const hn::CappedTag<T, 1> d1;
        for (int x = 1; x < iWidth - 1; ++x)
            pOut[x] = hn::GetLane(rankOfWindows<K>(d1, pAbove, pRow, pBelow, x));
        return;
    }
    for (int x = 1;; x = std::min(x + N, iLast)) {
        hn::StoreU(rankOfWindows<K>(d, pAbove, pRow, pBelow, x), d, pOut + x);
        if (x == iLast)
            break;
    }
}

template <class T>
void rankRowOf(const T* pAbove, const T* pRow, const T* pBelow, int iWidth, int k, T* pOut)
{
    switch (std::min(std::max(k, 0), 8)) {
    case 0: return rankRow<0>(pAbove, pRow, pBelow, iWidth, pOut);
    case 1: return rankRow<1>(pAbove, pRow, pBelow, iWidth, pOut);
    case 2: return rankRow<2>(pAbove, pRow, pBelow, iWidth, pOut);
    case 3: return rankRow<3>(pAbove, pRow, pBelow, iWidth, pOut);
    case 4: return rankRow<4>(pAbove, pRow, pBelow, iWidth, pOut);
    case 5: return rankRow<5>(pAbove, pRow, pBelow, iWidth, pOut);
    case 6: return rankRow<6>(pAbove, pRow, pBelow, iWidth, pOut);
    case 7: return rankRow<7>(pAbove, pRow, pBelow, iWidth, pOut);
    default: return rankRow<8>(pAbove, pRow, pBelow, iWidth, pOut);
    }
}

void RankRowU8(const unsigned char* pAbove, const unsigned char* pRow,
               const unsigned char* pBelow, int iWidth, int k, unsigned char* pOut)
{
    rankRowOf(pAbove, pRow, pBelow, iWidth, k, pOut);
}

void RankRowU16(const unsigned short* pAbove, const unsigned short* pRow,
                const unsigned short* pBelow, int iWidth, int k, unsigned short* pOut)
{
    rankRowOf(pAbove, pRow, pBelow, iWidth, k, pOut);
}

} // namespace HWY_NAMESPACE
} // namespace tirn
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tirn {

HWY_EXPORT(RankRowU8);
HWY_EXPORT(RankRowU16);

void rank3x3Row(const unsigned char* pAbove, const unsigned char* pRow,
                const unsigned char* pBelow, int iWidth, int k, unsigned char* pOut)
{
    HWY_DYNAMIC_DISPATCH(RankRowU8)(pAbove, pRow, pBelow, iWidth, k, pOut);
}

void rank3x3Row(const unsigned short* pAbove, const unsigned short* pRow,
                const unsigned short* pBelow, int iWidth, int k, unsigned short* pOut)
{
    HWY_DYNAMIC_DISPATCH(RankRowU16)(pAbove, pRow, pBelow, iWidth, k, pOut);
}

} // namespace tirn
#endif
