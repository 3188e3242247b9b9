// Colour matching: differences of two images and distances to a reference
// colour, with their printed lines and channel infos.
#include <cmath>
#include <string>

#include "FastVsReference.h"
#include "FilterRun.h"
#include "filters/CColorFilters.h"

TEST(DiffImage, WithItselfIsZeroAndNamesEachChannelTwice)
{
    CImage<float> a = randomTestImage<float>(5, 4, 2, 3);
    a.setName("source");
    a.setChannelInfo("red", 0);
    a.setChannelInfo("a rather long channel description of thirty", 1);
    CImage<float> d(1, 1, 1);
    EXPECT_EQ(stdoutOf([&] { d = DiffImage(&a, &a); }), "");
    CImage<float> want = filled<float>(5, 4, {0, 0});
    want.setName("source");
    want.setChannelInfo("Diff(red,red)", 0);
    // Cut to 64 characters.
    want.setChannelInfo("Diff(a rather long channel description of thirty,a rather long c", 1);
    expectSameImage(d, want);
}

// Only the common part is compared; the rest of the first image's shape is
// zero, and channels past the second image's have no info.
TEST(DiffImage, DifferentShapesUseTheCommonPartAndSayWhy)
{
    const CImage<float> a = filled<float>(4, 4, {1, 2, 3}), b = filled<float>(3, 5, {1.5f, 0, 7});
    CImage<float> d(1, 1, 1);
    EXPECT_EQ(stdoutOf([&] { d = DiffImage(&a, &b); }),
              "Different input sizes for DiffImage (4x4,3)!=(3x5,3)!\n");
    CImage<float> want = filled<float>(4, 4, {0.5f, 2, 4});
    for (int c = 0; c < 3; ++c) {
        want.setChannelInfo("Diff(No info,No info)", c);
        for (int y = 0; y < 4; ++y)
            want.setPixel(3, y, c, 0.0f);
    }
    expectSameImage(d, want);

    const CImage<float> two = filled<float>(2, 2, {1, 2}), one = filled<float>(2, 2, {4});
    EXPECT_EQ(stdoutOf([&] { d = DiffImage(&two, &one); }),
              "Different input sizes for DiffImage (2x2,2)!=(2x2,1)!\n");
    want = filled<float>(2, 2, {3, 0});
    want.setChannelInfo("Diff(No info,No info)", 0);
    want.setChannelInfo("No info", 1);
    expectSameImage(d, want);
}

TEST(BlobEmph, DistanceWeightedBySquaredOffsetPlusOne)
{
    // (2, 3) is the point itself: distance 1; (4, 0) far away: (1-3)^2 +
    // 0.5^2 = 4.25 times 4 + 9 + 1; (0, 0) exactly the reference colour;
    // (1, 3) colour distance 2, offset 1.
    CImage<float> image = pixels<float>(5, 4, 2, {1, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                                  0, 0, 1, 0, 0, 1, 0, 0, 0, 0.5f});
    image.setName("scene");
    const float afRef[2] = {1.0f, 1.0f};
    CImage<float> out(1, 1, 1);
    EXPECT_EQ(stdoutOf([&] { out = blob_emph(&image, afRef, 2, 3); }),
              "Reference for blob_emph: 1 1\n");
    ASSERT_EQ(out.channels(), 1);
    EXPECT_STREQ(out.getName(), "scene");
    EXPECT_STREQ(out.getChannelInfo(0), "blob_emph_to_1_1_at_(2,3)");
    EXPECT_EQ(out.getPixel(2, 3, 0), 1.0f);
    EXPECT_EQ(out.getPixel(4, 0, 0), 4.25f * 14.0f);
    EXPECT_EQ(out.getPixel(0, 0, 0), 0.0f);
    EXPECT_EQ(out.getPixel(1, 3, 0), 2.0f * 2.0f);
    // A point far outside weighs nothing against distance 0.
    const float afFar[4] = {0.125f, 1000000.0f, -2.5f, 3.0f};
    const CImage<float> far = filled<float>(2, 1, {afFar[0], afFar[1], afFar[2], afFar[3]});
    EXPECT_EQ(stdoutOf([&] { out = blob_emph(&far, afFar, -100000, 7); }),
              "Reference for blob_emph: 0.125 1e+06 -2.5 3\n");
    EXPECT_STREQ(out.getChannelInfo(0), "blob_emph_to_0.125_1e+06_-2.5_3_at_(-100000,7)");
    EXPECT_EQ(out.getPixel(1, 0, 0), 0.0f);
}

TEST(HistogramDistance, FractionOfPixelsBelowInStepsOfOneHundredth)
{
    // Ten pixels at distances 0, 1, ..., 9.
    CImage<float> image(10, 1, 1);
    for (int x = 0; x < 10; ++x)
        image.setPixel(x, 0, 0, std::sqrt(float(x)));
    const float fRef = 0.0f;
    const struct
    {
        float fFraction, fLimit, fResult;
    } cases[] = {
        {0.5f, 10.0f, 4.1f}, // one per tenth bin: half lie in the first 41 bins
        {0.0f, 10.0f, 0.0f}, // no fraction: no bin taken
        // Pixels at or beyond the limit are stored but not counted: with
        // limit 5 only five pixels count, which never reach 60 per cent.
        {0.6f, 5.0f, 5.0f},
        {0.5f, 5.0f, float((81 * 5.0f) / 100.0)}, // reached by the last counted: bin 80
    };
    for (const auto& c : cases) {
        float fResult = -1.0f;
        const CImage<float> out =
            HistogramDistance(&image, &fRef, c.fFraction, c.fLimit, fResult);
        EXPECT_EQ(fResult, c.fResult) << c.fFraction << " " << c.fLimit;
        EXPECT_EQ(out.getPixel(9, 0, 0), 9.0f);
        EXPECT_STREQ(out.getChannelInfo(0), "euclid_dist_to_0");
    }
    // All at the reference: one bin.
    const float afRef[2] = {0.25f, 0.75f};
    float fResult = 0.0f;
    const CImage<float> same = filled<float>(3, 3, {0.25f, 0.75f});
    const CImage<float> out = HistogramDistance(&same, afRef, 0.5f, 2.0f, fResult);
    EXPECT_EQ(fResult, 0.02f);
    EXPECT_STREQ(out.getChannelInfo(0), "euclid_dist_to_0.25_0.75");
}

TEST(PointerDistance, SameDistancesAsTheAccessorsAndIgnoresItsFloats)
{
    const CImage<float> image = randomTestImage<float>(7, 5, 3, 17, true);
    const float afRef[3] = {0.5f, -1.0f, 2.0f};
    float fHist = 0.0f, fUntouched = 123.0f;
    const CImage<float> viaHistogram = HistogramDistance(&image, afRef, 0.5f, 1.0f, fHist);
    const CImage<float> viaPointers = PointerDistance(&image, afRef, 9.0f, -9.0f, fUntouched);
    EXPECT_EQ(fUntouched, 123.0f);
    expectSameImage(viaPointers, viaHistogram);
    EXPECT_STREQ(viaPointers.getChannelInfo(0), "euclid_dist_to_0.5_-1_2");

    const CImage<float> same = filled<float>(3, 2, {0.5f, -1.0f, 2.0f});
    CImage<float> zeros = filled<float>(3, 2, {0});
    zeros.setChannelInfo("euclid_dist_to_0.5_-1_2", 0);
    expectSameImage(PointerDistance(&same, afRef, 0.0f, 0.0f, fUntouched), zeros);

    const CImage<float> none(2, 2, 0);
    const CImage<float> empty = PointerDistance(&none, afRef, 0.0f, 0.0f, fUntouched);
    EXPECT_EQ(empty.getPixel(1, 1, 0), 0.0f);
    EXPECT_STREQ(empty.getChannelInfo(0), "euclid_dist_to");
}

TEST(PointerDistanceDeathTest, HeightZeroEndsTheProcessAtTheRowAccess)
{
    const CImage<float> flat(4, 0, 1);
    const float fRef = 0.0f;
    float fResult = 0.0f;
    EXPECT_DEATH(PointerDistance(&flat, &fRef, 0.0f, 0.0f, fResult), "iRow < iHeight");
}
