// The images the tests build: patterns whose every value says where it sits,
// flat colours, literal pixel lists and seeded random images that reach the
// awkward values of every depth.
#ifndef TESTS_TESTIMAGES_H
#define TESTS_TESTIMAGES_H

#include <initializer_list>
#include <limits>
#include <random>
#include <type_traits>

#include "image/CImage.h"

// Pixel (x, y, c) holds iChannelStep * c + iRowStep * y + x + iOffset, so a
// wrong value names the pixel it came from.
template <class T>
CImage<T> numbered(int w, int h, int c, int iChannelStep = 100, int iRowStep = 10, int iOffset = 0)
{
    CImage<T> image(w, h, c);
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, ch, T(iChannelStep * ch + iRowStep * y + x + iOffset));
    return image;
}

// One channel, 1 ... w*h row by row.
template <class T> CImage<T> counting(int w, int h)
{
    return numbered<T>(w, h, 1, 0, w, 1);
}

// Every pixel the same: one value per channel.
template <class T> CImage<T> filled(int w, int h, std::initializer_list<T> colour)
{
    CImage<T> image(w, h, int(colour.size()));
    int c = 0;
    for (T v : colour) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, c, v);
        ++c;
    }
    return image;
}

// The values in storage order: channel by channel, each row by row.
template <class T>
CImage<T> pixels(int w, int h, int c, std::initializer_list<double> values)
{
    CImage<T> image(w, h, c);
    auto it = values.begin();
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, ch, it == values.end() ? T(0) : T(*it++));
    return image;
}

// Integer depths: the whole range, extremes included. Float: mostly 0...1
// with negatives, large values, exact zeros and (if asked) NaN and -0 mixed
// in.
template <class T>
CImage<T> randomTestImage(int w, int h, int c, unsigned uSeed, bool bWithNaN = false)
{
    CImage<T> image(w, h, c);
    std::mt19937 random(uSeed);
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                T value;
                if constexpr (std::is_same<T, float>::value) {
                    const unsigned uKind = random() % 16;
                    const float fUnit = float(random() % 100001) / 100000.0f;
                    if (uKind == 0)
                        value = -fUnit;
                    else if (uKind == 1)
                        value = 300.0f * fUnit;
                    else if (uKind == 2)
                        value = 0.0f;
                    else if (uKind == 3 && bWithNaN)
                        value = std::numeric_limits<float>::quiet_NaN();
                    else if (uKind == 4 && bWithNaN)
                        value = -0.0f;
                    else
                        value = fUnit;
                } else {
                    const unsigned uKind = random() % 8;
                    const unsigned uMax = std::numeric_limits<T>::max();
                    value = T(uKind == 0 ? 0 : uKind == 1 ? uMax : random() % (uMax + 1));
                }
                image.setPixel(x, y, ch, value);
            }
    return image;
}

#endif
