// Seeded random inputs, filled before any timing starts.
#ifndef BENCH_BENCHIMAGES_H
#define BENCH_BENCHIMAGES_H

#include <random>

#include "image/CImage.h"

template <class T> CImage<T> randomImage(int iWidth, int iHeight, int iChannels,
                                         unsigned uSeed = 1)
{
    CImage<T> image(iWidth, iHeight, iChannels);
    std::mt19937 random(uSeed);
    std::uniform_int_distribution<int> values(0, 255);
    for (int c = 0; c < iChannels; ++c) {
        T* p = image.getChannelDataPtr(c);
        for (int i = 0; i < image.pixelsPerChannel(); ++i)
            p[i] = T(values(random));
    }
    return image;
}

#endif
