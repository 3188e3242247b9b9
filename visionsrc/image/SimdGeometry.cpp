// Compiled once per SIMD target by Highway; HWY_ONCE holds what is built a
// single time (the dispatching entry points).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/SimdGeometry.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep
#include <hwy/highway.h>

#include "image/SimdGeometry.h"

HWY_BEFORE_NAMESPACE();
namespace tirn::simd {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// The source pixels come in by gathers, except where a vector's columns are
// pairs of neighbours two apart (ix0 = i, i + 2, ..., ix1 = ix0 + 1: a
// reduction to half, the commonest zoom), which two plain loads and a
// deinterleave provide.
void BilinearRow(float* HWY_RESTRICT out, const float* HWY_RESTRICT row0,
                 const float* HWY_RESTRICT row1, const int* HWY_RESTRICT pIx0,
                 const int* HWY_RESTRICT pIx1, const float* HWY_RESTRICT pDx, float dy,
                 std::size_t n)
{
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const std::size_t N = hn::Lanes(d);
    const auto vOne = hn::Set(d, 1.0f);
    const auto vDy = hn::Set(d, dy);
    const auto vOneMinusDy = hn::Sub(vOne, vDy);
    const auto vPairSteps = hn::Mul(hn::Iota(di, 0), hn::Set(di, 2));
    std::size_t x = 0;
    for (; x + N <= n; x += N) {
        const auto vi0 = hn::LoadU(di, pIx0 + x);
        const auto vi1 = hn::LoadU(di, pIx1 + x);
        const auto vDx = hn::LoadU(d, pDx + x);
        const auto vOneMinusDx = hn::Sub(vOne, vDx);
        decltype(hn::Zero(d)) v00, v01, v11, v10;
#if HWY_TARGET == HWY_SCALAR
        constexpr bool bPairs = false; // one lane: nothing to deinterleave
        (void)vPairSteps;
#else
        const bool bPairs =
            hn::AllTrue(di, hn::And(hn::Eq(vi0, hn::Add(hn::Set(di, pIx0[x]), vPairSteps)),
                                    hn::Eq(vi1, hn::Add(vi0, hn::Set(di, 1)))));
#endif
        if (bPairs) {
#if HWY_TARGET != HWY_SCALAR
            const float* p0 = row0 + pIx0[x];
            const float* p1 = row1 + pIx0[x];
            const auto a0 = hn::LoadU(d, p0), b0 = hn::LoadU(d, p0 + N);
            const auto a1 = hn::LoadU(d, p1), b1 = hn::LoadU(d, p1 + N);
            v00 = hn::ConcatEven(d, b0, a0);
            v01 = hn::ConcatOdd(d, b0, a0);
            v10 = hn::ConcatEven(d, b1, a1);
            v11 = hn::ConcatOdd(d, b1, a1);
#endif
        } else {
            v00 = hn::GatherIndex(d, row0, vi0);
            v01 = hn::GatherIndex(d, row0, vi1);
            v11 = hn::GatherIndex(d, row1, vi1);
            v10 = hn::GatherIndex(d, row1, vi0);
        }
        auto v = hn::Mul(hn::Mul(vOneMinusDx, vOneMinusDy), v00);
        v = hn::Add(v, hn::Mul(hn::Mul(vOneMinusDy, vDx), v01));
        v = hn::Add(v, hn::Mul(hn::Mul(vDx, vDy), v11));
        v = hn::Add(v, hn::Mul(hn::Mul(vDy, vOneMinusDx), v10));
        hn::StoreU(v, d, out + x);
    }
    for (; x < n; ++x) {
        const float dx = pDx[x];
        out[x] = (1 - dx) * (1 - dy) * row0[pIx0[x]] + (1 - dy) * dx * row0[pIx1[x]] +
                 dx * dy * row1[pIx1[x]] + dy * (1 - dx) * row1[pIx0[x]];
    }
}

} // namespace HWY_NAMESPACE
} // namespace tirn::simd
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tirn::simd {

HWY_EXPORT(BilinearRow);

void bilinearRow(float* out, const float* row0, const float* row1, const int* pIx0,
                 const int* pIx1, const float* pDx, float dy, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(BilinearRow)(out, row0, row1, pIx0, pIx1, pDx, dy, n);
}

} // namespace tirn::simd
#endif
