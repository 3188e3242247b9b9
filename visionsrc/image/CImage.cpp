#include <cstddef>
#include "image/CImage.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "image/ImageBudget.h"
#include "image/TirnAssert.h"

// width*height*channels must be addressable with the int-based interface
// (pixels() and friends) and the image must fit the memory budget; anything
// else is refused as an allocation failure before anything is allocated. A
// negative channel count is one too, as a negative array size would be.
template <class Type> void CImage<Type>::checkSize(int iWidth, int iHeight, int iChannels)
{
    if (iChannels < 0)
        throw tirn::ImageTooLarge("negative channel count " + std::to_string(iChannels) + "\n");
    std::int64_t n;
    if (__builtin_mul_overflow(std::int64_t(iWidth) * iHeight, std::int64_t(iChannels), &n) ||
        n > INT32_MAX || n < -std::int64_t(INT32_MAX) ||
        !tirn::imageFitsBudget(iWidth, iHeight, iChannels, sizeof(Type)))
        throw tirn::ImageTooLarge(iWidth, iHeight, iChannels);
}

namespace tirn {
char (&describeBuffer())[2000]
{
    static char acBuffer[2000];
    return acBuffer;
}
} // namespace tirn

template <class Type>
CImage<Type>::CImage(int iWidth_, int iHeight_, int iChannels_)
    : iDepth(tirn::PixelTraits<Type>::depth), iWidth(iWidth_), iHeight(iHeight_),
      iChannels(0)
{
    checkSize(iWidth_, iHeight_, iChannels_);
    std::memset(acName, 0, sizeof acName);
    std::strcpy(acName, "No name");
    makeChannels(iChannels_);
}

template <class Type> std::size_t CImage<Type>::depthOffset()
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
    return offsetof(CImage, iDepth);
#pragma GCC diagnostic pop
}

template <class Type>
CImage<Type>::CImage(const CImage& other)
    : iDepth(other.iDepth), iWidth(other.iWidth), iHeight(other.iHeight), iChannels(0)
{
    std::memcpy(acName, other.acName, sizeof acName);
    ppChannels.reserve(other.iChannels);
    try {
        for (Channel* pChannel : other.ppChannels) {
            ppChannels.push_back(new Channel(*pChannel));
            ++iChannels;
        }
    } catch (...) {
        for (Channel* pChannel : ppChannels)
            delete pChannel;
        throw;
    }
}

template <class Type>
CImage<Type>::CImage(CImage&& other) noexcept
    : ppChannels(std::move(other.ppChannels)), iDepth(other.iDepth),
      iWidth(other.iWidth), iHeight(other.iHeight), iChannels(other.iChannels)
{
    std::memcpy(acName, other.acName, sizeof acName);
    other.ppChannels.clear();
    other.iChannels = 0;
}

template <class Type> CImage<Type>& CImage<Type>::operator=(const CImage& other)
{
    if (this == &other)
        return *this;
    // Take the new references before giving up the old ones, so a channel
    // held by both images is never freed on the way.
    for (Channel* pChannel : other.ppChannels)
        pChannel->incRefCounter();
    for (Channel* pChannel : ppChannels)
        releaseChannel(pChannel);
    ppChannels = other.ppChannels;
    iWidth = other.iWidth;
    iHeight = other.iHeight;
    iChannels = other.iChannels;
    iDepth = other.iDepth;
    std::memcpy(acName, other.acName, sizeof acName);
    return *this;
}

template <class Type> CImage<Type>::~CImage()
{
    for (Channel* pChannel : ppChannels)
        releaseChannel(pChannel);
}

template <class Type> void CImage<Type>::releaseChannel(Channel* pChannel)
{
    if (pChannel->refs() == 1)
        delete pChannel;
    else
        pChannel->decRefCounter();
}

template <class Type> void CImage<Type>::makeChannels(int iCount, bool bZeroFill)
{
    ppChannels.reserve(ppChannels.size() + iCount);
    for (int i = 0; i < iCount; ++i) {
        ppChannels.push_back(new Channel(iWidth, iHeight, bZeroFill));
        ++iChannels;
    }
}

template <class Type>
CImage<Type> CImage<Type>::unfilled(int iWidth_, int iHeight_, int iChannels_)
{
    checkSize(iWidth_, iHeight_, iChannels_);
    CImage result(iWidth_, iHeight_, 0);
    result.makeChannels(iChannels_, false);
    return result;
}

template <class Type> CImage<Type> CImage<Type>::deepCopy() const
{
    CImage result(1, 1, 1);
    result = *this;
    result.detach(-1);
    return result;
}

template <class Type> CImage<Type>* CImage<Type>::copy(CImage* pTarget) const
{
    if (!pTarget)
        pTarget = new CImage(iWidth, iHeight, iChannels);
    else
        pTarget->resize(iWidth, iHeight, iChannels);
    *pTarget = deepCopy();
    return pTarget;
}

template <class Type> bool CImage<Type>::isAttached() const
{
    for (const Channel* pChannel : ppChannels)
        if (pChannel->refs() > 1)
            return true;
    return false;
}

template <class Type> void CImage<Type>::detach(int iChannel)
{
    for (int c = 0; c < iChannels; ++c) {
        if (iChannel >= 0 && c != iChannel)
            continue;
        Channel*& pChannel = ppChannels[c];
        if (pChannel->refs() > 1) {
            Channel* pPrivate = new Channel(*pChannel);
            pChannel->decRefCounter();
            pChannel = pPrivate;
        }
    }
}

template <class Type>
void CImage<Type>::attachChannel(int iThisChannel, int iThatChannel, const CImage& other)
{
    Channel* pNew = other.ppChannels[iThatChannel];
    Channel*& pOld = ppChannels[iThisChannel];
    // A shared channel that is replaced keeps its count (kept so on purpose:
    // the other holders go on seeing it as shared). The same channel put in
    // its own place must not be freed first.
    if (pOld != pNew && pOld->refs() == 1)
        delete pOld;
    pOld = pNew;
    pNew->incRefCounter();
}

template <class Type> void CImage<Type>::appendChannel(int iChannel, const CImage& other)
{
    Channel* pChannel = other.ppChannels[iChannel];
    ppChannels.push_back(pChannel);
    pChannel->incRefCounter();
    ++iChannels;
}

template <class Type> void CImage<Type>::appendImage(const CImage& other)
{
    const int n = other.iChannels; // other may be this image
    for (int c = 0; c < n; ++c)
        appendChannel(c, other);
}

template <class Type> void CImage<Type>::removeChannel(int iChannel)
{
    Channel* pChannel = ppChannels[iChannel];
    ppChannels.erase(ppChannels.begin() + iChannel);
    --iChannels;
    releaseChannel(pChannel);
}

template <class Type> void CImage<Type>::swapChannels(int iChannelA, int iChannelB)
{
    std::swap(ppChannels[iChannelA], ppChannels[iChannelB]);
}

template <class Type> CImage<Type> CImage<Type>::extractChannel(int iChannel) const
{
    CImage result(iWidth, iHeight, 0);
    result.appendChannel(iChannel, *this);
    return result;
}

// Copies rows of the source into the target; columns beyond the narrower of
// the two are left alone so differing widths never overrun a row.
template <class Type>
void CImage<Type>::cloneChannel(int iChannel, CImage* pTarget, int iTargetChannel) const
{
    if (pTarget == this)
        return;
    pTarget->fillChannel(*this, iChannel, iTargetChannel);
    pTarget->ppChannels[iTargetChannel]->setChannelInfo(ppChannels[iChannel]->getChannelInfo());
}

template <class Type>
void CImage<Type>::fillChannel(const CImage& source, int iSourceChannel, int iChannel)
{
    const Channel* pSource = source.ppChannels[iSourceChannel];
    Channel* pTarget = ppChannels[iChannel];
    const int iColumns = std::min(pSource->width(), pTarget->width());
    if (pSource->pixelCount() == 0 || pTarget->pixelCount() == 0)
        return;
    for (int y = 0; y < pSource->height(); ++y)
        std::memcpy(pTarget->getRowPtr(y), pSource->getRowPtr(y), sizeof(Type) * iColumns);
}

template <class Type>
bool CImage<Type>::canAdoptChannel(int iChannel, const CImage& other, int iOtherChannel) const
{
    const Channel* pOwn = ppChannels[iChannel];
    const Channel* pOther = other.ppChannels[iOtherChannel];
    return pOther != pOwn && pOther->refs() == 1 && pOther->width() == pOwn->width() &&
           pOther->height() == pOwn->height();
}

template <class Type>
void CImage<Type>::adoptChannel(int iChannel, const CImage& other, int iOtherChannel)
{
    TIRN_ASSERT(canAdoptChannel(iChannel, other, iOtherChannel));
    Channel* pNew = other.ppChannels[iOtherChannel];
    Channel*& pOld = ppChannels[iChannel];
    pNew->copyInfoOf(*pOld);
    pNew->incRefCounter();
    releaseChannel(pOld);
    pOld = pNew;
}

template <class Type> CImageChannel<Type>* CImage<Type>::getChannelPtr(int iChannel) const
{
    if (iChannel < 0 || iChannel >= iChannels)
        throw CException("Bad value: %d for parameter '%s' (File:%s / Line:%d).\n"
                         "Expected was 0<=%s<%d\n",
                         iChannel, "iChannel", "CImage.h", 182, "iChannel", iChannels);
    return ppChannels[iChannel];
}

template <class Type> void CImage<Type>::clear(int iChannel)
{
    if (iChannel == -1) {
        for (Channel* pChannel : ppChannels)
            pChannel->clear();
    } else {
        ppChannels[iChannel]->clear();
    }
}

template <class Type> void CImage<Type>::getPixel(int x, int y, Type* pOut) const
{
    for (int c = 0; c < iChannels; ++c)
        pOut[c] = ppChannels[c]->getPixel(x, y);
}

template <class Type> void CImage<Type>::setPixel(int x, int y, const Type* pIn)
{
    for (int c = 0; c < iChannels; ++c)
        ppChannels[c]->setPixel(x, y, pIn[c]);
}

template <class Type>
int CImage<Type>::getFilteredPixel(int x, int y, const bool* pbMask, Type* pOut) const
{
    int n = 0;
    for (int c = 0; c < iChannels; ++c)
        if (pbMask[c])
            pOut[n++] = ppChannels[c]->getPixel(x, y);
    return n;
}

template <class Type> void CImage<Type>::getChannelData(Type* pOut, int iChannel) const
{
    const Channel* pChannel = ppChannels[iChannel];
    if (pChannel->pixelCount() == 0)
        return;
    for (int y = 0; y < iHeight; ++y, pOut += iWidth)
        std::memcpy(pOut, pChannel->getRowPtr(y), sizeof(Type) * iWidth);
}

template <class Type>
void CImage<Type>::setChannelData(const Type* pIn, int iChannel, int bFlip)
{
    Channel* pChannel = ppChannels[iChannel];
    if (pChannel->pixelCount() == 0)
        return;
    for (int y = 0; y < iHeight; ++y, pIn += iWidth)
        pChannel->setRowData(pIn, bFlip ? iHeight - 1 - y : y);
}

template <class Type> void CImage<Type>::getImageData(Type* pOut, bool bPlanar) const
{
    if (bPlanar) {
        for (int c = 0; c < iChannels; ++c, pOut += pixelsPerChannel())
            getChannelData(pOut, c);
        return;
    }
    for (int y = 0; y < iHeight; ++y)
        for (int x = 0; x < iWidth; ++x)
            for (int c = 0; c < iChannels; ++c)
                *pOut++ = ppChannels[c]->getPixel(x, y);
}

template <class Type>
void CImage<Type>::setImageData(const Type* pIn, bool bPlanar, bool bFlipRows,
                                bool bFlipColumns)
{
    if (bPlanar) {
        for (int c = 0; c < iChannels; ++c, pIn += pixelsPerChannel())
            setChannelData(pIn, c, 0);
        return;
    }
    // With both flips the last row written is row 1, not row 0: kept so on
    // purpose, the input then holds (height-1)*width pixels.
    const int yLast = (bFlipRows && bFlipColumns) ? 1 : 0;
    const int nRows = iHeight - yLast;
    for (int i = 0; i < nRows; ++i) {
        const int y = bFlipRows ? iHeight - 1 - i : i;
        for (int j = 0; j < iWidth; ++j) {
            const int x = bFlipColumns ? iWidth - 1 - j : j;
            for (int c = 0; c < iChannels; ++c)
                ppChannels[c]->setPixel(x, y, *pIn++);
        }
    }
}

template <class Type>
void CImage<Type>::getImageDataWithCoordinates(float* pOut, int iStep) const
{
    if (iStep < 1)
        throw CException("Bad value: %d for parameter '%s': the step must be at least 1\n",
                         iStep, "iStep");
    for (int y = 0; y < iHeight; y += iStep)
        for (int x = 0; x < iWidth; x += iStep) {
            *pOut++ = float(x);
            *pOut++ = float(y);
            for (int c = 0; c < iChannels; ++c)
                *pOut++ = float(ppChannels[c]->getPixel(x, y));
        }
}

template <class Type>
CImage<Type> CImage<Type>::getRegion(int x0, int y0, int iRegionWidth, int iRegionHeight) const
{
    CImage result(iRegionWidth, iRegionHeight, iChannels);
    std::memcpy(result.acName, acName, sizeof acName);
    // Only the part that overlaps the source is copied; the rest stays zero.
    const int xBegin = std::max(0, -x0);
    const int xEnd = int(std::min<std::int64_t>(iRegionWidth, std::int64_t(iWidth) - x0));
    const int yBegin = std::max(0, -y0);
    const int yEnd = int(std::min<std::int64_t>(iRegionHeight, std::int64_t(iHeight) - y0));
    for (int c = 0; c < iChannels; ++c) {
        result.ppChannels[c]->setChannelInfo(ppChannels[c]->getChannelInfo());
        if (xBegin >= xEnd)
            continue;
        for (int j = yBegin; j < yEnd; ++j)
            std::memcpy(result.ppChannels[c]->getRowPtr(j) + xBegin,
                        ppChannels[c]->getRowPtr(y0 + j) + x0 + xBegin,
                        sizeof(Type) * (xEnd - xBegin));
    }
    return result;
}

template <class Type>
void CImage<Type>::getRegion(int x0, int y0, int iChannel, int iRegionWidth,
                             int iRegionHeight, Type* pOut) const
{
    const Channel* pChannel = ppChannels[iChannel];
    if (iRegionWidth < 1)
        return;
    for (int j = 0; j < iRegionHeight; ++j, pOut += iRegionWidth)
        std::memcpy(pOut, pChannel->getRowPtr(y0 + j) + x0, sizeof(Type) * iRegionWidth);
}

template <class Type> void CImage<Type>::setName(const char* pcName)
{
    std::strncpy(acName, pcName, kNameLength);
    acName[kNameLength] = '\0';
}

template <class Type>
void CImage<Type>::setChannelInfo(const char* pcInfo, int iChannel)
{
    ppChannels[iChannel]->setChannelInfo(pcInfo);
}

template <class Type> const char* CImage<Type>::getChannelInfo(int iChannel) const
{
    return ppChannels[iChannel]->getChannelInfo();
}

template <class Type> const char* CImage<Type>::describe() const
{
    // One buffer for every image, as the host expects: the text stays valid
    // until the next call.
    char (&acBuffer)[2000] = tirn::describeBuffer();
    int n = std::snprintf(acBuffer, sizeof acBuffer,
                          "Image object:\nWidth    %d pixel\nHeight   %d pixel\n"
                          "Channels %d\nDepth    %d bit\nTitle    %s\nChannel info:\n",
                          iWidth, iHeight, iChannels, iDepth, acName);
    auto append = [&](const char* pcFormat, auto... args) {
        if (n >= 0 && std::size_t(n) < sizeof acBuffer)
            n += std::snprintf(acBuffer + n, sizeof acBuffer - n, pcFormat, args...);
    };
    for (int c = 0; c < iChannels && c < 10; ++c)
        append(" %d: %s\n", c, ppChannels[c]->getChannelInfo());
    if (iChannels > 10)
        append("%s", " X: ...");
    return acBuffer;
}

namespace {

template <class D, class S> CImage<D> convertImage(const CImage<S>& source)
{
    CImage<D> result(source.width(), source.height(), source.channels());
    const int n = source.pixelsPerChannel() > 0 ? source.pixelsPerChannel() : 0;
    for (int c = 0; c < source.channels(); ++c) {
        const S* pIn = source.getChannelDataPtr(c);
        D* pOut = result.getChannelDataPtr(c);
        if (!pIn)
            continue;
        for (int i = 0; i < n; ++i)
            pOut[i] = tirn::convertPixel<D>(pIn[i]);
    }
    return result;
}

} // namespace

template <class Type> CImage<unsigned char> CImage<Type>::convertTo8Bit() const
{
    return convertImage<unsigned char>(*this);
}

template <class Type> CImage<unsigned short> CImage<Type>::convertTo16Bit() const
{
    return convertImage<unsigned short>(*this);
}

template <class Type> CImage<float> CImage<Type>::convertTo32Bit() const
{
    CImage<float> result = convertImage<float>(*this);
    result.setName(acName);
    for (int c = 0; c < iChannels; ++c)
        result.setChannelInfo(getChannelInfo(c), c);
    return result;
}

template class CImage<unsigned char>;
template class CImage<unsigned short>;
template class CImage<float>;
