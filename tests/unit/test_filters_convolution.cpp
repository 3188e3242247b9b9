// Convolution filters: masks, border sums, wrap-around; the mask generator's
// masks (sums, symmetries, rotation, even sizes), its edge-repeating borders,
// per-term truncation and wrap, external masks used as given.
#include <algorithm>
#include <cstdint>
#include <tuple>

#include "FilterRun.h"

namespace {

std::vector<float> maskOf(const CConvolution<float>& f)
{
    return std::vector<float>(f.mask(), f.mask() + f.maskWidth() * f.maskHeight());
}

std::vector<float> generate(int iSize, float fType, float fOrientation = 0.0f, float fZoom = 1.0f)
{
    std::vector<float> mask(std::size_t(iSize) * iSize, -99.0f);
    CConvolutionFilter<float> filter(iSize, fType, fOrientation, fZoom, 0);
    filter.pfMask = mask.data();
    EXPECT_EQ(stderrOf([&] { filter.MaskGenerator(iSize, fType, fOrientation, fZoom); }),
              ""); // no range report
    return mask;
}

void expectSums(const std::vector<float>& mask, double dPositive, double dNegative)
{
    double dPos = 0, dNeg = 0;
    for (float w : mask)
        (w < 0 ? dNeg : dPos) += w;
    EXPECT_NEAR(dPos, dPositive, 1e-6);
    EXPECT_NEAR(dNeg, dNegative, 1e-6);
}

template <class T>
CImage<T> convolve(const CImage<T>& in, std::vector<float>& mask, int iSize, int iExternal = 1,
                   float fType = 0.0f, float fOrientation = 0.0f, float fZoom = 1.0f)
{
    CImage<T> out(1, 1, 1);
    CConvolutionFilter<T> filter(iSize, fType, fOrientation, fZoom, iExternal);
    filter.pfMask = mask.data();
    filter.exec(&in, &out);
    return out;
}

} // namespace

TEST(ConvolutionMasks, GaussAndSobelMasksFactorsBordersAndFallbacks)
{
    CGaussFilter<float> gauss;
    EXPECT_TRUE(gauss.mmxAllowed());
    EXPECT_EQ(stdoutOf([&] { gauss.setBandwidth(1.0f); }), "\n\n\n");
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
}

template <class T> using ConvolutionTyped = ::testing::Test;
TYPED_TEST_SUITE(ConvolutionTyped, PixelTypes);

TYPED_TEST(ConvolutionTyped, MeanAndSobelSumWhatExists)
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

    CSobelFilter<T> sobel;
    EXPECT_TRUE(sobel.mmxAllowed());
    // Columns 0, 0, 80: the horizontal kernel gives -320 before the factor,
    // wrapped at the integer depths.
    const CImage<T> sobelOut = run(sobel, pixels<T>(3, 3, 1, {0, 0, 80, 0, 0, 80, 0, 0, 80}));
    EXPECT_EQ(sobelOut.getPixel(1, 1, 0),
              T(sizeof(T) == 4 ? -(0.0626f * -320.0f) : sizeof(T) == 2 ? 65516 : 236));
    // Corner (0,0): only the right column's weights -1 (row 1), -2 (row 2)
    // meet pixels, and of those only column 1 (value 0) lies inside.
    EXPECT_EQ(sobelOut.getPixel(0, 0, 0), T(0));
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

TEST(ConvolutionState, IntegerMaskDivisorRefusalsEvenAndDegenerateSizes)
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

    // A 2x2 mask spans 3x3 positions; the missing column and row weigh 0.
    CGenericConvolution<float> floatConv;
    float afWeights[4] = {1, 2, 3, 4};
    floatConv.setParameters(afWeights, 1.0f, 2, 2);
    CImage<float> out = run(floatConv, counting<float>(3, 3));
    EXPECT_EQ(out.getPixel(1, 1, 0), 1 * 1 + 2 * 2 + 3 * 4 + 4 * 5.0f);
    EXPECT_EQ(out.getPixel(0, 0, 0), 4 * 1.0f); // only (0,0) under weight 4

    // A mean filter with an even side counts the zero-weight positions too.
    CMeanFilter<float> evenMean;
    evenMean.setNeighborhood(2, 1);
    EXPECT_EQ(run(evenMean, counting<float>(3, 1)).getPixel(1, 0, 0), (1 + 2) / 3.0f);

    // Sizes the scripting layer passes on unchecked: no crash, defined values.
    evenMean.setNeighborhood(0, 0);
    EXPECT_EQ(run(evenMean, counting<float>(2, 2)).getPixel(1, 1, 0), 0.0f);
    evenMean.setNeighborhood(-3, -3);
    EXPECT_TRUE(std::isnan(run(evenMean, counting<float>(2, 2)).getPixel(1, 1, 0)));

    float nanFactor = 1.0f;
    floatConv.setParameters(&nanFactor, std::nanf(""), 1, 1); // NaN counts as a factor
    EXPECT_TRUE(std::isnan(run(floatConv, counting<float>(2, 1)).getPixel(0, 0, 0)));
}

TEST(MaskGenerator, EveryTypeNormalisesBothSignsAndTheAverageKeepsAConstant)
{
    EXPECT_EQ(generate(3, 9.0f), std::vector<float>(9, float(1.0 / 9)));
    // Without a mask set the filter generates one in a buffer of its own.
    CConvolutionFilter<float> filter(3, 9.0f, 0.0f, 1.0f, 0);
    EXPECT_EQ(filter.mask(), nullptr);
    const CImage<float> in = filled<float>(4, 3, {5, 5});
    CImage<float> out(1, 1, 1);
    filter.exec(&in, &out);
    expectSameImage(out, in);
    ASSERT_NE(filter.mask(), nullptr);
    EXPECT_EQ(filter.mask()[4], float(1.0 / 9));

    // Types with both signs: +1 and -1. All-negative "other" types: -1 only.
    for (auto [fType, dPos, dNeg] :
         {std::tuple{2.0f, 1, -1}, {4.0f, 1, -1}, {5.0f, 1, -1}, {6.0f, 1, -1}, {7.0f, 1, -1},
          {8.0f, 1, -1}, {9.7f, 1, 0}, {11.0f, 0, -1}, {-3.0f, 0, -1}}) {
        SCOPED_TRACE(fType);
        expectSums(generate(7, fType, 30.0f, 0.5f), dPos, dNeg);
    }
    // Every cell of an unknown type is -1 before normalisation: -1/49 after.
    EXPECT_EQ(generate(7, 10.0f), std::vector<float>(49, float(1.0f / -49.0f)));
}

TEST(MaskGenerator, GaussAndDerivativeSymmetriesAndTheTurnedBar)
{
    for (int iSize : {3, 5, 6}) {
        const std::vector<float> m = generate(iSize, 0.0f, 0.0f, 2.0f);
        for (int j = 0; j < iSize; ++j)
            for (int i = 0; i < iSize; ++i) {
                const float w = m[iSize * j + i];
                EXPECT_GT(w, 0.0f);
                EXPECT_EQ(w, m[iSize * (iSize - 1 - j) + i]);
                EXPECT_EQ(w, m[iSize * j + iSize - 1 - i]);
                EXPECT_EQ(w, m[iSize * i + j]);
            }
        expectSums(m, 1.0, 0.0);
    }
    // The peak is at the centre and falls off as exp(-r^2).
    const std::vector<float> m = generate(3, 0.0f);
    EXPECT_NEAR(m[4] / m[5], std::exp(1.0), 1e-5);
    EXPECT_NEAR(m[4] / m[0], std::exp(2.0), 1e-5);
    // Size 4: offsets +-0.5 and +-1.5, so the four inner cells are equal and
    // lie at squared radius 0.5.
    const std::vector<float> even = generate(4, 0.0f);
    EXPECT_EQ((std::vector<float>{even[6], even[9], even[10]}), std::vector<float>(3, even[5]));
    EXPECT_NEAR(even[5] / even[0], std::exp(4.0), 1e-4); // 4.5 - 0.5

    for (float fType : {1.0f, 3.0f}) {
        const int n = 5;
        const std::vector<float> d = generate(n, fType, 0.0f, 1.5f);
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i)
                EXPECT_EQ(d[n * j + i], -d[n * (n - 1 - j) + i]) << fType << " " << j << "," << i;
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(std::fabs(d[n * 2 + i]), 0.0f); // the centre row
        expectSums(d, 1.0, -1.0);
        // Type 1 is -2 Y E: negative below the centre row (Y > 0).
        if (fType == 1.0f) {
            EXPECT_LT(d[n * 3 + 2], 0.0f);
            EXPECT_GT(d[n * 1 + 2], 0.0f);
        }
    }

    // A quarter turn transposes the bar, which upright runs down the centre
    // column.
    const int k = 5;
    const std::vector<float> upright = generate(k, 6.0f, 0.0f, 1.0f);
    const std::vector<float> turned = generate(k, 6.0f, 90.0f, 1.0f);
    for (int j = 0; j < k; ++j)
        for (int i = 0; i < k; ++i) {
            EXPECT_NEAR(turned[k * j + i], upright[k * i + j], 1e-6f);
            EXPECT_EQ(upright[k * j + i], upright[k * 0 + i]);
        }
    EXPECT_GT(upright[2], 0.0f);
    EXPECT_LT(upright[0], 0.0f);
}

TEST(MaskConvolution, RefusalsClipToRangeAndPerProductTruncation)
{
    const CImage<unsigned char> in(3, 3, 1);
    CImage<unsigned char> out(1, 1, 1);
    CConvolutionFilter<unsigned char> external(3, 0.0f, 0.0f, 1.0f, 1);
    expectRefusal([&] { external.exec(&in, &out); },
                  "CConvolutionFilter: no mask to convolve with!");
    CConvolutionFilter<unsigned char> huge(100000, 0.0f, 0.0f, 1.0f, 0);
    expectRefusal([&] { huge.exec(&in, &out); },
                  "CConvolutionFilter: mask size 100000 out of range (at most 4096)!");
    for (auto [iValue, iClipped] : {std::pair{-3, 0}, {12, 9}, {4, 4}})
        EXPECT_EQ(CConvolutionFilter<float>::clip2range(0, iValue, 9), iClipped);

    // The centre of a 3x3 image of value under a mask of weight.
    const auto centre = [](auto value, float fWeight, int iSize) {
        std::vector<float> mask(iSize * iSize, fWeight);
        return convolve(filled<decltype(value)>(3, 3, {value}), mask, iSize).getPixel(1, 1, 0);
    };
    // 3 * 0.5 = 1.5 truncates to 1 nine times: 9, not 13.
    EXPECT_EQ(centre((unsigned char)3, 0.5f, 3), 9);
    EXPECT_EQ(centre(3.0f, 0.5f, 3), 13.5f);
    // Negative weights subtract and wrap instead of clamping.
    EXPECT_EQ(centre((unsigned char)5, -1.0f, 1), 251);
    EXPECT_EQ(centre((unsigned short)5, -1.0f, 1), 65531);
    EXPECT_EQ(centre((unsigned char)100, 1.0f, 3), 900 % 256); // large sums wrap too
    // -0.5 truncates to 0 per term: nothing is subtracted.
    EXPECT_EQ(centre((unsigned char)1, -0.5f, 3), 0);
    // Generated average 3 x 3 on a single bright pixel: 90 * 0.11111111 =
    // 10.0000002 per term, truncated to 10 at the pixels that see it once.
    CImage<unsigned char> bright(5, 5, 1);
    bright.setPixel(2, 2, 0, 90);
    std::vector<float> unused;
    const CImage<unsigned char> brightOut = convolve(bright, unused, 3, 0, 9.0f);
    EXPECT_EQ(brightOut.getPixel(1, 1, 0), 10);
    EXPECT_EQ(brightOut.getPixel(3, 2, 0), 10);
    EXPECT_EQ(brightOut.getPixel(0, 0, 0), 0);
}

template <class T> using MaskConvolutionTyped = ::testing::Test;
TYPED_TEST_SUITE(MaskConvolutionTyped, PixelTypes);

TYPED_TEST(MaskConvolutionTyped, ExternalMasksRepeatedEdgesEveryChannelAndInPlace)
{
    using T = TypeParam;
    const CImage<T> in = numbered<T>(3, 2, 1, 0, 10, 1);
    // Size 4, r = 1: weight (j, i) reads (x - 1 + i, y - 1 + j).
    std::vector<float> mask(16, 0.0f);
    mask[0] = 2.0f; // (x - 1, y - 1), not normalised
    const CImage<T> up = convolve(in, mask, 4);
    EXPECT_EQ(mask[0], 2.0f);
    EXPECT_EQ(up.getPixel(0, 0, 0), T(2));  // clipped to (0, 0)
    EXPECT_EQ(up.getPixel(2, 1, 0), T(4));  // (1, 0) = 2
    EXPECT_EQ(up.getPixel(1, 1, 0), T(2));  // (0, 0) = 1
    mask[0] = 0.0f;
    mask[15] = 1.0f; // (x + 2, y + 2)
    const CImage<T> down = convolve(in, mask, 4);
    EXPECT_EQ(down.getPixel(0, 0, 0), T(13)); // clipped to (2, 1)
    EXPECT_EQ(down.getPixel(2, 1, 0), T(13));

    // Every channel is filtered and the target takes the source's shape; in
    // place the target channel is cleared first and the sums read the cleared
    // and already written pixels: the result is all zero.
    const CImage<T> centre = pixels<T>(3, 3, 2, {0, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0, 18});
    std::vector<float> ones(9, 1.0f), quarters(9, 0.25f);
    expectSameImage(convolve(centre, ones, 3), filled<T>(3, 3, {T(9), T(18)}));

    CImage<T> image = randomTestImage<T>(6, 5, 2, 4);
    CConvolutionFilter<T> filter(3, 0.0f, 0.0f, 1.0f, 1);
    filter.pfMask = quarters.data();
    filter.exec(&image, &image);
    expectSameImage(image, filled<T>(6, 5, {T(0), T(0)}));
}

