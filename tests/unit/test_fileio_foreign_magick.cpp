// Files read and written through GraphicsMagick: the listings, the layouts
// chosen by TImageType, round trips and the failures.
#include <cmath>
#include <csignal>
#include <cstring>
#include <list>
#include <random>
#include <set>
#include <string>

#include <Magick++.h>
#include <hwy/targets.h>

#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "fileio/CImageFileIO.h"
#include "fileio/MagickPixels.h"
#include "fileio/MagickSession.h"

using namespace testfiles;

namespace {

struct Captured
{
    int iResult;
    std::string sOut;
    std::string sErr;
};

template <class T> Captured load(CImage<T>& image, const std::string& sPath,
                                 TDataFormat format = FORMAT_DEFAULT)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int iResult = CImageFileIO<T>().load(image, sPath.c_str(), format);
    const std::string sErr = testing::internal::GetCapturedStderr();
    return {iResult, testing::internal::GetCapturedStdout(), sErr};
}

template <class T> Captured save(CImage<T>& image, const std::string& sPath, int iType)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int iResult = CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_DEFAULT,
                                               static_cast<TImageType>(iType));
    const std::string sErr = testing::internal::GetCapturedStderr();
    return {iResult, testing::internal::GetCapturedStdout(), sErr};
}

// Distinct colours everywhere (no grey pixel), values spread over 0..255.
template <class T> CImage<T> colourful(int w, int h, int c)
{
    CImage<T> image(w, h, c);
    for (int ch = 0; ch < c; ++ch)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.setPixel(x, y, ch, T((37 * x + 91 * y + 53 * ch + 11 * x * y) % 256));
    return image;
}

template <class T> CImage<T> greyRamp(int w, int h)
{
    CImage<T> image(w, h, 1);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixel(x, y, 0, T((17 * x + 61 * y) % 256));
    return image;
}

template <class A, class B>
void expectSameChannel(const CImage<A>& a, int ca, const CImage<B>& b, int cb)
{
    ASSERT_EQ(a.width(), b.width());
    ASSERT_EQ(a.height(), b.height());
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            ASSERT_EQ(double(a.getPixel(x, y, ca)), double(b.getPixel(x, y, cb)))
                << "x " << x << " y " << y << " channels " << ca << "/" << cb;
}

template <class T> int distinctColours(const CImage<T>& image)
{
    std::set<std::vector<double>> colours;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            std::vector<double> v;
            for (int c = 0; c < image.channels(); ++c)
                v.push_back(double(image.getPixel(x, y, c)));
            colours.insert(v);
        }
    return int(colours.size());
}

std::string listing(const std::string& sPath, int w, int h, int nFrames, const char* pcType,
                    int nColours)
{
    return " Image: " + sPath + " found.\n Width : " + std::to_string(w) +
           "\n Height: " + std::to_string(h) + "\n Depth : 8\n Images: " +
           std::to_string(nFrames) + "\n" + pcType + "\n Colors: " + std::to_string(nColours) +
           "\n Label : \n";
}

const char* const kPngHeader =
    "Writing other\nSelected format: Portable Network Graphics (PNG)\nReadable = true\n"
    "Writable = true\n";

template <class T> class MagickRoundTrip : public ::testing::Test
{
};
TYPED_TEST_SUITE(MagickRoundTrip, PixelTypes);

} // namespace

// ------------------------------------------------------- round trips

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

TYPED_TEST(MagickRoundTrip, GreyPngComesBackUnchangedWithItsListing)
{
    using T = TypeParam;
    TempDir dir;
    const std::string sPath = dir.file("grey.png");
    CImage<T> image = greyRamp<T>(7, 5);
    const Captured saved = save(image, sPath, IMAGE_SINGLE);
    ASSERT_EQ(saved.iResult, 1) << saved.sOut;
    EXPECT_EQ(saved.sOut, std::string("Format: png\n") + kPngHeader);
    EXPECT_NE(saved.sErr.find("save OTHER, (1 channel or 3 channel single image), MaxRGB:255\n"
                              "depth==8, width:7\n"),
              std::string::npos)
        << saved.sErr;
    EXPECT_EQ(saved.sErr.rfind("CImage: CImageFileIO.cpp:", 0), 0u) << saved.sErr;

    CImage<T> loaded(1, 1, 1);
    const Captured read = load(loaded, sPath);
    ASSERT_EQ(read.iResult, 1) << read.sOut;
    EXPECT_EQ(read.sOut, "Format: png\n" + listing(sPath, 7, 5, 1, " Type  : Grayscale",
                                                    distinctColours(image)));
    ASSERT_EQ(loaded.channels(), 1);
    expectSameChannel(image, 0, loaded, 0);
}

TYPED_TEST(MagickRoundTrip, RgbPpmComesBackUnchanged)
{
    using T = TypeParam;
    TempDir dir;
    const std::string sPath = dir.file("colour.ppm");
    CImage<T> image = colourful<T>(6, 4, 3);
    const Captured saved = save(image, sPath, IMAGE_SINGLE);
    ASSERT_EQ(saved.iResult, 1) << saved.sOut;
    EXPECT_EQ(saved.sErr, ""); // the debug lines belong to grey pictures only

    CImage<T> loaded(1, 1, 1);
    const Captured read = load(loaded, sPath);
    ASSERT_EQ(read.iResult, 1) << read.sOut;
    EXPECT_EQ(read.sOut, "Format: ppm\n" + listing(sPath, 6, 4, 1, " Type  : Truecolor",
                                                    distinctColours(image)));
    ASSERT_EQ(loaded.channels(), 3);
    for (int c = 0; c < 3; ++c)
        expectSameChannel(image, c, loaded, c);
}

TEST(MagickWriting, DeepValuesAreScaledFromMinimumAndMaximum)
{
    TempDir dir;
    const std::string sPath = dir.file("deep.pgm");
    CImage<unsigned short> image(3, 2, 1);
    const unsigned short values[6] = {1000, 1255, 1510, 2020, 1100, 1000 + 2 * 255};
    for (int i = 0; i < 6; ++i)
        image.setPixel(i % 3, i / 3, 0, values[i]);
    const Captured saved = save(image, sPath, IMAGE_SINGLE);
    ASSERT_EQ(saved.iResult, 1) << saved.sOut;
    EXPECT_NE(saved.sErr.find("depth>8, width:3\n"), std::string::npos) << saved.sErr;

    CImage<unsigned char> loaded(1, 1, 1);
    ASSERT_EQ(load(loaded, sPath).iResult, 1);
    // (v - 1000) * 255 / 1020, quantised to 8 bits by rounding.
    const unsigned char expected[6] = {0, 64, 128, 255, 25, 128};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(loaded.getPixel(i % 3, i / 3, 0), expected[i]) << i;

    // Float data within 0..255 is written as it is, fractions rounded.
    CImage<float> fine(2, 1, 1);
    fine.setPixel(0, 0, 0, 100.4f);
    fine.setPixel(1, 0, 0, 254.6f);
    ASSERT_EQ(save(fine, sPath, IMAGE_SINGLE).iResult, 1);
    ASSERT_EQ(load(loaded, sPath).iResult, 1);
    EXPECT_EQ(loaded.getPixel(0, 0, 0), 100);
    EXPECT_EQ(loaded.getPixel(1, 0, 0), 255);

    // Big enough for the writer's lookup table of all 16-bit values: every
    // pixel still as the formula gives it, rows turned upside down twice.
    CImage<unsigned short> big(131, 127, 1);
    for (int y = 0; y < 127; ++y)
        for (int x = 0; x < 131; ++x)
            big.setPixel(x, y, 0, static_cast<unsigned short>(1000 + (x * 127 + y * 3) % 9001));
    ASSERT_EQ(save(big, sPath, IMAGE_SINGLE).iResult, 1);
    ASSERT_EQ(load(loaded, sPath).iResult, 1);
    for (int y = 0; y < 127; ++y)
        for (int x = 0; x < 131; ++x)
            ASSERT_EQ(loaded.getPixel(x, y, 0),
                      std::rint((big.getPixel(x, y, 0) - 1000) * 255.0 / 9000 / 255.0 * 255.0))
                << x << " " << y;
}

// ------------------------------------------------------- layouts

TEST(MagickWriting, OtherChannelCountsGiveOneGreyFilePerChannel)
{
    TempDir dir;
    const std::string sPath = dir.file("five.png");
    CImage<unsigned char> image = colourful<unsigned char>(5, 3, 5);
    const Captured saved = save(image, sPath, IMAGE_SINGLE);
    ASSERT_EQ(saved.iResult, 1) << saved.sOut;
    EXPECT_EQ(saved.sOut, std::string("Format: png\n") + kPngHeader);
    EXPECT_FALSE(fileExists(sPath));
    for (int c = 0; c < 5; ++c) {
        const std::string sName = dir.file("five_C" + std::to_string(c) + ".png");
        ASSERT_TRUE(fileExists(sName)) << sName;
        CImage<unsigned char> loaded(1, 1, 1);
        ASSERT_EQ(load(loaded, sName).iResult, 1);
        ASSERT_EQ(loaded.channels(), 1);
        expectSameChannel(image, c, loaded, 0);
    }
    EXPECT_FALSE(fileExists(dir.file("five_C5.png")));
}

TEST(MagickWriting, RgbStackChannelCountTestPassesFourAndFailsFive)
{
    TempDir dir;
    const std::string sFour = dir.file("four.miff");
    CImage<unsigned char> four = colourful<unsigned char>(4, 3, 4);
    const Captured passed = save(four, sFour, IMAGE_RGB_STACK);
    ASSERT_EQ(passed.iResult, 1) << passed.sOut;
    EXPECT_EQ(passed.sOut.substr(passed.sOut.size() - 15), " Writing file.\n") << passed.sOut;
    CImage<unsigned char> loaded(1, 1, 1);
    ASSERT_EQ(load(loaded, sFour).iResult, 1);
    ASSERT_EQ(loaded.channels(), 3); // the fourth channel has no frame
    for (int c = 0; c < 3; ++c)
        expectSameChannel(four, c, loaded, c);

    const std::string sFive = dir.file("five.miff");
    CImage<unsigned char> five = colourful<unsigned char>(4, 3, 5);
    const Captured failed = save(five, sFive, IMAGE_RGB_STACK);
    EXPECT_EQ(failed.iResult, 0);
    EXPECT_EQ(failed.sOut.substr(failed.sOut.find("Writable")),
              "Writable = true\nImage must have n*3 channels!\n");
    EXPECT_FALSE(fileExists(sFive));
}

TEST(MagickWriting, RgbStackReadsBackFrameAfterFrame)
{
    TempDir dir;
    const std::string sPath = dir.file("stack.gif");
    CImage<unsigned char> image = colourful<unsigned char>(5, 4, 6);
    // GIF holds at most 256 colours per frame: 20 pixels are few enough.
    ASSERT_EQ(save(image, sPath, IMAGE_RGB_STACK).iResult, 1);
    CImage<float> loaded(1, 1, 1);
    const Captured read = load(loaded, sPath);
    ASSERT_EQ(read.iResult, 1) << read.sOut;
    EXPECT_NE(read.sOut.find(" Images: 2\n Type  : Index color\n"), std::string::npos)
        << read.sOut;
    ASSERT_EQ(loaded.channels(), 6);
    for (int c = 0; c < 6; ++c)
        expectSameChannel(image, c, loaded, c);
}

TEST(MagickWriting, ChannelStackFramesCarryInfosAndDivideBy254)
{
    TempDir dir;
    const std::string sPath = dir.file("stack.tif");
    CImage<unsigned char> image(4, 2, 3);
    const unsigned char values[4] = {0, 100, 254, 255};
    for (int c = 0; c < 3; ++c)
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 4; ++x)
                image.setPixel(x, y, c, y == 0 ? values[x] : static_cast<unsigned char>(c));
    image.setChannelInfo("red light", 0);
    image.setChannelInfo("", 1);
    const Captured saved = save(image, sPath, IMAGE_CHANNEL_STACK);
    ASSERT_EQ(saved.iResult, 1) << saved.sOut;
    EXPECT_EQ(saved.sOut.substr(saved.sOut.find("Writable")),
              "Writable = true\nBuilding image stack. Object 0\nBuilding image stack. Object 1\n"
              "Building image stack. Object 2\n Writing file.\n");

    // Grey 8-bit pages: libtiff reads them back, comments as descriptions.
    CImage<unsigned char> loaded(1, 1, 1);
    const Captured read = load(loaded, sPath, FORMAT_TIFF);
    ASSERT_EQ(read.iResult, 1) << read.sOut;
    ASSERT_EQ(loaded.channels(), 3);
    EXPECT_STREQ(loaded.getChannelInfo(0), "red light");
    EXPECT_STREQ(loaded.getChannelInfo(2), "No info");
    // v * 255 / 254 rounded, 255 clamped to white.
    const unsigned char expected[4] = {0, 100, 255, 255};
    for (int c = 0; c < 3; ++c) {
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(loaded.getPixel(x, 0, c), expected[x]) << x;
        EXPECT_EQ(loaded.getPixel(0, 1, c), c);
    }
}

TEST(MagickWriting, UnknownLayoutsWriteNothingUnlessASinglePictureFits)
{
    TempDir dir;
    CImage<unsigned char> two = colourful<unsigned char>(3, 3, 2);
    const Captured skipped = save(two, dir.file("two.png"), 7);
    EXPECT_EQ(skipped.iResult, 1);
    EXPECT_EQ(skipped.sOut, std::string("Format: png\n") + kPngHeader);
    EXPECT_FALSE(fileExists(dir.file("two.png")));
    EXPECT_FALSE(fileExists(dir.file("two_C0.png")));

    CImage<unsigned char> three = colourful<unsigned char>(3, 3, 3);
    EXPECT_EQ(save(three, dir.file("three.png"), 7).iResult, 1);
    EXPECT_FALSE(fileExists(dir.file("three.png"))); // 3 channels only with type 0

    CImage<unsigned char> one = greyRamp<unsigned char>(3, 3);
    EXPECT_EQ(save(one, dir.file("one.png"), 7).iResult, 1);
    EXPECT_TRUE(fileExists(dir.file("one.png")));
}

// ------------------------------------------------------- failures

TEST(MagickFailures, UnreadableAndCorruptFiles)
{
    TempDir dir;
    CImage<unsigned char> image(2, 2, 1);
    image.setPixel(1, 1, 0, 9);

    const std::string sMissing = dir.file("missing.png");
    Captured read = load(image, sMissing);
    EXPECT_EQ(read.iResult, 0);
    EXPECT_EQ(read.sOut.rfind("Format: png\nCan't open image " + sMissing + "\n", 0), 0u)
        << read.sOut;
    EXPECT_GT(read.sOut.size(), ("Format: png\nCan't open image " + sMissing + "\n").size());

    const std::string sCorrupt = dir.file("corrupt.png");
    writeBytes(sCorrupt, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0, 0, 13, 'I', 'H'});
    read = load(image, sCorrupt);
    EXPECT_EQ(read.iResult, 0);
    EXPECT_EQ(read.sOut.rfind("Format: png\nCan't open image " + sCorrupt + "\n", 0), 0u)
        << read.sOut;
    EXPECT_EQ(image.width(), 2);
    EXPECT_EQ(image.getPixel(1, 1, 0), 9);
}

// Fuzz finding: libpng allocated the 128 MB that a chunk of a 97-byte file
// declared, outside GraphicsMagick's limits.
TEST(MagickFailures, PngChunkLengthsAreHeldToTheBudget)
{
    TempDir dir;
    const std::string sPath = dir.file("chunk.png");
    writeBytes(sPath, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0, 0, 13, 'I', 'H', 'D',
                       'R', 0, 0, 0, 3, 0, 0, 0, 2, 8, 0, 0, 0, 0, 0xb8, 0x1f, 0x39, 0xc6,
                       0x08, 0x00, 0x00, 0x0c, 't', 'E', 'X', 't', 'C', 'o'});
    ScopedImageBudget budget(64 << 20);
    CImage<unsigned char> image(2, 2, 1);
    const Captured read = load(image, sPath);
    EXPECT_EQ(read.iResult, 0);
    EXPECT_EQ(read.sOut, "Format: png\nCan't open image " + sPath +
                             "\nPNG chunk of 134217740 bytes: more than "
                             "TIRNVISION_MAX_IMAGE_BYTES\n");
    EXPECT_EQ(image.width(), 2);
}

TEST(MagickFailures, UnknownCodersAndUnwritablePaths)
{
    TempDir dir;
    CImage<unsigned char> image = greyRamp<unsigned char>(3, 2);
    Captured saved = save(image, dir.file("x.nosuchcoder"), IMAGE_SINGLE);
    EXPECT_EQ(saved.iResult, 0);
    EXPECT_EQ(saved.sOut.rfind("Format: nosuchcoder\nWriting other\n Cannot create MagickImage\n", 0),
              0u)
        << saved.sOut;

    const std::string sNoDir = dir.file("absent/x.png");
    saved = save(image, sNoDir, IMAGE_SINGLE);
    EXPECT_EQ(saved.iResult, 0);
    EXPECT_EQ(saved.sOut.rfind(std::string("Format: png\n") + kPngHeader +
                                   " Cannot write to file\n",
                               0),
              0u)
        << saved.sOut;

    CImage<unsigned char> empty(0, 3, 1);
    saved = save(empty, dir.file("empty.png"), IMAGE_SINGLE);
    EXPECT_EQ(saved.iResult, 0);
    EXPECT_NE(saved.sOut.find(" Cannot create MagickImage\n"), std::string::npos);
    EXPECT_FALSE(fileExists(dir.file("empty.png")));
}

// ------------------------------------------------------- reading quirks

TEST(MagickReading, UnconvertedTypesAndTheAskMagickExtension)
{
    TempDir dir;
    tirn::ensureMagickInitialised();
    // A colour picture with opacity is not converted.
    const std::string sAlpha = dir.file("alpha.png");
    {
        const float pixels[8] = {1, 0, 0, 0.5f, 0, 1, 0, 1};
        Magick::Image picture(2, 1, "RGBA", Magick::FloatPixel, pixels);
        picture.write(sAlpha);
    }
    CImage<unsigned char> image(1, 1, 1);
    Captured read = load(image, sAlpha);
    EXPECT_EQ(read.iResult, 1);
    EXPECT_EQ(read.sOut.substr(read.sOut.find(" Label : \n")),
              " Label : \nCImageFileIO: Unknown type 7\n");
    EXPECT_NE(read.sOut.find(" Type  : Truecolor with opacity\n"), std::string::npos);
    EXPECT_EQ(image.width(), 1);
    EXPECT_EQ(image.channels(), 1);

    // "name.[*]" reads "name." and lets GraphicsMagick find the format.
    CImage<unsigned char> grey = greyRamp<unsigned char>(4, 4);
    ASSERT_EQ(save(grey, dir.file("g.png"), IMAGE_SINGLE).iResult, 1);
    writeBytes(dir.file("g."), readBytes(dir.file("g.png")));
    read = load(image, dir.file("g.[*]"));
    ASSERT_EQ(read.iResult, 1) << read.sOut;
    EXPECT_EQ(read.sOut.rfind("Format: [*]\n Image: " + dir.file("g.") + " found.\n", 0), 0u)
        << read.sOut;
    expectSameChannel(grey, 0, image, 0);
}

TEST(MagickReading, FramesOfAnotherSizeAreLeftOut)
{
    TempDir dir;
    tirn::ensureMagickInitialised();
    const std::string sPath = dir.file("sizes.miff");
    {
        const unsigned char big[12] = {200, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110};
        const unsigned char small[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
        const unsigned char same[12] = {9, 8, 7, 6, 5, 4, 3, 2, 1, 250, 240, 230};
        std::list<Magick::Image> frames;
        frames.emplace_back(2, 2, "RGB", Magick::CharPixel, big);
        frames.emplace_back(3, 1, "RGB", Magick::CharPixel, small);
        frames.emplace_back(2, 2, "RGB", Magick::CharPixel, same);
        Magick::writeImages(frames.begin(), frames.end(), sPath);
    }
    CImage<unsigned short> image(1, 1, 1);
    const Captured read = load(image, sPath);
    ASSERT_EQ(read.iResult, 1) << read.sOut;
    EXPECT_EQ(read.sOut.substr(read.sOut.find(" Images:")),
              " Images: 3\n Type  : Truecolor\n Colors: 4\n Label : \n"
              "CImageFileIO: frame 1 is 3 x 1, not 2 x 2; left out\n");
    ASSERT_EQ(image.channels(), 6);
    // Rows upside down: the file's first row is the image's last.
    EXPECT_EQ(image.getPixel(0, 1, 0), 200);
    EXPECT_EQ(image.getPixel(1, 1, 2), 50);
    EXPECT_EQ(image.getPixel(0, 0, 1), 70);
    EXPECT_EQ(image.getPixel(0, 1, 3), 9);
    EXPECT_EQ(image.getPixel(1, 0, 5), 230);
}

// ------------------------------------------------------- bulk pixel access

namespace {

// A picture of 16-bit components, `map` as GraphicsMagick's import names
// them; `valueAt(i)` gives component i.
template <class F> Magick::Image shortPicture(int w, int h, const char* pcMap, F valueAt)
{
    std::vector<unsigned short> data(std::size_t(w) * h * std::strlen(pcMap));
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<unsigned short>(valueAt(i));
    return Magick::Image(unsigned(w), unsigned(h), pcMap, Magick::ShortPixel, data.data());
}

} // namespace

TEST(MagickPixels, EveryQuantumScalesLikeTheFloatExportAndRintf)
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
    for (unsigned q = 0; q < nQuanta; ++q) {
        ASSERT_EQ(p[q].red, q);
        ASSERT_EQ(float(toByte(Magick::Quantum(q))),
                  std::rint(255.0f * afExported[3 * q]))
            << q;
    }
    // The row loop that the reader runs gives the same bytes on every SIMD
    // target, from a start that leaves a scalar tail behind the vectors.
    std::vector<unsigned char> bytes(3 * std::size_t(nQuanta));
    for (std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        for (unsigned uStart : {0u, 3u}) {
            std::fill(bytes.begin(), bytes.end(), 0);
            const std::size_t n = nQuanta - uStart;
            unsigned char* pRed = bytes.data();
            EXPECT_FALSE(tirn::rowToBytes(p + uStart, n, pRed, pRed + n, pRed + 2 * n));
            for (std::size_t i = 0; i < n; ++i) {
                const unsigned char cWant = toByte(Magick::Quantum(uStart + i));
                ASSERT_EQ(pRed[i], cWant) << hwy::TargetName(target) << " " << i;
                ASSERT_EQ(pRed[n + i], cWant) << hwy::TargetName(target) << " " << i;
                ASSERT_EQ(pRed[2 * n + i], cWant) << hwy::TargetName(target) << " " << i;
            }
        }
    }
    hwy::SetSupportedTargetsForTest(0);
}

// A row is exact when every red, green and blue quantum is an 8-bit value's;
// one other quantum anywhere (a vector's lane or the tail) makes it inexact,
// and opacity never does.
TEST(MagickPixels, RowIsExactOnlyWhenEveryColourQuantumIsAnEightBitValue)
{
    ASSERT_TRUE(tirn::ensureMagickInitialised());
    constexpr int nWidth = 37;
    std::vector<unsigned char> bytes(3 * nWidth);
    const auto exact = [&](const Magick::Image& row) {
        return tirn::rowToBytes(tirn::pixelRow(row, 0), nWidth, bytes.data(),
                                bytes.data() + nWidth, bytes.data() + 2 * nWidth);
    };
    const auto eightBit = [](std::size_t i) { return (i * 37 % 256) * (65535 / 255); };
    for (std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        EXPECT_TRUE(exact(shortPicture(nWidth, 1, "RGBA", [&](std::size_t i) {
            return i % 4 == 3 ? 1 : eightBit(i); // opacity is not looked at
        })));
        for (std::size_t iOdd = 0; iOdd < 3 * nWidth; ++iOdd)
            ASSERT_FALSE(exact(shortPicture(nWidth, 1, "RGB", [&](std::size_t i) {
                return i == iOdd ? eightBit(i) ^ 1 : eightBit(i);
            }))) << iOdd;
    }
    hwy::SetSupportedTargetsForTest(0);
}

TEST(MagickPixels, ColourCountEqualsGraphicsMagicksOwn)
{
    ASSERT_TRUE(tirn::ensureMagickInitialised());
    TempDir dir;
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
    // A palette picture as a PNG holds it: read back, indexed.
    Magick::Image palette = shortPicture(45, 30, "RGB", noise(1, 65535));
    palette.type(Magick::PaletteType);
    palette.write(dir.file("palette.png"));
    pictures.emplace_back("palette PNG", Magick::Image(dir.file("palette.png")));
    Magick::Image jpeg = shortPicture(99, 37, "RGB", noise(255, 257));
    jpeg.write(dir.file("noise.jpg"));
    pictures.emplace_back("JPEG", Magick::Image(dir.file("noise.jpg")));

    for (auto& [pcName, picture] : pictures)
        EXPECT_EQ(tirn::countColours(picture), picture.totalColors()) << pcName;
}
