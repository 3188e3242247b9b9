// Channel and point operations: selecting and combining channels,
// thresholding with parameters taken from the image, colour distance to the
// first pixel, shading removal.
#include <cmath>
#include <string>

#include "FastVsReference.h"
#include "FilterRun.h"
#include "PixelTypes.h"
#include "filters/CCombineChannel.h"
#include "filters/CDistance.h"
#include "filters/CSelectChannel.h"
#include "filters/CShadingFilter.h"
#include "filters/CThreshold.h"

TEST(SelectChannel, KeepsTheSelectedChannelsInOrderWithTheirInfos)
{
    CImage<unsigned char> in = pixels<unsigned char>(2, 1, 3, {1, 2, 3, 4, 5, 6});
    in.setChannelInfo("first", 0);
    in.setChannelInfo("third", 2);
    CSelectChannel<unsigned char> select;
    const CImage<unsigned char> out = run(select, in, "X#X");
    ASSERT_EQ(out.channels(), 2);
    EXPECT_EQ(out.getPixel(1, 0, 0), 2);
    EXPECT_EQ(out.getPixel(1, 0, 1), 6);
    EXPECT_STREQ(out.getChannelInfo(0), "first");
    EXPECT_STREQ(out.getChannelInfo(1), "third");
    EXPECT_FALSE(out.isAttached()); // channels of its own, not the source's
}

template <class T> class CombineChannelTyped : public ::testing::Test
{
};
TYPED_TEST_SUITE(CombineChannelTyped, PixelTypes);

TYPED_TEST(CombineChannelTyped, EveryOperationOnAllChannels)
{
    using T = TypeParam;
    // One pixel per column: (10, 20, 31), (5, 1, 3), (200, 100, 2).
    const CImage<T> in = pixels<T>(3, 1, 3, {10, 5, 200, 20, 1, 100, 31, 3, 2});
    const bool bFloat = !tirn::isIntegerPixel<T>();
    const struct
    {
        TOperation op;
        double a, b, c;
    } cases[] = {
        {OP_SUM, 61, 9, 302},
        {OP_MUL, 6200, 15, 40000},
        {OP_MAX, 31, 5, 200},
        {OP_MIN, 10, 1, 2},
        {OP_MEAN, bFloat ? 61.0f / 3 : 20, 3, bFloat ? 302.0f / 3 : 100},
        {OP_MEDIAN, 20, 3, 100},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.op));
        CCombineChannel<T> combine;
        combine.setOperator(c.op);
        CImage<T> out(1, 1, 1);
        EXPECT_EQ(stdoutOf([&] { out = run(combine, in); }), "31\n"); // width and height
        ASSERT_EQ(out.channels(), 1);
        // Sums and products wrap at the integer depths.
        EXPECT_EQ(out.getPixel(0, 0, 0), tirn::toPixel<T>(c.a));
        EXPECT_EQ(out.getPixel(1, 0, 0), tirn::toPixel<T>(c.b));
        EXPECT_EQ(out.getPixel(2, 0, 0), tirn::toPixel<T>(c.c));
    }
}

TEST(CombineChannel, TheMaskCountsOriginalChannelNumbersAndTheMedianItsBuffer)
{
    CCombineChannel<unsigned char> combine;
    EXPECT_EQ(combine.operation(), OP_MEAN);
    float afParameters[1] = {2.9f}; // truncated
    combine.setParameters(afParameters);
    EXPECT_EQ(combine.operation(), OP_MAX);
    // Selecting channels 1 and 2 hands over a two-channel copy, but mask
    // entry 0 (false) still applies to its first channel: only channel 2
    // is gathered and the second value is the zeroed buffer's.
    const CImage<unsigned char> in = pixels<unsigned char>(1, 1, 3, {5, 7, 9});
    combine.setOperator(OP_SUM);
    EXPECT_EQ(run(combine, in, "#XX").getPixel(0, 0, 0), 9);
    // Channels 0 and 1 selected: the copy's entries agree with the mask.
    EXPECT_EQ(run(combine, in, "XX#").getPixel(0, 0, 0), 12);

    // With one value gathered for two, the median sees the value and the
    // larger one left by the pixel before it, visited x outer, y inner:
    // row order would give 10 at (1, 0).
    CCombineChannel<float> median;
    median.setOperator(OP_MEDIAN);
    const CImage<float> values = pixels<float>(2, 2, 3, {0, 0, 0, 0, 0, 0, 0, 0, 10, 20, 40, 30});
    expectSameImage(run(median, values, "#XX"), pixels<float>(2, 2, 1, {0, 20, 10, 30}));
}

TEST(CombineChannelDeathTest, AnUnknownOperationEndsTheProcessWithStatusZero)
{
    for (int iOperation : {6, -1}) {
        CCombineChannel<float> combine;
        combine.setOperator(TOperation(iOperation));
        EXPECT_EXIT(run(combine, CImage<float>(2, 2, 2)), testing::ExitedWithCode(0), "");
    }
}

TEST(Threshold, ParametersComeFromTheImageAndRefusals)
{
    // (0, 0) is the threshold, (0, 1) the value at or below, (1, 0) the
    // value above; 0.5 itself is not above, NaN compares false: above.
    CImage<float> in = pixels<float>(3, 3, 1, {0.5f, 1, 0.5f, 0, 0.5f, 0.75f, 0.5f, 0.75f, 0});
    in.setPixel(2, 2, 0, std::nanf(""));
    in.setName("levels");
    CThreshold<float> threshold;
    CImage<float> want = pixels<float>(3, 3, 1, {0, 1, 0, 0, 0, 1, 0, 1, 1});
    want.setName("levels");
    want.setChannelInfo("Pixel<0.500000", 0);
    CImage<float> out(1, 1, 1);
    EXPECT_EQ(stdoutOf([&] { out = run(threshold, in); }), "");
    expectSameImage(out, want);

    // Refusals leave the target resized and empty.
    CImage<unsigned short> in16(3, 2, 1), out16(1, 1, 1);
    in16.setPixel(2, 1, 0, 9);
    CThreshold<unsigned short> t16;
    EXPECT_EQ(stdoutOf([&] { out16 = run(t16, in16); }), "Wrong depth for thresholding");
    expectSameImage(out16, CImage<unsigned short>(3, 2, 1));
    CThreshold<unsigned char> t8;
    EXPECT_EQ(stdoutOf([&] { run(t8, CImage<unsigned char>(2, 2, 1)); }),
              "Wrong depth for thresholding");

    const CImage<float> two(4, 4, 2);
    CThreshold<float> t32;
    EXPECT_EQ(stdoutOf([&] { out = run(t32, two); }), "Too many channels for thresholding");
    EXPECT_EQ(out.channels(), 1);
    // One channel selected of two is fine.
    EXPECT_EQ(stdoutOf([&] { run(t32, two, "#X"); }), "");
    EXPECT_EQ(stdoutOf([&] { run(t32, CImage<float>(5, 1, 1)); }),
              "Too small image for thresholding (5x1, at least 2x2 needed)");
}

TEST(Distance, FloatSumOfSquaresToTheFirstPixel)
{
    CImage<float> in(3, 2, 3);
    in.setName("colours");
    const float afRef[3] = {0.5f, 1.0f, 0.25f};
    const float afFar[3] = {1.5f, -1.0f, 0.25f};
    in.setPixel(0, 0, afRef);
    in.setPixel(2, 1, afRef);
    in.setPixel(1, 0, afFar);
    CDistance<float> distance;
    // (0, 1) is black.
    CImage<float> want = pixels<float>(3, 2, 1, {0, 5, 1.3125f, 1.3125f, 1.3125f, 0});
    want.setName("colours");
    want.setChannelInfo("euclid_dist_to_0.5_1_0.25", 0);
    expectSameImage(run(distance, in), want);
    // Only the selected channels count.
    const CImage<float> sel = run(distance, in, "X#X");
    EXPECT_EQ(sel.getPixel(1, 0, 0), 1.0f);
    EXPECT_STREQ(sel.getChannelInfo(0), "euclid_dist_to_0.5_0.25");
    // An empty image has no reference.
    const CImage<float> empty = run(distance, CImage<float>(0, 3, 2));
    EXPECT_EQ(empty.width(), 0);
    EXPECT_STREQ(empty.getChannelInfo(0), "euclid_dist_to");
}

TEST(Distance, IntegerDepthsScaleBy255PerChannelAndWrap)
{
    CDistance<unsigned char> d8;
    const CImage<unsigned char> out8 = run(d8, pixels<unsigned char>(2, 1, 2, {10, 110, 20, 20}));
    EXPECT_EQ(out8.getPixel(1, 0, 0), 19); // 10000 / 510
    EXPECT_STREQ(out8.getChannelInfo(0), "euclid_dist_to_10_20");
    CDistance<unsigned short> d16;
    // 65535^2 in float is 4294836224; / 255 = 16842494.996, mod 65536.
    EXPECT_EQ(run(d16, pixels<unsigned short>(2, 1, 1, {0, 65535})).getPixel(1, 0, 0), 65278);
}

template <class T> class ShadingTyped : public ::testing::Test
{
};
TYPED_TEST_SUITE(ShadingTyped, PixelTypes);

TYPED_TEST(ShadingTyped, ConstantImageGivesZeroOrItsMeanAndDifferencesWrap)
{
    using T = TypeParam;
    const CImage<T> in = filled<T>(5, 4, {T(40), T(9)});
    CShadingFilter<T> shading;
    // The unselected channel is copied.
    expectSameImage(run(shading, in, "X#"), filled<T>(5, 4, {T(0), T(9)}));
    // Means over the in-image neighbours: 1.5 (1 at the integer depths), 1,
    // 1.5; the constant is kept, not used.
    shading.setConstant(T(100));
    const T low = tirn::isIntegerPixel<T>() ? T(-1) : T(-1.5f);
    expectSameImage(run(shading, pixels<T>(3, 1, 1, {0, 3, 0})), pixels<T>(3, 1, 1, {low, 2, low}));

    float afParameters[3] = {1.0f, 5.0f, 7.9f};
    shading.setParameters(afParameters);
    EXPECT_EQ(shading.keepMean(), 1);
    EXPECT_EQ(shading.size(), 5);
    EXPECT_EQ(shading.constant(), T(7));
    expectSameImage(run(shading, in), in);
}
