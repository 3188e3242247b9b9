#include "filters/CRankFilter.h"

#include <vector>

#include "filters/RankNetworks.h"
#include "filters/RankWindow.h"
#include "filters/SlidingHistogram.h"
#include "filters/RowDriver.h"
#include "filters/utils.h"

template <class T> void CRankFilter<T>::setParameters(float* p)
{
    iSize = tirn::truncateToInt32(p[0]);
    setRank(tirn::truncateToInt32(p[1]));
}

template <class T> void CRankFilter<T>::preOperation()
{
    if (!bRankSet)
        throw CException("CRankFilter: no rank set! Set the rank before exec().");
}

template <class T>
T CRankFilter<T>::scanSingleChannelRegion(const CImage<T>& src, int x, int y)
{
    const int h = (iSize - 1) / 2;
    std::vector<T> vLocal;
    T* pBuf = ptBuffer;
    if (!pBuf) { // called outside singleChannelOperation
        vLocal.resize(tirn::rankBufferLength(tirn::rankHalfSide(iSize, "CRankFilter")));
        pBuf = vLocal.data();
    }
    int n = 0;
    for (int i = x - h; i <= x + h; ++i)
        for (int j = y - h; j <= y + h; ++j)
            if (i >= 0 && i < src.width() && j >= 0 && j < src.height())
                pBuf[n++] = src.getPixel(i, j, 0);
    if (n == 0)
        return T(0);
    if ((long long)iSize * iSize > n)
        return src.getPixel(x, y, 0);
    return getRank(iRank, n, pBuf); // clamps the rank
}

template <class T>
void CRankFilter<T>::singleChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    const int h = tirn::rankHalfSide(iSize, "CRankFilter");
    tirn::runRankChannel(
        src, tgt, h, ptBuffer, [&](int y0, int y1) { filterRows(src, tgt, h, y0, y1); },
        [&](int x, int y) { return scanSingleChannelRegion(src, x, y); });
}

// Rows outermost; incomplete windows are decided from their size alone and
// only complete ones are collected (in the reference's order).
template <class T>
void CRankFilter<T>::filterRows(const CImage<T>& src, CImage<T>& tgt, int h, int y0,
                                  int y1) const
{
    const int W = src.width(), H = src.height();
    std::vector<T> vBuffer(tirn::rankBufferLength(h));
    const T* pIn = src.getChannelDataPtr(0);
    T* pOut = tgt.getChannelDataPtr(0);
    const long long llFull = (long long)iSize * iSize;
    if constexpr (tirn::isIntegerPixel<T>()) {
        // Only complete windows are ranked: odd sizes, away from the border.
        if (tirn::preferHistogram<T>(h) && 2 * h + 1 == iSize) {
            std::copy(pIn + std::size_t(y0) * W, pIn + std::size_t(y1) * W,
                      pOut + std::size_t(y0) * W);
            if (W <= 2 * h)
                return;
            tirn::SlidingHistogram<T> histogram;
            for (int y = std::max(y0, h); y < std::min(y1, H - h); ++y) {
                T* pRow = pOut + std::size_t(y) * W;
                histogram.slideRow(pIn, W, y - h, y + h, h, h, W - h, [&](int x, int n) {
                    pRow[x] = histogram.kth(std::min(std::max(iRank, 0), n - 1));
                });
            }
            return;
        }
        if (iSize == 3) {
            // Incomplete windows keep their pixel.
            for (int y = y0; y < y1; ++y) {
                const T* pCentre = pIn + std::size_t(y) * W;
                T* pRow = pOut + std::size_t(y) * W;
                if (W < 3 || y < 1 || y + 1 >= H) {
                    std::copy(pCentre, pCentre + W, pRow);
                    continue;
                }
                pRow[0] = pCentre[0];
                pRow[W - 1] = pCentre[W - 1];
                tirn::rank3x3Row(pCentre - W, pCentre, pCentre + W, W, iRank, pRow);
            }
            return;
        }
    }
    for (int y = y0; y < y1; ++y)
        for (int x = 0; x < W; ++x) {
            const std::size_t k = std::size_t(y) * W + x;
            const int n = tirn::windowCount(W, H, x, y, h);
            if (n == 0)
                pOut[k] = T(0);
            else if (llFull > n)
                pOut[k] = pIn[k];
            else {
                tirn::gatherWindow(pIn, W, H, x, y, h, vBuffer.data());
                pOut[k] = getRank(iRank, n, vBuffer.data());
            }
        }
}

template class CRankFilter<unsigned char>;
template class CRankFilter<unsigned short>;
template class CRankFilter<float>;
