#include "image/CImageChannel.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::uintptr_t kAlignment = 32;

// Pixel count of a width x height plane, or 0 when it has none. A product
// beyond 32 bits cannot be addressed by the int-based interface and is
// treated as an allocation failure rather than wrapping to a small buffer.
std::int64_t planeSize(int iWidth, int iHeight)
{
    if (iWidth < 1 || iHeight < 1)
        return 0;
    const std::int64_t n = std::int64_t(iWidth) * iHeight;
    if (n > INT32_MAX)
        throw std::bad_alloc();
    return n;
}

} // namespace

template <class Type>
CImageChannel<Type>::CImageChannel(int iWidth_, int iHeight_, bool bZeroFill)
    : iDepth(tirn::PixelTraits<Type>::depth), iWidth(iWidth_), iHeight(iHeight_)
{
    std::memset(acInfo, 0, sizeof acInfo);
    std::strcpy(acInfo, "No info");
    allocate(bZeroFill);
}

template <class Type>
CImageChannel<Type>::CImageChannel(const CImageChannel& other)
    : iDepth(other.iDepth), iWidth(other.iWidth), iHeight(other.iHeight)
{
    std::memcpy(acInfo, other.acInfo, sizeof acInfo);
    allocate(false);
    if (pData)
        std::memcpy(pData, other.pData, sizeof(Type) * pixelCount());
}

template <class Type>
CImageChannel<Type>& CImageChannel<Type>::operator=(const CImageChannel& other)
{
    if (this == &other)
        return *this;
    if (iHeight == other.iHeight && iWidth == other.iWidth && iDepth == other.iDepth)
        return *this; // same shape: buffer, rows and info stay as they are
    release();
    iWidth = other.iWidth;
    iHeight = other.iHeight;
    iDepth = other.iDepth;
    // The values are left to the assigner; zero-filling keeps them defined.
    allocate(true);
    std::strncpy(acInfo, other.acInfo, kInfoLength);
    acInfo[kInfoLength] = '\0';
    return *this;
}

template <class Type> CImageChannel<Type>::~CImageChannel() { release(); }

template <class Type> void CImageChannel<Type>::allocate(bool bZeroFill)
{
    const std::int64_t n = planeSize(iWidth, iHeight);
    if (n == 0)
        return;
    const std::size_t bytes = std::size_t(n) * sizeof(Type);
    pRawBlock = bZeroFill ? std::calloc(bytes + kAlignment - 1, 1)
                          : std::malloc(bytes + kAlignment - 1);
    if (!pRawBlock)
        throw std::bad_alloc();
    const std::uintptr_t raw = reinterpret_cast<std::uintptr_t>(pRawBlock);
    pData = reinterpret_cast<Type*>((raw + kAlignment - 1) & ~(kAlignment - 1));
    try {
        ppRows.resize(iHeight);
    } catch (...) {
        release();
        throw;
    }
    for (int y = 0; y < iHeight; ++y)
        ppRows[y] = pData + std::size_t(y) * iWidth;
}

template <class Type> void CImageChannel<Type>::release()
{
    std::free(pRawBlock);
    pRawBlock = nullptr;
    pData = nullptr;
    std::vector<Type*>().swap(ppRows);
}

template <class Type>
void CImageChannel<Type>::setRowData(const Type* pSrc, int iRow)
{
    Type* pRow = getRowPtr(iRow);
    std::memcpy(pRow, pSrc, sizeof(Type) * iWidth);
}

template <class Type> void CImageChannel<Type>::resize(int iWidth_, int iHeight_)
{
    release();
    iWidth = iWidth_;
    iHeight = iHeight_;
    allocate(true);
}

template <class Type> void CImageChannel<Type>::clear()
{
    if (pData)
        std::memset(pData, 0, sizeof(Type) * pixelCount());
}

template <class Type> void CImageChannel<Type>::setChannelInfo(const char* pcInfo)
{
    std::strncpy(acInfo, pcInfo, kInfoLength);
    acInfo[kInfoLength] = '\0';
}

// Buffer order; NaN never replaces the running value because the comparison
// with it is false. An empty channel answers with whatever its data pointer
// offers, which for us is a zero value instead of a wild read.
template <class Type> Type CImageChannel<Type>::min() const
{
    const int n = pixelCount();
    if (n < 1)
        return Type(0);
    Type best = pData[0];
    for (int i = 1; i < n; ++i)
        if (pData[i] < best)
            best = pData[i];
    return best;
}

template <class Type> Type CImageChannel<Type>::max() const
{
    const int n = pixelCount();
    if (n < 1)
        return Type(0);
    Type best = pData[0];
    for (int i = 1; i < n; ++i)
        if (pData[i] > best)
            best = pData[i];
    return best;
}

template <class Type>
void CImageChannel<Type>::scaleRange(Type newMin, Type newMax, Type oldMin, Type oldMax)
{
    const float fNewMin = newMin, fNewMax = newMax;
    const float fOldMin = oldMin, fOldMax = oldMax;
    const float fFactor = (fNewMax - fNewMin) / (fOldMax - fOldMin);
    const float fOffset = (fNewMin * fOldMax - fNewMax * fOldMin) / (fOldMax - fOldMin);
    const int n = pixelCount();
    // Each pixel maps independently, so the buffer is walked in memory order.
    for (int i = 0; i < n; ++i) {
        float v = float(pData[i]) * fFactor + fOffset;
        if (!(v > fNewMin))
            v = fNewMin;
        else if (!(v < fNewMax))
            v = fNewMax;
        if constexpr (tirn::isIntegerPixel<Type>())
            v = std::rint(v);
        pData[i] = tirn::toPixel<Type>(v);
    }
}

template <class Type>
std::vector<unsigned int> CImageChannel<Type>::histogram(float fMin, float fMax,
                                                         int nBins) const
{
    if (nBins < 1)
        return {};
    std::vector<unsigned int> counts(nBins, 0u);
    const float fBinWidth = (fMax - fMin) / float(nBins);
    const int n = pixelCount();
    for (int i = 0; i < n; ++i) {
        const float v = pData[i];
        int iBin;
        if (v <= fMin)
            iBin = 0;
        else if (v >= fMax)
            iBin = nBins - 1;
        else if (std::isnan(v))
            continue; // belongs to no bin
        else {
            // Rounding can put a value just below fMax one past the end.
            iBin = tirn::truncateToInt32((v - fMin) / fBinWidth);
            if (iBin >= nBins)
                iBin = nBins - 1;
            else if (iBin < 0)
                iBin = 0;
        }
        ++counts[iBin];
    }
    return counts;
}

template class CImageChannel<unsigned char>;
template class CImageChannel<unsigned short>;
template class CImageChannel<float>;
