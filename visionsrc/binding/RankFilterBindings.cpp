// Scripting classes of the rank-order family: CMedianFilter, CRankFilter.
#include "binding/ClassTables.h"
#include "binding/FilterDispatch.h"
#include "filters/CMedianFilter.h"
#include "filters/CRankFilter.h"

using namespace tirn::binding;

// The host's vocabulary, verbatim ("iDEpth" and the blanks included).
const char* const CMedianFilter_c[] = {
    "CMedianFilter_0_:",
    "CMedianFilter(int iDEpth = 32)",
    "~CMedianFilter(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void setNeighborhood(int)",
    "void exec()",
    "int selectChannel(  char*)",
    nullptr};

const char* const CRankFilter_c[] = {
    "CRankFilter_0_:",
    "CRankFilter(int iDepth = 32)",
    "~CRankFilter(void)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void setNeighborhood(int)",
    "void setRank(int iRank)",
    "void exec()",
    "int selectChannel(  char*)",
    nullptr};

namespace {

constexpr TDepthMessages kMedian = {
    "unsupported depth for CMedianFilter\n", "unsupported depth for ~CMedianFilter\n",
    "unsupported depth for ~CMedianFilter\n", "unsupported depth for ~CMedianFilter\n",
    "unsupported depth for ~CMedianFilter\n"};
constexpr TDepthMessages kRank = {
    "unsupported depth for CRankFilter\n", "unsupported depth for ~CRankFilter\n",
    "unsupported depth for ~CRankFilter\n", "unsupported depth for ~CRankFilter\n",
    "unsupported depth for ~CRankFilter\n"};

} // namespace

TIRN_TRANSFORMATION_CLASS(CMedianFilter, kMedian)
TIRN_SELECT_BY_TEXT(CMedianFilter)
TIRN_SELECT_BY_INDEX(CMedianFilter)

TIRN_WRAPPER(void, CMedianFilter_0_setNeighborhood)
{
    const int n = argInt(apArgs, 0);
    onTransformation<CMedianFilter>(pObject, kMedian.pcSetters,
                                    [&](auto& filter) { filter.setNeighborhood(n); });
}

TIRN_TRANSFORMATION_CLASS(CRankFilter, kRank)
TIRN_SELECT_BY_TEXT(CRankFilter)
TIRN_SELECT_BY_INDEX(CRankFilter)

TIRN_WRAPPER(void, CRankFilter_0_setNeighborhood)
{
    const int n = argInt(apArgs, 0);
    onTransformation<CRankFilter>(pObject, kRank.pcSetters,
                                  [&](auto& filter) { filter.setNeighborhood(n); });
}

TIRN_WRAPPER(void, CRankFilter_0_setRank)
{
    const int iRank = argInt(apArgs, 0);
    onTransformation<CRankFilter>(pObject, kRank.pcSetters,
                                  [&](auto& filter) { filter.setRank(iRank); });
}
