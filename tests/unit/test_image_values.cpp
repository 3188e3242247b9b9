// CImage value operations: extremes, range mapping, clipping, interpolation.
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "FastVsReference.h"
#include "PixelTypes.h"
#include "TestImages.h"
#include "image/CImage.h"

template <class T> class ImageValuesTest : public ::testing::Test
{
};
TYPED_TEST_SUITE(ImageValuesTest, PixelTypes);

TYPED_TEST(ImageValuesTest, FindMinMaxOverAllChannels)
{
    CImage<TypeParam> a(3, 2, 2);
    a.setPixel(0, 0, 0, TypeParam(50));
    a.setPixel(2, 1, 0, TypeParam(20));
    a.setPixel(1, 0, 1, TypeParam(90));
    TypeParam lo, hi;
    a.findMinMax(lo, hi);
    EXPECT_EQ(lo, TypeParam(0));
    EXPECT_EQ(hi, TypeParam(90));
    EXPECT_EQ(a.min(1), TypeParam(0));
    EXPECT_EQ(a.max(0), TypeParam(50));
}

TEST(ImageValuesFloat, FindMinMaxTiesGoToTheFirstInChannelColumnRowOrder)
{
    // +0 and -0 compare equal; the first met in (channel, column, row) order
    // is the result even though a row walk meets the other one first.
    CImage<float> a(2, 2, 2);
    a.setPixel(0, 0, 0, 1.0f);
    a.setPixel(1, 0, 0, -0.0f); // row 0, column 1
    a.setPixel(0, 1, 0, 0.0f);  // row 1, column 0: earlier by column
    a.setPixel(1, 1, 0, 1.0f);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x)
            a.setPixel(x, y, 1, -0.0f);
    float lo, hi;
    a.findMinMax(lo, hi);
    EXPECT_EQ(hi, 1.0f);
    EXPECT_EQ(lo, 0.0f);
    EXPECT_FALSE(std::signbit(lo)); // neither the row walk's -0 nor channel 1's
}

TEST(ImageValuesScale, PerChannelGlobalAndExplicitRanges)
{
    CImage<unsigned char> a = pixels<unsigned char>(2, 1, 2, {10, 20, 0, 100});
    CImage<unsigned char> b(a);
    a.scaleRange(0, 255, true);
    EXPECT_EQ(a.getPixel(0, 0, 0), 0);
    EXPECT_EQ(a.getPixel(1, 0, 0), 255);
    EXPECT_EQ(a.getPixel(1, 0, 1), 255);
    b.scaleRange(0, 255, false);
    EXPECT_EQ(b.getPixel(0, 0, 0), 26); // 25.5 rounds to even
    EXPECT_EQ(b.getPixel(1, 0, 0), 51);
    EXPECT_EQ(b.getPixel(1, 0, 1), 255);

    CImage<float> f = filled<float>(1, 1, {5.0f, 5.0f});
    f.scalelRange({0.0f, 0.0f}, {1.0f, 100.0f}, {0.0f, 0.0f}, {10.0f, 10.0f});
    EXPECT_EQ(f.getPixel(0, 0, 0), 0.5f);
    EXPECT_EQ(f.getPixel(0, 0, 1), 50.0f);
}

TEST(ImageValuesClip, PerChannelPercentilesOfZeroToNinetyNine)
{
    CImage<unsigned char> a(10, 10, 1);
    std::vector<int> order(100);
    for (int i = 0; i < 100; ++i)
        order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(3));
    for (int i = 0; i < 100; ++i)
        a.setPixel(i % 10, i / 10, 0, static_cast<unsigned char>(order[i]));
    a.clipPercentage(10, 10, true);
    for (int i = 0; i < 100; ++i) {
        const int v = order[i];
        EXPECT_EQ(a.getPixel(i % 10, i / 10, 0), std::clamp(v, 10, 89));
    }
}

TYPED_TEST(ImageValuesTest, ClipZeroPercentLeavesTheImage)
{
    CImage<TypeParam> a = randomTestImage<TypeParam>(7, 5, 3, 11);
    const CImage<TypeParam> before(a);
    a.clipPercentage(0, 0, false);
    expectSameImage(a, before);
}

// Reference: the full sort the percentile rule is written for.
TYPED_TEST(ImageValuesTest, ClipMatchesTheFullSortReference)
{
    std::mt19937 random(5);
    for (int trial = 0; trial < 20; ++trial) {
        const int w = 1 + random() % 9, h = 1 + random() % 9, c = 1 + random() % 3;
        const float fLow = float(random() % 40), fHigh = float(random() % 40);
        const bool bPerChannel = random() % 2;
        CImage<TypeParam> a(w, h, c);
        for (int ch = 0; ch < c; ++ch)
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    a.setPixel(x, y, ch, TypeParam(random() % 50));
        CImage<TypeParam> expected(a);
        auto clipAll = [&](int chBegin, int chEnd) {
            std::vector<TypeParam> list;
            for (int ch = chBegin; ch < chEnd; ++ch)
                for (int x = 0; x < w; ++x)
                    for (int y = 0; y < h; ++y)
                        list.push_back(expected.getPixel(x, y, ch));
            std::sort(list.begin(), list.end());
            const int n = int(list.size());
            const double f = double(float(n)) / 100.0;
            const TypeParam lower = list[int(f * fLow)];
            const TypeParam upper = list[n - 1 - int(f * fHigh)];
            for (int ch = chBegin; ch < chEnd; ++ch)
                for (int x = 0; x < w; ++x)
                    for (int y = 0; y < h; ++y) {
                        TypeParam v = expected.getPixel(x, y, ch);
                        if (lower > v)
                            v = lower;
                        if (v > upper)
                            v = upper;
                        expected.setPixel(x, y, ch, v);
                    }
        };
        if (bPerChannel)
            for (int ch = 0; ch < c; ++ch)
                clipAll(ch, ch + 1);
        else
            clipAll(0, c);
        a.clipPercentage(fLow, fHigh, bPerChannel);
        expectSameImage(a, expected);
    }
}

TYPED_TEST(ImageValuesTest, HistogramOfOneChannel)
{
    CImage<TypeParam> a(4, 1, 2);
    a.setPixel(1, 0, 1, TypeParam(9));
    const std::vector<unsigned int> bins = a.histogram(1, 0.0f, 10.0f, 2);
    ASSERT_EQ(bins.size(), 2u);
    EXPECT_EQ(bins[0], 3u);
    EXPECT_EQ(bins[1], 1u);
}

TYPED_TEST(ImageValuesTest, InterpolationAndItsRange)
{
    CImage<TypeParam> a(2, 2, 1);
    a.setPixel(1, 0, 0, TypeParam(10));
    a.setPixel(0, 1, 0, TypeParam(20));
    a.setPixel(1, 1, 0, TypeParam(30));
    EXPECT_EQ(a.interpolate(0.5f, 0.5f, 0), TypeParam(15));
    EXPECT_EQ(a.interpolate(1.0f, 1.0f, 0), TypeParam(30)); // last column/row accepted
    try {
        a.interpolate(1.2f, 0.0f, 0);
        FAIL();
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), "badarg:value");
    }
    EXPECT_THROW(a.interpolate(0.0f, 1.5f, 0), CException);
    EXPECT_THROW(a.interpolate(-0.5f, 0.0f, 0), CException); // would read before row 0
}

TEST(ImageValuesInterpolate, IntegersRoundHalfToEvenFloatsDoNot)
{
    CImage<unsigned char> b(2, 1, 1);
    b.setPixel(1, 0, 0, 1);
    EXPECT_EQ(b.interpolate(0.5f, 0.0f, 0), 0);  // 0.5 -> 0
    b.setPixel(0, 0, 0, 2);
    b.setPixel(1, 0, 0, 3);
    EXPECT_EQ(b.interpolate(0.5f, 0.0f, 0), 2);  // 2.5 -> 2
    CImage<float> f(2, 1, 1);
    f.setPixel(1, 0, 0, 1.0f);
    EXPECT_EQ(f.interpolate(0.25f, 0.0f, 0), 0.25f);
}
