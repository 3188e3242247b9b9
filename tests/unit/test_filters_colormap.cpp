// Colour maps: the five scales, the ten schemes, the refusals, the wrap at
// integer depths and the colour carried over where a scale writes nothing.
#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "FastVsReference.h"
#include "FilterRun.h"
#include "PixelTypes.h"
#include "filters/CColormap.h"

namespace {

template <class T> CImage<T> render(const CImage<T>& input, TColormapType type)
{
    CImage<T> in(input);
    CImage<T> out(1, 1, 1);
    CColormap<T> map(type);
    map.setInput(&in);
    map.setOutput(&out);
    map.exec();
    return out;
}

template <class T> void expectPixel(const CImage<T>& image, int x, int y, T r, T g, T b)
{
    EXPECT_EQ(image.getPixel(x, y, 0), r) << "at " << x << "," << y;
    EXPECT_EQ(image.getPixel(x, y, 1), g) << "at " << x << "," << y;
    EXPECT_EQ(image.getPixel(x, y, 2), b) << "at " << x << "," << y;
}

} // namespace

// A scale that writes nothing leaves the -7s.
TEST(ColourScales, SegmentsThirdsAndNaN)
{
    const float fNaN = std::nanf("");
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
    };
    for (const auto& c : cases) {
        float r = -7.0f, g = -7.0f, b = -7.0f;
        c.scale(c.v, r, g, b);
        SCOPED_TRACE(testing::Message() << (c.scale == pseudoColorScale ? "pseudo " : "") << c.v);
        EXPECT_EQ((std::vector<float>{r, g, b}), (std::vector<float>{c.r, c.g, c.b}));
    }
}

TEST(ColourScales, LehmannSpiralEndsAtBlackAndAlmostWhite)
{
    float r = -1.0f, g = -1.0f, b = -1.0f;
    lehmannColorScale(0.0f, r, g, b, 6.2831855f, 0.0f);
    EXPECT_EQ((std::vector<float>{r, g, b}), (std::vector<float>{0, 0, 0}));
    lehmannColorScale(1.0f, r, g, b, 6.2831855f, 0.0f);
    // 0.28867513 * 2 * float(1.7320508) stored as float: one step below 1.
    EXPECT_EQ((std::vector<float>{r, g, b}), std::vector<float>(3, 0.99999994f));
    // Halfway round the spiral the colour leaves the grey axis but keeps the
    // grey level.
    lehmannColorScale(0.5f, r, g, b, 6.2831855f, 0.0f);
    EXPECT_NE(r, b);
    EXPECT_NEAR(r + g + b, 1.5f, 1e-5f);
}

TEST(ColourScales, HsvHexconeSectorsAndHuesOutside)
{
    const struct
    {
        float h, s, v, r, g, b;
    } cases[] = {{0.0f, 1.0f, 1.0f, 1.0f, 0.0f, 0.0f},
                 {0.25f, 1.0f, 1.0f, 0.5f, 1.0f, 0.0f},   // sector 1, f = 0.5
                 {0.5f, 1.0f, 1.0f, 0.0f, 1.0f, 1.0f},    // sector 3, f = 0
                 {0.75f, 0.5f, 1.0f, 0.75f, 0.5f, 1.0f},  // sector 4, f = 0.5
                 {0.5f, 0.0f, 0.5f, 0.5f, 0.5f, 0.5f},
                 // Hues outside [0, 1) write nothing.
                 {1.0f, 1.0f, 1.0f, 0.125f, 0.25f, 0.375f},
                 {-0.01f, 1.0f, 1.0f, 0.125f, 0.25f, 0.375f},
                 {7.5f, 1.0f, 1.0f, 0.125f, 0.25f, 0.375f},
                 {std::nanf(""), 1.0f, 1.0f, 0.125f, 0.25f, 0.375f},
                 {std::numeric_limits<float>::infinity(), 1.0f, 1.0f, 0.125f, 0.25f, 0.375f}};
    for (const auto& c : cases) {
        float r = 0.125f, g = 0.25f, b = 0.375f;
        hsvTorgb(c.h, c.s, c.v, r, g, b);
        SCOPED_TRACE(testing::Message() << c.h << " " << c.s);
        EXPECT_EQ((std::vector<float>{r, g, b}), (std::vector<float>{c.r, c.g, c.b}));
    }
}

TEST(ColormapFloat, ScalesTimes255AndChannelAssignments)
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
        {row, COLORMAP_PSEUDO, 0, 0.0f, 0.0f, 0.0f},
        {row, COLORMAP_PSEUDO, 1, 127.5f, 255.0f, 0.0f},
        {row, COLORMAP_PSEUDO, 2, 255.0f, 255.0f, 255.0f},
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
        const CImage<float> out = render(c.in, c.type);
        ASSERT_EQ(out.channels(), 3);
        expectPixel(out, c.x, 0, c.r, c.g, c.b);
    }
}

TEST(ColormapFloat, HueOutsideKeepsThePreviousPixelInColumnOrder)
{
    // Full saturation; (1, 0) with hue -0.5 follows (0, 1) in column
    // order, and (0, 0), visited first, has no colour before it.
    const CImage<float> in = pixels<float>(2, 2, 2, {1, -0.5f, 0.25f, 0, 1, 1, 1, 1});
    const CImage<float> out = render(in, COLORMAP_HSV);
    expectPixel(out, 0, 0, 0.0f, 0.0f, 0.0f);
    expectPixel(out, 0, 1, 127.5f, 255.0f, 0.0f); // yellow-green
    expectPixel(out, 1, 0, 127.5f, 255.0f, 0.0f);
    expectPixel(out, 1, 1, 255.0f, 0.0f, 0.0f);
}

TEST(ColormapInteger, UnscaledValuesWrapInsteadOfSaturating)
{
    const CImage<unsigned char> in8 = pixels<unsigned char>(3, 1, 1, {2, 1, 0});
    expectPixel<unsigned char>(render(in8, COLORMAP_GRAY), 0, 0, 254, 254, 254); // 510
    // Pseudo colour of 2: t = 14, (1, 8, 1), green 2040 wraps to 248.
    expectPixel<unsigned char>(render(in8, COLORMAP_PSEUDO), 0, 0, 255, 248, 255);
    // Lehmann's white lands one float step below 1: 254.99998 truncates.
    expectPixel<unsigned char>(render(in8, COLORMAP_LEHMANN), 1, 0, 254, 254, 254);
    // 76500 mod 65536.
    expectPixel<unsigned short>(render(filled<unsigned short>(1, 1, {300}), COLORMAP_GRAY), 0, 0,
                                10964, 10964, 10964);
}

TYPED_TEST_SUITE(ColormapTyped, PixelTypes);
template <class T> class ColormapTyped : public ::testing::Test
{
};

TYPED_TEST(ColormapTyped, WrongChannelCountOrTypeAfterTheResize)
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
    expectSameImage(render(CImage<T>(0, 5, 1), TColormapType(42)), CImage<T>(0, 5, 3));
}

TYPED_TEST(ColormapTyped, ExecWithoutImagesIsRefusedAndDepthPrintsItsLine)
{
    CColormap<TypeParam> map(COLORMAP_GRAY);
    CImage<TypeParam> image(2, 2, 1);
    map.setInput(&image);
    expectRefusal([&] { map.exec(); }, "CColormap: set the input and output images before exec()!");
    const int iDepth = tirn::PixelTraits<TypeParam>::depth;
    EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(map.depth(), iDepth); }),
              " depth " + std::to_string(iDepth) + "\n");
}
