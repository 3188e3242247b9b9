#include "filters/CConvolution.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <typeinfo>

#include "filters/CGaussFilter.h"
#include "filters/CGenericConvolution.h"
#include "filters/CMeanFilter.h"
#include "filters/CSobelFilter.h"
#include "filters/ReferencePath.h"
#include "image/PixelTraits.h"

namespace {

constexpr std::size_t kIntMaskBlockBytes = 65567;

// Stores a finished response the library's way; the Sobel filter takes the
// absolute value of the stored value at depth 32 only.
template <class T> inline T storePixel(float r, bool bAbsAtFloat)
{
    T v = tirn::toPixel<T>(r);
    if constexpr (!tirn::isIntegerPixel<T>()) {
        if (bAbsAtFloat)
            v = v > 0 ? v : -v;
    }
    return v;
}

// The one formula that turns a sum into a pixel, shared by both paths. A NaN
// factor counts as set.
template <class T> inline T finishPixel(float fSum, int n, float fFactor, bool bAbsAtFloat)
{
    return storePixel<T>(fFactor != 0.0f ? fFactor * fSum : fSum / float(n), bAbsAtFloat);
}

} // namespace

template <class T>
CConvolution<T>::CConvolution()
    : pfMask(nullptr), fFactor(0.0f), psIntMask(nullptr), pvIntMaskBlock(nullptr),
      ucDivisor(0), iMaskWidth(0), iMaskHeight(0), iHalfWidth(0), iHalfHeight(0),
      bMMX(false)
{
    pvIntMaskBlock = std::malloc(kIntMaskBlockBytes);
    if (!pvIntMaskBlock)
        throw std::bad_alloc();
    const std::uintptr_t uStart = reinterpret_cast<std::uintptr_t>(pvIntMaskBlock);
    psIntMask = reinterpret_cast<short*>((uStart + 31) & ~std::uintptr_t(31));
}

template <class T> CConvolution<T>::~CConvolution()
{
    delete[] pfMask;
    std::free(pvIntMaskBlock);
}

template <class T>
void CConvolution<T>::setParameters(float* pfNewMask, float fNewFactor, int iWidth, int iHeight)
{
    // Sizes are taken as given (the scripting layer passes 0 and negative
    // ones on unchecked); a non-positive size simply has no weights.
    const long long llWeights =
        (iWidth > 0 && iHeight > 0) ? (long long)iWidth * iHeight : 0;
    if (llWeights > kMaxWeights)
        throw CException("CConvolution: a %d x %d mask is too large!", iWidth, iHeight);
    if (llWeights > 0 && !pfNewMask)
        throw CException("CConvolution: no mask weights given!");
    float* pfNew = new float[std::max<long long>(llWeights, 1)];
    std::copy(pfNewMask, pfNewMask + llWeights, pfNew);
    delete[] pfMask;
    pfMask = pfNew;
    fFactor = fNewFactor;
    iMaskWidth = iWidth;
    iMaskHeight = iHeight;
    iHalfWidth = int(std::floor(iWidth * 0.5));
    iHalfHeight = int(std::floor(iHeight * 0.5));
    ucDivisor = tirn::toPixel<unsigned char>(1.0 / double(fNewFactor));

    // Rows padded to a multiple of four 16-bit entries. Rows that would not
    // fit the buffer are left out: no computation reads them.
    if (llWeights > 0) {
        const int iPadded = (iWidth + 3) / 4 * 4;
        const int iRows = std::min(iHeight, kIntMaskEntries / iPadded);
        std::fill(psIntMask, psIntMask + iRows * iPadded, short(0));
        for (int r = 0; r < iRows; ++r)
            for (int c = 0; c < iWidth; ++c)
                psIntMask[r * iPadded + c] =
                    short(tirn::toPixel<unsigned short>(pfMask[r * iWidth + c]));
    }

    iSpanWidth = std::max(2 * iHalfWidth + 1, 0);
    iSpanHeight = std::max(2 * iHalfHeight + 1, 0);
    vfSpan.assign(std::size_t(iSpanWidth) * iSpanHeight, 0.0f);
    for (int j = 0; j < std::min(iSpanHeight, iHeight); ++j)
        for (int i = 0; i < std::min(iSpanWidth, iWidth); ++i)
            vfSpan[std::size_t(j) * iSpanWidth + i] = pfMask[std::size_t(j) * iWidth + i];
}

template <class T> void CConvolution<T>::requireMask() const
{
    if (!pfMask)
        throw CException("CConvolution: no mask set! Set the mask before exec().");
}

template <class T> void CConvolution<T>::preOperation()
{
    requireMask();
}

// The straightforward transcription: the reference for the row driver and
// the operation a derived class may refine.
template <class T>
T CConvolution<T>::convolvSingleChannelRegion(const CImage<T>& src, int x, int y)
{
    const int iWidth = src.width(), iHeight = src.height();
    const int rx = iHalfWidth, ry = iHalfHeight;
    float fSum = 0.0f;
    int n = 0;
    if (x - rx >= 0 && x + rx < iWidth && y - ry >= 0 && y + ry < iHeight) {
        for (int i = 0; i < iSpanWidth; ++i)
            for (int j = 0; j < iSpanHeight; ++j)
                fSum += vfSpan[j * iSpanWidth + i] * float(src.getPixel(x - rx + i, y - ry + j, 0));
        n = iSpanWidth * iSpanHeight;
    } else {
        for (int i = 0; i < iSpanWidth; ++i) {
            const int xx = x - rx + i;
            if (xx < 0 || xx >= iWidth)
                continue;
            for (int j = 0; j < iSpanHeight; ++j) {
                const int yy = y - ry + j;
                if (yy < 0 || yy >= iHeight)
                    continue;
                fSum += vfSpan[j * iSpanWidth + i] * float(src.getPixel(xx, yy, 0));
                ++n;
            }
        }
    }
    return finishPixel<T>(fSum, n, fFactor, false);
}

template <class T> bool CConvolution<T>::rowDriverApplies(TPixelFinish* pFinish) const
{
    const std::type_info& type = typeid(*this);
    *pFinish = FINISH_NONE;
    if (type == typeid(CSobelFilter<T>)) {
        *pFinish = FINISH_ABS_AT_FLOAT;
        return true;
    }
    // Any other class may override the per-pixel operation: it keeps the
    // virtual call.
    return type == typeid(CConvolution<T>) || type == typeid(CMeanFilter<T>) ||
           type == typeid(CGaussFilter<T>) || type == typeid(CGenericConvolution<T>);
}

template <class T>
void CConvolution<T>::singleChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    requireMask();
    const int iWidth = src.width(), iHeight = src.height();
    if (tgt.width() != iWidth || tgt.height() != iHeight || tgt.channels() < 1)
        tgt.resize(iWidth, iHeight, std::max(tgt.channels(), 1));
    for (int c = 0; c < tgt.channels(); ++c)
        tgt.clear(c);
    if (src.channels() < 1 || src.pixelsPerChannel() <= 0)
        return;

    TPixelFinish finish;
    if (!tirn::referencePathForced() && rowDriverApplies(&finish)) {
        convolveRows(src, tgt, finish);
        return;
    }
    for (int x = 0; x < iWidth; ++x)
        for (int y = 0; y < iHeight; ++y)
            tgt.setPixel(x, y, 0, convolvSingleChannelRegion(src, x, y));
}

// Rows outermost. Interior pixels of a row are summed together, one mask
// position at a time across the row, so each pixel's own sum still runs
// x offset outer, y offset inner, in single precision, as the reference does.
template <class T>
void CConvolution<T>::convolveRows(const CImage<T>& src, CImage<T>& tgt,
                                   TPixelFinish finish) const
{
    const int W = src.width(), H = src.height();
    const int rx = iHalfWidth, ry = iHalfHeight;
    const int KW = iSpanWidth, KH = iSpanHeight;
    const bool bAbs = finish == FINISH_ABS_AT_FLOAT;

    std::vector<float> vfImage(std::size_t(W) * H);
    const T* pIn = src.getChannelDataPtr(0);
    for (std::size_t k = 0; k < vfImage.size(); ++k)
        vfImage[k] = float(pIn[k]);
    const float* F = vfImage.data();
    const float* M = vfSpan.data();

    auto borderPixel = [&](int x, int y) {
        float fSum = 0.0f;
        int n = 0;
        for (int i = 0; i < KW; ++i) {
            const int xx = x - rx + i;
            if (xx < 0 || xx >= W)
                continue;
            for (int j = 0; j < KH; ++j) {
                const int yy = y - ry + j;
                if (yy < 0 || yy >= H)
                    continue;
                fSum += M[j * KW + i] * F[std::size_t(yy) * W + xx];
                ++n;
            }
        }
        return finishPixel<T>(fSum, n, fFactor, bAbs);
    };

    // Interior columns [x0, x1): the whole span lies inside the row.
    const int x0 = KW > 0 ? rx : 0;
    const int x1 = KW > 0 ? std::max(W - rx, x0) : W;
    std::vector<float> vfAcc(std::size_t(std::max(W, 1)));
    for (int y = 0; y < H; ++y) {
        T* pOut = tgt.getChannelDataPtr(0) + std::size_t(y) * W;
        const bool bInteriorRow = KH == 0 || (y - ry >= 0 && y + ry < H);
        if (!bInteriorRow || x1 <= x0) {
            for (int x = 0; x < W; ++x)
                pOut[x] = borderPixel(x, y);
            continue;
        }
        for (int x = 0; x < x0; ++x)
            pOut[x] = borderPixel(x, y);
        float* acc = vfAcc.data();
        std::fill(acc + x0, acc + x1, 0.0f);
        for (int i = 0; i < KW; ++i)
            for (int j = 0; j < KH; ++j) {
                const float w = M[j * KW + i];
                const float* pRow = F + std::size_t(y - ry + j) * W + (i - rx);
                for (int x = x0; x < x1; ++x)
                    acc[x] += w * pRow[x];
            }
        // finishPixel with the factor test hoisted out, so the loops vectorise.
        const float fCount = float(KW * KH);
        if (fFactor != 0.0f)
            for (int x = x0; x < x1; ++x)
                acc[x] = fFactor * acc[x];
        else
            for (int x = x0; x < x1; ++x)
                acc[x] = acc[x] / fCount;
        for (int x = x0; x < x1; ++x)
            pOut[x] = storePixel<T>(acc[x], bAbs);
        for (int x = x1; x < W; ++x)
            pOut[x] = borderPixel(x, y);
    }
}

template class CConvolution<unsigned char>;
template class CConvolution<unsigned short>;
template class CConvolution<float>;
