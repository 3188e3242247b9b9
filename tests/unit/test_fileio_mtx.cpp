// CImageFileIO: dispatch by format code and extension, and the MTX format.
#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <string>

#include "FastVsReference.h"
#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "TestImages.h"
#include "fileio/CImageFileIO.h"

using namespace testfiles;

namespace {

Bytes mtxHeader(int iVersion, int w, int h, int c, int iDepth)
{
    Bytes b;
    for (int v : {iVersion, w, h, c, iDepth})
        putNative(b, std::int32_t(v));
    return b;
}

// The header, then per channel 64 info bytes and the given sample bytes.
Bytes mtxBytes(int iVersion, int w, int h, int c, int iDepth, const Bytes& samples,
               const char* pcInfo = "info")
{
    Bytes b = mtxHeader(iVersion, w, h, c, iDepth);
    for (int ch = 0; ch < c; ++ch) {
        char acInfo[64] = {};
        std::memcpy(acInfo, pcInfo, std::min<std::size_t>(64, std::strlen(pcInfo)));
        b.insert(b.end(), acInfo, acInfo + 64);
        b.insert(b.end(), samples.begin(), samples.end());
    }
    return b;
}

using MtxFormat = FileTest;
using FileDispatch = FileTest;

} // namespace

TEST_F(MtxFormat, BytesAndMessagesOfSaveAndLoad)
{
    const std::string sPath = dir.file("small.mtx");
    CImage<unsigned char> image = pixels<unsigned char>(2, 3, 1, {1, 11, 2, 12, 3, 13});
    image.setChannelInfo("red", 0);
    EXPECT_EQ(save(image, sPath, FORMAT_MTX).said(), "1: "); // 8 bit announces nothing
    const Bytes raw = readBytes(sPath);
    EXPECT_EQ(raw.at(0) << 8 | raw.at(1), 0x1f8b); // always gzip-compressed
    // Column by column: (0,0), (0,1), (0,2), (1,0), (1,1), (1,2).
    EXPECT_EQ(gunzip(sPath), mtxBytes(1, 2, 3, 1, 8, {1, 2, 3, 11, 12, 13}, "red"));
    EXPECT_EQ(load(image, dir.file("missing.mtx"), FORMAT_MTX).said(),
              "0: Loading mtx\n Can't open file\n");
    EXPECT_EQ(image.getPixel(1, 2, 0), 13); // untouched
    EXPECT_EQ(save(image, dir.file("no/dir/x.mtx"), FORMAT_MTX).said(), "0:  Can't open file\n");
    CImage<float> image32 = numbered<float>(3, 2, 2, 60, 10, 0);
    EXPECT_EQ(save(image32, sPath).said(),
              "1: Format: mtx\nSaving 32 bit\nWriting MTX file finished.\n");
    EXPECT_EQ(load(image32, sPath).said(), "1: Format: mtx\nLoading mtx\nVersion  1\nWidth    3\n"
                                           "Height   2\nChannels 2\n Depth    32\n");
    CImage<unsigned short> image16 = numbered<unsigned short>(2, 2, 1, 60, 10, 0);
    EXPECT_EQ(save(image16, sPath, FORMAT_MTX).said(), "1: ");
    // Extensions are compared exactly: upper case goes elsewhere.
    writeBytes(dir.file("f.MTX"), readBytes(sPath));
    const std::string sOut = load(image16, dir.file("f.MTX")).sOut;
    EXPECT_EQ(sOut.rfind("Format: MTX\n", 0), 0u) << sOut;
    EXPECT_EQ(sOut.find("Loading mtx"), std::string::npos) << sOut;
}

template <class T> class MtxTypedTest : public FileTest
{
};
TYPED_TEST_SUITE(MtxTypedTest, PixelTypes);

TYPED_TEST(MtxTypedTest, RoundTripKeepsValuesAndInfoAndGivesAPrivateCopy)
{
    using T = TypeParam;
    const std::string sPath = this->dir.file("rt.mtx");
    // More bytes than the gzip buffers hold, in and out.
    CImage<T> image = numbered<T>(20, 10, 3, 60, 10, 0);
    image.setPixel(4, 2, 2, T(201));
    image.setChannelInfo("first", 0);
    image.setChannelInfo(std::string(64, 'L').c_str(), 1);
    ASSERT_EQ(save(image, sPath, FORMAT_MTX).iResult, 1);
    CImage<T> loaded(1, 1, 1);
    loaded.setName("replaced");
    CImage<T> sharer = loaded; // shares the old channel
    ASSERT_EQ(load(loaded, sPath, FORMAT_MTX).iResult, 1);
    image.setChannelInfo(std::string(63, 'L').c_str(), 1); // the last character is lost
    expectSameImage(loaded, image);                        // the name too: "No name"
    EXPECT_FALSE(loaded.isAttached());
    EXPECT_EQ(sharer.width(), 1);
}

TEST_F(MtxFormat, UncompressedFilesOddAndImpossibleHeaders)
{
    const std::string sPath = dir.file("odd.mtx");
    // Plain bytes load like compressed ones; 64 info bytes without a
    // terminator give a 64-character text.
    writeBytes(sPath, mtxBytes(1, 2, 1, 1, 8, {7, 9}, std::string(64, 'x').c_str()));
    CImage<unsigned char> image = loaded<unsigned char>(sPath, FORMAT_MTX);
    EXPECT_EQ(image.getPixel(1, 0, 0), 9);
    EXPECT_EQ(std::string(image.getChannelInfo(0)), std::string(64, 'x'));
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
        if (c > 0) {
            EXPECT_EQ(image.getChannelPtr(0)->pixelCount(), 0);
        }
    }
    // Which sizes are too large is ImageBudget's to test; here that the
    // reader refuses before it multiplies the header's ints: a plane of 2^32
    // samples, a negative width, 2^31 channels.
    CImage<float> untouched(2, 2, 1);
    for (const auto& [w, h, c] : std::vector<std::array<int, 3>>{
             {65536, 65536, 1}, {-70000, 70000, 1}, {1, 1, 2000000000}}) {
        writeBytes(sPath, mtxHeader(1, w, h, c, 8));
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
    for (TDataFormat f : {FORMAT_TIFF, FORMAT_LAN, TDataFormat(5), TDataFormat(-1)}) {
        EXPECT_EQ(save(image, dir.file("x.mtx"), f).said(), "1: ");
        EXPECT_FALSE(fileExists(dir.file("x.mtx")));
    }
    writeBytes(dir.file("y.mtx"), mtxBytes(1, 1, 1, 1, 8, {9}));
    for (TDataFormat f : {TDataFormat(5), TDataFormat(-1)})
        EXPECT_EQ(load(image, dir.file("y.mtx"), f).said(), "1: ");
    EXPECT_EQ(image.width(), 2);
    // The extension is the text after the last dot.
    const std::string sPath = dir.file("a.b.mtx");
    EXPECT_EQ(save(image, sPath).said(), "1: Format: mtx\n");
    EXPECT_EQ(gunzip(sPath).size(), 20u + 64 + 4);
    // No dot at all: an empty extension, which is not one of ours.
    CImage<unsigned char> loaded(1, 1, 1);
    const Outcome run = load(loaded, dir.file("nodot"));
    EXPECT_EQ(run.iResult, 0);
    EXPECT_EQ(run.sOut.rfind("Format: \n", 0), 0u) << run.sOut;
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

TEST_F(MtxFormat, FilesCutAnywhereLoadAsTheFormatPromises)
{
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
            SCOPED_TRACE(nCut);
            writeBytes(sPath, Bytes(whole.begin(), whole.begin() + long(nCut)));
            expectSameImage(loaded<unsigned short>(sPath, FORMAT_MTX),
                            referenceLoad<unsigned short, unsigned short>(sPath));
        }
    }
}
