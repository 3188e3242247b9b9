// TIFF through libtiff: every directory of the file is one 8-bit channel,
// its image description the channel's info text.
#include "fileio/CImageFileIO.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <vector>

#include <tiffio.h>

#include "fileio/ImageSizeLimit.h"

namespace {

struct TiffCloser
{
    void operator()(TIFF* pTiff) const { TIFFClose(pTiff); }
};
using TiffFile = std::unique_ptr<TIFF, TiffCloser>;

// libtiff's diagnostics on standard error, as its default handlers print
// them. They are bound to our own handles because GraphicsMagick, once
// initialised, replaces the process-wide handlers with ones that only work
// inside its own reads.
int printTiffDiagnostic(TIFF*, void*, const char* pcModule, const char* pcFormat,
                        va_list args)
{
    if (pcModule)
        std::fprintf(stderr, "%s: ", pcModule);
    std::vfprintf(stderr, pcFormat, args);
    std::fprintf(stderr, ".\n");
    return 1; // handled: the process-wide handlers are not called
}

TIFF* openTiff(const char* pcPath)
{
    TIFFOpenOptions* pOptions = TIFFOpenOptionsAlloc();
    if (!pOptions)
        return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(pOptions, printTiffDiagnostic, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(pOptions, printTiffDiagnostic, nullptr);
    // libtiff's own buffers (strips, directories) within the same budget.
    TIFFOpenOptionsSetMaxSingleMemAlloc(
        pOptions, tmsize_t(std::min<std::uint64_t>(tirn::imageBudget(), INT64_MAX)));
    TIFF* pTiff = TIFFOpenExt(pcPath, "r", pOptions);
    TIFFOpenOptionsFree(pOptions);
    return pTiff;
}

// What the reader needs to know of one directory, read before anything is
// allocated.
struct DirectoryLayout
{
    std::uint32_t iWidth = 0;
    std::uint32_t iLength = 0;
    std::uint16_t nBitsPerSample = 1;
    std::uint16_t nSamplesPerPixel = 1;
    bool bTiled = false;
};

DirectoryLayout readLayout(TIFF* pTiff)
{
    DirectoryLayout layout;
    TIFFGetField(pTiff, TIFFTAG_IMAGEWIDTH, &layout.iWidth);
    TIFFGetField(pTiff, TIFFTAG_IMAGELENGTH, &layout.iLength);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_BITSPERSAMPLE, &layout.nBitsPerSample);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_SAMPLESPERPIXEL, &layout.nSamplesPerPixel);
    layout.bTiled = TIFFIsTiled(pTiff) != 0;
    return layout;
}

// Only what the channel model holds without conversion is read here: one
// 8-bit sample per pixel, in strips, all pages of one size. Deeper or
// colour TIFFs go through GraphicsMagick (format 2).
bool acceptLayout(const DirectoryLayout& layout, const DirectoryLayout& last, int iDirectory,
                  const char* pcPath)
{
    if (layout.nBitsPerSample != 8 || layout.nSamplesPerPixel != 1) {
        std::cout << "CImageFileIO: " << pcPath << ", page " << iDirectory << ": "
                  << layout.nBitsPerSample << " bits and " << layout.nSamplesPerPixel
                  << " samples per pixel; only 8-bit grey TIFFs are read this way"
                  << std::endl;
        return false;
    }
    if (layout.bTiled) {
        std::cout << "CImageFileIO: " << pcPath << ", page " << iDirectory
                  << ": tiled TIFFs are not read this way" << std::endl;
        return false;
    }
    if (layout.iWidth != last.iWidth || layout.iLength != last.iLength) {
        std::cout << "CImageFileIO: " << pcPath << ", page " << iDirectory << ": "
                  << layout.iWidth << " x " << layout.iLength << " differs from "
                  << last.iWidth << " x " << last.iLength << std::endl;
        return false;
    }
    return true;
}

// All strips of the current directory, one after the other, as if into one
// width x length buffer (strip k where strip k - 1 ended) that is stored
// upside down into `pChannel`: buffer row r is channel row length - 1 - r.
// Kept so on purpose: the first stored row becomes the last image row, and
// the writers mirror it. Bytes no strip delivers read as zeros. A strip
// that cannot be decoded fails the read.
template <class T>
bool readStrips(TIFF* pTiff, std::vector<unsigned char>& strip, T* pChannel,
                std::size_t nWidth, std::size_t nLength)
{
    const std::size_t nBytes = nWidth * nLength;
    // Copies buffer bytes [nOffset, nOffset + n) to their channel places.
    auto store = [&](std::size_t nOffset, const unsigned char* pFrom, std::size_t n) {
        while (n > 0) {
            const std::size_t nRow = nOffset / nWidth, nColumn = nOffset % nWidth;
            const std::size_t nHere = std::min(n, nWidth - nColumn);
            T* pTo = pChannel + (nLength - 1 - nRow) * nWidth + nColumn;
            for (std::size_t i = 0; i < nHere; ++i)
                pTo[i] = tirn::convertPixel<T>(pFrom[i]);
            nOffset += nHere;
            pFrom += nHere;
            n -= nHere;
        }
    };
    const tstrip_t nStrips = TIFFNumberOfStrips(pTiff);
    std::size_t nOffset = 0;
    for (tstrip_t k = 0; k < nStrips && nOffset < nBytes; ++k) {
        const std::size_t nRoom = std::min(strip.size(), nBytes - nOffset);
        const tmsize_t nRead = TIFFReadEncodedStrip(pTiff, k, strip.data(), tmsize_t(nRoom));
        if (nRead < 0)
            return false;
        store(nOffset, strip.data(), std::size_t(nRead));
        nOffset += std::size_t(nRead);
    }
    const std::vector<unsigned char> zeros(std::min(nBytes - nOffset, nWidth));
    while (nOffset < nBytes) {
        const std::size_t n = std::min(zeros.size(), nBytes - nOffset);
        store(nOffset, zeros.data(), n);
        nOffset += n;
    }
    return true;
}

} // namespace

template <class T> int CImageFileIO<T>::loadTIFF(CImage<T>& image, const char* pcPath)
{
    TiffFile tiff(openTiff(pcPath));
    if (!tiff)
        return 0;

    int nDirectories = 1;
    while (TIFFReadDirectory(tiff.get()))
        ++nDirectories;
    const DirectoryLayout last = readLayout(tiff.get());

    // Every page is checked before the image is touched: a refused file
    // leaves nothing half read.
    for (int d = 0; d < nDirectories; ++d) {
        if (!TIFFSetDirectory(tiff.get(), tdir_t(d))) {
            std::cout << "CImageFileIO: " << pcPath << ", page " << d << " cannot be read"
                      << std::endl;
            return 0;
        }
        if (!acceptLayout(readLayout(tiff.get()), last, d, pcPath))
            return 0;
    }
    if (!tirn::imageSizeFits(last.iWidth, last.iLength, nDirectories, sizeof(T)) ||
        !tirn::resizeFromHeader(image, int(last.iWidth), int(last.iLength), nDirectories))
        return 0;

    const std::size_t nWidth = last.iWidth, nLength = last.iLength;
    for (int d = 0; d < nDirectories; ++d) {
        TIFFSetDirectory(tiff.get(), tdir_t(d));
        char acDescription[1024] = "No info";
        char* pcDescription = nullptr;
        if (TIFFGetField(tiff.get(), TIFFTAG_IMAGEDESCRIPTION, &pcDescription) && pcDescription)
            std::strncpy(acDescription, pcDescription, sizeof acDescription - 1);
        acDescription[CImageChannel<T>::kInfoLength] = '\0';

        // A strip never holds more than the page; a broken strip size does
        // not make the buffer bigger than that.
        const tmsize_t nStripSize = TIFFStripSize(tiff.get());
        std::vector<unsigned char> strip(std::max<std::size_t>(
            1, std::min<std::size_t>(nStripSize > 0 ? std::size_t(nStripSize) : nWidth,
                                     nWidth * nLength)));
        if (nWidth * nLength > 0 &&
            !readStrips(tiff.get(), strip, image.getChannelDataPtr(d), nWidth, nLength)) {
            std::cout << "CImageFileIO: " << pcPath << ", page " << d
                      << ": the image data cannot be decoded" << std::endl;
            return 0;
        }
        image.setChannelInfo(acDescription, d);
    }
    return 1;
}

template int CImageFileIO<unsigned char>::loadTIFF(CImage<unsigned char>&, const char*);
template int CImageFileIO<unsigned short>::loadTIFF(CImage<unsigned short>&, const char*);
template int CImageFileIO<float>::loadTIFF(CImage<float>&, const char*);
