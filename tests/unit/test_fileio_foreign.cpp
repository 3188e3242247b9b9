// Files read and written through GraphicsMagick (the listings, the layouts
// chosen by TImageType, round trips, failures) and TIFF files read through
// libtiff (pages as channels, descriptions as channel infos, the refusals).
#include <cmath>
#include <csignal>
#include <list>
#include <random>
#include <tuple>

#include <Magick++.h>
#include <hwy/targets.h>
#include <tiffio.h>

#include "FastVsReference.h"
#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "TestImages.h"
#include "fileio/MagickPixels.h"
#include "fileio/MagickSession.h"

using namespace testfiles;

namespace {

std::string listing(const std::string& sPath, int w, int h, const char* pcType, int nColours)
{
    return " Image: " + sPath + " found.\n Width : " + std::to_string(w) +
           "\n Height: " + std::to_string(h) + "\n Depth : 8\n Images: 1\n" + pcType +
           "\n Colors: " + std::to_string(nColours) + "\n Label : \n";
}

const std::string kPngHeader = "Format: png\nWriting other\nSelected format: Portable Network "
                               "Graphics (PNG)\nReadable = true\nWritable = true\n";

template <class> using MagickRoundTrip = FileTest;
TYPED_TEST_SUITE(MagickRoundTrip, PixelTypes);
using MagickWriting = FileTest;
using MagickFailures = FileTest;
using MagickReading = FileTest;
using MagickPixels = FileTest;
template <class> using TiffReading = FileTest;
TYPED_TEST_SUITE(TiffReading, PixelTypes);
using TiffReadingRefusals = FileTest;

// A picture of 16-bit components, `map` as GraphicsMagick's import names
// them; `valueAt(i)` gives component i.
template <class F> Magick::Image shortPicture(int w, int h, const char* pcMap, F valueAt)
{
    std::vector<unsigned short> data(std::size_t(w) * h * std::strlen(pcMap));
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<unsigned short>(valueAt(i));
    return Magick::Image(unsigned(w), unsigned(h), pcMap, Magick::ShortPixel, data.data());
}

struct Page
{
    int iWidth;
    int iHeight;
    const char* pcDescription; // nullptr: no description tag
    int nBits = 8;
    int nSamples = 1;
    int iCompression = COMPRESSION_NONE;
    int nRowsPerStrip = 2; // several strips, the last one short for odd heights
};

void writeTiff(const std::string& sPath, const std::vector<Page>& pages)
{
    TIFF* pTiff = TIFFOpen(sPath.c_str(), "w");
    ASSERT_NE(pTiff, nullptr);
    for (std::size_t d = 0; d < pages.size(); ++d) {
        const Page& page = pages[d];
        TIFFSetField(pTiff, TIFFTAG_IMAGEWIDTH, page.iWidth);
        TIFFSetField(pTiff, TIFFTAG_IMAGELENGTH, page.iHeight);
        TIFFSetField(pTiff, TIFFTAG_BITSPERSAMPLE, page.nBits);
        TIFFSetField(pTiff, TIFFTAG_SAMPLESPERPIXEL, page.nSamples);
        TIFFSetField(pTiff, TIFFTAG_PHOTOMETRIC,
                     page.nSamples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(pTiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(pTiff, TIFFTAG_COMPRESSION, page.iCompression);
        TIFFSetField(pTiff, TIFFTAG_ROWSPERSTRIP, page.nRowsPerStrip);
        if (page.pcDescription)
            TIFFSetField(pTiff, TIFFTAG_IMAGEDESCRIPTION, page.pcDescription);
        const int nRowBytes = page.iWidth * page.nSamples * page.nBits / 8;
        std::vector<unsigned char> row(static_cast<std::size_t>(nRowBytes));
        for (int r = 0; r < page.iHeight; ++r) {
            for (int i = 0; i < nRowBytes; ++i) // distinct in every page, row and column
                row[std::size_t(i)] = static_cast<unsigned char>(50 * d + 10 * r + i + 1);
            ASSERT_EQ(TIFFWriteScanline(pTiff, row.data(), uint32_t(r), 0), 1);
        }
        ASSERT_EQ(TIFFWriteDirectory(pTiff), 1);
    }
    TIFFClose(pTiff);
}

} // namespace

TEST(MagickSession, LeavesTheHostsSignalHandlersAlone)
{
    struct sigaction before[2], after[2];
    const int aiSignals[2] = {SIGINT, SIGTERM};
    for (int i = 0; i < 2; ++i)
        sigaction(aiSignals[i], nullptr, &before[i]);
    ASSERT_TRUE(tirn::ensureMagickInitialised());
    ASSERT_TRUE(tirn::ensureMagickInitialised()); // once only, then just ready
    for (int i = 0; i < 2; ++i) {
        sigaction(aiSignals[i], nullptr, &after[i]);
        EXPECT_EQ(before[i].sa_handler, after[i].sa_handler) << aiSignals[i];
    }
}

TYPED_TEST(MagickRoundTrip, GreyPngAndRgbPpmComeBackUnchangedWithTheirListings)
{
    using T = TypeParam;
    const std::string sGrey = this->file("grey.png"), sRgb = this->file("colour.ppm");
    const CImage<T> grey = numbered<T>(7, 5, 1), rgb = numbered<T>(6, 4, 3);
    CImage<T> image = grey;
    Outcome run = save(image, sGrey);
    EXPECT_EQ(run.said(), "1: " + kPngHeader);
    EXPECT_NE(run.sErr.find("save OTHER, (1 channel or 3 channel single image), MaxRGB:255\n"
                            "depth==8, width:7\n"),
              std::string::npos)
        << run.sErr;
    EXPECT_EQ(run.sErr.rfind("CImage: CImageFileIO.cpp:", 0), 0u) << run.sErr;
    image = rgb;
    run = save(image, sRgb);
    ASSERT_EQ(run.iResult, 1) << run.sOut;
    EXPECT_EQ(run.sErr, ""); // the debug lines belong to grey pictures only
    EXPECT_EQ(load(image, sGrey).said(),
              "1: Format: png\n" + listing(sGrey, 7, 5, " Type  : Grayscale", 35));
    expectSameImage(image, grey);
    EXPECT_EQ(load(image, sRgb).said(),
              "1: Format: ppm\n" + listing(sRgb, 6, 4, " Type  : Truecolor", 24));
    expectSameImage(image, rgb);
}

TEST_F(MagickWriting, DeepValuesAreScaledFromMinimumAndMaximum)
{
    const std::string sPath = file("deep.pgm");
    CImage<unsigned short> image =
        pixels<unsigned short>(3, 2, 1, {1000, 1255, 1510, 2020, 1100, 1000 + 2 * 255});
    const Outcome run = save(image, sPath);
    ASSERT_EQ(run.iResult, 1) << run.sOut;
    EXPECT_NE(run.sErr.find("depth>8, width:3\n"), std::string::npos) << run.sErr;
    // (v - 1000) * 255 / 1020, quantised to 8 bits by rounding.
    expectSameImage(loaded<unsigned char>(sPath),
                    pixels<unsigned char>(3, 2, 1, {0, 64, 128, 255, 25, 128}));
    // Big enough for the writer's lookup table of all 16-bit values: the
    // same file as float data gives, whose values are scaled one by one.
    CImage<unsigned short> big = numbered<unsigned short>(131, 127, 1, 0, 70, 1000);
    CImage<float> bigFloat = numbered<float>(131, 127, 1, 0, 70, 1000);
    ASSERT_EQ(save(big, sPath).iResult, 1);
    ASSERT_EQ(save(bigFloat, file("float.pgm")).iResult, 1);
    EXPECT_EQ(readBytes(sPath), readBytes(file("float.pgm")));
}

TEST_F(MagickWriting, LayoutsDecideWhichFilesAndFramesAreWritten)
{
    // GIF holds at most 256 colours per frame: 20 pixels are few enough.
    CImage<unsigned char> six = randomTestImage<unsigned char>(5, 4, 6, 1);
    ASSERT_EQ(save(six, file("six.gif"), FORMAT_DEFAULT, IMAGE_RGB_STACK).iResult, 1);
    CImage<unsigned char> image(1, 1, 1);
    Outcome run = load(image, file("six.gif"));
    ASSERT_EQ(run.iResult, 1) << run.sOut;
    EXPECT_NE(run.sOut.find(" Images: 2\n Type  : Index color\n"), std::string::npos) << run.sOut;
    expectSameImage(image, six);
    // The channel count test passes four (the fourth channel gets no frame)
    // and fails five.
    CImage<unsigned char> four = numbered<unsigned char>(4, 3, 4, 40);
    run = save(four, file("four.miff"), FORMAT_DEFAULT, IMAGE_RGB_STACK);
    ASSERT_EQ(run.iResult, 1) << run.sOut;
    EXPECT_EQ(run.sOut.substr(run.sOut.size() - 15), " Writing file.\n") << run.sOut;
    four.removeChannel(3);
    expectSameImage(loaded<unsigned char>(file("four.miff")), four);
    CImage<unsigned char> five = numbered<unsigned char>(4, 3, 5, 40);
    run = save(five, file("five.miff"), FORMAT_DEFAULT, IMAGE_RGB_STACK);
    EXPECT_EQ(run.iResult, 0);
    EXPECT_EQ(run.sOut.substr(run.sOut.find("Writable")),
              "Writable = true\nImage must have n*3 channels!\n");
    EXPECT_FALSE(std::filesystem::exists(file("five.miff")));
    // A frame per channel, infos as comments, divided by 254.
    CImage<unsigned char> stack =
        pixels<unsigned char>(4, 2, 3, {0, 100, 254, 255, 0, 0,   0,   0,   0, 100, 254, 255,
                                        1, 1,   1,   1,   0, 100, 254, 255, 2, 2,   2,   2});
    stack.setChannelInfo("red light", 0);
    stack.setChannelInfo("", 1);
    run = save(stack, file("stack.tif"), FORMAT_DEFAULT, IMAGE_CHANNEL_STACK);
    ASSERT_EQ(run.iResult, 1) << run.sOut;
    EXPECT_EQ(run.sOut.substr(run.sOut.find("Writable")),
              "Writable = true\nBuilding image stack. Object 0\nBuilding image stack. Object 1\n"
              "Building image stack. Object 2\n Writing file.\n");
    // Grey 8-bit pages: libtiff reads them back, comments as descriptions;
    // v * 255 / 254 rounded, 255 clamped to white.
    CImage<unsigned char> expected(stack);
    expected.setChannelInfo("No info", 1); // an empty info is no description
    for (int c = 0; c < 3; ++c)
        expected.setPixel(2, 0, c, 255);
    expectSameImage(loaded<unsigned char>(file("stack.tif"), FORMAT_TIFF), expected);
    // A single picture takes one or three channels; other counts give one
    // grey file per channel, and an unknown layout (7) only what one picture
    // holds.
    EXPECT_EQ(save(five, file("five.png")).said(), "1: " + kPngHeader);
    EXPECT_FALSE(std::filesystem::exists(file("five.png")));
    for (int c = 0; c < 5; ++c)
        expectSameImage(loaded<unsigned char>(file("five_C" + std::to_string(c) + ".png")),
                        five.extractChannel(c));
    EXPECT_FALSE(std::filesystem::exists(file("five_C5.png")));
    for (int nChannels : {1, 2, 3}) { // three channels only with type 0
        CImage<unsigned char> picture = numbered<unsigned char>(3, 3, nChannels);
        const std::string sName = file(std::to_string(nChannels));
        EXPECT_EQ(save(picture, sName + ".png", FORMAT_DEFAULT, TImageType(7)).said(),
                  "1: " + kPngHeader);
        EXPECT_EQ(std::filesystem::exists(sName + ".png"), nChannels == 1);
        EXPECT_FALSE(std::filesystem::exists(sName + "_C0.png"));
    }
}

// A missing file, one cut inside its header, and a fuzz finding: libpng
// allocated the 128 MB that a chunk of a 97-byte file declared, outside
// GraphicsMagick's limits.
TEST_F(MagickFailures, UnreadableFilesLeaveTheImageAloneUnwritableOnesAreNotWritten)
{
    const Bytes chunk = {0x89, 'P',  'N',  'G',  '\r', '\n', 0x1a, '\n', 0,    0,    0,
                         13,   'I',  'H',  'D',  'R',  0,    0,    0,    3,    0,    0,
                         0,    2,    8,    0,    0,    0,    0,    0xb8, 0x1f, 0x39, 0xc6,
                         0x08, 0x00, 0x00, 0x0c, 't',  'E',  'X',  't',  'C',  'o'};
    const struct
    {
        const char* pcName;
        Bytes file;
        const char* pcReason; // nullptr: GraphicsMagick's own
    } cases[] = {
        {"missing.png", {}, nullptr},
        {"cut.png", Bytes(chunk.begin(), chunk.begin() + 14), nullptr},
        {"chunk.png", chunk,
         "PNG chunk of 134217740 bytes: more than TIRNVISION_MAX_IMAGE_BYTES\n"},
    };
    ScopedImageBudget budget(64 << 20);
    // One set pixel, for the loads that must leave the image alone.
    const CImage<unsigned char> sentinel = pixels<unsigned char>(2, 2, 1, {0, 0, 0, 7});
    for (const auto& c : cases) {
        const std::string sPath = file(c.pcName);
        if (!c.file.empty())
            writeBytes(sPath, c.file);
        CImage<unsigned char> image = sentinel;
        const Outcome run = load(image, sPath);
        const std::string sFirst = "0: Format: png\nCan't open image " + sPath + "\n";
        if (c.pcReason)
            EXPECT_EQ(run.said(), sFirst + c.pcReason);
        else
            EXPECT_GT(run.said().size(), sFirst.size());
        EXPECT_EQ(run.said().rfind(sFirst, 0), 0u) << run.sOut;
        expectSameImage(image, sentinel);
    }
    // Unknown coders, unwritable paths and empty images write nothing.
    for (const auto& [pcName, iWidth, sStart] :
         std::vector<std::tuple<const char*, int, std::string>>{
             {"x.nosuchcoder", 3,
              "Format: nosuchcoder\nWriting other\n Cannot create MagickImage\n"},
             {"absent/x.png", 3, kPngHeader + " Cannot write to file\n"},
             {"empty.png", 0, kPngHeader + " Cannot create MagickImage\n"}}) {
        CImage<unsigned char> image = numbered<unsigned char>(iWidth, 2, 1);
        const Outcome run = save(image, file(pcName));
        EXPECT_EQ(run.said().rfind("0: " + sStart, 0), 0u) << run.sOut;
        EXPECT_FALSE(std::filesystem::exists(file(pcName)));
    }
}

TEST_F(MagickReading, UnconvertedTypesTheAskMagickExtensionAndFramesOfAnotherSize)
{
    tirn::ensureMagickInitialised();
    // A colour picture with opacity is not converted.
    const float afPixels[8] = {1, 0, 0, 0.5f, 0, 1, 0, 1};
    Magick::Image(2, 1, "RGBA", Magick::FloatPixel, afPixels).write(file("alpha.png"));
    CImage<unsigned char> image(1, 1, 1);
    Outcome run = load(image, file("alpha.png"));
    EXPECT_EQ(run.iResult, 1);
    EXPECT_EQ(run.sOut.substr(run.sOut.find(" Type")), " Type  : Truecolor with opacity\n"
                                                       " Colors: 2\n Label : \n"
                                                       "CImageFileIO: Unknown type 7\n");
    expectSameImage(image, CImage<unsigned char>(1, 1, 1));
    // "name.[*]" reads "name." and lets GraphicsMagick find the format.
    CImage<unsigned char> grey = numbered<unsigned char>(4, 4, 1);
    ASSERT_EQ(save(grey, file("g.png")).iResult, 1);
    writeBytes(file("g."), readBytes(file("g.png")));
    const std::string sSaid = load(image, file("g.[*]")).said();
    EXPECT_EQ(sSaid.rfind("1: Format: [*]\n Image: " + file("g.") + " found.\n", 0), 0u) << sSaid;
    expectSameImage(image, grey);
    // Frames of another size than the first are left out.
    const std::string sPath = file("sizes.miff");
    std::list<Magick::Image> frames;
    for (const auto& [w, h, values] : std::vector<std::tuple<int, int, Bytes>>{
             {2, 2, {200, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110}},
             {3, 1, {1, 2, 3, 4, 5, 6, 7, 8, 9}},
             {2, 2, {9, 8, 7, 6, 5, 4, 3, 2, 1, 250, 240, 230}}})
        frames.emplace_back(w, h, "RGB", Magick::CharPixel, values.data());
    Magick::writeImages(frames.begin(), frames.end(), sPath);
    CImage<unsigned short> image16(1, 1, 1);
    run = load(image16, sPath);
    ASSERT_EQ(run.iResult, 1) << run.sOut;
    EXPECT_EQ(run.sOut.substr(run.sOut.find(" Images:")),
              " Images: 3\n Type  : Truecolor\n Colors: 4\n Label : \n"
              "CImageFileIO: frame 1 is 3 x 1, not 2 x 2; left out\n");
    // Rows upside down: the file's first row is the image's last.
    expectSameImage(image16, pixels<unsigned short>(2, 2, 6, {60, 90,  200, 30, 70, 100, 10, 40,
                                                              80, 110, 20,  50, 3,  250, 9,  6,
                                                              2,  240, 8,   5,  1,  230, 7,  4}));
}

// Every quantum scales as the float export and rintf give it. The row loop
// that the reader runs gives those bytes on every SIMD target, from a start
// that leaves a scalar tail behind the vectors; it calls a row exact when
// every red, green and blue quantum is an 8-bit value's: one other quantum
// anywhere (a vector's lane or the tail) makes it inexact, opacity never.
TEST_F(MagickPixels, RowsAndColourCountsAgreeWithGraphicsMagick)
{
    ASSERT_TRUE(tirn::ensureMagickInitialised());
    constexpr unsigned nQuanta = unsigned(MaxRGB) + 1;
    const Magick::Image ramp = shortPicture(int(nQuanta), 1, "I", [](std::size_t i) {
        return i * (65535 / MaxRGB); // exact at every quantum depth up to 16
    });
    std::vector<float> afExported(std::size_t(nQuanta) * 3);
    Magick::Image(ramp).write(0, 0, nQuanta, 1, "RGB", Magick::FloatPixel, afExported.data());
    const Magick::PixelPacket* p = tirn::pixelRow(ramp, 0);
    const tirn::QuantumToByte toByte;
    for (unsigned q = 0; q < nQuanta; ++q)
        ASSERT_EQ(float(toByte(Magick::Quantum(q))), std::rint(255.0f * afExported[3 * q])) << q;
    std::vector<unsigned char> bytes(3 * std::size_t(nQuanta));
    constexpr int nWidth = 37;
    const auto exact = [&](const Magick::Image& row) {
        return tirn::rowToBytes(tirn::pixelRow(row, 0), nWidth, bytes.data(), bytes.data() + nWidth,
                                bytes.data() + 2 * nWidth);
    };
    const auto eightBit = [](std::size_t i) { return (i * 37 % 256) * (65535 / 255); };
    for (std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        for (unsigned uStart : {0u, 3u}) {
            std::fill(bytes.begin(), bytes.end(), 0);
            const std::size_t n = nQuanta - uStart;
            unsigned char* pRed = bytes.data();
            EXPECT_FALSE(tirn::rowToBytes(p + uStart, n, pRed, pRed + n, pRed + 2 * n));
            std::vector<unsigned char> want(bytes.size(), 0);
            for (std::size_t i = 0; i < n; ++i)
                want[i] = want[n + i] = want[2 * n + i] = toByte(Magick::Quantum(uStart + i));
            ASSERT_EQ(bytes, want) << "from " << uStart;
        }
        EXPECT_TRUE(exact(shortPicture(nWidth, 1, "RGBA", [&](std::size_t i) {
            return i % 4 == 3 ? 1 : eightBit(i); // opacity is not looked at
        })));
        for (std::size_t iOdd = 0; iOdd < 3 * nWidth; ++iOdd)
            ASSERT_FALSE(exact(shortPicture(nWidth, 1, "RGB", [&](std::size_t i) {
                return i == iOdd ? eightBit(i) ^ 1 : eightBit(i);
            }))) << iOdd;
    }
    hwy::SetSupportedTargetsForTest(0);
    // Colours count as GraphicsMagick counts them.
    std::mt19937 rng(7);
    auto noise = [&rng](unsigned nMask, unsigned nMul) {
        return [&rng, nMask, nMul](std::size_t) { return (rng() & nMask) * nMul; };
    };
    std::vector<std::pair<const char*, Magick::Image>> pictures;
    pictures.emplace_back("8-bit noise", shortPicture(257, 131, "RGB", noise(255, 257)));
    pictures.emplace_back("8-bit noise, few values", shortPicture(31, 17, "RGB", noise(3, 257)));
    pictures.emplace_back("16-bit noise", shortPicture(129, 65, "RGB", noise(65535, 1)));
    pictures.emplace_back("16-bit, few values", shortPicture(64, 9, "RGB", noise(7, 1)));
    pictures.emplace_back("1x1", shortPicture(1, 1, "RGB", [](std::size_t) { return 4242; }));
    pictures.emplace_back("flat", shortPicture(33, 7, "RGB", [](std::size_t) { return 257; }));
    // 8-bit quanta up to the last pixel, whose one odd quantum forces the
    // count over from the bitset to sorting.
    pictures.emplace_back("8-bit but the last", shortPicture(13, 5, "RGB", [](std::size_t i) {
                              return i == 13 * 5 * 3 - 1 ? 1 : (i % 5) * 257;
                          }));
    pictures.emplace_back("grey 16-bit", shortPicture(40, 40, "I", noise(1023, 3)));
    // Colours that differ in opacity alone count once.
    pictures.emplace_back("8-bit with opacity", shortPicture(50, 21, "RGBA", noise(3, 257)));
    pictures.emplace_back("16-bit with opacity", shortPicture(50, 21, "RGBA", noise(63, 1)));
    pictures.emplace_back("CMYK", shortPicture(20, 20, "CMYK", noise(3, 257)));
    const auto reread = [&](Magick::Image picture, const std::string& sName) {
        picture.write(file(sName));
        return Magick::Image(file(sName));
    };
    // A palette picture as a PNG holds it: read back, indexed.
    Magick::Image palette = shortPicture(45, 30, "RGB", noise(1, 65535));
    palette.type(Magick::PaletteType);
    pictures.emplace_back("palette PNG", reread(palette, "palette.png"));
    pictures.emplace_back("JPEG",
                          reread(shortPicture(99, 37, "RGB", noise(255, 257)), "noise.jpg"));
    for (auto& [pcName, picture] : pictures)
        EXPECT_EQ(tirn::countColours(picture), picture.totalColors()) << pcName;
}

TYPED_TEST(TiffReading, PagesBecomeChannelsTurnedUpsideDown)
{
    using T = TypeParam;
    const std::string sPath = this->file("pages.tif");
    writeTiff(sPath, {{4, 3, "first page"}, {4, 3, nullptr}, {4, 3, std::string(80, 'L').c_str()}});
    CImage<T> image(1, 1, 1);
    EXPECT_EQ(load(image, sPath, FORMAT_TIFF).said(), "1: "); // this reader prints nothing
    // What the reader makes of writeTiff's pages: the first row stored last.
    CImage<T> expected = numbered<T>(4, 3, 3, 50, -10, 21);
    expected.setChannelInfo("first page", 0);
    expected.setChannelInfo(std::string(64, 'L').c_str(), 2);
    expectSameImage(image, expected);
    writeTiff(sPath, {{5, 7, nullptr, 8, 1, COMPRESSION_ADOBE_DEFLATE, 3}});
    expectSameImage(loaded<T>(sPath, FORMAT_TIFF), numbered<T>(5, 7, 1, 50, -10, 61));
    writeTiff(sPath, {{5, 1, nullptr}});
    expectSameImage(loaded<T>(sPath, FORMAT_TIFF), numbered<T>(5, 1, 1, 50, -10, 1));
}

TEST_F(TiffReadingRefusals, RefusedFilesLeaveTheImageAloneUnlessReadByExtension)
{
    // Regression: once GraphicsMagick is initialised its process-wide
    // libtiff handlers abort on diagnostics from reads outside it.
    tirn::ensureMagickInitialised();
    const std::string sPath = file("refused.tif");
    const CImage<unsigned short> sentinel = pixels<unsigned short>(2, 2, 1, {0, 0, 0, 7});
    const std::string sGreyOnly = " samples per pixel; only 8-bit grey TIFFs are read this way\n";
    const struct
    {
        std::vector<Page> pages;
        std::string sMessage; // after "CImageFileIO: <path>, page "
        bool bSpoiled = false;
    } cases[] = {
        {{{4, 3, nullptr, 8}, {4, 3, "deep", 16}}, "1: 16 bits and 1" + sGreyOnly},
        {{{4, 3, nullptr, 8, 3}}, "0: 8 bits and 3" + sGreyOnly},
        {{{4, 3, nullptr}, {5, 3, nullptr}, {6, 2, nullptr}}, "0: 4 x 3 differs from 6 x 2\n"},
        {{{64, 64, "cut", 8, 1, COMPRESSION_ADOBE_DEFLATE, 64}},
         "0: the image data cannot be decoded\n",
         true},
    };
    for (const auto& c : cases) {
        writeTiff(sPath, c.pages);
        if (c.bSpoiled) { // strips spoiled behind an intact directory (libtiff puts it last)
            Bytes b = readBytes(sPath);
            std::fill(b.begin() + 8, b.begin() + 24, 0xA5);
            writeBytes(sPath, b);
        }
        CImage<unsigned short> image = sentinel;
        EXPECT_EQ(load(image, sPath, FORMAT_TIFF).said(),
                  "0: CImageFileIO: " + sPath + ", page " + c.sMessage);
        expectSameImage(image, sentinel);
    }
    // Files that cannot be opened fail without a message of ours.
    writeBytes(sPath, {'I', 'I', 42, 0, 0xff, 0xff, 0xff, 0x7f, 1, 2, 3});
    for (const std::string& sFile : {file("none.tif"), sPath}) {
        CImage<unsigned short> image = sentinel;
        EXPECT_EQ(load(image, sFile, FORMAT_TIFF).said(), "0: ");
        expectSameImage(image, sentinel);
    }
    // FORMAT_TIFF is the only way into this reader: by extension a .tif goes
    // to GraphicsMagick, which also reads what libtiff is refused here.
    writeTiff(sPath, {{3, 2, nullptr, 16}});
    CImage<unsigned short> image(1, 1, 1);
    const std::string sSaid = load(image, sPath).said();
    EXPECT_EQ(sSaid.rfind("1: Format: tif\n Image: " + sPath + " found.\n", 0), 0u) << sSaid;
    EXPECT_EQ(image.width(), 3);
    EXPECT_EQ(image.height(), 2);
}
