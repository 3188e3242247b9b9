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
                 const int* HWY_RESTRICT pIx1, const int* HWY_RESTRICT pPairRuns,
                 const float* HWY_RESTRICT pDx, float dy, std::size_t n)
{
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const std::size_t N = hn::Lanes(d);
    const auto vOne = hn::Set(d, 1.0f);
    const auto vDy = hn::Set(d, dy);
    const auto vOneMinusDy = hn::Sub(vOne, vDy);
    std::size_t x = 0;
    for (; x + N <= n; x += N) {
        const auto vDx = hn::LoadU(d, pDx + x);
        const auto vOneMinusDx = hn::Sub(vOne, vDx);
        decltype(hn::Zero(d)) v00, v01, v11, v10;
#if HWY_TARGET == HWY_SCALAR
        constexpr bool bPairs = false; // one lane: nothing to deinterleave
        (void)pPairRuns;
#else
        const bool bPairs = std::size_t(pPairRuns[x]) >= N;
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
            const auto vi0 = hn::LoadU(di, pIx0 + x);
            const auto vi1 = hn::LoadU(di, pIx1 + x);
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

inline float bilinearAt(const float* plane, int W, float fx, float fy)
{
    const int ix0 = int(fx), iy0 = int(fy);
    const float x0 = float(ix0), y0 = float(iy0);
    const int ix1 = ix0 + (fx > x0), iy1 = iy0 + (fy > y0);
    const float dx = fx - x0, dy = fy - y0;
    const float* pRow0 = plane + std::size_t(iy0) * W;
    const float* pRow1 = plane + std::size_t(iy1) * W;
    return (1 - dx) * (1 - dy) * pRow0[ix0] + (1 - dy) * dx * pRow0[ix1] +
           dx * dy * pRow1[ix1] + dy * (1 - dx) * pRow1[ix0];
}

// The positions in double, two half vectors at a time, rounded to float;
// the samples by gathers from the whole plane (its pixel count fits an int).
// Lanes outside the image gather pixel 0 and are cleared.
void RotateRow(float* HWY_RESTRICT out, const float* HWY_RESTRICT plane, int W, int H,
               double cx, double cy, double c, double s, double dy, std::size_t n)
{
    const double sdy = s * dy, cdy = c * dy;
    const float fMaxX = float(W - 1), fMaxY = float(H - 1);
    std::size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const hn::Repartition<double, decltype(d)> dd;
    const hn::Rebind<float, decltype(dd)> dHalf;
    const std::size_t N = hn::Lanes(d), ND = hn::Lanes(dd);
    const auto vOne = hn::Set(d, 1.0f);
    const auto vZero = hn::Zero(d);
    const auto vW = hn::Set(di, W);
    auto position = [&](double dFirstX, double dCentre, double dFactor, double dRowTerm,
                        bool bSubtract) {
        const auto vx = hn::Iota(dd, dFirstX);
        const auto vdx = hn::Sub(vx, hn::Set(dd, cx));
        const auto vSum = hn::Add(hn::Set(dd, dCentre), hn::Mul(hn::Set(dd, dFactor), vdx));
        return hn::DemoteTo(dHalf, bSubtract ? hn::Sub(vSum, hn::Set(dd, dRowTerm))
                                             : hn::Add(vSum, hn::Set(dd, dRowTerm)));
    };
    for (; x + N <= n; x += N) {
        auto vfx = vZero, vfy = vZero;
        {
            const double x0 = double(x), x1 = double(x + ND);
            vfx = hn::Combine(d, position(x1, cx, c, sdy, true), position(x0, cx, c, sdy, true));
            vfy = hn::Combine(d, position(x1, cy, s, cdy, false), position(x0, cy, s, cdy, false));
        }
        const auto mInside = hn::And(hn::And(hn::Ge(vfx, vZero), hn::Ge(vfy, vZero)),
                                     hn::And(hn::Lt(vfx, hn::Set(d, fMaxX)),
                                             hn::Lt(vfy, hn::Set(d, fMaxY))));
        const auto miInside = hn::RebindMask(di, mInside);
        const auto vix0 = hn::IfThenElseZero(miInside, hn::ConvertTo(di, hn::IfThenElseZero(mInside, vfx)));
        const auto viy0 = hn::IfThenElseZero(miInside, hn::ConvertTo(di, hn::IfThenElseZero(mInside, vfy)));
        const auto vx0 = hn::ConvertTo(d, vix0), vy0 = hn::ConvertTo(d, viy0);
        // ix0 + (fx > x0): a true mask is -1 in every lane.
        const auto vix1 = hn::Sub(vix0, hn::VecFromMask(di, hn::RebindMask(di, hn::Gt(vfx, vx0))));
        const auto viy1 = hn::Sub(viy0, hn::VecFromMask(di, hn::RebindMask(di, hn::Gt(vfy, vy0))));
        const auto vRow0 = hn::Mul(viy0, vW), vRow1 = hn::Mul(viy1, vW);
        const auto v00 = hn::GatherIndex(d, plane, hn::Add(vRow0, vix0));
        const auto v01 = hn::GatherIndex(d, plane, hn::Add(vRow0, vix1));
        const auto v11 = hn::GatherIndex(d, plane, hn::Add(vRow1, vix1));
        const auto v10 = hn::GatherIndex(d, plane, hn::Add(vRow1, vix0));
        const auto vdx = hn::Sub(vfx, vx0), vdy = hn::Sub(vfy, vy0);
        const auto vOneMinusDx = hn::Sub(vOne, vdx), vOneMinusDy = hn::Sub(vOne, vdy);
        auto v = hn::Mul(hn::Mul(vOneMinusDx, vOneMinusDy), v00);
        v = hn::Add(v, hn::Mul(hn::Mul(vOneMinusDy, vdx), v01));
        v = hn::Add(v, hn::Mul(hn::Mul(vdx, vdy), v11));
        v = hn::Add(v, hn::Mul(hn::Mul(vdy, vOneMinusDx), v10));
        hn::StoreU(hn::IfThenElseZero(mInside, v), d, out + x);
    }
#endif
    for (; x < n; ++x) {
        const double dx = double(x) - cx;
        const float fx = float(cx + c * dx - sdy);
        const float fy = float(cy + s * dx + cdy);
        if (fx < 0 || fy < 0 || !(fx < fMaxX) || !(fy < fMaxY))
            out[x] = 0.0f;
        else
            out[x] = bilinearAt(plane, W, fx, fy);
    }
}

} // namespace HWY_NAMESPACE
} // namespace tirn::simd
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tirn::simd {

HWY_EXPORT(BilinearRow);
HWY_EXPORT(RotateRow);

void rotateRow(float* out, const float* plane, int W, int H, double cx, double cy, double c,
               double s, double dy, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(RotateRow)(out, plane, W, H, cx, cy, c, s, dy, n);
}

void bilinearRow(float* out, const float* row0, const float* row1, const int* pIx0,
                 const int* pIx1, const int* pPairRuns, const float* pDx, float dy,
                 std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(BilinearRow)(out, row0, row1, pIx0, pIx1, pPairRuns, pDx, dy, n);
}

void pairRuns(const int* pIx0, const int* pIx1, std::size_t n, int* pRuns)
{
    int iRun = 0;
    for (std::size_t x = n; x-- > 0;) {
        const bool bPair = pIx1[x] == pIx0[x] + 1;
        const bool bJoined = x + 1 < n && pIx0[x + 1] == pIx0[x] + 2;
        iRun = bPair ? (bJoined ? iRun + 1 : 1) : 0;
        pRuns[x] = iRun;
    }
}

} // namespace tirn::simd
#endif
