// Colour maps: the five scales, the ten schemes, the refusals, the wrap at
// integer depths and the colour carried over where a scale writes nothing.
#include <cmath>
#include <limits>
#include <string>

#include "FastVsReference.h"
#include "PixelTypes.h"
#include "filters/CColormap.h"

namespace {

struct Rgb
{
    float r, g, b;
};

template <class F> Rgb scale(F f, float v)
{
    Rgb c{-7.0f, -7.0f, -7.0f};
    f(v, c.r, c.g, c.b);
    return c;
}

#define EXPECT_RGB(c, R, G, B)                                                \
    do {                                                                      \
        EXPECT_EQ((c).r, R);                                                  \
        EXPECT_EQ((c).g, G);                                                  \
        EXPECT_EQ((c).b, B);                                                  \
    } while (0)

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

TEST(ColourScales, PseudoColourRunsThroughItsSevenSegments)
{
    EXPECT_RGB(scale(pseudoColorScale, 0.0f), 0.0f, 0.0f, 0.0f);
    EXPECT_RGB(scale(pseudoColorScale, 0.25f), 0.0f, 0.75f, 1.0f);   // t = 1.75
    EXPECT_RGB(scale(pseudoColorScale, 0.375f), 0.0f, 1.0f, 0.375f); // t = 2.625
    EXPECT_RGB(scale(pseudoColorScale, 0.5f), 0.5f, 1.0f, 0.0f);     // t = 3.5
    EXPECT_RGB(scale(pseudoColorScale, 0.625f), 1.0f, 0.625f, 0.0f); // t = 4.375
    EXPECT_RGB(scale(pseudoColorScale, 0.75f), 1.0f, 0.0f, 0.25f);   // t = 5.25
    EXPECT_RGB(scale(pseudoColorScale, 1.0f), 1.0f, 1.0f, 1.0f);
    // Outside 0...1 the end segments run on.
    EXPECT_RGB(scale(pseudoColorScale, -0.5f), 0.0f, 0.0f, -3.5f);
    EXPECT_RGB(scale(pseudoColorScale, 1.5f), 1.0f, 4.5f, 1.0f);
    EXPECT_RGB(scale(pseudoColorScale, std::nanf("")), -7.0f, -7.0f, -7.0f);
}

TEST(ColourScales, HeatedObjectAndMagentaThirds)
{
    EXPECT_RGB(scale(heatedObjectScale, 0.25f), 0.75f, 0.0f, 0.0f);
    EXPECT_RGB(scale(heatedObjectScale, 0.5f), 1.0f, 0.5f, 0.0f);
    EXPECT_RGB(scale(heatedObjectScale, 1.0f), 1.0f, 1.0f, 1.0f);
    // No float equals the double 2/3: float(2/3) lies above it, and 3 * it
    // rounds to 2, so blue is 0 from the top row rather than the middle one.
    EXPECT_RGB(scale(heatedObjectScale, 2.0f / 3.0f), 1.0f, 1.0f, 0.0f);
    EXPECT_RGB(scale(heatedObjectScale, std::nanf("")), -7.0f, -7.0f, -7.0f);

    EXPECT_RGB(scale(magentaScale, 0.25f), 0.75f, 0.0f, 0.0f);
    EXPECT_RGB(scale(magentaScale, 0.5f), 1.0f, 0.0f, 0.5f);
    EXPECT_RGB(scale(magentaScale, 1.0f), 1.0f, 1.0f, 1.0f);
    EXPECT_RGB(scale(magentaScale, std::nanf("")), -7.0f, -7.0f, -7.0f);
}

TEST(ColourScales, LehmannSpiralEndsAtBlackAndAlmostWhite)
{
    Rgb black{}, white{};
    lehmannColorScale(0.0f, black.r, black.g, black.b, 6.2831855f, 0.0f);
    EXPECT_RGB(black, 0.0f, 0.0f, 0.0f);
    lehmannColorScale(1.0f, white.r, white.g, white.b, 6.2831855f, 0.0f);
    // 0.28867513 * 2 * float(1.7320508) stored as float: one step below 1.
    EXPECT_EQ(white.r, 0.99999994f);
    EXPECT_EQ(white.g, white.r);
    EXPECT_EQ(white.b, white.r);
    // Halfway round the spiral the colour leaves the grey axis.
    Rgb mid{};
    lehmannColorScale(0.5f, mid.r, mid.g, mid.b, 6.2831855f, 0.0f);
    EXPECT_NE(mid.r, mid.b);
    EXPECT_NEAR(mid.r + mid.g + mid.b, 1.5f, 1e-5f); // the spiral keeps the grey level
}

TEST(ColourScales, HsvHexconeSectorsAndHuesOutside)
{
    Rgb c{};
    hsvTorgb(0.0f, 1.0f, 1.0f, c.r, c.g, c.b);
    EXPECT_RGB(c, 1.0f, 0.0f, 0.0f);
    hsvTorgb(0.25f, 1.0f, 1.0f, c.r, c.g, c.b); // sector 1, f = 0.5
    EXPECT_RGB(c, 0.5f, 1.0f, 0.0f);
    hsvTorgb(0.5f, 1.0f, 1.0f, c.r, c.g, c.b); // sector 3, f = 0
    EXPECT_RGB(c, 0.0f, 1.0f, 1.0f);
    hsvTorgb(0.75f, 0.5f, 1.0f, c.r, c.g, c.b); // sector 4, f = 0.5
    EXPECT_RGB(c, 0.75f, 0.5f, 1.0f);
    hsvTorgb(0.5f, 0.0f, 0.5f, c.r, c.g, c.b);
    EXPECT_RGB(c, 0.5f, 0.5f, 0.5f);
    for (float fHue : {1.0f, -0.01f, 7.5f, std::nanf(""), std::numeric_limits<float>::infinity()}) {
        Rgb kept{0.125f, 0.25f, 0.375f};
        hsvTorgb(fHue, 1.0f, 1.0f, kept.r, kept.g, kept.b);
        SCOPED_TRACE(fHue);
        EXPECT_RGB(kept, 0.125f, 0.25f, 0.375f);
    }
}

TEST(ColormapFloat, ScalesTimes255)
{
    CImage<float> in(3, 1, 1);
    in.setPixel(1, 0, 0, 0.5f);
    in.setPixel(2, 0, 0, 1.0f);
    const CImage<float> pseudo = render(in, COLORMAP_PSEUDO);
    ASSERT_EQ(pseudo.channels(), 3);
    expectPixel(pseudo, 0, 0, 0.0f, 0.0f, 0.0f);
    expectPixel(pseudo, 1, 0, 127.5f, 255.0f, 0.0f);
    expectPixel(pseudo, 2, 0, 255.0f, 255.0f, 255.0f);
    const CImage<float> heated = render(in, COLORMAP_HEATED);
    expectPixel(heated, 1, 0, 255.0f, 127.5f, 0.0f);
    expectPixel(render(in, COLORMAP_GRAY), 1, 0, 127.5f, 127.5f, 127.5f);
}

TEST(ColormapFloat, ChannelAssignments)
{
    CImage<float> two(1, 1, 2);
    two.setPixel(0, 0, 0, 0.5f);
    two.setPixel(0, 0, 1, 0.25f);
    expectPixel(render(two, COLORMAP_RED_BLUE), 0, 0, 127.5f, 0.0f, 63.75f);
    expectPixel(render(two, COLORMAP_GREEN_BLUE), 0, 0, 0.0f, 127.5f, 63.75f);
    expectPixel(render(two, COLORMAP_MAGENTA_GREEN), 0, 0, 127.5f, 63.75f, 127.5f);
    // Hue 0.5, saturation 0.25, value 1: sector 3 gives (p, q, v).
    expectPixel(render(two, COLORMAP_HSV), 0, 0, 191.25f, 255.0f, 255.0f);
    CImage<float> three(1, 1, 3);
    three.setPixel(0, 0, 0, 1.0f);
    three.setPixel(0, 0, 1, 2.0f);
    three.setPixel(0, 0, 2, -1.0f);
    expectPixel(render(three, COLORMAP_RGB), 0, 0, 255.0f, 510.0f, -255.0f);
}

TEST(ColormapFloat, HueOutsideKeepsThePreviousPixelInColumnOrder)
{
    forBothPaths([] {
        CImage<float> in(2, 2, 2);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 2; ++x)
                in.setPixel(x, y, 1, 1.0f); // full saturation
        in.setPixel(0, 0, 0, 1.0f);          // first pixel visited: nothing before it
        in.setPixel(0, 1, 0, 0.25f);        // yellow-green
        in.setPixel(1, 0, 0, -0.5f);        // follows (0, 1) in column order
        in.setPixel(1, 1, 0, 0.0f);         // red
        const CImage<float> out = render(in, COLORMAP_HSV);
        expectPixel(out, 0, 0, 0.0f, 0.0f, 0.0f); // black: no colour before the first
        expectPixel(out, 0, 1, 127.5f, 255.0f, 0.0f);
        expectPixel(out, 1, 0, 127.5f, 255.0f, 0.0f); // (0, 1)'s colour, not (0, 0)'s
        expectPixel(out, 1, 1, 255.0f, 0.0f, 0.0f);
    });
}

TYPED_TEST_SUITE(ColormapTyped, PixelTypes);
template <class T> class ColormapTyped : public ::testing::Test
{
};

TYPED_TEST(ColormapTyped, WrongChannelCountOrTypeAfterTheResize)
{
    using T = TypeParam;
    const struct
    {
        int iChannels;
        int iType;
        const char* pcMessage;
    } cases[] = {{2, 9, "Wrong number of channels"}, {3, 5, "Wrong number of channels"},
                 {1, 7, "Wrong number of channels"}, {0, 0, "Wrong number of channels"},
                 {3, 10, "Wrong color type"},        {1, -1, "Wrong color type"}};
    forBothPaths([&] {
        for (const auto& c : cases) {
            CImage<T> in(4, 3, c.iChannels);
            CImage<T> out(9, 9, 1);
            out.setPixel(0, 0, 0, T(7));
            CColormap<T> map{TColormapType(c.iType)};
            map.setInput(&in);
            map.setOutput(&out);
            try {
                map.exec();
                ADD_FAILURE() << "no exception for type " << c.iType;
            } catch (const CException& e) {
                EXPECT_STREQ(e.what(), c.pcMessage);
            }
            // Refused at the first pixel: resized, nothing rendered.
            EXPECT_EQ(out.width(), 4);
            EXPECT_EQ(out.height(), 3);
            EXPECT_EQ(out.channels(), 3);
            EXPECT_EQ(out.getPixel(0, 0, 0), T(0));
        }
    });
    // Without a pixel no colour is asked for, so nothing is refused.
    forBothPaths([] {
        CImage<T> empty(0, 5, 1), out(1, 1, 1);
        CColormap<T> map{TColormapType(42)};
        map.setInput(&empty);
        map.setOutput(&out);
        EXPECT_NO_THROW(map.exec());
        EXPECT_EQ(out.width(), 0);
        EXPECT_EQ(out.channels(), 3);
    });
}

TYPED_TEST(ColormapTyped, ExecWithoutImagesIsRefused)
{
    CColormap<TypeParam> map(COLORMAP_GRAY);
    CImage<TypeParam> image(2, 2, 1);
    map.setInput(&image);
    try {
        map.exec();
        ADD_FAILURE();
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), "CColormap: set the input and output images before exec()!");
    }
}

TYPED_TEST(ColormapTyped, DepthPrintsItsLine)
{
    CColormap<TypeParam> map(COLORMAP_GRAY);
    testing::internal::CaptureStdout();
    const int iDepth = map.depth();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              " depth " + std::to_string(iDepth) + "\n");
    EXPECT_EQ(iDepth, tirn::PixelTraits<TypeParam>::depth);
}

TEST(ColormapInteger, UnscaledValuesWrapInsteadOfSaturating)
{
    CImage<unsigned char> in8(3, 1, 1);
    in8.setPixel(0, 0, 0, 2);
    in8.setPixel(1, 0, 0, 1);
    expectPixel<unsigned char>(render(in8, COLORMAP_GRAY), 0, 0, 254, 254, 254); // 510
    // Pseudo colour of 2: t = 14, (1, 8, 1), green 2040 wraps to 248.
    expectPixel<unsigned char>(render(in8, COLORMAP_PSEUDO), 0, 0, 255, 248, 255);
    // Lehmann's white lands one float step below 1: 254.99998 truncates.
    expectPixel<unsigned char>(render(in8, COLORMAP_LEHMANN), 1, 0, 254, 254, 254);

    CImage<unsigned short> in16(1, 1, 1);
    in16.setPixel(0, 0, 0, 300); // 76500 mod 65536
    expectPixel<unsigned short>(render(in16, COLORMAP_GRAY), 0, 0, 10964, 10964, 10964);
}

