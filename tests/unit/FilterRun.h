// A one-call run of a transformation, for the filter tests.
#ifndef TESTS_FILTERRUN_H
#define TESTS_FILTERRUN_H

#include "TestImages.h"
#include "filters/CTransformation.h"

template <class T> CImage<T> run(CTransformation<T>& filter, const CImage<T>& src)
{
    CImage<T> out(1, 1, 1);
    filter.setInput(&src);
    filter.setOutput(&out);
    filter.exec();
    return out;
}

#endif
