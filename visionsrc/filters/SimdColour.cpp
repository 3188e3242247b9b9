#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/SimdColour.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep
#include <hwy/highway.h>

#include <cmath>
#include <cstdint>
#include <type_traits>

#include "filters/SimdColour.h"
#include "image/PixelTraits.h"

HWY_BEFORE_NAMESPACE();
namespace tirn::simd {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr double kTwoPi = 6.283185307179586;

// Pixels of depth T as doubles, through single precision like the scalar
// conversion (exact for the integer depths).
template <class T, class D> HWY_INLINE hn::Vec<D> loadAsDouble(D d, const T* p, float fOffset)
{
    if constexpr (std::is_same_v<T, float>) {
        const hn::Rebind<float, D> df;
        const auto v = hn::LoadU(df, p);
        return hn::PromoteTo(d, fOffset != 0.0f ? hn::Sub(v, hn::Set(df, fOffset)) : v);
    } else {
        // Integer values and offsets are exact in both precisions.
        const hn::Rebind<std::int32_t, D> di;
        const hn::Rebind<T, D> dt;
        return hn::Sub(hn::PromoteTo(d, hn::PromoteTo(di, hn::LoadU(dt, p))),
                       hn::Set(d, double(fOffset)));
    }
}

// Clamped to 0...255 as comparisons do it, so a NaN passes unchanged.
template <class D> HWY_INLINE hn::Vec<D> clampByte(D d, hn::Vec<D> v)
{
    v = hn::IfThenElse(hn::Lt(v, hn::Zero(d)), hn::Zero(d), v);
    return hn::IfThenElse(hn::Gt(v, hn::Set(d, 255.0)), hn::Set(d, 255.0), v);
}

template <class T, class D> HWY_INLINE void storeFromDouble(D, hn::Vec<D> v, T* p)
{
    if constexpr (std::is_same_v<T, float>) {
        hn::StoreU(hn::DemoteTo(hn::Rebind<float, D>(), v), hn::Rebind<float, D>(), p);
    } else {
        // A clamped integer-depth value lies in 0...255: truncation needs no
        // wrap.
        const hn::Rebind<std::int32_t, D> di;
        const hn::Rebind<T, D> dt;
        hn::StoreU(hn::DemoteTo(dt, hn::DemoteTo(di, v)), dt, p);
    }
}

// Target rows may share storage with source rows: each vector of pixels is
// read whole before any of it is written, as the reference reads each pixel
// before writing it.
template <class D, class T>
HWY_INLINE void yuvPixels(D d, const T* pY, const T* pU, const T* pV, bool bOffset, T* pR,
                          T* pG, T* pB)
{
    const float fLuma = bOffset ? 16.0f : 0.0f, fChroma = bOffset ? 128.0f : 0.0f;
    const auto y = loadAsDouble(d, pY, fLuma);
    const auto u = loadAsDouble(d, pU, fChroma);
    const auto v = loadAsDouble(d, pV, fChroma);
    const auto r = hn::Add(y, hn::Mul(hn::Set(d, 1.402), v));
    const auto g = hn::Sub(hn::Sub(y, hn::Mul(hn::Set(d, 0.7141), v)),
                           hn::Mul(hn::Set(d, 0.3441), u));
    const auto b = hn::Add(y, hn::Mul(hn::Set(d, 1.772), u));
    storeFromDouble(d, clampByte(d, r), pR);
    storeFromDouble(d, clampByte(d, g), pG);
    storeFromDouble(d, clampByte(d, b), pB);
}

template <class T>
void yuvRow(const T* pY, const T* pU, const T* pV, std::size_t n, bool bOffset, T* pR, T* pG,
            T* pB)
{
    const hn::ScalableTag<double> d;
    const std::size_t N = hn::Lanes(d);
    std::size_t x = 0;
    for (; x + N <= n; x += N)
        yuvPixels(d, pY + x, pU + x, pV + x, bOffset, pR + x, pG + x, pB + x);
    for (; x < n; ++x)
        yuvPixels(hn::CappedTag<double, 1>(), pY + x, pU + x, pV + x, bOffset, pR + x, pG + x,
                  pB + x);
}

// The scale's cases from the last to the first, each overriding where its
// bound holds, leave each lane with the first case whose bound it meets.
// Nothing is written for a vector holding a NaN, and false returned.
template <class D>
HWY_INLINE bool pseudoColour(D d, const float* pV, float* pR, float* pG, float* pB)
{
    const auto at = [d](float f) { return hn::Set(d, f); };
    const auto k0 = hn::Zero(d), k1 = at(1.0f);
    const auto v = hn::LoadU(d, pV);
    if (!hn::AllTrue(d, hn::Eq(v, v)))
        return false;
    const auto t = hn::Mul(at(7.0f), v);
    auto r = k1, g = hn::Sub(t, at(6.0f)), b = k1; // t > 6: (1, t - 6, 1)
    auto m = hn::Le(t, at(6.0f));                  // (1, 0, t - 5)
    g = hn::IfThenElse(m, k0, g);
    b = hn::IfThenElse(m, hn::Sub(t, at(5.0f)), b);
    m = hn::Le(t, at(5.0f)); // (1, 1 - (t - 4), 0)
    g = hn::IfThenElse(m, hn::Sub(k1, hn::Sub(t, at(4.0f))), g);
    b = hn::IfThenElse(m, k0, b);
    m = hn::Le(t, at(4.0f)); // (t - 3, 1, 0)
    r = hn::IfThenElse(m, hn::Sub(t, at(3.0f)), r);
    g = hn::IfThenElse(m, k1, g);
    m = hn::Le(t, at(3.0f)); // (0, 1, 1 - (t - 2))
    r = hn::IfThenElse(m, k0, r);
    b = hn::IfThenElse(m, hn::Sub(k1, hn::Sub(t, at(2.0f))), b);
    m = hn::Le(t, at(2.0f)); // (0, t - 1, 1)
    g = hn::IfThenElse(m, hn::Sub(t, k1), g);
    b = hn::IfThenElse(m, k1, b);
    m = hn::Le(t, k1); // (0, 0, t)
    g = hn::IfThenElse(m, k0, g);
    b = hn::IfThenElse(m, t, b);
    hn::StoreU(hn::Mul(at(255.0f), r), d, pR);
    hn::StoreU(hn::Mul(at(255.0f), g), d, pG);
    hn::StoreU(hn::Mul(at(255.0f), b), d, pB);
    return true;
}

std::size_t PseudoColourRow(const float* pV, std::size_t n, float* pR, float* pG, float* pB)
{
    const hn::ScalableTag<float> d;
    const std::size_t N = hn::Lanes(d);
    std::size_t x = 0;
    for (; x + N <= n; x += N)
        if (!pseudoColour(d, pV + x, pR + x, pG + x, pB + x))
            return x;
    for (; x < n; ++x)
        if (!pseudoColour(hn::CappedTag<float, 1>(), pV + x, pR + x, pG + x, pB + x))
            return x;
    return n;
}

// 8-bit pixels in 16-bit whole numbers. With y, u and v whole (offsets taken),
// the double formulas' exact values are
//   R = y + v + 0.402 v,  B = y + 2 u - 0.228 u,  G = y + S / 10000,
//   S = -(7141 v + 3441 u),
// and the doubles' few rounding errors cannot carry them across an integer
// unless the exact value is one. So each channel is y plus the floor of a
// term of u and v, and the saturating narrowing clamps it to 0...255.
//  - R and B: the multiply-high constants are close enough that, for every
//    v and u from -128 to 255, the floor never moves (0.402 v lies a multiple
//    of 1/500 from an integer, 0.228 u one of 1/250, and where it is an
//    integer, the doubles are exact too).
//  - G: S / 10000 needs 21 bits, more than a multiply-high has. An estimate
//    g1 from two multiply-highs is the floor or one below it (for every u
//    and v), so S - 10000 g1 lies in 0...19999, which 16 bits hold even
//    though S wraps: 10000 or more means one more, and the remainder is
//    what is left. Where the remainder is 0 and u or v is not, the double
//    may fall just short of the integer: that vector goes the double way.
//    All 2^24 inputs are checked by the tests.
void YuvRowU8(const unsigned char* pY, const unsigned char* pU, const unsigned char* pV,
              std::size_t n, bool bOffset, unsigned char* pR, unsigned char* pG,
              unsigned char* pB)
{
    const hn::ScalableTag<std::int16_t> d;
    const hn::Rebind<unsigned char, decltype(d)> d8;
    const std::size_t N = hn::Lanes(d);
    const auto at = [d](int i) { return hn::Set(d, std::int16_t(i)); };
    const auto vLuma = at(bOffset ? 16 : 0), vChroma = at(bOffset ? 128 : 0);
    const auto load = [&](const unsigned char* p, hn::Vec<decltype(d)> vOffset) {
        return hn::Sub(hn::PromoteTo(d, hn::LoadU(d8, p)), vOffset);
    };
    // The double way is a call, which would clobber the constants' registers:
    // it stays out of the inner loop.
    std::size_t x = 0;
    while (x + N <= n) {
        for (; x + N <= n; x += N) {
            const auto y = load(pY + x, vLuma), u = load(pU + x, vChroma),
                       v = load(pV + x, vChroma);
            const auto r = hn::Add(hn::Add(y, v), hn::MulHigh(v, at(26345)));
            const auto b = hn::Add(hn::Add(y, hn::Add(u, u)), hn::MulHigh(u, at(-14942)));
            const auto g1 =
                hn::Add(hn::Sub(hn::MulHigh(v, at(18737)), v), hn::MulHigh(u, at(-22551)));
            const auto s = hn::Add(hn::Mul(v, at(-7141)), hn::Mul(u, at(-3441)));
            const auto rest = hn::Sub(s, hn::Mul(g1, at(10000)));
            const auto mOneMore = hn::Gt(rest, at(9999));
            const auto g = hn::Add(y, hn::Sub(g1, hn::VecFromMask(d, mOneMore)));
            const auto mWhole = hn::Or(hn::Eq(rest, hn::Zero(d)), hn::Eq(rest, at(10000)));
            const auto mChroma = hn::Ne(hn::Or(u, v), hn::Zero(d));
            if (!hn::AllFalse(d, hn::And(mWhole, mChroma)))
                break;
            hn::StoreU(hn::DemoteTo(d8, r), d8, pR + x);
            hn::StoreU(hn::DemoteTo(d8, g), d8, pG + x);
            hn::StoreU(hn::DemoteTo(d8, b), d8, pB + x);
        }
        if (x + N <= n) {
            yuvRow(pY + x, pU + x, pV + x, N, bOffset, pR + x, pG + x, pB + x);
            x += N;
        }
    }
    yuvRow(pY + x, pU + x, pV + x, n - x, bOffset, pR + x, pG + x, pB + x);
}

// Everything but the arc cosine on vectors; that, the C library's, lane by
// lane in between. Minima as std::min takes them (the first unless the
// second is smaller), so a NaN goes where it would.
template <class D>
HWY_INLINE void hsiPixels(D d, const double* pR, const double* pG, const double* pB,
                          double* pH, double* pS, double* pI)
{
    const auto vZero = hn::Zero(d), vOne = hn::Set(d, 1.0), vTwoPi = hn::Set(d, kTwoPi);
    auto minOf = [](auto a, auto b) { return hn::IfThenElse(hn::Lt(b, a), b, a); };
    const auto r = hn::LoadU(d, pR), g = hn::LoadU(d, pG), b = hn::LoadU(d, pB);
    const auto i = hn::Mul(hn::Add(hn::Add(r, g), b), hn::Set(d, 0.3333333333));
    const auto s = hn::IfThenElse(hn::Le(i, vZero), vZero,
                                  hn::Sub(vOne, hn::Div(minOf(minOf(r, g), b), i)));
    const auto mGrey = hn::And(hn::Eq(r, g), hn::Eq(g, b));
    const auto vUnderRoot = hn::Add(hn::Mul(hn::Sub(r, g), hn::Sub(r, g)),
                                    hn::Mul(hn::Sub(r, b), hn::Sub(g, b)));
    const auto vArg =
        hn::Div(hn::Sub(r, hn::Mul(hn::Add(g, b), hn::Set(d, 0.5))), hn::Sqrt(vUnderRoot));
    alignas(64) double aTheta[HWY_MAX_BYTES / sizeof(double)];
    hn::Store(vArg, d, aTheta);
    for (std::size_t k = 0; k < hn::Lanes(d); ++k)
        aTheta[k] = std::acos(aTheta[k]);
    auto theta = hn::Load(d, aTheta);
    theta = hn::IfThenElse(hn::Gt(hn::Div(b, i), hn::Div(g, i)), hn::Sub(vTwoPi, theta), theta);
    hn::StoreU(hn::IfThenElse(mGrey, vZero, hn::Div(theta, vTwoPi)), d, pH);
    hn::StoreU(s, d, pS);
    hn::StoreU(i, d, pI);
}

// Everything but the arc cosine on vectors; that, the C library's, lane by
// lane in between. Minima as std::min takes them (the first unless the
// second is smaller), so a NaN goes where it would.
void RgbToHsiRow(const double* pR, const double* pG, const double* pB, std::size_t n,
                 double* pH, double* pS, double* pI)
{
    const hn::ScalableTag<double> d;
    const std::size_t N = hn::Lanes(d);
    std::size_t x = 0;
    for (; x + N <= n; x += N)
        hsiPixels(d, pR + x, pG + x, pB + x, pH + x, pS + x, pI + x);
    for (; x < n; ++x)
        hsiPixels(hn::CappedTag<double, 1>(), pR + x, pG + x, pB + x, pH + x, pS + x, pI + x);
}

void YuvRowU16(const unsigned short* pY, const unsigned short* pU, const unsigned short* pV,
               std::size_t n, bool bOffset, unsigned short* pR, unsigned short* pG,
               unsigned short* pB)
{
    yuvRow(pY, pU, pV, n, bOffset, pR, pG, pB);
}

void YuvRowF32(const float* pY, const float* pU, const float* pV, std::size_t n, bool bOffset,
               float* pR, float* pG, float* pB)
{
    yuvRow(pY, pU, pV, n, bOffset, pR, pG, pB);
}

} // namespace HWY_NAMESPACE
} // namespace tirn::simd
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tirn::simd {

HWY_EXPORT(YuvRowU8);
HWY_EXPORT(YuvRowU16);
HWY_EXPORT(YuvRowF32);
HWY_EXPORT(RgbToHsiRow);

void rgbToHsiRow(const double* pR, const double* pG, const double* pB, std::size_t n,
                 double* pH, double* pS, double* pI)
{
    HWY_DYNAMIC_DISPATCH(RgbToHsiRow)(pR, pG, pB, n, pH, pS, pI);
}
HWY_EXPORT(PseudoColourRow);

std::size_t pseudoColourRow(const float* pV, std::size_t n, float* pR, float* pG, float* pB)
{
    return HWY_DYNAMIC_DISPATCH(PseudoColourRow)(pV, n, pR, pG, pB);
}

void yuvToRgbRow(const unsigned char* pY, const unsigned char* pU, const unsigned char* pV,
                 std::size_t n, bool bOffset, unsigned char* pR, unsigned char* pG,
                 unsigned char* pB)
{
    HWY_DYNAMIC_DISPATCH(YuvRowU8)(pY, pU, pV, n, bOffset, pR, pG, pB);
}

void yuvToRgbRow(const unsigned short* pY, const unsigned short* pU, const unsigned short* pV,
                 std::size_t n, bool bOffset, unsigned short* pR, unsigned short* pG,
                 unsigned short* pB)
{
    HWY_DYNAMIC_DISPATCH(YuvRowU16)(pY, pU, pV, n, bOffset, pR, pG, pB);
}

void yuvToRgbRow(const float* pY, const float* pU, const float* pV, std::size_t n,
                 bool bOffset, float* pR, float* pG, float* pB)
{
    HWY_DYNAMIC_DISPATCH(YuvRowF32)(pY, pU, pV, n, bOffset, pR, pG, pB);
}

} // namespace tirn::simd
#endif
