#include "filters/CConvolution.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include "filters/RowDriver.h"
#include "filters/SimdRows.h"
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

// The rows of a sliding window widened to float, in a ring of one slot per
// window row, each with iMargin zeros on either side; rows outside the image
// are zeros. Rows are asked for in order (each window's last row no earlier
// than the last window's). The stride is no multiple of 4 KiB: rows of a
// power-of-two width would all fall into the same cache sets, and a tall
// mask's rows would evict one another.
template <class T> class WidenedRows
{
public:
    WidenedRows(const T* pIn, int W, int H, int nSlots, int iMargin, int yFirst)
        : pIn(pIn), W(W), H(H), nSlots(nSlots), iMargin(iMargin), iNextRow(yFirst),
          uStride((std::size_t(W) + 2 * iMargin + 15) / 16 * 16 + 16),
          vfRing(uStride * std::size_t(std::max(nSlots, 0)), 0.0f)
    {
    }

    // Row yy's pixel 0; its margins start iMargin before it.
    const float* row(int yy)
    {
        for (; iNextRow <= yy; ++iNextRow) {
            float* q = slot(iNextRow) + iMargin;
            if (iNextRow < 0 || iNextRow >= H) {
                std::fill(q, q + W, 0.0f);
                continue;
            }
            const T* p = pIn + std::size_t(iNextRow) * W;
            for (int x = 0; x < W; ++x)
                q[x] = float(p[x]);
        }
        return slot(yy) + iMargin;
    }

private:
    const T* pIn;
    int W, H, nSlots, iMargin, iNextRow;
    std::size_t uStride;
    std::vector<float> vfRing;

    float* slot(int yy)
    {
        return vfRing.data() + uStride * std::size_t(((yy % nSlots) + nSlots) % nSlots);
    }
};

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
    proveIntegerSums();
}

template <class T> void CConvolution<T>::proveIntegerSums()
{
    bIntegerExact = false;
    bBox = false;
    viSpan.clear();
    if constexpr (tirn::isIntegerPixel<T>()) {
        constexpr double dLimit = 16777216.0; // 2^24
        const double dMaxPixel = double(std::numeric_limits<T>::max());
        double dMagnitude = 0.0;
        for (float w : vfSpan) {
            if (!(std::fabs(w) < dLimit) || std::floor(w) != w)
                return;
            dMagnitude += std::fabs(double(w));
        }
        // Every partial sum is bounded by the sum of all magnitudes.
        if (!(dMagnitude * dMaxPixel < dLimit))
            return;
        viSpan.assign(vfSpan.begin(), vfSpan.end());
        bIntegerExact = true;
        const long long llWeights = (long long)std::max(iMaskWidth, 0) * std::max(iMaskHeight, 0);
        bBox = llWeights > 0 && std::all_of(pfMask, pfMask + llWeights,
                                            [](float w) { return w == 1.0f; });
    }
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

template <class T>
void CConvolution<T>::singleChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    requireMask();
    const int iWidth = src.width(), iHeight = src.height();
    if (tgt.width() != iWidth || tgt.height() != iHeight || tgt.channels() < 1)
        tgt.resize(iWidth, iHeight, std::max(tgt.channels(), 1));
    // Channel 0 is written whole below; the rest are cleared.
    for (int c = 1; c < tgt.channels(); ++c)
        tgt.clear(c);
    if (src.channels() < 1 || src.pixelsPerChannel() <= 0) {
        tgt.clear(0);
        return;
    }

    auto reference = [&] {
        for (int x = 0; x < iWidth; ++x)
            for (int y = 0; y < iHeight; ++y)
                tgt.setPixel(x, y, 0, convolvSingleChannelRegion(src, x, y));
    };
    const TPixelFinish finish = pixelFinish();
    if (finish == FINISH_PER_PIXEL) {
        reference();
        return;
    }
    const long long llPixels = (long long)iWidth * iHeight;
    const long long llWork = llPixels * (bBox ? 4 : std::max<long long>(vfSpan.size(), 1));
    tirn::runKernel(tirn::Visit::AnyOrder, iHeight, llWork, reference,
                    [&](int y0, int y1) { convolveRows(src, tgt, finish, y0, y1); });
}

// Rows outermost. Interior pixels of a row are summed together, one mask
// position at a time across the row, so each pixel's own sum still runs
// x offset outer, y offset inner, in single precision, as the reference does.
// Where the sums are proven exact in integers the interior is summed that
// way instead; the border keeps the ordered float sum (exact as well).
template <class T>
void CConvolution<T>::convolveRows(const CImage<T>& src, CImage<T>& tgt, TPixelFinish finish,
                                   int y0, int y1) const
{
    const int W = src.width(), H = src.height();
    const int rx = iHalfWidth, ry = iHalfHeight;
    const int KW = iSpanWidth, KH = iSpanHeight;
    const bool bAbs = finish == FINISH_ABS_AT_FLOAT;
    const T* pIn = src.getChannelDataPtr(0);
    T* pOutBase = tgt.getChannelDataPtr(0);
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
                fSum += M[j * KW + i] * float(pIn[std::size_t(yy) * W + xx]);
                ++n;
            }
        }
        return finishPixel<T>(fSum, n, fFactor, bAbs);
    };

    // Interior columns [x0, x1): the whole span lies inside the row.
    const int x0 = KW > 0 ? std::min(rx, W) : 0;
    const int x1 = KW > 0 ? std::max(W - rx, x0) : W;

    // The interior's terms in the order of the reference's sum: x offset
    // outer, y offset inner.
    std::vector<float> vfWeights(std::size_t(std::max(KW, 0)) * std::max(KH, 0));
    for (int i = 0; i < KW; ++i)
        for (int j = 0; j < KH; ++j)
            vfWeights[std::size_t(i) * KH + j] = M[j * KW + i];
    std::vector<float> vfAcc(std::size_t(std::max(W, 1)));
    const tirn::simd::SumFinish plainSum;

    // Border pixels through a copy of their window rows padded with zeros:
    // a term outside the image then adds a product of 0, which leaves the
    // sum as it is (a float sum from +0 is never -0) as long as no weight
    // is infinite or NaN. The reference skips those terms; the count is
    // still that of the positions inside.
    const bool bPaddable =
        KW > 0 && KH > 0 &&
        std::all_of(vfWeights.begin(), vfWeights.end(), [](float w) { return std::isfinite(w); });
    std::vector<float> vfPad;
    std::vector<const float*> vpPadBases(vfWeights.size());
    std::vector<float> vfPadSums;
    auto paddedPixels = [&](int y, int xa, int xb) {
        if (xb <= xa)
            return;
        // Whole vectors of sums: the few border pixels of a row would
        // otherwise run their long sums one after another. What lies past
        // xb sums zeros and is not used.
        const int nSums = (xb - xa + 7) / 8 * 8;
        const int nCols = nSums + KW - 1;
        vfPad.assign(std::size_t(KH) * nCols, 0.0f);
        for (int j = 0; j < KH; ++j) {
            const int yy = y - ry + j;
            if (yy < 0 || yy >= H)
                continue;
            const T* pRow = pIn + std::size_t(yy) * W;
            float* pPad = vfPad.data() + std::size_t(j) * nCols;
            const int xFirst = std::max(xa - rx, 0), xEnd = std::min(xb + rx, W);
            for (int xx = xFirst; xx < xEnd; ++xx)
                pPad[xx - (xa - rx)] = float(pRow[xx]);
        }
        for (int i = 0; i < KW; ++i)
            for (int j = 0; j < KH; ++j)
                vpPadBases[std::size_t(i) * KH + j] = vfPad.data() + std::size_t(j) * nCols + i;
        vfPadSums.resize(std::size_t(nSums));
        const float* acc = vfPadSums.data() - xa;
        tirn::simd::sumTerms(vfPadSums.data(), vpPadBases.data(), vfWeights.data(),
                             int(vpPadBases.size()), std::size_t(nSums), plainSum);
        const int iRowsIn = std::min(y - ry + KH, H) - std::max(y - ry, 0);
        T* pOut = pOutBase + std::size_t(y) * W;
        for (int x = xa; x < xb; ++x) {
            const int iColsIn = std::min(x - rx + KW, W) - std::max(x - rx, 0);
            pOut[x] = finishPixel<T>(acc[x], iColsIn * iRowsIn, fFactor, bAbs);
        }
    };
    // Row y's border pixels; false where they are left to borderPixel.
    auto paddedBorder = [&](int y) {
        if (!bPaddable)
            return false;
        if (y - ry < 0 || y + ry >= H || x1 <= x0) {
            paddedPixels(y, 0, W);
        } else {
            paddedPixels(y, 0, x0);
            paddedPixels(y, x1, W);
        }
        return true;
    };
    if (bIntegerExact && KW > 0 && KH > 0) {
        if (bBox) {
            boxRows(pIn, pOutBase, W, H, y0, y1);
            return;
        }
        // Border rows and columns first, then the interior in integers.
        for (int y = y0; y < y1; ++y) {
            if (paddedBorder(y))
                continue;
            T* pOut = pOutBase + std::size_t(y) * W;
            tirn::splitRow(y, W, H, rx, ry, [&](int x) { pOut[x] = borderPixel(x, y); },
                           [](int, int) {});
        }
        const int yi0 = std::max(y0, ry), yi1 = std::min(y1, H - ry);
        if (yi0 < yi1 && x0 < x1)
            integerRows(pIn, pOutBase, W, H, yi0, yi1, x0, x1);
        return;
    }

    // Widening a row costs about what a few terms do: a short float mask
    // reads its rows where they are and pads only the border.
    if (bPaddable && (tirn::isIntegerPixel<T>() || KW * KH >= 16)) {
        zeroPaddedRows(pIn, pOutBase, W, H, y0, y1, vfWeights, bAbs);
        return;
    }

    // The interior's rows: float rows of a short mask are read where they
    // are, others widened (WidenedRows).
    const bool bWiden = tirn::isIntegerPixel<T>() || KH > 6;
    WidenedRows<T> widened(pIn, W, H, bWiden ? KH : 0, 0, std::max(y0 - ry, 0));
    auto wideRow = [&](int yy) -> const float* {
        if constexpr (!tirn::isIntegerPixel<T>())
            if (!bWiden)
                return pIn + std::size_t(yy) * W;
        return widened.row(yy);
    };
    // finishPixel, applied by the vector loop itself.
    tirn::simd::SumFinish finishing;
    finishing.fFactor = fFactor;
    finishing.fCount = float(KW * KH);
    finishing.bAbs = bAbs;
    std::vector<const float*> vpBases(vfWeights.size());
    for (int y = y0; y < y1; ++y) {
        T* pOut = pOutBase + std::size_t(y) * W;
        const bool bPadded = paddedBorder(y);
        tirn::splitRow(
            y, W, H, KW > 0 ? rx : 0, KH > 0 ? ry : 0,
            [&](int x) {
                if (!bPadded)
                    pOut[x] = borderPixel(x, y);
            },
            [&](int xa, int xb) {
                for (int j = 0; j < KH; ++j) {
                    const float* pRow = wideRow(y - ry + j);
                    for (int i = 0; i < KW; ++i)
                        vpBases[std::size_t(i) * KH + j] = pRow + (i - rx + xa);
                }
                if constexpr (!tirn::isIntegerPixel<T>()) {
                    tirn::simd::sumTerms(pOut + xa, vpBases.data(), vfWeights.data(),
                                         int(vpBases.size()), std::size_t(xb - xa), finishing);
                } else {
                    float* acc = vfAcc.data();
                    tirn::simd::sumTerms(acc + xa, vpBases.data(), vfWeights.data(),
                                         int(vpBases.size()), std::size_t(xb - xa), finishing);
                    for (int x = xa; x < xb; ++x)
                        pOut[x] = tirn::toPixel<T>(acc[x]);
                }
            });
    }
}

// Whole rows at once, border included, from the window's rows widened with
// rx zeros on either side and rows of zeros above and below the image: a
// term outside the image adds a product of 0, which leaves the sum as it is
// (a float sum from +0 is never -0) as long as no weight is infinite or NaN.
// The reference skips those terms; the count is still that of the positions
// inside.
template <class T>
void CConvolution<T>::zeroPaddedRows(const T* pIn, T* pOutBase, int W, int H, int y0, int y1,
                                     const std::vector<float>& vfWeights, bool bAbs) const
{
    const int rx = iHalfWidth, ry = iHalfHeight, KW = iSpanWidth, KH = iSpanHeight;
    WidenedRows<T> widened(pIn, W, H, KH, rx, y0 - ry);

    // A factor finishes every sum alike, so the vector loop does it and a
    // float row is written in place; a count differs at the border.
    tirn::simd::SumFinish finishing;
    finishing.fFactor = fFactor;
    finishing.bAbs = bAbs;
    const bool bDirect = fFactor != 0.0f && !tirn::isIntegerPixel<T>();
    const tirn::simd::SumFinish finishLater;
    std::vector<float> vfSums(static_cast<std::size_t>(W));
    std::vector<const float*> vpBases(vfWeights.size());
    const float fCount = float(KW * KH);
    for (int y = y0; y < y1; ++y) {
        for (int j = 0; j < KH; ++j) {
            const float* pRow = widened.row(y - ry + j) - rx;
            for (int i = 0; i < KW; ++i)
                vpBases[std::size_t(i) * KH + j] = pRow + i;
        }
        T* pOut = pOutBase + std::size_t(y) * W;
        if constexpr (!tirn::isIntegerPixel<T>()) {
            if (bDirect) {
                tirn::simd::sumTerms(pOut, vpBases.data(), vfWeights.data(), int(vpBases.size()),
                                     std::size_t(W), finishing);
                continue;
            }
        }
        float* acc = vfSums.data();
        tirn::simd::sumTerms(acc, vpBases.data(), vfWeights.data(), int(vpBases.size()),
                             std::size_t(W), fFactor != 0.0f ? finishing : finishLater);
        if (fFactor != 0.0f) {
            for (int x = 0; x < W; ++x)
                pOut[x] = tirn::toPixel<T>(acc[x]);
            continue;
        }
        const int iRowsIn = std::min(y - ry + KH, H) - std::max(y - ry, 0);
        const int xi0 = std::min(rx, W), xi1 = std::max(W - rx, xi0);
        for (int x = 0; x < W; ++x) {
            if (x == xi0 && iRowsIn == KH) {
                for (; x < xi1; ++x)
                    pOut[x] = storePixel<T>(acc[x] / fCount, bAbs);
                if (x == W)
                    break;
            }
            const int iColsIn = std::min(x - rx + KW, W) - std::max(x - rx, 0);
            pOut[x] = finishPixel<T>(acc[x], iColsIn * iRowsIn, 0.0f, bAbs);
        }
    }
}

// The interior in 32-bit integers, products skipped where the weight is 0;
// exact by the bound proven in setParameters, so float(sum) is the float sum.
template <class T>
void CConvolution<T>::integerRows(const T* pIn, T* pOut, int W, int, int y0, int y1, int x0,
                                  int x1) const
{
    const int rx = iHalfWidth, ry = iHalfHeight, KW = iSpanWidth, KH = iSpanHeight;
    const float fCount = float(KW * KH);
    std::vector<std::int32_t> viAcc(static_cast<std::size_t>(W));
    std::int32_t* acc = viAcc.data();
    for (int y = y0; y < y1; ++y) {
        std::fill(acc + x0, acc + x1, 0);
        for (int j = 0; j < KH; ++j) {
            const T* pRow = pIn + std::size_t(y - ry + j) * W;
            for (int i = 0; i < KW; ++i) {
                const std::int32_t w = viSpan[std::size_t(j) * KW + i];
                if (w == 0)
                    continue;
                // x0 = rx: the first column read is i, inside the row. Float
                // images never take this path (no integer bound is proven).
                if constexpr (tirn::isIntegerPixel<T>())
                    tirn::simd::addWeightedRow(acc + x0, pRow + (i - rx + x0), w,
                                               std::size_t(x1 - x0));
            }
        }
        T* pRowOut = pOut + std::size_t(y) * W;
        if (fFactor != 0.0f)
            for (int x = x0; x < x1; ++x)
                pRowOut[x] = tirn::toPixel<T>(fFactor * float(acc[x]));
        else
            for (int x = x0; x < x1; ++x)
                pRowOut[x] = tirn::toPixel<T>(float(acc[x]) / fCount);
    }
}

// Box sums of every pixel of rows [y0, y1), border included: a column sum
// per x over the rows of the window that lie inside the image slides down
// the rows, and a prefix sum over it gives any run of columns. Exact
// integers (see proveIntegerSums), so the order of the additions does not
// show. The box is the stored mask, which for an even size is one column
// and row short of the span; the divisor counts the span's positions inside
// the image, as in the reference.
template <class T> void CConvolution<T>::boxRows(const T* pIn, T* pOut, int W, int H, int y0, int y1) const
{
    const int rx = iHalfWidth, ry = iHalfHeight;
    const int bw = std::min(iMaskWidth, iSpanWidth), bh = std::min(iMaskHeight, iSpanHeight);
    const int sw = iSpanWidth, sh = iSpanHeight;
    std::vector<std::int32_t> viColumns(static_cast<std::size_t>(W), 0);
    // Wrapping 32-bit prefix sums: a row's prefix may pass 2^32, but the
    // difference of two is a box sum below 2^24 and comes out exact.
    std::vector<std::uint32_t> viPrefix(static_cast<std::size_t>(W) + 1, 0);
    std::int32_t* col = viColumns.data();
    std::uint32_t* prefix = viPrefix.data();
    auto addRow = [&](int yy, std::int32_t iSign) {
        if (yy < 0 || yy >= H)
            return;
        const T* pRow = pIn + std::size_t(yy) * W;
        for (int x = 0; x < W; ++x)
            col[x] += iSign * std::int32_t(pRow[x]);
    };
    for (int j = 0; j < bh; ++j)
        addRow(y0 - ry + j, 1);
    for (int y = y0; y < y1; ++y) {
        if (y > y0) {
            addRow(y - ry + bh - 1, 1);
            addRow(y - 1 - ry, -1);
        }
        tirn::simd::prefixSums(col, prefix, std::size_t(W));
        const int iRowsIn = std::min(y - ry + sh, H) - std::max(y - ry, 0);
        T* pRowOut = pOut + std::size_t(y) * W;
        const auto boxSum = [&](int xFrom, int xTo) {
            return float(std::int32_t(prefix[xTo] - prefix[xFrom]));
        };
        // Columns whose span lies inside the row share one count; divided
        // by it, a sum of pixels stays within the pixels' range, where the
        // truncation to the depth needs no wrap, and the loop vectorises.
        const int xi0 = std::min(rx, W), xi1 = std::max(std::min(W - sw + rx + 1, W), xi0);
        const bool bPlainMean = fFactor == 0.0f && tirn::isIntegerPixel<T>();
        for (int x = 0; x < W; ++x) {
            if (bPlainMean && x == xi0 && xi0 < xi1) {
                const float fCount = float(sw * iRowsIn);
                for (; x < xi1; ++x)
                    pRowOut[x] = T(int(boxSum(x - rx, x - rx + bw) / fCount));
                if (x == W)
                    break;
            }
            const int xa = std::max(x - rx, 0);
            const float fSum = boxSum(std::min(xa, W), std::min(x - rx + bw, W));
            const int n = (std::min(x - rx + sw, W) - xa) * iRowsIn;
            pRowOut[x] = tirn::toPixel<T>(fFactor != 0.0f ? fFactor * fSum : fSum / float(n));
        }
    }
}

template class CConvolution<unsigned char>;
template class CConvolution<unsigned short>;
template class CConvolution<float>;
