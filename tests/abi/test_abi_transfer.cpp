// Typed transfers between images and the caller's byte or float arrays, in
// every direction and at every depth: widening, truncation and wrap, no
// scaling.
#include <algorithm>

#include "AbiFixture.h"

namespace abitest {
namespace {

typedef std::vector<unsigned char> Bytes;
typedef std::vector<float> Floats;

// The host picks CImage8_ or CImage32_ by the array's type; the region reads
// are announced by no table line and are called by their exported names.
class AbiTransfer : public AbiTest
{
protected:
    void call8(void* p, const std::string& sMethod, const std::vector<Arg>& args)
    {
        transfer("CImage8_", p, sMethod, args);
    }
    void call32(void* p, const std::string& sMethod, const std::vector<Arg>& args)
    {
        transfer("CImage32_", p, sMethod, args);
    }

    // One channel's region read through a byte or float array filled with
    // kUntouched, returned as floats.
    Floats region(void* p, bool bFloats, int x0, int y0, int c, int w, int h)
    {
        const std::vector<Arg> where = {I(x0), I(y0), I(c), I(w), I(h)};
        std::vector<Arg> args = where;
        if (bFloats) {
            Floats out(std::size_t(std::max(w * h, 0)), kUntouched);
            args.push_back(Arg::floats(out));
            call32(p, "getChannelRegion", args);
            return out;
        }
        Bytes out(std::size_t(std::max(w * h, 0)), kUntouched);
        args.push_back(Arg::bytes(out));
        call8(p, "getChannelRegion", args);
        return Floats(out.begin(), out.end());
    }
    static constexpr unsigned char kUntouched = 9;

private:
    void transfer(const std::string& sPrefix, void* p, const std::string& sMethod,
                  const std::vector<Arg>& args)
    {
        if (sMethod == "getChannelRegion")
            m->callExport(sPrefix + sMethod, ValueType::Void, p, args);
        else
            call(p, sMethod, args);
    }
};

TEST_F(AbiTransfer, SixteenBitReadAsBytesKeepsTheLowByte)
{
    void* p = image(16, 2, 1, 1);
    setPixel(p, 0, 0, 0, 300);
    setPixel(p, 1, 0, 0, 65535);
    Bytes out(2, 9);
    call8(p, "getImageData", {Arg::bytes(out), I(0)});
    EXPECT_EQ(out, (Bytes{44, 255}));
}

TEST_F(AbiTransfer, FloatReadAsBytesTruncatesThenWraps)
{
    void* p = image(32, 4, 1, 1);
    const float values[] = {300.7f, -1.5f, 255.9f, -256.5f};
    for (int x = 0; x < 4; ++x)
        setPixel(p, x, 0, 0, values[x]);
    Bytes out(4);
    call8(p, "getChannelData", {Arg::bytes(out), I(0)});
    EXPECT_EQ(out, (Bytes{44, 255, 255, 0}));
}

TEST_F(AbiTransfer, BytesWidenUnchanged)
{
    for (int iDepth : {8, 16, 32}) {
        void* p = image(iDepth, 3, 1, 1);
        Bytes in = {0, 200, 255};
        call8(p, "setChannelData", {Arg::bytes(in), I(0)});
        EXPECT_EQ(channel(p), (Floats{0, 200, 255})) << iDepth;
        Bytes back(3);
        call8(p, "getChannelData", {Arg::bytes(back), I(0)});
        EXPECT_EQ(back, in);
    }
}

TEST_F(AbiTransfer, FloatsIntoIntegerImagesTruncateAndWrap)
{
    Floats in = {65537.9f, -2.5f, 300.2f, 0.99f};
    void* p16 = image(16, 4, 1, 1);
    call32(p16, "setChannelData", {Arg::floats(in), I(0)});
    EXPECT_EQ(channel(p16), (Floats{1, 65534, 300, 0}));
    void* p8 = image(8, 4, 1, 1);
    call32(p8, "setChannelData", {Arg::floats(in), I(0)});
    EXPECT_EQ(channel(p8), (Floats{1, 254, 44, 0}));
    void* p32 = image(32, 4, 1, 1);
    call32(p32, "setChannelData", {Arg::floats(in), I(0)});
    EXPECT_EQ(channel(p32), in);
}

TEST_F(AbiTransfer, IntegerImagesReadAsFloatsExactly)
{
    void* p16 = image(16, 2, 1, 1);
    setPixel(p16, 0, 0, 0, 65535);
    setPixel(p16, 1, 0, 0, 12345);
    Floats out(2);
    call32(p16, "getChannelData", {Arg::floats(out), I(0)});
    EXPECT_EQ(out, (Floats{65535, 12345}));
    void* p8 = numbered(8, 2, 1, 1);
    call32(p8, "getChannelData", {Arg::floats(out), I(0)});
    EXPECT_EQ(out, (Floats{0, 1}));
}

TEST_F(AbiTransfer, ImageDataInterleavedAndPlanar)
{
    for (int iDepth : {8, 16, 32}) {
        void* p = numbered(iDepth, 2, 2, 2);
        Bytes interleaved(8), planar(8);
        call8(p, "getImageData", {Arg::bytes(interleaved), I(0)});
        call8(p, "getImageData", {Arg::bytes(planar), I(7)}); // any non-zero is planar
        EXPECT_EQ(interleaved, (Bytes{0, 100, 1, 101, 10, 110, 11, 111})) << iDepth;
        EXPECT_EQ(planar, (Bytes{0, 1, 10, 11, 100, 101, 110, 111})) << iDepth;
        Floats f(8);
        call32(p, "getImageData", {Arg::floats(f), I(1)});
        EXPECT_EQ(f, (Floats{0, 1, 10, 11, 100, 101, 110, 111})) << iDepth;
    }
}

TEST_F(AbiTransfer, SetImageDataFlagsCountWhenNotZero)
{
    for (int iDepth : {8, 16, 32}) {
        void* p = image(iDepth, 2, 2, 1);
        Bytes in = {1, 2, 3, 4};
        call8(p, "setImageData", {Arg::bytes(in), I(0), I(0)}); // third flag defaults to 0
        EXPECT_EQ(channel(p), (Floats{1, 2, 3, 4}));
        call8(p, "setImageData", {Arg::bytes(in), I(0), I(-3), I(0)}); // rows flipped
        EXPECT_EQ(channel(p), (Floats{3, 4, 1, 2}));
        Floats planar = {9, 8, 7, 6};
        call32(p, "setImageData", {Arg::floats(planar), I(2), I(0)});
        EXPECT_EQ(channel(p), (Floats{9, 8, 7, 6}));
    }
}

// With both flips the last row is not written, so the caller's array may be
// one row short.
TEST_F(AbiTransfer, BothFlipsNeedOneRowLess)
{
    void* p = image(8, 2, 3, 1);
    Bytes in = {1, 2, 3, 4};
    call8(p, "setImageData", {Arg::bytes(in), I(0), I(1), I(1)});
    EXPECT_TRUE(errors().empty());
    EXPECT_EQ(channel(p), (Floats{0, 0, 4, 3, 2, 1}));
}

TEST_F(AbiTransfer, PixelsOfAllChannels)
{
    for (int iDepth : {8, 16, 32}) {
        void* p = numbered(iDepth, 3, 3, 3);
        Bytes px(3);
        call8(p, "getPixel", {I(2), I(1), Arg::bytes(px)});
        EXPECT_EQ(px, (Bytes{12, 112, 212})) << iDepth;
        Floats in = {1.5f, 2.5f, 300.5f};
        call32(p, "setPixel", {I(0), I(2), Arg::floats(in)});
        Floats back(3);
        call32(p, "getPixel", {I(0), I(2), Arg::floats(back)});
        if (iDepth == 32)
            EXPECT_EQ(back, in);
        else
            EXPECT_EQ(back, (Floats{1, 2, iDepth == 8 ? 44.0f : 300.0f}));
        Bytes b = {250, 251, 252};
        call8(p, "setPixel", {I(1), I(1), Arg::bytes(b)});
        EXPECT_EQ(pixel(p, 1, 1, 2), 252);
    }
}

TEST_F(AbiTransfer, ChannelRegionIsAnUnannouncedExtra)
{
    for (int iDepth : {8, 16, 32}) {
        void* p = numbered(iDepth, 4, 3, 2);
        Bytes b(4);
        call8(p, "getChannelRegion", {I(1), I(1), I(1), I(2), I(2), Arg::bytes(b)});
        EXPECT_EQ(b, (Bytes{111, 112, 121, 122})) << iDepth;
        Floats f(6);
        call32(p, "getChannelRegion", {I(0), I(0), I(0), I(3), I(2), Arg::floats(f)});
        EXPECT_EQ(f, (Floats{0, 1, 2, 10, 11, 12})) << iDepth;
    }
    EXPECT_TRUE(errors().empty());
}

// Every image depth read through either array type.
const struct RegionPair
{
    int iDepth;
    bool bFloats;
} kRegionPairs[] = {{8, false}, {8, true}, {16, false}, {16, true}, {32, false}, {32, true}};

// Columns are not checked: a region reads on through its row into the
// neighbouring row, past the last column as well as left of column 0.
TEST_F(AbiTransfer, ChannelRegionColumnsRunIntoTheNeighbouringRows)
{
    for (const RegionPair& k : kRegionPairs) {
        SCOPED_TRACE(testing::Message() << k.iDepth << (k.bFloats ? " floats" : " bytes"));
        void* p = numbered(k.iDepth, 4, 3, 2);
        const Floats wrapped = {103, 110, 113, 120};
        EXPECT_EQ(region(p, k.bFloats, 3, 0, 1, 2, 2), wrapped);
        EXPECT_EQ(region(p, k.bFloats, -1, 1, 1, 2, 2), wrapped);
        EXPECT_EQ(region(p, k.bFloats, 2, 2, 1, 2, 1), (Floats{122, 123})); // the very last pixels
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiTransfer, ChannelRegionLeavingTheBufferIsRefusedUntouched)
{
    for (const RegionPair& k : kRegionPairs) {
        SCOPED_TRACE(testing::Message() << k.iDepth << (k.bFloats ? " floats" : " bytes"));
        void* p = numbered(k.iDepth, 4, 3, 1);
        EXPECT_EQ(region(p, k.bFloats, 3, 2, 0, 2, 1), Floats(2, kUntouched));
        EXPECT_EQ(region(p, k.bFloats, -1, 0, 0, 2, 1), Floats(2, kUntouched));
        EXPECT_EQ(errors(), (Errors{{"badarg", "region 3,2 2x1 reads outside the 4x3 channel\n"},
                                    {"badarg", "region -1,0 2x1 reads outside the 4x3 channel\n"}}));
        region(p, k.bFloats, 0, 5, 0, 0, 2); // an empty region reads nothing
        EXPECT_TRUE(errors().empty());
        region(p, k.bFloats, 0, 0, 1, 2, 2);
        EXPECT_EQ(errors().size(), 1u); // the channel index
    }
}

using AbiTransferDeathTest = AbiTransfer;

TEST_F(AbiTransferDeathTest, ChannelRegionRowOutOfRangeEndsTheProcess)
{
    for (const RegionPair& k : kRegionPairs) {
        SCOPED_TRACE(testing::Message() << k.iDepth << (k.bFloats ? " floats" : " bytes"));
        void* p = numbered(k.iDepth, 4, 3, 1);
        EXPECT_DEATH(region(p, k.bFloats, 0, 2, 0, 2, 2),
                     "CImageChannel.h:229: .*Assertion `iRow < iHeight' failed");
        EXPECT_DEATH(region(p, k.bFloats, 0, -1, 0, 2, 1),
                     "CImageChannel.h:228: .*Assertion `iRow >= 0' failed");
    }
}

TEST_F(AbiTransfer, ReadsIntoANullArrayAreDropped)
{
    for (int iDepth : {8, 16, 32}) {
        void* p = numbered(iDepth, 3, 2, 2);
        call8(p, "getImageData", {Arg::nullArray(ValueType::Bytes), I(0)});
        call32(p, "getImageData", {Arg::nullArray(ValueType::Floats), I(0)});
        call8(p, "getChannelData", {Arg::nullArray(ValueType::Bytes), I(1)});
        call32(p, "getPixel", {I(0), I(0), Arg::nullArray(ValueType::Floats)});
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiTransfer, ShortOrMissingArraysAreRefusedUntouched)
{
    void* p = numbered(16, 3, 2, 2);
    Bytes shortBytes(5, 7);
    call8(p, "getChannelData", {Arg::bytes(shortBytes), I(0)});
    call8(p, "setChannelData", {Arg::bytes(shortBytes), I(0)});
    Floats shortFloats(11, 7);
    call32(p, "getImageData", {Arg::floats(shortFloats), I(0)});
    call32(p, "setPixel", {I(0), I(0), Arg::nullArray(ValueType::Floats)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "array argument 1 holds 5 elements, 6 needed\n"},
                                {"badarg", "array argument 1 holds 5 elements, 6 needed\n"},
                                {"badarg", "array argument 1 holds 11 elements, 12 needed\n"},
                                {"badarg", "array argument 3 holds 0 elements, 2 needed\n"}}));
    EXPECT_EQ(shortBytes, Bytes(5, 7));
    EXPECT_EQ(shortFloats, Floats(11, 7));
    EXPECT_EQ(channel(p, 0), (Floats{0, 1, 2, 10, 11, 12}));
}

} // namespace
} // namespace abitest
