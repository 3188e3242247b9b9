// Compiled once per SIMD target by Highway; HWY_ONCE holds what is built a
// single time (the dispatching entry points).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/SimdRows.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep
#include <hwy/highway.h>

#include "filters/SimdRows.h"
#include "image/PixelTraits.h"

HWY_BEFORE_NAMESPACE();
namespace tirn::simd {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// The stored value of a finished sum, the scalar way: v > 0 ? v : -v turns
// +0 into -0 and flips a NaN's sign, unlike an absolute value.
template <class D, class V> HWY_INLINE V finishSum(D d, V v, const SumFinish& f)
{
    if (f.fFactor != 1.0f)
        v = f.fFactor != 0.0f ? hn::Mul(hn::Set(d, f.fFactor), v) : hn::Div(v, hn::Set(d, f.fCount));
    if (f.bAbs)
        v = hn::IfThenElse(hn::Gt(v, hn::Zero(d)), v, hn::Neg(v));
    return v;
}

float finishSum(float v, const SumFinish& f)
{
    if (f.fFactor != 1.0f)
        v = f.fFactor != 0.0f ? f.fFactor * v : v / f.fCount;
    if (f.bAbs)
        v = v > 0 ? v : -v;
    return v;
}

// U vectors of pixels from x on, each with its own running sums in
// registers: eight give enough independent chains of additions to keep both
// adders busy through their latency. Every pixel's own sum still runs term
// by term in the given order. Mul, then Add: MulAdd would contract into one
// rounding on targets with FMA, and each term is defined with two.
template <int U, class D>
HWY_INLINE void sumBlock(D d, float* HWY_RESTRICT out, const float* const* HWY_RESTRICT bases,
                         const float* HWY_RESTRICT weights, int nTerms, std::size_t x,
                         const SumFinish& finish)
{
    const std::size_t N = hn::Lanes(d);
    decltype(hn::Zero(d)) v[U];
    for (int u = 0; u < U; ++u)
        v[u] = hn::Zero(d);
    for (int k = 0; k < nTerms; ++k) {
        const float* p = bases[k] + x;
        const auto vw = hn::Set(d, weights[k]);
        for (int u = 0; u < U; ++u)
            v[u] = hn::Add(v[u], hn::Mul(vw, hn::LoadU(d, p + u * N)));
    }
    for (int u = 0; u < U; ++u)
        hn::StoreU(finishSum(d, v[u], finish), d, out + x + u * N);
}

// Blocks of U vectors over [0, n), n at least one block: a row that is not
// a whole number of blocks ends with one more block overlapping the last,
// which recomputes a few pixels to the same values instead of summing the
// rest one long chain at a time.
template <int U, class D>
HWY_INLINE void sumBlocks(D d, float* HWY_RESTRICT out, const float* const* HWY_RESTRICT bases,
                          const float* HWY_RESTRICT weights, int nTerms, std::size_t n,
                          const SumFinish& finish)
{
    const std::size_t nBlock = U * hn::Lanes(d);
    std::size_t x = 0;
    for (; x + nBlock <= n; x += nBlock)
        sumBlock<U>(d, out, bases, weights, nTerms, x, finish);
    if (x < n)
        sumBlock<U>(d, out, bases, weights, nTerms, n - nBlock, finish);
}

void SumTerms(float* HWY_RESTRICT out, const float* const* HWY_RESTRICT bases,
              const float* HWY_RESTRICT weights, int nTerms, std::size_t n,
              const SumFinish& finish)
{
    const hn::ScalableTag<float> d;
    const std::size_t N = hn::Lanes(d);
    if (n >= 8 * N)
        return sumBlocks<8>(d, out, bases, weights, nTerms, n, finish);
    if (n >= 2 * N)
        return sumBlocks<2>(d, out, bases, weights, nTerms, n, finish);
    if (n >= N)
        return sumBlocks<1>(d, out, bases, weights, nTerms, n, finish);
    // Fewer pixels than a vector: term by term across them, so their sums
    // overlap instead of running one long chain after another.
    float afSum[HWY_MAX_BYTES / sizeof(float)] = {};
    for (int k = 0; k < nTerms; ++k) {
        const float* p = bases[k];
        for (std::size_t t = 0; t < n; ++t) {
            const float fProduct = weights[k] * p[t];
            afSum[t] = afSum[t] + fProduct;
        }
    }
    for (std::size_t t = 0; t < n; ++t)
        out[t] = finishSum(afSum[t], finish);
}

template <class T>
void addWeightedRowInt(std::int32_t* HWY_RESTRICT acc, const T* HWY_RESTRICT row,
                       std::int32_t w, std::size_t n)
{
    const hn::ScalableTag<std::int32_t> d;
    const hn::Rebind<T, decltype(d)> dNarrow;
    const std::size_t N = hn::Lanes(d);
    const auto vw = hn::Set(d, w);
    std::size_t x = 0;
    for (; x + N <= n; x += N) {
        const auto vPixel = hn::PromoteTo(d, hn::LoadU(dNarrow, row + x));
        hn::StoreU(hn::Add(hn::LoadU(d, acc + x), hn::Mul(vw, vPixel)), d, acc + x);
    }
    for (; x < n; ++x)
        acc[x] += w * std::int32_t(row[x]);
}

void AddWeightedRowU8(std::int32_t* acc, const unsigned char* row, std::int32_t w, std::size_t n)
{
    addWeightedRowInt(acc, row, w, n);
}

void AddWeightedRowU16(std::int32_t* acc, const unsigned short* row, std::int32_t w,
                       std::size_t n)
{
    addWeightedRowInt(acc, row, w, n);
}

void AddTruncatedProducts(std::uint32_t* HWY_RESTRICT sums, const float* HWY_RESTRICT row,
                          float w, std::size_t n)
{
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const hn::RebindToUnsigned<decltype(d)> du;
    const std::size_t N = hn::Lanes(d);
    const auto vw = hn::Set(d, w);
    // Highway saturates a positive overflow; the library's truncation gives
    // INT32_MIN for it as for NaN, so lanes outside (-2^31, 2^31) take that.
    const auto vLimit = hn::Set(d, 2147483648.0f);
    const auto vOut = hn::Set(di, INT32_MIN);
    std::size_t x = 0;
    for (; x + N <= n; x += N) {
        const auto vProduct = hn::Mul(hn::LoadU(d, row + x), vw);
        const auto mInside = hn::RebindMask(di, hn::Lt(hn::Abs(vProduct), vLimit));
        const auto vTerm = hn::IfThenElse(mInside, hn::ConvertTo(di, vProduct), vOut);
        hn::StoreU(hn::Add(hn::LoadU(du, sums + x), hn::BitCast(du, vTerm)), du, sums + x);
    }
    for (; x < n; ++x)
        sums[x] += std::uint32_t(truncateToInt32(row[x] * w));
}

// Four lanes at a time on every target (lane shifts stay within 128-bit
// blocks): each vector's running sums in two shifted additions, then the sum
// of everything before it, carried in all lanes.
void PrefixSums(const std::int32_t* HWY_RESTRICT col, std::uint32_t* HWY_RESTRICT prefix,
                std::size_t n)
{
    prefix[0] = 0;
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::CappedTag<std::uint32_t, 4> d;
    const hn::RebindToSigned<decltype(d)> di;
    auto vCarry = hn::Zero(d);
    for (; x + 4 <= n; x += 4) {
        auto v = hn::BitCast(d, hn::LoadU(di, col + x));
        v = hn::Add(v, hn::ShiftLeftLanes<1>(d, v));
        v = hn::Add(v, hn::ShiftLeftLanes<2>(d, v));
        v = hn::Add(v, vCarry);
        hn::StoreU(v, d, prefix + x + 1);
        vCarry = hn::Broadcast<3>(v);
    }
#endif
    for (; x < n; ++x)
        prefix[x + 1] = prefix[x] + std::uint32_t(col[x]);
}

const char* TargetName()
{
    return hwy::TargetName(HWY_TARGET);
}

} // namespace HWY_NAMESPACE
} // namespace tirn::simd
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tirn::simd {

HWY_EXPORT(SumTerms);
HWY_EXPORT(AddWeightedRowU8);
HWY_EXPORT(AddWeightedRowU16);
HWY_EXPORT(AddTruncatedProducts);
HWY_EXPORT(TargetName);
HWY_EXPORT(PrefixSums);

void prefixSums(const std::int32_t* col, std::uint32_t* prefix, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(PrefixSums)(col, prefix, n);
}

void sumTerms(float* out, const float* const* bases, const float* weights, int nTerms,
              std::size_t n, const SumFinish& finish)
{
    HWY_DYNAMIC_DISPATCH(SumTerms)(out, bases, weights, nTerms, n, finish);
}

void addWeightedRow(std::int32_t* acc, const unsigned char* row, std::int32_t w, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(AddWeightedRowU8)(acc, row, w, n);
}

void addWeightedRow(std::int32_t* acc, const unsigned short* row, std::int32_t w, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(AddWeightedRowU16)(acc, row, w, n);
}

void addTruncatedProducts(std::uint32_t* sums, const float* row, float w, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(AddTruncatedProducts)(sums, row, w, n);
}

const char* targetName()
{
    return HWY_DYNAMIC_DISPATCH(TargetName)();
}

} // namespace tirn::simd
#endif
