#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "PixelTypes.h"
#include "image/CException.h"
#include "image/CImageChannel.h"

template <class T> class ImageChannelTest : public ::testing::Test
{
};
TYPED_TEST_SUITE(ImageChannelTest, PixelTypes);

TYPED_TEST(ImageChannelTest, ConstructionZeroFillsAlignsSetsDefaultsAndCutsInfos)
{
    for (int w : {1, 3, 7, 33}) {
        CImageChannel<TypeParam> channel(w, 5);
        EXPECT_EQ(channel.width(), w);
        EXPECT_EQ(channel.height(), 5);
        EXPECT_EQ(channel.depth(), int(sizeof(TypeParam) == 4 ? 32 : 8 * sizeof(TypeParam)));
        EXPECT_STREQ(channel.getChannelInfo(), "No info");
        EXPECT_EQ(channel.refs(), 1);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(channel.getDataPtr()) % 32, 0u);
        for (int y = 0; y < 5; ++y) {
            EXPECT_EQ(channel.getRowPtr(y), channel.getDataPtr() + y * w);
            for (int x = 0; x < w; ++x)
                EXPECT_EQ(channel.getPixel(x, y), TypeParam(0));
        }
    }
    CImageChannel<TypeParam> channel(1, 1);
    const std::string longInfo(100, 'i');
    channel.setChannelInfo(longInfo.c_str());
    EXPECT_EQ(std::string(channel.getChannelInfo()), longInfo.substr(0, 64));
}

TYPED_TEST(ImageChannelTest, EmptyShapesHaveNoBufferUntilResizedOverflowingOnesThrow)
{
    for (auto size : {std::pair<int, int>{0, 4}, {4, 0}, {-3, 2}, {-2, -3}}) {
        CImageChannel<TypeParam> channel(size.first, size.second);
        EXPECT_EQ(channel.getDataPtr(), nullptr);
        EXPECT_EQ(channel.width(), size.first);
        EXPECT_EQ(channel.height(), size.second);
        channel.clear(); // nothing to clear, must not touch memory
        channel.resize(2, 3);
        ASSERT_NE(channel.getDataPtr(), nullptr);
        EXPECT_EQ(channel.getPixel(1, 2), TypeParam(0));
    }
    EXPECT_THROW(CImageChannel<TypeParam>(65536, 65536), std::bad_alloc);
    EXPECT_THROW(CImageChannel<TypeParam>(std::numeric_limits<int>::max(), 2), std::bad_alloc);
}

TYPED_TEST(ImageChannelTest, CopyConstructionIsPrivateWithCountOne)
{
    CImageChannel<TypeParam> source(3, 2);
    source.setPixel(2, 1, TypeParam(7));
    source.setChannelInfo("red");
    source.incRefCounter();
    source.incRefCounter();
    ASSERT_EQ(source.refs(), 3);
    CImageChannel<TypeParam> copy(source);
    EXPECT_EQ(copy.refs(), 1);
    EXPECT_STREQ(copy.getChannelInfo(), "red");
    EXPECT_EQ(copy.getPixel(2, 1), TypeParam(7));
    EXPECT_NE(copy.getDataPtr(), source.getDataPtr());
    copy.setPixel(0, 0, TypeParam(1));
    EXPECT_EQ(source.getPixel(0, 0), TypeParam(0));
}

TYPED_TEST(ImageChannelTest, AssignmentCopiesShapeAndInfoButNeverPixels)
{
    CImageChannel<TypeParam> source(2, 2);
    source.setPixel(0, 0, TypeParam(9));
    source.setChannelInfo("source info");

    CImageChannel<TypeParam> sameShape(2, 2);
    sameShape.setPixel(1, 1, TypeParam(4));
    sameShape.setChannelInfo("kept");
    sameShape = source;
    EXPECT_EQ(sameShape.getPixel(1, 1), TypeParam(4));
    EXPECT_EQ(sameShape.getPixel(0, 0), TypeParam(0));
    EXPECT_STREQ(sameShape.getChannelInfo(), "kept"); // equal shape: info stays too

    CImageChannel<TypeParam> otherShape(5, 1);
    otherShape.incRefCounter();
    otherShape = source;
    EXPECT_EQ(otherShape.width(), 2);
    EXPECT_EQ(otherShape.height(), 2);
    EXPECT_STREQ(otherShape.getChannelInfo(), "source info");
    EXPECT_EQ(otherShape.refs(), 2);
    EXPECT_EQ(otherShape.getRowPtr(1), otherShape.getDataPtr() + 2);
}

TYPED_TEST(ImageChannelTest, MinAndMaxInBufferOrder)
{
    CImageChannel<TypeParam> channel(3, 2);
    channel.setPixel(2, 0, TypeParam(5));
    channel.setPixel(0, 1, TypeParam(3));
    channel.setPixel(1, 1, TypeParam(200));
    EXPECT_EQ(channel.min(), TypeParam(0));
    EXPECT_EQ(channel.max(), TypeParam(200));
}

TEST(ImageChannelFloat, NaNNeverReplacesTheRunningExtreme)
{
    CImageChannel<float> channel(3, 1);
    channel.setPixel(0, 0, 1.0f);
    channel.setPixel(1, 0, std::nanf(""));
    channel.setPixel(2, 0, -2.0f);
    EXPECT_EQ(channel.min(), -2.0f);
    EXPECT_EQ(channel.max(), 1.0f);
    channel.setPixel(0, 0, std::nanf(""));
    EXPECT_TRUE(std::isnan(channel.max())); // a NaN start stays
}

TEST(ImageChannelScaleRange, EightBitRoundsHalfToEvenAndClampsFloatStoresUnrounded)
{
    CImageChannel<unsigned char> bytes(5, 1);
    const unsigned char in[5] = {5, 10, 15, 20, 30};
    bytes.setRowData(in, 0);
    bytes.scaleRange(0, 255, 10, 20);
    const unsigned char out[5] = {0, 0, 128, 255, 255}; // 127.5 rounds to even
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(bytes.getPixel(x, 0), out[x]) << x;

    CImageChannel<float> floats(2, 1);
    const float fIn[2] = {15.0f, 11.0f};
    floats.setRowData(fIn, 0);
    floats.scaleRange(0.0f, 255.0f, 10.0f, 20.0f);
    EXPECT_EQ(floats.getPixel(0, 0), 127.5f);
    EXPECT_EQ(floats.getPixel(1, 0), 25.5f);
}

TEST(ImageChannelScaleRange, EqualOldBoundsLetTheClampsDecide)
{
    CImageChannel<float> channel(3, 1);
    const float in[3] = {4.0f, 5.0f, 6.0f};
    channel.setRowData(in, 0);
    channel.scaleRange(0.0f, 1.0f, 5.0f, 5.0f);
    // factor is +inf and offset NaN: every v is NaN and ends at newMin.
    for (int x = 0; x < 3; ++x)
        EXPECT_EQ(channel.getPixel(x, 0), 0.0f) << x;
}

TEST(ImageChannelHistogram, BinsOfTheDesignedRule)
{
    CImageChannel<float> channel(7, 1);
    const float values[7] = {0.0f, -3.0f, 10.0f, 12.0f, 1.9f, 2.0f, 9.99f};
    channel.setRowData(values, 0);
    // 0, -3, 1.9 | 2.0 | - | - | 10, 12, 9.99
    EXPECT_EQ(channel.histogram(0.0f, 10.0f, 5), (std::vector<unsigned int>{3, 1, 0, 0, 3}));
    EXPECT_TRUE(CImageChannel<float>(0, 0).histogram(0, 1, 0).empty());
    // Just below the top: 6.9999995 / (7 / 3) rounds up to 3, one past the
    // last bin, and is put back into it.
    CImageChannel<float> top(1, 1);
    top.setPixel(0, 0, std::nextafter(7.0f, 0.0f));
    EXPECT_EQ(top.histogram(0.0f, 7.0f, 3), (std::vector<unsigned int>{0, 0, 1}));
}

TEST(ImageChannelDeath, RowAccessOutsideTheChannelAborts)
{
    CImageChannel<unsigned char> channel(2, 2);
    EXPECT_DEATH(channel.getRowPtr(2), "CImageChannel.h:229: .*Assertion `iRow < iHeight' failed");
    EXPECT_DEATH(channel.getRowPtr(-1), "CImageChannel.h:228: .*Assertion `iRow >= 0' failed");
    unsigned char row[2] = {1, 2};
    EXPECT_DEATH(channel.setRowData(row, 5), "Assertion `iRow < iHeight' failed");
}

TEST(ExceptionTest, FormatsAndCutsAt999Characters)
{
    EXPECT_STREQ(CException("value %d of %s", 3, "x").what(), "value 3 of x");
    EXPECT_STREQ(CException(std::string("plain %d")).what(), "plain %d");
    const std::string longText(1500, 'e');
    CException cut("%s", longText.c_str());
    EXPECT_EQ(std::strlen(cut.what()), 999u);
    CException copy(cut);
    EXPECT_EQ(std::string(copy.what()), std::string(cut.what()));
    const std::exception& base = cut;
    EXPECT_EQ(std::strlen(base.what()), 999u);
}
