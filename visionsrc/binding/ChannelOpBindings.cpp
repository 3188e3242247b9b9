// Scripting classes of the channel and point operations: CCombineChannel,
// CNormalizeRGB, CDistance, CThreshold, CShadingFilter, CSelectChannel.
#include "binding/ClassTables.h"
#include "binding/FilterDispatch.h"
#include "filters/CCombineChannel.h"
#include "filters/CDistance.h"
#include "filters/CNormalizeRGB.h"
#include "filters/CSelectChannel.h"
#include "filters/CShadingFilter.h"
#include "filters/CThreshold.h"

using namespace tirn::binding;

// The host's vocabulary, verbatim (spacing included).
const char* const CCombineChannel_c[] = {
    "CCombineChannel_0_:",
    "CCombineChannel(int iDepth=32)",
    "~CCombineChannel(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void setOperation(int)",
    "void exec()",
    "int selectChannel(  char*)",
    "int selected()",
    "CCombineChannel_1_:",
    "void selectChannel(int,int)",
    nullptr};

const char* const CNormalizeRGB_c[] = {
    "CNormalizeRGB_0_:",
    "CNormalizeRGB(int iDepth=32)",
    "~CNormalizeRGB(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void exec()",
    nullptr};

const char* const CDistance_c[] = {
    "CDistance_0_:",
    "CDistance(int iDepth=32)",
    "~CDistance(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void exec()",
    nullptr};

const char* const CThreshold_c[] = {
    "CThreshold_0_:",
    "CThreshold(int iDepth=32)",
    "~CThreshold(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void exec()",
    nullptr};

const char* const CShadingFilter_c[] = {
    "CShadingFilter_0_:",
    "CShadingFilter(int iDepth = 32)",
    "~CShadingFilter(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void setSize(int)",
    "void setConstant(float)",
    "void exec()",
    "int selectChannel(  char*)",
    nullptr};

const char* const CSelectChannel_c[] = {
    "CSelectChannel_0_:",
    "CSelectChannel(int iDepth = 32)",
    "~CSelectChannel(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "int selectChannel(char*)",
    "void exec()",
    nullptr};

namespace {

constexpr TDepthMessages kCombine = {
    "unsupported depth for CCombineChannel\n", "unsupported depth for ~CCombineChannel\n",
    "unsupported depth for ~CCombineChannel\n", "unsupported depth for ~CCombineChannel\n",
    "unsupported depth for ~CCombineChannel\n"};
constexpr TDepthMessages kNormalize = {
    "unsupported depth for CNormalizeRGB\n", "unsupported depth for ~CNormalizeRGB\n",
    "unsupported depth for ~CNormalizeRGB\n", "unsupported depth for ~CNormalizeRGB\n", nullptr};
constexpr TDepthMessages kDistance = {
    "unsupported depth for CDistance\n", "unsupported depth for ~CDistance\n",
    "unsupported depth for ~CDistance\n", "unsupported depth for ~CDistance\n", nullptr};
constexpr TDepthMessages kThreshold = {
    "unsupported depth for CThreshold\n", "unsupported depth for ~CThreshold\n",
    "unsupported depth for ~CThreshold\n", "unsupported depth for ~CThreshold\n", nullptr};
constexpr TDepthMessages kShading = {
    "unsupported depth for CShadingFilter\n", "unsupported depth for ~CShadingFilter\n",
    "unsupported depth for ~CShadingFilter\n", "unsupported depth for ~CShadingFilter\n",
    "unsupported depth for ~CShadingFilter\n"};
// The constructor borrows the mean filter's text.
constexpr TDepthMessages kSelect = {
    "unsupported depth for CMeanFilter\n", "unsupported depth for ~CSelectChannel\n",
    "unsupported depth for CSelectChannel\n", "unsupported depth for ~CSelectChannel\n",
    nullptr};

} // namespace

// --- CCombineChannel -----------------------------------------------------

TIRN_TRANSFORMATION_CLASS(CCombineChannel, kCombine)
TIRN_SELECT_BY_TEXT(CCombineChannel)
TIRN_SELECT_BY_INDEX(CCombineChannel)

TIRN_WRAPPER(void, CCombineChannel_0_setOperation)
{
    const int iOperation = argInt(apArgs, 0);
    onTransformation<CCombineChannel>(pObject, kCombine.pcSetters, [&](auto& filter) {
        filter.setOperator(TOperation(iOperation));
    });
}

// --- CNormalizeRGB, CDistance, CThreshold: no depth-equality test ---------

TIRN_TRANSFORMATION_CLASS(CNormalizeRGB, kNormalize)
TIRN_TRANSFORMATION_CLASS(CDistance, kDistance)
TIRN_TRANSFORMATION_CLASS(CThreshold, kThreshold)

// --- CShadingFilter ------------------------------------------------------

TIRN_TRANSFORMATION_CLASS(CShadingFilter, kShading)
TIRN_SELECT_BY_TEXT(CShadingFilter)
TIRN_SELECT_BY_INDEX(CShadingFilter)

TIRN_WRAPPER(void, CShadingFilter_0_setSize)
{
    const int iSize = argInt(apArgs, 0);
    onTransformation<CShadingFilter>(pObject, kShading.pcSetters,
                                     [&](auto& filter) { filter.setSize(iSize); });
}

// The constant is stored in the filter's element type, truncated and
// wrapped like every pixel value.
TIRN_WRAPPER(void, CShadingFilter_0_setConstant)
{
    const float fConstant = argFloat(apArgs, 0);
    onTransformation<CShadingFilter>(pObject, kShading.pcSetters, [&](auto& filter) {
        filter.setConstant(tirn::convertPixel<FilterPixel<decltype(filter)>>(fConstant));
    });
}

// --- CSelectChannel ------------------------------------------------------

TIRN_TRANSFORMATION_CONSTRUCTOR(CSelectChannel, kSelect)
TIRN_TRANSFORMATION_FREE(CSelectChannel, kSelect)
TIRN_TRANSFORMATION_IMAGES(CSelectChannel, kSelect)
TIRN_SELECT_BY_TEXT(CSelectChannel)

// The only exec that accepts a null handle, quietly.
TIRN_WRAPPER(void, CSelectChannel_0_exec)
{
    if (!pObject)
        return;
    execTransformation<CSelectChannel>(pObject, kSelect.pcExec);
}
