// GIPL volumes (read and written) and ERDAS/LAN files (read).
#include <string>
#include <type_traits>

#include "FastVsReference.h"
#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "TestImages.h"
#include "fileio/CImageFileIO.h"

using namespace testfiles;

namespace {

// A GIPL header with the given size and type; everything else zero.
Bytes giplHeader(unsigned short x, unsigned short y, unsigned short z, unsigned short type)
{
    Bytes b(256, 0);
    putBE(b, 0, x);
    putBE(b, 2, y);
    putBE(b, 4, z);
    putBE(b, 6, static_cast<unsigned short>(1));
    putBE(b, 8, type);
    putBE(b, 252, 719555000u);
    return b;
}

template <class V> Bytes giplFile(unsigned short x, unsigned short y, unsigned short z,
                                  unsigned short type, const std::vector<V>& samples)
{
    Bytes b = giplHeader(x, y, z, type);
    for (std::size_t i = 0; i < samples.size(); ++i)
        putBE(b, 256 + i * sizeof(V), samples[i]);
    return b;
}

// A header of x by y by 1 of type 8 with one sample, LZW-compressed.
void writeCompressedVolume(const std::string& sPath, unsigned char x, unsigned char y)
{
    Bytes b = giplHeader(x, y, 1, 8);
    b[252] = b[253] = b[254] = b[255] = 0; // no magic
    b.resize(256 + 8, 0);
    b[256] = 77;
    compressTo(sPath, b);
}

using GiplFormat = FileTest;
using GiplFormatDeathTest = FileTest;
using LanFormat = FileTest;

} // namespace

template <class T> class GiplTypedTest : public FileTest
{
};
TYPED_TEST_SUITE(GiplTypedTest, PixelTypes);

TYPED_TEST(GiplTypedTest, WrittenBytesAndRoundTripWithListing)
{
    using T = TypeParam;
    const std::string sPath = this->dir.file("v.gipl");
    CImage<T> image = numbered<T>(4, 3, 2, 60, 10, 3);
    // A maximum beyond the signed 16-bit range, and a negative float minimum.
    image.setPixel(3, 2, 1, T(sizeof(T) == 1 ? 250 : 40000));
    if (std::is_floating_point<T>::value)
        image.setPixel(0, 0, 0, T(-2.25));
    EXPECT_EQ(save(image, sPath).said(), "1: Format: gipl\n");
    // 16-bit data is labelled signed (15).
    const unsigned short iType = sizeof(T) == 1 ? 8 : sizeof(T) == 2 ? 15 : 64;
    Bytes expected = giplHeader(4, 3, 2, iType);
    for (int i = 0; i < 3; ++i) {
        putBE(expected, 10 + 4 * i, 1.0f);   // pixel sizes
        putBE(expected, 106 + 20 * i, 1.0f); // the 3x4 orientation matrix: identity
    }
    putBE(expected, 188, double(image.getPixel(0, 0, 0)));
    putBE(expected, 196, double(image.getPixel(3, 2, 1)));
    // Slice by slice, row by row.
    for (int i = 0; i < 24; ++i)
        putBE(expected, 256 + i * sizeof(T), image.getPixel(i % 4, i / 4 % 3, i / 12));
    EXPECT_EQ(readBytes(sPath), expected);
    CImage<T> loaded(1, 1, 1);
    EXPECT_EQ(load(loaded, sPath).said(),
              "1: Format: gipl\n Reading GIPL volume (size: 4x3x2).\n Type " +
                  std::to_string(iType) + "\n");
    expectSameImage(loaded, image);
    EXPECT_FALSE(loaded.isAttached());
}

TYPED_TEST(GiplTypedTest, EveryStoredTypeConverts)
{
    using T = TypeParam;
    const std::string sPath = this->dir.file("t.gipl");
    const int iRow = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : 2;
    const struct
    {
        Bytes file;
        float afExpected[3][2]; // as 8 bit, 16 bit, float
    } cases[] = {
        {giplFile<signed char>(2, 1, 1, 7, {-5, 100}), {{251, 100}, {65531, 100}, {-5, 100}}},
        {giplFile<unsigned char>(2, 1, 1, 8, {250, 7}), {{250, 7}, {250, 7}, {250, 7}}},
        {giplFile<short>(2, 1, 1, 15, {-2, 300}), {{254, 44}, {65534, 300}, {-2, 300}}},
        {giplFile<unsigned short>(2, 1, 1, 16, {65535, 256}),
         {{255, 0}, {65535, 256}, {65535, 256}}},
        {giplFile<unsigned int>(2, 1, 1, 31, {4000000000u, 70000}),
         {{0, 112}, {10240, 4464}, {4000000000.0f, 70000}}},
        {giplFile<int>(2, 1, 1, 32, {-70000, 65537}), {{144, 1}, {61072, 1}, {-70000, 65537}}},
        {giplFile<float>(2, 1, 1, 64, {-1.5f, 300.7f}), {{255, 44}, {65535, 300}, {-1.5f, 300.7f}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file[9]); // the type
        writeBytes(sPath, c.file);
        expectSameImage(loaded<T>(sPath, FORMAT_GIPL),
                        pixels<T>(2, 1, 1, {c.afExpected[iRow][0], c.afExpected[iRow][1]}));
    }
}

TEST_F(GiplFormat, ShortMissingHugeUnwritableAndCompressedFiles)
{
    const std::string sPath = dir.file("short.gipl");
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
    EXPECT_EQ(load(untouched, dir.file("missing.gipl"), FORMAT_GIPL).said(),
              "0: Error opening file\n Reading GIPL volume (size: 0x0x0).\n Type 0\n");
    writeBytes(sPath, giplHeader(65535, 65535, 2, 8));
    Outcome run = load(untouched, sPath, FORMAT_GIPL);
    EXPECT_EQ(run.iResult, 0);
    EXPECT_NE(run.sOut.find(" Image too large (65535 x 65535 x 2)"), std::string::npos) << run.sOut;
    EXPECT_EQ(untouched.width(), 2);
    // Zero slices: an image without channels, whatever the plane size.
    writeBytes(sPath, giplHeader(65535, 65535, 0, 16));
    EXPECT_EQ(load(untouched, sPath, FORMAT_GIPL).iResult, 1);
    EXPECT_EQ(untouched.channels(), 0);
    EXPECT_EQ(untouched.width(), 65535);
    // The writer reports a file it cannot create and still succeeds.
    EXPECT_EQ(save(image, dir.file("no/dir/v.gipl"), FORMAT_GIPL).said(),
              "1: Error opening file\n");
    // The header of a compressed 1x1x1 volume decodes past the type field;
    // the sample lies beyond the first negative code and stays zero.
    writeCompressedVolume(sPath, 1, 1);
    EXPECT_EQ(load(image, sPath, FORMAT_GIPL).said(),
              "1:  Reading GIPL volume (size: 1x1x1).\n Type 8\n");
    expectSameImage(image, CImage<unsigned char>(1, 1, 1));
}

// Unknown types end the process: type 65, and 0 read from a compressed
// 2x2x1 volume whose decoding stops before byte 8.
TEST_F(GiplFormatDeathTest, UnknownTypesEndTheProcess)
{
    const std::string sPath = dir.file("bad.gipl"), sCompressed = dir.file("z.gipl");
    writeBytes(sPath, giplFile<unsigned char>(2, 2, 1, 65, {1, 2, 3, 4}));
    writeCompressedVolume(sCompressed, 2, 2);
    CImage<float> image(1, 1, 1);
    for (const std::string& sFile : {sPath, sCompressed})
        EXPECT_EXIT(CImageFileIO<float>().load(image, sFile.c_str(), FORMAT_GIPL),
                    ::testing::ExitedWithCode(1), "")
            << sFile;
}

namespace {

Bytes lanFile(unsigned short iPack, unsigned short nBands, int w, int h, const Bytes& samples)
{
    Bytes b = {'H', 'E', 'A', 'D', '7', '4'};
    putNative(b, iPack);
    putNative(b, nBands);
    b.resize(16, 0);
    for (std::int32_t v : {w, h, -7, 9})
        putNative(b, v);
    b.resize(88, 0);
    putNative(b, std::int16_t(2));
    putNative(b, std::int16_t(-3));
    b.resize(106, 0);
    putNative(b, std::int16_t(4));
    for (float f : {0.25f, 1234.5f, -0.125f, 30.0f, 1.0f / 3.0f})
        putNative(b, f);
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

} // namespace

TEST_F(LanFormat, ListingSamplesAndMissingShortAndHugeFiles)
{
    const std::string sPath = dir.file("m.lan");
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
    EXPECT_EQ(load(image, dir.file("missing.lan"), FORMAT_LAN).said(), "0:  Can't open file\n");
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
