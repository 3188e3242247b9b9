// The colour-matching functions as free script functions. They are defined
// on float images only; each result is a new handle for the host. An image
// of another depth would be read as floats past the end of its buffer, so
// it is refused instead.
#include "binding/TirnDispatch.h"
#include "filters/CColorFilters.h"

using namespace tirn::binding;

namespace {

const CImage<float>* floatImage(void** apArgs, int i)
{
    return static_cast<const CImage<float>*>(apArgs[i]);
}

bool floatImages(void** apArgs, int nImages, const char* pcFunction)
{
    for (int i = 0; i < nImages; ++i) {
        const int iDepth = apArgs[i] ? depthOf(apArgs[i]) : 0;
        if (iDepth != 32) {
            prog_throw("badarg", "%s: image argument %d has depth %d, 32 needed\n", pcFunction,
                       i + 1, iDepth);
            return false;
        }
    }
    return true;
}

// The reference colour must hold one value per channel of the image.
bool referenceFits(int const* aiDims, void** apArgs, const char* pcFunction)
{
    if (!floatImages(apArgs, 1, pcFunction))
        return false;
    const int iChannels = floatImage(apArgs, 0)->channels();
    if (argFloats(apArgs, 1) && aiDims[1] >= iChannels)
        return true;
    prog_throw("badarg", "%s: the reference colour needs %d values, got %d\n", pcFunction,
               iChannels, argFloats(apArgs, 1) ? aiDims[1] : 0);
    return false;
}

// The distance functions hand back their reference output in the first
// element of the fifth argument.
template <class Function>
void* distanceImage(int const* aiDims, void** apArgs, const char* pcName, Function function)
{
    if (!referenceFits(aiDims, apArgs, pcName))
        return nullptr;
    const float fA = argFloat(apArgs, 2), fB = argFloat(apArgs, 3);
    float* pfOut = argFloats(apArgs, 4);
    return guarded<void*>([&]() -> void* {
        float fResult = 0.0f;
        void* pHandle = newHandle(function(floatImage(apArgs, 0), argFloats(apArgs, 1), fA, fB,
                                           fResult));
        if (pfOut && aiDims[4] >= 1)
            pfOut[0] = fResult;
        return pHandle;
    });
}

} // namespace

TIRN_WRAPPER(void*, CColorFilters_0_DiffImage)
{
    if (!floatImages(apArgs, 2, "DiffImage"))
        return nullptr;
    return guarded<void*>(
        [&]() -> void* { return newHandle(DiffImage(floatImage(apArgs, 0), floatImage(apArgs, 1))); });
}

TIRN_WRAPPER(void*, CColorFilters_0_blob_emph)
{
    if (!referenceFits(aiDims, apArgs, "blob_emph"))
        return nullptr;
    const int x0 = argInt(apArgs, 2), y0 = argInt(apArgs, 3);
    return guarded<void*>([&]() -> void* {
        return newHandle(blob_emph(floatImage(apArgs, 0), argFloats(apArgs, 1), x0, y0));
    });
}

TIRN_WRAPPER(void*, CColorFilters_0_HistogramDistance)
{
    return distanceImage(aiDims, apArgs, "HistogramDistance", HistogramDistance);
}

TIRN_WRAPPER(void*, CColorFilters_0_PointerDistance)
{
    return distanceImage(aiDims, apArgs, "PointerDistance", PointerDistance);
}
