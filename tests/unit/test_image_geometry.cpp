// CImage geometry: resize, rotate, scale and the two process-ending paths.
#include <cmath>
#include <random>
#include <unistd.h>

#include "PixelTypes.h"
#include "image/CImage.h"

namespace {

template <class T> CImage<T> numbered(int w, int h, int c)
{
    CImage<T> image(w, h, c);
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, ch, T(10 * y + x + ch));
    return image;
}

} // namespace

template <class T> class ImageGeometryTest : public ::testing::Test
{
};
TYPED_TEST_SUITE(ImageGeometryTest, PixelTypes);

TYPED_TEST(ImageGeometryTest, ResizeToTheSameShapeKeepsValuesAndUnshares)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 3, 2);
    CImage<TypeParam> b(1, 1, 1);
    b = a;
    b.resize(3, 3, 2);
    EXPECT_FALSE(a.isAttached());
    EXPECT_FALSE(b.isAttached());
    EXPECT_EQ(b.getPixel(2, 2, 1), TypeParam(23));
    b.setPixel(0, 0, 0, TypeParam(9));
    EXPECT_EQ(a.getPixel(0, 0, 0), TypeParam(0));
}

TYPED_TEST(ImageGeometryTest, ResizeChannelCountKeepsOrDropsChannels)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 2, 3);
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
    CImage<TypeParam> a = numbered<TypeParam>(3, 2, 2);
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

TYPED_TEST(ImageGeometryTest, RotateByZeroSkipsTheLastColumnAndRow)
{
    const CImage<TypeParam> a = numbered<TypeParam>(4, 4, 1);
    const CImage<TypeParam> r = a.rotate(0.0f, -1, -1);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const TypeParam expected = (x < 3 && y < 3) ? a.getPixel(x, y, 0) : TypeParam(0);
            EXPECT_EQ(r.getPixel(x, y, 0), expected) << x << "," << y;
        }
}

TEST(ImageGeometryRotate, NinetyDegreesWithTheTruncatedTwoPi)
{
    CImage<float> a(4, 4, 1);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            a.setPixel(x, y, 0, float(10 * y + x));
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
            // Approximately (cx - dy, cy + dx).
            if (expected != 0.0f) {
                EXPECT_NEAR(expected, 10 * (2 + dx) + (2 - dy), 1e-3);
            }
        }
}

TYPED_TEST(ImageGeometryTest, RotateAboutAGivenCentreIncludingAHalfGivenOne)
{
    const CImage<TypeParam> a = numbered<TypeParam>(5, 4, 1);
    const CImage<TypeParam> r = a.rotate(0.0f, 1, -1);
    // Centre (1, -1) used as given: angle 0 still maps every pixel to itself.
    EXPECT_EQ(r.getPixel(3, 2, 0), a.getPixel(3, 2, 0));
    EXPECT_EQ(r.getPixel(4, 0, 0), TypeParam(0));
}

TYPED_TEST(ImageGeometryTest, ScaleNearestDoublesAThreeByThree)
{
    const CImage<TypeParam> a = numbered<TypeParam>(3, 3, 1);
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
    const CImage<TypeParam> a = numbered<TypeParam>(5, 3, 2);
    const CImage<TypeParam> s = a.scale(1.5f, SCALE_BILINEAR);
    ASSERT_EQ(s.width(), 7);
    ASSERT_EQ(s.height(), 4);
    ASSERT_EQ(s.channels(), 2);
    const float sx = 4.0f / 7.0f, sy = 2.0f / 4.0f;
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 7; ++x)
            EXPECT_EQ(s.getPixel(x, y, 1), a.interpolate(x * sx + 0.5 * sx, y * sy + 0.5 * sy, 1));
}

TYPED_TEST(ImageGeometryTest, ScaleAverageOfTwoByTwoBlocks)
{
    const CImage<TypeParam> a = numbered<TypeParam>(5, 5, 1);
    const CImage<TypeParam> s = a.scale(0.5f, SCALE_AVERAGE);
    ASSERT_EQ(s.width(), 2);
    ASSERT_EQ(s.height(), 2);
    // Block (0,0): 0, 1, 10, 11 -> 5.5; block (1,1): 22, 23, 32, 33 -> 27.5.
    if (tirn::isIntegerPixel<TypeParam>()) {
        EXPECT_EQ(s.getPixel(0, 0, 0), TypeParam(6)); // 5.5 to even 6
        EXPECT_EQ(s.getPixel(1, 1, 0), TypeParam(28));
    } else {
        EXPECT_EQ(s.getPixel(0, 0, 0), TypeParam(5.5f));
        EXPECT_EQ(s.getPixel(1, 1, 0), TypeParam(27.5f));
    }
}

TEST(ImageGeometryScale, AverageOfAConstantStaysConstant)
{
    CImage<unsigned char> a(9, 9, 1);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 9; ++x)
            a.setPixel(x, y, 0, 3);
    // 1/(1/3.f) is just below 3, so a third gives k = 2; 0.3 gives k = 3.
    EXPECT_EQ(a.scale(1.0f / 3.0f, SCALE_AVERAGE).width(), 4);
    const CImage<unsigned char> s = a.scale(0.3f, SCALE_AVERAGE);
    ASSERT_EQ(s.width(), 3);
    EXPECT_EQ(s.getPixel(2, 2, 0), 3);
}

TYPED_TEST(ImageGeometryTest, ZoomsThatLeaveNoPixels)
{
    const CImage<TypeParam> a = numbered<TypeParam>(3, 3, 2);
    const CImage<TypeParam> s = a.scale(0.2f, SCALE_NEAREST);
    EXPECT_EQ(s.width(), 0);
    EXPECT_EQ(s.channels(), 2);
    EXPECT_EQ(a.scale(0.0f, SCALE_AVERAGE).width(), 0);
    EXPECT_EQ(a.scale(-1.0f, SCALE_AVERAGE).width(), 0);
    EXPECT_EQ(a.scale(0.1f, SCALE_AVERAGE).width(), 0);
}

TEST(ImageGeometryDeath, ScaleEndsTheProcessOnBadMethodOrFactor)
{
    const CImage<float> a(4, 4, 1);
    EXPECT_EXIT(a.scale(1.0f, SCALE_AVERAGE), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(a.scale(0.5f, TScaleMethod(7)), ::testing::ExitedWithCode(0), "");
}

TEST(ImageGeometryDeath, ScaleMessagesGoToStandardOutput)
{
    const CImage<float> a(4, 4, 1);
    // The child sends standard output to standard error, which the death
    // test matches.
    EXPECT_EXIT(
        {
            dup2(2, 1);
            a.scale(2.0f, SCALE_AVERAGE);
        },
        ::testing::ExitedWithCode(0), "^Illegal scaleFactor for average Scaling!$");
    EXPECT_EXIT(
        {
            dup2(2, 1);
            a.scale(0.5f, TScaleMethod(3));
        },
        ::testing::ExitedWithCode(0), "^Illegal operation selected!$");
}
