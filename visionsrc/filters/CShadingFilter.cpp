#include "filters/CShadingFilter.h"

#include <vector>

#include "filters/CMeanFilter.h"
#include "filters/RowDriver.h"

namespace {

// src - mean in the element type's own arithmetic: the integer types wrap
// (3 - 5 is 254 at depth 8), nothing is clamped.
template <class T> inline T difference(T a, T b)
{
    if constexpr (tirn::isIntegerPixel<T>())
        return T(unsigned(a) - unsigned(b));
    else
        return a - b;
}

} // namespace

template <class T> void CShadingFilter<T>::setParameters(float* p)
{
    iKeepMean = tirn::truncateToInt32(p[0]);
    iSize = tirn::truncateToInt32(p[1]);
    tConstant = tirn::convertPixel<T>(tirn::truncateToInt32(p[2]));
}

template <class T>
void CShadingFilter<T>::singleChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    // The mean over the in-image neighbours: all weights 1, factor 0.
    const long long llWeights = iSize > 0 ? (long long)iSize * iSize : 0;
    if (llWeights > CConvolution<T>::kMaxWeights)
        throw CException("CShadingFilter: a %d x %d neighbourhood is too large!", iSize, iSize);
    std::vector<float> ones(std::size_t(llWeights), 1.0f);
    CMeanFilter<T> meanFilter;
    meanFilter.CConvolution<T>::setParameters(ones.data(), 0.0f, iSize, iSize);
    meanFilter.setInput(&src);
    meanFilter.setOutput(&tgt);
    meanFilter.exec();
    if (iKeepMean)
        return;

    const int w = src.width(), h = src.height();
    tirn::runKernel(
        tirn::Visit::AnyOrder, h, (long long)w * h,
        [&] {
            for (int x = 0; x < w; ++x)
                for (int y = 0; y < h; ++y)
                    tgt.setPixel(x, y, 0,
                                 difference(src.getPixel(x, y, 0), tgt.getPixel(x, y, 0)));
        },
        [&](int y0, int y1) {
            for (int y = y0; y < y1; ++y) {
                const T* pIn = src.getChannelPtr(0)->getRowPtr(y);
                T* pOut = tgt.getChannelPtr(0)->getRowPtr(y);
                for (int x = 0; x < w; ++x)
                    pOut[x] = difference(pIn[x], pOut[x]);
            }
        });
}

template class CShadingFilter<unsigned char>;
template class CShadingFilter<unsigned short>;
template class CShadingFilter<float>;
