#include "filters/CNormalizeRGB.h"

#include <cstdio>
#include <type_traits>

#include "filters/RowDriver.h"

namespace {

template <class T> inline void chromaticities(T r, T g, T b, T& nr, T& ng)
{
    if constexpr (std::is_same<T, float>::value) {
        const float fSum = r + g + b;
        nr = r / fSum;
        ng = g / fSum;
    } else {
        const int iSum = int(r) + int(g) + int(b);
        if (iSum == 0) {
            nr = ng = T(0);
        } else {
            nr = tirn::toPixel<T>(r * 255.0 / iSum);
            ng = tirn::toPixel<T>(g * 255.0 / iSum);
        }
    }
}

} // namespace

template <class T>
void CNormalizeRGB<T>::multiChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    const int w = src.width(), h = src.height();
    tgt.resize(w, h, 2);
    if (src.channels() < 3) {
        std::printf("NormalizeRGB needs 3 channels (R, G and B), got %d!\n", src.channels());
        return;
    }
    tirn::runKernel(
        tirn::Visit::AnyOrder, h, (long long)w * h,
        [&] {
            for (int x = 0; x < w; ++x)
                for (int y = 0; y < h; ++y) {
                    T nr, ng;
                    chromaticities(src.getPixel(x, y, 0), src.getPixel(x, y, 1),
                                   src.getPixel(x, y, 2), nr, ng);
                    tgt.setPixel(x, y, 0, nr);
                    tgt.setPixel(x, y, 1, ng);
                }
        },
        [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const T* pR = src.getChannelPtr(0)->getRowPtr(y);
            const T* pG = src.getChannelPtr(1)->getRowPtr(y);
            const T* pB = src.getChannelPtr(2)->getRowPtr(y);
            T* pNr = tgt.getChannelPtr(0)->getRowPtr(y);
            T* pNg = tgt.getChannelPtr(1)->getRowPtr(y);
            for (int x = 0; x < w; ++x)
                chromaticities(pR[x], pG[x], pB[x], pNr[x], pNg[x]);
        }
        });
    tgt.setChannelInfo("normed_r", 0);
    tgt.setChannelInfo("normed_g", 1);
    tgt.setName(src.getName());
}

template class CNormalizeRGB<unsigned char>;
template class CNormalizeRGB<unsigned short>;
template class CNormalizeRGB<float>;
