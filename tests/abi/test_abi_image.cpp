// The CImage class as a script drives it: construction, pin type, dispatch,
// argument conversion and exceptions, through the exported wrappers. The
// numbers behind each method belong to the image unit tests; here one value
// per depth shows that a call reached the right instantiation.
#include <algorithm>
#include <cstddef>
#include <vector>

#include "AbiFixture.h"
#include "unit/FileTestUtils.h"

namespace abitest {
namespace {

using AbiImage = AbiTest;

const char kPin[] = "tirnvision.CImage";

// convertDepth takes the constructor's codes and refuses the others quietly.
TEST_F(AbiImage, DepthCodesDefaultsAndRefusedDepths)
{
    void* p = m->create("CImage");
    EXPECT_EQ(callInt(p, "depth") * 1000 + shape(p), 32111);
    EXPECT_EQ(shape(m->create("CImage", {I(16), I(5)})), 511);
    const int aiCodes[][2] = {{8, 8}, {-1, 8}, {16, 16}, {-2, 16}, {32, 32}, {-3, 32}};
    for (const auto& code : aiCodes) {
        // AbiFixture's ForgedImage must match the real layout for the forgeries.
        const ForgedImage* pView = static_cast<const ForgedImage*>(image(code[0], 4, 3, 2));
        ASSERT_NE(pView, nullptr) << code[0];
        EXPECT_EQ(pView->iDepth * 1000 + pView->iWidth * 100 + pView->iHeight * 10 +
                      pView->iChannels,
                  code[1] * 1000 + 432);
        EXPECT_STREQ(pView->acName, "No name");
        void* pConverted = call(p, "convertDepth", {I(code[0])}).handle;
        ASSERT_NE(pConverted, nullptr) << code[0];
        EXPECT_EQ(callInt(pConverted, "depth"), code[1]) << code[0];
    }
    EXPECT_TRUE(errors().empty());

    const std::size_t nOwned = m->ownedCount();
    for (int iDepth : {24, 0, -4, 7, 1}) {
        EXPECT_EQ(image(iDepth, 4, 3, 2), nullptr) << iDepth;
        EXPECT_EQ(errors(), (Errors{{"CImageException:", "CImageException"}})) << iDepth;
        EXPECT_EQ(call(p, "convertDepth", {I(iDepth)}).handle, nullptr) << iDepth;
        EXPECT_EQ(errors(), Errors()) << iDepth;
    }
    EXPECT_EQ(m->ownedCount(), nOwned);
}

// No C++ exception reaches the host: sizes beyond the memory budget are
// refused as bad arguments before anything is allocated.
TEST_F(AbiImage, SizesBeyondTheBudgetAreBadArguments)
{
    EXPECT_EQ(image(8, 1 << 20, 1 << 20, 1), nullptr);
    EXPECT_EQ(image(32, 4, 4, -1), nullptr);
    EXPECT_EQ(m->ownedCount(), 0u);
    const std::string sOver = " x 1): more than TIRNVISION_MAX_IMAGE_BYTES\n";
    EXPECT_EQ(errors(), (Errors{{"badarg", "Image too large (1048576 x 1048576" + sOver},
                                {"badarg", "negative channel count -1\n"}}));

    testfiles::ScopedImageBudget budget(1000000);
    void* p = image(32, 4, 4, 1);
    EXPECT_EQ(call(p, "scale", {F(5000), I(0)}).handle, nullptr);
    EXPECT_EQ(call(p, "getRegion", {I(0), I(0), I(1000), I(1000)}).handle, nullptr);
    call(p, "resize", {I(1000), I(1000), I(1)});
    EXPECT_EQ(callInt(p, "width"), 4);
    EXPECT_EQ(errors(), (Errors{{"badarg", "Image too large (20000 x 20000" + sOver},
                                {"badarg", "Image too large (1000 x 1000" + sOver},
                                {"badarg", "Image too large (1000 x 1000" + sOver}}));

    Floats bins(2);
    call(p, "histogram", {I(0), F(0), F(1), I(1000000), Arg::floats(bins)});
    EXPECT_EQ(errors(), (Errors{{"badop", "wrong histogram dimension\n"},
                                {"badarg", "histogram of 1000000 bins: more than "
                                           "TIRNVISION_MAX_IMAGE_BYTES\n"}}));
}

// Refused calls raise their script error and leave the image and the output
// array as they were. Only float images have coordinates; step 2 over 3
// columns takes columns 0 and 2: the count rounds up.
TEST_F(AbiImage, RefusedCallsAndImageDataWithCoordinates)
{
    void* p = numbered(8, 2, 2, 2);
    Floats none, one = {5}, out(12, -1), eleven(11, -1);
    call(p, "clear", {I(5)});
    call(p, "scaleRange", {Arg::floats(none), Arg::floats(one), I(0)});
    EXPECT_EQ(errors(), (Errors{{"CImageException:", "Bad value: 5 for parameter 'iChannel' "
                                                     "(File:CImage.h / Line:182).\nExpected was "
                                                     "0<=iChannel<2\n"},
                                {"badarg", "array argument 1 holds 0 elements, 1 needed\n"}}));
    EXPECT_EQ(stdoutOf([&] { call(p, "getImageDataWithCoordinates", {Arg::floats(out), I(1)}); }),
              "CImage unsupported depth for getImgDataWithCoords !\n");
    EXPECT_EQ(channel(p, 0), (Floats{0, 1, 10, 11}));

    void* f = numbered(32, 3, 3, 1);
    call(f, "getImageDataWithCoordinates", {Arg::floats(out), I(0)});
    call(f, "getImageDataWithCoordinates", {Arg::floats(eleven), I(2)});
    EXPECT_EQ(errors(),
              (Errors{{"CImageException:",
                       "Bad value: 0 for parameter 'iStep': the step must be at least 1\n"},
                      {"badarg", "array argument 1 holds 11 elements, 12 needed\n"}}));
    EXPECT_EQ(out, Floats(12, -1));
    EXPECT_EQ(eleven, Floats(11, -1));
}

TEST_F(AbiImage, PinTypeRegistrationCompatibilityCopyAndFree)
{
    // AbiSymbols.VersionRecordAndPinTable checks the record's functions.
    ASSERT_NE(m->pinType(kPin), nullptr);
    reinterpret_cast<void (*)()>(m->symbol("vision_type_fini"))();
    EXPECT_EQ(m->pinType(kPin), nullptr);
    reinterpret_cast<void (*)()>(m->symbol("vision_type_init"))();
    EXPECT_NE(m->pinType(kPin), nullptr);

    void *a8 = image(8), *b8 = image(-1), *a32 = image(32);
    ForgedImage forged;
    forged.iDepth = 8;
    EXPECT_EQ(m->pinCompatible(kPin, a8, nullptr), 1);
    EXPECT_EQ(m->pinCompatible(kPin, nullptr, a32), 1);
    EXPECT_EQ(m->pinCompatible(kPin, a8, b8), 1);
    EXPECT_EQ(m->pinCompatible(kPin, a8, a32), 0);
    EXPECT_EQ(m->pinCompatible(kPin, a8, &forged), 1); // the depth fields alone decide

    // Copies are private images; free destroys them.
    EXPECT_EQ(m->pinCopy(kPin, a8, nullptr), a8);
    EXPECT_EQ(m->pinCopy(kPin, nullptr, nullptr), nullptr);
    for (int iDepth : kDepths) {
        void* source = numbered(iDepth, 3, 2, 2);
        void* copy = m->pinCopy(kPin, nullptr, source);
        ASSERT_TRUE(copy != source && m->owns(copy));
        EXPECT_EQ(callInt(copy, "depth"), iDepth);
        // Into an existing target of another shape: reshaped, not attached.
        void* reshaped = image(iDepth, 7, 7, 5);
        EXPECT_EQ(m->pinCopy(kPin, reshaped, source), reshaped);
        EXPECT_EQ(shape(reshaped), 322);
        for (void* p : {copy, reshaped}) {
            EXPECT_EQ(channel(p, 1), channel(source, 1));
            setPixel(p, 0, 0, 0, 77);
            EXPECT_EQ(callInt(p, "isAttached"), 0);
        }
        EXPECT_EQ(pixel(source, 0, 0), 0);
        m->release(copy); // through CImage_FREE_CImage; leaks show under ASan
        m->pinFree(kPin, reshaped);
        EXPECT_FALSE(m->owns(reshaped));
    }
    m->pinFree(kPin, nullptr);
    EXPECT_TRUE(errors().empty());

    forged.iDepth = 24;
    EXPECT_EQ(m->pinCopy(kPin, nullptr, &forged), nullptr);
    EXPECT_EQ(errors(), (Errors{{"badop", "unknown depth of CImage\n"}}));
    // The forged handle lives on the stack: freeing it would be caught.
    m->pinFree(kPin, &forged);
    EXPECT_EQ(errors(), (Errors{{"badop", "unknown depth of CImage\n"}}));
}

// A forged handle of no known depth: describe reads it as 8 bit (the text
// belongs to the ImageDescribe unit tests), most wrappers do nothing, and
// append's kept check compares a flag with a depth, so it fires only for a
// zero-depth partner: (8 == 0 ? 1 : 0) == 0.
TEST_F(AbiImage, ForgedDepthsAreDescribedIgnoredOrRefused)
{
    ForgedImage forged;
    forged.iDepth = 7;
    forged.iWidth = 5;
    std::string text;
    EXPECT_EQ(stdoutOf([&] { text = m->pinDescribe(kPin, &forged); }), "CImage unknown depth!\n");
    EXPECT_EQ(text, "Image object:\nWidth    5 pixel\nHeight   0 pixel\nChannels 0\n"
                    "Depth    7 bit\nTitle    forged\nChannel info:\n");

    forged.iDepth = 12;
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

    void* p = image(8, 2, 2, 1);
    ForgedImage zero;
    call(p, "append", {Arg::image(&zero)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "Assert failed\n"}}));
    zero.iDepth = 24; // passes the kept check, but has no pixels to convert
    call(p, "append", {Arg::image(&zero)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "unknown depth of CImage\n"}}));
    EXPECT_EQ(callInt(p, "channels"), 1);
}

// A text buffer's element count is its length without the terminator.
TEST_F(AbiImage, TextsFillAtMostTheGivenLengthAndLongInfosAreCut)
{
    void* p = image(16, 2, 2, 3);
    std::vector<char> buffer(5, 'x'), wide(100, 'x');
    call(p, "getName", {Arg::textBuffer(buffer)});
    EXPECT_EQ(std::string(buffer.data(), 5), std::string("No n\0", 5));
    call(p, "setChannelInfo", {Arg::text("green"), I(1)});
    call(p, "setChannelInfo", {Arg::text(std::string(70, 'i')), I(2)});
    call(p, "getChannelInfo", {Arg::textBuffer(buffer), I(1)});
    EXPECT_EQ(std::string(buffer.data(), 5), std::string("gree\0", 5));
    call(p, "getChannelInfo", {Arg::textBuffer(wide), I(2)});
    EXPECT_EQ(std::string(wide.data()), std::string(64, 'i'));
}

// attachChannel, appendChannel and append share channels of the same depth
// until detach. The kept check stays silent for images of real depths, and
// channels of another depth join converted, as private copies with their
// infos (the ImageConversion unit tests own the converted numbers).
TEST_F(AbiImage, ChannelsOfOtherImagesJoinSharedOrConverted)
{
    for (int iFrom : kDepths)
        for (int iTo : kDepths) {
            SCOPED_TRACE(testing::Message() << iFrom << " -> " << iTo);
            void* p = numbered(iFrom, 2, 1, 2);
            call(p, "setChannelInfo", {Arg::text("joins"), I(1)});
            void* q = image(iTo, 2, 1, 1);
            call(q, "attachChannel", {I(0), I(1), Arg::image(p)});
            call(q, "appendChannel", {I(1), Arg::image(p)});
            call(q, "append", {Arg::image(p)});
            ASSERT_EQ(callInt(q, "channels"), 4);
            for (int c : {0, 1, 3})
                EXPECT_EQ(channel(q, c), (Floats{100, 101})) << c;
            EXPECT_EQ(channel(q, 2), (Floats{0, 1}));
            std::vector<char> info(8);
            call(q, "getChannelInfo", {Arg::textBuffer(info), I(0)});
            EXPECT_STREQ(info.data(), "joins");
            const bool bShared = iFrom == iTo;
            EXPECT_EQ(callInt(q, "isAttached") + callInt(p, "isAttached"), bShared ? 2 : 0);
            setPixel(p, 0, 0, 1, 7);
            call(q, "detach");
            setPixel(p, 0, 0, 1, 9);
            EXPECT_EQ(callInt(q, "isAttached"), 0);
            EXPECT_EQ(pixel(q, 0, 0, 0), bShared ? 7 : 100);
            call(q, "removeChannel", {I(0)});
            EXPECT_EQ(channel(q, 0), (Floats{bShared ? 7.0f : 100.0f, 101}));
        }
    EXPECT_TRUE(errors().empty());
}

// clear(c) clears width*height bytes whatever the depth: all of an 8-bit
// channel, the first half of a 16-bit one, the first quarter of a float one;
// a negative c clears channel 0 that way.
TEST_F(AbiImage, ClearOneChannelCountsBytesNotPixels)
{
    const struct { int iDepth; int nCleared; } kCases[] = {{8, 16}, {16, 8}, {32, 4}};
    for (const auto& k : kCases) {
        void* p = numbered(k.iDepth, 4, 4, 2);
        Floats first = channel(p, 0), second = channel(p, 1);
        call(p, "clear", {I(1)});
        EXPECT_EQ(channel(p, 0), first) << k.iDepth;
        std::fill(second.begin(), second.begin() + k.nCleared, 0.0f);
        EXPECT_EQ(channel(p, 1), second) << k.iDepth;
        call(p, "clear", {I(-1)});
        std::fill(first.begin(), first.begin() + k.nCleared, 0.0f);
        EXPECT_EQ(channel(p, 0), first) << k.iDepth;
        call(p, "clear");
        EXPECT_EQ(channel(p, 1), Floats(16, 0.0f)) << k.iDepth;
    }
    EXPECT_TRUE(errors().empty());
}

// scaleRange takes the first elements of its arrays, narrowed to the depth:
// 0.9 truncates to 0 and 511.9 to 511, kept in 8 bits as 255. scalelRange
// prints the first minimum for every channel and leaves integer images alone.
TEST_F(AbiImage, ScaleRangesTakeTheirBoundsFromArrays)
{
    Floats newMin = {0.9f, 99}, newMax = {511.9f, 99};
    void* p = row(8, {10, 20});
    call(p, "scaleRange", {Arg::floats(newMin), Arg::floats(newMax), I(0)});
    EXPECT_EQ(channel(p), (Floats{0, 255}));
    void* f = row(32, {0, 4});
    call(f, "scaleRange", {Arg::floats(newMin), Arg::floats(newMax), I(3)});
    EXPECT_EQ(channel(f), (Floats{0.9f, 511.9f}));

    newMin = {1, 7};
    newMax = {2, 8};
    Floats oldMin = {0, 0}, oldMax = {10, 10};
    const std::vector<Arg> args = {Arg::floats(newMin), Arg::floats(newMax), Arg::floats(oldMin),
                                   Arg::floats(oldMax)};
    for (int iDepth : kDepths) {
        void* q = image(iDepth, 2, 1, 2);
        setPixel(q, 1, 0, 0, 10);
        setPixel(q, 1, 0, 1, 10);
        const bool bFloat = iDepth == 32;
        EXPECT_EQ(stdoutOf([&] { call(q, "scalelRange", args); }),
                  bFloat ? "scalelrange creating 2d vectors\n1.000000\n1.000000\n"
                           "scalelrange created cvectors\n"
                         : "");
        EXPECT_EQ(channel(q, 1), (bFloat ? Floats{7, 8} : Floats{0, 10})) << iDepth;
    }
}

// The bins come back as floats in the caller's array; the wrapper complains
// unless the array holds exactly the bins, and writes what fits.
TEST_F(AbiImage, HistogramFillsTheCallersArray)
{
    void* q = numbered(16, 4, 1, 1); // 0 1 2 3
    Floats bins(2, -1), more(4, -1), few(1, -1);
    call(q, "histogram", {I(0), F(0), F(4), I(2), Arg::floats(bins)});
    EXPECT_EQ(bins, (Floats{2, 2}));
    EXPECT_TRUE(errors().empty());
    call(q, "histogram", {I(0), F(0), F(4), I(2), Arg::floats(more)});
    EXPECT_EQ(more, (Floats{2, 2, -1, -1}));
    call(q, "histogram", {I(0), F(0), F(4), I(2), Arg::floats(few)});
    EXPECT_EQ(few, (Floats{2}));
    EXPECT_EQ(errors(), (Errors{{"badop", "wrong histogram dimension\n"},
                                {"badop", "wrong histogram dimension\n"}}));
}

TEST_F(AbiImage, RotateTruncatesItsCentre)
{
    void* p = numbered(32, 5, 5, 1);
    const auto rotated = [&](std::vector<Arg> centre) {
        centre.insert(centre.begin(), F(30));
        return channel(call(p, "rotate", centre).handle);
    };
    EXPECT_EQ(rotated({F(1.9f), F(2.99f)}), rotated({F(1), F(2)}));
    EXPECT_NE(rotated({F(1.9f), F(2.99f)}), rotated({F(2), F(3)}));
    EXPECT_EQ(rotated({F(-1.5f), F(-1.5f)}), rotated({})); // as (-1, -1), the defaults
}

} // namespace
} // namespace abitest
