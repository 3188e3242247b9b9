// Scripting classes that take their source and target images in exec:
// CsimpleMedian, CYuv2Rgb, CHsiRgbFilter, CConvolutionFilter. Their
// wrappers report library exceptions themselves and accept more depth codes
// than the transformation classes (see byTwoImageDepth).
#include "binding/ClassTables.h"
#include "binding/FilterDispatch.h"
#include "filters/CConvolutionFilter.h"
#include "filters/CHsiRgbFilter.h"
#include "filters/CYuv2Rgb.h"
#include "filters/CsimpleMedian.h"

using namespace tirn::binding;

const char* const CsimpleMedian_c[] = {
    "CsimpleMedian_0_:",
    "CsimpleMedian(int iDepth=32, int size=1)",
    "~CsimpleMedian(void)",
    "void exec(class CImage, class CImage)",
    nullptr};

const char* const CHsiRgbFilter_c[] = {
    "CHsiRgbFilter_0_:",
    "CHsiRgbFilter(int iSrcDepth=8, int iMode = 0)",
    "~CHsiRgbFilter(void)",
    "void exec(class CImage, class CImage)",
    nullptr};

const char* const CConvolutionFilter_c[] = {
    "CConvolutionFilter_0_:",
    "CConvolutionFilter(int iSrcDepth=8, float*=0, int=1, int=0, float=0, float=1, int=0)",
    "~CConvolutionFilter(void)",
    "void exec(class CImage, class CImage)",
    nullptr};

const char* const CYuv2Rgb_c[] = {
    "CYuv2Rgb_0_:",
    "CYuv2Rgb(int iDepth=8, int yuvOffset=1)",
    "~CYuv2Rgb(void)",
    "void exec(class CImage, class CImage)",
    nullptr};

// twoImageSourceDepth reads the source depth as the first int after the
// table of virtual operations, whatever the class.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(CsimpleMedian<unsigned char>, iInputDepth) == sizeof(void*) &&
                  offsetof(CsimpleMedian<float>, iInputDepth) == sizeof(void*) &&
                  offsetof(CYuv2Rgb<unsigned char>, iSrcDepth) == sizeof(void*) &&
                  offsetof(CYuv2Rgb<float>, iSrcDepth) == sizeof(void*) &&
                  offsetof(CHsiRgbFilter<unsigned char>, iSrcDepth) == sizeof(void*) &&
                  offsetof(CHsiRgbFilter<float>, iSrcDepth) == sizeof(void*) &&
                  offsetof(CConvolutionFilter<unsigned char>, iSrcDepth) == sizeof(void*) &&
                  offsetof(CConvolutionFilter<float>, iSrcDepth) == sizeof(void*),
              "two-image filters keep their source depth right after the vtable pointer");
#pragma GCC diagnostic pop

namespace {

const char kRefusedConstructor[] = "unsupported depth for FILTER_CONSTRUCTOR\n";

template <class T> constexpr int depthCodeOf()
{
    return sizeof(T) == 1 ? 8 : sizeof(T) == 2 ? 16 : 32;
}

// The depths as the code chose them (8, 16 or 32, whatever alias was given).
template <class T> void recordDepths(CsimpleMedian<T>& filter)
{
    filter.iInputDepth = filter.iOutputDepth = depthCodeOf<T>();
}
template <template <class> class C, class T> void recordDepths(C<T>& filter)
{
    filter.iSrcDepth = filter.iTgtDepth = depthCodeOf<T>();
}

// make(tag) builds the filter of the instantiation the code names.
template <class Make> void* newTwoImage(int iCode, Make&& make)
{
    return guarded<void*>([&]() -> void* {
        return byTwoImageDepth<void*>(iCode, kRefusedConstructor, [&](auto tag) -> void* {
            auto* pFilter = make(tag);
            recordDepths(*pFilter);
            return pFilter;
        });
    });
}

} // namespace

#define TIRN_TWO_IMAGE_FREE_AND_EXEC(Class)                                              \
    TIRN_EXPORT void Class##_0_FREE_##Class(void* pObject) { freeTwoImage<Class>(pObject); } \
    TIRN_WRAPPER(void, Class##_0_exec) { execTwoImage<Class>(pObject, apArgs[0], apArgs[1]); }

// --- CsimpleMedian ---------------------------------------------------------

TIRN_EXPORT void* CsimpleMedian_0_CsimpleMedian([[maybe_unused]] int const* aiDims, void** apArgs)
{
    const int iSize = argInt(apArgs, 1);
    return newTwoImage(argInt(apArgs, 0),
                       [&](auto tag) { return new CsimpleMedian<TagPixel<decltype(tag)>>(iSize); });
}
TIRN_TWO_IMAGE_FREE_AND_EXEC(CsimpleMedian)

// --- CYuv2Rgb --------------------------------------------------------------

TIRN_EXPORT void* CYuv2Rgb_0_CYuv2Rgb([[maybe_unused]] int const* aiDims, void** apArgs)
{
    const bool bOffset = argInt(apArgs, 1) != 0;
    return newTwoImage(argInt(apArgs, 0),
                       [&](auto tag) { return new CYuv2Rgb<TagPixel<decltype(tag)>>(bOffset); });
}
TIRN_TWO_IMAGE_FREE_AND_EXEC(CYuv2Rgb)

// --- CHsiRgbFilter -----------------------------------------------------------

TIRN_EXPORT void* CHsiRgbFilter_0_CHsiRgbFilter([[maybe_unused]] int const* aiDims, void** apArgs)
{
    const int iMode = argInt(apArgs, 1);
    return newTwoImage(argInt(apArgs, 0),
                       [&](auto tag) { return new CHsiRgbFilter<TagPixel<decltype(tag)>>(iMode); });
}
TIRN_TWO_IMAGE_FREE_AND_EXEC(CHsiRgbFilter)

// --- CConvolutionFilter ------------------------------------------------------

// The host's float array becomes the filter's mask pointer, borrowed, not
// copied: an internal mask is generated into it, an external one is read
// from it. A refused depth stores nothing and gives a null handle (the host
// may return from prog_throw). An array too short for size x size weights
// is refused as well, since the filter would write or read past its end.
TIRN_EXPORT void* CConvolutionFilter_0_CConvolutionFilter(int const* aiDims, void** apArgs)
{
    float* pfMask = argFloats(apArgs, 1);
    const int iSize = argInt(apArgs, 2);
    const float fType = float(argInt(apArgs, 3));
    const float fOrientation = argFloat(apArgs, 4), fZoom = argFloat(apArgs, 5);
    const int iExternal = argInt(apArgs, 6);
    const long long llWeights = iSize > 0 ? (long long)iSize * iSize : 0;
    if (pfMask && aiDims[1] < llWeights) {
        prog_throw("badarg", "CConvolutionFilter: a %d x %d mask needs %lld values, got %d\n",
                   iSize, iSize, llWeights, aiDims[1]);
        return nullptr;
    }
    return newTwoImage(argInt(apArgs, 0), [&](auto tag) {
        auto* pFilter = new CConvolutionFilter<TagPixel<decltype(tag)>>(iSize, fType, fOrientation,
                                                                       fZoom, iExternal);
        pFilter->pfMask = pfMask;
        return pFilter;
    });
}
TIRN_TWO_IMAGE_FREE_AND_EXEC(CConvolutionFilter)
