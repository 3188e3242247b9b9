#ifndef CIMAGE_H
#define CIMAGE_H

#include <vector>

#include "image/CException.h"
#include "image/CImageChannel.h"

// Method of CImage::scale; the host passes it as an int, so every int is a
// valid value (scale() refuses the unknown ones).
enum TScaleMethod : int
{
    SCALE_NEAREST = 0,
    SCALE_BILINEAR = 1,
    SCALE_AVERAGE = 2
};

// A multi-channel image: a list of shared channels of equal size.
//
// Invariants: every channel has the image's width and height, and a
// channel's reference count is the number of images whose lists hold it.
// Assignment shares channels; the copy constructor, deepCopy(), copy() and
// detach() make private ones.
//
// The depth field is at the same offset in every instantiation: the host
// binding reads it from an untyped handle to pick the instantiation.
template <class Type> class CImage
{
public:
    typedef CImageChannel<Type> Channel;

    CImage(int iWidth, int iHeight, int iChannels);
    CImage(const CImage& other); // deep
    CImage(CImage&& other) noexcept;
    CImage& operator=(const CImage& other); // shallow: shares the channels
    ~CImage();

    CImage deepCopy() const;
    CImage* copy(CImage* pTarget) const;
    bool isAttached() const;
    void detach(int iChannel);

    // Channel list. Indices are trusted; callers check them (getChannelPtr
    // is the one checked access).
    void attachChannel(int iThisChannel, int iThatChannel, const CImage& other);
    void appendChannel(int iChannel, const CImage& other);
    void appendImage(const CImage& other);
    void removeChannel(int iChannel);
    void swapChannels(int iChannelA, int iChannelB);
    CImage extractChannel(int iChannel) const;
    void cloneChannel(int iChannel, CImage* pTarget, int iTargetChannel) const;
    void fillChannel(const CImage& source, int iSourceChannel, int iChannel);
    // What detach(iChannel) and fillChannel(other, iOtherChannel, iChannel)
    // leave when other's channel is of this image's size and held by other
    // alone, without copying a pixel: channel iChannel takes over that
    // channel's pixels and keeps its own info. Other must not use the
    // channel afterwards.
    void adoptChannel(int iChannel, const CImage& other, int iOtherChannel);
    bool canAdoptChannel(int iChannel, const CImage& other, int iOtherChannel) const;
    Channel* getChannelPtr(int iChannel) const;
    void clear(int iChannel);

    // Pixels and bulk data: x is the column, y the row.
    Type getPixel(int x, int y, int iChannel) const
    {
        return ppChannels[iChannel]->getPixel(x, y);
    }
    void setPixel(int x, int y, int iChannel, Type value)
    {
        ppChannels[iChannel]->setPixel(x, y, value);
    }
    void getPixel(int x, int y, Type* pOut) const;
    void setPixel(int x, int y, const Type* pIn);
    int getFilteredPixel(int x, int y, const bool* pbMask, Type* pOut) const;
    void getChannelData(Type* pOut, int iChannel) const;
    void setChannelData(const Type* pIn, int iChannel, int bFlip);
    Type* getChannelDataPtr(int iChannel) { return ppChannels[iChannel]->getDataPtr(); }
    const Type* getChannelDataPtr(int iChannel) const
    {
        return ppChannels[iChannel]->getDataPtr();
    }
    void getImageData(Type* pOut, bool bPlanar) const;
    void setImageData(const Type* pIn, bool bPlanar, bool bFlipRows, bool bFlipColumns);
    void getImageDataWithCoordinates(float* pOut, int iStep) const;
    CImage getRegion(int x0, int y0, int iWidth, int iHeight) const;
    void getRegion(int x0, int y0, int iChannel, int iWidth, int iHeight, Type* pOut) const;

    int pixels() const { return iWidth * iHeight * iChannels; }
    int pixelsPerChannel() const { return iWidth * iHeight; }
    int width() const { return iWidth; }
    int height() const { return iHeight; }
    int depth() const { return iDepth; }
    // Where the depth field lies in every instantiation.
    static std::size_t depthOffset();
    int channels() const { return iChannels; }

    void setName(const char* pcName);
    const char* getName() const { return acName; }
    void setChannelInfo(const char* pcInfo, int iChannel);
    const char* getChannelInfo(int iChannel) const;
    // The text lives in one buffer shared by all images; it is valid until
    // the next call.
    const char* describe() const;

    CImage<unsigned char> convertTo8Bit() const;
    CImage<unsigned short> convertTo16Bit() const;
    CImage<float> convertTo32Bit() const;

    // Values.
    Type min(int iChannel) const { return ppChannels[iChannel]->min(); }
    Type max(int iChannel) const { return ppChannels[iChannel]->max(); }
    void findMinMax(Type& min, Type& max) const;
    void scaleRange(Type newMin, Type newMax, bool bPerChannel);
    void scalelRange(std::vector<Type> newMin, std::vector<Type> newMax,
                     std::vector<Type> oldMin, std::vector<Type> oldMax);
    void clipPercentage(float fLow, float fHigh, bool bPerChannel);
    std::vector<unsigned int> histogram(int iChannel, float fMin, float fMax,
                                        int nBins) const;
    Type interpolate(float x, float y, int iChannel) const;

    // Geometry.
    void resize(int iWidth, int iHeight, int iChannels);
    CImage rotate(float fAngle, int iCenterX, int iCenterY) const;
    CImage scale(float fZoom, TScaleMethod method) const;

    static constexpr int kNameLength = 63;

private:
    // Throws tirn::ImageTooLarge (a std::bad_alloc) for sizes the int-based
    // interface cannot address or the memory budget does not allow.
    static void checkSize(int iWidth, int iHeight, int iChannels);
    static void releaseChannel(Channel* pChannel);
    // The bilinear formula of interpolate() for a position known to be
    // inside; the integer depths round to nearest, ties to even.
    static Type sampleBilinear(const Channel& p, float x, float y);
    void makeChannels(int iCount, bool bZeroFill = true);
    // A new image whose pixels are left unset: for results whose every pixel
    // is written before they are returned. Checked like any other size.
    static CImage unfilled(int iWidth, int iHeight, int iChannels);

    std::vector<Channel*> ppChannels;
    int iDepth;
    int iWidth;
    int iHeight;
    int iChannels;
    char acName[kNameLength + 1];
};

extern template class CImage<unsigned char>;
extern template class CImage<unsigned short>;
extern template class CImage<float>;

#endif
