// Typed transfers between images and the caller's byte or float arrays, in
// every direction and at every depth: widening, truncation and wrap, no
// scaling.
#include <algorithm>

#include "AbiFixture.h"

namespace abitest {
namespace {

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
        through(k.bFloats, p, "setPixel", {I(0), I(2)},
                k.bFloats ? Floats{1.5f, 250, 300.5f} : Floats{1, 250, 44});
        const bool bExact = k.bFloats && k.iDepth == 32;
        const float fLast = bExact ? 300.5f : k.bFloats && k.iDepth == 16 ? 300 : 44;
        EXPECT_EQ(pixel(p, 0, 2, 0), bExact ? 1.5f : 1);
        EXPECT_EQ(pixel(p, 0, 2, 2), fLast);
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
    EXPECT_EQ(through(false, p, "getChannelData", {I(0)}, Floats(5, 7)), Floats(5, 7));
    through(false, p, "setChannelData", {I(0)}, Floats(5, 7));
    EXPECT_EQ(through(true, p, "getImageData", {I(0)}, Floats(11, 7)), Floats(11, 7));
    call(p, "setPixel", {I(0), I(0), Arg::nullArray(ValueType::Floats)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "array argument 1 holds 5 elements, 6 needed\n"},
                                {"badarg", "array argument 1 holds 5 elements, 6 needed\n"},
                                {"badarg", "array argument 1 holds 11 elements, 12 needed\n"},
                                {"badarg", "array argument 3 holds 0 elements, 2 needed\n"}}));
    EXPECT_EQ(channel(p, 0), (Floats{0, 1, 2, 10, 11, 12}));
}

} // namespace
} // namespace abitest
