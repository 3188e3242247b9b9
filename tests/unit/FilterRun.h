// For the filter tests: every filter's header, a one-call run of a
// transformation or a two-image filter, and the checks on what a filter
// refuses and prints.
#ifndef TESTS_FILTERRUN_H
#define TESTS_FILTERRUN_H

#include <gtest/gtest.h>

#include <string>

#include "FastVsReference.h"
#include "PixelTypes.h"
#include "filters/CColorFilters.h"
#include "filters/CColormap.h"
#include "filters/CCombineChannel.h"
#include "filters/CConvolutionFilter.h"
#include "filters/CCortLayerFilter.h"
#include "filters/CDistance.h"
#include "filters/CGaussFilter.h"
#include "filters/CGenericConvolution.h"
#include "filters/CHsiRgbFilter.h"
#include "filters/CMeanFilter.h"
#include "filters/CMedianFilter.h"
#include "filters/CNormalizeRGB.h"
#include "filters/CRGB2HSI.h"
#include "filters/CRankFilter.h"
#include "filters/CSelectChannel.h"
#include "filters/CShadingFilter.h"
#include "filters/CSobelFilter.h"
#include "filters/CThreshold.h"
#include "filters/CTransformation.h"
#include "filters/CYuv2Rgb.h"
#include "filters/CsimpleMedian.h"
#include "filters/RankNetworks.h"
#include "filters/SimdRows.h"
#include "filters/utils.h"

// pcSelection, if given, is the channel selection string; pFirst, if given,
// an image the filter runs on first, into the same target.
template <class T>
CImage<T> run(CTransformation<T>& filter, const CImage<T>& src, const char* pcSelection = nullptr,
              const CImage<T>* pFirst = nullptr)
{
    CImage<T> out(1, 1, 1);
    for (const CImage<T>* pSource : {pFirst, &src}) {
        if (!pSource)
            continue;
        filter.setInput(pSource);
        if (pcSelection)
            filter.selectChannel(pcSelection);
        filter.setOutput(&out);
        filter.exec();
    }
    return out;
}

template <class T> CImage<T> run(CFilter<T, T>&& filter, const CImage<T>& src)
{
    CImage<T> out(1, 1, 1);
    filter.exec(&src, &out);
    return out;
}

// A colour map of type iType drawn from a copy of in, into a new image or
// (bInPlace) into that copy itself.
template <class T> CImage<T> colourMap(const CImage<T>& in, int iType, bool bInPlace = false)
{
    CImage<T> image(in), out(1, 1, 1);
    CColormap<T> map{TColormapType(iType)};
    map.setInput(&image);
    map.setOutput(bInPlace ? &image : &out);
    map.exec();
    return bInPlace ? image : out;
}

// The channels of pixel (x, y), from channel 0 on.
template <class T>
void expectPixel(const CImage<T>& image, int x, int y, std::initializer_list<T> values)
{
    int c = 0;
    for (T v : values) {
        EXPECT_EQ(image.getPixel(x, y, c), v) << "channel " << c << " at " << x << "," << y;
        ++c;
    }
}

// f() throws a CException with exactly this text.
template <class F> void expectRefusal(F&& f, const char* pcMessage)
{
    try {
        f();
        ADD_FAILURE() << "not refused: " << pcMessage;
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), pcMessage);
    }
}

// What f() writes to standard output, and to standard error.
template <class F> std::string stdoutOf(F&& f)
{
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}
template <class F> std::string stderrOf(F&& f)
{
    testing::internal::CaptureStderr();
    f();
    return testing::internal::GetCapturedStderr();
}

#endif
