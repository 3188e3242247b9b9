// CImage geometry: resize, rotate, scale and the two process-ending paths.
// The images hold 10 * y + x + c at (x, y, c).
#include <cmath>
#include <tuple>
#include <unistd.h>

#include "PixelTypes.h"
#include "TestImages.h"
#include "image/CImage.h"

template <class T> class ImageGeometryTest : public ::testing::Test
{
};
TYPED_TEST_SUITE(ImageGeometryTest, PixelTypes);

TYPED_TEST(ImageGeometryTest, ResizeToTheSameShapeOrChannelCountKeepsValuesAndUnshares)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 3, 2, 1, 10, 0);
    CImage<TypeParam> b(1, 1, 1);
    b = a;
    b.resize(3, 3, 2);
    EXPECT_FALSE(a.isAttached());
    EXPECT_FALSE(b.isAttached());
    EXPECT_EQ(b.getPixel(2, 2, 1), TypeParam(23));
    b.setPixel(0, 0, 0, TypeParam(9));
    EXPECT_EQ(a.getPixel(0, 0, 0), TypeParam(0));

    a = numbered<TypeParam>(3, 2, 3, 1, 10, 0);
    CImage<TypeParam> holder(1, 1, 1);
    holder = a;
    a.resize(3, 2, 1);
    EXPECT_EQ(a.channels(), 1);
    EXPECT_EQ(a.getPixel(2, 1, 0), TypeParam(12));
    EXPECT_EQ(holder.getChannelPtr(1)->refs(), 1); // a's copies were released
    a.resize(3, 2, 3);
    EXPECT_EQ(a.channels(), 3);
    EXPECT_EQ(a.getPixel(2, 1, 0), TypeParam(12));
    EXPECT_EQ(a.getPixel(2, 1, 2), TypeParam(0));
}

TYPED_TEST(ImageGeometryTest, ResizeToANewSizeLosesValuesAndInfosButNotTheName)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 2, 2, 1, 10, 0);
    a.setName("keep");
    a.setChannelInfo("lost", 0);
    a.resize(4, 4, 1);
    EXPECT_EQ(a.width(), 4);
    EXPECT_EQ(a.channels(), 1);
    EXPECT_EQ(a.getPixel(1, 0, 0), TypeParam(0));
    EXPECT_STREQ(a.getChannelInfo(0), "No info");
    EXPECT_STREQ(a.getName(), "keep");
    a.resize(0, 5, 2);
    EXPECT_EQ(a.getChannelDataPtr(1), nullptr);
}

TYPED_TEST(ImageGeometryTest, RotateByZeroSkipsTheLastColumnAndRowAlsoAboutAGivenCentre)
{
    const CImage<TypeParam> a = numbered<TypeParam>(4, 4, 1, 1, 10, 0);
    const CImage<TypeParam> r = a.rotate(0.0f, -1, -1);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const TypeParam expected = (x < 3 && y < 3) ? a.getPixel(x, y, 0) : TypeParam(0);
            EXPECT_EQ(r.getPixel(x, y, 0), expected) << x << "," << y;
        }
    // Centre (1, -1) used as given: angle 0 still maps every pixel to itself.
    const CImage<TypeParam> b = numbered<TypeParam>(5, 4, 1, 1, 10, 0);
    const CImage<TypeParam> about = b.rotate(0.0f, 1, -1);
    EXPECT_EQ(about.getPixel(3, 2, 0), b.getPixel(3, 2, 0));
    EXPECT_EQ(about.getPixel(4, 0, 0), TypeParam(0));
}

TEST(ImageGeometryRotate, NinetyDegreesWithTheTruncatedTwoPi)
{
    const CImage<float> a = numbered<float>(4, 4, 1, 1, 10, 0);
    const CImage<float> r = a.rotate(90.0f, -1, -1);
    const float angle = float(double(90.0f / 360.0f) * 6.28318);
    const double s = std::sin(double(angle)), c = std::cos(double(angle));
    EXPECT_NE(c, 0.0); // 6.28318 is not 2*pi
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const double dx = x - 2.0, dy = y - 2.0;
            const float sx = float(2.0 + c * dx - s * dy);
            const float sy = float(2.0 + s * dx + c * dy);
            float expected = 0.0f;
            if (sx >= 0 && sy >= 0 && sx < 3.0f && sy < 3.0f)
                expected = a.interpolate(sx, sy, 0);
            EXPECT_EQ(r.getPixel(x, y, 0), expected) << x << "," << y;
        }
}

TYPED_TEST(ImageGeometryTest, ScaleNearestDoublesAThreeByThree)
{
    const CImage<TypeParam> a = numbered<TypeParam>(3, 3, 1, 1, 10, 0);
    const CImage<TypeParam> s = a.scale(2.0f, SCALE_NEAREST);
    ASSERT_EQ(s.width(), 6);
    ASSERT_EQ(s.height(), 6);
    const float step = 2.0f / 6.0f;
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x)
            EXPECT_EQ(s.getPixel(x, y, 0),
                      a.getPixel(int(std::rint(step * x)), int(std::rint(step * y)), 0));
    EXPECT_EQ(s.getPixel(5, 5, 0), a.getPixel(2, 2, 0)); // rint(1.666..) = 2
    EXPECT_EQ(s.getPixel(1, 0, 0), a.getPixel(0, 0, 0)); // rint(0.333..) = 0
}

TYPED_TEST(ImageGeometryTest, ScaleBilinearSamplesCellCentres)
{
    const CImage<TypeParam> a = numbered<TypeParam>(5, 3, 2, 1, 10, 0);
    const CImage<TypeParam> s = a.scale(1.5f, SCALE_BILINEAR);
    ASSERT_EQ(s.width(), 7);
    ASSERT_EQ(s.height(), 4);
    ASSERT_EQ(s.channels(), 2);
    const float sx = 4.0f / 7.0f, sy = 2.0f / 4.0f;
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 7; ++x)
            EXPECT_EQ(s.getPixel(x, y, 1), a.interpolate(x * sx + 0.5 * sx, y * sy + 0.5 * sy, 1));
}

// Blocks of k x k source pixels, k = int(1 / zoom): 1/(1/3.f) is just below
// 3, so a third gives k = 2; 0.3 gives k = 3.
TYPED_TEST(ImageGeometryTest, ScaleAverageOfBlocksAndZoomsThatLeaveNoPixels)
{
    const CImage<TypeParam> a = numbered<TypeParam>(5, 5, 1, 1, 10, 0);
    const CImage<TypeParam> s = a.scale(0.5f, SCALE_AVERAGE);
    ASSERT_EQ(s.width(), 2);
    ASSERT_EQ(s.height(), 2);
    // Block (0,0): 0, 1, 10, 11 -> 5.5; block (1,1): 22, 23, 32, 33 -> 27.5;
    // integers round to even.
    const bool bInteger = tirn::isIntegerPixel<TypeParam>();
    EXPECT_EQ(s.getPixel(0, 0, 0), TypeParam(bInteger ? 6.0f : 5.5f));
    EXPECT_EQ(s.getPixel(1, 1, 0), TypeParam(bInteger ? 28.0f : 27.5f));

    const CImage<TypeParam> nine = filled<TypeParam>(9, 9, {3});
    EXPECT_EQ(nine.scale(1.0f / 3.0f, SCALE_AVERAGE).width(), 4);
    const CImage<TypeParam> third = nine.scale(0.3f, SCALE_AVERAGE);
    ASSERT_EQ(third.width(), 3);
    EXPECT_EQ(third.getPixel(2, 2, 0), TypeParam(3));

    const CImage<TypeParam> b = numbered<TypeParam>(3, 3, 2, 1, 10, 0);
    EXPECT_EQ(b.scale(0.2f, SCALE_NEAREST).width(), 0);
    EXPECT_EQ(b.scale(0.2f, SCALE_NEAREST).channels(), 2);
    for (float fZoom : {0.0f, -1.0f, 0.1f})
        EXPECT_EQ(b.scale(fZoom, SCALE_AVERAGE).width(), 0) << fZoom;
}

// The messages go to standard output; the child sends it to standard error,
// which the death test matches.
TEST(ImageGeometryDeath, ScaleEndsTheProcessOnBadMethodOrFactor)
{
    const CImage<float> a(4, 4, 1);
    const std::tuple<float, int, const char*> cases[] = {
        {1.0f, SCALE_AVERAGE, "^Illegal scaleFactor for average Scaling!$"},
        {2.0f, SCALE_AVERAGE, "^Illegal scaleFactor for average Scaling!$"},
        {0.5f, 3, "^Illegal operation selected!$"},
        {0.5f, 7, "^Illegal operation selected!$"},
    };
    for (const auto& [fFactor, iMethod, pcMessage] : cases)
        EXPECT_EXIT(
            {
                dup2(2, 1);
                a.scale(fFactor, TScaleMethod(iMethod));
            },
            ::testing::ExitedWithCode(0), pcMessage);
}
