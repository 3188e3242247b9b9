// gzip streams and the offset-addressed (optionally LZW-compressed) streams.
#include <cstring>
#include <numeric>
#include <string>
#include <utility>

#include "FileTestUtils.h"
#include "fileio/CCompressedIFStream.h"
#include "fileio/CCompressedOFStream.h"
#include "fileio/gzstream.h"

using namespace testfiles;

namespace {

using GzStream = FileTest;
using CompressedStream = FileTest;
using LzwStream = FileTest;

} // namespace

// Gzip files written and read, and plain ones read, are the MTX tests' to check.
TEST_F(GzStream, PutBackSurvivesARefill)
{
    // The first refill reads 299 bytes; the character after them comes
    // from the second, and the four before it stay available for unget,
    // but no more.
    const std::string sPath = dir.file("plain.bin");
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
    in.unget();
    in.unget();
    EXPECT_FALSE(in.unget().good()); // only four bytes are kept
}

TEST_F(GzStream, OpenFailuresAndTheWrongDirection)
{
    const std::string sFirst = dir.file("first.bin"), sSecond = dir.file("second.bin");
    writeBytes(sFirst, {'a', 'b', 'c'});
    writeBytes(sSecond, {'x', 'y', 'z'});
    igzstream in(sFirst.c_str(), std::ios::in);
    EXPECT_EQ(in.get(), 'a');
    in.open(sSecond.c_str(), std::ios::in); // already open: refused
    EXPECT_TRUE(in.bad());
    in.clear();
    EXPECT_EQ(in.get(), 'b'); // still the first file
    igzstream missing(dir.file("missing.gz").c_str(), std::ios::in);
    EXPECT_TRUE(missing.fail());
    ogzstream out(dir.file("no/such/dir.gz").c_str(), std::ios::out);
    EXPECT_TRUE(out.bad());
    gzstreambuf buf;
    for (auto mode : {std::ios::in | std::ios::out, std::ios::out | std::ios::app,
                      std::ios::out | std::ios::ate})
        EXPECT_EQ(buf.open(sFirst.c_str(), mode), nullptr) << mode;
    EXPECT_EQ(buf.close(), nullptr); // never opened
    EXPECT_EQ(buf.open(sFirst.c_str(), std::ios::in), &buf);
    EXPECT_EQ(buf.sputc('x'), EOF);
    EXPECT_EQ(buf.close(), &buf);
    ASSERT_NE(buf.open(sSecond.c_str(), std::ios::out), nullptr);
    EXPECT_EQ(buf.sgetc(), EOF);
}

// Big-endian reads and writes of each type are the GIPL tests' to check;
// here the sizes returned, native order, and what GIPL files do not reach.
TEST_F(CompressedStream, PlainReadsAndWritesSwapAndReportTheirSizes)
{
    const std::string sPath = dir.file("plain.bin");
    writeBytes(sPath, {0x00, 0x01, 0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc});
    CCompressedIFStream in(sPath.c_str(), std::ios::in | std::ios::binary);
    EXPECT_EQ(in.swapFlag(), 1);
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
    char ac[6];
    std::memset(ac, 0x55, sizeof ac);
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
    const std::string sOut = dir.file("out.bin");
    {
        CCompressedOFStream out(sOut.c_str(), std::ios::out | std::ios::binary);
        EXPECT_EQ(out.swapFlag(), 1);
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

namespace {

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

} // namespace

TEST_F(LzwStream, ReadsStoreWhatTheCodesDecodeTo)
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
    };
    const std::string sPath = dir.file("data.Z");
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

// Codes widen as `compress` widens them: 9 bits until the table reaches 512
// entries, 10 until 1024, then 11 (here without block mode, so the first
// free entry is 256). A new width starts a new group of n_bits bytes, the
// rest of the old group being padding.
TEST_F(LzwStream, CodesWidenExactlyWhenTheTableOutgrowsTheirWidth)
{
    const auto widthOf = [](int k) { return k < 257 ? 9 : k < 769 ? 10 : 11; };
    Bytes file = {0x1f, 0x9d, 0x10};
    Bytes expected;
    for (int k = 0; k < 800;) {
        const int nWidth = widthOf(k);
        Bytes group(std::size_t(nWidth), 0);
        for (int iBit = 0; iBit < 8 * nWidth && k < 800 && widthOf(k) == nWidth; ++k) {
            // Literal codes; the bit that would put 0x80 into the byte where
            // the code starts is cleared (see ReadsStoreWhatTheCodesDecodeTo).
            const int iCode = (k * 37 + 11) & 0xff & ~(1 << (7 - iBit % 8));
            expected.push_back(static_cast<unsigned char>(iCode));
            for (int b = 0; b < nWidth; ++b, ++iBit)
                group[std::size_t(iBit / 8)] |=
                    static_cast<unsigned char>((iCode >> b & 1) << iBit % 8);
        }
        file.insert(file.end(), group.begin(), group.end());
    }
    const std::string sPath = dir.file("wide.Z");
    writeBytes(sPath, file);
    EXPECT_EQ(decoded(sPath, 0, 800), Decoded(1, expected));
}

// The decoder's tables belong to the process. A corrupt stream that follows
// a code it has not defined yet reads the entry an earlier stream left, so
// the same file reads differently after another decode: here a GIPL header
// (found by fuzzing) whose type reads 16 once and 0 the next time.
TEST_F(LzwStream, UndefinedCodesReadWhatEarlierStreamsLeft)
{
    // 16-bit zero codes to the end: every entry becomes 0 after 0, as in a
    // process that has decoded nothing yet.
    const std::string sReset = dir.file("reset.Z");
    Bytes reset = {0x1f, 0x9d, 0x10};
    reset.resize(reset.size() + 131072, 0);
    writeBytes(sReset, reset);
    decoded(sReset, 1 << 30, 1);
    const std::string sPath = dir.file("header.gipl.Z");
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
