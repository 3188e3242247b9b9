// CImageFileIO: dispatch by format code and extension, and the MTX format.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "fileio/CImageFileIO.h"

using namespace testfiles;

namespace {

// An MTX byte sequence: header, then per channel 64 info bytes and the
// given raw sample bytes.
Bytes mtxBytes(int iVersion, int w, int h, int c, int iDepth, const Bytes& samples,
               const char* pcInfo = "info")
{
    Bytes b;
    putLE32(b, iVersion);
    putLE32(b, w);
    putLE32(b, h);
    putLE32(b, c);
    putLE32(b, iDepth);
    for (int ch = 0; ch < c; ++ch) {
        char acInfo[64] = {};
        std::memcpy(acInfo, pcInfo, std::min<std::size_t>(64, std::strlen(pcInfo)));
        b.insert(b.end(), acInfo, acInfo + 64);
        b.insert(b.end(), samples.begin(), samples.end());
    }
    return b;
}

Bytes mtxHeader(int w, int h, int c)
{
    Bytes b;
    for (int v : {1, w, h, c, 8})
        putLE32(b, v);
    return b;
}

template <class V> Bytes rawSamples(std::initializer_list<V> values)
{
    Bytes b;
    for (V v : values)
        putNative(b, v);
    return b;
}

template <class T> CImage<T> numbered(int w, int h, int c)
{
    CImage<T> image(w, h, c);
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, ch, T(60 * ch + 10 * y + x));
    return image;
}

} // namespace

TEST(MtxFormat, ExactBytesOfASmallImage)
{
    TempDir dir;
    const std::string sPath = dir.file("small.mtx");
    CImage<unsigned char> image(2, 3, 1);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 2; ++x)
            image.setPixel(x, y, 0, static_cast<unsigned char>(10 * x + y + 1));
    image.setChannelInfo("red", 0);
    std::string sOut;
    ASSERT_EQ(saveQuiet(image, sPath, FORMAT_MTX, &sOut), 1);
    EXPECT_EQ(sOut, "");

    const Bytes raw = readBytes(sPath);
    ASSERT_GE(raw.size(), 2u);
    EXPECT_EQ(raw[0], 0x1f); // always gzip-compressed
    EXPECT_EQ(raw[1], 0x8b);
    Bytes expected = {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0, 8, 0, 0, 0,
                      'r', 'e', 'd'};
    expected.resize(84, 0);
    // Column by column: (0,0), (0,1), (0,2), (1,0), (1,1), (1,2).
    for (unsigned char v : {1, 2, 3, 11, 12, 13})
        expected.push_back(v);
    EXPECT_EQ(gunzip(sPath), expected);

    CImage<float> asFloat(1, 1, 1);
    ASSERT_EQ(loadQuiet(asFloat, sPath, FORMAT_MTX), 1);
    ASSERT_EQ(asFloat.width(), 2);
    ASSERT_EQ(asFloat.height(), 3);
    ASSERT_EQ(asFloat.channels(), 1);
    EXPECT_EQ(asFloat.getPixel(1, 2, 0), 13.0f);
    EXPECT_EQ(asFloat.getPixel(0, 1, 0), 2.0f);
    EXPECT_STREQ(asFloat.getChannelInfo(0), "red");
}

TEST(MtxFormat, MessagesOfLoadAndSave)
{
    TempDir dir;
    const std::string sPath = dir.file("f.mtx");
    CImage<float> image = numbered<float>(3, 2, 2);
    std::string sOut;
    ASSERT_EQ(saveQuiet(image, sPath, FORMAT_DEFAULT, &sOut), 1);
    EXPECT_EQ(sOut, "Format: mtx\nSaving 32 bit\nWriting MTX file finished.\n");

    CImage<float> loaded(1, 1, 1);
    ASSERT_EQ(loadQuiet(loaded, sPath, FORMAT_DEFAULT, &sOut), 1);
    EXPECT_EQ(sOut, "Format: mtx\nLoading mtx\nVersion  1\nWidth    3\nHeight   2\n"
                    "Channels 2\n Depth    32\n");

    // Extensions are compared exactly: upper case goes elsewhere.
    const std::string sUpper = dir.file("f.MTX");
    writeBytes(sUpper, readBytes(sPath));
    loadQuiet(loaded, sUpper, FORMAT_DEFAULT, &sOut);
    EXPECT_EQ(sOut.rfind("Format: MTX\n", 0), 0u) << sOut;
    EXPECT_EQ(sOut.find("Loading mtx"), std::string::npos) << sOut;

    // Neither 8 nor 16 bit announce anything.
    CImage<unsigned short> image16 = numbered<unsigned short>(2, 2, 1);
    ASSERT_EQ(saveQuiet(image16, sPath, FORMAT_MTX, &sOut), 1);
    EXPECT_EQ(sOut, "");
}

TEST(MtxFormat, OpenFailures)
{
    TempDir dir;
    CImage<unsigned char> image = numbered<unsigned char>(2, 2, 1);
    std::string sOut;
    EXPECT_EQ(loadQuiet(image, dir.file("missing.mtx"), FORMAT_MTX, &sOut), 0);
    EXPECT_EQ(sOut, "Loading mtx\n Can't open file\n");
    EXPECT_EQ(image.width(), 2); // untouched
    EXPECT_EQ(image.getPixel(1, 1, 0), 11);

    EXPECT_EQ(saveQuiet(image, dir.file("no/dir/x.mtx"), FORMAT_MTX, &sOut), 0);
    EXPECT_EQ(sOut, " Can't open file\n");
}

template <class T> class MtxTypedTest : public ::testing::Test
{
};
TYPED_TEST_SUITE(MtxTypedTest, PixelTypes);

TYPED_TEST(MtxTypedTest, RoundTripKeepsValuesAndInfoAndGivesAPrivateCopy)
{
    using T = TypeParam;
    TempDir dir;
    const std::string sPath = dir.file("rt.mtx");
    CImage<T> image = numbered<T>(5, 3, 3);
    image.setPixel(4, 2, 2, T(201));
    image.setChannelInfo("first", 0);
    image.setChannelInfo(std::string(64, 'L').c_str(), 1); // loses its last character
    ASSERT_EQ(saveQuiet(image, sPath, FORMAT_MTX), 1);

    CImage<T> loaded(1, 1, 1);
    loaded.setName("replaced");
    CImage<T> sharer = loaded; // shares the old channel
    ASSERT_EQ(loadQuiet(loaded, sPath, FORMAT_MTX), 1);
    EXPECT_STREQ(loaded.getName(), "No name");
    ASSERT_EQ(loaded.width(), 5);
    ASSERT_EQ(loaded.height(), 3);
    ASSERT_EQ(loaded.channels(), 3);
    EXPECT_EQ(loaded.depth(), image.depth());
    for (int c = 0; c < 3; ++c)
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 5; ++x)
                EXPECT_EQ(loaded.getPixel(x, y, c), image.getPixel(x, y, c));
    EXPECT_STREQ(loaded.getChannelInfo(0), "first");
    EXPECT_EQ(std::string(loaded.getChannelInfo(1)), std::string(63, 'L'));
    EXPECT_STREQ(loaded.getChannelInfo(2), "No info");
    EXPECT_FALSE(loaded.isAttached());
    EXPECT_EQ(sharer.width(), 1);
}

TYPED_TEST(MtxTypedTest, SamplesConvertByTruncatingAndWrapping)
{
    using T = TypeParam;
    TempDir dir;
    const std::string sPath = dir.file("conv.mtx");
    CImage<T> image(1, 1, 1);

    // Depth 8: 200 everywhere.
    writeBytes(sPath, mtxBytes(1, 1, 1, 1, 8, {200}));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    EXPECT_EQ(image.getPixel(0, 0, 0), T(200));

    // Depth 16: 300 and 65535.
    writeBytes(sPath, mtxBytes(1, 1, 2, 1, 16, rawSamples<unsigned short>({300, 65535})));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    const float afExpected16[3][2] = {{44, 255}, {300, 65535}, {300, 65535}};
    const int iRow = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : 2;
    EXPECT_EQ(float(image.getPixel(0, 0, 0)), afExpected16[iRow][0]);
    EXPECT_EQ(float(image.getPixel(0, 1, 0)), afExpected16[iRow][1]);

    // Depth 32: truncation toward zero, then the low bits.
    writeBytes(sPath, mtxBytes(1, 1, 4, 1, 32,
                               rawSamples<float>({-1.5f, 300.7f, 70000.9f, 255.99f})));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    const float afExpected32[3][4] = {
        {255, 44, 112, 255}, {65535, 300, 4464, 255}, {-1.5f, 300.7f, 70000.9f, 255.99f}};
    for (int y = 0; y < 4; ++y)
        EXPECT_EQ(float(image.getPixel(0, y, 0)), afExpected32[iRow][y]) << y;
}

TEST(MtxFormat, UncompressedFilesAndOddHeaders)
{
    TempDir dir;
    const std::string sPath = dir.file("odd.mtx");
    CImage<unsigned char> image(1, 1, 1);

    // Plain bytes load like compressed ones; 64 info bytes without a
    // terminator give a 64-character text.
    writeBytes(sPath, mtxBytes(1, 2, 1, 1, 8, {7, 9}, std::string(64, 'x').c_str()));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    EXPECT_EQ(image.getPixel(1, 0, 0), 9);
    EXPECT_EQ(std::string(image.getChannelInfo(0)), std::string(64, 'x'));

    // Another version: the header's size, samples not loaded.
    writeBytes(sPath, mtxBytes(2, 3, 2, 2, 8, Bytes(6, 5)));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    EXPECT_EQ(image.width(), 3);
    EXPECT_EQ(image.channels(), 2);
    EXPECT_EQ(image.getPixel(2, 1, 1), 0);
    EXPECT_STREQ(image.getChannelInfo(0), "No info");

    // An unknown depth reads the info but no samples.
    writeBytes(sPath, mtxBytes(1, 2, 2, 1, 12, {}));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    EXPECT_STREQ(image.getChannelInfo(0), "info");
    EXPECT_EQ(image.getPixel(1, 1, 0), 0);

    // Negative sizes give an empty image, negative channel counts none.
    writeBytes(sPath, mtxBytes(1, -4, 3, 1, 8, {}));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    EXPECT_EQ(image.width(), -4);
    EXPECT_EQ(image.getChannelPtr(0)->pixelCount(), 0);
    writeBytes(sPath, mtxBytes(1, 2000000000, 0, 1, 8, {}));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    EXPECT_EQ(image.width(), 2000000000);
    writeBytes(sPath, mtxBytes(1, 4, 3, -2, 8, {}));
    ASSERT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1);
    EXPECT_EQ(image.channels(), 0);

    // A truncated file still loads with what the failed reads leave: the
    // half-read sample takes its low byte from the file and its high byte
    // from the sample before it, and the rest repeat it.
    Bytes cut = mtxBytes(1, 2, 2, 1, 16, rawSamples<unsigned short>({1, 2, 3, 4}));
    cut.resize(cut.size() - 3);
    writeBytes(sPath, cut);
    CImage<unsigned short> image16(1, 1, 1);
    ASSERT_EQ(loadQuiet(image16, sPath, FORMAT_MTX), 1);
    EXPECT_EQ(image16.getPixel(0, 1, 0), 2);
    EXPECT_EQ(image16.getPixel(1, 0, 0), 3);
    EXPECT_EQ(image16.getPixel(1, 1, 0), 3);
}

TEST(MtxFormat, ImpossibleSizesFailCleanly)
{
    TempDir dir;
    const std::string sPath = dir.file("huge.mtx");
    CImage<float> image = numbered<float>(2, 2, 1);
    std::string sOut;
    for (const Bytes& header :
          {mtxHeader(65536, 65536, 1), mtxHeader(2000000000, 1, 2),
          mtxHeader(1, 1, 2000000000), mtxHeader(-70000, 70000, 1),
          mtxHeader(1, 2147483647, 1), mtxHeader(1, 1, 20000000),
          mtxHeader(2147483647, 2147483647, 2147483647)}) {
        writeBytes(sPath, header);
        EXPECT_EQ(loadQuiet(image, sPath, FORMAT_MTX, &sOut), 0);
        EXPECT_NE(sOut.find(" Image too large ("), std::string::npos) << sOut;
        EXPECT_EQ(image.width(), 2);
    }
}

TEST(MtxFormat, GarbageAndTruncationsNeverCrash)
{
    TempDir dir;
    const std::string sPath = dir.file("g.mtx");
    const Bytes good = mtxBytes(1, 3, 2, 2, 32, rawSamples<float>({1, 2, 3, 4, 5, 6}));
    CImage<unsigned short> image(1, 1, 1);
    for (std::size_t n = 0; n <= good.size(); ++n) {
        writeBytes(sPath, Bytes(good.begin(), good.begin() + long(n)));
        EXPECT_EQ(loadQuiet(image, sPath, FORMAT_MTX), 1) << n;
    }
    std::mt19937 rng(3);
    for (int i = 0; i < 100; ++i) {
        Bytes b = mtxBytes(1, int(rng() % 40) - 5, int(rng() % 40) - 5, int(rng() % 5),
                           8 << (rng() % 3), {});
        for (int k = int(rng() % 500); k > 0; --k)
            b.push_back(static_cast<unsigned char>(rng()));
        writeBytes(sPath, b);
        loadQuiet(image, sPath, FORMAT_MTX);
    }
}

TEST(FileDispatch, FormatsThatDoNothing)
{
    TempDir dir;
    CImage<unsigned char> image = numbered<unsigned char>(2, 2, 1);
    std::string sOut;
    for (TDataFormat f : {FORMAT_TIFF, FORMAT_LAN, TDataFormat(5), TDataFormat(-1)}) {
        const std::string sPath = dir.file("x.mtx");
        EXPECT_EQ(saveQuiet(image, sPath, f, &sOut), 1);
        EXPECT_EQ(sOut, "");
        EXPECT_FALSE(fileExists(sPath));
    }
    writeBytes(dir.file("y.mtx"), mtxBytes(1, 1, 1, 1, 8, {9}));
    for (TDataFormat f : {TDataFormat(5), TDataFormat(-1)}) {
        EXPECT_EQ(loadQuiet(image, dir.file("y.mtx"), f, &sOut), 1);
        EXPECT_EQ(sOut, "");
        EXPECT_EQ(image.width(), 2);
    }
}

TEST(FileDispatch, ExtensionIsTheTextAfterTheLastDot)
{
    TempDir dir;
    const std::string sPath = dir.file("a.b.mtx");
    CImage<unsigned char> image = numbered<unsigned char>(2, 2, 1);
    std::string sOut;
    ASSERT_EQ(saveQuiet(image, sPath, FORMAT_DEFAULT, &sOut), 1);
    EXPECT_EQ(sOut, "Format: mtx\n");
    EXPECT_EQ(gunzip(sPath).size(), 20u + 64 + 4);

    // No dot at all: an empty extension, which is not one of ours.
    CImage<unsigned char> loaded(1, 1, 1);
    EXPECT_EQ(loadQuiet(loaded, dir.file("nodot"), FORMAT_DEFAULT, &sOut), 0);
    EXPECT_EQ(sOut.rfind("Format: \n", 0), 0u) << sOut;
    EXPECT_EQ(loaded.width(), 1);
}

TEST(FileDispatchDeathTest, PathsOfTwoHundredFiftySixBytesEndTheProcess)
{
    CImage<unsigned char> image(1, 1, 1);
    const std::string sLong = "/tmp/" + std::string(247, 'p') + ".mtx"; // 256 bytes
    EXPECT_DEATH(CImageFileIO<unsigned char>().load(image, sLong.c_str(), FORMAT_MTX),
                 "Assertion `std::strlen\\(pcPath\\) < sizeof acBuffer' failed");
    EXPECT_DEATH(
        CImageFileIO<unsigned char>().save(&image, sLong.c_str(), FORMAT_MTX, IMAGE_SINGLE),
        "Assertion");
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

TEST(MtxFormat, FilesCutAnywhereLoadAsTheFormatPromises)
{
    TempDir dir;
    const std::string sPath = dir.file("cut.mtx");
    // Channels of more samples than the reader takes in one block, in
    // blocks of whole columns and (taller than a block) column pieces.
    for (const auto& [w, h] : {std::pair<int, int>{301, 229}, std::pair<int, int>{2, 70001}}) {
        Bytes samples;
        for (int i = 0; i < w * h; ++i)
            putNative(samples, static_cast<unsigned short>(i * 7919));
        const Bytes whole = mtxBytes(1, w, h, 2, 16, samples, "first");
        const std::size_t nChannel = 64 + samples.size();
        const std::size_t nPlane = std::size_t(w) * h;
        // In the header, in an info text, mid-sample across a block, the last
        // byte of channel 0, in channel 1's info, mid-sample near its end, none.
        for (std::size_t nCut : std::vector<std::size_t>{
                 16, 20 + 30, 20 + 64 + 1, 20 + 64 + 2 * 65536 + 3, 20 + nChannel - 1,
                 20 + nChannel + 10, 20 + nChannel + 64 + 2 * (nPlane - 5) + 1, whole.size()}) {
            writeBytes(sPath, Bytes(whole.begin(), whole.begin() + long(nCut)));
            CImage<unsigned short> loaded(1, 1, 1);
            ASSERT_EQ(loadQuiet(loaded, sPath, FORMAT_MTX), 1);
            const CImage<unsigned short> expected =
                referenceLoad<unsigned short, unsigned short>(sPath);
            ASSERT_EQ(loaded.channels(), expected.channels()) << nCut;
            ASSERT_EQ(loaded.height(), expected.height()) << nCut;
            for (int c = 0; c < expected.channels(); ++c) {
                EXPECT_STREQ(loaded.getChannelInfo(c), expected.getChannelInfo(c)) << nCut;
                for (int y = 0; y < expected.height(); ++y)
                    for (int x = 0; x < w; ++x)
                        ASSERT_EQ(loaded.getPixel(x, y, c), expected.getPixel(x, y, c))
                            << "cut " << nCut << " at " << x << "," << y << "," << c;
            }
        }
    }
}
