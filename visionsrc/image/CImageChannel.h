#ifndef CIMAGECHANNEL_H
#define CIMAGECHANNEL_H

#include <cstring>
#include <vector>

#include "image/PixelTraits.h"
#include "image/TirnAssert.h"

// One width x height plane of pixels, the unit of storage and of sharing.
//
// Invariants: the pixel buffer is one row-major block whose first element is
// 32-byte aligned, and row table entry y is data + y*width; a channel whose
// pixel count is below 1 has neither. The reference count is the number of
// images holding the channel; the channel never deletes itself.
template <class Type> class CImageChannel
{
public:
    // Zero-filled, unless the caller writes every pixel before reading any.
    CImageChannel(int iWidth, int iHeight, bool bZeroFill = true);
    CImageChannel(const CImageChannel& other);
    // Takes shape and description only; pixel values are the assigner's job.
    CImageChannel& operator=(const CImageChannel& other);
    ~CImageChannel();

    int width() const { return iWidth; }
    int height() const { return iHeight; }
    int depth() const { return iDepth; }

    Type getPixel(int x, int y) const { return ppRows[y][x]; }
    Type operator()(int x, int y) const { return ppRows[y][x]; }
    void setPixel(int x, int y, Type value) { ppRows[y][x] = value; }

    Type* getRowPtr(int iRow)
    {
        TIRN_ASSERT_AT(iRow >= 0, "CImageChannel.h", 228);
        TIRN_ASSERT_AT(iRow < iHeight, "CImageChannel.h", 229);
        return ppRows.empty() ? nullptr : ppRows[iRow]; // 0 x N has no rows
    }
    const Type* getRowPtr(int iRow) const
    {
        return const_cast<CImageChannel*>(this)->getRowPtr(iRow);
    }
    void setRowData(const Type* pSrc, int iRow);

    Type* getDataPtr() { return pData; }
    const Type* getDataPtr() const { return pData; }

    // New size, zero-filled; the old values are gone.
    void resize(int iWidth, int iHeight);
    void clear();

    void setChannelInfo(const char* pcInfo);
    const char* getChannelInfo() const { return acInfo; }
    // The whole info buffer, bytes after its end included, as a copy has.
    void copyInfoOf(const CImageChannel& other)
    {
        std::memcpy(acInfo, other.acInfo, sizeof acInfo);
    }

    Type min() const;
    Type max() const;
    void scaleRange(Type newMin, Type newMax, Type oldMin, Type oldMax);
    std::vector<unsigned int> histogram(float fMin, float fMax, int nBins) const;

    int refs() const { return iRefCount; }
    void incRefCounter() { ++iRefCount; }
    void decRefCounter() { --iRefCount; }

    // Pixel count, 0 for a channel without a buffer.
    int pixelCount() const { return pData ? iWidth * iHeight : 0; }

    static constexpr int kInfoLength = 64;

private:
    void allocate(bool bZeroFill);
    void release();

    int iDepth;
    int iWidth;
    int iHeight;
    Type* pData = nullptr;
    std::vector<Type*> ppRows;
    char acInfo[kInfoLength + 1];
    int iRefCount = 1;
    void* pRawBlock = nullptr;
};

extern template class CImageChannel<unsigned char>;
extern template class CImageChannel<unsigned short>;
extern template class CImageChannel<float>;

#endif
