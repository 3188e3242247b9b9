// The CImage class as a script drives it: construction, pin type, dispatch,
// exceptions, and every method group through its exported wrapper.
#include <cstddef>
#include <cstring>
#include <new>
#include <vector>

#include "AbiFixture.h"
#include "unit/FileTestUtils.h"

namespace abitest {
namespace {

class AbiImage : public AbiTest
{
};

const int kDepths[] = {8, 16, 32};

TEST_F(AbiImage, DepthAliasesNameTheSameDepths)
{
    const int aiCodes[][2] = {{8, 8}, {-1, 8}, {16, 16}, {-2, 16}, {32, 32}, {-3, 32}};
    for (const auto& code : aiCodes) {
        void* p = image(code[0], 4, 3, 2);
        ASSERT_NE(p, nullptr) << code[0];
        EXPECT_EQ(callInt(p, "depth"), code[1]);
        EXPECT_EQ(callInt(p, "width"), 4);
        EXPECT_EQ(callInt(p, "height"), 3);
        EXPECT_EQ(callInt(p, "channels"), 2);
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiImage, ConstructorDefaultsComeFromThePrototype)
{
    void* p = m->create("CImage");
    EXPECT_EQ(callInt(p, "depth"), 32);
    EXPECT_EQ(callInt(p, "width"), 1);
    EXPECT_EQ(callInt(p, "height"), 1);
    EXPECT_EQ(callInt(p, "channels"), 1);
    void* q = m->create("CImage", {I(16), I(5)});
    EXPECT_EQ(callInt(q, "width"), 5);
    EXPECT_EQ(callInt(q, "height"), 1);
}

TEST_F(AbiImage, UnsupportedDepthIsRefusedWithTheBareFormat)
{
    for (int iDepth : {24, 0, -4, 7, 1}) {
        const std::size_t nOwned = m->ownedCount();
        EXPECT_EQ(image(iDepth, 4, 3, 2), nullptr) << iDepth;
        EXPECT_EQ(m->ownedCount(), nOwned);
        EXPECT_EQ(errors(), (Errors{{"CImageException:", "CImageException"}})) << iDepth;
    }
}

// No C++ exception reaches the host: sizes beyond the memory budget are
// refused as bad arguments before anything is allocated.
TEST_F(AbiImage, SizesBeyondTheBudgetAreBadArguments)
{
    EXPECT_EQ(image(8, 1 << 20, 1 << 20, 1), nullptr);
    EXPECT_EQ(image(32, 4, 4, -1), nullptr);
    EXPECT_EQ(m->ownedCount(), 0u);
    EXPECT_EQ(errors(),
              (Errors{{"badarg",
                       "Image too large (1048576 x 1048576 x 1): more than "
                       "TIRNVISION_MAX_IMAGE_BYTES\n"},
                      {"badarg", "negative channel count -1\n"}}));

    testfiles::ScopedImageBudget budget(1000000);
    void* p = image(32, 4, 4, 1);
    EXPECT_EQ(call(p, "scale", {F(5000), I(0)}).handle, nullptr);
    EXPECT_EQ(call(p, "getRegion", {I(0), I(0), I(1000), I(1000)}).handle, nullptr);
    call(p, "resize", {I(1000), I(1000), I(1)});
    EXPECT_EQ(callInt(p, "width"), 4);
    const Errors got = errors();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].message,
              "Image too large (20000 x 20000 x 1): more than TIRNVISION_MAX_IMAGE_BYTES\n");
    for (const auto& e : got)
        EXPECT_EQ(e.kind, "badarg");

    std::vector<float> bins(2);
    call(p, "histogram", {I(0), F(0), F(1), I(1000000), Arg::floats(bins)});
    EXPECT_EQ(errors(),
              (Errors{{"badop", "wrong histogram dimension\n"},
                      {"badarg", "histogram of 1000000 bins: more than "
                                 "TIRNVISION_MAX_IMAGE_BYTES\n"}}));
}

TEST_F(AbiImage, LayoutOfTheForgedHandleMatches)
{
    for (int iDepth : kDepths) {
        void* p = image(iDepth, 5, 3, 2);
        const ForgedImage* pView = static_cast<const ForgedImage*>(p);
        EXPECT_EQ(pView->iDepth, iDepth);
        EXPECT_EQ(pView->iWidth, 5);
        EXPECT_EQ(pView->iHeight, 3);
        EXPECT_EQ(pView->iChannels, 2);
        EXPECT_STREQ(pView->acName, "No name");
    }
}

// --- Pin type ------------------------------------------------------------------

TEST_F(AbiImage, InitRegistersThePinTypeAndFiniRemovesIt)
{
    const tirnhost::PinType* pin = m->pinType("tirnvision.CImage");
    ASSERT_NE(pin, nullptr);
    EXPECT_EQ(pin->copy, m->symbol("CImage_COPY_CImage"));
    EXPECT_EQ(pin->compatible, m->symbol("CImage_COMPATIBLE_CImage"));
    EXPECT_EQ(pin->free, m->symbol("CImage_FREE_CImage"));
    EXPECT_EQ(pin->describe, m->symbol("CImage_DESCRIBE_CImage"));
    EXPECT_EQ(pin->baseType, "");

    reinterpret_cast<void (*)()>(m->symbol("vision_type_fini"))();
    EXPECT_EQ(m->pinType("tirnvision.CImage"), nullptr);
    reinterpret_cast<void (*)()>(m->symbol("vision_type_init"))();
    EXPECT_NE(m->pinType("tirnvision.CImage"), nullptr);
}

TEST_F(AbiImage, CompatibleComparesDepthsAndAcceptsNull)
{
    const std::string t = "tirnvision.CImage";
    void* a8 = image(8), *b8 = image(-1), *a32 = image(32);
    ForgedImage forged;
    forged.iDepth = 8;
    EXPECT_EQ(m->pinCompatible(t, a8, nullptr), 1);
    EXPECT_EQ(m->pinCompatible(t, nullptr, a32), 1);
    EXPECT_EQ(m->pinCompatible(t, a8, b8), 1);
    EXPECT_EQ(m->pinCompatible(t, a8, a32), 0);
    EXPECT_EQ(m->pinCompatible(t, a8, &forged), 1); // the depth fields alone decide
}

TEST_F(AbiImage, CopyOfNullReturnsTheTargetUnchanged)
{
    void* target = image(8);
    EXPECT_EQ(m->pinCopy("tirnvision.CImage", target, nullptr), target);
    EXPECT_EQ(m->pinCopy("tirnvision.CImage", nullptr, nullptr), nullptr);
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiImage, CopyIntoNothingMakesAPrivateImage)
{
    for (int iDepth : kDepths) {
        void* source = numbered(iDepth, 3, 2, 2);
        call(source, "setName", {Arg::text("src")});
        void* copy = m->pinCopy("tirnvision.CImage", nullptr, source);
        ASSERT_NE(copy, nullptr);
        ASSERT_NE(copy, source);
        EXPECT_TRUE(m->owns(copy));
        EXPECT_EQ(callInt(copy, "depth"), iDepth);
        EXPECT_EQ(callInt(copy, "channels"), 2);
        EXPECT_EQ(channel(copy, 1), channel(source, 1));
        EXPECT_EQ(callInt(copy, "isAttached"), 0);
        EXPECT_EQ(callInt(source, "isAttached"), 0);
        setPixel(copy, 0, 0, 0, 77);
        EXPECT_EQ(pixel(source, 0, 0), 0);
    }
}

TEST_F(AbiImage, CopyIntoATargetReshapesIt)
{
    void* source = numbered(16, 3, 2, 2);
    void* target = image(16, 7, 7, 5);
    EXPECT_EQ(m->pinCopy("tirnvision.CImage", target, source), target);
    EXPECT_EQ(callInt(target, "width"), 3);
    EXPECT_EQ(callInt(target, "height"), 2);
    EXPECT_EQ(callInt(target, "channels"), 2);
    EXPECT_EQ(channel(target, 1), channel(source, 1));
    EXPECT_EQ(callInt(target, "isAttached"), 0);
}

TEST_F(AbiImage, CopyAndFreeRefuseAnUnknownDepth)
{
    ForgedImage forged;
    forged.iDepth = 24;
    EXPECT_EQ(m->pinCopy("tirnvision.CImage", nullptr, &forged), nullptr);
    EXPECT_EQ(errors(), (Errors{{"badop", "unknown depth of CImage\n"}}));
    // The forged handle lives on the stack: freeing it would be caught.
    m->pinFree("tirnvision.CImage", &forged);
    EXPECT_EQ(errors(), (Errors{{"badop", "unknown depth of CImage\n"}}));
    m->pinFree("tirnvision.CImage", nullptr);
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiImage, FreeDestroysImagesOfEveryDepth)
{
    for (int iDepth : kDepths) {
        void* p = image(iDepth, 9, 9, 3);
        void* q = call(p, "deepCopy").handle;
        m->release(p); // through CImage_FREE_CImage; leaks show under ASan
        m->pinFree("tirnvision.CImage", q);
        EXPECT_FALSE(m->owns(p));
        EXPECT_FALSE(m->owns(q));
    }
    EXPECT_EQ(m->ownedCount(), 0u);
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiImage, DescribeGivesTheImageText)
{
    void* p = image(-2, 4, 3, 2);
    call(p, "setChannelInfo", {Arg::text("red"), I(0)});
    EXPECT_EQ(m->pinDescribe("tirnvision.CImage", p),
              "Image object:\nWidth    4 pixel\nHeight   3 pixel\nChannels 2\n"
              "Depth    16 bit\nTitle    No name\nChannel info:\n 0: red\n 1: No info\n");
}

TEST_F(AbiImage, DescribeOfAnUnknownDepthReadsItAsEightBit)
{
    ForgedImage forged;
    forged.iDepth = 7;
    forged.iWidth = 5;
    std::string text;
    const std::string out =
        stdoutOf([&] { text = m->pinDescribe("tirnvision.CImage", &forged); });
    EXPECT_EQ(out, "CImage unknown depth!\n");
    EXPECT_EQ(text, "Image object:\nWidth    5 pixel\nHeight   0 pixel\nChannels 0\n"
                    "Depth    7 bit\nTitle    forged\nChannel info:\n");
}

// --- Dispatch and exceptions -----------------------------------------------------

TEST_F(AbiImage, UnknownDepthMakesMostWrappersDoNothing)
{
    ForgedImage forged;
    forged.iDepth = 12;
    forged.iWidth = 5;
    forged.iChannels = 3;
    const std::string out = stdoutOf([&] {
        EXPECT_EQ(callInt(&forged, "width"), 0);
        EXPECT_EQ(callInt(&forged, "channels"), 0);
        EXPECT_EQ(callInt(&forged, "depth"), 0);
        EXPECT_EQ(call(&forged, "min", {I(0)}).f, 0.0f);
        EXPECT_EQ(call(&forged, "deepCopy").handle, nullptr);
        call(&forged, "clear");
        call(&forged, "removeChannel", {I(0)});
    });
    EXPECT_EQ(out, "");
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiImage, CExceptionBecomesAHostErrorAndAZeroResult)
{
    void* p = image(8, 2, 2, 2);
    call(p, "clear", {I(5)});
    EXPECT_EQ(errors(), (Errors{{"CImageException:",
                                 "Bad value: 5 for parameter 'iChannel' (File:CImage.h / "
                                 "Line:182).\nExpected was 0<=iChannel<2\n"}}));
    std::vector<float> out(8, -1.0f);
    void* f = image(32, 2, 2, 1);
    call(f, "getImageDataWithCoordinates", {Arg::floats(out), I(0)});
    EXPECT_EQ(errors(), (Errors{{"CImageException:", "Bad value: 0 for parameter 'iStep': "
                                                     "the step must be at least 1\n"}}));
    EXPECT_EQ(out, std::vector<float>(8, -1.0f));
}

// --- Texts -----------------------------------------------------------------------

TEST_F(AbiImage, GetNameFillsAtMostTheGivenLength)
{
    void* p = image(32);
    std::vector<char> buffer(5, 'x');
    call(p, "getName", {Arg::textBuffer(buffer)});
    EXPECT_EQ(std::string(buffer.data(), 5), std::string("No n\0", 5));

    call(p, "setName", {Arg::text("Lena")});
    std::vector<char> wide(20, 'x');
    call(p, "getName", {Arg::textBuffer(wide)});
    EXPECT_STREQ(wide.data(), "Lena");
    EXPECT_EQ(wide[19], '\0');
}

TEST_F(AbiImage, LongNamesAreCutInsteadOfOverrunning)
{
    void* p = image(8);
    call(p, "setName", {Arg::text(std::string(80, 'n'))});
    std::vector<char> buffer(100, 'x');
    call(p, "getName", {Arg::textBuffer(buffer)});
    EXPECT_EQ(std::string(buffer.data()), std::string(63, 'n'));
}

TEST_F(AbiImage, ChannelInfoTravelsByChannel)
{
    void* p = image(16, 2, 2, 3);
    call(p, "setChannelInfo", {Arg::text("green"), I(1)});
    call(p, "setChannelInfo", {Arg::text(std::string(70, 'i')), I(2)});
    std::vector<char> buffer(4, 'x');
    call(p, "getChannelInfo", {Arg::textBuffer(buffer), I(1)});
    EXPECT_EQ(std::string(buffer.data(), 4), std::string("gre\0", 4));
    std::vector<char> wide(100, 'x');
    call(p, "getChannelInfo", {Arg::textBuffer(wide), I(0)});
    EXPECT_STREQ(wide.data(), "No info");
    call(p, "getChannelInfo", {Arg::textBuffer(wide), I(2)});
    EXPECT_EQ(std::string(wide.data()), std::string(64, 'i'));
}

// --- Shape and channel list ---------------------------------------------------------

TEST_F(AbiImage, ResizeAndSwapChannels)
{
    for (int iDepth : kDepths) {
        void* p = numbered(iDepth, 2, 2, 2);
        call(p, "swapChannels", {I(0), I(1)});
        EXPECT_EQ(pixel(p, 1, 1, 0), 111);
        EXPECT_EQ(pixel(p, 1, 1, 1), 11);
        call(p, "resize", {I(5), I(4), I(3)});
        EXPECT_EQ(callInt(p, "width"), 5);
        EXPECT_EQ(callInt(p, "height"), 4);
        EXPECT_EQ(callInt(p, "channels"), 3);
    }
}

TEST_F(AbiImage, AttachSharesAndDetachSeparatesAtEveryDepth)
{
    for (int iDepth : kDepths) {
        void* p = numbered(iDepth, 3, 2, 2);
        void* q = image(iDepth, 3, 2, 1);
        call(q, "attachChannel", {I(0), I(1), Arg::image(p)});
        EXPECT_EQ(callInt(q, "isAttached"), 1);
        EXPECT_EQ(callInt(p, "isAttached"), 1);
        setPixel(p, 2, 1, 1, 42);
        EXPECT_EQ(pixel(q, 2, 1), 42);

        call(q, "detach");
        EXPECT_EQ(callInt(q, "isAttached"), 0);
        EXPECT_EQ(pixel(q, 2, 1), 42);
        EXPECT_EQ(pixel(q, 1, 1), 111);
        setPixel(p, 2, 1, 1, 7);
        EXPECT_EQ(pixel(q, 2, 1), 42);
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiImage, AppendChannelAppendAndRemoveChannel)
{
    for (int iDepth : kDepths) {
        void* p = numbered(iDepth, 2, 2, 2);
        void* q = image(iDepth, 2, 2, 1);
        call(q, "appendChannel", {I(1), Arg::image(p)});
        EXPECT_EQ(callInt(q, "channels"), 2);
        EXPECT_EQ(pixel(q, 1, 1, 1), 111);
        call(q, "append", {Arg::image(p)});
        EXPECT_EQ(callInt(q, "channels"), 4);
        EXPECT_EQ(pixel(q, 1, 0, 3), 101);
        call(q, "removeChannel", {I(0)});
        EXPECT_EQ(callInt(q, "channels"), 3);
        EXPECT_EQ(pixel(q, 1, 1, 0), 111);
    }
    EXPECT_TRUE(errors().empty());
}

// The kept check compares a flag with a depth: it stays silent for images of
// real depths, and channels of another depth join converted (truncate and
// wrap), as private copies with their infos.
TEST_F(AbiImage, OtherImageOfAnotherDepthJoinsConverted)
{
    const struct
    {
        int iFrom, iTo;
        float afIn[2], afOut[2];
    } kPairs[] = {{32, 8, {300.7f, -1.5f}, {44, 255}}, {32, 16, {300.7f, -1.5f}, {300, 65535}},
                  {16, 8, {300, 65535}, {44, 255}},     {16, 32, {300, 65535}, {300, 65535}},
                  {8, 16, {200, 255}, {200, 255}},      {8, 32, {200, 255}, {200, 255}}};
    for (const auto& k : kPairs) {
        SCOPED_TRACE(testing::Message() << k.iFrom << " -> " << k.iTo);
        void* p = image(k.iFrom, 2, 1, 2);
        for (int x = 0; x < 2; ++x) {
            setPixel(p, x, 0, 0, float(x + 1));
            setPixel(p, x, 0, 1, k.afIn[x]);
        }
        call(p, "setChannelInfo", {Arg::text("joins"), I(1)});
        const std::vector<float> out(k.afOut, k.afOut + 2);
        void* q = image(k.iTo, 2, 1, 1);
        call(q, "attachChannel", {I(0), I(1), Arg::image(p)});
        call(q, "appendChannel", {I(1), Arg::image(p)});
        call(q, "append", {Arg::image(p)});
        ASSERT_EQ(callInt(q, "channels"), 4);
        EXPECT_EQ(channel(q, 0), out);
        EXPECT_EQ(channel(q, 1), out);
        EXPECT_EQ(channel(q, 2), (std::vector<float>{1, 2}));
        EXPECT_EQ(channel(q, 3), out);
        std::vector<char> info(8);
        call(q, "getChannelInfo", {Arg::textBuffer(info), I(0)});
        EXPECT_STREQ(info.data(), "joins");
        EXPECT_EQ(callInt(q, "isAttached"), 0);
        EXPECT_EQ(callInt(p, "isAttached"), 0);
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiImage, TheKeptAssertFiresOnlyForAZeroDepthPartner)
{
    void* p = image(8, 2, 2, 1);
    ForgedImage forged; // depth 0: (8 == 0 ? 1 : 0) == 0
    call(p, "append", {Arg::image(&forged)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "Assert failed\n"}}));
    forged.iDepth = 24; // passes the kept check, but has no pixels to convert
    call(p, "append", {Arg::image(&forged)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "unknown depth of CImage\n"}}));
    EXPECT_EQ(callInt(p, "channels"), 1);
}

// --- Clearing ------------------------------------------------------------------------

TEST_F(AbiImage, ClearZeroesEveryPixel)
{
    for (int iDepth : kDepths) {
        void* p = numbered(iDepth, 3, 3, 2);
        call(p, "clear");
        EXPECT_EQ(channel(p, 0), std::vector<float>(9, 0.0f));
        EXPECT_EQ(channel(p, 1), std::vector<float>(9, 0.0f));
    }
}

// width*height bytes per channel whatever the depth: all of an 8-bit
// channel, the first half of a 16-bit one, the first quarter of a float one.
TEST_F(AbiImage, ClearOneChannelCountsBytesNotPixels)
{
    const struct { int iDepth; int nCleared; } kCases[] = {{8, 16}, {16, 8}, {32, 4}};
    for (const auto& k : kCases) {
        void* p = image(k.iDepth, 4, 4, 2);
        for (int c = 0; c < 2; ++c)
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 4; ++x)
                    setPixel(p, x, y, c, 3);
        call(p, "clear", {I(1)});
        std::vector<float> expected(16, 3.0f);
        EXPECT_EQ(channel(p, 0), expected) << k.iDepth;
        std::fill(expected.begin(), expected.begin() + k.nCleared, 0.0f);
        EXPECT_EQ(channel(p, 1), expected) << k.iDepth;

        call(p, "clear", {I(-1)});
        EXPECT_EQ(channel(p, 0), expected) << k.iDepth;
    }
    EXPECT_TRUE(errors().empty());
}

// --- Values ---------------------------------------------------------------------------

TEST_F(AbiImage, SetPixelTruncatesAndWrapsIntoIntegerDepths)
{
    const struct { int iDepth; float fIn; float fOut; } kCases[] = {
        {8, 300.7f, 44}, {8, -1.0f, 255}, {8, 255.99f, 255}, {8, -0.9f, 0},
        {16, 65536.9f, 0}, {16, -2.5f, 65534}, {16, 300.7f, 300},
        {32, 2.75f, 2.75f}, {32, -1e20f, -1e20f}};
    for (const auto& k : kCases) {
        void* p = image(k.iDepth);
        setPixel(p, 0, 0, 0, k.fIn);
        EXPECT_EQ(pixel(p, 0, 0), k.fOut) << k.iDepth << " " << k.fIn;
    }
}

TEST_F(AbiImage, IntegerArgumentsWhereFloatsAreDeclared)
{
    void* p = image(32);
    call(p, "setPixel", {I(0), I(0), I(0), I(5)});
    EXPECT_EQ(pixel(p, 0, 0), 5.0f);
}

TEST_F(AbiImage, MinMaxAndInterpolate)
{
    for (int iDepth : kDepths) {
        void* p = numbered(iDepth, 3, 2, 2);
        EXPECT_EQ(call(p, "min", {I(1)}).f, 100);
        EXPECT_EQ(call(p, "max", {I(1)}).f, 112);
        EXPECT_EQ(call(p, "interpolate", {F(0), F(1), I(0)}).f, 10);
    }
}

TEST_F(AbiImage, ScaleRangeUsesFirstElementsNarrowedToTheDepth)
{
    void* p = image(8, 2, 1, 1);
    setPixel(p, 0, 0, 0, 10);
    setPixel(p, 1, 0, 0, 20);
    std::vector<float> newMin = {0.9f, 99}, newMax = {511.9f, 99};
    call(p, "scaleRange", {Arg::floats(newMin), Arg::floats(newMax), I(0)});
    // 0.9 truncates to 0 and 511.9 to 511, kept in 8 bits as 255.
    EXPECT_EQ(channel(p), (std::vector<float>{0, 255}));

    void* f = image(32, 2, 1, 1);
    setPixel(f, 1, 0, 0, 4);
    call(f, "scaleRange", {Arg::floats(newMin), Arg::floats(newMax), I(3)});
    EXPECT_EQ(channel(f), (std::vector<float>{0.9f, 511.9f}));
}

TEST_F(AbiImage, ScaleRangeWithAnEmptyArrayIsRefused)
{
    void* p = numbered(8, 2, 1, 1);
    std::vector<float> empty, one = {5};
    call(p, "scaleRange", {Arg::floats(empty), Arg::floats(one), I(0)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "array argument 1 holds 0 elements, 1 needed\n"}}));
    EXPECT_EQ(channel(p), (std::vector<float>{0, 1}));
}

TEST_F(AbiImage, ScalelRangePrintsTheFirstMinimumForEveryChannel)
{
    void* p = image(32, 2, 1, 2);
    setPixel(p, 1, 0, 0, 10);
    setPixel(p, 1, 0, 1, 10);
    std::vector<float> newMin = {1, 7}, newMax = {2, 8}, oldMin = {0, 0}, oldMax = {10, 10};
    const std::string out = stdoutOf([&] {
        call(p, "scalelRange", {Arg::floats(newMin), Arg::floats(newMax), Arg::floats(oldMin),
                                Arg::floats(oldMax)});
    });
    EXPECT_EQ(out, "scalelrange creating 2d vectors\n1.000000\n1.000000\n"
                   "scalelrange created cvectors\n");
    EXPECT_EQ(channel(p, 0), (std::vector<float>{1, 2}));
    EXPECT_EQ(channel(p, 1), (std::vector<float>{7, 8}));
}

TEST_F(AbiImage, ScalelRangeLeavesIntegerImagesAlone)
{
    for (int iDepth : {8, 16}) {
        void* p = numbered(iDepth, 2, 1, 1);
        std::vector<float> a = {50}, b = {60};
        const std::string out = stdoutOf([&] {
            call(p, "scalelRange", {Arg::floats(a), Arg::floats(b), Arg::floats(a),
                                    Arg::floats(b)});
        });
        EXPECT_EQ(out, "");
        EXPECT_EQ(channel(p), (std::vector<float>{0, 1}));
    }
}

TEST_F(AbiImage, ClipPercentageReachesTheImage)
{
    void* p = image(32, 10, 1, 1);
    for (int x = 0; x < 10; ++x)
        setPixel(p, x, 0, 0, float(x));
    call(p, "clipPercentage", {F(0), F(0), I(0)});
    EXPECT_EQ(call(p, "min", {I(0)}).f, 0);
    EXPECT_EQ(call(p, "max", {I(0)}).f, 9);
}

TEST_F(AbiImage, HistogramCountsAsFloats)
{
    void* p = image(32, 6, 1, 1);
    const float values[] = {0, 1.9f, 2.0f, 10, -3, 5};
    for (int x = 0; x < 6; ++x)
        setPixel(p, x, 0, 0, values[x]);
    std::vector<float> bins(5, -1);
    call(p, "histogram", {I(0), F(0), F(10), I(5), Arg::floats(bins)});
    EXPECT_EQ(bins, (std::vector<float>{3, 1, 1, 0, 1}));
    EXPECT_TRUE(errors().empty());

    void* q = numbered(16, 4, 1, 1); // 0 1 2 3
    call(q, "histogram", {I(0), F(0), F(4), I(2), Arg::floats(bins)});
    EXPECT_EQ(errors(), (Errors{{"badop", "wrong histogram dimension\n"}}));
    EXPECT_EQ(bins, (std::vector<float>{2, 2, 1, 0, 1})); // only two written
    std::vector<float> few(1, -1);
    call(q, "histogram", {I(0), F(0), F(4), I(2), Arg::floats(few)});
    EXPECT_EQ(errors(), (Errors{{"badop", "wrong histogram dimension\n"}}));
    EXPECT_EQ(few, (std::vector<float>{2}));
}

TEST_F(AbiImage, ImageDataWithCoordinatesOnlyForFloatImages)
{
    void* p = numbered(8, 2, 2, 1);
    std::vector<float> out(12, -1);
    const std::string text =
        stdoutOf([&] { call(p, "getImageDataWithCoordinates", {Arg::floats(out), I(1)}); });
    EXPECT_EQ(text, "CImage unsupported depth for getImgDataWithCoords !\n");
    EXPECT_EQ(out, std::vector<float>(12, -1));

    void* f = numbered(32, 3, 3, 1);
    std::vector<float> coords(12, -1);
    call(f, "getImageDataWithCoordinates", {Arg::floats(coords), I(2)});
    EXPECT_EQ(coords, (std::vector<float>{0, 0, 0, 2, 0, 2, 0, 2, 20, 2, 2, 22}));
    std::vector<float> small(11, -1);
    call(f, "getImageDataWithCoordinates", {Arg::floats(small), I(2)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "array argument 1 holds 11 elements, 12 needed\n"}}));
    EXPECT_EQ(small, std::vector<float>(11, -1));
}

// --- New images -----------------------------------------------------------------------

TEST_F(AbiImage, ImageResultsAreNewOwnedHandles)
{
    for (int iDepth : kDepths) {
        void* p = numbered(iDepth, 4, 3, 2);
        const std::size_t nOwned = m->ownedCount();
        void* copy = call(p, "deepCopy").handle;
        void* region = call(p, "getRegion", {I(1), I(1), I(2), I(2)}).handle;
        void* scaled = call(p, "scale", {F(2), I(0)}).handle;
        EXPECT_EQ(m->ownedCount(), nOwned + 3);
        EXPECT_EQ(callInt(copy, "isAttached"), 0);
        EXPECT_EQ(channel(copy, 1), channel(p, 1));
        EXPECT_EQ(channel(region, 1), (std::vector<float>{111, 112, 121, 122}));
        EXPECT_EQ(callInt(scaled, "width"), 8);
        EXPECT_EQ(callInt(scaled, "height"), 6);
        EXPECT_EQ(callInt(scaled, "depth"), iDepth);
    }
}

TEST_F(AbiImage, ScaleByAnUnknownMethodEndsTheProcess)
{
    void* p = numbered(8, 2, 2, 1);
    EXPECT_EXIT(call(p, "scale", {F(2), I(7)}), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(call(p, "scale", {F(2), I(-1)}), ::testing::ExitedWithCode(0), "");
}

TEST_F(AbiImage, RotateTruncatesItsCentre)
{
    void* p = numbered(32, 5, 5, 1);
    void* a = call(p, "rotate", {F(30), F(1.9f), F(2.99f)}).handle;
    void* b = call(p, "rotate", {F(30), F(1), F(2)}).handle;
    void* c = call(p, "rotate", {F(30), F(2), F(3)}).handle;
    void* d = call(p, "rotate", {F(30), F(-1.5f), F(-1.5f)}).handle; // as (-1, -1)
    void* e = call(p, "rotate", {F(30)}).handle;                     // defaults -1, -1
    EXPECT_EQ(channel(a), channel(b));
    EXPECT_NE(channel(a), channel(c));
    EXPECT_EQ(channel(d), channel(e));
}

TEST_F(AbiImage, ConvertDepthTakesAliasesAndRefusesQuietly)
{
    void* p = image(16, 2, 1, 1);
    setPixel(p, 0, 0, 0, 300);
    void* p8 = call(p, "convertDepth", {I(-1)}).handle;
    void* p32 = call(p, "convertDepth", {I(32)}).handle;
    ASSERT_NE(p8, nullptr);
    ASSERT_NE(p32, nullptr);
    EXPECT_EQ(callInt(p8, "depth"), 8);
    EXPECT_EQ(pixel(p8, 0, 0), 44);
    EXPECT_EQ(callInt(p32, "depth"), 32);
    EXPECT_EQ(pixel(p32, 0, 0), 300);
    const std::size_t nOwned = m->ownedCount();
    EXPECT_EQ(call(p, "convertDepth", {I(24)}).handle, nullptr);
    EXPECT_EQ(call(p, "convertDepth", {I(0)}).handle, nullptr);
    EXPECT_EQ(m->ownedCount(), nOwned);
    EXPECT_TRUE(errors().empty());
}

} // namespace
} // namespace abitest
