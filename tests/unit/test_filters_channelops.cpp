// Channel and point operations: selecting and combining channels,
// thresholding with parameters taken from the image, colour distance to the
// first pixel, shading removal.
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "FastVsReference.h"
#include "PixelTypes.h"
#include "filters/CCombineChannel.h"
#include "filters/CDistance.h"
#include "filters/CSelectChannel.h"
#include "filters/CShadingFilter.h"
#include "filters/CThreshold.h"

namespace {

// Runs a transformation on in with an optional selection string; the
// operation's own printing is captured and returned in *psOut.
template <class Op, class T>
CImage<T> run(Op& op, const CImage<T>& in, const char* pcSelection = nullptr,
              std::string* psOut = nullptr)
{
    CImage<T> out(1, 1, 1);
    op.setInput(&in);
    if (pcSelection) {
        EXPECT_EQ(op.selectChannel(pcSelection), 1);
    }
    op.setOutput(&out);
    testing::internal::CaptureStdout();
    op.exec();
    const std::string sOut = testing::internal::GetCapturedStdout();
    if (psOut)
        *psOut = sOut;
    return out;
}

template <class T> CImage<T> pixels(int w, int h, int c, std::initializer_list<int> values)
{
    CImage<T> image(w, h, c);
    auto it = values.begin();
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, ch, T(*it++));
    return image;
}

} // namespace

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
    forBothPaths([] {
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
            std::string sOut;
            const CImage<T> out = run(combine, in, nullptr, &sOut);
            EXPECT_EQ(sOut, "31\n"); // width and height, nothing between
            ASSERT_EQ(out.channels(), 1);
            // Sums and products wrap at the integer depths.
            EXPECT_EQ(out.getPixel(0, 0, 0), tirn::toPixel<T>(c.a));
            EXPECT_EQ(out.getPixel(1, 0, 0), tirn::toPixel<T>(c.b));
            EXPECT_EQ(out.getPixel(2, 0, 0), tirn::toPixel<T>(c.c));
        }
    });
}

TEST(CombineChannel, DefaultIsTheMeanAndParametersTruncate)
{
    CCombineChannel<unsigned char> combine;
    EXPECT_EQ(combine.operation(), OP_MEAN);
    float afParameters[1] = {2.9f};
    combine.setParameters(afParameters);
    EXPECT_EQ(combine.operation(), OP_MAX);
}

TEST(CombineChannel, TheMaskCountsOriginalChannelNumbers)
{
    forBothPaths([] {
        // Selecting channels 1 and 2 hands over a two-channel copy, but mask
        // entry 0 (false) still applies to its first channel: only channel 2
        // is gathered and the second value is the zeroed buffer's.
        const CImage<unsigned char> in = pixels<unsigned char>(1, 1, 3, {5, 7, 9});
        CCombineChannel<unsigned char> combine;
        combine.setOperator(OP_SUM);
        EXPECT_EQ(run(combine, in, "#XX").getPixel(0, 0, 0), 9);
        // Channels 0 and 1 selected: the copy's entries agree with the mask.
        EXPECT_EQ(run(combine, in, "XX#").getPixel(0, 0, 0), 12);
    });
}

TEST(CombineChannel, TheMedianCarriesItsBufferInColumnOrder)
{
    forBothPaths([] {
        // With one value gathered for two, the median sees the value and the
        // larger one left by the pixel before it, visited x outer, y inner.
        const CImage<float> in = pixels<float>(2, 2, 3, {0, 0, 0, 0, 0, 0, 0, 0, 10, 20, 40, 30});
        CCombineChannel<float> combine;
        combine.setOperator(OP_MEDIAN);
        const CImage<float> out = run(combine, in, "#XX");
        EXPECT_EQ(out.getPixel(0, 0, 0), 0.0f);
        EXPECT_EQ(out.getPixel(0, 1, 0), 10.0f);
        EXPECT_EQ(out.getPixel(1, 0, 0), 20.0f); // row order would give 10
        EXPECT_EQ(out.getPixel(1, 1, 0), 30.0f);
    });
}

TEST(CombineChannelDeathTest, AnUnknownOperationEndsTheProcessWithStatusZero)
{
    for (int iOperation : {6, -1}) {
        const CImage<float> in(2, 2, 2);
        CImage<float> out(1, 1, 1);
        CCombineChannel<float> combine;
        combine.setOperator(TOperation(iOperation));
        combine.setInput(&in);
        combine.setOutput(&out);
        EXPECT_EXIT(combine.exec(), testing::ExitedWithCode(0), "");
    }
}

TEST(Threshold, ParametersComeFromTheImage)
{
    forBothPaths([] {
        CImage<float> in(3, 3, 1);
        in.setName("levels");
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 3; ++x)
                in.setPixel(x, y, 0, 0.25f * float(x + y));
        in.setPixel(0, 0, 0, 0.5f); // threshold
        in.setPixel(0, 1, 0, 0.0f); // value at or below
        in.setPixel(1, 0, 0, 1.0f); // value above
        in.setPixel(2, 2, 0, std::nanf(""));
        CThreshold<float> threshold;
        std::string sOut;
        const CImage<float> out = run(threshold, in, nullptr, &sOut);
        EXPECT_EQ(sOut, "");
        EXPECT_EQ(out.getPixel(0, 0, 0), 0.0f); // 0.5 itself is not above
        EXPECT_EQ(out.getPixel(1, 0, 0), 1.0f);
        EXPECT_EQ(out.getPixel(1, 1, 0), 0.0f); // 0.5 again
        EXPECT_EQ(out.getPixel(2, 1, 0), 1.0f); // 0.75
        EXPECT_EQ(out.getPixel(2, 2, 0), 1.0f); // NaN compares false: above
        EXPECT_STREQ(out.getChannelInfo(0), "Pixel<0.500000");
        EXPECT_STREQ(out.getName(), "levels");
    });
}

TEST(Threshold, RefusalsLeaveTheTargetResizedAndEmpty)
{
    CImage<unsigned short> in16(3, 2, 1);
    in16.setPixel(2, 1, 0, 9);
    CThreshold<unsigned short> t16;
    std::string sOut;
    const CImage<unsigned short> out16 = run(t16, in16, nullptr, &sOut);
    EXPECT_EQ(sOut, "Wrong depth for thresholding");
    EXPECT_EQ(out16.width(), 3);
    EXPECT_EQ(out16.height(), 2);
    EXPECT_EQ(out16.getPixel(2, 1, 0), 0);

    CImage<unsigned char> in8(2, 2, 1);
    CThreshold<unsigned char> t8;
    run(t8, in8, nullptr, &sOut);
    EXPECT_EQ(sOut, "Wrong depth for thresholding");

    const CImage<float> two(4, 4, 2);
    CThreshold<float> t32;
    const CImage<float> out = run(t32, two, nullptr, &sOut);
    EXPECT_EQ(sOut, "Too many channels for thresholding");
    EXPECT_EQ(out.channels(), 1);
    // One channel selected of two is fine.
    run(t32, two, "#X", &sOut);
    EXPECT_EQ(sOut, "");

    const CImage<float> row(5, 1, 1);
    run(t32, row, nullptr, &sOut);
    EXPECT_EQ(sOut, "Too small image for thresholding (5x1, at least 2x2 needed)");
}

TEST(Distance, FloatSumOfSquaresToTheFirstPixel)
{
    forBothPaths([] {
        CImage<float> in(3, 2, 3);
        in.setName("colours");
        const float afRef[3] = {0.5f, 1.0f, 0.25f};
        const float afFar[3] = {1.5f, -1.0f, 0.25f};
        in.setPixel(0, 0, afRef);
        in.setPixel(2, 1, afRef);
        in.setPixel(1, 0, afFar);
        CDistance<float> distance;
        const CImage<float> out = run(distance, in);
        EXPECT_EQ(out.getPixel(0, 0, 0), 0.0f);
        EXPECT_EQ(out.getPixel(2, 1, 0), 0.0f);
        EXPECT_EQ(out.getPixel(1, 0, 0), 5.0f);
        EXPECT_EQ(out.getPixel(0, 1, 0), 0.25f + 1.0f + 0.0625f); // black
        EXPECT_STREQ(out.getChannelInfo(0), "euclid_dist_to_0.5_1_0.25");
        EXPECT_STREQ(out.getName(), "colours");
        // Only the selected channels count.
        const CImage<float> sel = run(distance, in, "X#X");
        EXPECT_EQ(sel.getPixel(1, 0, 0), 1.0f);
        EXPECT_STREQ(sel.getChannelInfo(0), "euclid_dist_to_0.5_0.25");
    });
}

TEST(Distance, IntegerDepthsScaleBy255PerChannelAndWrap)
{
    forBothPaths([] {
        CImage<unsigned char> in8 = pixels<unsigned char>(2, 1, 2, {10, 110, 20, 20});
        CDistance<unsigned char> d8;
        const CImage<unsigned char> out8 = run(d8, in8);
        EXPECT_EQ(out8.getPixel(1, 0, 0), 19); // 10000 / 510
        EXPECT_STREQ(out8.getChannelInfo(0), "euclid_dist_to_10_20");

        CImage<unsigned short> in16 = pixels<unsigned short>(2, 1, 1, {0, 65535});
        CDistance<unsigned short> d16;
        // 65535^2 in float is 4294836224; / 255 = 16842494.996, mod 65536.
        EXPECT_EQ(run(d16, in16).getPixel(1, 0, 0), 65278);
    });
}

TEST(Distance, AnEmptyImageHasNoReference)
{
    const CImage<float> empty(0, 3, 2);
    CDistance<float> distance;
    const CImage<float> out = run(distance, empty);
    EXPECT_EQ(out.width(), 0);
    EXPECT_STREQ(out.getChannelInfo(0), "euclid_dist_to");
}

template <class T> class ShadingTyped : public ::testing::Test
{
};
TYPED_TEST_SUITE(ShadingTyped, PixelTypes);

TYPED_TEST(ShadingTyped, ConstantImageGivesZeroOrItsMean)
{
    using T = TypeParam;
    forBothPaths([] {
        CImage<T> in(5, 4, 2);
        for (int c = 0; c < 2; ++c)
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 5; ++x)
                    in.setPixel(x, y, c, T(c == 0 ? 40 : 9));
        CShadingFilter<T> shading;
        const CImage<T> flat = run(shading, in, "X#");
        EXPECT_EQ(flat.getPixel(0, 0, 0), T(0));
        EXPECT_EQ(flat.getPixel(4, 3, 0), T(0));
        EXPECT_EQ(flat.getPixel(2, 2, 1), T(9)); // unselected: copied
        float afParameters[3] = {1.0f, 5.0f, 7.9f};
        shading.setParameters(afParameters);
        EXPECT_EQ(shading.keepMean(), 1);
        EXPECT_EQ(shading.size(), 5);
        EXPECT_EQ(shading.constant(), T(7));
        const CImage<T> mean = run(shading, in);
        EXPECT_EQ(mean.getPixel(0, 0, 0), T(40));
        EXPECT_EQ(mean.getPixel(3, 1, 1), T(9));
    });
}

TEST(Shading, IntegerDifferencesWrap)
{
    forBothPaths([] {
        // Means over the in-image neighbours: 1.5 -> 1, 1, 1.5 -> 1.
        const CImage<unsigned char> in = pixels<unsigned char>(3, 1, 1, {0, 3, 0});
        CShadingFilter<unsigned char> shading;
        shading.setConstant(100); // kept, not used
        const CImage<unsigned char> out = run(shading, in);
        EXPECT_EQ(out.getPixel(0, 0, 0), 255);
        EXPECT_EQ(out.getPixel(1, 0, 0), 2);
        EXPECT_EQ(out.getPixel(2, 0, 0), 255);
        CShadingFilter<float> shadingFloat;
        const CImage<float> f = run(shadingFloat, pixels<float>(3, 1, 1, {0, 3, 0}));
        EXPECT_EQ(f.getPixel(0, 0, 0), -1.5f);
        EXPECT_EQ(f.getPixel(1, 0, 0), 2.0f);
    });
}

