// GIPL volumes (read and written) and ERDAS/LAN files (read).
#include <cstring>
#include <random>
#include <string>

#include "FileTestUtils.h"
#include "PixelTypes.h"
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

template <class T> CImage<T> numbered(int w, int h, int c)
{
    CImage<T> image(w, h, c);
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, ch, T(60 * ch + 10 * y + x + 3));
    return image;
}

} // namespace

// ----------------------------------------------------------------- GIPL

TEST(GiplFormat, WrittenHeaderFieldsAndSamples)
{
    TempDir dir;
    const std::string sPath = dir.file("v.gipl");
    CImage<unsigned short> image = numbered<unsigned short>(4, 3, 2);
    image.setPixel(3, 2, 1, 40000);
    std::string sOut;
    ASSERT_EQ(saveQuiet(image, sPath, FORMAT_DEFAULT, &sOut), 1);
    EXPECT_EQ(sOut, "Format: gipl\n");

    const Bytes b = readBytes(sPath);
    ASSERT_EQ(b.size(), 256u + 4 * 3 * 2 * 2);
    EXPECT_EQ(getBE<unsigned short>(b, 0), 4);
    EXPECT_EQ(getBE<unsigned short>(b, 2), 3);
    EXPECT_EQ(getBE<unsigned short>(b, 4), 2);
    EXPECT_EQ(getBE<unsigned short>(b, 6), 1);
    EXPECT_EQ(getBE<unsigned short>(b, 8), 15); // signed label, unsigned data
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(getBE<float>(b, 10 + 4 * i), i < 3 ? 1.0f : 0.0f);
    for (int i = 0; i < 80; ++i)
        EXPECT_EQ(b[26 + i], 0);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(getBE<float>(b, 106 + 4 * i), (i == 0 || i == 5 || i == 10) ? 1.0f : 0.0f);
    for (int i = 154; i < 188; ++i)
        EXPECT_EQ(b[i], 0) << i;
    EXPECT_EQ(getBE<double>(b, 188), 3.0);
    EXPECT_EQ(getBE<double>(b, 196), 40000.0);
    for (int i = 204; i < 252; ++i)
        EXPECT_EQ(b[i], 0) << i;
    EXPECT_EQ(getBE<unsigned int>(b, 252), 719555000u);
    // Slice by slice, row by row.
    EXPECT_EQ(getBE<unsigned short>(b, 256), 3);
    EXPECT_EQ(getBE<unsigned short>(b, 256 + 2 * 5), 3 + 10 + 1);     // (1,1,0)
    EXPECT_EQ(getBE<unsigned short>(b, 256 + 2 * (12 + 4)), 60 + 13); // (0,1,1)
    EXPECT_EQ(getBE<unsigned short>(b, 256 + 2 * 23), 40000);

    CImage<unsigned char> image8 = numbered<unsigned char>(1, 1, 1);
    ASSERT_EQ(saveQuiet(image8, sPath, FORMAT_GIPL), 1);
    EXPECT_EQ(getBE<unsigned short>(readBytes(sPath), 8), 8);
    CImage<float> image32 = numbered<float>(2, 1, 1);
    image32.setPixel(0, 0, 0, -2.25f);
    ASSERT_EQ(saveQuiet(image32, sPath, FORMAT_GIPL), 1);
    const Bytes b32 = readBytes(sPath);
    EXPECT_EQ(getBE<unsigned short>(b32, 8), 64);
    EXPECT_EQ(getBE<double>(b32, 188), -2.25);
    EXPECT_EQ(getBE<float>(b32, 256), -2.25f);
    EXPECT_EQ(getBE<float>(b32, 260), 4.0f);
}

TEST(GiplFormat, WriterKeepsGoingWhenTheFileCannotBeCreated)
{
    TempDir dir;
    CImage<unsigned char> image = numbered<unsigned char>(2, 2, 1);
    std::string sOut;
    EXPECT_EQ(saveQuiet(image, dir.file("no/dir/v.gipl"), FORMAT_GIPL, &sOut), 1);
    EXPECT_EQ(sOut, "Error opening file\n");
}

template <class T> class GiplTypedTest : public ::testing::Test
{
};
TYPED_TEST_SUITE(GiplTypedTest, PixelTypes);

TYPED_TEST(GiplTypedTest, RoundTripAndListing)
{
    using T = TypeParam;
    TempDir dir;
    const std::string sPath = dir.file("rt.gipl");
    CImage<T> image = numbered<T>(5, 4, 3);
    ASSERT_EQ(saveQuiet(image, sPath, FORMAT_GIPL), 1);
    CImage<T> loaded(1, 1, 1);
    std::string sOut;
    ASSERT_EQ(loadQuiet(loaded, sPath, FORMAT_DEFAULT, &sOut), 1);
    const int iType = sizeof(T) == 1 ? 8 : sizeof(T) == 2 ? 15 : 64;
    EXPECT_EQ(sOut, "Format: gipl\n Reading GIPL volume (size: 5x4x3).\n Type " +
                        std::to_string(iType) + "\n");
    ASSERT_EQ(loaded.width(), 5);
    ASSERT_EQ(loaded.height(), 4);
    ASSERT_EQ(loaded.channels(), 3);
    for (int c = 0; c < 3; ++c)
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x)
                EXPECT_EQ(loaded.getPixel(x, y, c), image.getPixel(x, y, c));
    EXPECT_FALSE(loaded.isAttached());
}

TYPED_TEST(GiplTypedTest, EveryStoredTypeConverts)
{
    using T = TypeParam;
    TempDir dir;
    const std::string sPath = dir.file("t.gipl");
    const int iRow = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : 2;
    CImage<T> image(1, 1, 1);
    auto check = [&](const Bytes& file, const float (&afExpected)[3][2], const char* pcWhat) {
        writeBytes(sPath, file);
        ASSERT_EQ(loadQuiet(image, sPath, FORMAT_GIPL), 1) << pcWhat;
        ASSERT_EQ(image.width(), 2) << pcWhat;
        EXPECT_EQ(float(image.getPixel(0, 0, 0)), afExpected[iRow][0]) << pcWhat;
        EXPECT_EQ(float(image.getPixel(1, 0, 0)), afExpected[iRow][1]) << pcWhat;
    };
    check(giplFile<signed char>(2, 1, 1, 7, {-5, 100}), {{251, 100}, {65531, 100}, {-5, 100}},
          "type 7");
    check(giplFile<unsigned char>(2, 1, 1, 8, {250, 7}), {{250, 7}, {250, 7}, {250, 7}},
          "type 8");
    check(giplFile<short>(2, 1, 1, 15, {-2, 300}), {{254, 44}, {65534, 300}, {-2, 300}},
          "type 15");
    check(giplFile<unsigned short>(2, 1, 1, 16, {65535, 256}),
          {{255, 0}, {65535, 256}, {65535, 256}}, "type 16");
    check(giplFile<unsigned int>(2, 1, 1, 31, {4000000000u, 70000}),
          {{0, 112}, {10240, 4464}, {4000000000.0f, 70000}}, "type 31");
    check(giplFile<int>(2, 1, 1, 32, {-70000, 65537}), {{144, 1}, {61072, 1}, {-70000, 65537}},
          "type 32");
    check(giplFile<float>(2, 1, 1, 64, {-1.5f, 300.7f}), {{255, 44}, {65535, 300}, {-1.5f, 300.7f}},
          "type 64");
}

TEST(GiplFormat, SlicesStartAtTheirOwnOffsets)
{
    TempDir dir;
    const std::string sPath = dir.file("s.gipl");
    std::vector<unsigned short> samples(24);
    for (int i = 0; i < 24; ++i)
        samples[std::size_t(i)] = static_cast<unsigned short>(1000 + i);
    writeBytes(sPath, giplFile<unsigned short>(4, 3, 2, 16, samples));
    CImage<unsigned short> image(1, 1, 1);
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_GIPL), 1);
    ASSERT_EQ(image.channels(), 2);
    EXPECT_EQ(image.getPixel(0, 0, 1), 1012); // byte 256 + 24
    EXPECT_EQ(image.getPixel(3, 2, 1), 1023);
    EXPECT_EQ(image.getPixel(1, 2, 0), 1009);
}

TEST(GiplFormat, ShortMissingAndHugeFiles)
{
    TempDir dir;
    const std::string sPath = dir.file("short.gipl");
    CImage<unsigned char> image = numbered<unsigned char>(2, 2, 1);
    std::string sOut;

    // Half of the second slice is there: the rest keeps the first slice's
    // values, which are still in the slice buffer.
    Bytes b = giplFile<unsigned char>(2, 2, 2, 8, {1, 2, 3, 4, 5, 6});
    writeBytes(sPath, b);
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_GIPL), 1);
    EXPECT_EQ(image.getPixel(1, 0, 1), 6);
    EXPECT_EQ(image.getPixel(0, 1, 1), 3);
    EXPECT_EQ(image.getPixel(1, 1, 1), 4);

    // Every read swaps the whole slice buffer, also what it did not fill:
    // after a short first slice the next ones alternate.
    Bytes b16 = giplFile<unsigned short>(2, 1, 3, 16, {0x0102});
    writeBytes(sPath, b16);
    CImage<unsigned short> image16(1, 1, 1);
    ASSERT_EQ(loadQuiet(image16, sPath, FORMAT_GIPL), 1);
    const unsigned short aExpected[3] = {0x0102, 0x0201, 0x0102};
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(image16.getPixel(0, 0, c), aExpected[c]) << c;
        EXPECT_EQ(image16.getPixel(1, 0, c), 0) << c;
    }

    // A missing file is reported, its empty header read, and the load fails.
    CImage<unsigned char> untouched = numbered<unsigned char>(2, 2, 1);
    EXPECT_EQ(loadQuiet(untouched, dir.file("missing.gipl"), FORMAT_GIPL, &sOut), 0);
    EXPECT_EQ(sOut, "Error opening file\n Reading GIPL volume (size: 0x0x0).\n Type 0\n");
    EXPECT_EQ(untouched.width(), 2);

    writeBytes(sPath, giplHeader(65535, 65535, 2, 8));
    EXPECT_EQ(loadQuiet(untouched, sPath, FORMAT_GIPL, &sOut), 0);
    EXPECT_NE(sOut.find(" Image too large (65535 x 65535 x 2)"), std::string::npos) << sOut;
    EXPECT_EQ(untouched.width(), 2);

    // Zero slices: an image without channels, whatever the plane size.
    writeBytes(sPath, giplHeader(65535, 65535, 0, 16));
    EXPECT_EQ(loadQuiet(untouched, sPath, FORMAT_GIPL), 1);
    EXPECT_EQ(untouched.channels(), 0);
    EXPECT_EQ(untouched.width(), 65535);
}

TEST(GiplFormatDeathTest, UnknownTypeEndsTheProcess)
{
    TempDir dir;
    const std::string sPath = dir.file("bad.gipl");
    writeBytes(sPath, giplFile<unsigned char>(2, 2, 1, 65, {1, 2, 3, 4}));
    CImage<float> image(1, 1, 1);
    EXPECT_EXIT(CImageFileIO<float>().load(image, sPath.c_str(), FORMAT_GIPL),
                ::testing::ExitedWithCode(1), "");
}

namespace {

// A header of x by y by 1 of type 8 with one sample, LZW-compressed.
void writeCompressedVolume(const std::string& sPath, unsigned char x, unsigned char y)
{
    Bytes b(256 + 8, 0);
    b[1] = x;
    b[3] = y;
    b[5] = 1;
    b[7] = 1;
    b[9] = 8;
    b[256] = 77;
    compressTo(sPath, b);
    ASSERT_EQ(readBytes(sPath).at(1), 0x9d);
}

} // namespace

TEST(GiplFormat, CompressedVolumeDecodesAsFarAsItsCodesAllow)
{
    // The header of a 1x1x1 volume compresses into codes that decode past
    // the type field; the sample lies beyond the first negative code and
    // stays zero.
    TempDir dir;
    const std::string sPath = dir.file("z.gipl");
    writeCompressedVolume(sPath, 1, 1);
    CImage<unsigned char> image(2, 2, 1);
    std::string sOut;
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_GIPL, &sOut), 1);
    EXPECT_EQ(sOut, " Reading GIPL volume (size: 1x1x1).\n Type 8\n");
    ASSERT_EQ(image.width(), 1);
    EXPECT_EQ(image.getPixel(0, 0, 0), 0);
}

TEST(GiplFormatDeathTest, CompressedVolumeEndingBeforeItsTypeEndsTheProcess)
{
    // With x = y = 2 decoding stops before byte 8: the type reads as 0.
    TempDir dir;
    const std::string sPath = dir.file("z.gipl");
    writeCompressedVolume(sPath, 2, 2);
    CImage<unsigned char> image(1, 1, 1);
    EXPECT_EXIT(CImageFileIO<unsigned char>().load(image, sPath.c_str(), FORMAT_GIPL),
                ::testing::ExitedWithCode(1), "");
}

TEST(GiplFormat, GarbageWithKnownTypesNeverCrashes)
{
    TempDir dir;
    const std::string sPath = dir.file("g.gipl");
    const unsigned short aTypes[] = {7, 8, 15, 16, 31, 32, 64};
    std::mt19937 rng(11);
    CImage<unsigned short> image(1, 1, 1);
    for (int i = 0; i < 60; ++i) {
        Bytes b = giplHeader(static_cast<unsigned short>(rng() % 30),
                             static_cast<unsigned short>(rng() % 30),
                             static_cast<unsigned short>(rng() % 4), aTypes[rng() % 7]);
        for (int k = int(rng() % 3000); k > 0; --k)
            b.push_back(static_cast<unsigned char>(rng()));
        b.resize(std::size_t(rng() % b.size()) + (i % 2 ? 256 : 0));
        writeBytes(sPath, b);
        EXPECT_EQ(loadQuiet(image, sPath, FORMAT_GIPL), 1);
    }
}

// ------------------------------------------------------------ ERDAS/LAN

namespace {

Bytes lanFile(unsigned short iPack, unsigned short nBands, int w, int h, const Bytes& samples)
{
    Bytes b = {'H', 'E', 'A', 'D', '7', '4'};
    putNative(b, iPack);
    putNative(b, nBands);
    b.resize(16, 0);
    putNative(b, std::int32_t(w));
    putNative(b, std::int32_t(h));
    putNative(b, std::int32_t(-7));
    putNative(b, std::int32_t(9));
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

const char* const kLanListing =
    "Format: lan\n"
    "-------------------\n"
    "ERDAS/LAN FILE INFO\n"
    "Header (HEADER/HEAD74): HEAD74\n"
    "Pack type of data: %d\n"
    "Number of bands per line: 3\n"
    "With of map in pixels: 2\n"
    "Length of map in pixels: 2\n"
    "Database x-cooridnate of the first pixel: -7\n"
    "Database y-cooridnate of the first pixel: 9\n"
    "Indicator for the type of map units: 2\n"
    "The number of map classes: -3\n"
    "The unit of area associated with each pixel: 4\n"
    "The number of area units represented by each pixl in untis given: 0.25\n"
    "The map x-coordinate for the center of the upper left corner pixel of the map: 1234.5\n"
    "The y-coordinate for the center of the upper left corner pixel of the map: -0.125\n"
    "The x size of each pixel: 30\n"
    "The y size of each pixel: 0.333333\n";

std::string listing(int iPack)
{
    char ac[2000];
    std::snprintf(ac, sizeof ac, kLanListing, iPack);
    return ac;
}

} // namespace

TEST(LanFormat, ListingAndBandInterleavedSamples)
{
    TempDir dir;
    const std::string sPath = dir.file("m.lan");
    // Row 0 of bands 0, 1, 2, then row 1 of each.
    writeBytes(sPath, lanFile(0, 3, 2, 2, {1, 2, 11, 12, 21, 22, 3, 4, 13, 14, 23, 24}));
    CImage<unsigned short> image(1, 1, 1);
    std::string sOut;
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_DEFAULT, &sOut), 1);
    EXPECT_EQ(sOut, listing(0));
    ASSERT_EQ(image.width(), 2);
    ASSERT_EQ(image.height(), 2);
    ASSERT_EQ(image.channels(), 3);
    EXPECT_EQ(image.getPixel(1, 0, 0), 2);
    EXPECT_EQ(image.getPixel(0, 0, 1), 11);
    EXPECT_EQ(image.getPixel(1, 0, 2), 22);
    EXPECT_EQ(image.getPixel(0, 1, 0), 3);
    EXPECT_EQ(image.getPixel(1, 1, 1), 14);
    EXPECT_EQ(image.getPixel(1, 1, 2), 24);
    EXPECT_FALSE(image.isAttached());
}

TEST(LanFormat, PackedDataWarnsAndStillLoadsBytes)
{
    TempDir dir;
    const std::string sPath = dir.file("p.lan");
    writeBytes(sPath, lanFile(1, 3, 2, 2, Bytes(12, 200)));
    CImage<float> image(1, 1, 1);
    std::string sOut;
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_LAN, &sOut), 1);
    EXPECT_EQ("Format: lan\n" + sOut,
              listing(1) + "########################################\n"
                           "WARNING: Pack Type is maybe unsupported!\n"
                           "########################################\n");
    EXPECT_EQ(image.getPixel(1, 1, 2), 200.0f);
}

TEST(LanFormat, MissingShortAndHugeFiles)
{
    TempDir dir;
    CImage<unsigned char> image(3, 1, 1);
    std::string sOut;
    EXPECT_EQ(loadQuiet(image, dir.file("missing.lan"), FORMAT_LAN, &sOut), 0);
    EXPECT_EQ(sOut, " Can't open file\n");
    EXPECT_EQ(image.width(), 3);

    // A short file leaves the rest of the samples at zero.
    const std::string sPath = dir.file("s.lan");
    writeBytes(sPath, lanFile(0, 2, 3, 2, {1, 2, 3, 4, 5, 6, 7}));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_LAN), 1);
    EXPECT_EQ(image.getPixel(0, 1, 0), 7);
    EXPECT_EQ(image.getPixel(1, 1, 0), 0);
    EXPECT_EQ(image.getPixel(2, 1, 1), 0);

    // A file shorter than its header lists zeros and loads nothing.
    writeBytes(sPath, {'H', 'E', 'A', 'D'});
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_LAN, &sOut), 1);
    EXPECT_NE(sOut.find("Header (HEADER/HEAD74): HEAD\n"), std::string::npos) << sOut;
    EXPECT_NE(sOut.find("With of map in pixels: 0\n"), std::string::npos) << sOut;

    writeBytes(sPath, lanFile(0, 60000, 100000, 100000, {}));
    EXPECT_EQ(loadQuiet(image, sPath, FORMAT_LAN, &sOut), 0);
    EXPECT_NE(sOut.find(" Image too large (100000 x 100000 x 60000)"), std::string::npos);
    writeBytes(sPath, lanFile(0, 1, 1, 300000000, {})); // 2.4 GB of row pointers
    EXPECT_EQ(loadQuiet(image, sPath, FORMAT_LAN, &sOut), 0);
    EXPECT_NE(sOut.find(" Image too large (1 x 300000000 x 1)"), std::string::npos);
    writeBytes(sPath, lanFile(0, 65535, 2147483647, 2147483647, {})); // 78 bits of samples
    EXPECT_EQ(loadQuiet(image, sPath, FORMAT_LAN, &sOut), 0);
    EXPECT_NE(sOut.find(" Image too large (2147483647 x 2147483647 x 65535)"), std::string::npos);

    // No bands: any width is harmless.
    writeBytes(sPath, lanFile(0, 0, 2000000000, 1, {1, 2, 3}));
    EXPECT_EQ(loadQuiet(image, sPath, FORMAT_LAN), 1);
    EXPECT_EQ(image.channels(), 0);

    writeBytes(sPath, lanFile(0, 1, -5, 3, {1, 2, 3}));
    EXPECT_EQ(loadQuiet(image, sPath, FORMAT_LAN), 1);
    EXPECT_EQ(image.width(), -5);
}

TEST(LanFormat, GarbageNeverCrashes)
{
    TempDir dir;
    const std::string sPath = dir.file("g.lan");
    std::mt19937 rng(5);
    CImage<unsigned char> image(1, 1, 1);
    for (int i = 0; i < 60; ++i) {
        Bytes b = lanFile(static_cast<unsigned short>(rng() % 2),
                          static_cast<unsigned short>(rng() % 5), int(rng() % 40) - 3,
                          int(rng() % 40) - 3, {});
        for (int k = int(rng() % 2000); k > 0; --k)
            b.push_back(static_cast<unsigned char>(rng()));
        b.resize(std::size_t(rng() % b.size()) + 1);
        writeBytes(sPath, b);
        EXPECT_EQ(loadQuiet(image, sPath, FORMAT_LAN), 1);
    }
}
