// Convolution filters: masks, border sums, wrap-around, the row driver
// against the per-pixel reference.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "FastVsReference.h"
#include "FilterRun.h"
#include "PixelTypes.h"
#include "filters/CGaussFilter.h"
#include "filters/CGenericConvolution.h"
#include "filters/CMeanFilter.h"
#include "filters/CSobelFilter.h"

namespace {

std::vector<float> maskOf(const CConvolution<float>& f)
{
    return std::vector<float>(f.mask(), f.mask() + f.maskWidth() * f.maskHeight());
}

} // namespace

TEST(GaussFilter, MasksTheCornerFadeAndWideBandwidths)
{
    CGaussFilter<float> gauss;
    EXPECT_TRUE(gauss.mmxAllowed());
    EXPECT_EQ(stdoutOf([&] { gauss.setBandwidth(1.0f); }), "\n\n\n");
    EXPECT_EQ(gauss.maskWidth(), 3);
    EXPECT_EQ(maskOf(gauss), (std::vector<float>{6, 10, 6, 10, 16, 10, 6, 10, 6}));
    EXPECT_EQ(gauss.factor(), 0.0125f);
    CImage<float> out = run(gauss, filled<float>(5, 4, {100.0f}));
    EXPECT_EQ(out.getPixel(2, 2, 0), 100.0f);
    EXPECT_EQ(out.getPixel(0, 0, 0), 52.5f); // 42 of 80 weight units
    EXPECT_EQ(out.getPixel(4, 3, 0), 52.5f);
    EXPECT_EQ(out.getPixel(2, 0, 0), 0.0125f * 5800.0f); // edge: 58 units

    stdoutOf([&] { gauss.setBandwidth(0.5f); });
    EXPECT_EQ(maskOf(gauss), (std::vector<float>{0, 2, 0, 2, 16, 2, 0, 2, 0}));
    EXPECT_EQ(gauss.factor(), float(1.0 / 24));
    // 3*2 = 6 is even: size 7, peak 50/7 = 7.
    EXPECT_EQ(stdoutOf([&] { gauss.setBandwidth(2.0f); }), std::string(7, '\n'));
    EXPECT_EQ(gauss.maskWidth(), 7);
    EXPECT_EQ(gauss.mask()[3 * 7 + 3], 7.0f);
    gauss.prohibitMMX();
    EXPECT_FALSE(gauss.mmxAllowed());

    // Wide: every weight 0, an infinite factor, NaN results.
    EXPECT_EQ(stdoutOf([&] { gauss.setBandwidth(60.0f); }).size(), 181u);
    EXPECT_EQ(maskOf(gauss), std::vector<float>(181 * 181, 0.0f));
    EXPECT_EQ(gauss.factor(), std::numeric_limits<float>::infinity());
    out = run(gauss, filled<float>(3, 2, {7.0f}));
    EXPECT_TRUE(std::isnan(out.getPixel(0, 0, 0)));
    EXPECT_TRUE(std::isnan(out.getPixel(2, 1, 0)));
    stdoutOf([&] { gauss.setBandwidth(-1.0f); }); // size below 1: no weights at all
    EXPECT_EQ(gauss.factor(), std::numeric_limits<float>::infinity());
    EXPECT_THROW(gauss.setBandwidth(std::nanf("")), CException);
    EXPECT_THROW(gauss.setBandwidth(1e9f), CException);
}

template <class T> class ConvolutionTyped : public ::testing::Test
{
};
TYPED_TEST_SUITE(ConvolutionTyped, PixelTypes);

TYPED_TEST(ConvolutionTyped, MeanAveragesWhatExists)
{
    using T = TypeParam;
    CMeanFilter<T> mean;
    EXPECT_FALSE(mean.mmxAllowed());
    mean.setNeighborhood(3, 3);
    expectSameImage(run(mean, filled<T>(4, 3, {T(9)})), filled<T>(4, 3, {T(9)}));

    // Sums over the pixels inside, truncated at 8 and 16 bits: 21/6 at (1, 0).
    expectSameImage(run(mean, counting<T>(3, 3)),
                    pixels<T>(3, 3, 1, {3, 3.5, 4, 4.5, 5, 5.5, 6, 6.5, 7}));
    mean.setNeighborhood(5, 7); // larger than the image: all border
    expectSameImage(run(mean, counting<T>(3, 3)), filled<T>(3, 3, {T(5)}));
}

// One weight, one pixel: products truncate and wrap at the integer depths.
TYPED_TEST(ConvolutionTyped, TruncationAndWrap)
{
    using T = TypeParam;
    const bool b8 = sizeof(T) == 1, b16 = sizeof(T) == 2;
    const struct
    {
        float fWeight, fFactor;
        T in, out;
    } cases[] = {
        {2, 1, T(200), T(b8 ? 144 : 400)},
        {2, 1, T(b16 ? 40000 : 100), T(b16 ? 14464 : 200)}, // 80000 mod 65536
        {-1, 1, T(1), T(b8 ? 255 : b16 ? 65535 : -1)},
        {1, 1.0f / 3.0f, T(8), T(b8 || b16 ? 2 : 8.0f * (1.0f / 3.0f))},
    };
    CGenericConvolution<T> conv;
    for (auto c : cases) {
        conv.setParameters(&c.fWeight, c.fFactor, 1, 1);
        EXPECT_EQ(run(conv, filled<T>(2, 2, {c.in})).getPixel(1, 1, 0), c.out) << c.fWeight;
    }
}

TYPED_TEST(ConvolutionTyped, SobelResponses)
{
    using T = TypeParam;
    CSobelFilter<T> sobel;
    EXPECT_TRUE(sobel.mmxAllowed());
    // Columns 0, 0, 80: the horizontal kernel gives -320 before the factor,
    // wrapped at the integer depths.
    const CImage<T> out = run(sobel, pixels<T>(3, 3, 1, {0, 0, 80, 0, 0, 80, 0, 0, 80}));
    EXPECT_EQ(out.getPixel(1, 1, 0),
              T(sizeof(T) == 4 ? -(0.0626f * -320.0f) : sizeof(T) == 2 ? 65516 : 236));
    // Corner (0,0): only the right column's weights -1 (row 1), -2 (row 2)
    // meet pixels, and of those only column 1 (value 0) lies inside.
    EXPECT_EQ(out.getPixel(0, 0, 0), T(0));
}

TEST(SobelFilter, KernelsFactorsAndFallback)
{
    CSobelFilter<float> sobel(5, CSobelFilter<float>::HORIZONTAL);
    EXPECT_EQ(maskOf(sobel), (std::vector<float>{1, 2, 0, -2, -1, 4, 8, 0, -8, -1, 6, 12, 0, -12,
                                                 -6, 4, 8, 0, -8, -1, 1, 2, 0, -2, -1}));
    EXPECT_EQ(sobel.factor(), 0.0104266f);
    sobel.setDirection(CSobelFilter<float>::VERTICAL);
    EXPECT_EQ(maskOf(sobel), (std::vector<float>{-1, -4, -16, -4, -1, -2, -8, -12, -8, -2, 0, 0, 0,
                                                 0, 0, 2, 8, 12, 8, 2, 1, 4, 6, 4, 1}));
    sobel.setNeighborhood(3, 3);
    EXPECT_EQ(maskOf(sobel), (std::vector<float>{1, 2, 1, 0, 0, 0, -1, -2, -1}));
    EXPECT_EQ(sobel.factor(), 0.0626f);
    EXPECT_NE(sobel.factor(), 1.0f / 16);

    EXPECT_EQ(stdoutOf([&] {
                  sobel.setNeighborhood(4, 4);
                  sobel.setParameters(3, 5);
              }),
              " Only 3x3 anf 5x5 sobel filter implemented! Switching to 5x5\n"
              " Only 3x3 anf 5x5 sobel filter implemented! Switching to 5x5\n");
    EXPECT_EQ(sobel.maskWidth(), 5);
    EXPECT_EQ(sobel.mask()[2], -16.0f);

    // An unknown direction loads nothing and keeps the previous mask.
    sobel.setDirection(static_cast<CSobelFilter<float>::TDirection>(2));
    sobel.setNeighborhood(3, 3);
    EXPECT_EQ(sobel.maskWidth(), 5);
    EXPECT_EQ(sobel.mask()[2], -16.0f);

    CSobelFilter<float> standard;
    EXPECT_EQ(standard.direction(), CSobelFilter<float>::HORIZONTAL);
    EXPECT_EQ(maskOf(standard), (std::vector<float>{1, 0, -1, 2, 0, -2, 1, 0, -1}));

    // Depth 32 responses are never negative, either direction.
    const CImage<float> noise = randomTestImage<float>(9, 8, 1, 3);
    for (auto dir : {CSobelFilter<float>::HORIZONTAL, CSobelFilter<float>::VERTICAL}) {
        CSobelFilter<float> s(5, dir);
        const CImage<float> out = run(s, noise);
        const float* p = out.getChannelDataPtr(0);
        EXPECT_GE(*std::min_element(p, p + out.pixelsPerChannel()), 0.0f) << dir;
    }
}

TEST(ConvolutionState, IntegerMaskDivisorAndRefusals)
{
    CGenericConvolution<unsigned char> conv;
    EXPECT_FALSE(conv.mmxAllowed());
    float weights[6] = {1.9f, -2.7f, 70000.0f, 0.5f, -1.0f, 3.0f};
    conv.setParameters(weights, 0.3f, 3, 2);
    const short* p = conv.integerMask();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 32, 0u);
    EXPECT_EQ(std::vector<short>(p, p + 8), (std::vector<short>{1, -2, 4464, 0, 0, -1, 3, 0}));
    EXPECT_EQ(conv.integerDivisor(), 3);
    conv.setParameters(weights, 0.001f, 3, 2);
    EXPECT_EQ(conv.integerDivisor(), 231); // 0.001f is above 1/1000: 999 mod 256
    weights[0] = 99.0f; // the mask is a copy
    EXPECT_EQ(conv.mask()[0], 1.9f);

    // No mask yet: exec is refused before the target is touched.
    CMeanFilter<float> mean;
    CImage<float> src = filled<float>(2, 2, {1.0f}), tgt(1, 1, 1);
    mean.setInput(&src);
    mean.setOutput(&tgt);
    expectRefusal([&] { mean.exec(); }, "CConvolution: no mask set! Set the mask before exec().");
    EXPECT_EQ(tgt.width(), 1);
    EXPECT_THROW(mean.setNeighborhood(10000, 10000), CException);
}

TEST(ConvolutionState, EvenAndDegenerateSizes)
{
    // A 2x2 mask spans 3x3 positions; the missing column and row weigh 0.
    CGenericConvolution<float> conv;
    float weights[4] = {1, 2, 3, 4};
    conv.setParameters(weights, 1.0f, 2, 2);
    CImage<float> out = run(conv, counting<float>(3, 3));
    EXPECT_EQ(out.getPixel(1, 1, 0), 1 * 1 + 2 * 2 + 3 * 4 + 4 * 5.0f);
    EXPECT_EQ(out.getPixel(0, 0, 0), 4 * 1.0f); // only (0,0) under weight 4

    // A mean filter with an even side counts the zero-weight positions too.
    CMeanFilter<float> mean;
    mean.setNeighborhood(2, 1);
    EXPECT_EQ(run(mean, counting<float>(3, 1)).getPixel(1, 0, 0), (1 + 2) / 3.0f);

    // Sizes the scripting layer passes on unchecked: no crash, defined values.
    mean.setNeighborhood(0, 0);
    EXPECT_EQ(run(mean, counting<float>(2, 2)).getPixel(1, 1, 0), 0.0f);
    mean.setNeighborhood(-3, -3);
    EXPECT_TRUE(std::isnan(run(mean, counting<float>(2, 2)).getPixel(1, 1, 0)));

    float nanFactor = 1.0f;
    conv.setParameters(&nanFactor, std::nanf(""), 1, 1); // NaN counts as a factor
    EXPECT_TRUE(std::isnan(run(conv, counting<float>(2, 1)).getPixel(0, 0, 0)));
}

TEST(ConvolutionState, OnlySelectedChannelsAreFiltered)
{
    CMeanFilter<unsigned short> mean;
    mean.setNeighborhood(3, 3);
    const CImage<unsigned short> out =
        run(mean, numbered<unsigned short>(3, 3, 2, 100, 3, 1), "#X");
    EXPECT_EQ(out.getPixel(0, 0, 0), 1);
    EXPECT_EQ(out.getPixel(0, 0, 1), 103);
    EXPECT_EQ(out.getPixel(1, 1, 1), 105);
}
