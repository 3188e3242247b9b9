// Colour-space conversions: HSI without hue, normalised RGB, YUV to RGB and
// the two-way HSI/RGB filter, at every depth.
#include <cmath>
#include <cstring>
#include <string>

#include <hwy/targets.h>

#include "FastVsReference.h"
#include "PixelTypes.h"
#include "filters/CConvolutionFilter.h"
#include "filters/CCortLayerFilter.h"
#include "filters/CHsiRgbFilter.h"
#include "filters/CNormalizeRGB.h"
#include "filters/CRGB2HSI.h"
#include "filters/CYuv2Rgb.h"

namespace {

template <class T> CImage<T> onePixel(std::initializer_list<T> values)
{
    CImage<T> image(1, 1, int(values.size()));
    int c = 0;
    for (T v : values)
        image.setPixel(0, 0, c++, v);
    return image;
}

template <class T>
void expectPixel(const CImage<T>& image, int x, int y, std::initializer_list<T> values)
{
    int c = 0;
    for (T v : values) {
        EXPECT_EQ(image.getPixel(x, y, c), v) << "channel " << c << " at " << x << "," << y;
        ++c;
    }
}

template <class T> CImage<T> yuv(const CImage<T>& in, bool bOffset)
{
    CImage<T> out(1, 1, 1);
    CYuv2Rgb<T> filter(bOffset);
    filter.exec(&in, &out);
    return out;
}

template <class T> CImage<T> hsiRgb(const CImage<T>& in, int iMode)
{
    CImage<T> out(1, 1, 1);
    CHsiRgbFilter<T> filter(iMode);
    filter.exec(&in, &out);
    return out;
}

template <class T, class Op>
CImage<T> runMulti(const CImage<T>& in, const char* pcSelection = nullptr)
{
    CImage<T> out(1, 1, 1);
    Op op;
    op.setInput(&in);
    if (pcSelection) {
        EXPECT_EQ(op.selectChannel(pcSelection), 1);
    }
    op.setOutput(&out);
    op.exec();
    return out;
}

} // namespace

template <class T> class ColourSpaceTyped : public ::testing::Test
{
};
TYPED_TEST_SUITE(ColourSpaceTyped, PixelTypes);

TYPED_TEST(ColourSpaceTyped, YuvOffsetsAndClampsAtEveryDepth)
{
    using T = TypeParam;
    forBothPaths([] {
        expectPixel(yuv(onePixel<T>({16, 128, 128}), true), 0, 0, {T(0), T(0), T(0)});
        expectPixel(yuv(onePixel<T>({100, 0, 0}), false), 0, 0, {T(100), T(100), T(100)});
        // R 612 and B 706.9 clamp to 255, G -15.9 to 0.
        expectPixel(yuv(onePixel<T>({255, 255, 255}), false), 0, 0, {T(255), T(0), T(255)});
        // The 16-bit range is clamped to 0...255 as well.
        if (sizeof(T) == 2)
            expectPixel(yuv(onePixel<T>({T(1000), 128, 128}), true), 0, 0,
                        {T(255), T(255), T(255)});
    });
}

TEST(ColourSpace, YuvTruncatesAtIntegerDepths)
{
    // y 84, u 22, v -38: R 30.724, G 103.5656, B 122.984.
    expectPixel<unsigned char>(yuv(onePixel<unsigned char>({100, 150, 90}), true), 0, 0,
                               {30, 103, 122});
    const CImage<float> f = yuv(onePixel<float>({100, 150, 90}), true);
    EXPECT_EQ(f.getPixel(0, 0, 0), float(84.0 + 1.402 * -38.0));
    EXPECT_EQ(f.getPixel(0, 0, 1), float(84.0 - 0.7141 * -38.0 - 0.3441 * 22.0));
    EXPECT_EQ(f.getPixel(0, 0, 2), float(84.0 + 1.772 * 22.0));
    // Float offsets are subtracted in single precision: 16.3 - 16 in float.
    const CImage<float> g = yuv(onePixel<float>({16.3f, 128.0f, 128.0f}), true);
    EXPECT_EQ(g.getPixel(0, 0, 0), 16.3f - 16.0f);
}

// The 8-bit path computes in integers what is defined in double: every one
// of the 2^24 inputs, with and without offsets, on every SIMD target.
TEST(ColourSpace, YuvAtDepth8MatchesTheReferenceOnEveryInput)
{
    CImage<unsigned char> in(4096, 4096, 3);
    for (int i = 0; i < 1 << 24; ++i)
        for (int c = 0; c < 3; ++c)
            in.getChannelDataPtr(c)[i] = static_cast<unsigned char>(i >> (16 - 8 * c));
    for (bool bOffset : {false, true}) {
        SCOPED_TRACE(bOffset);
        const CImage<unsigned char> reference = [&] {
            PathScope path(true);
            return yuv(in, bOffset);
        }();
        PathScope path(false);
        ThreadScope threads(1);
        for (std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
            SCOPED_TRACE(hwy::TargetName(target));
            hwy::SetSupportedTargetsForTest(target);
            expectSameImage(yuv(in, bOffset), reference);
        }
        hwy::SetSupportedTargetsForTest(0);
    }
}

TYPED_TEST(ColourSpaceTyped, YuvRefusesInPlaceAndOtherChannelCounts)
{
    using T = TypeParam;
    CYuv2Rgb<T> filter(true);
    CImage<T> image(2, 2, 3);
    try {
        filter.exec(&image, &image);
        ADD_FAILURE() << "in place accepted";
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), "CYuv2Rgb: target image must differ from source image!");
    }
    for (int iChannels : {0, 2, 4}) {
        CImage<T> in(2, 2, iChannels), out(5, 5, 1);
        try {
            filter.exec(&in, &out);
            ADD_FAILURE() << iChannels << " channels accepted";
        } catch (const CException& e) {
            EXPECT_STREQ(e.what(), "CYuv2Rgb needs 3 Channels assuming to be Y,U and V!");
        }
        EXPECT_EQ(out.width(), 5); // refused before anything is touched
    }
    EXPECT_EQ(filter.iSrcDepth, tirn::PixelTraits<T>::depth);
    EXPECT_EQ(filter.iTgtDepth, tirn::PixelTraits<T>::depth);
}

TYPED_TEST(ColourSpaceTyped, YuvNamesTheChannelsAndResizes)
{
    using T = TypeParam;
    CImage<T> in(3, 2, 3);
    in.setName("frame");
    CImage<T> out(7, 7, 5);
    CYuv2Rgb<T>(false).exec(&in, &out);
    EXPECT_EQ(out.width(), 3);
    EXPECT_EQ(out.height(), 2);
    EXPECT_EQ(out.channels(), 3);
    EXPECT_STREQ(out.getName(), "frame");
    EXPECT_STREQ(out.getChannelInfo(0), "R");
    EXPECT_STREQ(out.getChannelInfo(1), "G");
    EXPECT_STREQ(out.getChannelInfo(2), "B");
}

TEST(ColourSpace, HsiForwardOnPrimaries)
{
    forBothPaths([] {
        const CImage<float> red = hsiRgb(onePixel<float>({1.0f, 0.0f, 0.0f}), 0);
        expectPixel(red, 0, 0, {0.0f, 1.0f, float(0.3333333333)});
        const CImage<float> blue = hsiRgb(onePixel<float>({0.0f, 0.0f, 1.0f}), 0);
        expectPixel(blue, 0, 0, {0.6666666865348816f, 1.0f, 0.3333333432674408f});
        const CImage<float> grey = hsiRgb(onePixel<float>({0.5f, 0.5f, 0.5f}), 0);
        // The intensity falls a hair short of 0.5, so grey gets a tiny
        // negative saturation.
        expectPixel(grey, 0, 0,
                    {0.0f, float(1.0 - 0.5 / (1.5 * 0.3333333333)), float(1.5 * 0.3333333333)});
        EXPECT_LT(grey.getPixel(0, 0, 1), 0.0f);
        const CImage<float> black = hsiRgb(onePixel<float>({0.0f, 0.0f, 0.0f}), 0);
        expectPixel(black, 0, 0, {0.0f, 0.0f, 0.0f});
    });
}

TEST(ColourSpace, HsiBackwardAndRoundTrip)
{
    expectPixel(hsiRgb(onePixel<float>({0.0f, 0.0f, 0.5f}), 1), 0, 0, {0.5f, 0.5f, 0.5f});
    // Every sector of the hue circle comes back to its colour.
    const float afColours[][3] = {{0.25f, 0.5f, 0.375f}, {0.75f, 0.125f, 0.5f},
                                  {0.5f, 0.25f, 0.125f}, {0.125f, 0.25f, 0.875f}};
    for (const auto& rgb : afColours) {
        const CImage<float> hsi = hsiRgb(onePixel<float>({rgb[0], rgb[1], rgb[2]}), 0);
        const CImage<float> back = hsiRgb(hsi, 1);
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(back.getPixel(0, 0, c), rgb[c], 2e-6f) << c;
    }
}

TEST(ColourSpace, HsiIntegerDepthsTruncateEveryResult)
{
    // I = 255 * 0.3333333333 = 84.99999999; the hue of blue (2/3) becomes 0.
    expectPixel<unsigned char>(hsiRgb(onePixel<unsigned char>({255, 0, 0}), 0), 0, 0, {0, 1, 84});
    expectPixel<unsigned char>(hsiRgb(onePixel<unsigned char>({0, 0, 255}), 0), 0, 0, {0, 1, 84});
    expectPixel<unsigned short>(hsiRgb(onePixel<unsigned short>({200, 100, 50}), 0), 0, 0,
                                {0, 0, 116});
    // H 0, S 1, I 90 back to RGB: R = 270.0000125, wrapped to 14 in 8 bits;
    // G a hair below 0 truncates to 0.
    expectPixel<unsigned char>(hsiRgb(onePixel<unsigned char>({0, 1, 90}), 1), 0, 0, {14, 0, 0});
    expectPixel<unsigned short>(hsiRgb(onePixel<unsigned short>({0, 1, 90}), 1), 0, 0,
                                {270, 0, 0});
}

TYPED_TEST(ColourSpaceTyped, HsiGroupsOfThreeAndOtherModes)
{
    using T = TypeParam;
    forBothPaths([] {
        // Channel 3 is past the last complete group: never written.
        CImage<T> in(2, 1, 4), out(2, 1, 4);
        for (int c = 0; c < 4; ++c)
            in.setPixel(1, 0, c, T(1));
        out.setPixel(1, 0, 3, T(77));
        CHsiRgbFilter<T>(0).exec(&in, &out);
        EXPECT_EQ(out.getPixel(1, 0, 3), T(77));
        // 3 * 0.3333333333 rounds to 1 in float and truncates to 0 otherwise.
        EXPECT_EQ(out.getPixel(1, 0, 2), T(tirn::isIntegerPixel<T>() ? 0 : 1));
        // Two channels: no group, only the resize.
        CImage<T> two(3, 2, 2), small(1, 1, 1);
        two.setPixel(0, 0, 0, T(9));
        CHsiRgbFilter<T>(1).exec(&two, &small);
        EXPECT_EQ(small.width(), 3);
        EXPECT_EQ(small.channels(), 2);
        EXPECT_EQ(small.getPixel(0, 0, 0), T(0));
        // Another mode converts nothing; SetMode changes it.
        CImage<T> rgb = randomTestImage<T>(3, 3, 3, 5);
        CImage<T> same(rgb);
        CHsiRgbFilter<T> filter(2);
        filter.exec(&rgb, &same);
        expectSameImage(same, rgb);
        filter.SetMode(0);
        filter.exec(&rgb, &same);
        EXPECT_EQ(same.getPixel(0, 0, 2), hsiRgb(rgb, 0).getPixel(0, 0, 2));
    });
}

TEST(ColourSpace, Rgb2HsiUsesTheMaximumAsIntensity)
{
    forBothPaths([] {
        CImage<float> in(2, 1, 4);
        in.setName("picture");
        const float afA[4] = {0.25f, 9.0f, 0.5f, 0.375f}; // channel 1 deselected below
        in.setPixel(0, 0, afA);
        const CImage<float> out = runMulti<float, CRGB2HSI<float>>(in, "X#XX");
        ASSERT_EQ(out.channels(), 3);
        expectPixel(out, 0, 0, {0.0f, (0.5f - 0.25f) / 0.5f, 0.5f});
        expectPixel(out, 1, 0, {0.0f, 0.0f, 0.0f}); // black: no saturation
        EXPECT_STREQ(out.getChannelInfo(0), "Hue(empty)");
        EXPECT_STREQ(out.getChannelInfo(1), "Saturation");
        EXPECT_STREQ(out.getChannelInfo(2), "Intensity");
        EXPECT_STREQ(out.getName(), "picture");
    });
}

TEST(ColourSpace, Rgb2HsiRefusesIntegerDepths)
{
    CImage<unsigned char> in(3, 2, 3);
    in.setPixel(0, 0, 0, 200);
    testing::internal::CaptureStdout();
    const CImage<unsigned char> out = runMulti<unsigned char, CRGB2HSI<unsigned char>>(in);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Illegal depth for RGB2HSI!\n");
    EXPECT_EQ(out.width(), 3);
    EXPECT_EQ(out.channels(), 3);
    EXPECT_EQ(out.getPixel(0, 0, 2), 0);
}

TEST(ColourSpace, NormalizeRgbChromaticities)
{
    forBothPaths([] {
        CImage<unsigned char> in8(4, 1, 3);
        const unsigned char a8[][3] = {{0, 0, 0}, {255, 0, 0}, {10, 20, 30}, {255, 255, 255}};
        for (int x = 0; x < 4; ++x)
            in8.setPixel(x, 0, a8[x]);
        in8.setName("scene");
        const CImage<unsigned char> out8 =
            runMulti<unsigned char, CNormalizeRGB<unsigned char>>(in8);
        ASSERT_EQ(out8.channels(), 2);
        expectPixel<unsigned char>(out8, 0, 0, {0, 0});
        expectPixel<unsigned char>(out8, 1, 0, {255, 0});
        expectPixel<unsigned char>(out8, 2, 0, {42, 85}); // 42.5 and 85 truncated
        expectPixel<unsigned char>(out8, 3, 0, {85, 85});
        EXPECT_STREQ(out8.getChannelInfo(0), "normed_r");
        EXPECT_STREQ(out8.getChannelInfo(1), "normed_g");
        EXPECT_STREQ(out8.getName(), "scene");

        using Normalize16 = CNormalizeRGB<unsigned short>;
        const CImage<unsigned short> out16 =
            runMulti<unsigned short, Normalize16>(onePixel<unsigned short>({1000, 3000, 0}));
        expectPixel<unsigned short>(out16, 0, 0, {63, 191}); // scaled to 0...255 here too

        CImage<float> in32(2, 1, 3);
        const float a32[3] = {1.0f, 1.0f, 2.0f};
        in32.setPixel(0, 0, a32);
        const CImage<float> out32 = runMulti<float, CNormalizeRGB<float>>(in32);
        expectPixel(out32, 0, 0, {0.25f, 0.25f});
        EXPECT_TRUE(std::isnan(out32.getPixel(1, 0, 0))); // 0 / 0, unguarded
        EXPECT_TRUE(std::isnan(out32.getPixel(1, 0, 1)));
    });
}

TEST(ColourSpace, TooFewChannelsAreReportedNotRead)
{
    CImage<float> in(2, 2, 2);
    testing::internal::CaptureStdout();
    const CImage<float> n = runMulti<float, CNormalizeRGB<float>>(in);
    const CImage<float> h = runMulti<float, CRGB2HSI<float>>(in);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "NormalizeRGB needs 3 channels (R, G and B), got 2!\n"
              "RGB2HSI needs 3 channels (R, G and B), got 2!\n");
    EXPECT_EQ(n.channels(), 2);
    EXPECT_EQ(h.channels(), 3);
}

// The host binding reads a two-image filter's depths straight from the
// object: the two ints right after the virtual table.
template <class T> void expectDepthsAfterTheVirtualTable(const CFilter<T, T>& filter, int iDepth)
{
    int aiDepths[2];
    std::memcpy(aiDepths, reinterpret_cast<const char*>(&filter) + sizeof(void*), sizeof aiDepths);
    EXPECT_EQ(aiDepths[0], iDepth);
    EXPECT_EQ(aiDepths[1], iDepth);
}

TYPED_TEST(ColourSpaceTyped, TwoImageFiltersKeepTheirDepthsAfterTheVirtualTable)
{
    using T = TypeParam;
    const int iDepth = tirn::PixelTraits<T>::depth;
    expectDepthsAfterTheVirtualTable<T>(CYuv2Rgb<T>(true), iDepth);
    expectDepthsAfterTheVirtualTable<T>(CHsiRgbFilter<T>(0), iDepth);
    expectDepthsAfterTheVirtualTable<T>(CCortLayerFilter<T>(), iDepth);
    // The convolution filter starts at 32 whatever T is.
    expectDepthsAfterTheVirtualTable<T>(CConvolutionFilter<T>(3, 0.0f, 0.0f, 1.0f, 0), 32);
}
