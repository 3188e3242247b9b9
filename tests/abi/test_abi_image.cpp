// The CImage class as a script drives it through the exported wrappers:
// construction, pin type, dispatch, argument conversion, typed transfers,
// files and exceptions. The numbers behind each method belong to the image
// and file unit tests; here a value per depth shows the call's instantiation.
#include <algorithm>
#include <cstddef>
#include <filesystem>

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
TEST_F(AbiImage, SizesBeyondTheBudgetAreBadArgumentsHistogramsFillTheCallersArray)
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

    // The bins come back as floats in the caller's array; the wrapper
    // complains unless the array holds exactly the bins, and writes what fits.
    void* q = numbered(16, 4, 1, 1); // 0 1 2 3
    Floats bins(2, -1), more(4, -1), few(1, -1);
    call(q, "histogram", {I(0), F(0), F(4), I(2), Arg::floats(bins)});
    EXPECT_EQ(bins, (Floats{2, 2}));
    EXPECT_TRUE(errors().empty());
    call(q, "histogram", {I(0), F(0), F(4), I(2), Arg::floats(more)});
    EXPECT_EQ(more, (Floats{2, 2, -1, -1}));
    call(q, "histogram", {I(0), F(0), F(4), I(2), Arg::floats(few)});
    EXPECT_EQ(few, (Floats{2}));
    call(p, "histogram", {I(0), F(0), F(1), I(1000000), Arg::floats(bins)});
    EXPECT_EQ(errors(), (Errors{{"badop", "wrong histogram dimension\n"},
                                {"badop", "wrong histogram dimension\n"},
                                {"badop", "wrong histogram dimension\n"},
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
        for (const char* pcMethod : {"width", "channels", "depth"})
            EXPECT_EQ(callInt(&forged, pcMethod), 0) << pcMethod;
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

// Typed transfers between images and the caller's byte or float arrays, in
// every direction and at every depth: widening, truncation and wrap, no
// scaling.
typedef std::vector<unsigned char> Bytes;

// The host picks CImage8_ or CImage32_ by the array's type; the region reads
// are announced by no table line and are called by their exported names.
class AbiTransfer : public AbiTest
{
protected:
    // Hands the values to the wrapper as bytes or floats, and back as floats.
    Floats through(bool bFloats, void* p, const std::string& sMethod, std::vector<Arg> args,
                   const Floats& values)
    {
        Floats f = values;
        Bytes b(values.begin(), values.end());
        args.push_back(bFloats ? Arg::floats(f) : Arg::bytes(b));
        if (sMethod.find("Data") != std::string::npos)
            std::rotate(args.begin(), args.end() - 1, args.end()); // the array comes first
        if (sMethod == "getChannelRegion")
            m->callExport((bFloats ? "CImage32_" : "CImage8_") + sMethod, ValueType::Void, p, args);
        else
            call(p, sMethod, args);
        return bFloats ? f : Floats(b.begin(), b.end());
    }
    // One channel's region read into an array filled with kUntouched.
    Floats region(void* p, bool bFloats, int x0, int y0, int c, int w, int h)
    {
        return through(bFloats, p, "getChannelRegion", {I(x0), I(y0), I(c), I(w), I(h)},
                       Floats(std::size_t(std::max(w * h, 0)), kUntouched));
    }
    static constexpr float kUntouched = 9;
};

// Every image depth read through either array type.
const struct ArrayPair
{
    int iDepth;
    bool bFloats;
} kPairs[] = {{8, false}, {8, true}, {16, false}, {16, true}, {32, false}, {32, true}};

#define TRACE_PAIR(k)                                                                              \
    SCOPED_TRACE(testing::Message() << k.iDepth << (k.bFloats ? " floats" : " bytes"))

// setPixel's float argument goes through the same conversion.
TEST_F(AbiTransfer, ChannelDataConvertsByTruncationAndWrap)
{
    const Floats fromFloats = {65537.9f, -2.5f, 300.2f, 0.99f, 255.99f, -0.9f};
    const struct
    {
        int iDepth;
        bool bFloats, bSet;
        Floats in, out;
    } kCases[] = {
        {16, false, false, {300, 65535}, {44, 255}},
        {32, false, false, {300.7f, -1.5f, 255.9f, -256.5f}, {44, 255, 255, 0}},
        {16, true, false, {65535, 12345}, {65535, 12345}},
        {8, true, false, {0, 255}, {0, 255}},
        {8, false, true, {0, 200, 255}, {0, 200, 255}},
        {16, false, true, {0, 200, 255}, {0, 200, 255}},
        {32, false, true, {0, 200, 255}, {0, 200, 255}},
        {16, true, true, fromFloats, {1, 65534, 300, 0, 255, 0}},
        {8, true, true, fromFloats, {1, 254, 44, 0, 255, 0}},
        {32, true, true, fromFloats, fromFloats},
    };
    for (const auto& k : kCases) {
        TRACE_PAIR(k);
        if (k.bSet) {
            void* p = image(k.iDepth, int(k.in.size()), 1, 1);
            through(k.bFloats, p, "setChannelData", {I(0)}, k.in);
            EXPECT_EQ(channel(p), k.out);
        } else {
            const Floats untouched(k.in.size(), kUntouched);
            EXPECT_EQ(through(k.bFloats, row(k.iDepth, k.in), "getChannelData", {I(0)}, untouched),
                      k.out);
        }
    }
    // An int argument is taken where a float is declared.
    void* p = image(8, 2, 1, 1);
    setPixel(p, 0, 0, 0, 300.7f);
    call(p, "setPixel", {I(1), I(0), I(0), I(5)});
    EXPECT_EQ(channel(p), (Floats{44, 5}));
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiTransfer, ImageDataInterleavedOrPlanarByAnyNonZeroFlag)
{
    for (const ArrayPair& k : kPairs) {
        TRACE_PAIR(k);
        void* p = numbered(k.iDepth, 2, 2, 2);
        EXPECT_EQ(through(k.bFloats, p, "getImageData", {I(0)}, Floats(8)),
                  (Floats{0, 100, 1, 101, 10, 110, 11, 111}));
        EXPECT_EQ(through(k.bFloats, p, "getImageData", {I(7)}, Floats(8)),
                  (Floats{0, 1, 10, 11, 100, 101, 110, 111}));

        void* q = image(k.iDepth, 2, 2, 1);
        through(k.bFloats, q, "setImageData", {I(0), I(0)}, {1, 2, 3, 4}); // third flag 0
        EXPECT_EQ(channel(q), (Floats{1, 2, 3, 4}));
        through(k.bFloats, q, "setImageData", {I(0), I(-3), I(0)}, {1, 2, 3, 4}); // rows flipped
        EXPECT_EQ(channel(q), (Floats{3, 4, 1, 2}));
        through(k.bFloats, q, "setImageData", {I(2), I(0)}, {9, 8, 7, 6}); // planar
        EXPECT_EQ(channel(q), (Floats{9, 8, 7, 6}));

        p = numbered(k.iDepth, 3, 3, 3);
        EXPECT_EQ(through(k.bFloats, p, "getPixel", {I(2), I(1)}, Floats(3)),
                  (Floats{12, 112, 212}));
        through(k.bFloats, p, "setPixel", {I(0), I(2)}, {1, 250, 44});
        EXPECT_EQ((Floats{pixel(p, 0, 2, 0), pixel(p, 0, 2, 2)}), (Floats{1, 44}));
    }
    // With both flips the last row is not written, so the caller's array may
    // be one row short.
    void* p = image(8, 2, 3, 1);
    through(false, p, "setImageData", {I(0), I(1), I(1)}, {1, 2, 3, 4});
    EXPECT_EQ(channel(p), (Floats{0, 0, 4, 3, 2, 1}));
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiTransfer, ChannelRegionChecksTheBufferNotTheColumnsNorTheRows)
{
    for (const ArrayPair& k : kPairs) {
        TRACE_PAIR(k);
        void* p = numbered(k.iDepth, 4, 3, 2);
        EXPECT_EQ(region(p, k.bFloats, 1, 1, 1, 2, 2), (Floats{111, 112, 121, 122}));
        // A region reads on through its row into the neighbouring row, past
        // the last column as well as left of column 0.
        const Floats wrapped = {103, 110, 113, 120};
        EXPECT_EQ(region(p, k.bFloats, 3, 0, 1, 2, 2), wrapped);
        EXPECT_EQ(region(p, k.bFloats, -1, 1, 1, 2, 2), wrapped);
        EXPECT_EQ(region(p, k.bFloats, 2, 2, 1, 2, 1), (Floats{122, 123})); // the very last pixels
        region(p, k.bFloats, 0, 5, 0, 0, 2); // an empty region reads nothing
        EXPECT_TRUE(errors().empty());

        // Leaving the buffer is refused, the array untouched.
        EXPECT_EQ(region(p, k.bFloats, 3, 2, 0, 2, 1), Floats(2, kUntouched));
        EXPECT_EQ(region(p, k.bFloats, -1, 0, 0, 2, 1), Floats(2, kUntouched));
        EXPECT_EQ(errors(), (Errors{{"badarg", "region 3,2 2x1 reads outside the 4x3 channel\n"},
                                    {"badarg", "region -1,0 2x1 reads outside the 4x3 channel\n"}}));
        region(p, k.bFloats, 0, 0, 2, 2, 2);
        EXPECT_EQ(errors().size(), 1u); // the channel index
        // Rows are left to the library, whose assertion ends the process.
        EXPECT_DEATH(region(p, k.bFloats, 0, 2, 0, 2, 2),
                     "CImageChannel.h:229: .*Assertion `iRow < iHeight' failed");
        EXPECT_DEATH(region(p, k.bFloats, 0, -1, 0, 2, 1),
                     "CImageChannel.h:228: .*Assertion `iRow >= 0' failed");
    }
}

TEST_F(AbiTransfer, NullArraysAreDroppedOnReadsShortOnesRefusedUntouched)
{
    for (int iDepth : kDepths) {
        void* p = numbered(iDepth, 3, 2, 2);
        call(p, "getImageData", {Arg::nullArray(ValueType::Bytes), I(0)});
        call(p, "getImageData", {Arg::nullArray(ValueType::Floats), I(0)});
        call(p, "getChannelData", {Arg::nullArray(ValueType::Bytes), I(1)});
        call(p, "getPixel", {I(0), I(0), Arg::nullArray(ValueType::Floats)});
    }
    EXPECT_TRUE(errors().empty());

    void* p = numbered(16, 3, 2, 2);
    through(false, p, "setChannelData", {I(0)}, Floats(5, 7));
    EXPECT_EQ(through(true, p, "getImageData", {I(0)}, Floats(11, 7)), Floats(11, 7));
    call(p, "setPixel", {I(0), I(0), Arg::nullArray(ValueType::Floats)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "array argument 1 holds 5 elements, 6 needed\n"},
                                {"badarg", "array argument 1 holds 11 elements, 12 needed\n"},
                                {"badarg", "array argument 3 holds 0 elements, 2 needed\n"}}));
    EXPECT_EQ(channel(p, 0), (Floats{0, 1, 2, 10, 11, 12}));
}

// Loading and saving through the wrappers: format names by direction, format
// codes, the empty path, and the reader's int result.
class AbiFiles : public AbiTest
{
protected:
    // Runs a load or save quietly (the readers report on standard output).
    int quiet(void* p, const std::string& sMethod, const std::vector<Arg>& args)
    {
        int iResult = 0;
        m_sLastOutput = stdoutOf([&] { iResult = callInt(p, sMethod, args); });
        return iResult;
    }

    testfiles::TempDir m_dir;
    std::string m_sLastOutput;
};

// The names differ by direction: "GIPL" names no format for loading and
// "LAN" none for saving; unknown names and lower case choose by extension.
TEST_F(AbiFiles, FormatNamesByDirection)
{
    void* p = numbered(8, 3, 2, 1);
    const std::string mtx = m_dir.file("by_ext.mtx"), gipl = m_dir.file("named.dat");
    EXPECT_EQ(quiet(p, "save", {Arg::text(mtx), Arg::text("mtx")}), 1);
    EXPECT_EQ(m_sLastOutput.rfind("Format: mtx\n", 0), 0u) << m_sLastOutput;
    void* q = image(8);
    EXPECT_EQ(quiet(q, "load", {Arg::text(mtx), Arg::text("GIPL")}), 1);
    EXPECT_EQ(m_sLastOutput.rfind("Format: mtx\n", 0), 0u) << m_sLastOutput;
    EXPECT_EQ(channel(q), channel(p));

    EXPECT_EQ(quiet(p, "save", {Arg::text(gipl), Arg::text("GIPL")}), 1);
    void* r = image(8);
    EXPECT_EQ(quiet(r, "load", {Arg::text(gipl), I(3)}), 1);
    EXPECT_EQ(channel(r), channel(p));

    const std::string never = m_dir.file("never.mtx");
    EXPECT_EQ(quiet(p, "save", {Arg::text(never), Arg::text("TIFF")}), 1);
    EXPECT_EQ(quiet(p, "save", {Arg::text(never), I(4)}), 1);
    EXPECT_FALSE(std::filesystem::exists(never));
    EXPECT_EQ(quiet(p, "save", {Arg::text(never), Arg::text("LAN")}), 1) << m_sLastOutput;
    EXPECT_TRUE(std::filesystem::exists(never)); // by extension, as MTX
    // "LAN" names the reader whatever the extension: an MTX file is no LAN file.
    void* s = image(8);
    EXPECT_EQ(quiet(s, "load", {Arg::text(mtx), Arg::text("LAN")}), 0) << m_sLastOutput;
    EXPECT_EQ(m_sLastOutput.rfind("-------------------\nERDAS/LAN FILE INFO\n", 0), 0u);
}

TEST_F(AbiFiles, FormatCodesTheirDefaultsAndTheEmptyPath)
{
    void* p = numbered(32, 2, 3, 2);
    const std::string file = m_dir.file("coded.mtx"), absent = m_dir.file("absent.mtx");
    EXPECT_EQ(quiet(p, "save", {Arg::text(file)}), 1); // code 2, type 0
    EXPECT_NE(m_sLastOutput.find("Format: mtx\n"), std::string::npos);
    void* q = image(32);
    EXPECT_EQ(quiet(q, "load", {Arg::text(file), I(1)}), 1);
    EXPECT_EQ(channel(q, 1), channel(p, 1));
    void* r = image(32);
    EXPECT_EQ(quiet(r, "load", {Arg::text(file)}), 1);
    EXPECT_EQ(channel(r, 0), channel(p, 0));
    // Codes outside the table do nothing and report success.
    EXPECT_EQ(quiet(r, "load", {Arg::text(absent), I(9)}), 1);
    EXPECT_EQ(quiet(r, "save", {Arg::text(absent), I(-5)}), 1);
    EXPECT_EQ(quiet(r, "save", {Arg::text(absent), I(0)}), 1);
    EXPECT_FALSE(std::filesystem::exists(absent));
    // Image types past the named ones reach the writer; MTX has no use for them.
    EXPECT_EQ(quiet(r, "save", {Arg::text(file), Arg::text("MTX"), I(77)}), 1);

    // A missing file gives 0 and leaves the image; so does an empty path, said
    // by all four.
    EXPECT_EQ(quiet(r, "load", {Arg::text(absent), Arg::text("MTX")}), 0);
    const std::pair<const char*, std::vector<Arg>> kEmpty[] = {
        {"load", {Arg::text(""), Arg::text("MTX")}}, {"save", {Arg::text(""), Arg::text("MTX")}},
        {"load", {Arg::text(""), I(1)}},             {"save", {Arg::text("")}}};
    for (const auto& [pcMethod, args] : kEmpty) {
        EXPECT_EQ(quiet(r, pcMethod, args), 0);
        EXPECT_EQ(m_sLastOutput, "No path specified!\n");
    }
    EXPECT_EQ(channel(r, 0), channel(p, 0));
    EXPECT_TRUE(errors().empty());
}

} // namespace
} // namespace abitest
