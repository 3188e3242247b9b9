// Value operations of CImage and CImageChannel: extremes, range mapping,
// clipping, histograms, interpolation.
#include <algorithm>
#include <cmath>
#include <numeric>
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

TYPED_TEST(ImageValuesTest, ExtremesAndHistogramsOfOneChannelOrAll)
{
    const CImage<TypeParam> a = pixels<TypeParam>(3, 2, 2, {50, 0, 0, 0, 0, 20, 0, 90, 0, 0, 0, 9});
    TypeParam lo, hi;
    a.findMinMax(lo, hi);
    EXPECT_EQ(lo, TypeParam(0));
    EXPECT_EQ(hi, TypeParam(90));
    EXPECT_EQ(a.min(1), TypeParam(0));
    EXPECT_EQ(a.max(0), TypeParam(50));
    EXPECT_EQ(a.getChannelPtr(1)->max(), TypeParam(90));
    EXPECT_EQ(a.histogram(1, 0.0f, 10.0f, 2), (std::vector<unsigned int>{4, 2}));
}

// +0 and -0 compare equal; the first met in (channel, column, row) order is
// the result even though a row walk meets the other one first. A NaN never
// replaces the running extreme, but a NaN start stays.
TEST(ImageValuesFloat, ExtremesKeepTheFirstOfEqualValuesAndSkipNaN)
{
    CImage<float> a = pixels<float>(2, 2, 2, {1.0f, -0.0f, 0.0f, 1.0f, -0.0f, -0.0f, -0.0f, -0.0f});
    float lo, hi;
    a.findMinMax(lo, hi);
    EXPECT_EQ(hi, 1.0f);
    EXPECT_EQ(lo, 0.0f);
    EXPECT_FALSE(std::signbit(lo)); // neither the row walk's -0 nor channel 1's

    CImageChannel<float> channel(3, 1);
    const float in[3] = {1.0f, std::nanf(""), -2.0f};
    channel.setRowData(in, 0);
    EXPECT_EQ(channel.min(), -2.0f);
    EXPECT_EQ(channel.max(), 1.0f);
    channel.setPixel(0, 0, std::nanf(""));
    EXPECT_TRUE(std::isnan(channel.max()));
}

// Integers round half to even and clamp; floats are stored unrounded. Equal
// old bounds make the factor +inf and the offset -inf: positive values turn
// NaN, and the clamps put them at the new minimum.
TEST(ImageValuesScale, ChannelRangesRoundClampOrLetTheClampsDecide)
{
    CImageChannel<unsigned char> bytes(5, 1);
    const unsigned char in[5] = {5, 10, 15, 20, 30};
    bytes.setRowData(in, 0);
    bytes.scaleRange(0, 255, 10, 20);
    const unsigned char out[5] = {0, 0, 128, 255, 255}; // 127.5 rounds to even
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(bytes.getPixel(x, 0), out[x]) << x;

    CImageChannel<float> floats(3, 1);
    const float fIn[3] = {15.0f, 11.0f, 12.0f};
    floats.setRowData(fIn, 0);
    floats.scaleRange(0.0f, 255.0f, 10.0f, 20.0f);
    EXPECT_EQ(floats.getPixel(0, 0), 127.5f);
    EXPECT_EQ(floats.getPixel(1, 0), 25.5f);
    floats.scaleRange(0.0f, 1.0f, 25.5f, 25.5f);
    for (int x = 0; x < 3; ++x)
        EXPECT_EQ(floats.getPixel(x, 0), 0.0f) << x;
}

TEST(ImageValuesScale, PerChannelGlobalAndExplicitRanges)
{
    CImage<unsigned char> a = pixels<unsigned char>(2, 1, 2, {10, 20, 0, 100});
    CImage<unsigned char> b(a);
    a.scaleRange(0, 255, true);
    expectSameImage(a, pixels<unsigned char>(2, 1, 2, {0, 255, 0, 255}));
    b.scaleRange(0, 255, false);
    expectSameImage(b, pixels<unsigned char>(2, 1, 2, {26, 51, 0, 255})); // 25.5 to even

    CImage<float> f = filled<float>(1, 1, {5.0f, 5.0f});
    f.scalelRange({0.0f, 0.0f}, {1.0f, 100.0f}, {0.0f, 0.0f}, {10.0f, 10.0f});
    EXPECT_EQ(f.getPixel(0, 0, 0), 0.5f);
    EXPECT_EQ(f.getPixel(0, 0, 1), 50.0f);
}

TEST(ImageValuesClip, PerChannelPercentilesOfZeroToNinetyNine)
{
    std::vector<int> order(100);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(3));
    CImage<unsigned char> a(10, 10, 1);
    for (int i = 0; i < 100; ++i)
        a.setPixel(i % 10, i / 10, 0, static_cast<unsigned char>(order[i]));
    a.clipPercentage(10, 10, true);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(a.getPixel(i % 10, i / 10, 0), std::clamp(order[i], 10, 89));
}

TYPED_TEST(ImageValuesTest, ClipZeroPercentLeavesTheImage)
{
    CImage<TypeParam> a = randomTestImage<TypeParam>(7, 5, 3, 11);
    const CImage<TypeParam> before(a);
    a.clipPercentage(0, 0, false);
    expectSameImage(a, before);
}

// Reference: the full sort the percentile rule is written for, over each
// channel or over all of them.
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
        const int nGroup = bPerChannel ? 1 : c;
        for (int first = 0; first < c; first += nGroup) {
            std::vector<TypeParam> list;
            for (int ch = first; ch < first + nGroup; ++ch)
                list.insert(list.end(), a.getChannelDataPtr(ch), a.getChannelDataPtr(ch) + w * h);
            std::sort(list.begin(), list.end());
            const double f = double(float(list.size())) / 100.0;
            const TypeParam lower = list[int(f * fLow)];
            const TypeParam upper = list[list.size() - 1 - int(f * fHigh)];
            for (int ch = first; ch < first + nGroup; ++ch)
                for (int i = 0; i < w * h; ++i) {
                    TypeParam& v = expected.getChannelDataPtr(ch)[i];
                    v = std::min(std::max(v, lower), upper);
                }
        }
        a.clipPercentage(fLow, fHigh, bPerChannel);
        expectSameImage(a, expected);
    }
}

// Bins of width (max - min) / n; values outside go to the first or last.
TEST(ImageChannelHistogram, BinsOfEqualWidthWithOutsideValuesInTheEndBins)
{
    CImageChannel<float> channel(7, 1);
    const float values[7] = {0.0f, -3.0f, 10.0f, 12.0f, 1.9f, 2.0f, 9.99f};
    channel.setRowData(values, 0);
    // 0, -3, 1.9 | 2.0 | - | - | 10, 12, 9.99
    EXPECT_EQ(channel.histogram(0.0f, 10.0f, 5), (std::vector<unsigned int>{3, 1, 0, 0, 3}));
    EXPECT_TRUE(CImageChannel<float>(0, 0).histogram(0, 1, 0).empty());
    // Just below the top: 6.9999995 / (7 / 3) rounds up to 3, one past the
    // last bin, and is put back into it.
    CImageChannel<float> top(1, 1);
    top.setPixel(0, 0, std::nextafter(7.0f, 0.0f));
    EXPECT_EQ(top.histogram(0.0f, 7.0f, 3), (std::vector<unsigned int>{0, 0, 1}));
}

TYPED_TEST(ImageValuesTest, InterpolationAndItsRange)
{
    CImage<TypeParam> a = pixels<TypeParam>(2, 2, 1, {0, 10, 20, 30});
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
    EXPECT_EQ(pixels<unsigned char>(2, 1, 1, {0, 1}).interpolate(0.5f, 0.0f, 0), 0); // 0.5 -> 0
    EXPECT_EQ(pixels<unsigned char>(2, 1, 1, {2, 3}).interpolate(0.5f, 0.0f, 0), 2); // 2.5 -> 2
    EXPECT_EQ(pixels<float>(2, 1, 1, {0, 1}).interpolate(0.25f, 0.0f, 0), 0.25f);
}
