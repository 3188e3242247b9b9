#include "filters/CCortLayerFilter.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "filters/RowDriver.h"

template <class T>
CCortLayerFilter<T>::CCortLayerFilter()
    : iSrcDepth(tirn::PixelTraits<T>::depth), iTgtDepth(tirn::PixelTraits<T>::depth)
{
}

namespace {

template <class T>
void blendRows(const T* const* apIn, const float* pfWeights, int n, float fWeightSum, T* pOut,
               int iBegin, int iEnd)
{
    constexpr int kBlock = 1024;
    float afSum[kBlock];
    for (int i0 = iBegin; i0 < iEnd; i0 += kBlock) {
        const int nBlock = std::min(kBlock, iEnd - i0);
        std::fill(afSum, afSum + nBlock, 0.0f);
        for (int c = 0; c < n; ++c) {
            const T* pIn = apIn[c] + i0;
            const float fWeight = pfWeights[c];
            for (int i = 0; i < nBlock; ++i)
                afSum[i] += float(pIn[i]) * fWeight;
        }
        for (int i = 0; i < nBlock; ++i)
            pOut[i0 + i] = tirn::toPixel<T>(afSum[i] / fWeightSum);
    }
}

} // namespace

template <class T> void CCortLayerFilter<T>::exec(const CImage<T>* pSrc, CImage<T>* pTgt)
{
    const CImage<T>& src = *pSrc;
    CImage<T>& tgt = *pTgt;
    const int w = src.width(), h = src.height(), n = src.channels();
    if (tgt.width() != w || tgt.height() != h) {
        std::printf("different size of input and output images! doing resize!");
        tgt.resize(w, h, 1);
    }
    // Throws the image's "Bad value" exception for a target without channels.
    T* pOut = tgt.getChannelPtr(0)->getRowPtr(0);
    if (n > 0 && !pfWeights)
        throw CException("CCortLayerFilter: no layer weights set!");
    // Row 0 through the checked access: a height of 0 ends the process.
    std::vector<const T*> apIn(n);
    for (int c = 0; c < n; ++c)
        apIn[c] = src.getChannelPtr(c)->getRowPtr(0);

    float fWeightSum = 0.0f;
    for (int c = 0; c < n; ++c)
        fWeightSum += pfWeights[c];
    const int nPixels = w * h;

    auto reference = [&] {
        for (int i = 0; i < nPixels; ++i) {
            float fSum = 0.0f;
            for (int c = 0; c < n; ++c)
                fSum += float(apIn[c][i]) * pfWeights[c];
            pOut[i] = tirn::toPixel<T>(fSum / fWeightSum);
        }
    };
    // Layer by layer over a row-sized block, each pixel's sum still in layer
    // order.
    tirn::runKernel(tirn::Visit::AnyOrder, h, (long long)nPixels * std::max(n, 1), reference,
                    [&](int y0, int y1) {
                        blendRows(apIn.data(), pfWeights, n, fWeightSum, pOut, w * y0, w * y1);
                    });
}

template class CCortLayerFilter<unsigned char>;
template class CCortLayerFilter<unsigned short>;
template class CCortLayerFilter<float>;
