// CImage and its channels: sharing, channel list, bulk data, description,
// depth conversion; CImageChannel's shape, copies and row checks; CException.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "FastVsReference.h"
#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "TestImages.h"
#include "image/CException.h"
#include "image/ImageBudget.h"

template <class T> class ImageTest : public ::testing::Test
{
};
TYPED_TEST_SUITE(ImageTest, PixelTypes);

TYPED_TEST(ImageTest, ConstructionDefaultsAndNamesCutTo63Characters)
{
    CImage<TypeParam> image(4, 3, 2);
    EXPECT_EQ(image.width(), 4);
    EXPECT_EQ(image.height(), 3);
    EXPECT_EQ(image.channels(), 2);
    EXPECT_EQ(image.pixels(), 24);
    EXPECT_EQ(image.pixelsPerChannel(), 12);
    EXPECT_STREQ(image.getName(), "No name");
    EXPECT_STREQ(image.getChannelInfo(1), "No info");
    EXPECT_FALSE(image.isAttached());
    EXPECT_THROW(CImage<TypeParam>(70000, 70000, 1), std::bad_alloc);
    EXPECT_THROW(CImage<TypeParam>(50000, 50000, 1), std::bad_alloc);
    EXPECT_THROW(CImage<TypeParam>(2, 2, -1), std::bad_alloc);
    const std::string longName(80, 'n');
    image.setName(longName.c_str());
    EXPECT_EQ(std::string(image.getName()), longName.substr(0, 63));
}

// Sizes whose sample count needs up to 93 bits, and the row tables and
// channel objects that the pixel count alone does not show.
TEST(ImageBudget, EveryPartOfAnImageCountsAndNothingOverflows)
{
    const int M = std::numeric_limits<int>::max();
    EXPECT_THROW(CImage<float>(M, M, M), tirn::ImageTooLarge);
    EXPECT_THROW(CImage<float>(-M, M, M), tirn::ImageTooLarge);
    EXPECT_THROW(CImage<unsigned char>(1, M, 1), tirn::ImageTooLarge); // 16 GiB of rows
    EXPECT_THROW(CImage<unsigned char>(0, 0, 20000000), tirn::ImageTooLarge);

    testfiles::ScopedImageBudget budget(1000000);
    EXPECT_NO_THROW(CImage<unsigned char>(1000, 990, 1));
    EXPECT_THROW(CImage<unsigned char>(1000, 1000, 1), tirn::ImageTooLarge);
    EXPECT_THROW(CImage<unsigned char>(1, 120000, 1), tirn::ImageTooLarge); // rows, not pixels
    CImage<unsigned char> small(4, 4, 1);
    EXPECT_THROW(small.scale(5000.0f, SCALE_NEAREST), tirn::ImageTooLarge);
    EXPECT_THROW(small.getRegion(0, 0, 2000, 2000), tirn::ImageTooLarge);
    EXPECT_THROW(small.resize(2000, 2000, 1), tirn::ImageTooLarge);
    EXPECT_EQ(small.width(), 4); // refused before anything changed
}

TYPED_TEST(ImageTest, AssignmentSharesAndDetachSeparatesOneOrAllChannels)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 3, 2);
    CImage<TypeParam> b(1, 1, 1);
    b = a;
    EXPECT_EQ(b.getChannelPtr(0), a.getChannelPtr(0));
    EXPECT_EQ(a.getChannelPtr(0)->refs(), 2);
    b.setPixel(1, 1, 0, TypeParam(77));
    EXPECT_EQ(a.getPixel(1, 1, 0), TypeParam(77));
    EXPECT_TRUE(a.isAttached());
    EXPECT_TRUE(b.isAttached());
    b.detach(1);
    EXPECT_EQ(b.getChannelPtr(0), a.getChannelPtr(0));
    EXPECT_EQ(a.getChannelPtr(1)->refs(), 1);
    EXPECT_EQ(b.getPixel(2, 2, 1), TypeParam(122));
    b.detach(-1);
    EXPECT_FALSE(a.isAttached());
    EXPECT_FALSE(b.isAttached());
    b.setPixel(1, 1, 0, TypeParam(5));
    EXPECT_EQ(a.getPixel(1, 1, 0), TypeParam(77));
    a = a; // self-assignment keeps everything
    EXPECT_EQ(a.getChannelPtr(0)->refs(), 1);
}

TYPED_TEST(ImageTest, CopiesNeverShare)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 2, 2);
    a.setName("title");
    a.setChannelInfo("info1", 1);
    CImage<TypeParam> shared(1, 1, 1);
    shared = a;
    const CImage<TypeParam> copied(a), deep = a.deepCopy();
    const std::unique_ptr<CImage<TypeParam>> pNew(a.copy(nullptr));
    CImage<TypeParam> target(9, 9, 5);
    EXPECT_EQ(a.copy(&target), &target);
    EXPECT_EQ(a.getChannelPtr(0)->refs(), 2); // a and shared only
    const std::vector<const CImage<TypeParam>*> copies = {&copied, &deep, pNew.get(), &target};
    for (const CImage<TypeParam>* p : copies) {
        EXPECT_FALSE(p->isAttached());
        expectSameImage(*p, a);
    }
}

TYPED_TEST(ImageTest, ChannelListOperationsKeepCounts)
{
    CImage<TypeParam> a = numbered<TypeParam>(2, 2, 2);
    a.appendImage(a);
    ASSERT_EQ(a.channels(), 4);
    EXPECT_EQ(a.getChannelPtr(0)->refs(), 2);
    EXPECT_EQ(a.getChannelPtr(2), a.getChannelPtr(0));
    EXPECT_EQ(a.getChannelPtr(3), a.getChannelPtr(1));

    CImage<TypeParam> b = numbered<TypeParam>(2, 2, 1);
    b.appendChannel(1, a);
    EXPECT_EQ(b.channels(), 2);
    EXPECT_EQ(a.getChannelPtr(1)->refs(), 3);
    b.removeChannel(1);
    EXPECT_EQ(a.getChannelPtr(1)->refs(), 2);
    EXPECT_EQ(b.channels(), 1);

    a.swapChannels(0, 1);
    EXPECT_EQ(a.getPixel(0, 0, 0), TypeParam(100));

    CImage<TypeParam> one = a.extractChannel(1);
    EXPECT_EQ(one.channels(), 1);
    EXPECT_EQ(one.getChannelPtr(0), a.getChannelPtr(1));
    EXPECT_EQ(a.getChannelPtr(1)->refs(), 3);

    CImage<TypeParam> c = numbered<TypeParam>(2, 2, 2);
    {
        CImage<TypeParam> d(1, 1, 1);
        d = c;
    }
    EXPECT_EQ(c.getChannelPtr(1)->refs(), 1);
    c.removeChannel(0); // count 1: deleted (the sanitizer run checks the free)
    EXPECT_EQ(c.channels(), 1);
    EXPECT_EQ(c.getPixel(1, 0, 0), TypeParam(101));
}

TYPED_TEST(ImageTest, AttachChannelLeavesTheReplacedSharedCountAlone)
{
    CImage<TypeParam> a = numbered<TypeParam>(2, 2, 1);
    CImage<TypeParam> b = numbered<TypeParam>(2, 2, 2);
    CImage<TypeParam> holder(1, 1, 1);
    holder = b; // b's channels now have count 2
    CImageChannel<TypeParam>* pReplaced = b.getChannelPtr(1);
    b.attachChannel(1, 0, a);
    EXPECT_EQ(b.getChannelPtr(1), a.getChannelPtr(0));
    EXPECT_EQ(a.getChannelPtr(0)->refs(), 2);
    EXPECT_EQ(pReplaced->refs(), 2); // kept so: not lowered
    b.attachChannel(1, 0, a);        // the same channel into its own place
    EXPECT_EQ(a.getChannelPtr(0)->refs(), 3);
    EXPECT_EQ(b.getPixel(1, 1, 1), TypeParam(11));
    // An unshared channel into its own place is not freed first: its pixels
    // stay readable.
    CImage<TypeParam> alone = numbered<TypeParam>(4, 4, 1);
    alone.attachChannel(0, 0, alone);
    EXPECT_EQ(alone.getChannelPtr(0)->refs(), 2);
    for (int x = 0; x < 4; ++x)
        EXPECT_EQ(alone.getPixel(x, 0, 0), TypeParam(x)) << x;
    // The counts are one too high by design; bring them back to the number of
    // holders so the channels are freed (the leak check would report them).
    pReplaced->decRefCounter();
    a.getChannelPtr(0)->decRefCounter();
    alone.getChannelPtr(0)->decRefCounter();
}

TYPED_TEST(ImageTest, CloneAndFillCopyPixels)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 2, 2);
    a.setChannelInfo("green", 1);
    CImage<TypeParam> b(3, 2, 1);
    a.cloneChannel(1, &b, 0);
    EXPECT_EQ(b.getPixel(2, 1, 0), TypeParam(112));
    EXPECT_STREQ(b.getChannelInfo(0), "green");
    EXPECT_NE(b.getChannelPtr(0), a.getChannelPtr(1));
    a.cloneChannel(1, &a, 0); // onto itself: nothing
    EXPECT_EQ(a.getPixel(0, 0, 0), TypeParam(0));
    CImage<TypeParam> c(3, 2, 2);
    c.fillChannel(a, 0, 1);
    EXPECT_EQ(c.getPixel(2, 1, 1), TypeParam(12));
    EXPECT_STREQ(c.getChannelInfo(1), "No info");
}

TYPED_TEST(ImageTest, BadChannelIndexThrowsTheBadValueText)
{
    CImage<TypeParam> a(2, 2, 3);
    try {
        a.getChannelPtr(3);
        FAIL();
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), "Bad value: 3 for parameter 'iChannel' (File:CImage.h / Line:182).\n"
                               "Expected was 0<=iChannel<3\n");
    }
    EXPECT_THROW(a.getChannelPtr(-1), CException);
    EXPECT_THROW(CImage<TypeParam>(2, 2, 0).getChannelPtr(0), CException);
}

TYPED_TEST(ImageTest, PixelVectorsAndFilteredPixels)
{
    CImage<TypeParam> a = numbered<TypeParam>(2, 2, 3);
    TypeParam values[3];
    a.getPixel(1, 1, values);
    EXPECT_EQ(values[0], TypeParam(11));
    EXPECT_EQ(values[2], TypeParam(211));
    const bool mask[3] = {true, false, true};
    TypeParam packed[3] = {};
    EXPECT_EQ(a.getFilteredPixel(1, 0, mask, packed), 2);
    EXPECT_EQ(packed[0], TypeParam(1));
    EXPECT_EQ(packed[1], TypeParam(201));
    const TypeParam in[3] = {TypeParam(5), TypeParam(6), TypeParam(7)};
    a.setPixel(0, 1, in);
    EXPECT_EQ(a.getPixel(0, 1, 2), TypeParam(7));
    a.clear(1);
    EXPECT_EQ(a.getPixel(1, 1, 1), TypeParam(0));
    EXPECT_EQ(a.getPixel(1, 1, 2), TypeParam(211));
    a.clear(-1);
    EXPECT_EQ(a.getPixel(1, 1, 2), TypeParam(0));
}

TYPED_TEST(ImageTest, ChannelAndImageDataLayouts)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 2, 2);
    std::vector<TypeParam> planar(12), interleaved(12);
    a.getImageData(planar.data(), true);
    a.getImageData(interleaved.data(), false);
    EXPECT_EQ(planar[4], TypeParam(11));               // channel 0, row 1, column 1
    EXPECT_EQ(planar[6 + 2], TypeParam(102));          // channel 1, row 0, column 2
    EXPECT_EQ(interleaved[2 * 4 + 1], TypeParam(111)); // pixel (1,1), channel 1

    CImage<TypeParam> b(3, 2, 2);
    b.setImageData(planar.data(), true, true, true); // flips ignored when planar
    EXPECT_EQ(b.getPixel(2, 1, 1), TypeParam(112));

    std::vector<TypeParam> rows(6);
    a.getChannelData(rows.data(), 0);
    CImage<TypeParam> flipped(3, 2, 1);
    flipped.setChannelData(rows.data(), 0, 1);
    EXPECT_EQ(flipped.getPixel(0, 0, 0), TypeParam(10));
    EXPECT_EQ(flipped.getPixel(2, 1, 0), TypeParam(2));
}

// With both flips only rows height-1 down to 1 are written: row 0 keeps its
// zeros, a one-row image stays empty.
TYPED_TEST(ImageTest, InterleavedFlipModes)
{
    const TypeParam in[6] = {1, 2, 3, 4, 5, 6};
    struct Case
    {
        bool bRows, bColumns;
        int aiTwoRows[6], aiOneRow[3];
    };
    const Case cases[] = {
        {false, false, {1, 2, 3, 4, 5, 6}, {1, 2, 3}},
        {true, false, {4, 5, 6, 1, 2, 3}, {1, 2, 3}},
        {false, true, {3, 2, 1, 6, 5, 4}, {3, 2, 1}},
        {true, true, {0, 0, 0, 3, 2, 1}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        CImage<TypeParam> two(3, 2, 1), one(3, 1, 1);
        two.setImageData(in, false, c.bRows, c.bColumns);
        one.setImageData(in, false, c.bRows, c.bColumns);
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(two.getPixel(i % 3, i / 3, 0), TypeParam(c.aiTwoRows[i]))
                << c.bRows << c.bColumns << i;
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(one.getPixel(x, 0, 0), TypeParam(c.aiOneRow[x])) << c.bRows << c.bColumns;
    }
    CImage<TypeParam> empty(2, 0, 1);
    empty.setImageData(in, false, true, true); // nothing to write, no loop
}

TYPED_TEST(ImageTest, DataWithCoordinatesWalksTheGrid)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 3, 1);
    std::vector<float> out(12, -1.0f);
    a.getImageDataWithCoordinates(out.data(), 2);
    const std::vector<float> expected = {0, 0, 0, 2, 0, 2, 0, 2, 20, 2, 2, 22};
    EXPECT_EQ(out, expected);
    EXPECT_THROW(a.getImageDataWithCoordinates(out.data(), 0), CException);
}

TYPED_TEST(ImageTest, RegionsPadWithZeroAndCopyNames)
{
    CImage<TypeParam> a = numbered<TypeParam>(3, 3, 1);
    a.setName("src");
    a.setChannelInfo("ci", 0);
    CImage<TypeParam> expected =
        pixels<TypeParam>(4, 4, 1, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 10, 11});
    expected.setName("src");
    expected.setChannelInfo("ci", 0);
    expectSameImage(a.getRegion(-2, -2, 4, 4), expected);
    EXPECT_EQ(a.getRegion(5, 0, 2, 2).getPixel(1, 1, 0), TypeParam(0));

    TypeParam raw[4];
    a.getRegion(1, 1, 0, 2, 2, raw);
    EXPECT_EQ(raw[0], TypeParam(11));
    EXPECT_EQ(raw[3], TypeParam(22));
}

TEST(ImageDescribe, TenChannelsListedElevenMarkedAndTheLongestTextsFit)
{
    CImage<unsigned char> ten(5, 4, 10);
    ten.setName("ten");
    ten.setChannelInfo("first", 0);
    std::string expected = "Image object:\nWidth    5 pixel\nHeight   4 pixel\nChannels 10\n"
                           "Depth    8 bit\nTitle    ten\nChannel info:\n 0: first\n";
    for (int c = 1; c < 10; ++c)
        expected += " " + std::to_string(c) + ": No info\n";
    EXPECT_EQ(std::string(ten.describe()), expected);

    CImage<float> twelve(1, 1, 12);
    const std::string text = twelve.describe();
    EXPECT_NE(text.find("Depth    32 bit\n"), std::string::npos);
    EXPECT_NE(text.find(" 9: No info\n X: ..."), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 7), " X: ...");
    EXPECT_EQ(text.find("10:"), std::string::npos);
    // One buffer for all calls.
    EXPECT_EQ(ten.describe(), twelve.describe());

    CImage<unsigned short> longest(1, 1, 12);
    longest.setName(std::string(63, 't').c_str());
    for (int c = 0; c < 12; ++c)
        longest.setChannelInfo(std::string(64, 'i').c_str(), c);
    const std::string longText = longest.describe();
    EXPECT_LT(longText.size(), 2000u);
    EXPECT_EQ(longText.substr(longText.size() - 7), " X: ...");
}

TEST(ImageConversion, WrapsTruncatesAndCopiesNamesOnlyTo32Bit)
{
    CImage<float> f = pixels<float>(3, 1, 1, {300.7, -1.0, 65537.9});
    f.setName("float image");
    f.setChannelInfo("float info", 0);
    const CImage<unsigned char> b = f.convertTo8Bit();
    const CImage<unsigned short> s = f.convertTo16Bit();
    // Neither keeps the name or the channel info.
    expectSameImage(b, pixels<unsigned char>(3, 1, 1, {44, 255, 1}));
    expectSameImage(s, pixels<unsigned short>(3, 1, 1, {300, 65535, 1}));

    CImage<unsigned short> wide = filled<unsigned short>(1, 1, {300});
    wide.setName("wide");
    EXPECT_EQ(wide.convertTo8Bit().getPixel(0, 0, 0), 44);
    const CImage<float> back = wide.convertTo32Bit();
    EXPECT_EQ(back.getPixel(0, 0, 0), 300.0f);
    EXPECT_STREQ(back.getName(), "wide");
    EXPECT_EQ(back.depth(), 32);

    const CImage<float> same = f.convertTo32Bit();
    EXPECT_FALSE(same.isAttached());
    EXPECT_NE(same.getChannelPtr(0), f.getChannelPtr(0));
    EXPECT_STREQ(same.getChannelInfo(0), "float info");

    // Defined, no undefined behaviour.
    expectSameImage(pixels<float>(2, 1, 1, {1e20, std::nan("")}).convertTo8Bit(),
                    pixels<unsigned char>(2, 1, 1, {0, 0}));
}

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

// A copy is private with count 1. Assignment never copies pixels: it takes
// shape and info only from a source of another shape, and keeps the count.
TYPED_TEST(ImageChannelTest, CopiesArePrivateAndAssignmentTakesOnlyAnotherShape)
{
    CImageChannel<TypeParam> source(2, 2);
    source.setPixel(1, 1, TypeParam(7));
    source.setChannelInfo("red");
    source.incRefCounter();
    CImageChannel<TypeParam> copy(source);
    EXPECT_EQ(copy.refs(), 1);
    EXPECT_STREQ(copy.getChannelInfo(), "red");
    EXPECT_EQ(copy.getPixel(1, 1), TypeParam(7));
    copy.setPixel(0, 0, TypeParam(1));
    EXPECT_EQ(source.getPixel(0, 0), TypeParam(0));

    CImageChannel<TypeParam> sameShape(2, 2);
    sameShape.setPixel(0, 1, TypeParam(4));
    sameShape.setChannelInfo("kept");
    sameShape = source;
    EXPECT_EQ(sameShape.getPixel(0, 1), TypeParam(4));
    EXPECT_EQ(sameShape.getPixel(1, 1), TypeParam(0));
    EXPECT_STREQ(sameShape.getChannelInfo(), "kept");

    CImageChannel<TypeParam> otherShape(5, 1);
    otherShape = source;
    EXPECT_EQ(otherShape.width(), 2);
    EXPECT_EQ(otherShape.height(), 2);
    EXPECT_STREQ(otherShape.getChannelInfo(), "red");
    EXPECT_EQ(otherShape.refs(), 1);
    EXPECT_EQ(otherShape.getRowPtr(1), otherShape.getDataPtr() + 2);
    EXPECT_EQ(otherShape.getPixel(1, 1), TypeParam(0));
}

TEST(ImageChannelDeath, RowAccessOutsideTheChannelAborts)
{
    CImageChannel<unsigned char> channel(2, 2);
    EXPECT_DEATH(channel.getRowPtr(2), "CImageChannel.h:229: .*Assertion `iRow < iHeight' failed");
    EXPECT_DEATH(channel.getRowPtr(-1), "CImageChannel.h:228: .*Assertion `iRow >= 0' failed");
    unsigned char row[4] = {1, 2};
    EXPECT_DEATH(channel.setRowData(row, 5), "Assertion `iRow < iHeight' failed");
    // A region into a buffer checks no rows.
    const CImage<unsigned char> image(2, 2, 1);
    EXPECT_DEATH(image.getRegion(0, 1, 0, 2, 2, row), "Assertion `iRow < iHeight' failed");
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
