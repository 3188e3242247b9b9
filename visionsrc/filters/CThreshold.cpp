#include "filters/CThreshold.h"

#include <cstdio>

#include "filters/RowDriver.h"

template <class T>
void CThreshold<T>::multiChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    const int w = src.width(), h = src.height();
    tgt.resize(w, h, 1);
    if (src.depth() < 32) {
        std::printf("Wrong depth for thresholding");
        return;
    }
    if (src.channels() > 1) {
        std::printf("Too many channels for thresholding");
        return;
    }
    // The parameter pixels must exist before they are read.
    if (w < 2 || h < 2) {
        std::printf("Too small image for thresholding (%dx%d, at least 2x2 needed)", w, h);
        return;
    }
    const T threshold = src.getPixel(0, 0, 0);
    const T low = src.getPixel(0, 1, 0);
    const T high = src.getPixel(1, 0, 0);
    // "threshold >= p" is false for a NaN on either side: NaN gives high.
    tirn::runKernel(
        tirn::Visit::AnyOrder, h, (long long)w * h,
        [&] {
            for (int x = 0; x < w; ++x)
                for (int y = 0; y < h; ++y)
                    tgt.setPixel(x, y, 0, threshold >= src.getPixel(x, y, 0) ? low : high);
        },
        [&](int y0, int y1) {
            // Local copies: the stores cannot change them, so the loop
            // vectorises.
            const T t = threshold, lo = low, hi = high;
            for (int y = y0; y < y1; ++y) {
                const T* pIn = src.getChannelPtr(0)->getRowPtr(y);
                T* pOut = tgt.getChannelPtr(0)->getRowPtr(y);
                for (int x = 0; x < w; ++x)
                    pOut[x] = t >= pIn[x] ? lo : hi;
            }
        });
    char acInfo[100];
    std::snprintf(acInfo, sizeof acInfo, "Pixel<%f", double(threshold));
    tgt.setChannelInfo(acInfo, 0);
    tgt.setName(src.getName());
}

template class CThreshold<unsigned char>;
template class CThreshold<unsigned short>;
template class CThreshold<float>;
