// Channel and point operations: selecting and combining channels,
// thresholding with parameters taken from the image, shading removal, the
// weighted mean of cortical layers, differences of two images, colour
// distances to the first pixel or to a reference colour.
#include "FilterRun.h"

namespace {

template <class T> T collapse(const CImage<T>& in, std::vector<float> weights)
{
    CImage<T> out(in.width(), in.height(), 1);
    CCortLayerFilter<T> filter;
    filter.pfWeights = weights.data();
    filter.exec(&in, &out);
    return out.getPixel(0, 0, 0);
}

} // namespace

TEST(SelectChannel, KeepsTheSelectedChannelsInOrderWithTheirInfos)
{
    CImage<unsigned char> in = pixels<unsigned char>(2, 1, 3, {1, 2, 3, 4, 5, 6});
    in.setChannelInfo("first", 0);
    in.setChannelInfo("third", 2);
    CSelectChannel<unsigned char> select;
    const CImage<unsigned char> out = run(select, in, "X#X");
    CImage<unsigned char> want = pixels<unsigned char>(2, 1, 2, {1, 2, 5, 6});
    want.setChannelInfo("first", 0);
    want.setChannelInfo("third", 1);
    expectSameImage(out, want);
    EXPECT_FALSE(out.isAttached()); // channels of its own, not the source's
}

template <class T> using CombineChannelTyped = ::testing::Test;
TYPED_TEST_SUITE(CombineChannelTyped, PixelTypes);

TYPED_TEST(CombineChannelTyped, EveryOperationOnAllChannels)
{
    using T = TypeParam;
    // One pixel per column: (10, 20, 31), (5, 1, 3), (200, 100, 2).
    const CImage<T> in = pixels<T>(3, 1, 3, {10, 5, 200, 20, 1, 100, 31, 3, 2});
    const bool bFloat = !tirn::isIntegerPixel<T>();
    const struct
    {
        TOperation op;
        double v[3];
    } cases[] = {
        {OP_SUM, {61, 9, 302}},
        {OP_MUL, {6200, 15, 40000}},
        {OP_MAX, {31, 5, 200}},
        {OP_MIN, {10, 1, 2}},
        {OP_MEAN, {bFloat ? 61.0f / 3 : 20, 3, bFloat ? 302.0f / 3 : 100}},
        {OP_MEDIAN, {20, 3, 100}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.op));
        CCombineChannel<T> combine;
        combine.setOperator(c.op);
        CImage<T> out(1, 1, 1);
        EXPECT_EQ(stdoutOf([&] { out = run(combine, in); }), "31\n"); // width and height
        ASSERT_EQ(out.channels(), 1);
        // Sums and products wrap at the integer depths.
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(out.getPixel(x, 0, 0), tirn::toPixel<T>(c.v[x])) << x;
    }
}

TEST(CombineChannel, TheMaskCountsOriginalChannelNumbersAndTheMedianItsBuffer)
{
    CCombineChannel<unsigned char> combine;
    EXPECT_EQ(combine.operation(), OP_MEAN);
    float afParameters[1] = {2.9f}; // truncated
    combine.setParameters(afParameters);
    EXPECT_EQ(combine.operation(), OP_MAX);
    // Selecting channels 1 and 2 hands over a two-channel copy, but mask
    // entry 0 (false) still applies to its first channel: only channel 2
    // is gathered and the second value is the zeroed buffer's.
    const CImage<unsigned char> in = pixels<unsigned char>(1, 1, 3, {5, 7, 9});
    combine.setOperator(OP_SUM);
    EXPECT_EQ(run(combine, in, "#XX").getPixel(0, 0, 0), 9);
    // Channels 0 and 1 selected: the copy's entries agree with the mask.
    EXPECT_EQ(run(combine, in, "XX#").getPixel(0, 0, 0), 12);

    // With one value gathered for two, the median sees the value and the
    // larger one left by the pixel before it, visited x outer, y inner:
    // row order would give 10 at (1, 0).
    CCombineChannel<float> median;
    median.setOperator(OP_MEDIAN);
    const CImage<float> values = pixels<float>(2, 2, 3, {0, 0, 0, 0, 0, 0, 0, 0, 10, 20, 40, 30});
    expectSameImage(run(median, values, "#XX"), pixels<float>(2, 2, 1, {0, 20, 10, 30}));
}

TEST(CombineChannelDeathTest, AnUnknownOperationEndsTheProcessWithStatusZero)
{
    for (int iOperation : {6, -1}) {
        CCombineChannel<float> combine;
        combine.setOperator(TOperation(iOperation));
        EXPECT_EXIT(run(combine, CImage<float>(2, 2, 2)), testing::ExitedWithCode(0), "");
    }
}

TEST(Threshold, ParametersComeFromTheImageAndRefusals)
{
    // (0, 0) is the threshold, (0, 1) the value at or below, (1, 0) the
    // value above; 0.5 itself is not above, NaN compares false: above.
    CImage<float> in = pixels<float>(3, 3, 1, {0.5f, 1, 0.5f, 0, 0.5f, 0.75f, 0.5f, 0.75f, 0});
    in.setPixel(2, 2, 0, std::nanf(""));
    in.setName("levels");
    CThreshold<float> threshold;
    CImage<float> want = pixels<float>(3, 3, 1, {0, 1, 0, 0, 0, 1, 0, 1, 1});
    want.setName("levels");
    want.setChannelInfo("Pixel<0.500000", 0);
    CImage<float> out(1, 1, 1);
    EXPECT_EQ(stdoutOf([&] { out = run(threshold, in); }), "");
    expectSameImage(out, want);

    // Refusals leave the target resized and empty.
    CImage<unsigned short> in16(3, 2, 1), out16(1, 1, 1);
    in16.setPixel(2, 1, 0, 9);
    CThreshold<unsigned short> t16;
    EXPECT_EQ(stdoutOf([&] { out16 = run(t16, in16); }), "Wrong depth for thresholding");
    expectSameImage(out16, CImage<unsigned short>(3, 2, 1));
    CThreshold<unsigned char> t8;
    EXPECT_EQ(stdoutOf([&] { run(t8, CImage<unsigned char>(2, 2, 1)); }),
              "Wrong depth for thresholding");

    const CImage<float> two(4, 4, 2);
    EXPECT_EQ(stdoutOf([&] { out = run(threshold, two); }), "Too many channels for thresholding");
    EXPECT_EQ(out.channels(), 1);
    // One channel selected of two is fine.
    EXPECT_EQ(stdoutOf([&] { run(threshold, two, "#X"); }), "");
    EXPECT_EQ(stdoutOf([&] { run(threshold, CImage<float>(5, 1, 1)); }),
              "Too small image for thresholding (5x1, at least 2x2 needed)");
}

TEST(Distance, SumOfSquaresToTheFirstPixelScaledBy255AtIntegerDepths)
{
    CImage<float> in(3, 2, 3);
    in.setName("colours");
    const float afRef[3] = {0.5f, 1.0f, 0.25f};
    const float afFar[3] = {1.5f, -1.0f, 0.25f};
    in.setPixel(0, 0, afRef);
    in.setPixel(2, 1, afRef);
    in.setPixel(1, 0, afFar);
    CDistance<float> distance;
    // (0, 1) is black.
    CImage<float> want = pixels<float>(3, 2, 1, {0, 5, 1.3125f, 1.3125f, 1.3125f, 0});
    want.setName("colours");
    want.setChannelInfo("euclid_dist_to_0.5_1_0.25", 0);
    expectSameImage(run(distance, in), want);
    // Only the selected channels count.
    const CImage<float> sel = run(distance, in, "X#X");
    EXPECT_EQ(sel.getPixel(1, 0, 0), 1.0f);
    EXPECT_STREQ(sel.getChannelInfo(0), "euclid_dist_to_0.5_0.25");
    // An empty image has no reference.
    const CImage<float> empty = run(distance, CImage<float>(0, 3, 2));
    EXPECT_EQ(empty.width(), 0);
    EXPECT_STREQ(empty.getChannelInfo(0), "euclid_dist_to");

    CDistance<unsigned char> d8;
    const CImage<unsigned char> out8 = run(d8, pixels<unsigned char>(2, 1, 2, {10, 110, 20, 20}));
    EXPECT_EQ(out8.getPixel(1, 0, 0), 19); // 10000 / 510
    EXPECT_STREQ(out8.getChannelInfo(0), "euclid_dist_to_10_20");
    CDistance<unsigned short> d16;
    // 65535^2 in float is 4294836224; / 255 = 16842494.996, mod 65536.
    EXPECT_EQ(run(d16, pixels<unsigned short>(2, 1, 1, {0, 65535})).getPixel(1, 0, 0), 65278);
}

template <class T> using ShadingTyped = ::testing::Test;
TYPED_TEST_SUITE(ShadingTyped, PixelTypes);

TYPED_TEST(ShadingTyped, ConstantImageGivesZeroOrItsMeanAndDifferencesWrap)
{
    using T = TypeParam;
    const CImage<T> in = filled<T>(5, 4, {T(40), T(9)});
    CShadingFilter<T> shading;
    // The unselected channel is copied.
    expectSameImage(run(shading, in, "X#"), filled<T>(5, 4, {T(0), T(9)}));
    // Means over the in-image neighbours: 1.5 (1 at the integer depths), 1,
    // 1.5; the constant is kept, not used.
    shading.setConstant(T(100));
    const T low = tirn::isIntegerPixel<T>() ? T(-1) : T(-1.5f);
    expectSameImage(run(shading, pixels<T>(3, 1, 1, {0, 3, 0})), pixels<T>(3, 1, 1, {low, 2, low}));

    float afParameters[3] = {1.0f, 5.0f, 7.9f};
    shading.setParameters(afParameters);
    EXPECT_EQ(shading.keepMean(), 1);
    EXPECT_EQ(shading.size(), 5);
    EXPECT_EQ(shading.constant(), T(7));
    expectSameImage(run(shading, in), in);
}

TEST(CortLayer, WeightedMeanTruncatedAndWrapped)
{
    const CImage<float> in = pixels<float>(2, 1, 3, {1, 0, 2, 0, 6, 0});
    EXPECT_EQ(collapse(in, {1, 1, 1}), 3.0f);
    EXPECT_EQ(collapse(in, {2, 0, 0}), 1.0f);
    EXPECT_EQ(collapse(in, {1, 0, 3}), 19.0f / 4.0f);
    // (1 + 2) * 0.1 summed in float, then divided by the float sum.
    EXPECT_EQ(collapse(in, {0.1f, 0.1f, 0.0f}),
              (1.0f * 0.1f + 2.0f * 0.1f) / (0.1f + 0.1f + 0.0f));
    // A zero weight sum is not guarded.
    EXPECT_TRUE(std::isinf(collapse(in, {1, -1, 0})));
    EXPECT_TRUE(std::isnan(collapse(filled<float>(1, 1, {0, 0}), {0, 0})));
    // Integer depths truncate 100.5 and wrap 2 * 10 - 30 = -10.
    EXPECT_EQ(collapse(filled<unsigned char>(2, 2, {100, 101}), {1, 1}), 100);
    EXPECT_EQ(collapse(filled<unsigned char>(1, 1, {10, 30}), {2, -1}), 246);
    EXPECT_EQ(collapse(filled<unsigned short>(1, 1, {10, 30}), {2, -1}), 65526);
    EXPECT_EQ(collapse(filled<unsigned short>(1, 1, {60000, 60000}), {1, 1}), 60000);
}

template <class T> using CortLayerTyped = ::testing::Test;
TYPED_TEST_SUITE(CortLayerTyped, PixelTypes);

TYPED_TEST(CortLayerTyped, ResizesAnotherSizeKeepsExtraChannelsAndRefuses)
{
    using T = TypeParam;
    std::vector<float> weights = {1, 1};
    CCortLayerFilter<T> filter, unweighted;
    filter.pfWeights = weights.data();
    const CImage<T> in = filled<T>(4, 4, {2, 4});
    CImage<T> big(8, 8, 3), none(4, 4, 0);
    EXPECT_EQ(stdoutOf([&] { filter.exec(&in, &big); }),
              "different size of input and output images! doing resize!");
    expectSameImage(big, filled<T>(4, 4, {3}));

    CImage<T> right = filled<T>(4, 4, {9, 7, 8});
    EXPECT_EQ(stdoutOf([&] { filter.exec(&in, &right); }), "");
    expectSameImage(right, filled<T>(4, 4, {3, 7, 8}));

    // Refused by the image's channel check (its text is the image tests').
    EXPECT_THROW(filter.exec(&in, &none), CException);
    expectRefusal([&] { unweighted.exec(&in, &right); }, "CCortLayerFilter: no layer weights set!");
}

TEST(DiffImage, NamesEachChannelTwiceAndComparesTheCommonPart)
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

    // Different shapes: only the common part is compared; the rest of the
    // first image's shape is zero, and channels past the second image's have
    // no info.
    const CImage<float> b = filled<float>(4, 4, {1, 2, 3}), c = filled<float>(3, 5, {1.5f, 0, 7});
    EXPECT_EQ(stdoutOf([&] { d = DiffImage(&b, &c); }),
              "Different input sizes for DiffImage (4x4,3)!=(3x5,3)!\n");
    want = filled<float>(4, 4, {0.5f, 2, 4});
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

TEST(HistogramDistance, FractionOfPixelsBelowAndThePointerVariant)
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

    // The pointer variant: the same distances; its floats are ignored.
    const CImage<float> noisy = randomTestImage<float>(7, 5, 3, 17, true);
    const float afRef3[3] = {0.5f, -1.0f, 2.0f};
    float fHist = 0.0f, fUntouched = 123.0f;
    const CImage<float> viaHistogram = HistogramDistance(&noisy, afRef3, 0.5f, 1.0f, fHist);
    const CImage<float> viaPointers = PointerDistance(&noisy, afRef3, 9.0f, -9.0f, fUntouched);
    EXPECT_EQ(fUntouched, 123.0f);
    expectSameImage(viaPointers, viaHistogram);
    EXPECT_STREQ(viaPointers.getChannelInfo(0), "euclid_dist_to_0.5_-1_2");

    const CImage<float> sameColour = filled<float>(3, 2, {0.5f, -1.0f, 2.0f});
    CImage<float> zeros = filled<float>(3, 2, {0});
    zeros.setChannelInfo("euclid_dist_to_0.5_-1_2", 0);
    expectSameImage(PointerDistance(&sameColour, afRef3, 0.0f, 0.0f, fUntouched), zeros);

    const CImage<float> none(2, 2, 0);
    const CImage<float> empty = PointerDistance(&none, afRef3, 0.0f, 0.0f, fUntouched);
    EXPECT_EQ(empty.getPixel(1, 1, 0), 0.0f);
    EXPECT_STREQ(empty.getChannelInfo(0), "euclid_dist_to");
}

// Height 0 passes every check and ends the process at the first row access.
TEST(RowAccessDeathTest, HeightZeroEndsTheProcess)
{
    const CImage<float> flat(3, 0, 2);
    CImage<float> out(3, 0, 1);
    std::vector<float> weights = {1, 1};
    CCortLayerFilter<float> filter;
    filter.pfWeights = weights.data();
    EXPECT_DEATH(filter.exec(&flat, &out), "iRow < iHeight");
    float fResult = 0.0f;
    EXPECT_DEATH(PointerDistance(&flat, weights.data(), 0.0f, 0.0f, fResult), "iRow < iHeight");
    CConvolutionFilter<float> convolution(3, 0.0f, 0.0f, 1.0f, 0);
    EXPECT_DEATH(convolution.exec(&flat, &out), "iRow < iHeight");
}
