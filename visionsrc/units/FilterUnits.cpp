// Units that run one two-image filter inside a network: image in, image
// out, and value pins that the filter reads on every run. Each unit owns
// its filter (user data) and frees it when it is removed; the pin images
// are the host's.
#include <cstdint>
#include <cstdio>

#include "filters/CConvolutionFilter.h"
#include "filters/CCortLayerFilter.h"
#include "filters/CHsiRgbFilter.h"
#include "units/UnitSupport.h"

using namespace tirn::units;
using tirn::binding::byPixelType;
using tirn::binding::TagPixel;

TIRN_EXPORT def_unittype* HSI_RGB_Filter(int iDepthChoice, int iMode, def_unittype* pHost);
TIRN_EXPORT def_unittype* ConvolutionFilter(int iDepthChoice, int iSize, float fType,
                                            float fOrientation, float fZoom, int iExternal,
                                            def_unittype* pHost);
TIRN_EXPORT def_unittype* CortLayerFilter(int iDepthChoice, int iChannels, def_unittype* pHost);

namespace {

const char kHsiName[] = "HSI_RGB_Filter";
const char kConvolutionName[] = "Convolution_Filter";
const char kCortLayerName[] = "CortLayer_Filter";

const char kHsiDialog[] =
    " Create the HSI to RGB filter unit %n Depth of CImage: %0:2:0b%l8-bit|16-bit|32-bit %n "
    "Choose target collorspace: %0:1b%lHSI|RGB %n %[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";
const char kConvolutionDialog[] =
    " Create the CConvolutionFilter Unit %n Depth of Input-CImage: "
    "%0:2:0b%l8-bit|16-bit|32-bit %n----------------------------------------------------%n "
    "Quadratische Maskengroesse: %3i Size%n Use internal or external maskgenerator: "
    "%0:1:0b%lintern|extern %n Filtertype   : "
    "%0:9:0b%lGauss|1.G|2.G|3.G|Laplace|Comet|Bar|End-Stop|Simplex|Avarage %n Orientation  : "
    "%0:360:0f %n Zoom         : %0.001:100:1f %n %[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";
const char kCortLayerDialog[] =
    " Create the CCorticalLayerFilter Unit %n Depth of Input-CImage: "
    "%0:2:0b%l8-bit|16-bit|32-bit %n Number of Channels: %2i%n "
    "%[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";

// Input group of the image, and of the value pins after it.
const int kImageGroup = 0;
const int kParameterGroup = 1; // convolution: type, orientation, zoom; cortical: weights
const int kMaskGroup = 2;      // convolution: the external mask

template <class T> CImage<T>* inputImage(def_unittype* pUnit)
{
    def_pingroup* pGroup = inputGroup(pUnit, kImageGroup);
    return pGroup && pGroup->iPins > 0 ? imageOn<T>(&pGroup->pPins[0]) : nullptr;
}
template <class T> CImage<T>* outputImage(def_unittype* pUnit)
{
    def_pingroup* pGroup = outputGroup(pUnit, 0);
    return pGroup && pGroup->iPins > 0 ? imageOn<T>(&pGroup->pPins[0]) : nullptr;
}

template <class Filter> Filter* filterOf(def_unittype* pUnit)
{
    return static_cast<Filter*>(pUnit->pUserData);
}

template <class T> void runFilter(CFilter<T, T>* pFilter, def_unittype* pUnit)
{
    CImage<T>* pSrc = inputImage<T>(pUnit);
    CImage<T>* pTgt = outputImage<T>(pUnit);
    if (pFilter && pSrc && pTgt)
        pFilter->exec(pSrc, pTgt);
}

template <class T> int execHsiRgb(def_unittype* pUnit)
{
    return reportFailures(kHsiName, [&] {
        runFilter<T>(filterOf<CHsiRgbFilter<T>>(pUnit), pUnit);
        return 0;
    });
}

// The filter reads its weights, one per source channel, from the weight
// pins' values; an image with more channels than weights is refused rather
// than read past them.
template <class T> int execCortLayer(def_unittype* pUnit)
{
    return reportFailures(kCortLayerName, [&] {
        CCortLayerFilter<T>* pFilter = filterOf<CCortLayerFilter<T>>(pUnit);
        def_pingroup* pWeights = inputGroup(pUnit, kParameterGroup);
        const CImage<T>* pSrc = inputImage<T>(pUnit);
        if (!pFilter || !pSrc)
            return 0;
        if (pSrc->channels() > (pWeights ? pWeights->iPins : 0)) {
            qor_warning("%S: more image channels than weight pins!\n", kCortLayerName);
            return 0;
        }
        pFilter->pfWeights = groupValues(pWeights);
        runFilter<T>(pFilter, pUnit);
        return 0;
    });
}

// The mask pins are the filter's mask: an external mask is read from them,
// an internal one is generated into them. The three parameter pins are read
// (and printed) on every run, so a network can change them between runs.
template <class T> int execConvolution(def_unittype* pUnit)
{
    return reportFailures(kConvolutionName, [&] {
        CConvolutionFilter<T>* pFilter = filterOf<CConvolutionFilter<T>>(pUnit);
        if (!pFilter)
            return 0;
        pFilter->pfMask = groupValues(inputGroup(pUnit, kMaskGroup));
        if (pFilter->iExternal == 0) {
            def_pingroup* pGroup = inputGroup(pUnit, kParameterGroup);
            const float* pfValues = groupValues(pGroup);
            if (!pfValues || pGroup->iPins < 3)
                return 0;
            for (int i = 0; i < 3; ++i)
                std::printf("Filter: %f\n", pfValues[i]);
            pFilter->fType = pfValues[0];
            pFilter->fOrientation = pfValues[1];
            pFilter->fZoom = pfValues[2];
        }
        runFilter<T>(pFilter, pUnit);
        return 0;
    });
}

template <class T> int removeFilterUnit(def_unittype* pUnit)
{
    delete static_cast<CFilter<T, T>*>(pUnit->pUserData);
    pUnit->pUserData = nullptr;
    return qor_remove0(pUnit);
}

// The steps the three creation functions share. makeFilter(tag) builds the
// filter of the instantiation; exec is its callback. A depth choice other
// than 0, 1, 2 gives the unit without images, callbacks or filter: kept so.
template <template <class> class Exec, class MakeFilter>
def_unittype* createFilterUnit(const char* pcName, int iDepthChoice, def_unittype* pHost,
                               def_unittype* (*pfBuild)(def_unittype*, const void*, int),
                               int iValues, MakeFilter&& makeFilter)
{
    if (is_not_unit(pHost)) {
        qor_warning("%S: illegal host unit!", pcName);
        return nullptr;
    }
    def_unittype* pUnit = nullptr;
    try {
        pUnit = pfBuild(pHost, imagePinType(), iValues);
        if (pUnit)
            byPixelType(depthOfChoice(iDepthChoice), 0, [&](auto tag) {
                typedef TagPixel<decltype(tag)> T;
                inputGroup(pUnit, kImageGroup)->pPins[0].pValue = new CImage<T>(1, 1, 0);
                outputGroup(pUnit, 0)->pPins[0].pValue = new CImage<T>(1, 1, 0);
                pUnit->pfExec = Exec<T>::run;
                pUnit->pfRemove = removeFilterUnit<T>;
                CFilter<T, T>* pFilter = makeFilter(tag);
                pUnit->pUserData = pFilter;
                return 0;
            });
    } catch (...) {
        if (pUnit) {
            pUnit->pfRemove = nullptr;
            qor_remove0(pUnit);
        }
        pUnit = nullptr;
    }
    if (!pUnit)
        qor_warning("%S: failed to create unit!", pcName);
    return pUnit;
}

template <class T> struct HsiExec { static int run(def_unittype* p) { return execHsiRgb<T>(p); } };
template <class T> struct ConvolutionExec
{
    static int run(def_unittype* p) { return execConvolution<T>(p); }
};
template <class T> struct CortLayerExec
{
    static int run(def_unittype* p) { return execCortLayer<T>(p); }
};

// The pin layouts, as tag lists.
def_unittype* buildHsiRgb(def_unittype* pHost, const void* pType, int)
{
    return primitive_unit(TIRN_TAG_INPUT_GROUP, TIRN_TAG_TYPED_PIN, pType, TIRN_TAG_OUTPUT_GROUP,
                          TIRN_TAG_TYPED_PIN, pType, TIRN_TAG_END, pHost);
}
def_unittype* buildConvolution(def_unittype* pHost, const void* pType, int iMaskValues)
{
    return primitive_unit(TIRN_TAG_INPUT_GROUP, TIRN_TAG_TYPED_PIN, pType, TIRN_TAG_INPUT_GROUP,
                          TIRN_TAG_VALUE_PINS, 3, TIRN_TAG_INPUT_GROUP, TIRN_TAG_VALUE_PINS2,
                          iMaskValues, TIRN_TAG_OUTPUT_GROUP, TIRN_TAG_TYPED_PIN, pType,
                          TIRN_TAG_END, pHost);
}
def_unittype* buildCortLayer(def_unittype* pHost, const void* pType, int iWeights)
{
    return primitive_unit(TIRN_TAG_INPUT_GROUP, TIRN_TAG_TYPED_PIN, pType, TIRN_TAG_INPUT_GROUP,
                          TIRN_TAG_VALUE_PINS2, iWeights, TIRN_TAG_OUTPUT_GROUP,
                          TIRN_TAG_TYPED_PIN, pType, TIRN_TAG_END, pHost);
}

} // namespace

TIRN_EXPORT def_unittype* HSI_RGB_Filter(int iDepthChoice, int iMode, def_unittype* pHost)
{
    return createFilterUnit<HsiExec>(kHsiName, iDepthChoice, pHost, buildHsiRgb, 0,
                                     [&](auto tag) -> CFilter<TagPixel<decltype(tag)>,
                                                              TagPixel<decltype(tag)>>* {
                                         return new CHsiRgbFilter<TagPixel<decltype(tag)>>(iMode);
                                     });
}

// A negative mask size, or one past what the filter accepts, asks for a
// number of mask pins no network can have.
TIRN_EXPORT def_unittype* ConvolutionFilter(int iDepthChoice, int iSize, float fType,
                                            float fOrientation, float fZoom, int iExternal,
                                            def_unittype* pHost)
{
    if (iSize < 0 || iSize > CConvolutionFilter<float>::kMaxSize) {
        qor_warning("%S: failed to create unit!", kConvolutionName);
        return nullptr;
    }
    return createFilterUnit<ConvolutionExec>(
        kConvolutionName, iDepthChoice, pHost, buildConvolution, iSize * iSize,
        [&](auto tag) -> CFilter<TagPixel<decltype(tag)>, TagPixel<decltype(tag)>>* {
            return new CConvolutionFilter<TagPixel<decltype(tag)>>(iSize, fType, fOrientation,
                                                                  fZoom, iExternal);
        });
}

TIRN_EXPORT def_unittype* CortLayerFilter(int iDepthChoice, int iChannels, def_unittype* pHost)
{
    if (iChannels < 0) {
        qor_warning("%S: failed to create unit!", kCortLayerName);
        return nullptr;
    }
    return createFilterUnit<CortLayerExec>(
        kCortLayerName, iDepthChoice, pHost, buildCortLayer, iChannels,
        [&](auto tag) -> CFilter<TagPixel<decltype(tag)>, TagPixel<decltype(tag)>>* {
            return new CCortLayerFilter<TagPixel<decltype(tag)>>();
        });
}

TIRN_EXPORT def_unittype* _fun1_HSI_RGB_Filter(int, int, QorIconDef_*, def_unittype* pUnit)
{
    return HSI_RGB_Filter(IVAL(0), IVAL(1), pUnit);
}

// The filter type is a choice but is read as a float: kept so.
TIRN_EXPORT def_unittype* _fun1_ConvolutionFilter(int, int, QorIconDef_*, def_unittype* pUnit)
{
    return ConvolutionFilter(IVAL(0), IVAL(1), FVAL(3), FVAL(4), FVAL(5), IVAL(2), pUnit);
}

TIRN_EXPORT def_unittype* _fun1_CortLayerFilter(int, int, QorIconDef_*, def_unittype* pUnit)
{
    return CortLayerFilter(IVAL(0), IVAL(1), pUnit);
}

TIRN_EXPORT int _fun2_HSI_RGB_Filter(int, int, QorIconDef_*, def_unittype*) { return 1; }
TIRN_EXPORT int _fun2_ConvolutionFilter(int, int, QorIconDef_*, def_unittype*) { return 1; }
TIRN_EXPORT int _fun2_CortLayerFilter(int, int, QorIconDef_*, def_unittype*) { return 1; }

TIRN_EXPORT const QorIconDef_ ICONDEF_HSI_RGB_Filter = {
    nullptr, _fun1_HSI_RGB_Filter, _fun2_HSI_RGB_Filter, kHsiDialog, gacButtonRow,
    "HSI<>RGB|Filter", "", nullptr};
TIRN_EXPORT const QorIconDef_ ICONDEF_ConvolutionFilter = {
    nullptr, _fun1_ConvolutionFilter, _fun2_ConvolutionFilter, kConvolutionDialog, gacButtonRow,
    "Convolution|Filter", "ConvolutionFilter", nullptr};
TIRN_EXPORT const QorIconDef_ ICONDEF_CortLayerFilter = {
    nullptr, _fun1_CortLayerFilter, _fun2_CortLayerFilter, kCortLayerDialog, gacButtonRow,
    "Cortical|Layer", "CortLayerFilter", nullptr};
