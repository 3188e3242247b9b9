// Mask-generator convolution: the generated masks (sums, symmetries,
// rotation, even sizes), edge-repeating borders, per-term truncation and
// wrap at integer depths, external masks used as given.
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "FastVsReference.h"
#include "FilterRun.h"
#include "PixelTypes.h"
#include "filters/CConvolutionFilter.h"

namespace {

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

TEST(MaskGenerator, AverageIsNineNinthsAndKeepsAConstant)
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
}

TEST(MaskGenerator, GaussIsSymmetricSumsToOneAndShiftsEvenSizesByHalfAPixel)
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
}

TEST(MaskGenerator, OddDerivativesAreAntisymmetricInTheRowOffset)
{
    for (float fType : {1.0f, 3.0f}) {
        const int n = 5;
        const std::vector<float> m = generate(n, fType, 0.0f, 1.5f);
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i)
                EXPECT_EQ(m[n * j + i], -m[n * (n - 1 - j) + i]) << fType << " " << j << "," << i;
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(std::fabs(m[n * 2 + i]), 0.0f); // the centre row
        expectSums(m, 1.0, -1.0);
        // Type 1 is -2 Y E: negative below the centre row (Y > 0).
        if (fType == 1.0f) {
            EXPECT_LT(m[n * 3 + 2], 0.0f);
            EXPECT_GT(m[n * 1 + 2], 0.0f);
        }
    }
}

TEST(MaskGenerator, EveryTypeNormalisesBothSigns)
{
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

TEST(MaskGenerator, QuarterTurnTransposesTheBar)
{
    const int n = 5;
    const std::vector<float> upright = generate(n, 6.0f, 0.0f, 1.0f);
    const std::vector<float> turned = generate(n, 6.0f, 90.0f, 1.0f);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            EXPECT_NEAR(turned[n * j + i], upright[n * i + j], 1e-6f);
            // Upright, the bar runs down the centre column.
            EXPECT_EQ(upright[n * j + i], upright[n * 0 + i]);
        }
    EXPECT_GT(upright[2], 0.0f);
    EXPECT_LT(upright[0], 0.0f);
}

TEST(MaskConvolution, RefusalsAndClipToRange)
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
}

template <class T> class MaskConvolutionTyped : public ::testing::Test
{
};
TYPED_TEST_SUITE(MaskConvolutionTyped, PixelTypes);

TYPED_TEST(MaskConvolutionTyped, ExternalMaskAsGivenWithRepeatedEdges)
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
}

// Every channel is filtered and the target takes the source's shape; in
// place the target channel is cleared first and the sums read the cleared
// and already written pixels: the result is all zero.
TYPED_TEST(MaskConvolutionTyped, EveryChannelAndInPlace)
{
    using T = TypeParam;
    CImage<T> in(3, 3, 2);
    in.setPixel(1, 1, 0, T(9));
    in.setPixel(1, 1, 1, T(18));
    std::vector<float> ones(9, 1.0f), quarters(9, 0.25f);
    expectSameImage(convolve(in, ones, 3), filled<T>(3, 3, {T(9), T(18)}));

    CImage<T> image = randomTestImage<T>(6, 5, 2, 4);
    CConvolutionFilter<T> filter(3, 0.0f, 0.0f, 1.0f, 1);
    filter.pfMask = quarters.data();
    filter.exec(&image, &image);
    expectSameImage(image, filled<T>(6, 5, {T(0), T(0)}));
}

TEST(MaskConvolution, IntegerDepthsTruncateEachProductAndWrap)
{
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
    CImage<unsigned char> in(5, 5, 1);
    in.setPixel(2, 2, 0, 90);
    std::vector<float> unused;
    const CImage<unsigned char> out = convolve(in, unused, 3, 0, 9.0f);
    EXPECT_EQ(out.getPixel(1, 1, 0), 10);
    EXPECT_EQ(out.getPixel(3, 2, 0), 10);
    EXPECT_EQ(out.getPixel(0, 0, 0), 0);
}

TEST(MaskConvolutionDeathTest, HeightZeroEndsTheProcessAtTheRowAccess)
{
    const CImage<float> flat(3, 0, 1);
    CImage<float> out(1, 1, 1);
    CConvolutionFilter<float> filter(3, 0.0f, 0.0f, 1.0f, 0);
    EXPECT_DEATH(filter.exec(&flat, &out), "iRow < iHeight");
}
