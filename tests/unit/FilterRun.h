// A one-call run of a transformation or a two-image filter, and the checks
// on what a filter refuses and prints, for the filter tests.
#ifndef TESTS_FILTERRUN_H
#define TESTS_FILTERRUN_H

#include <gtest/gtest.h>

#include <string>

#include "TestImages.h"
#include "filters/CTransformation.h"

// pcSelection, if given, is the channel selection string.
template <class T>
CImage<T> run(CTransformation<T>& filter, const CImage<T>& src, const char* pcSelection = nullptr)
{
    CImage<T> out(1, 1, 1);
    filter.setInput(&src);
    if (pcSelection)
        filter.selectChannel(pcSelection);
    filter.setOutput(&out);
    filter.exec();
    return out;
}

template <class T> CImage<T> run(CFilter<T, T>&& filter, const CImage<T>& src)
{
    CImage<T> out(1, 1, 1);
    filter.exec(&src, &out);
    return out;
}

// The channels of pixel (x, y), from channel 0 on.
template <class T>
void expectPixel(const CImage<T>& image, int x, int y, std::initializer_list<T> values)
{
    int c = 0;
    for (T v : values) {
        EXPECT_EQ(image.getPixel(x, y, c), v) << "channel " << c << " at " << x << "," << y;
        ++c;
    }
}

// f() throws a CException with exactly this text.
template <class F> void expectRefusal(F&& f, const char* pcMessage)
{
    try {
        f();
        ADD_FAILURE() << "not refused: " << pcMessage;
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), pcMessage);
    }
}

// What f() writes to standard output, and to standard error.
template <class F> std::string stdoutOf(F&& f)
{
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}
template <class F> std::string stderrOf(F&& f)
{
    testing::internal::CaptureStderr();
    f();
    return testing::internal::GetCapturedStderr();
}

#endif
