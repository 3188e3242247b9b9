#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/RankNetworks.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "filters/RankNetworks.h"
#include "image/TirnAssert.h"

HWY_BEFORE_NAMESPACE();
namespace tirn {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class V> HWY_INLINE V middleOfThree(V a, V b, V c)
{
    return hn::Max(hn::Min(a, b), hn::Min(hn::Max(a, b), c));
}

template <int nWires, int K> constexpr RankNetwork kRankNetwork = rankNetwork(nWires, K);

// The network of rank K of nWires vectors, unrolled, so that they stay in
// registers where there are enough.
template <int nWires, int K, class V, std::size_t... I>
HWY_INLINE V runNetwork(V* v, std::index_sequence<I...>)
{
    constexpr const RankNetwork& network = kRankNetwork<nWires, K>;
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

// The same as a loop over the steps: slower, but quick to compile, for the
// long networks where speed does not matter (single pixels) or the build
// would take too long (see rankOf). Both sides of every step are written;
// one that nothing reads does no harm.
template <int nWires, int K, class V> HWY_INLINE V loopNetwork(V* v)
{
    constexpr const RankNetwork& network = kRankNetwork<nWires, K>;
    for (int i = 0; i < network.nSteps; ++i) {
        const RankStep& s = network.steps[i];
        const V a = v[s.a], b = v[s.b];
        v[s.a] = hn::Min(a, b);
        v[s.b] = hn::Max(a, b);
    }
    return v[K];
}

// Step I of a network with its wires and sides known at compile time, for
// networks too long for the compiler to inline the whole of runNetwork.
template <int nWires, int K, std::size_t I, class V> HWY_INLINE void rankStep(V* v)
{
    constexpr RankStep s = kRankNetwork<nWires, K>.steps[I];
    const V a = v[s.a], b = v[s.b];
    if constexpr (s.bLow)
        v[s.a] = hn::Min(a, b);
    if constexpr (s.bHigh)
        v[s.b] = hn::Max(a, b);
}

template <int nWires, int K, class V, std::size_t... I>
HWY_INLINE V runLongNetwork(V* v, std::index_sequence<I...>)
{
    (rankStep<nWires, K, I>(v), ...);
    return v[K];
}

// Rank K of nWires vectors of D. The 25 and 49 wires of 5x5 and 7x7 windows
// are up to three times as fast with every step inlined, but take the
// compiler minutes per target and type, and with the sanitizers' checks tens
// of minutes: those builds, and single pixels, loop over the same steps.
template <int nWires, int K, class D> HWY_INLINE hn::Vec<D> rankOf(D, hn::Vec<D>* v)
{
    constexpr std::size_t nSteps = std::size_t(kRankNetwork<nWires, K>.nSteps);
    if constexpr (nWires <= 9) {
        return runNetwork<nWires, K>(v, std::make_index_sequence<nSteps>());
    } else if constexpr (hn::MaxLanes(D()) == 1) {
        return loopNetwork<nWires, K>(v);
    } else {
#ifdef TIRN_SANITIZED_BUILD
        return loopNetwork<nWires, K>(v);
#else
        return runLongNetwork<nWires, K>(v, std::make_index_sequence<nSteps>());
#endif
    }
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
        return runNetwork<9, K>(
            v, std::make_index_sequence<std::size_t(kRankNetwork<9, K>.nSteps)>());
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

// Whether a lane holds a NaN or -0, the values only the reference's order
// decides.
template <class D> HWY_INLINE hn::Mask<D> orderSensitive(D d, hn::Vec<D> v)
{
    const hn::RebindToUnsigned<D> du;
    return hn::Or(hn::IsNaN(v),
                  hn::RebindMask(d, hn::Eq(hn::BitCast(du, v), hn::Set(du, 0x80000000u))));
}

// bCheck (float only) false: the caller knows that no window holds a NaN or
// -0, and no flag is written.
template <int h, bool bCheck, class D, class T>
HWY_INLINE void medianOfWindows(D d, const T* pData, int iWidth, int y, int x, T* pOut,
                                unsigned char* pFlag)
{
    constexpr int iSide = 2 * h + 1, n = iSide * iSide;
    using V = hn::Vec<D>;
    V v[n];
    auto mSensitive = hn::FirstN(d, 0);
    for (int j = 0; j < iSide; ++j) {
        const T* pRow = pData + std::size_t(y - h + j) * iWidth + x - h;
        for (int i = 0; i < iSide; ++i) {
            v[j * iSide + i] = hn::LoadU(d, pRow + i);
            if constexpr (bCheck)
                mSensitive = hn::Or(mSensitive, orderSensitive(d, v[j * iSide + i]));
        }
    }
    if constexpr (bCheck) {
        alignas(64) float aSensitive[HWY_MAX_BYTES / sizeof(float)];
        hn::Store(hn::IfThenElseZero(mSensitive, hn::Set(d, 1.0f)), d, aSensitive);
        for (std::size_t i = 0; i < hn::Lanes(d); ++i)
            pFlag[x + int(i)] = aSensitive[i] != 0.0f;
    }
    constexpr int k = (n + 1) / 2 - 1;
    hn::StoreU(rankOf<n, k>(d, v), d, pOut + x);
}

template <int h, bool bCheck, class T>
void medianRow(const T* pData, int iWidth, int y, int x0, int x1, T* pOut,
               unsigned char* pFlag)
{
    const hn::ScalableTag<T> d;
    const int N = int(hn::Lanes(d));
    if (x1 - x0 < N) {
        const hn::CappedTag<T, 1> d1;
        for (int x = x0; x < x1; ++x)
            medianOfWindows<h, bCheck>(d1, pData, iWidth, y, x, pOut, pFlag);
        return;
    }
    // The last vector may reach back over pixels already done: same values.
    for (int x = x0;; x = std::min(x + N, x1 - N)) {
        medianOfWindows<h, bCheck>(d, pData, iWidth, y, x, pOut, pFlag);
        if (x == x1 - N)
            break;
    }
}

void MedianFloatRow(const float* pData, int iWidth, int y, int h, int x0, int x1, float* pOut,
                    unsigned char* pFlag)
{
    if (pFlag)
        return h == 1 ? medianRow<1, true>(pData, iWidth, y, x0, x1, pOut, pFlag)
                      : medianRow<2, true>(pData, iWidth, y, x0, x1, pOut, pFlag);
    return h == 1 ? medianRow<1, false>(pData, iWidth, y, x0, x1, pOut, pFlag)
                  : medianRow<2, false>(pData, iWidth, y, x0, x1, pOut, pFlag);
}

// The median of n values (1 to (2h+1)^2) of a window cut by the border is
// the network's median once the window is filled up with -infinity and
// +infinity, as many below as it needs to rank the same value in the middle.
// Equal infinities in the window rank the same either way.
template <int h> float paddedMedian(const float* p, int n)
{
    constexpr int iFull = (2 * h + 1) * (2 * h + 1), k = (iFull - 1) / 2;
    const hn::CappedTag<float, 1> d;
    const int iEndLow = n + k - ((n + 1) / 2 - 1);
    hn::Vec<decltype(d)> v[iFull];
    for (int i = 0; i < iFull; ++i)
        v[i] = hn::Set(d, i < n          ? p[i]
                          : i < iEndLow ? -std::numeric_limits<float>::infinity()
                                        : std::numeric_limits<float>::infinity());
    return hn::GetLane(rankOf<iFull, k>(d, v));
}

float PaddedMedian(const float* p, int n, int h)
{
    return h == 1 ? paddedMedian<1>(p, n) : paddedMedian<2>(p, n);
}

template <class T>
void medianIntegerRowOf(const T* pData, int iWidth, int y, int h, int x0, int x1, T* pOut)
{
    if (h == 2)
        medianRow<2, false>(pData, iWidth, y, x0, x1, pOut, nullptr);
    else
        medianRow<3, false>(pData, iWidth, y, x0, x1, pOut, nullptr);
}

void MedianRowU8(const unsigned char* pData, int iWidth, int y, int h, int x0, int x1,
                 unsigned char* pOut)
{
    medianIntegerRowOf(pData, iWidth, y, h, x0, x1, pOut);
}

void MedianRowU16(const unsigned short* pData, int iWidth, int y, int h, int x0, int x1,
                  unsigned short* pOut)
{
    medianIntegerRowOf(pData, iWidth, y, h, x0, x1, pOut);
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
HWY_EXPORT(MedianFloatRow);
HWY_EXPORT(MedianRowU8);
HWY_EXPORT(PaddedMedian);
HWY_EXPORT(MedianRowU16);

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

void medianFloatRow(const float* pData, int iWidth, int y, int h, int x0, int x1, float* pOut,
                    unsigned char* pFlag)
{
    TIRN_ASSERT(h == 1 || h == 2);
    HWY_DYNAMIC_DISPATCH(MedianFloatRow)(pData, iWidth, y, h, x0, x1, pOut, pFlag);
}

float paddedMedian(const float* p, int n, int h)
{
    TIRN_ASSERT((h == 1 || h == 2) && n >= 1 && n <= (2 * h + 1) * (2 * h + 1));
    return HWY_DYNAMIC_DISPATCH(PaddedMedian)(p, n, h);
}

void medianIntegerRow(const unsigned char* pData, int iWidth, int y, int h, int x0, int x1,
                      unsigned char* pOut)
{
    TIRN_ASSERT(h == 2 || h == 3);
    HWY_DYNAMIC_DISPATCH(MedianRowU8)(pData, iWidth, y, h, x0, x1, pOut);
}

void medianIntegerRow(const unsigned short* pData, int iWidth, int y, int h, int x0, int x1,
                      unsigned short* pOut)
{
    TIRN_ASSERT(h == 2 || h == 3);
    HWY_DYNAMIC_DISPATCH(MedianRowU16)(pData, iWidth, y, h, x0, x1, pOut);
}

} // namespace tirn
#endif
