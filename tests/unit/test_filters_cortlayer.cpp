// Cortical layer filter: the weighted mean of the channels, its resize
// message, the unguarded weight sum, truncation and wrap.
#include <cmath>
#include <vector>

#include "FastVsReference.h"
#include "PixelTypes.h"
#include "filters/CCortLayerFilter.h"

namespace {

template <class T> CImage<T> layers(int w, int h, std::initializer_list<T> values)
{
    CImage<T> image(w, h, int(values.size()));
    int c = 0;
    for (T v : values) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, c, v);
        ++c;
    }
    return image;
}

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
    forBothPaths([] {
        CImage<float> in(2, 1, 3);
        const float afPixel[3] = {1.0f, 2.0f, 6.0f};
        in.setPixel(0, 0, afPixel);
        EXPECT_EQ(collapse(in, {1, 1, 1}), 3.0f);
        EXPECT_EQ(collapse(in, {2, 0, 0}), 1.0f);
        EXPECT_EQ(collapse(in, {1, 0, 3}), 19.0f / 4.0f);
        // (1 + 2) * 0.1 summed in float, then divided by the float sum.
        EXPECT_EQ(collapse(in, {0.1f, 0.1f, 0.0f}),
                  (1.0f * 0.1f + 2.0f * 0.1f) / (0.1f + 0.1f + 0.0f));
        // A zero weight sum is not guarded.
        EXPECT_TRUE(std::isinf(collapse(in, {1, -1, 0})));
        EXPECT_TRUE(std::isnan(collapse(layers<float>(1, 1, {0, 0}), {0, 0})));
    });
}

TEST(CortLayer, IntegerDepthsTruncateAndWrap)
{
    forBothPaths([] {
        EXPECT_EQ(collapse(layers<unsigned char>(2, 2, {100, 101}), {1, 1}), 100); // 100.5
        // 2 * 10 - 30 = -10 wraps.
        EXPECT_EQ(collapse(layers<unsigned char>(1, 1, {10, 30}), {2, -1}), 246);
        EXPECT_EQ(collapse(layers<unsigned short>(1, 1, {10, 30}), {2, -1}), 65526);
        EXPECT_EQ(collapse(layers<unsigned short>(1, 1, {60000, 60000}), {1, 1}), 60000);
    });
}

template <class T> class CortLayerTyped : public ::testing::Test
{
};
TYPED_TEST_SUITE(CortLayerTyped, PixelTypes);

TYPED_TEST(CortLayerTyped, ResizesAnotherSizeAndKeepsExtraChannelsOfTheRightOne)
{
    using T = TypeParam;
    std::vector<float> weights = {1, 1};
    CCortLayerFilter<T> filter;
    filter.pfWeights = weights.data();
    EXPECT_EQ(filter.iSrcDepth, tirn::PixelTraits<T>::depth);
    EXPECT_EQ(filter.iTgtDepth, tirn::PixelTraits<T>::depth);

    const CImage<T> in = layers<T>(4, 4, {2, 4});
    CImage<T> big(8, 8, 3);
    testing::internal::CaptureStdout();
    filter.exec(&in, &big);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "different size of input and output images! doing resize!");
    EXPECT_EQ(big.width(), 4);
    EXPECT_EQ(big.height(), 4);
    EXPECT_EQ(big.channels(), 1);
    EXPECT_EQ(big.getPixel(3, 3, 0), T(3));

    CImage<T> right(4, 4, 3);
    right.setPixel(1, 2, 1, T(7));
    right.setPixel(1, 2, 2, T(8));
    testing::internal::CaptureStdout();
    filter.exec(&in, &right);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(right.channels(), 3);
    EXPECT_EQ(right.getPixel(1, 2, 0), T(3));
    EXPECT_EQ(right.getPixel(1, 2, 1), T(7));
    EXPECT_EQ(right.getPixel(1, 2, 2), T(8));
}

TYPED_TEST(CortLayerTyped, RefusesATargetWithoutChannelsAndMissingWeights)
{
    using T = TypeParam;
    const CImage<T> in = layers<T>(2, 2, {1, 2});
    CImage<T> none(2, 2, 0);
    std::vector<float> weights = {1, 1};
    CCortLayerFilter<T> filter;
    filter.pfWeights = weights.data();
    try {
        filter.exec(&in, &none);
        ADD_FAILURE();
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), "Bad value: 0 for parameter 'iChannel' (File:CImage.h / Line:182).\n"
                               "Expected was 0<=iChannel<0\n");
    }
    CCortLayerFilter<T> unweighted;
    CImage<T> out(2, 2, 1);
    try {
        unweighted.exec(&in, &out);
        ADD_FAILURE();
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), "CCortLayerFilter: no layer weights set!");
    }
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

