// Support for comparing a filter's fast path with its reference path: the
// TIRN_REFERENCE and TIRNVISION_THREADS switches as scopes, a bit-exact image
// comparison and the one check every kernel goes through.
#ifndef TESTS_FASTVSREFERENCE_H
#define TESTS_FASTVSREFERENCE_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TestImages.h"
#include "image/CImage.h"

// Sets an environment variable (or removes it: nullptr) for the enclosing
// scope and restores it after.
class EnvScope
{
public:
    EnvScope(const char* pcName, const char* pcValue) : sName(pcName)
    {
        if (const char* pcOld = std::getenv(pcName))
            old = pcOld;
        set(pcValue);
    }
    ~EnvScope() { set(old ? old->c_str() : nullptr); }
    EnvScope(const EnvScope&) = delete;
    EnvScope& operator=(const EnvScope&) = delete;

private:
    void set(const char* pcValue)
    {
        pcValue ? setenv(sName.c_str(), pcValue, 1) : unsetenv(sName.c_str());
    }
    std::string sName;
    std::optional<std::string> old;
};

// The path for the enclosing scope.
struct PathScope : EnvScope
{
    explicit PathScope(bool bReference) : EnvScope("TIRN_REFERENCE", bReference ? "1" : nullptr) {}
};

// The kernel layer's thread count for the enclosing scope.
struct ThreadScope : EnvScope
{
    explicit ThreadScope(int nThreads)
        : EnvScope("TIRNVISION_THREADS", std::to_string(nThreads).c_str())
    {
    }
};

// Same shape, name, infos and bits; -0 and +0 differ. Which NaN an operation
// on two NaN operands returns (sign, payload) is the processor's pick by
// operand position, and the compiler may swap the operands of a commutative
// operation; so any NaN matches any NaN.
template <class T> void expectSameImage(const CImage<T>& a, const CImage<T>& b)
{
    ASSERT_EQ(a.width(), b.width());
    ASSERT_EQ(a.height(), b.height());
    ASSERT_EQ(a.channels(), b.channels());
    EXPECT_STREQ(a.getName(), b.getName());
    for (int c = 0; c < a.channels(); ++c) {
        EXPECT_STREQ(a.getChannelInfo(c), b.getChannelInfo(c)) << "channel " << c;
        for (int y = 0; y < a.height(); ++y)
            for (int x = 0; x < a.width(); ++x) {
                const T va = a.getPixel(x, y, c), vb = b.getPixel(x, y, c);
                const bool bBothNaN = va != va && vb != vb;
                if (!bBothNaN && std::memcmp(&va, &vb, sizeof(T)) != 0) {
                    ADD_FAILURE() << "pixel (" << x << "," << y << "," << c
                                  << "): " << +va << " != " << +vb;
                    return;
                }
            }
    }
}

// The sizes every differential test walks: single pixels, single rows and
// columns, even and odd.
inline std::vector<std::pair<int, int>> awkwardSizes()
{
    return {{1, 1}, {2, 2}, {3, 1}, {1, 3}, {6, 2}, {5, 4}, {4, 7}, {17, 9}};
}

// The sizes of the kernel tests beyond awkwardSizes(): wider than 300 (SIMD
// lanes and unrolled chunks), and one large enough that every kernel is
// split into bands at 2 and 3 threads.
inline std::vector<std::pair<int, int>> wideSizes()
{
    return {{307, 3}, {307, 433}};
}

// run() on the reference, then on the fast path at 1, 2 and 3 threads: the
// same bytes every time.
template <class Run> void expectFastMatchesReference(Run&& run)
{
    decltype(run()) reference = [&] {
        PathScope scope(true);
        return run();
    }();
    for (int nThreads : {1, 2, 3}) {
        PathScope path(false);
        ThreadScope threads(nThreads);
        SCOPED_TRACE(testing::Message() << nThreads << " threads");
        expectSameImage(run(), reference);
    }
}

#endif
