// Mask-generator convolution. The weights are computed in single precision
// except where a step is defined in double (types 5 and 7); the products are
// accumulated per pixel in the mask's row-major order.
#include "filters/CConvolutionFilter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "filters/RowDriver.h"
#include "filters/SimdRows.h"

namespace {

// Weight of a mask type at the rotated, zoomed offset (X, Y).
float maskWeight(int iType, float X, float Y, int iSize)
{
    const float E = std::exp(-(X * X + Y * Y));
    switch (iType) {
    case MASK_GAUSS:
        return E;
    case MASK_GAUSS_D1:
        return -2 * Y * E;
    case MASK_GAUSS_D2:
        return -2 * E + 4 * Y * Y * E;
    case MASK_GAUSS_D3:
        return 12 * Y * E - 8 * Y * Y * Y * E;
    case MASK_LAPLACE:
        return 4 * E - 8 * Y * Y * E - 8 * X * X * E + 16 * X * X * Y * Y * E;
    case MASK_COMET: {
        const float a = Y <= 0 ? std::exp(-0.5f * X * X) : -1.0f;
        return float((double(E + a) - 1.0) / 2.5);
    }
    case MASK_BAR:
        return 2 * std::exp(-0.5f * X * X) - 1;
    case MASK_END_STOP: {
        const float b = Y <= 0 ? 2 * std::exp(-20.0f * X * X) - 1 : -1.0f;
        return float((double(2 * E + b + (X * X + Y * Y) / 600) - 0.8) * 0.5);
    }
    case MASK_SIMPLEX:
        return (X * X + Y * Y) / 600 + std::exp(-(X * X + Y * Y) / 3) - 0.5f;
    case MASK_AVERAGE:
        return float(1.0 / (iSize * iSize));
    default:
        return -1.0f;
    }
}

// Integer depths add the low bits of every truncated product: summed in 32
// bits and cut once at the end, which is the same modulo 256 or 65536.
template <class T> struct Accumulator
{
    using Type = std::uint32_t;
    static Type term(float fProduct) { return Type(tirn::truncateToInt32(fProduct)); }
    static T store(Type sum) { return T(sum); }
};

template <> struct Accumulator<float>
{
    using Type = float;
    static float term(float fProduct) { return fProduct; }
    static float store(float fSum) { return fSum; }
};

} // namespace

template <class T>
CConvolutionFilter<T>::CConvolutionFilter(int iSize_, float fType_, float fOrientation_,
                                          float fZoom_, int iExternal_)
    : iSrcDepth(32), iTgtDepth(32), fOrientation(fOrientation_), fZoom(fZoom_), fType(fType_),
      iSize(iSize_), iExternal(iExternal_)
{
}

template <class T> int CConvolutionFilter<T>::clip2range(int iLow, int iValue, int iHigh)
{
    return iValue < iLow ? iLow : iValue > iHigh ? iHigh : iValue;
}

template <class T> const float* CConvolutionFilter<T>::mask() const
{
    if (pfMask)
        return pfMask;
    return ownMask.empty() ? nullptr : ownMask.data();
}

template <class T>
void CConvolutionFilter<T>::MaskGenerator(int iSize_, float fType_, float fOrientation_,
                                          float fZoom_)
{
    if (iSize_ > kMaxSize)
        throw CException("CConvolutionFilter: mask size %d out of range (at most %d)!", iSize_,
                         kMaxSize);
    float* pfWeights = pfMask;
    if (!pfWeights) {
        ownMask.assign(std::size_t(std::max(iSize_, 0)) * std::max(iSize_, 0), 0.0f);
        pfWeights = ownMask.data();
    }
    const int iType = tirn::truncateToInt32(fType_);
    const float c = float(iSize_ * 0.5 - 0.5);
    const float fTheta = float((fOrientation_ + fOrientation_) * 3.141593 / 360);
    float s, k;
    sincosf(-fTheta, &s, &k);
    auto index = [&](float dx, float dy) { return int((dy + c) * iSize_ + dx + c); };

    float fNegative = 0.0f, fPositive = 0.0f;
    for (float dx = -c; dx <= c; dx += 1.0f)
        for (float dy = -c; dy <= c; dy += 1.0f) {
            const float p = dy / fZoom_, q = dx / fZoom_;
            const float X = s * p + k * q;
            const float Y = p * k - q * s;
            const float w = maskWeight(iType, X, Y, iSize_);
            if (w < 0)
                fNegative += w;
            else
                fPositive += w;
            pfWeights[index(dx, dy)] = w;
        }
    for (float dx = -c; dx <= c; dx += 1.0f)
        for (float dy = -c; dy <= c; dy += 1.0f) {
            float& w = pfWeights[index(dx, dy)];
            if (w < 0) {
                w = -w / fNegative;
                if (w < -1.0)
                    std::fprintf(stderr, "CConvolution Filter MaskGenerator:                                 Value out of lower bound %f : %f !", -1.0, double(w));
            } else {
                w = w / fPositive;
                // Kept so on purpose: compares with -1 like the check above,
                // so it never reports a non-negative weight.
                if (w < -1.0)
                    std::fprintf(stderr, "CConvolution Filter MaskGenerator:                               Value out of upper bound %f : %f !", 1.0, double(w));
            }
        }
}

template <class T>
void CConvolutionFilter<T>::convolveReference(const CImage<T>& src, CImage<T>& tgt, int ch,
                                              const float* pfWeights)
{
    const int w = src.width(), h = src.height(), r = (iSize - 1) / 2;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int j = 0; j < iSize; ++j)
                for (int i = 0; i < iSize; ++i) {
                    const int yy = clip2range(0, y - r + j, h - 1);
                    const int xx = clip2range(0, x - r + i, w - 1);
                    const float fProduct =
                        float(src.getPixel(xx, yy, ch)) * pfWeights[iSize * j + i];
                    typename Accumulator<T>::Type sum = tgt.getPixel(x, y, ch);
                    sum += Accumulator<T>::term(fProduct);
                    tgt.setPixel(x, y, ch, Accumulator<T>::store(sum));
                }
}

// Rows outermost: each source row is widened to float once with its edge
// pixels repeated (pad[k] = row[clip(k - r)]), so term (j, i) of pixel x is
// pad_j[x + i]; the per-pixel sums run over (j, i) in mask order. The
// widened rows live in a ring of iSize slots (the window's distinct rows
// are consecutive) whose stride is no multiple of 4 KiB, so a tall mask's
// rows do not evict one another from the cache.
template <class T>
void CConvolutionFilter<T>::convolveRows(const CImage<T>& src, CImage<T>& tgt, int ch,
                                         const float* pfWeights, int y0, int y1) const
{
    using Acc = Accumulator<T>;
    const int w = src.width(), h = src.height(), r = (iSize - 1) / 2;
    if (w < 1 || h < 1)
        return;
    if (iSize < 1) { // no weights: every sum is 0
        for (int y = y0; y < y1; ++y)
            std::fill_n(tgt.getChannelPtr(ch)->getRowPtr(y), w, T(0));
        return;
    }
    const int iPadded = w + iSize - 1;
    const std::size_t uStride = (std::size_t(iPadded) + 15) / 16 * 16 + 16;
    std::vector<float> ring(uStride * iSize);
    int iNextRow = clip2range(0, y0 - r, h - 1); // the next source row the ring takes
    auto paddedRow = [&](int yy) -> const float* {
        for (; iNextRow <= yy; ++iNextRow) {
            const T* pRow = src.getChannelPtr(ch)->getRowPtr(iNextRow);
            float* pPad = ring.data() + uStride * std::size_t(iNextRow % iSize);
            const int xEnd = std::min(iPadded, w + r);
            int k = 0;
            for (; k < std::min(r, iPadded); ++k)
                pPad[k] = float(pRow[0]);
            for (; k < xEnd; ++k)
                pPad[k] = float(pRow[k - r]);
            for (; k < iPadded; ++k)
                pPad[k] = float(pRow[w - 1]);
        }
        return ring.data() + uStride * std::size_t(yy % iSize);
    };
    std::vector<typename Acc::Type> sums(tirn::isIntegerPixel<T>() ? w : 0);
    std::vector<const float*> vpBases(std::size_t(iSize) * iSize);
    for (int y = y0; y < y1; ++y) {
        // The terms in the mask's row-major order, the float sum's own order.
        for (int j = 0; j < iSize; ++j) {
            const float* pPad = paddedRow(clip2range(0, y - r + j, h - 1));
            for (int i = 0; i < iSize; ++i)
                vpBases[std::size_t(iSize) * j + i] = pPad + i;
        }
        if constexpr (tirn::isIntegerPixel<T>()) {
            std::fill(sums.begin(), sums.end(), typename Acc::Type(0));
            for (std::size_t k = 0; k < vpBases.size(); ++k)
                tirn::simd::addTruncatedProducts(sums.data(), vpBases[k], pfWeights[k],
                                                 std::size_t(w));
            T* pOut = tgt.getChannelPtr(ch)->getRowPtr(y);
            for (int x = 0; x < w; ++x)
                pOut[x] = Acc::store(sums[x]);
        } else {
            tirn::simd::sumTerms(tgt.getChannelPtr(ch)->getRowPtr(y), vpBases.data(), pfWeights,
                                 iSize * iSize, std::size_t(w));
        }
    }
}

template <class T> void CConvolutionFilter<T>::exec(const CImage<T>* pSrc, CImage<T>* pTgt)
{
    if (iSize > kMaxSize)
        throw CException("CConvolutionFilter: mask size %d out of range (at most %d)!", iSize,
                         kMaxSize);
    const CImage<T>& src = *pSrc;
    CImage<T>& tgt = *pTgt;
    const int w = src.width(), h = src.height(), n = src.channels();
    if (tgt.width() != w || tgt.height() != h || tgt.channels() != n)
        tgt.resize(w, h, n);
    if (iExternal == 0)
        MaskGenerator(iSize, fType, fOrientation, fZoom);
    const float* pfWeights = mask();
    if (!pfWeights && iSize > 0)
        throw CException("CConvolutionFilter: no mask to convolve with!");
    for (int c = 0; c < n; ++c) {
        // Row 0 through the checked access: a height of 0 ends the process.
        T* pOut = tgt.getChannelPtr(c)->getRowPtr(0);
        const T* pIn = src.getChannelPtr(c)->getRowPtr(0);
        // The reference adds into the target: it starts from zero. The rows
        // write every pixel.
        auto reference = [&] {
            if (pOut)
                std::memset(pOut, 0, sizeof(T) * std::size_t(w) * h);
            convolveReference(src, tgt, c, pfWeights);
        };
        // A channel that is its own target (in place, or shared) reads the
        // sums as they are written: that walk is the result.
        if (pIn == pOut) {
            reference();
            continue;
        }
        tirn::runKernel(tirn::Visit::AnyOrder, h, (long long)w * h * std::max(iSize, 1),
                        reference,
                        [&](int y0, int y1) { convolveRows(src, tgt, c, pfWeights, y0, y1); });
    }
}

template class CConvolutionFilter<unsigned char>;
template class CConvolutionFilter<unsigned short>;
template class CConvolutionFilter<float>;
