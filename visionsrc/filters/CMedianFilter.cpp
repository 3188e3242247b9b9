#include "filters/CMedianFilter.h"

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "filters/RankNetworks.h"
#include "filters/RankWindow.h"
#include "filters/SlidingHistogram.h"
#include "filters/RowDriver.h"
#include "filters/utils.h"

template <class T> void CMedianFilter<T>::setParameters(float* p)
{
    iSize = tirn::truncateToInt32(p[0]);
}

template <class T>
T CMedianFilter<T>::scanSingleChannelRegion(const CImage<T>& src, int x, int y)
{
    const int h = (iSize - 1) / 2;
    std::vector<float> vfLocal;
    float* pfBuf = pfBuffer;
    if (!pfBuf) { // called outside singleChannelOperation
        vfLocal.resize(tirn::rankBufferLength(tirn::rankHalfSide(iSize, "CMedianFilter")));
        pfBuf = vfLocal.data();
    }
    int n = 0;
    for (int i = x - h; i <= x + h; ++i)
        for (int j = y - h; j <= y + h; ++j)
            if (i >= 0 && i < src.width() && j >= 0 && j < src.height())
                pfBuf[n++] = float(src.getPixel(i, j, 0));
    if (n == 0)
        return T(0);
    return tirn::toPixel<T>(median(pfBuf, n));
}

template <class T>
void CMedianFilter<T>::singleChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    const int h = tirn::rankHalfSide(iSize, "CMedianFilter");
    tirn::runRankChannel(
        src, tgt, h, pfBuffer, [&](int y0, int y1) { filterRows(src, tgt, h, y0, y1); },
        [&](int x, int y) { return scanSingleChannelRegion(src, x, y); });
}

namespace {

// Whether any of n floats is a NaN or -0, the values whose place in a sorted
// window depends on the order they were visited in. No branch in the loop,
// so it vectorises.
bool anyNaNOrNegativeZero(const float* p, std::size_t n)
{
    std::uint32_t uFound = 0;
    for (std::size_t i = 0; i < n; ++i) {
        std::uint32_t u;
        std::memcpy(&u, p + i, sizeof u);
        uFound |= std::uint32_t((u & 0x7fffffffu) > 0x7f800000u) | std::uint32_t(u == 0x80000000u);
    }
    return uFound != 0;
}

} // namespace

// Rows outermost, straight from the channel's storage; the window is
// collected in the reference's order so the same value is selected.
template <class T>
void CMedianFilter<T>::filterRows(const CImage<T>& src, CImage<T>& tgt, int h, int y0,
                                  int y1) const
{
    const int W = src.width(), H = src.height();
    std::vector<float> vfBuffer(tirn::rankBufferLength(h));
    const T* pIn = src.getChannelDataPtr(0);
    T* pOut = tgt.getChannelDataPtr(0);
    if constexpr (tirn::isIntegerPixel<T>()) {
        if (tirn::preferHistogram<T>(h)) {
            // Complete 5x5 and 7x7 windows through the network, faster than
            // any histogram; the rest of the row slides the histogram.
            const bool bNetwork = h == 2 || h == 3;
            tirn::SlidingHistogram<T> histogram;
            for (int y = y0; y < y1; ++y) {
                T* pRow = pOut + std::size_t(y) * W;
                const int yTop = std::max(y - h, 0), yBottom = std::min(y + h, H - 1);
                auto slide = [&](int xBegin, int xEnd) {
                    histogram.slideRow(pIn, W, yTop, yBottom, h, xBegin, xEnd, [&](int x, int n) {
                        pRow[x] = histogram.kth((n + 1) / 2 - 1);
                    });
                };
                if (!bNetwork || y - h < 0 || y + h >= H || W <= 2 * h) {
                    slide(0, W);
                    continue;
                }
                slide(0, h);
                tirn::medianIntegerRow(pIn, W, y, h, h, W - h, pRow);
                slide(W - h, W);
            }
            return;
        }
    }
    auto collected = [&](int x, int y) {
        const int n = tirn::gatherWindow(pIn, W, H, x, y, h, vfBuffer.data());
        if (n == 0)
            return T(0);
        if constexpr (tirn::isIntegerPixel<T>()) {
            // Whole numbers, no NaN: any exact selection of the median's
            // rank gives the reference's value; small windows (the border
            // of a 3x3) are sorted in place.
            if (n <= 9) {
                float* a = vfBuffer.data();
                for (int i = 1; i < n; ++i)
                    for (int j = i; j > 0 && a[j] < a[j - 1]; --j)
                        std::swap(a[j], a[j - 1]);
                return tirn::toPixel<T>(a[(n + 1) / 2 - 1]);
            }
        }
        return tirn::toPixel<T>(median(vfBuffer.data(), n));
    };
    if constexpr (std::is_same<T, float>::value) {
        // Complete windows up to 5x5 through the network; the windows it
        // cannot decide, and the border, collected as in the reference.
        if (h == 1 || h == 2) {
            // Windows are flagged only if the rows they read hold a NaN or -0.
            const std::size_t uFirst = std::size_t(std::max(y0 - h, 0)) * W;
            const std::size_t uEnd = std::size_t(std::min(y1 + h, H)) * W;
            const bool bCheck = anyNaNOrNegativeZero(pIn + uFirst, uEnd - uFirst);
            std::vector<unsigned char> vFlags(bCheck ? std::size_t(W) : 0);
            // A window cut by the border and without a NaN or -0 goes through
            // the network too, filled up.
            auto border = [&](int x, int y) {
                float* pWindow = vfBuffer.data();
                const int n = tirn::gatherWindow(pIn, W, H, x, y, h, pWindow);
                if (bCheck && anyNaNOrNegativeZero(pWindow, std::size_t(n)))
                    return median(pWindow, n);
                return tirn::paddedMedian(pWindow, n, h);
            };
            for (int y = y0; y < y1; ++y) {
                T* pRow = pOut + std::size_t(y) * W;
                tirn::splitRow(
                    y, W, H, h, h, [&](int x) { pRow[x] = border(x, y); },
                    [&](int xa, int xb) {
                        tirn::medianFloatRow(pIn, W, y, h, xa, xb, pRow,
                                             bCheck ? vFlags.data() : nullptr);
                        for (int x = xa; bCheck && x < xb; ++x)
                            if (vFlags[x])
                                pRow[x] = collected(x, y);
                    });
            }
            return;
        }
    }
    // The first and last rows' windows hold six values; with a row of
    // zeros, no larger than any pixel, added they are nine, and the median
    // (3rd) of the six is their 6th.
    std::vector<T> vZeros(tirn::isIntegerPixel<T>() && h == 1 ? std::size_t(W) : 0, T(0));
    for (int y = y0; y < y1; ++y) {
        T* pRow = pOut + std::size_t(y) * W;
        if constexpr (tirn::isIntegerPixel<T>()) {
            if (h == 1 && H >= 2 && W >= 3) {
                const T* pCentre = pIn + std::size_t(y) * W;
                if (y >= 1 && y + 1 < H) // complete windows: the 5th of nine
                    tirn::rank3x3Row(pCentre - W, pCentre, pCentre + W, W, 4, pRow);
                else if (y == 0)
                    tirn::rank3x3Row(vZeros.data(), pCentre, pCentre + W, W, 5, pRow);
                else
                    tirn::rank3x3Row(pCentre - W, pCentre, vZeros.data(), W, 5, pRow);
                pRow[0] = collected(0, y);
                pRow[W - 1] = collected(W - 1, y);
                continue;
            }
        }
        for (int x = 0; x < W; ++x)
            pRow[x] = collected(x, y);
    }
}

template class CMedianFilter<unsigned char>;
template class CMedianFilter<unsigned short>;
template class CMedianFilter<float>;
