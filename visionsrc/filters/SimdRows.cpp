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

// Four vectors of pixels at a time, each with its own running sums in
// registers, so the sums' chains of additions overlap; every pixel's own sum
// still runs term by term in the given order. Mul, then Add: MulAdd would
// contract into one rounding on targets with FMA, and each term is defined
// with two.
void SumTerms(float* HWY_RESTRICT out, const float* const* HWY_RESTRICT bases,
              const float* HWY_RESTRICT weights, int nTerms, std::size_t n)
{
    const hn::ScalableTag<float> d;
    const std::size_t N = hn::Lanes(d);
    std::size_t x = 0;
    for (; x + 4 * N <= n; x += 4 * N) {
        auto v0 = hn::Zero(d), v1 = hn::Zero(d), v2 = hn::Zero(d), v3 = hn::Zero(d);
        for (int k = 0; k < nTerms; ++k) {
            const float* p = bases[k] + x;
            const auto vw = hn::Set(d, weights[k]);
            v0 = hn::Add(v0, hn::Mul(vw, hn::LoadU(d, p)));
            v1 = hn::Add(v1, hn::Mul(vw, hn::LoadU(d, p + N)));
            v2 = hn::Add(v2, hn::Mul(vw, hn::LoadU(d, p + 2 * N)));
            v3 = hn::Add(v3, hn::Mul(vw, hn::LoadU(d, p + 3 * N)));
        }
        hn::StoreU(v0, d, out + x);
        hn::StoreU(v1, d, out + x + N);
        hn::StoreU(v2, d, out + x + 2 * N);
        hn::StoreU(v3, d, out + x + 3 * N);
    }
    for (; x + N <= n; x += N) {
        auto v = hn::Zero(d);
        for (int k = 0; k < nTerms; ++k)
            v = hn::Add(v, hn::Mul(hn::Set(d, weights[k]), hn::LoadU(d, bases[k] + x)));
        hn::StoreU(v, d, out + x);
    }
    for (; x < n; ++x) {
        float fSum = 0.0f;
        for (int k = 0; k < nTerms; ++k) {
            const float fProduct = weights[k] * bases[k][x];
            fSum = fSum + fProduct;
        }
        out[x] = fSum;
    }
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

void sumTerms(float* out, const float* const* bases, const float* weights, int nTerms,
              std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(SumTerms)(out, bases, weights, nTerms, n);
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
