// TIFF files read through libtiff: pages as channels, descriptions as
// channel infos, rows upside down, and the files this reader refuses.
#include <string>
#include <vector>

#include <tiffio.h>

#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "fileio/CImageFileIO.h"
#include "fileio/MagickSession.h"

using namespace testfiles;

namespace {

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

// Stored value of page d at stored row r, column x: distinct everywhere.
unsigned storedValue(int d, int r, int x) { return unsigned(50 * d + 10 * r + x + 1); }

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
            for (int i = 0; i < nRowBytes; ++i)
                row[std::size_t(i)] = static_cast<unsigned char>(storedValue(int(d), r, i));
            ASSERT_EQ(TIFFWriteScanline(pTiff, row.data(), uint32_t(r), 0), 1);
        }
        ASSERT_EQ(TIFFWriteDirectory(pTiff), 1);
    }
    TIFFClose(pTiff);
}

template <class T> int loadTiff(CImage<T>& image, const std::string& sPath, std::string& sOut)
{
    testing::internal::CaptureStdout();
    const int iResult = CImageFileIO<T>().load(image, sPath.c_str(), FORMAT_TIFF);
    sOut = testing::internal::GetCapturedStdout();
    return iResult;
}

template <class T> void expectUntouched(const CImage<T>& image)
{
    EXPECT_EQ(image.width(), 2);
    EXPECT_EQ(image.height(), 2);
    EXPECT_EQ(image.channels(), 1);
    EXPECT_EQ(image.getPixel(1, 1, 0), T(7));
}

template <class T> CImage<T> sentinel()
{
    CImage<T> image(2, 2, 1);
    image.setPixel(1, 1, 0, T(7));
    return image;
}

template <class T> class TiffReading : public ::testing::Test
{
};
TYPED_TEST_SUITE(TiffReading, PixelTypes);

} // namespace

TYPED_TEST(TiffReading, PagesBecomeChannelsTurnedUpsideDown)
{
    using T = TypeParam;
    TempDir dir;
    const std::string sPath = dir.file("pages.tif");
    const std::string sLong(80, 'L');
    writeTiff(sPath, {{4, 3, "first page"}, {4, 3, nullptr}, {4, 3, sLong.c_str()}});

    CImage<T> image(1, 1, 1);
    std::string sOut;
    ASSERT_EQ(loadTiff(image, sPath, sOut), 1);
    EXPECT_EQ(sOut, ""); // this reader prints nothing
    ASSERT_EQ(image.width(), 4);
    ASSERT_EQ(image.height(), 3);
    ASSERT_EQ(image.channels(), 3);
    EXPECT_STREQ(image.getChannelInfo(0), "first page");
    EXPECT_STREQ(image.getChannelInfo(1), "No info");
    EXPECT_EQ(std::string(image.getChannelInfo(2)), std::string(64, 'L'));
    for (int d = 0; d < 3; ++d)
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x)
                ASSERT_EQ(image.getPixel(x, y, d), T(storedValue(d, 2 - y, x)))
                    << "x " << x << " y " << y << " page " << d;
    // The first stored row is the last image row.
    EXPECT_EQ(image.getPixel(0, 2, 0), T(1));
    EXPECT_EQ(image.getPixel(3, 0, 2), T(100 + 20 + 3 + 1));
}

TEST(TiffReadingData, CompressedStripsAndOneRowImages)
{
    TempDir dir;
    const std::string sPath = dir.file("deflate.tif");
    Page page{5, 7, "zip", 8, 1, COMPRESSION_ADOBE_DEFLATE, 3};
    Page row{5, 1, nullptr};
    writeTiff(sPath, {page});
    CImage<unsigned char> image(1, 1, 1);
    std::string sOut;
    ASSERT_EQ(loadTiff(image, sPath, sOut), 1);
    ASSERT_EQ(image.channels(), 1);
    ASSERT_EQ(image.height(), 7);
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 5; ++x)
            ASSERT_EQ(image.getPixel(x, y, 0), storedValue(0, 6 - y, x));

    const std::string sRow = dir.file("row.tif");
    writeTiff(sRow, {row});
    ASSERT_EQ(loadTiff(image, sRow, sOut), 1);
    EXPECT_EQ(image.width(), 5);
    EXPECT_EQ(image.height(), 1);
    EXPECT_EQ(image.getPixel(4, 0, 0), 5);
}

TEST(TiffReadingRefusals, DeepColourAndMixedSizeFilesLeaveTheImageAlone)
{
    TempDir dir;
    std::string sOut;
    CImage<unsigned short> image = sentinel<unsigned short>();

    const std::string sDeep = dir.file("deep.tif");
    writeTiff(sDeep, {{4, 3, nullptr, 8}, {4, 3, "deep", 16}});
    EXPECT_EQ(loadTiff(image, sDeep, sOut), 0);
    EXPECT_EQ(sOut, "CImageFileIO: " + sDeep +
                        ", page 1: 16 bits and 1 samples per pixel; only 8-bit grey TIFFs "
                        "are read this way\n");
    expectUntouched(image);

    const std::string sColour = dir.file("rgb.tif");
    writeTiff(sColour, {{4, 3, nullptr, 8, 3}});
    EXPECT_EQ(loadTiff(image, sColour, sOut), 0);
    EXPECT_EQ(sOut, "CImageFileIO: " + sColour +
                        ", page 0: 8 bits and 3 samples per pixel; only 8-bit grey TIFFs "
                        "are read this way\n");
    expectUntouched(image);

    const std::string sMixed = dir.file("mixed.tif");
    writeTiff(sMixed, {{4, 3, nullptr}, {5, 3, nullptr}, {6, 2, nullptr}});
    EXPECT_EQ(loadTiff(image, sMixed, sOut), 0);
    EXPECT_EQ(sOut, "CImageFileIO: " + sMixed + ", page 0: 4 x 3 differs from 6 x 2\n");
    expectUntouched(image);
}

TEST(TiffReadingRefusals, MissingAndCorruptFiles)
{
    // Regression: once GraphicsMagick is initialised its process-wide
    // libtiff handlers abort on diagnostics from reads outside it.
    tirn::ensureMagickInitialised();
    TempDir dir;
    std::string sOut;
    CImage<float> image = sentinel<float>();

    // A file that cannot be opened fails without a message of ours.
    EXPECT_EQ(loadTiff(image, dir.file("none.tif"), sOut), 0);
    EXPECT_EQ(sOut, "");
    const std::string sJunk = dir.file("junk.tif");
    writeBytes(sJunk, {'I', 'I', 42, 0, 0xff, 0xff, 0xff, 0x7f, 1, 2, 3});
    EXPECT_EQ(loadTiff(image, sJunk, sOut), 0);
    EXPECT_EQ(sOut, "");
    expectUntouched(image);

    // Strips cut off by a truncated file: the header is intact, the data
    // is not. Compressed data cannot be decoded past the cut.
    const std::string sCut = dir.file("cut.tif");
    writeTiff(sCut, {{64, 64, "cut", 8, 1, COMPRESSION_ADOBE_DEFLATE, 64}});
    Bytes bytes = readBytes(sCut);
    // libtiff places the directory after the data: keep it, spoil the strip.
    ASSERT_GT(bytes.size(), 40u);
    for (std::size_t i = 8; i < 24; ++i)
        bytes[i] = 0xA5;
    writeBytes(sCut, bytes);
    EXPECT_EQ(loadTiff(image, sCut, sOut), 0);
    EXPECT_EQ(sOut, "CImageFileIO: " + sCut + ", page 0: the image data cannot be decoded\n");
    expectUntouched(image);
}

TEST(TiffReadingDispatch, FormatDefaultSendsTifToGraphicsMagick)
{
    // Format 0 is the only way into this reader; by extension a .tif goes
    // to GraphicsMagick, which also reads what libtiff is refused here.
    TempDir dir;
    const std::string sPath = dir.file("deep.tif");
    writeTiff(sPath, {{3, 2, nullptr, 16}});
    CImage<unsigned short> image(1, 1, 1);
    testing::internal::CaptureStdout();
    const int iResult = CImageFileIO<unsigned short>().load(image, sPath.c_str(), FORMAT_DEFAULT);
    const std::string sOut = testing::internal::GetCapturedStdout();
    EXPECT_EQ(iResult, 1) << sOut;
    EXPECT_EQ(sOut.rfind("Format: tif\n Image: " + sPath + " found.\n", 0), 0u) << sOut;
    EXPECT_EQ(image.width(), 3);
    EXPECT_EQ(image.height(), 2);
}
