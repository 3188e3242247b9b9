#include "filters/CRGB2HSI.h"

#include <algorithm>
#include <cstdio>

#include "filters/RowDriver.h"

namespace {

// Intensity is the largest of R, G, B (not their mean).
inline void saturationIntensity(float r, float g, float b, float& s, float& i)
{
    i = std::max(std::max(r, g), b);
    s = i > 0 ? (i - std::min(std::min(r, g), b)) / i : 0.0f;
}

} // namespace

template <class T>
void CRGB2HSI<T>::multiChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    const int w = src.width(), h = src.height();
    tgt.resize(w, h, 3);
    if (src.depth() < 32) {
        std::printf("Illegal depth for RGB2HSI!\n");
        return;
    }
    if (src.channels() < 3) {
        std::printf("RGB2HSI needs 3 channels (R, G and B), got %d!\n", src.channels());
        return;
    }
    tirn::runKernel(
        tirn::Visit::AnyOrder, h, (long long)w * h,
        [&] {
            for (int x = 0; x < w; ++x)
                for (int y = 0; y < h; ++y) {
                    float s, i;
                    saturationIntensity(float(src.getPixel(x, y, 0)),
                                        float(src.getPixel(x, y, 1)),
                                        float(src.getPixel(x, y, 2)), s, i);
                    tgt.setPixel(x, y, 2, tirn::toPixel<T>(i));
                    tgt.setPixel(x, y, 1, tirn::toPixel<T>(s));
                    tgt.setPixel(x, y, 0, T(0));
                }
        },
        [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const T* pR = src.getChannelPtr(0)->getRowPtr(y);
            const T* pG = src.getChannelPtr(1)->getRowPtr(y);
            const T* pB = src.getChannelPtr(2)->getRowPtr(y);
            T* pH = tgt.getChannelPtr(0)->getRowPtr(y);
            T* pS = tgt.getChannelPtr(1)->getRowPtr(y);
            T* pI = tgt.getChannelPtr(2)->getRowPtr(y);
            for (int x = 0; x < w; ++x) {
                float s, i;
                saturationIntensity(float(pR[x]), float(pG[x]), float(pB[x]), s, i);
                pI[x] = tirn::toPixel<T>(i);
                pS[x] = tirn::toPixel<T>(s);
                pH[x] = T(0);
            }
        }
        });
    tgt.setChannelInfo("Hue(empty)", 0);
    tgt.setChannelInfo("Saturation", 1);
    tgt.setChannelInfo("Intensity", 2);
    tgt.setName(src.getName());
}

template class CRGB2HSI<unsigned char>;
template class CRGB2HSI<unsigned short>;
template class CRGB2HSI<float>;
