// TIFF files read through libtiff: pages as channels, descriptions as
// channel infos, rows upside down, and the files this reader refuses.
#include <algorithm>
#include <string>
#include <vector>

#include <tiffio.h>

#include "FastVsReference.h"
#include "FileTestUtils.h"
#include "PixelTypes.h"
#include "TestImages.h"
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

// What the reader makes of writeTiff's pages: the first row stored last.
template <class T> CImage<T> upsideDown(int w, int h, int nPages)
{
    return numbered<T>(w, h, nPages, 50, -10, 10 * (h - 1) + 1);
}

// A 2x2 image with one set pixel, for the loads that must leave it alone.
template <class T> CImage<T> sentinel() { return pixels<T>(2, 2, 1, {0, 0, 0, 7}); }

template <class T> class TiffReading : public FileTest
{
};
TYPED_TEST_SUITE(TiffReading, PixelTypes);
using TiffReadingRefusals = FileTest;

} // namespace

TYPED_TEST(TiffReading, PagesBecomeChannelsTurnedUpsideDown)
{
    using T = TypeParam;
    const std::string sPath = this->dir.file("pages.tif");
    writeTiff(sPath, {{4, 3, "first page"}, {4, 3, nullptr}, {4, 3, std::string(80, 'L').c_str()}});
    CImage<T> image(1, 1, 1);
    EXPECT_EQ(load(image, sPath, FORMAT_TIFF).said(), "1: "); // this reader prints nothing
    CImage<T> expected = upsideDown<T>(4, 3, 3);
    expected.setChannelInfo("first page", 0);
    expected.setChannelInfo(std::string(64, 'L').c_str(), 2);
    expectSameImage(image, expected);
    writeTiff(sPath, {{5, 7, nullptr, 8, 1, COMPRESSION_ADOBE_DEFLATE, 3}});
    expectSameImage(loaded<T>(sPath, FORMAT_TIFF), upsideDown<T>(5, 7, 1));
    writeTiff(sPath, {{5, 1, nullptr}});
    expectSameImage(loaded<T>(sPath, FORMAT_TIFF), upsideDown<T>(5, 1, 1));
}

TEST_F(TiffReadingRefusals, RefusedFilesLeaveTheImageAloneUnlessReadByExtension)
{
    // Regression: once GraphicsMagick is initialised its process-wide
    // libtiff handlers abort on diagnostics from reads outside it.
    tirn::ensureMagickInitialised();
    const std::string sPath = dir.file("refused.tif");
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
        CImage<unsigned short> image = sentinel<unsigned short>();
        EXPECT_EQ(load(image, sPath, FORMAT_TIFF).said(),
                  "0: CImageFileIO: " + sPath + ", page " + c.sMessage);
        expectSameImage(image, sentinel<unsigned short>());
    }
    // Files that cannot be opened fail without a message of ours.
    writeBytes(sPath, {'I', 'I', 42, 0, 0xff, 0xff, 0xff, 0x7f, 1, 2, 3});
    for (const std::string& sFile : {dir.file("none.tif"), sPath}) {
        CImage<float> image = sentinel<float>();
        EXPECT_EQ(load(image, sFile, FORMAT_TIFF).said(), "0: ");
        expectSameImage(image, sentinel<float>());
    }
    // FORMAT_TIFF is the only way into this reader: by extension a .tif goes
    // to GraphicsMagick, which also reads what libtiff is refused here.
    writeTiff(sPath, {{3, 2, nullptr, 16}});
    CImage<unsigned short> image(1, 1, 1);
    const Outcome run = load(image, sPath);
    EXPECT_EQ(run.iResult, 1) << run.sOut;
    EXPECT_EQ(run.sOut.rfind("Format: tif\n Image: " + sPath + " found.\n", 0), 0u) << run.sOut;
    EXPECT_EQ(image.width(), 3);
    EXPECT_EQ(image.height(), 2);
}
