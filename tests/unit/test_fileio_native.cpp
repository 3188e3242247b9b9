// The library's own formats: GIPL volumes, ERDAS/LAN files (read only), MTX
// files, the LZW and gzip streams under them, and dispatch by format code and
// extension.
#include <array>
#include <fstream>
#include <numeric>
#include <type_traits>
#include <utility>

#include <zlib.h>

#include "FastVsReference.h"
#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "TestImages.h"
#include "fileio/CCompressedIFStream.h"
#include "fileio/CCompressedOFStream.h"
#include "fileio/gzstream.h"

using namespace testfiles;

namespace {

using GzStream = FileTest;
using CompressedStream = FileTest;
using LzwStream = FileTest;
using GiplFormat = FileTest;
using FileIODeathTest = FileTest;
using LanFormat = FileTest;
using MtxFormat = FileTest;
using FileDispatch = FileTest;
template <class> using GiplAndMtxTyped = FileTest;
TYPED_TEST_SUITE(GiplAndMtxTyped, PixelTypes);

using Decoded = std::pair<int, Bytes>; // CRead's result and the buffer it stored into

// CRead of nBytes at iOffset into a buffer of 0xee bytes.
Decoded decoded(const std::string& sPath, int iOffset, int nBytes)
{
    CCompressedIFStream in(sPath.c_str(), std::ios::in | std::ios::binary);
    Bytes b(std::size_t(nBytes), 0xee);
    const int iResult = in.CRead(reinterpret_cast<char*>(b.data()), iOffset, nBytes);
    return {iResult, b};
}

// What a read of n bytes that stored only `head` leaves.
Bytes storedOnly(Bytes head, std::size_t n)
{
    head.resize(n, 0xee);
    return head;
}

// A GIPL header with the given size and type; everything else zero.
Bytes giplHeader(unsigned short x, unsigned short y, unsigned short z, unsigned short type)
{
    Bytes b(256, 0);
    const unsigned short ausFields[5] = {x, y, z, 1, type};
    for (int i = 0; i < 5; ++i)
        put(b, ausFields[i], true, 2 * i);
    put(b, 719555000u, true, 252);
    return b;
}

template <class V> Bytes giplFile(unsigned short x, unsigned short y, unsigned short z,
                                  unsigned short type, const std::vector<V>& samples)
{
    Bytes b = giplHeader(x, y, z, type);
    for (std::size_t i = 0; i < samples.size(); ++i)
        put(b, samples[i], true, 256 + i * sizeof(V));
    return b;
}

// A header of x by y by 1 of type 8 with one sample, LZW-compressed.
void writeCompressedVolume(const std::string& sPath, unsigned char x, unsigned char y)
{
    Bytes b = giplFile<unsigned char>(x, y, 1, 8, {77, 0, 0, 0, 0, 0, 0, 0});
    b[252] = b[253] = b[254] = b[255] = 0; // no magic
    compressTo(sPath, b);
}

Bytes lanFile(unsigned short iPack, unsigned short nBands, int w, int h, const Bytes& samples)
{
    Bytes b = {'H', 'E', 'A', 'D', '7', '4'};
    put(b, iPack);
    put(b, nBands);
    b.resize(16, 0);
    for (std::int32_t v : {w, h, -7, 9})
        put(b, v);
    b.resize(88, 0);
    put(b, std::int16_t(2));
    put(b, std::int16_t(-3));
    b.resize(106, 0);
    put(b, std::int16_t(4));
    for (float f : {0.25f, 1234.5f, -0.125f, 30.0f, 1.0f / 3.0f})
        put(b, f);
    b.insert(b.end(), samples.begin(), samples.end());
    return b;
}

std::string listing(int iPack)
{
    return R"(Format: lan
-------------------
ERDAS/LAN FILE INFO
Header (HEADER/HEAD74): HEAD74
Pack type of data: )" +
           std::to_string(iPack) + R"(
Number of bands per line: 3
With of map in pixels: 2
Length of map in pixels: 2
Database x-cooridnate of the first pixel: -7
Database y-cooridnate of the first pixel: 9
Indicator for the type of map units: 2
The number of map classes: -3
The unit of area associated with each pixel: 4
The number of area units represented by each pixl in untis given: 0.25
The map x-coordinate for the center of the upper left corner pixel of the map: 1234.5
The y-coordinate for the center of the upper left corner pixel of the map: -0.125
The x size of each pixel: 30
The y size of each pixel: 0.333333
)";
}

// The header, then per channel 64 info bytes and the given sample bytes.
Bytes mtxBytes(int iVersion, int w, int h, int c, int iDepth, const Bytes& samples,
               const char* pcInfo = "info")
{
    Bytes b;
    for (int v : {iVersion, w, h, c, iDepth})
        put(b, std::int32_t(v));
    for (int ch = 0; ch < c; ++ch) {
        char acInfo[64] = {};
        std::memcpy(acInfo, pcInfo, std::min<std::size_t>(64, std::strlen(pcInfo)));
        b.insert(b.end(), acInfo, acInfo + 64);
        b.insert(b.end(), samples.begin(), samples.end());
    }
    return b;
}

} // namespace

// Gzip files written and read, and plain ones read, are the MTX tests' to check.
TEST_F(GzStream, PutBackSurvivesARefillAndOpensCanBeRefused)
{
    // The first refill reads 299 bytes; the character after them comes
    // from the second, and the four before it stay available for unget,
    // but no more.
    const std::string sPath = file("plain.bin");
    Bytes data(400);
    std::iota(data.begin(), data.end(), 0);
    writeBytes(sPath, data);
    igzstream in(sPath.c_str(), std::ios::in | std::ios::binary);
    char ac[299];
    in.read(ac, sizeof ac);
    EXPECT_EQ(in.get(), 299 % 256);
    for (int i = 0; i < 5; ++i) // back over 299, then 298 down to 295
        EXPECT_TRUE(in.unget().good()) << i;
    EXPECT_EQ(in.get(), 295 % 256);
    EXPECT_EQ(in.get(), 296 % 256);
    EXPECT_FALSE(in.unget().unget().unget().good()); // only four bytes are kept
    const std::string sSecond = file("second.bin");
    writeBytes(sSecond, {'x', 'y', 'z'});
    igzstream first(sPath.c_str(), std::ios::in);
    EXPECT_EQ(first.get(), 0);
    first.open(sSecond.c_str(), std::ios::in); // already open: refused
    EXPECT_TRUE(first.bad());
    first.clear();
    EXPECT_EQ(first.get(), 1); // still the first file
    gzstreambuf buf;
    for (auto mode : {std::ios::in | std::ios::out, std::ios::out | std::ios::app,
                      std::ios::out | std::ios::ate})
        EXPECT_EQ(buf.open(sPath.c_str(), mode), nullptr) << mode;
    EXPECT_EQ(buf.close(), nullptr); // never opened
    EXPECT_EQ(buf.open(sPath.c_str(), std::ios::in), &buf);
    EXPECT_EQ(buf.sputc('x'), EOF);
    EXPECT_EQ(buf.close(), &buf);
    ASSERT_NE(buf.open(sSecond.c_str(), std::ios::out), nullptr);
    EXPECT_EQ(buf.sgetc(), EOF);
}

// Big-endian reads and writes of each type are the GIPL tests' to check;
// here the sizes returned, native order, and what GIPL files do not reach.
TEST_F(CompressedStream, PlainReadsAndWritesSwapAndReportTheirSizes)
{
    const std::string sPath = file("plain.bin");
    writeBytes(sPath, {0x00, 0x01, 0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc});
    CCompressedIFStream in(sPath.c_str(), std::ios::in | std::ios::binary);
    unsigned short aus[3] = {};
    EXPECT_EQ(in.CReadAsUShort(aus, 3, 2), 6);
    EXPECT_EQ(aus[2], 0x9abc);
    double d = 0;
    EXPECT_EQ(in.CReadAsDouble(&d, 1, 0), 8);
    std::uint64_t uBits = 0;
    std::memcpy(&uBits, &d, 8);
    EXPECT_EQ(uBits, 0x000112345678'9abcULL);
    in.setSwapFlag(0);
    EXPECT_EQ(in.CReadAsUShort(aus, 1, 2), 2);
    EXPECT_EQ(aus[0], 0x3412);
    in.setSwapFlag(1);
    // A read past the end stores what there is and must not spoil the next one.
    char ac[6] = {0x55, 0x55, 0x55, 0x55, 0x55, 0x55};
    EXPECT_EQ(in.CRead(ac, 6, 6), 1);
    EXPECT_EQ(std::string(ac, 3), "\x9a\xbc\x55");
    EXPECT_EQ(in.CRead(ac, 1, 2), 1);
    EXPECT_EQ(std::string(ac, 3), "\x01\x12\x55");
    // The typed readers report the requested size whatever happened, and
    // swap what they did not read.
    int ai[4] = {7, 7, 7, 7};
    EXPECT_EQ(in.CReadAsInt(ai, 4, 100), 16);
    EXPECT_EQ(ai[3], 0x07000000);
    // Writes swap copies: the caller's arrays stay as they are.
    const std::string sOut = file("out.bin");
    {
        CCompressedOFStream out(sOut.c_str(), std::ios::out | std::ios::binary);
        EXPECT_EQ(out.WriteAsUShort(static_cast<unsigned short>(0x1234), 0), 2);
        unsigned short ausOut[2] = {0x0102, 0xa0b0};
        EXPECT_EQ(out.WriteAsUShort(ausOut, 2, 2), 4);
        EXPECT_EQ(ausOut[1], 0xa0b0);
        EXPECT_EQ(out.WriteAsInt(-2, 6), 4);
        out.setSwapFlag(0);
        unsigned int au[1] = {0x11223344};
        EXPECT_EQ(out.WriteAsUInt(au, 1, 10), 4);
        EXPECT_EQ(out.WriteAsChar('z', 16), 1); // leaves a gap at 14, 15
    }
    EXPECT_EQ(readBytes(sOut), Bytes({0x12, 0x34, 0x01, 0x02, 0xa0, 0xb0, 0xff, 0xff, 0xff, 0xfe,
                                      0x44, 0x33, 0x22, 0x11, 0, 0, 'z'}));
}

TEST_F(LzwStream, ReadsStoreWhatTheCodesDecodeToAsTheCodesWiden)
{
    // Codes that never start in a byte of 0x80 or above, so they decode
    // completely despite the sign extension.
    const Bytes full = {0x3b, 0x0a, 0x0a, 0x0a, 0x0a, 0x0a, 0x3b, 0x0a, 0x3b, 0x0a,
                        0x0a, 0x0a, 0x3b, 0x0a, 0x3b, 0x0a, 0x3b, 0x3b, 0x3b, 0x3b,
                        0x3b, 0x0a, 0x0a, 0x0a, 0x0a, 0x3b, 0x3b, 0x0a};
    const Bytes abc = {'a', 'b', 'c', 'a', 'b', 'c', 'a', 'b', 'c'};
    // Hand-made 9-bit codes: 0x0a, CLEAR (the rest of its 9-byte group is
    // padding), then 0x0b from a fresh group.
    const Bytes clear = {0x1f, 0x9d, 0x90, 0x0a, 0x00, 0x02, 0, 0, 0, 0, 0, 0, 0x0b, 0x00};
    Bytes noBlockMode = clear, tooWide = clear;
    const Bytes cut(clear.begin(), clear.end() - 2);
    noBlockMode[2] = 0x10;
    tooWide[2] = 0x91; // 17-bit codes
    const char* pcTooWide = "compressed with 17 bits, can only handle 16 bits\n";
    // Codes widen as `compress` widens them: 9 bits until the table reaches
    // 512 entries, 10 until 1024, then 11 (here without block mode, so the
    // first free entry is 256). A new width starts a new group of n_bits
    // bytes, the rest of the old group being padding. The codes are literals
    // whose bit that would put 0x80 into the byte where they start is cleared.
    const auto widthOf = [](int k) { return k < 257 ? 9 : k < 769 ? 10 : 11; };
    Bytes wide = {0x1f, 0x9d, 0x10}, widened;
    for (int k = 0; k < 800;) {
        const int nWidth = widthOf(k);
        Bytes group(std::size_t(nWidth), 0);
        for (int iBit = 0; iBit < 8 * nWidth && k < 800 && widthOf(k) == nWidth; ++k) {
            const int iCode = (k * 37 + 11) & 0xff & ~(1 << (7 - iBit % 8));
            widened.push_back(static_cast<unsigned char>(iCode));
            for (int b = 0; b < nWidth; ++b, ++iBit)
                group[std::size_t(iBit / 8)] |=
                    static_cast<unsigned char>((iCode >> b & 1) << iBit % 8);
        }
        wide.insert(wide.end(), group.begin(), group.end());
    }
    const struct
    {
        const char* pcName;
        Bytes data;
        int nBits; // 0: `data` is the file; else what `compress -b nBits` is given
        int iOffset;
        int nBytes;
        Decoded expected;
        const char* pcErr = "";
    } cases[] = {
        {"whole", full, 16, 0, 28, {1, full}},
        {"inside", full, 16, 5, 4, {1, Bytes(full.begin() + 5, full.begin() + 9)}},
        // Asking for more than there is stores what there is.
        {"beyond", full, 16, 20, 12, {1, storedOnly(Bytes(full.begin() + 20, full.end()), 12)}},
        // Every code after the first is the one being defined.
        {"run", Bytes(15, 0x1b), 12, 0, 15, {1, Bytes(15, 0x1b)}},
        {"end of the run", Bytes(15, 0x1b), 12, 14, 1, {1, Bytes(1, 0x1b)}},
        // The second code starts in the byte 0xc4 and reads as negative, so
        // only the first byte comes out; beyond it nothing is stored at all.
        {"abc", abc, 16, 0, 9, {1, storedOnly({'a'}, 9)}},
        {"beyond abc's end", abc, 16, 3, 2, {1, storedOnly({}, 2)}},
        // Fifteen zeros come out before the first negative code.
        {"zeros", Bytes(5000, 0), 16, 0, 5000, {1, storedOnly(Bytes(15, 0), 5000)}},
        // A first byte of 0x80 or above is a negative first code: no data.
        {"high", {0xc8, 0x01, 0x02}, 16, 0, 3, {1, storedOnly({}, 3)}},
        {"clear", clear, 0, 0, 3, {1, storedOnly({0x0a, 0x0b}, 3)}},
        // 256 is then an ordinary (undefined) code, decoded as the one being defined.
        {"no block mode", noBlockMode, 0, 0, 3, {1, Bytes(3, 0x0a)}},
        // Data ending right after a CLEAR code fails, and so does no code.
        {"cut after clear", cut, 0, 0, 3, {0, storedOnly({0x0a}, 3)}},
        {"no code", Bytes(clear.begin(), clear.begin() + 3), 0, 0, 1, {0, storedOnly({}, 1)}},
        {"17 bits", tooWide, 0, 0, 4, {0, storedOnly({}, 4)}, pcTooWide},
        {"widening", wide, 0, 0, 800, {1, widened}},
    };
    const std::string sPath = file("data.Z");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pcName);
        if (c.nBits)
            compressTo(sPath, c.data, c.nBits);
        else
            writeBytes(sPath, c.data);
        testing::internal::CaptureStderr();
        EXPECT_EQ(decoded(sPath, c.iOffset, c.nBytes), c.expected);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.pcErr);
    }
}

// The decoder's tables belong to the process. A corrupt stream that follows
// a code it has not defined yet reads the entry an earlier stream left, so
// the same file reads differently after another decode: here a GIPL header
// (found by fuzzing) whose type reads 16 once and 0 the next time.
TEST_F(LzwStream, UndefinedCodesReadWhatEarlierStreamsLeft)
{
    // 16-bit zero codes to the end: every entry becomes 0 after 0, as in a
    // process that has decoded nothing yet.
    const std::string sReset = file("reset.Z");
    Bytes reset = {0x1f, 0x9d, 0x10};
    reset.resize(reset.size() + 131072, 0);
    writeBytes(sReset, reset);
    decoded(sReset, 1 << 30, 1);
    const std::string sPath = file("header.gipl.Z");
    writeBytes(sPath, {0x1f, 0x9d, 0x90, 0x00, 0x3f, 0x10, 0x06, 0x10, 0x10, 0x20, 0x10,
                       0x00, 0x00, 0x20, 0x00, 0x24, 0x01, 0x00, 0x00, 0xff, 0xff, 0x00,
                       0x10, 0x00, 0x00, 0x20, 0x10, 0x00, 0x04, 0x27, 0x00, 0x28, 0x07});
    const auto header = [&] {
        // The GIPL reader's reads, in its order: magic, sizes, type.
        CCompressedIFStream in(sPath.c_str(), std::ios::in | std::ios::binary);
        unsigned int iMagic = 0;
        in.CReadAsUInt(&iMagic, 1, 252);
        std::vector<int> fields;
        for (int iOffset : {0, 2, 4, 8}) {
            unsigned short v = 0;
            in.CReadAsUShort(&v, 1, iOffset);
            fields.push_back(v);
        }
        return fields;
    };
    testing::internal::CaptureStderr();
    EXPECT_EQ(header(), std::vector<int>({31, 7967, 16, 16}));
    EXPECT_EQ(header(), std::vector<int>({31, 7967, 0, 0}));
    const std::string sCorrupt = "CCompressedIFStream: corrupt compressed data\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), sCorrupt + sCorrupt + sCorrupt);
}

// Both writers keep every value: GIPL as big-endian slices behind a header
// that calls 16-bit data signed (15), MTX with the channel infos (but for
// their 64th character) and gzip-compressed.
TYPED_TEST(GiplAndMtxTyped, RoundTripsKeepValuesAndGivePrivateCopies)
{
    using T = TypeParam;
    const std::string sGipl = this->file("v.gipl"), sMtx = this->file("v.mtx");
    // More bytes than the gzip buffers hold, in and out; a maximum beyond the
    // signed 16-bit range, and a negative float minimum.
    CImage<T> image = numbered<T>(20, 10, 3, 60, 10, 3);
    image.setPixel(19, 9, 2, T(sizeof(T) == 1 ? 250 : 40000));
    if (std::is_floating_point<T>::value)
        image.setPixel(0, 0, 0, T(-2.25));
    EXPECT_EQ(save(image, sGipl).said(), "1: Format: gipl\n");
    const unsigned short iType = sizeof(T) == 1 ? 8 : sizeof(T) == 2 ? 15 : 64;
    Bytes expected = giplHeader(20, 10, 3, iType);
    for (int i = 0; i < 3; ++i) {
        put(expected, 1.0f, true, 10 + 4 * i);   // pixel sizes
        put(expected, 1.0f, true, 106 + 20 * i); // the 3x4 orientation matrix: identity
    }
    put(expected, double(image.getPixel(0, 0, 0)), true, 188);
    put(expected, double(image.getPixel(19, 9, 2)), true, 196);
    // Slice by slice, row by row.
    for (int i = 0; i < 600; ++i)
        put(expected, image.getPixel(i % 20, i / 20 % 10, i / 200), true, 256 + i * sizeof(T));
    EXPECT_EQ(readBytes(sGipl), expected);
    CImage<T> loaded(1, 1, 1);
    EXPECT_EQ(load(loaded, sGipl).said(),
              "1: Format: gipl\n Reading GIPL volume (size: 20x10x3).\n Type " +
                  std::to_string(iType) + "\n");
    expectSameImage(loaded, image);
    EXPECT_FALSE(loaded.isAttached());
    image.setChannelInfo("first", 0);
    image.setChannelInfo(std::string(64, 'L').c_str(), 1);
    // Only 32-bit data is announced.
    EXPECT_EQ(save(image, sMtx).said(), sizeof(T) < 4 ? "1: Format: mtx\n"
                                                      : "1: Format: mtx\nSaving 32 bit\n"
                                                        "Writing MTX file finished.\n");
    CImage<T> sharer(1, 1, 1);
    sharer.setName("replaced");
    loaded = sharer; // shares the old channel
    EXPECT_EQ(load(loaded, sMtx).said(), "1: Format: mtx\nLoading mtx\nVersion  1\nWidth    20\n"
                                         "Height   10\nChannels 3\n Depth    " +
                                             std::to_string(8 * sizeof(T)) + "\n");
    image.setChannelInfo(std::string(63, 'L').c_str(), 1);
    expectSameImage(loaded, image); // the name too: "No name"
    EXPECT_FALSE(loaded.isAttached());
    EXPECT_EQ(sharer.width(), 1);
}

TEST_F(GiplFormat, StoredTypesAndShortMissingHugeUnwritableAndCompressedFiles)
{
    const std::string sPath = file("v.gipl");
    // Every stored type is read as its own (what each depth makes of the
    // values is ImageConversion's to test).
    const std::pair<Bytes, std::array<float, 2>> cases[] = {
        {giplFile<signed char>(2, 1, 1, 7, {-5, 100}), {-5, 100}},
        {giplFile<unsigned char>(2, 1, 1, 8, {250, 7}), {250, 7}},
        {giplFile<short>(2, 1, 1, 15, {-2, 300}), {-2, 300}},
        {giplFile<unsigned short>(2, 1, 1, 16, {65535, 256}), {65535, 256}},
        {giplFile<unsigned int>(2, 1, 1, 31, {4000000000u, 70000}), {4000000000.0f, 70000}},
        {giplFile<int>(2, 1, 1, 32, {-70000, 65537}), {-70000, 65537}},
        {giplFile<float>(2, 1, 1, 64, {-1.5f, 300.7f}), {-1.5f, 300.7f}},
    };
    for (const auto& [gipl, afExpected] : cases) {
        SCOPED_TRACE(gipl[9]); // the type
        writeBytes(sPath, gipl);
        expectSameImage(loaded<float>(sPath, FORMAT_GIPL),
                        pixels<float>(2, 1, 1, {afExpected[0], afExpected[1]}));
    }
    // Half of the second slice is there: the rest keeps the first slice's
    // values, which are still in the slice buffer.
    writeBytes(sPath, giplFile<unsigned char>(2, 2, 2, 8, {1, 2, 3, 4, 5, 6}));
    CImage<unsigned char> image = loaded<unsigned char>(sPath, FORMAT_GIPL);
    expectSameImage(image, pixels<unsigned char>(2, 2, 2, {1, 2, 3, 4, 5, 6, 3, 4}));
    // Every read swaps the whole slice buffer, also what it did not fill:
    // after a short first slice the next ones alternate.
    writeBytes(sPath, giplFile<unsigned short>(2, 1, 3, 16, {0x0102}));
    expectSameImage(loaded<unsigned short>(sPath, FORMAT_GIPL),
                    pixels<unsigned short>(2, 1, 3, {0x0102, 0, 0x0201, 0, 0x0102, 0}));
    // A missing file is reported, its empty header read, and the load fails.
    CImage<unsigned char> untouched(2, 2, 1);
    EXPECT_EQ(load(untouched, file("missing.gipl"), FORMAT_GIPL).said(),
              "0: Error opening file\n Reading GIPL volume (size: 0x0x0).\n Type 0\n");
    writeBytes(sPath, giplHeader(65535, 65535, 2, 8));
    Outcome run = load(untouched, sPath, FORMAT_GIPL);
    EXPECT_EQ(run.iResult, 0);
    EXPECT_NE(run.sOut.find(" Image too large (65535 x 65535 x 2)"), std::string::npos) << run.sOut;
    EXPECT_EQ(untouched.width(), 2);
    // Zero slices: an image without channels, whatever the plane size.
    writeBytes(sPath, giplHeader(65535, 65535, 0, 16));
    expectSameImage(loaded<unsigned char>(sPath, FORMAT_GIPL),
                    CImage<unsigned char>(65535, 65535, 0));
    // The writer reports a file it cannot create and still succeeds.
    EXPECT_EQ(save(image, file("no/dir/v.gipl"), FORMAT_GIPL).said(), "1: Error opening file\n");
    // The header of a compressed 1x1x1 volume decodes past the type field;
    // the sample lies beyond the first negative code and stays zero.
    writeCompressedVolume(sPath, 1, 1);
    EXPECT_EQ(load(image, sPath, FORMAT_GIPL).said(),
              "1:  Reading GIPL volume (size: 1x1x1).\n Type 8\n");
    expectSameImage(image, CImage<unsigned char>(1, 1, 1));
}

TEST_F(LanFormat, ListingSamplesAndMissingShortAndHugeFiles)
{
    const std::string sPath = file("m.lan");
    // Row 0 of bands 0, 1, 2, then row 1 of each.
    writeBytes(sPath, lanFile(0, 3, 2, 2, {1, 2, 11, 12, 21, 22, 3, 4, 13, 14, 23, 24}));
    CImage<unsigned short> image16(1, 1, 1);
    EXPECT_EQ(load(image16, sPath).said(), "1: " + listing(0));
    expectSameImage(image16,
                    pixels<unsigned short>(2, 2, 3, {1, 2, 3, 4, 11, 12, 13, 14, 21, 22, 23, 24}));
    EXPECT_FALSE(image16.isAttached());
    // Packed data is warned about and still read as bytes.
    writeBytes(sPath, lanFile(1, 3, 2, 2, Bytes(12, 200)));
    CImage<float> packed(1, 1, 1);
    EXPECT_EQ(load(packed, sPath, FORMAT_LAN).said(),
              "1: " + listing(1).substr(12) +
                  "########################################\n"
                  "WARNING: Pack Type is maybe unsupported!\n"
                  "########################################\n");
    expectSameImage(packed, filled<float>(2, 2, {200, 200, 200}));
    CImage<unsigned char> image(3, 1, 1);
    EXPECT_EQ(load(image, file("missing.lan"), FORMAT_LAN).said(), "0:  Can't open file\n");
    EXPECT_EQ(image.width(), 3);
    // A short file leaves the rest of the samples at zero.
    writeBytes(sPath, lanFile(0, 2, 3, 2, {1, 2, 3, 4, 5, 6, 7}));
    expectSameImage(loaded<unsigned char>(sPath, FORMAT_LAN),
                    pixels<unsigned char>(3, 2, 2, {1, 2, 3, 7, 0, 0, 4, 5, 6}));
    // A file shorter than its header lists zeros and loads nothing.
    writeBytes(sPath, {'H', 'E', 'A', 'D'});
    Outcome run = load(image, sPath, FORMAT_LAN);
    ASSERT_EQ(run.iResult, 1);
    EXPECT_NE(run.sOut.find("Header (HEADER/HEAD74): HEAD\n"), std::string::npos) << run.sOut;
    EXPECT_NE(run.sOut.find("With of map in pixels: 0\n"), std::string::npos) << run.sOut;
    // Which sizes are too large is ImageBudget's to test; here the refusal.
    writeBytes(sPath, lanFile(0, 60000, 100000, 100000, {}));
    run = load(image, sPath, FORMAT_LAN);
    EXPECT_EQ(run.iResult, 0);
    EXPECT_NE(run.sOut.find(" Image too large (100000 x 100000 x 60000)"), std::string::npos)
        << run.sOut;
    // No bands: any width is harmless.
    writeBytes(sPath, lanFile(0, 0, 2000000000, 1, {1, 2, 3}));
    EXPECT_EQ(loaded<unsigned char>(sPath, FORMAT_LAN).channels(), 0);
    writeBytes(sPath, lanFile(0, 1, -5, 3, {1, 2, 3}));
    EXPECT_EQ(loaded<unsigned char>(sPath, FORMAT_LAN).width(), -5);
}

TEST_F(MtxFormat, BytesMessagesAndOddOrImpossibleHeaders)
{
    const std::string sPath = file("small.mtx");
    CImage<unsigned char> image = pixels<unsigned char>(2, 3, 1, {1, 11, 2, 12, 3, 13});
    image.setChannelInfo("red", 0);
    EXPECT_EQ(save(image, sPath, FORMAT_MTX).said(), "1: ");
    // Column by column: (0,0), (0,1), (0,2), (1,0), (1,1), (1,2).
    gzFile f = gzopen(sPath.c_str(), "rb");
    Bytes plain(1024);
    plain.resize(std::size_t(gzread(f, plain.data(), 1024)));
    EXPECT_EQ(gzdirect(f), 0); // always gzip-compressed
    gzclose(f);
    EXPECT_EQ(plain, mtxBytes(1, 2, 3, 1, 8, {1, 2, 3, 11, 12, 13}, "red"));
    EXPECT_EQ(load(image, file("missing.mtx"), FORMAT_MTX).said(),
              "0: Loading mtx\n Can't open file\n");
    EXPECT_EQ(image.getPixel(1, 2, 0), 13); // untouched
    EXPECT_EQ(save(image, file("no/dir/x.mtx"), FORMAT_MTX).said(), "0:  Can't open file\n");
    // Extensions are compared exactly: upper case goes elsewhere.
    writeBytes(file("f.MTX"), readBytes(sPath));
    const std::string sOut = load(image, file("f.MTX")).sOut;
    EXPECT_EQ(sOut.rfind("Format: MTX\n", 0), 0u) << sOut;
    EXPECT_EQ(sOut.find("Loading mtx"), std::string::npos) << sOut;
    // Another version: the header's size, samples not loaded.
    writeBytes(sPath, mtxBytes(2, 3, 2, 2, 8, Bytes(6, 5)));
    expectSameImage(loaded<unsigned char>(sPath, FORMAT_MTX), CImage<unsigned char>(3, 2, 2));
    // An unknown depth reads the info but no samples.
    writeBytes(sPath, mtxBytes(1, 2, 2, 1, 12, {}));
    image = loaded<unsigned char>(sPath, FORMAT_MTX);
    EXPECT_STREQ(image.getChannelInfo(0), "info");
    EXPECT_EQ(image.getPixel(1, 1, 0), 0);
    // Negative sizes give an empty image, negative channel counts none.
    for (const auto& [w, h, c] :
         std::vector<std::array<int, 3>>{{-4, 3, 1}, {2000000000, 0, 1}, {4, 3, -2}}) {
        writeBytes(sPath, mtxBytes(1, w, h, c, 8, {}));
        image = loaded<unsigned char>(sPath, FORMAT_MTX);
        EXPECT_EQ(image.width(), w);
        EXPECT_EQ(image.channels(), std::max(c, 0));
        EXPECT_EQ(c > 0 ? image.getChannelPtr(0)->pixelCount() : 0, 0);
    }
    // Which sizes are too large is ImageBudget's to test; here that the
    // reader refuses before it multiplies the header's ints: a plane of 2^32
    // samples, a negative width, 2^31 channels.
    CImage<float> untouched(2, 2, 1);
    for (const auto& [w, h, c] : std::vector<std::array<int, 3>>{
             {65536, 65536, 1}, {-70000, 70000, 1}, {1, 1, 2000000000}}) {
        Bytes header = mtxBytes(1, w, h, 0, 8, {});
        put(header, std::int32_t(c), false, 12);
        writeBytes(sPath, header);
        EXPECT_EQ(load(untouched, sPath, FORMAT_MTX).said(),
                  "0: Loading mtx\nVersion  1\nWidth    " + std::to_string(w) + "\nHeight   " +
                      std::to_string(h) + "\nChannels " + std::to_string(c) +
                      "\n Depth    8\n Image too large (" + std::to_string(w) + " x " +
                      std::to_string(h) + " x " + std::to_string(c) + ")\n");
        EXPECT_EQ(untouched.width(), 2);
    }
}

// Formats without a writer (or no format at all) write nothing, silently;
// unknown codes read nothing either.
TEST_F(FileDispatch, FormatsThatDoNothingAndExtensions)
{
    CImage<unsigned char> image = numbered<unsigned char>(2, 2, 1, 60, 10, 0);
    for (TDataFormat f : {FORMAT_TIFF, FORMAT_LAN, TDataFormat(5), TDataFormat(-1)})
        EXPECT_EQ(save(image, file("x.mtx"), f).said(), "1: ");
    EXPECT_FALSE(std::filesystem::exists(file("x.mtx")));
    writeBytes(file("y.mtx"), mtxBytes(1, 1, 1, 1, 8, {9}));
    for (TDataFormat f : {TDataFormat(5), TDataFormat(-1)})
        EXPECT_EQ(load(image, file("y.mtx"), f).said(), "1: ");
    // The extension is the text after the last dot.
    EXPECT_EQ(save(image, file("a.b.mtx")).said(), "1: Format: mtx\n");
    // No dot at all: an empty extension, which is not one of ours.
    const std::string sSaid = load(image, file("nodot")).said();
    EXPECT_EQ(sSaid.rfind("0: Format: \n", 0), 0u) << sSaid;
    EXPECT_EQ(image.width(), 2); // no load above touched it
}

// Paths of 256 bytes end the process, and so do unknown GIPL types: 65, and
// 0 read from a compressed 2x2x1 volume whose decoding stops before byte 8.
TEST_F(FileIODeathTest, OverlongPathsAndUnknownGiplTypesEndTheProcess)
{
    CImage<unsigned char> image(1, 1, 1);
    const std::string sLong = "/tmp/" + std::string(247, 'p') + ".mtx";
    EXPECT_DEATH(CImageFileIO<unsigned char>().load(image, sLong.c_str(), FORMAT_MTX),
                 "Assertion `std::strlen\\(pcPath\\) < sizeof acBuffer' failed");
    EXPECT_DEATH(
        CImageFileIO<unsigned char>().save(&image, sLong.c_str(), FORMAT_MTX, IMAGE_SINGLE),
        "Assertion");
    const std::string sPath = file("bad.gipl"), sCompressed = file("z.gipl");
    writeBytes(sPath, giplFile<unsigned char>(2, 2, 1, 65, {1, 2, 3, 4}));
    writeCompressedVolume(sCompressed, 2, 2);
    for (const std::string& sFile : {sPath, sCompressed})
        EXPECT_EXIT(CImageFileIO<unsigned char>().load(image, sFile.c_str(), FORMAT_GIPL),
                    ::testing::ExitedWithCode(1), "")
            << sFile;
}

// What the format promises for a file cut anywhere, written as the simplest
// reader: one sample per read; a failed read leaves its bytes over the
// sample before it, and each channel's samples start from zero.
template <class S, class T> CImage<T> referenceLoad(const std::string& sPath)
{
    std::ifstream in(sPath, std::ios::binary);
    std::int32_t aiHeader[5] = {};
    in.read(reinterpret_cast<char*>(aiHeader), sizeof aiHeader);
    CImage<T> image(aiHeader[1], aiHeader[2], aiHeader[3]);
    char acInfo[65] = {};
    for (int c = 0; c < aiHeader[3]; ++c) {
        in.read(acInfo, 64);
        image.setChannelInfo(acInfo, c);
        S sample = S(0);
        for (int x = 0; x < aiHeader[1]; ++x)
            for (int y = 0; y < aiHeader[2]; ++y) {
                in.read(reinterpret_cast<char*>(&sample), sizeof sample);
                image.setPixel(x, y, c, tirn::convertPixel<T>(sample));
            }
    }
    return image;
}

TEST_F(MtxFormat, FilesCutAnywhereLoadAsTheFormatPromises)
{
    const std::string sPath = file("cut.mtx");
    // Channels of more samples than the reader takes in one block, in
    // blocks of whole columns and (taller than a block) column pieces; info
    // texts of 64 bytes without a terminator.
    for (const auto& [w, h] : {std::pair<int, int>{301, 229}, std::pair<int, int>{2, 70001}}) {
        Bytes samples;
        for (int i = 0; i < w * h; ++i)
            put(samples, static_cast<unsigned short>(i * 7919));
        const Bytes whole = mtxBytes(1, w, h, 2, 16, samples, std::string(64, 'x').c_str());
        const std::size_t nChannel = 64 + samples.size();
        const std::size_t nPlane = std::size_t(w) * h;
        // In the header, in an info text, mid-sample across a block, the last
        // byte of channel 0, in channel 1's info, mid-sample near its end, none.
        for (std::size_t nCut : std::vector<std::size_t>{
                 16, 20 + 30, 20 + 64 + 1, 20 + 64 + 2 * 65536 + 3, 20 + nChannel - 1,
                 20 + nChannel + 10, 20 + nChannel + 64 + 2 * (nPlane - 5) + 1, whole.size()}) {
            SCOPED_TRACE(nCut);
            writeBytes(sPath, Bytes(whole.begin(), whole.begin() + long(nCut)));
            expectSameImage(loaded<unsigned short>(sPath, FORMAT_MTX),
                            referenceLoad<unsigned short, unsigned short>(sPath));
        }
    }
}
