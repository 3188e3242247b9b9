// The scripting class CImage: its table, constructor, pin-type functions and
// method wrappers. Typed transfers and files have their own files.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "binding/ClassTables.h"
#include "binding/CImageArgs.h"
#include "binding/TirnDispatch.h"

using namespace tirn::binding;

// The host's vocabulary for CImage, verbatim (spacing included).
const char* const CImage_c[] = {
    "CImage_:",
    "CImage(int iDepth=32, int iWidth=1, int iHeight=1, int iChannels=1)",
    "~CImage()",
    "COPY_CImage()",
    "COMPATIBLE_CImage ()",
    "DESCRIBE_CImage()",
    "int width()",
    "int height()",
    "int depth()",
    "int channels()",
    "int load(char* pcPath, char* pcFormat)",
    "int save(char* pcPath, char* pcFormat,int=0)",
    "int isAttached(void)",
    "void setName(char*)",
    "void getName(char*)",
    "void setChannelInfo(char*,int)",
    "void getChannelInfo(char*,int)",
    "void resize(int,int,int)",
    "void setPixel(int,int,int,float)",
    "void swapChannels(int,int)",
    "void scaleRange(float*,float*,int)",
    "void scalelRange(float*,float*,float*,float*)",
    "void clipPercentage(float, float, int)",
    "CImage_:",
    "void clear()",
    "void attachChannel(int iThisChannel, int iThatChannel, class CImage)",
    "void appendChannel(int iChannel, class CImage)",
    "void removeChannel(int iChannel)",
    "void detach()",
    "void append(class CImage)",
    "float getPixel(int,int,int)",
    "float interpolate(float,float,int)",
    "float min(int)",
    "float max(int)",
    "void  histogram(int, float, float, int, float*)",
    "void  getImageDataWithCoordinates(float*, int)",
    "class CImage rotate(float,float=-1,float=-1)",
    "class CImage getRegion(int,int,int,int)",
    "class CImage deepCopy()",
    "class CImage scale(float fZoom, int method)",
    "class CImage convertDepth(int)",
    "CImage_1_:",
    "void clear(int)",
    "int load(char* pcPath, int iFormat=2)",
    "int save(char* pcPath, int iFormat=2,int=0)",
    "CImage8_:",
    "void setChannelData(byte*,int)",
    "void getChannelData(byte*,int)",
    "void setImageData(byte*,int,int,int=0)",
    "void getImageData(byte*,int)",
    "void getPixel(int,int,byte*)",
    "void setPixel(int,int,byte*)",
    "CImage32_:",
    "void setChannelData(float*,int)",
    "void getChannelData(float*,int)",
    "void setImageData(float*,int,int,int=0)",
    "void getImageData(float*,int)",
    "void getPixel(int,int,float*)",
    "void setPixel(int,int,float*)",
    nullptr};

// --- Constructor and pin type -------------------------------------------

TIRN_EXPORT void* CImage_CImage([[maybe_unused]] int const* aiDims, void** apArgs)
{
    const int iCode = argInt(apArgs, 0);
    const int iWidth = argInt(apArgs, 1), iHeight = argInt(apArgs, 2);
    const int iChannels = argInt(apArgs, 3);
    try {
        switch (canonicalDepth(iCode)) {
        case 32: return new CImage<float>(iWidth, iHeight, iChannels);
        case 16: return new CImage<unsigned short>(iWidth, iHeight, iChannels);
        case 8: return new CImage<unsigned char>(iWidth, iHeight, iChannels);
        default:
            // The argument is never consumed: the host sees "CImageException"
            // alone, which is the documented text of this refusal.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-extra-args"
            throw CException("CImageException", "unsupported depth for CImage\n");
#pragma GCC diagnostic pop
        }
    } catch (const std::exception&) {
        reportCurrentException();
        return nullptr;
    }
}

TIRN_EXPORT void* CImage_COPY_CImage(void* pTarget, void* pSource)
{
    if (!pSource)
        return pTarget;
    if (!isKnownDepth(depthOf(pSource))) {
        prog_throw("badop", "unknown depth of CImage\n");
        return nullptr;
    }
    return withImage<void*>(pSource, [&](auto& source) -> void* {
        return source.copy(static_cast<std::decay_t<decltype(source)>*>(pTarget));
    });
}

TIRN_EXPORT int CImage_COMPATIBLE_CImage(void* pA, void* pB)
{
    if (!pA || !pB)
        return 1;
    return depthOf(pA) == depthOf(pB) ? 1 : 0;
}

TIRN_EXPORT void CImage_FREE_CImage(void* p)
{
    if (!p)
        return;
    if (!isKnownDepth(depthOf(p))) {
        prog_throw("badop", "unknown depth of CImage\n"); // and the handle stays
        return;
    }
    withImage<void>(p, [](auto& image) { delete &image; });
}

// An unknown depth is described as an 8-bit image, deliberately.
TIRN_EXPORT const char* CImage_DESCRIBE_CImage(void* p)
{
    return withImage<const char*>(p, [](auto& image) { return image.describe(); },
                                  UnknownDepth::As8Bit);
}

// --- Fields and texts ----------------------------------------------------

TIRN_WRAPPER(int, CImage_width) { return withImage<int>(pObject, [](auto& i) { return i.width(); }); }
TIRN_WRAPPER(int, CImage_height) { return withImage<int>(pObject, [](auto& i) { return i.height(); }); }
TIRN_WRAPPER(int, CImage_depth) { return withImage<int>(pObject, [](auto& i) { return i.depth(); }); }
TIRN_WRAPPER(int, CImage_channels) { return withImage<int>(pObject, [](auto& i) { return i.channels(); }); }
TIRN_WRAPPER(int, CImage_isAttached)
{
    return withImage<int>(pObject, [](auto& i) { return i.isAttached() ? 1 : 0; });
}

// Names longer than 63 characters are cut rather than written past the
// name's end.
TIRN_WRAPPER(void, CImage_setName)
{
    const char* pcName = argText(apArgs, 0);
    withImage<void>(pObject, [&](auto& i) { i.setName(pcName); });
}

TIRN_WRAPPER(void, CImage_getName)
{
    char* pcBuffer = argText(apArgs, 0);
    const int n = aiDims[0];
    withImage<void>(pObject, [&](auto& i) { copyIntoBuffer(pcBuffer, n, i.getName()); });
}

TIRN_WRAPPER(void, CImage_setChannelInfo)
{
    const char* pcInfo = argText(apArgs, 0);
    const int iChannel = argInt(apArgs, 1);
    withImage<void>(pObject, [&](auto& i) { i.setChannelInfo(pcInfo, iChannel); });
}

TIRN_WRAPPER(void, CImage_getChannelInfo)
{
    char* pcBuffer = argText(apArgs, 0);
    const int n = aiDims[0], iChannel = argInt(apArgs, 1);
    withImage<void>(pObject,
                    [&](auto& i) { copyIntoBuffer(pcBuffer, n, i.getChannelInfo(iChannel)); });
}

// --- Shape and channel list ---------------------------------------------

TIRN_WRAPPER(void, CImage_resize)
{
    const int w = argInt(apArgs, 0), h = argInt(apArgs, 1), c = argInt(apArgs, 2);
    withImage<void>(pObject, [&](auto& i) { i.resize(w, h, c); }, UnknownDepth::As8Bit);
}

TIRN_WRAPPER(void, CImage_swapChannels)
{
    const int a = argInt(apArgs, 0), b = argInt(apArgs, 1);
    withImage<void>(pObject, [&](auto& i) { i.swapChannels(a, b); }, UnknownDepth::As8Bit);
}

TIRN_WRAPPER(void, CImage_clear) { withImage<void>(pObject, [](auto& i) { i.clear(-1); }); }

// Clears width*height bytes whatever the element size: an 8-bit channel
// whole, a 16-bit one in its first half, a float one in its first quarter.
// Kept so on purpose.
TIRN_WRAPPER(void, CImage_1_clear)
{
    const int iChannel = argInt(apArgs, 0);
    withImage<void>(pObject, [&](auto& i) {
        if (iChannel != -1)
            i.getChannelPtr(iChannel); // an index out of range is reported
        for (int c = 0; c < i.channels(); ++c)
            if (iChannel == -1 || c == iChannel)
                if (void* pData = i.getChannelPtr(c)->getDataPtr())
                    std::memset(pData, 0, std::size_t(i.pixelsPerChannel()));
    });
}

TIRN_WRAPPER(void, CImage_attachChannel)
{
    const int iThis = argInt(apArgs, 0), iThat = argInt(apArgs, 1);
    void* pOther = apArgs[2];
    if (!acceptsOtherImage(pObject, pOther))
        return;
    withImage<void>(pObject, [&](auto& i) {
        asThisDepth(i, pOther, [&](const auto& other) { i.attachChannel(iThis, iThat, other); });
    });
}

TIRN_WRAPPER(void, CImage_appendChannel)
{
    const int iChannel = argInt(apArgs, 0);
    void* pOther = apArgs[1];
    if (!acceptsOtherImage(pObject, pOther))
        return;
    withImage<void>(pObject, [&](auto& i) {
        asThisDepth(i, pOther, [&](const auto& other) { i.appendChannel(iChannel, other); });
    });
}

TIRN_WRAPPER(void, CImage_append)
{
    void* pOther = apArgs[0];
    if (!acceptsOtherImage(pObject, pOther))
        return;
    withImage<void>(pObject, [&](auto& i) {
        asThisDepth(i, pOther, [&](const auto& other) { i.appendImage(other); });
    });
}

TIRN_WRAPPER(void, CImage_removeChannel)
{
    const int iChannel = argInt(apArgs, 0);
    withImage<void>(pObject, [&](auto& i) { i.removeChannel(iChannel); });
}

// Each depth gets private channels of its own type.
TIRN_WRAPPER(void, CImage_detach) { withImage<void>(pObject, [](auto& i) { i.detach(-1); }); }

// --- Pixels and values --------------------------------------------------

TIRN_WRAPPER(void, CImage_setPixel)
{
    const int x = argInt(apArgs, 0), y = argInt(apArgs, 1), c = argInt(apArgs, 2);
    const float fValue = argFloat(apArgs, 3);
    withImage<void>(pObject, [&](auto& i) {
        i.setPixel(x, y, c, tirn::convertPixel<PixelOf<decltype(i)>>(fValue));
    });
}

TIRN_WRAPPER(float, CImage_getPixel)
{
    const int x = argInt(apArgs, 0), y = argInt(apArgs, 1), c = argInt(apArgs, 2);
    return withImage<float>(pObject, [&](auto& i) { return float(i.getPixel(x, y, c)); },
                            UnknownDepth::As8Bit);
}

TIRN_WRAPPER(float, CImage_interpolate)
{
    const float x = argFloat(apArgs, 0), y = argFloat(apArgs, 1);
    const int c = argInt(apArgs, 2);
    return withImage<float>(pObject, [&](auto& i) { return float(i.interpolate(x, y, c)); },
                            UnknownDepth::As8Bit);
}

TIRN_WRAPPER(float, CImage_min)
{
    const int c = argInt(apArgs, 0);
    return withImage<float>(pObject, [&](auto& i) { return float(i.min(c)); });
}

TIRN_WRAPPER(float, CImage_max)
{
    const int c = argInt(apArgs, 0);
    return withImage<float>(pObject, [&](auto& i) { return float(i.max(c)); });
}

// Only the first element of each array is used.
TIRN_WRAPPER(void, CImage_scaleRange)
{
    if (!arrayHolds(aiDims, apArgs, 0, 1) || !arrayHolds(aiDims, apArgs, 1, 1))
        return;
    const float fMin = argFloats(apArgs, 0)[0], fMax = argFloats(apArgs, 1)[0];
    const bool bPerChannel = argInt(apArgs, 2) != 0;
    withImage<void>(pObject, [&](auto& i) {
        using T = PixelOf<decltype(i)>;
        i.scaleRange(tirn::convertPixel<T>(fMin), tirn::convertPixel<T>(fMax), bPerChannel);
    });
}

// Float images only. The per-channel line always shows the first new
// minimum, whatever the channel: kept so on purpose.
TIRN_WRAPPER(void, CImage_scalelRange)
{
    if (depthOf(pObject) != 32)
        return;
    auto& image = *static_cast<CImage<float>*>(pObject);
    const int n = image.channels();
    for (int a = 0; a < 4; ++a)
        if (!arrayHolds(aiDims, apArgs, a, n))
            return;
    std::printf("scalelrange creating %dd vectors\n", n);
    std::vector<float> range[4];
    for (int c = 0; c < n; ++c)
        std::printf("%f\n", double(argFloats(apArgs, 0)[0]));
    for (int a = 0; a < 4; ++a)
        range[a].assign(argFloats(apArgs, a), argFloats(apArgs, a) + n);
    std::printf("scalelrange created cvectors\n");
    withFloatImage<void>(pObject, [&](CImage<float>& i) {
        i.scalelRange(range[0], range[1], range[2], range[3]);
    });
}

TIRN_WRAPPER(void, CImage_clipPercentage)
{
    const float fLow = argFloat(apArgs, 0), fHigh = argFloat(apArgs, 1);
    const bool bPerChannel = argInt(apArgs, 2) != 0;
    withImage<void>(pObject, [&](auto& i) { i.clipPercentage(fLow, fHigh, bPerChannel); },
                    UnknownDepth::As8Bit);
}

// Integer images are measured as their float conversion. A wrong array
// length is reported and the counts are still computed; only as many as the
// array holds are written.
TIRN_WRAPPER(void, CImage_histogram)
{
    const int iChannel = argInt(apArgs, 0);
    const float fMin = argFloat(apArgs, 1), fMax = argFloat(apArgs, 2);
    const int nBins = argInt(apArgs, 3);
    float* pfOut = argFloats(apArgs, 4);
    const int nOut = aiDims[4];
    withImage<void>(pObject, [&](auto& i) {
        if (nOut != nBins)
            prog_throw("badop", "wrong histogram dimension\n");
        if (!tirn::bufferFitsBudget(std::uint64_t(std::max(nBins, 0)), sizeof(unsigned int)))
            throw tirn::ImageTooLarge("histogram of " + std::to_string(nBins) +
                                      " bins: more than TIRNVISION_MAX_IMAGE_BYTES\n");
        const std::vector<unsigned int> counts =
            i.convertTo32Bit().histogram(iChannel, fMin, fMax, nBins);
        for (int b = 0; pfOut && b < int(counts.size()) && b < nOut; ++b)
            pfOut[b] = float(counts[b]);
    });
}

TIRN_WRAPPER(void, CImage_getImageDataWithCoordinates)
{
    const int iStep = argInt(apArgs, 1);
    if (depthOf(pObject) != 32) {
        std::fputs("CImage unsupported depth for getImgDataWithCoords !\n", stdout);
        return;
    }
    withFloatImage<void>(pObject, [&](CImage<float>& i) {
        if (iStep >= 1 && !arrayHolds(aiDims, apArgs, 0, coordinateDataCount(i, iStep)))
            return;
        i.getImageDataWithCoordinates(argFloats(apArgs, 0), iStep);
    });
}

// --- New images ----------------------------------------------------------

// The centre arrives as floats and is truncated toward zero.
TIRN_WRAPPER(void*, CImage_rotate)
{
    const float fAngle = argFloat(apArgs, 0);
    const int iCenterX = tirn::truncateToInt32(argFloat(apArgs, 1));
    const int iCenterY = tirn::truncateToInt32(argFloat(apArgs, 2));
    return withImage<void*>(pObject, [&](auto& i) {
        return newHandle(i.rotate(fAngle, iCenterX, iCenterY));
    });
}

TIRN_WRAPPER(void*, CImage_getRegion)
{
    const int x0 = argInt(apArgs, 0), y0 = argInt(apArgs, 1);
    const int w = argInt(apArgs, 2), h = argInt(apArgs, 3);
    return withImage<void*>(pObject, [&](auto& i) { return newHandle(i.getRegion(x0, y0, w, h)); });
}

TIRN_WRAPPER(void*, CImage_deepCopy)
{
    return withImage<void*>(pObject, [](auto& i) { return newHandle(i.deepCopy()); });
}

TIRN_WRAPPER(void*, CImage_scale)
{
    const float fZoom = argFloat(apArgs, 0);
    const TScaleMethod method = static_cast<TScaleMethod>(argInt(apArgs, 1));
    return withImage<void*>(pObject, [&](auto& i) { return newHandle(i.scale(fZoom, method)); });
}

// A target depth outside the table gives null without a report.
TIRN_WRAPPER(void*, CImage_convertDepth)
{
    const int iTarget = canonicalDepth(argInt(apArgs, 0));
    return withImage<void*>(pObject, [&](auto& i) -> void* {
        switch (iTarget) {
        case 8: return newHandle(i.convertTo8Bit());
        case 16: return newHandle(i.convertTo16Bit());
        case 32: return newHandle(i.convertTo32Bit());
        default: return nullptr;
        }
    });
}
