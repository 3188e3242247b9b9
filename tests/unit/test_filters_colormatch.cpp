// Colour matching: differences of two images and distances to a reference
// colour, with their printed lines and channel infos.
#include <cmath>
#include <limits>
#include <string>

#include "FastVsReference.h"
#include "filters/CColorFilters.h"

namespace {

CImage<float> filled(int w, int h, std::initializer_list<float> colour)
{
    CImage<float> image(w, h, int(colour.size()));
    int c = 0;
    for (float v : colour) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, c, v);
        ++c;
    }
    return image;
}

} // namespace

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
        EXPECT_EQ(d.channels(), 2);
        EXPECT_STREQ(d.getName(), "source");
        EXPECT_STREQ(d.getChannelInfo(0), "Diff(red,red)");
        // Cut to 64 characters.
        EXPECT_STREQ(d.getChannelInfo(1),
                     "Diff(a rather long channel description of thirty,a rather long c");
        for (int c = 0; c < 2; ++c)
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 5; ++x)
                    EXPECT_EQ(d.getPixel(x, y, c), 0.0f);
    });
}

TEST(DiffImage, DifferentSizesUseTheCommonPartAndSayWhy)
{
    forBothPaths([] {
        CImage<float> a = filled(4, 4, {1.0f, 2.0f, 3.0f});
        CImage<float> b = filled(3, 5, {1.5f, 0.0f, 7.0f});
        testing::internal::CaptureStdout();
        const CImage<float> d = DiffImage(&a, &b);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Different input sizes for DiffImage (4x4,3)!=(3x5,3)!\n");
        ASSERT_EQ(d.width(), 4);
        ASSERT_EQ(d.height(), 4);
        ASSERT_EQ(d.channels(), 3);
        for (int y = 0; y < 4; ++y) {
            EXPECT_EQ(d.getPixel(2, y, 0), 0.5f);
            EXPECT_EQ(d.getPixel(2, y, 1), 2.0f);
            EXPECT_EQ(d.getPixel(2, y, 2), 4.0f);
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(d.getPixel(3, y, c), 0.0f); // outside b
        }
        EXPECT_STREQ(d.getChannelInfo(2), "Diff(No info,No info)");
    });
}

TEST(DiffImage, FewerChannelsInTheSecondLeaveTheRestUnnamedAndZero)
{
    forBothPaths([] {
        CImage<float> a = filled(2, 2, {1.0f, 2.0f});
        CImage<float> b = filled(2, 2, {4.0f});
        testing::internal::CaptureStdout();
        const CImage<float> d = DiffImage(&a, &b);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Different input sizes for DiffImage (2x2,2)!=(2x2,1)!\n");
        EXPECT_EQ(d.getPixel(1, 1, 0), 3.0f);
        EXPECT_EQ(d.getPixel(1, 1, 1), 0.0f);
        EXPECT_STREQ(d.getChannelInfo(0), "Diff(No info,No info)");
        EXPECT_STREQ(d.getChannelInfo(1), "No info");
    });
}

TEST(BlobEmph, DistanceWeightedBySquaredOffsetPlusOne)
{
    forBothPaths([] {
        CImage<float> image = filled(5, 4, {0.0f, 0.0f});
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
}

TEST(BlobEmph, InfoCutTo64AndPointFarOutside)
{
    const CImage<float> image = filled(2, 1, {0.125f, 1000000.0f, -2.5f, 3.0f});
    const float afRef[4] = {0.125f, 1000000.0f, -2.5f, 3.0f};
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
        // Ten pixels at distances 0, 1, ..., 9 with the limit 10: one per
        // tenth bin. Half of them lie in the first 41 bins.
        CImage<float> image(10, 1, 1);
        for (int x = 0; x < 10; ++x)
            image.setPixel(x, 0, 0, std::sqrt(float(x)));
        const float fRef = 0.0f;
        float fResult = -1.0f;
        CImage<float> out = HistogramDistance(&image, &fRef, 0.5f, 10.0f, fResult);
        EXPECT_EQ(fResult, 4.1f);
        EXPECT_STREQ(out.getChannelInfo(0), "euclid_dist_to_0");
        EXPECT_EQ(out.getPixel(4, 0, 0), 4.0f);
        // No fraction: no bin taken.
        HistogramDistance(&image, &fRef, 0.0f, 10.0f, fResult);
        EXPECT_EQ(fResult, 0.0f);
        // Pixels at or beyond the limit are stored but not counted: with
        // limit 5 only five pixels count, which never reach 60 per cent.
        out = HistogramDistance(&image, &fRef, 0.6f, 5.0f, fResult);
        EXPECT_EQ(fResult, 5.0f);
        EXPECT_EQ(out.getPixel(9, 0, 0), 9.0f);
        // Exactly reached by the last counted pixel: bin 80 is the 81st.
        HistogramDistance(&image, &fRef, 0.5f, 5.0f, fResult);
        EXPECT_EQ(fResult, float((81 * 5.0f) / 100.0));
    });
}

TEST(HistogramDistance, AllAtTheReferenceTakeOneBin)
{
    const CImage<float> image = filled(3, 3, {0.25f, 0.75f});
    const float afRef[2] = {0.25f, 0.75f};
    float fResult = 0.0f;
    const CImage<float> out = HistogramDistance(&image, afRef, 0.5f, 2.0f, fResult);
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

        const CImage<float> same = filled(3, 2, {0.5f, -1.0f, 2.0f});
        const CImage<float> zeros = PointerDistance(&same, afRef, 0.0f, 0.0f, fUntouched);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 3; ++x)
                EXPECT_EQ(zeros.getPixel(x, y, 0), 0.0f);

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

