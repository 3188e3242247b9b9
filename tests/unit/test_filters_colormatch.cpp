// Colour matching: differences of two images and distances to a reference
// colour, with their printed lines and channel infos.
#include <cmath>
#include <string>

#include "FastVsReference.h"
#include "filters/CColorFilters.h"

TEST(DiffImage, WithItselfIsZeroAndNamesEachChannelTwice)
{
    forBothPaths([] {
        CImage<float> a = randomTestImage<float>(5, 4, 2, 3);
        a.setName("source");
        a.setChannelInfo("red", 0);
        a.setChannelInfo("a rather long channel description of thirty", 1);
        testing::internal::CaptureStdout();
        const CImage<float> d = DiffImage(&a, &a);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        CImage<float> want = filled<float>(5, 4, {0, 0});
        want.setName("source");
        want.setChannelInfo("Diff(red,red)", 0);
        // Cut to 64 characters.
        want.setChannelInfo("Diff(a rather long channel description of thirty,a rather long c", 1);
        expectSameImage(d, want);
    });
}

// Only the common part is compared; the rest of the first image's shape is
// zero, and channels past the second image's have no info.
TEST(DiffImage, DifferentShapesUseTheCommonPartAndSayWhy)
{
    forBothPaths([] {
        const CImage<float> a = filled<float>(4, 4, {1, 2, 3});
        const CImage<float> b = filled<float>(3, 5, {1.5f, 0, 7});
        testing::internal::CaptureStdout();
        const CImage<float> d = DiffImage(&a, &b);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Different input sizes for DiffImage (4x4,3)!=(3x5,3)!\n");
        ASSERT_EQ(d.width(), 4);
        ASSERT_EQ(d.height(), 4);
        ASSERT_EQ(d.channels(), 3);
        const float afDiff[3] = {0.5f, 2.0f, 4.0f};
        for (int y = 0; y < 4; ++y)
            for (int c = 0; c < 3; ++c) {
                EXPECT_EQ(d.getPixel(2, y, c), afDiff[c]);
                EXPECT_EQ(d.getPixel(3, y, c), 0.0f);
            }
        EXPECT_STREQ(d.getChannelInfo(2), "Diff(No info,No info)");

        const CImage<float> two = filled<float>(2, 2, {1, 2}), one = filled<float>(2, 2, {4});
        testing::internal::CaptureStdout();
        const CImage<float> e = DiffImage(&two, &one);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Different input sizes for DiffImage (2x2,2)!=(2x2,1)!\n");
        EXPECT_EQ(e.getPixel(1, 1, 0), 3.0f);
        EXPECT_EQ(e.getPixel(1, 1, 1), 0.0f);
        EXPECT_STREQ(e.getChannelInfo(0), "Diff(No info,No info)");
        EXPECT_STREQ(e.getChannelInfo(1), "No info");
    });
}

TEST(BlobEmph, DistanceWeightedBySquaredOffsetPlusOne)
{
    forBothPaths([] {
        CImage<float> image = filled<float>(5, 4, {0, 0});
        image.setName("scene");
        image.setPixel(2, 3, 0, 1.0f); // the point itself: distance 1
        image.setPixel(4, 0, 0, 3.0f); // far away: (1-3)^2 + 0.5^2 = 4.25
        image.setPixel(4, 0, 1, 0.5f);
        image.setPixel(0, 0, 0, 1.0f); // exactly the reference colour
        image.setPixel(0, 0, 1, 1.0f);
        const float afRef[2] = {1.0f, 1.0f};
        testing::internal::CaptureStdout();
        const CImage<float> out = blob_emph(&image, afRef, 2, 3);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Reference for blob_emph: 1 1\n");
        ASSERT_EQ(out.channels(), 1);
        EXPECT_STREQ(out.getName(), "scene");
        EXPECT_STREQ(out.getChannelInfo(0), "blob_emph_to_1_1_at_(2,3)");
        EXPECT_EQ(out.getPixel(2, 3, 0), 1.0f);          // plain distance at (x0, y0)
        EXPECT_EQ(out.getPixel(4, 0, 0), 4.25f * 14.0f); // (4 + 9 + 1) * 4.25
        EXPECT_EQ(out.getPixel(0, 0, 0), 0.0f);          // reference colour anywhere
        EXPECT_EQ(out.getPixel(1, 3, 0), 2.0f * 2.0f);   // colour distance 2, offset 1
    });
    // The info is cut to 64 characters; a point far outside weighs nothing
    // against distance 0.
    const float afRef[4] = {0.125f, 1000000.0f, -2.5f, 3.0f};
    const CImage<float> image = filled<float>(2, 1, {afRef[0], afRef[1], afRef[2], afRef[3]});
    testing::internal::CaptureStdout();
    const CImage<float> out = blob_emph(&image, afRef, -100000, 7);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Reference for blob_emph: 0.125 1e+06 -2.5 3\n");
    EXPECT_STREQ(out.getChannelInfo(0), "blob_emph_to_0.125_1e+06_-2.5_3_at_(-100000,7)");
    EXPECT_EQ(out.getPixel(1, 0, 0), 0.0f);
}

TEST(HistogramDistance, FractionOfPixelsBelowInStepsOfOneHundredth)
{
    forBothPaths([] {
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
    });
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
    forBothPaths([] {
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
    });
}

TEST(PointerDistanceDeathTest, HeightZeroEndsTheProcessAtTheRowAccess)
{
    const CImage<float> flat(4, 0, 1);
    const float fRef = 0.0f;
    float fResult = 0.0f;
    EXPECT_DEATH(PointerDistance(&flat, &fRef, 0.0f, 0.0f, fResult), "iRow < iHeight");
}
