// Seeded random inputs, filled before any timing starts.
#ifndef BENCH_BENCHIMAGES_H
#define BENCH_BENCHIMAGES_H

#include <algorithm>
#include <cmath>
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

// A photo-like picture for the file formats, whose codecs care what they
// compress: smooth gradients, a few hard-edged shapes and mild noise, values
// 0..255 in every depth.
template <class T> CImage<T> photoImage(int iWidth, int iHeight, int iChannels,
                                        unsigned uSeed = 1)
{
    CImage<T> image(iWidth, iHeight, iChannels);
    std::mt19937 random(uSeed);
    std::normal_distribution<float> grain(0.0f, 2.5f);
    for (int c = 0; c < iChannels; ++c) {
        T* p = image.getChannelDataPtr(c);
        for (int y = 0; y < iHeight; ++y)
            for (int x = 0; x < iWidth; ++x) {
                const float u = float(x) / float(iWidth), v = float(y) / float(iHeight);
                float f = 60.0f + 90.0f * u + 50.0f * v * float(c + 1) / float(iChannels) +
                          30.0f * std::sin(6.0f * u + 4.0f * v + float(c));
                if ((u - 0.6f) * (u - 0.6f) + (v - 0.4f) * (v - 0.4f) < 0.04f)
                    f = 220.0f - 40.0f * float(c) - 60.0f * v; // a disc
                if (u > 0.15f && u < 0.35f && v > 0.55f && v < 0.9f)
                    f = 25.0f + 10.0f * float(c); // a dark box
                f += grain(random);
                p[std::size_t(y) * std::size_t(iWidth) + std::size_t(x)] =
                    T(std::rint(std::min(255.0f, std::max(0.0f, f))));
            }
    }
    return image;
}

#endif
