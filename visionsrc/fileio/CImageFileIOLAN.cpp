// ERDAS/LAN multiband files: a 128-byte little-endian header, then 8-bit
// samples interleaved by line (for each row, each band's row in turn).
#include "fileio/CImageFileIO.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <vector>

#include "fileio/ImageSizeLimit.h"

namespace {

constexpr int kHeaderBytes = 128;

// Header fields a short file does not deliver stay zero.
template <class V> V readField(std::ifstream& in)
{
    V value = V(0);
    in.read(reinterpret_cast<char*>(&value), sizeof value);
    return value;
}

} // namespace

template <class T> int CImageFileIO<T>::loadLAN(CImage<T>& image, const char* pcPath)
{
    std::ifstream in(pcPath, std::ios::in | std::ios::binary);
    if (!in.is_open()) {
        std::cout << " Can't open file" << std::endl;
        return 0;
    }
    std::cout << "-------------------" << std::endl;
    std::cout << "ERDAS/LAN FILE INFO" << std::endl;

    char acHeader[7] = {};
    in.read(acHeader, 6);
    acHeader[6] = '\0';
    std::cout << "Header (HEADER/HEAD74): " << acHeader << std::endl;
    const unsigned short iPackType = readField<unsigned short>(in);
    std::cout << "Pack type of data: " << iPackType << std::endl;
    const unsigned short nBands = readField<unsigned short>(in);
    std::cout << "Number of bands per line: " << nBands << std::endl;
    in.seekg(16);
    const std::int32_t iWidth = readField<std::int32_t>(in);
    std::cout << "With of map in pixels: " << iWidth << std::endl;
    const std::int32_t iHeight = readField<std::int32_t>(in);
    std::cout << "Length of map in pixels: " << iHeight << std::endl;
    std::cout << "Database x-cooridnate of the first pixel: " << readField<std::int32_t>(in)
              << std::endl;
    std::cout << "Database y-cooridnate of the first pixel: " << readField<std::int32_t>(in)
              << std::endl;
    in.seekg(88);
    std::cout << "Indicator for the type of map units: " << readField<std::int16_t>(in)
              << std::endl;
    std::cout << "The number of map classes: " << readField<std::int16_t>(in) << std::endl;
    in.seekg(106);
    std::cout << "The unit of area associated with each pixel: "
              << readField<std::int16_t>(in) << std::endl;
    std::cout << "The number of area units represented by each pixl in untis given: "
              << double(readField<float>(in)) << std::endl;
    std::cout << "The map x-coordinate for the center of the upper left corner pixel of "
                 "the map: "
              << double(readField<float>(in)) << std::endl;
    std::cout << "The y-coordinate for the center of the upper left corner pixel of the "
                 "map: "
              << double(readField<float>(in)) << std::endl;
    std::cout << "The x size of each pixel: " << double(readField<float>(in)) << std::endl;
    std::cout << "The y size of each pixel: " << double(readField<float>(in)) << std::endl;

    if (iPackType != 0) {
        std::cout << "########################################" << std::endl;
        std::cout << "WARNING: Pack Type is maybe unsupported!" << std::endl;
        std::cout << "########################################" << std::endl;
    }
    if (!tirn::resizeFromHeader(image, iWidth, iHeight, nBands))
        return 0;

    // Samples a short file does not deliver keep the zeros of the resize.
    in.clear();
    in.seekg(kHeaderBytes);
    // Without bands or rows the width is unchecked: no row buffer then.
    if (iWidth < 1 || iHeight < 1 || nBands < 1) {
        in.close();
        return 1;
    }
    // Many lines per read; reading stops where the file ends, and what it
    // does not deliver keeps the resize's zeros.
    const std::size_t nWidth = std::size_t(iWidth);
    const std::size_t nLine = nWidth * nBands;
    const std::size_t nLinesPerRead = std::max<std::size_t>(1, (std::size_t(1) << 20) / nLine);
    std::vector<unsigned char> block(std::min(nLinesPerRead, std::size_t(iHeight)) * nLine);
    for (std::size_t y = 0; y < std::size_t(iHeight);) {
        const std::size_t nLines = std::min(nLinesPerRead, std::size_t(iHeight) - y);
        in.read(reinterpret_cast<char*>(block.data()), std::streamsize(nLines * nLine));
        std::size_t nLeft = std::size_t(in.gcount());
        const unsigned char* p = block.data();
        for (std::size_t nEnd = y + nLines; y < nEnd; ++y)
            for (int c = 0; c < nBands; ++c) {
                T* pRow = image.getChannelDataPtr(c) + y * nWidth;
                const std::size_t n = std::min(nLeft, nWidth);
                for (std::size_t x = 0; x < n; ++x)
                    pRow[x] = tirn::convertPixel<T>(p[x]);
                if (n < nWidth) {
                    in.close();
                    return 1;
                }
                p += n;
                nLeft -= n;
            }
    }
    in.close();
    return 1;
}

template int CImageFileIO<unsigned char>::loadLAN(CImage<unsigned char>&, const char*);
template int CImageFileIO<unsigned short>::loadLAN(CImage<unsigned short>&, const char*);
template int CImageFileIO<float>::loadLAN(CImage<float>&, const char*);
