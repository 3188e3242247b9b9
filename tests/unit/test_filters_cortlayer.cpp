// Cortical layer filter: the weighted mean of the channels, its resize
// message, the unguarded weight sum, truncation and wrap.
#include <cmath>
#include <vector>

#include "FastVsReference.h"
#include "FilterRun.h"
#include "PixelTypes.h"
#include "filters/CCortLayerFilter.h"

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

TEST(CortLayer, WeightedMeanOfTheLayers)
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
}

TEST(CortLayer, IntegerDepthsTruncateAndWrap)
{
    EXPECT_EQ(collapse(filled<unsigned char>(2, 2, {100, 101}), {1, 1}), 100); // 100.5
    // 2 * 10 - 30 = -10 wraps.
    EXPECT_EQ(collapse(filled<unsigned char>(1, 1, {10, 30}), {2, -1}), 246);
    EXPECT_EQ(collapse(filled<unsigned short>(1, 1, {10, 30}), {2, -1}), 65526);
    EXPECT_EQ(collapse(filled<unsigned short>(1, 1, {60000, 60000}), {1, 1}), 60000);
}

template <class T> class CortLayerTyped : public ::testing::Test
{
};
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

    expectRefusal([&] { filter.exec(&in, &none); },
                  "Bad value: 0 for parameter 'iChannel' (File:CImage.h / Line:182).\n"
                  "Expected was 0<=iChannel<0\n");
    expectRefusal([&] { unweighted.exec(&in, &right); }, "CCortLayerFilter: no layer weights set!");
}

TEST(CortLayerDeathTest, HeightZeroEndsTheProcessAtTheRowAccess)
{
    const CImage<float> flat(3, 0, 2);
    CImage<float> out(3, 0, 1);
    std::vector<float> weights = {1, 1};
    CCortLayerFilter<float> filter;
    filter.pfWeights = weights.data();
    EXPECT_DEATH(filter.exec(&flat, &out), "iRow < iHeight");
}
