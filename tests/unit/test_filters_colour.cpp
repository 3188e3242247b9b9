// Colour: the conversions (HSI without hue, normalised RGB, YUV to RGB, the
// two-way HSI/RGB filter) at every depth; the colour maps (the five scales, the
// ten schemes, the refusals, the wrap at integer depths and the colour carried
// over where a scale writes nothing).
#include <array>
#include <tuple>

#include <hwy/targets.h>

#include "FilterRun.h"

namespace {

template <class T> CImage<T> hsiRgb(std::initializer_list<T> pixel, int iMode)
{
    return run(CHsiRgbFilter<T>(iMode), filled<T>(1, 1, pixel));
}

} // namespace

template <class T> using ColourSpaceTyped = ::testing::Test;
TYPED_TEST_SUITE(ColourSpaceTyped, PixelTypes);

// Offsets, clamping to 0...255 (at depth 16 as well), truncation at the
// integer depths; float offsets are subtracted in single precision.
TYPED_TEST(ColourSpaceTyped, YuvAndHsiRgbFilters)
{
    using T = TypeParam;
    const bool b16 = sizeof(T) == 2;
    const struct
    {
        bool bOffset;
        T y, u, v, r, g, b;
    } cases[] = {
        {true, 16, 128, 128, 0, 0, 0},
        {false, 100, 0, 0, 100, 100, 100},
        {false, 255, 255, 255, 255, 0, 255}, // R 612 and B 706.9 clamp to 255, G -15.9 to 0
        {true, T(b16 ? 1000 : 16), 128, 128, T(b16 ? 255 : 0), T(b16 ? 255 : 0), T(b16 ? 255 : 0)},
        // y 84, u 22, v -38: R 30.724, G 103.5656, B 122.984.
        {true, 100, 150, 90, T(84.0 + 1.402 * -38.0), T(84.0 - 0.7141 * -38.0 - 0.3441 * 22.0),
         T(84.0 + 1.772 * 22.0)},
        {true, T(16.3f), 128, 128, T(16.3f - 16.0f), T(16.3f - 16.0f), T(16.3f - 16.0f)},
    };
    for (const auto& c : cases)
        expectPixel(run(CYuv2Rgb<T>(c.bOffset), filled<T>(1, 1, {c.y, c.u, c.v})), 0, 0,
                    {c.r, c.g, c.b});

    CYuv2Rgb<T> filter(true);
    CImage<T> image(2, 2, 3);
    expectRefusal([&] { filter.exec(&image, &image); },
                  "CYuv2Rgb: target image must differ from source image!");
    for (int iChannels : {0, 2, 4}) {
        CImage<T> in(2, 2, iChannels), out(5, 5, 1);
        expectRefusal([&] { filter.exec(&in, &out); },
                      "CYuv2Rgb needs 3 Channels assuming to be Y,U and V!");
        EXPECT_EQ(out.width(), 5); // refused before anything is touched
    }
    CImage<T> in(3, 2, 3);
    in.setName("frame");
    CImage<T> out(7, 7, 5);
    CYuv2Rgb<T>(false).exec(&in, &out);
    CImage<T> want(3, 2, 3);
    want.setName("frame");
    for (int c = 0; c < 3; ++c)
        want.setChannelInfo(std::string(1, "RGB"[c]).c_str(), c);
    expectSameImage(out, want);

    // HSI: channel 3 is past the last complete group, never written.
    CImage<T> fourIn = pixels<T>(2, 1, 4, {0, 1, 0, 1, 0, 1, 0, 1}), fourOut(2, 1, 4);
    fourOut.setPixel(1, 0, 3, T(77));
    CHsiRgbFilter<T>(0).exec(&fourIn, &fourOut);
    EXPECT_EQ(fourOut.getPixel(1, 0, 3), T(77));
    // 3 * 0.3333333333 rounds to 1 in float and truncates to 0 otherwise.
    EXPECT_EQ(fourOut.getPixel(1, 0, 2), T(tirn::isIntegerPixel<T>() ? 0 : 1));
    // Two channels: no group, only the resize.
    CImage<T> two(3, 2, 2), small(1, 1, 1);
    two.setPixel(0, 0, 0, T(9));
    CHsiRgbFilter<T>(1).exec(&two, &small);
    expectSameImage(small, CImage<T>(3, 2, 2));
    // Another mode converts nothing; SetMode changes it.
    CImage<T> rgb = randomTestImage<T>(3, 3, 3, 5);
    CImage<T> same(rgb);
    CHsiRgbFilter<T> hsi(2);
    hsi.exec(&rgb, &same);
    expectSameImage(same, rgb);
    hsi.SetMode(0);
    hsi.exec(&rgb, &same);
    EXPECT_EQ(same.getPixel(0, 0, 2), run(CHsiRgbFilter<T>(0), rgb).getPixel(0, 0, 2));
}

// The 8-bit path computes in integers what is defined in double: every one
// of the 2^24 inputs, with and without offsets, on every SIMD target.
TEST(ColourSpace, YuvAtDepth8MatchesTheReferenceOnEveryInput)
{
    CImage<unsigned char> in(4096, 4096, 3);
    for (int i = 0; i < 1 << 24; ++i)
        for (int c = 0; c < 3; ++c)
            in.getChannelDataPtr(c)[i] = static_cast<unsigned char>(i >> (16 - 8 * c));
    for (bool bOffset : {false, true})
        for (std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
            SCOPED_TRACE(testing::Message() << bOffset << " " << hwy::TargetName(target));
            hwy::SetSupportedTargetsForTest(target);
            expectFastMatchesReference([&] { return run(CYuv2Rgb<unsigned char>(bOffset), in); });
        }
    hwy::SetSupportedTargetsForTest(0);
}

TEST(ColourSpace, HsiRgb2HsiAndNormalizedRgbWorkedValuesAndRefusals)
{
    expectPixel(hsiRgb<float>({1, 0, 0}, 0), 0, 0, {0.0f, 1.0f, float(0.3333333333)});
    expectPixel(hsiRgb<float>({0, 0, 1}, 0), 0, 0,
                {0.6666666865348816f, 1.0f, 0.3333333432674408f});
    // The intensity falls a hair short of 0.5, so grey gets a tiny
    // negative saturation.
    expectPixel(hsiRgb<float>({0.5f, 0.5f, 0.5f}, 0), 0, 0,
                {0.0f, float(1.0 - 0.5 / (1.5 * 0.3333333333)), float(1.5 * 0.3333333333)});
    expectPixel(hsiRgb<float>({0, 0, 0}, 0), 0, 0, {0.0f, 0.0f, 0.0f});
    expectPixel(hsiRgb<float>({0, 0, 0.5f}, 1), 0, 0, {0.5f, 0.5f, 0.5f});

    // Integer depths truncate every result. I = 255 * 0.3333333333 =
    // 84.99999999; the hue of blue (2/3) becomes 0.
    expectPixel<unsigned char>(hsiRgb<unsigned char>({255, 0, 0}, 0), 0, 0, {0, 1, 84});
    expectPixel<unsigned char>(hsiRgb<unsigned char>({0, 0, 255}, 0), 0, 0, {0, 1, 84});
    expectPixel<unsigned short>(hsiRgb<unsigned short>({200, 100, 50}, 0), 0, 0, {0, 0, 116});
    // H 0, S 1, I 90 back to RGB: R = 270.0000125, wrapped to 14 in 8
    // bits; G a hair below 0 truncates to 0.
    expectPixel<unsigned char>(hsiRgb<unsigned char>({0, 1, 90}, 1), 0, 0, {14, 0, 0});
    expectPixel<unsigned short>(hsiRgb<unsigned short>({0, 1, 90}, 1), 0, 0, {270, 0, 0});
    // Every sector of the hue circle comes back to its colour.
    const float afColours[][3] = {{0.25f, 0.5f, 0.375f}, {0.75f, 0.125f, 0.5f},
                                  {0.5f, 0.25f, 0.125f}, {0.125f, 0.25f, 0.875f}};
    for (const auto& rgb : afColours) {
        const CImage<float> back =
            run(CHsiRgbFilter<float>(1), hsiRgb<float>({rgb[0], rgb[1], rgb[2]}, 0));
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(back.getPixel(0, 0, c), rgb[c], 2e-6f) << c;
    }

    // Channel 1 is deselected; (1, 0) is black: no saturation.
    CImage<float> in = pixels<float>(2, 1, 4, {0.25f, 0, 9, 0, 0.5f, 0, 0.375f, 0});
    in.setName("picture");
    CRGB2HSI<float> op;
    CImage<float> want = pixels<float>(2, 1, 3, {0, 0, 0.5f, 0, 0.5f, 0});
    want.setName("picture");
    for (int c = 0; c < 3; ++c)
        want.setChannelInfo(std::array{"Hue(empty)", "Saturation", "Intensity"}[c], c);
    expectSameImage(run(op, in, "X#XX"), want);

    CImage<unsigned char> in8 =
        pixels<unsigned char>(4, 1, 3, {0, 255, 10, 255, 0, 0, 20, 255, 0, 0, 30, 255});
    in8.setName("scene");
    CNormalizeRGB<unsigned char> n8;
    // 42.5 and 85 truncated at (2, 0).
    CImage<unsigned char> want8 = pixels<unsigned char>(4, 1, 2, {0, 255, 42, 85, 0, 0, 85, 85});
    want8.setName("scene");
    want8.setChannelInfo("normed_r", 0);
    want8.setChannelInfo("normed_g", 1);
    expectSameImage(run(n8, in8), want8);

    CNormalizeRGB<unsigned short> n16; // scaled to 0...255 here too
    expectPixel<unsigned short>(run(n16, filled<unsigned short>(1, 1, {1000, 3000, 0})), 0, 0,
                                {63, 191});
    CNormalizeRGB<float> n32;
    const CImage<float> out32 = run(n32, pixels<float>(2, 1, 3, {1, 0, 1, 0, 2, 0}));
    expectPixel(out32, 0, 0, {0.25f, 0.25f});
    EXPECT_TRUE(std::isnan(out32.getPixel(1, 0, 0))); // 0 / 0, unguarded
    EXPECT_TRUE(std::isnan(out32.getPixel(1, 0, 1)));

    CImage<unsigned char> rgb8(3, 2, 3);
    rgb8.setPixel(0, 0, 0, 200);
    const CImage<float> twoChannels(2, 2, 2);
    CRGB2HSI<unsigned char> h8;
    CNormalizeRGB<float> n;
    CRGB2HSI<float> h;
    EXPECT_EQ(stdoutOf([&] {
                  expectSameImage(run(h8, rgb8), CImage<unsigned char>(3, 2, 3));
                  EXPECT_EQ(run(n, twoChannels).channels(), 2);
                  EXPECT_EQ(run(h, twoChannels).channels(), 3);
              }),
              "Illegal depth for RGB2HSI!\n"
              "NormalizeRGB needs 3 channels (R, G and B), got 2!\n"
              "RGB2HSI needs 3 channels (R, G and B), got 2!\n");
}

// A scale that writes nothing leaves the -7s.
TEST(ColourScales, SegmentsThirdsSpiralEndsHexconeAndNaN)
{
    const float fNaN = std::nanf("");
    // Lehmann's spiral, one turn from angle 0, as in the colour maps.
    const auto lehmann = [](float v, float& r, float& g, float& b) {
        lehmannColorScale(v, r, g, b, 6.2831855f, 0.0f);
    };
    const struct
    {
        void (*scale)(float, float&, float&, float&);
        float v, r, g, b;
    } cases[] = {
        {pseudoColorScale, 0.0f, 0.0f, 0.0f, 0.0f},
        {pseudoColorScale, 0.25f, 0.0f, 0.75f, 1.0f},   // t = 1.75
        {pseudoColorScale, 0.375f, 0.0f, 1.0f, 0.375f}, // t = 2.625
        {pseudoColorScale, 0.5f, 0.5f, 1.0f, 0.0f},     // t = 3.5
        {pseudoColorScale, 0.625f, 1.0f, 0.625f, 0.0f}, // t = 4.375
        {pseudoColorScale, 0.75f, 1.0f, 0.0f, 0.25f},   // t = 5.25
        {pseudoColorScale, 1.0f, 1.0f, 1.0f, 1.0f},
        // Outside 0...1 the end segments run on.
        {pseudoColorScale, -0.5f, 0.0f, 0.0f, -3.5f},
        {pseudoColorScale, 1.5f, 1.0f, 4.5f, 1.0f},
        {pseudoColorScale, fNaN, -7.0f, -7.0f, -7.0f},
        {heatedObjectScale, 0.25f, 0.75f, 0.0f, 0.0f},
        {heatedObjectScale, 0.5f, 1.0f, 0.5f, 0.0f},
        {heatedObjectScale, 1.0f, 1.0f, 1.0f, 1.0f},
        // No float equals the double 2/3: float(2/3) lies above it, and 3 * it
        // rounds to 2, so blue is 0 from the top row rather than the middle one.
        {heatedObjectScale, 2.0f / 3.0f, 1.0f, 1.0f, 0.0f},
        {heatedObjectScale, fNaN, -7.0f, -7.0f, -7.0f},
        {magentaScale, 0.25f, 0.75f, 0.0f, 0.0f},
        {magentaScale, 0.5f, 1.0f, 0.0f, 0.5f},
        {magentaScale, 1.0f, 1.0f, 1.0f, 1.0f},
        {magentaScale, fNaN, -7.0f, -7.0f, -7.0f},
        {lehmann, 0.0f, 0.0f, 0.0f, 0.0f},
        // 0.28867513 * 2 * float(1.7320508) stored as float: one step below 1.
        {lehmann, 1.0f, 0.99999994f, 0.99999994f, 0.99999994f},
    };
    for (const auto& c : cases) {
        float r = -7.0f, g = -7.0f, b = -7.0f;
        c.scale(c.v, r, g, b);
        SCOPED_TRACE(testing::Message() << (c.scale == pseudoColorScale ? "pseudo " : "") << c.v);
        EXPECT_EQ((std::vector<float>{r, g, b}), (std::vector<float>{c.r, c.g, c.b}));
    }

    const struct
    {
        float h, s, v, r, g, b;
    } hsvCases[] = {{0.0f, 1.0f, 1.0f, 1.0f, 0.0f, 0.0f},
                    {0.25f, 1.0f, 1.0f, 0.5f, 1.0f, 0.0f},  // sector 1, f = 0.5
                    {0.5f, 1.0f, 1.0f, 0.0f, 1.0f, 1.0f},   // sector 3, f = 0
                    {0.75f, 0.5f, 1.0f, 0.75f, 0.5f, 1.0f}, // sector 4, f = 0.5
                    {0.5f, 0.0f, 0.5f, 0.5f, 0.5f, 0.5f},
                    // Hues outside [0, 1) write nothing.
                    {1.0f, 1.0f, 1.0f, 0.125f, 0.25f, 0.375f},
                    {-0.01f, 1.0f, 1.0f, 0.125f, 0.25f, 0.375f},
                    {7.5f, 1.0f, 1.0f, 0.125f, 0.25f, 0.375f},
                    {std::nanf(""), 1.0f, 1.0f, 0.125f, 0.25f, 0.375f},
                    {std::numeric_limits<float>::infinity(), 1.0f, 1.0f, 0.125f, 0.25f, 0.375f}};
    for (const auto& c : hsvCases) {
        float r = 0.125f, g = 0.25f, b = 0.375f;
        hsvTorgb(c.h, c.s, c.v, r, g, b);
        SCOPED_TRACE(testing::Message() << c.h << " " << c.s);
        EXPECT_EQ((std::vector<float>{r, g, b}), (std::vector<float>{c.r, c.g, c.b}));
    }
}

TEST(Colormap, ScalesTimes255ChannelsHueOutsideAndIntegerWrap)
{
    const CImage<float> row = pixels<float>(3, 1, 1, {0, 0.5f, 1});
    const CImage<float> two = pixels<float>(1, 1, 2, {0.5f, 0.25f});
    const CImage<float> three = pixels<float>(1, 1, 3, {1, 2, -1});
    const struct
    {
        const CImage<float>& in;
        TColormapType type;
        int x;
        float r, g, b;
    } cases[] = {
        {row, COLORMAP_PSEUDO, 1, 127.5f, 255.0f, 0.0f},
        {row, COLORMAP_HEATED, 1, 255.0f, 127.5f, 0.0f},
        {row, COLORMAP_GRAY, 1, 127.5f, 127.5f, 127.5f},
        {two, COLORMAP_RED_BLUE, 0, 127.5f, 0.0f, 63.75f},
        {two, COLORMAP_GREEN_BLUE, 0, 0.0f, 127.5f, 63.75f},
        {two, COLORMAP_MAGENTA_GREEN, 0, 127.5f, 63.75f, 127.5f},
        // Hue 0.5, saturation 0.25, value 1: sector 3 gives (p, q, v).
        {two, COLORMAP_HSV, 0, 191.25f, 255.0f, 255.0f},
        {three, COLORMAP_RGB, 0, 255.0f, 510.0f, -255.0f},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.type));
        const CImage<float> out = colourMap(c.in, c.type);
        ASSERT_EQ(out.channels(), 3);
        expectPixel(out, c.x, 0, {c.r, c.g, c.b});
    }

    // Full saturation; (1, 0) with hue -0.5 follows (0, 1) in column
    // order, and (0, 0), visited first, has no colour before it.
    const CImage<float> in = pixels<float>(2, 2, 2, {1, -0.5f, 0.25f, 0, 1, 1, 1, 1});
    const CImage<float> out = colourMap(in, COLORMAP_HSV);
    expectPixel(out, 0, 0, {0.0f, 0.0f, 0.0f});
    expectPixel(out, 0, 1, {127.5f, 255.0f, 0.0f}); // yellow-green
    expectPixel(out, 1, 0, {127.5f, 255.0f, 0.0f});
    expectPixel(out, 1, 1, {255.0f, 0.0f, 0.0f});

    const CImage<unsigned char> in8 = pixels<unsigned char>(3, 1, 1, {2, 1, 0});
    expectPixel<unsigned char>(colourMap(in8, COLORMAP_GRAY), 0, 0, {254, 254, 254}); // 510
    // Pseudo colour of 2: t = 14, (1, 8, 1), green 2040 wraps to 248.
    expectPixel<unsigned char>(colourMap(in8, COLORMAP_PSEUDO), 0, 0, {255, 248, 255});
    // Lehmann's white lands one float step below 1: 254.99998 truncates.
    expectPixel<unsigned char>(colourMap(in8, COLORMAP_LEHMANN), 1, 0, {254, 254, 254});
    // 76500 mod 65536.
    expectPixel<unsigned short>(colourMap(filled<unsigned short>(1, 1, {300}), COLORMAP_GRAY), 0, 0,
                                {10964, 10964, 10964});
}

template <class T> using ColormapTyped = ::testing::Test;
TYPED_TEST_SUITE(ColormapTyped, PixelTypes);

TYPED_TEST(ColormapTyped, RefusalsAfterTheResizeAndDepthPrintsItsLine)
{
    using T = TypeParam;
    const char* const pcChannels = "Wrong number of channels";
    for (auto [iChannels, iType, pcMessage] :
         {std::tuple{2, 9, pcChannels}, {3, 5, pcChannels}, {1, 7, pcChannels},
          {0, 0, pcChannels}, {3, 10, "Wrong color type"}, {1, -1, "Wrong color type"}}) {
        CImage<T> in(4, 3, iChannels);
        CImage<T> out(9, 9, 1);
        out.setPixel(0, 0, 0, T(7));
        CColormap<T> map{TColormapType(iType)};
        map.setInput(&in);
        map.setOutput(&out);
        expectRefusal([&] { map.exec(); }, pcMessage);
        // Refused at the first pixel: resized, nothing rendered.
        expectSameImage(out, CImage<T>(4, 3, 3));
    }
    // Without a pixel no colour is asked for, so nothing is refused.
    expectSameImage(colourMap(CImage<T>(0, 5, 1), TColormapType(42)), CImage<T>(0, 5, 3));

    CColormap<TypeParam> map(COLORMAP_GRAY);
    CImage<TypeParam> image(2, 2, 1);
    map.setInput(&image);
    expectRefusal([&] { map.exec(); }, "CColormap: set the input and output images before exec()!");
    const int iDepth = tirn::PixelTraits<TypeParam>::depth;
    EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(map.depth(), iDepth); }),
              " depth " + std::to_string(iDepth) + "\n");
}
