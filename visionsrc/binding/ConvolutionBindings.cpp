// Scripting classes of the convolution family: CGenericConvolution,
// CGaussFilter, CMeanFilter and CSobelFilter. Each is a CConvolution<T>
// whose constructor sets the MMX permission as the table below says
// (cleared for the mean and generic filters, set for Gauss and Sobel).
#include "binding/ClassTables.h"
#include "binding/FilterDispatch.h"
#include "filters/CGaussFilter.h"
#include "filters/CGenericConvolution.h"
#include "filters/CMeanFilter.h"
#include "filters/CSobelFilter.h"

using namespace tirn::binding;

// The host's vocabulary, verbatim (spacing included).
const char* const CGenericConvolution_c[] = {
    "CGenericConvolution_0_:",
    "CGenericConvolution(int iDepth=32)",
    "~CGenericConvolution(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void exec()",
    "void setParameters(float*,float,int,int)",
    "int selectChannel(char*)",
    nullptr};

const char* const CGaussFilter_c[] = {
    "CGaussFilter_0_:",
    "CGaussFilter(int iDepth = 32)",
    "~CGaussFilter(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void exec()",
    "void setBandwidth(float)",
    "int selectChannel(char*)",
    nullptr};

const char* const CMeanFilter_c[] = {
    "CMeanFilter_0_:",
    "CMeanFilter(int iDepth)",
    "~CMeanFilter(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void exec()",
    "void prohibitMMX()",
    "void setParameters(int,int)",
    "void setNeighborhood(int)",
    "int selectChannel(char*)",
    nullptr};

const char* const CSobelFilter_c[] = {
    "CSobelFilter_0_:",
    "CSobelFilter(int iDepth = 32, int iWidth=3,int iDirection = 0)",
    "~CSobelFilter(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void setNeighborhood(int)",
    "void exec()",
    "void setDirection(int iDir=0)",
    "int selectChannel(char*)",
    nullptr};

namespace {

// The generic convolution borrows the rank and median filters' texts.
constexpr TDepthMessages kGeneric = {
    "unsupported depth for CRankFilter\n", "unsupported depth for ~CMedianFilter\n",
    "unsupported depth for ~CMedianFilter\n", "unsupported depth for ~CGenericConvolution\n",
    "unsupported depth for CRankFilter\n"};
constexpr TDepthMessages kGauss = {
    "unsupported depth for CGaussFilter\n", "unsupported depth for ~CGaussFilter\n",
    "unsupported depth for ~CGaussFilter\n", "unsupported depth for ~CGaussFilter\n",
    "unsupported depth for ~CGaussFilter\n"};
constexpr TDepthMessages kMean = {
    "unsupported depth for CMeanFilter\n", "unsupported depth for ~CMeanFilter\n",
    "unsupported depth for ~CMeanFilter\n", "unsupported depth for ~CMeanFilter\n",
    "unsupported depth for ~CMeanFilter\n"};
constexpr TDepthMessages kSobel = {
    "unsupported depth for CSobelFilter\n", "unsupported depth for ~CSobelFilter\n",
    "unsupported depth for ~CSobelFilter\n", "unsupported depth for ~CSobelFilter\n",
    "unsupported depth for ~CSobelFilter\n"};

// Clearing the MMX permission reports no depth: the flag is reached through
// the object's own instantiation, and an object of no known depth is left
// alone.
template <template <class> class C> void prohibitMMXOf(void* pObject)
{
    switch (transformationDepth(pObject)) {
    case 32: static_cast<C<float>*>(pObject)->prohibitMMX(); break;
    case 16: static_cast<C<unsigned short>*>(pObject)->prohibitMMX(); break;
    case 8: static_cast<C<unsigned char>*>(pObject)->prohibitMMX(); break;
    default: break;
    }
}

} // namespace

// --- CGenericConvolution -------------------------------------------------

TIRN_TRANSFORMATION_CLASS(CGenericConvolution, kGeneric)
TIRN_SELECT_BY_TEXT(CGenericConvolution)

// The weights are copied by the filter. A host array shorter than the
// mask is refused rather than read past its end.
TIRN_WRAPPER(void, CGenericConvolution_0_setParameters)
{
    float* pfMask = argFloats(apArgs, 0);
    const float fScale = argFloat(apArgs, 1);
    const int iWidth = argInt(apArgs, 2), iHeight = argInt(apArgs, 3);
    const long long llNeeded = (iWidth > 0 && iHeight > 0) ? (long long)iWidth * iHeight : 0;
    if (pfMask && aiDims[0] < llNeeded) {
        prog_throw("badarg", "setParameters: a %d x %d mask needs %lld values, got %d\n", iWidth,
                   iHeight, llNeeded, aiDims[0]);
        return;
    }
    onTransformation<CGenericConvolution>(pObject, kGeneric.pcSetters, [&](auto& filter) {
        filter.setParameters(pfMask, fScale, iWidth, iHeight);
    });
}

// --- CGaussFilter --------------------------------------------------------

TIRN_TRANSFORMATION_CLASS(CGaussFilter, kGauss)
TIRN_SELECT_BY_TEXT(CGaussFilter)
TIRN_SELECT_BY_INDEX(CGaussFilter)

TIRN_WRAPPER(void, CGaussFilter_0_setBandwidth)
{
    const float fSigma = argFloat(apArgs, 0);
    onTransformation<CGaussFilter>(pObject, kGauss.pcSetters,
                                   [&](auto& filter) { filter.setBandwidth(fSigma); });
}

TIRN_WRAPPER(void, CGaussFilter_0_prohibitMMX) { prohibitMMXOf<CGaussFilter>(pObject); }

// --- CMeanFilter ---------------------------------------------------------

TIRN_TRANSFORMATION_CLASS(CMeanFilter, kMean)
TIRN_SELECT_BY_TEXT(CMeanFilter)
TIRN_SELECT_BY_INDEX(CMeanFilter)

TIRN_WRAPPER(void, CMeanFilter_0_prohibitMMX) { prohibitMMXOf<CMeanFilter>(pObject); }

// An n x n box; n is passed on unchecked.
TIRN_WRAPPER(void, CMeanFilter_0_setNeighborhood)
{
    const int n = argInt(apArgs, 0);
    onTransformation<CMeanFilter>(pObject, kMean.pcSetters,
                                  [&](auto& filter) { filter.setNeighborhood(n, n); });
}

// The same box from the first argument; the second is ignored, as scripts
// have always had it.
TIRN_WRAPPER(void, CMeanFilter_0_setParameters)
{
    const int n = argInt(apArgs, 0);
    onTransformation<CMeanFilter>(pObject, kMean.pcSetters,
                                  [&](auto& filter) { filter.setNeighborhood(n, n); });
}

// --- CSobelFilter --------------------------------------------------------

// The direction is stored before the first mask is built, so it applies to
// it.
TIRN_EXPORT void* CSobelFilter_0_CSobelFilter([[maybe_unused]] int const* aiDims, void** apArgs)
{
    const int iWidth = argInt(apArgs, 1), iDirection = argInt(apArgs, 2);
    return byTransformationDepth<void*>(argInt(apArgs, 0), kSobel.pcConstructor,
                                        [&](auto tag) -> void* {
        using Sobel = CSobelFilter<TagPixel<decltype(tag)>>;
        return new Sobel(iWidth, typename Sobel::TDirection(iDirection));
    });
}

TIRN_TRANSFORMATION_FREE(CSobelFilter, kSobel)
TIRN_TRANSFORMATION_EXEC(CSobelFilter, kSobel)
TIRN_TRANSFORMATION_IMAGES(CSobelFilter, kSobel)
TIRN_SELECT_BY_TEXT(CSobelFilter)
TIRN_SELECT_BY_INDEX(CSobelFilter)

TIRN_WRAPPER(void, CSobelFilter_0_prohibitMMX) { prohibitMMXOf<CSobelFilter>(pObject); }

TIRN_WRAPPER(void, CSobelFilter_0_setNeighborhood)
{
    const int n = argInt(apArgs, 0);
    onTransformation<CSobelFilter>(pObject, kSobel.pcSetters,
                                   [&](auto& filter) { filter.setNeighborhood(n, n); });
}

// Rebuilds the mask at the current size for the new direction.
TIRN_WRAPPER(void, CSobelFilter_0_setDirection)
{
    const int iDirection = argInt(apArgs, 0);
    onTransformation<CSobelFilter>(pObject, kSobel.pcSetters, [&](auto& filter) {
        using Sobel = std::decay_t<decltype(filter)>;
        filter.setDirection(typename Sobel::TDirection(iDirection));
    });
}
