// Small images and a one-call run of a transformation, for the filter tests.
#ifndef TESTS_FILTERRUN_H
#define TESTS_FILTERRUN_H

#include "filters/CTransformation.h"

// 1 ... w*h row by row.
template <class T> CImage<T> counting(int w, int h)
{
    CImage<T> image(w, h, 1);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixel(x, y, 0, T(1 + y * w + x));
    return image;
}

template <class T> CImage<T> run(CTransformation<T>& filter, const CImage<T>& src)
{
    CImage<T> out(1, 1, 1);
    filter.setInput(&src);
    filter.setOutput(&out);
    filter.exec();
    return out;
}

#endif
