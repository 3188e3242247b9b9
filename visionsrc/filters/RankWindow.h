// The square window the rank filters collect, clipped to the image.
#ifndef RANKWINDOW_H
#define RANKWINDOW_H

#include <algorithm>
#include <cstddef>

#include "filters/RowDriver.h"
#include "image/CImage.h"

namespace tirn {

// Largest window (side squared) a rank filter collects.
constexpr long long kMaxRankWindow = 1LL << 24;

// Window side 2h+1 for a filter size: h = (size-1)/2 in integer division,
// so an even size collects one row and column less than it names.
inline int rankHalfSide(int iSize, const char* pcFilter)
{
    const int h = (iSize - 1) / 2;
    if (h > 0 && (2LL * h + 1) * (2LL * h + 1) > kMaxRankWindow)
        throw CException("%s: neighbourhood %d is too large!", pcFilter, iSize);
    return h;
}

inline std::size_t rankBufferLength(int h)
{
    return h < 0 ? 1 : std::size_t(2 * h + 1) * std::size_t(2 * h + 1);
}

// Copies the pixels of the window around (x, y) that lie inside the image
// into pBuffer, column by column (x outer, y inner: the order the reference
// visits them, which decides where a NaN ends up). Returns the count.
template <class B, class T>
inline int gatherWindow(const T* pData, int iWidth, int iHeight, int x, int y, int h, B* pBuffer)
{
    const int x0 = std::max(x - h, 0), x1 = std::min(x + h, iWidth - 1);
    const int y0 = std::max(y - h, 0), y1 = std::min(y + h, iHeight - 1);
    int n = 0;
    for (int i = x0; i <= x1; ++i) {
        const T* p = pData + std::size_t(y0) * iWidth + i;
        for (int j = y0; j <= y1; ++j, p += iWidth)
            pBuffer[n++] = B(*p);
    }
    return n;
}

// How many window pixels lie inside the image.
inline int windowCount(int iWidth, int iHeight, int x, int y, int h)
{
    const int iCols = std::min(x + h, iWidth - 1) - std::max(x - h, 0) + 1;
    const int iRows = std::min(y + h, iHeight - 1) - std::max(y - h, 0) + 1;
    return iCols > 0 && iRows > 0 ? iCols * iRows : 0;
}

// The common channel driver of the rank filters: the target takes the
// source's size and is cleared; then the kernel layer runs either the row
// kernel fastRows(y0, y1) on bands, or the reference walk (x outer, y inner)
// with a scratch window buffer that the filter owns only for the duration of
// the walk. Each window is collected in the reference's order, so a NaN
// lands where it would there; which pixel is visited first does not show.
template <class T, class E, class FastRows, class ScanPixel>
void runRankChannel(const CImage<T>& src, CImage<T>& tgt, int h, E*& pBuffer,
                    FastRows fastRows, ScanPixel scanPixel)
{
    const int iWidth = src.width(), iHeight = src.height();
    if (tgt.width() != iWidth || tgt.height() != iHeight || tgt.channels() < 1)
        tgt.resize(iWidth, iHeight, std::max(tgt.channels(), 1));
    if (src.channels() < 1 || src.pixelsPerChannel() <= 0) {
        tgt.clear(0);
        return;
    }
    // Both paths write every pixel.
    const long long llWindow = (long long)rankBufferLength(h);
    runKernel(
        Visit::AnyOrder, iHeight, (long long)iWidth * iHeight * std::min(llWindow, 64LL),
        [&] {
            delete[] pBuffer;
            pBuffer = new E[rankBufferLength(h)];
            for (int x = 0; x < iWidth; ++x)
                for (int y = 0; y < iHeight; ++y)
                    tgt.setPixel(x, y, 0, scanPixel(x, y));
            delete[] pBuffer;
            pBuffer = nullptr;
        },
        fastRows);
}

} // namespace tirn

#endif
