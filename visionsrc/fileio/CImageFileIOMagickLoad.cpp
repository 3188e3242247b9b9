// Every format the library does not parse itself, read through
// GraphicsMagick: each frame of the file adds its channels (three for a
// colour frame, one for a grey one).
#include "fileio/CImageFileIO.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <iostream>
#include <list>
#include <string>
#include <type_traits>
#include <vector>

#include <Magick++.h>

#include "fileio/ImageSizeLimit.h"
#include "fileio/MagickPixels.h"
#include "fileio/MagickSession.h"

namespace {

// The labels follow GraphicsMagick's type numbers; numbers beyond them
// print no line.
void printTypeLine(int iType)
{
    static const char* const apcLabels[] = {
        " Type  : Undefined",
        " Type  : Monochrome",
        " Type  : Grayscale",
        " Type  : Grayscale with opacity",
        " Type  : Index color",
        " Type  : Index color with opacity",
        " Type  : Truecolor",
        " Type  : Truecolor with opacity",
        " Type  : CYMK",
    };
    if (iType >= 0 && iType < int(sizeof apcLabels / sizeof *apcLabels))
        std::cout << apcLabels[iType] << std::endl;
}

void printListing(const char* pcPath, std::list<Magick::Image>& frames, std::size_t nColours)
{
    Magick::Image& first = frames.front();
    std::cout << " Image: " << pcPath << " found." << std::endl;
    std::cout << " Width : " << first.columns() << std::endl;
    std::cout << " Height: " << first.rows() << std::endl;
    std::cout << " Depth : " << first.depth() << std::endl;
    std::cout << " Images: " << frames.size() << std::endl;
    printTypeLine(int(first.type()));
    std::cout << " Colors: " << nColours << std::endl;
    std::cout << " Label : " << first.label() << std::endl;
}

// How many channels a frame of this GraphicsMagick type gives; 0 for the
// types that are not converted.
int channelsOfType(int iType)
{
    if (iType >= Magick::PaletteType && iType <= Magick::TrueColorType)
        return 3;
    if (iType >= Magick::BilevelType && iType <= Magick::GrayscaleMatteType)
        return 1;
    return 0;
}

// Copies one frame into `target` (already of the frame's size, nChannels
// channels), rows turned upside down like the TIFF reader turns them. The
// quanta are read straight from GraphicsMagick's pixel cache and scaled as
// its float "RGB" export followed by rintf would scale them. Grey frames
// hold equal components, so their red component is their grey value,
// exactly. With `pColours`, the frame's colours are counted on the way while
// every quantum is an 8-bit value's; false if one is not (the count is then
// unfinished).
template <class T>
bool convertFrame(const Magick::Image& frame, int nChannels, CImage<T>& target,
                  tirn::EightBitColours* pColours)
{
    const std::size_t nWidth = frame.columns();
    const std::size_t nHeight = frame.rows();
    std::vector<unsigned char> bytes(3 * nWidth);
    bool bExact = true;
    for (std::size_t y = 0; y < nHeight; ++y) {
        const std::size_t nRow = (nHeight - 1 - y) * nWidth;
        // Bytes go straight into an 8-bit target's rows; the scratch row
        // takes what the target has no channel for, and what it widens.
        unsigned char* apRow[3];
        for (int c = 0; c < 3; ++c) {
            apRow[c] = bytes.data() + std::size_t(c) * nWidth;
            if constexpr (std::is_same_v<T, unsigned char>)
                if (c < nChannels)
                    apRow[c] = target.getChannelDataPtr(c) + nRow;
        }
        bExact = tirn::rowToBytes(tirn::pixelRow(frame, y), nWidth, apRow[0], apRow[1],
                                  apRow[2]) &&
                 bExact;
        if (pColours && bExact)
            pColours->addRow(apRow[0], apRow[1], apRow[2], nWidth);
        if constexpr (!std::is_same_v<T, unsigned char>)
            for (int c = 0; c < nChannels; ++c)
                std::copy(apRow[c], apRow[c] + nWidth, target.getChannelDataPtr(c) + nRow);
    }
    return bExact;
}

// Adds one frame's channels to `image`: the first converted frame replaces
// the reader's temporary, the others are appended. Frames of another size
// than the first cannot share its image and are left out.
template <class T>
bool addFrame(const Magick::Image& frame, int iFrame, int nChannels, bool bFirst,
              CImage<T>& image)
{
    const int64_t iWidth = frame.columns();
    const int64_t iHeight = frame.rows();
    if (!bFirst && (iWidth != image.width() || iHeight != image.height())) {
        std::cout << "CImageFileIO: frame " << iFrame << " is " << iWidth << " x "
                  << iHeight << ", not " << image.width() << " x " << image.height()
                  << "; left out" << std::endl;
        return true;
    }
    const int nBefore = bFirst ? 0 : image.channels();
    if (!tirn::imageSizeFits(iWidth, iHeight, nBefore + nChannels, sizeof(T)) ||
        !tirn::imageSizeFits(iWidth, iHeight, nChannels, sizeof(float)))
        return false;
    if (bFirst) {
        if (!tirn::resizeFromHeader(image, int(iWidth), int(iHeight), nChannels))
            return false;
        convertFrame(frame, nChannels, image, nullptr);
    } else {
        CImage<T> channels(int(iWidth), int(iHeight), nChannels);
        convertFrame(frame, nChannels, channels, nullptr);
        image.appendImage(channels);
    }
    return true;
}

// The usual case, a first frame that converts: it is converted and its
// colours counted in one pass over its pixels, before the listing that
// prints the count. False, with nothing done, where the frame does not
// convert or the budget refuses it; the frame then takes the general way
// with its messages after the listing.
template <class T>
bool convertFirstFrame(const Magick::Image& frame, CImage<T>& image, std::size_t& nColours)
{
    const int nChannels = channelsOfType(int(frame.type()));
    const int64_t iWidth = frame.columns();
    const int64_t iHeight = frame.rows();
    if (nChannels == 0 || iWidth == 0 || iHeight == 0 ||
        !tirn::imageFitsBudget(iWidth, iHeight, nChannels, sizeof(T)) ||
        !tirn::imageFitsBudget(iWidth, iHeight, nChannels, sizeof(float)))
        return false;
    try {
        image.resize(int(iWidth), int(iHeight), nChannels);
    } catch (const std::bad_alloc&) {
        return false;
    }
    tirn::EightBitColours colours;
    nColours = convertFrame(frame, nChannels, image, &colours)
                   ? colours.count()
                   : tirn::countColoursBySorting(frame);
    return true;
}

// libpng allocates a chunk's declared length before it reads the chunk, and
// that allocation is outside GraphicsMagick's resource limits: a 97-byte
// PNG can ask for 128 MB. The chunk lengths are therefore held to the
// budget here, before GraphicsMagick sees the file. 0 when every chunk
// fits (or the file is no PNG), else the first length that does not.
std::uint64_t pngChunkBeyondBudget(const char* pcPath)
{
    std::ifstream in(pcPath, std::ios::in | std::ios::binary);
    unsigned char acHead[8];
    if (!in.read(reinterpret_cast<char*>(acHead), 8) ||
        std::memcmp(acHead, "\x89PNG\r\n\x1a\n", 8) != 0)
        return 0;
    while (in.read(reinterpret_cast<char*>(acHead), 8)) {
        const std::uint64_t nLength = std::uint64_t(acHead[0]) << 24 | acHead[1] << 16 |
                                      acHead[2] << 8 | acHead[3];
        if (!tirn::bufferFitsBudget(nLength, 1))
            return nLength;
        in.seekg(std::streamoff(nLength + 4), std::ios::cur); // data and CRC
    }
    return 0;
}

} // namespace

template <class T> int CImageFileIO<T>::loadMagick(CImage<T>& image, const char* pcPath)
{
    if (!tirn::ensureMagickInitialised()) {
        std::cout << "Can't open image " << pcPath << std::endl
                  << "GraphicsMagick is not available" << std::endl;
        return 0;
    }
    if (const std::uint64_t nChunk = pngChunkBeyondBudget(pcPath)) {
        std::cout << "Can't open image " << pcPath << std::endl
                  << "PNG chunk of " << nChunk
                  << " bytes: more than TIRNVISION_MAX_IMAGE_BYTES" << std::endl;
        return 0;
    }
    std::list<Magick::Image> frames;
    try {
        try {
            Magick::readImages(&frames, pcPath);
        } catch (const Magick::Warning& warning) {
            // A warning is thrown after the frames were read; they stand.
            if (frames.empty())
                throw;
            std::cerr << warning.what() << std::endl;
        }
        if (frames.empty())
            throw Magick::ErrorCorruptImage("no image in the file");

        std::size_t nColours = 0;
        const bool bFirstDone = convertFirstFrame(frames.front(), image, nColours);
        if (!bFirstDone)
            nColours = tirn::countColours(frames.front());
        printListing(pcPath, frames, nColours);
        bool bFirst = !bFirstDone;
        int iFrame = bFirstDone ? 1 : 0;
        for (auto it = std::next(frames.begin(), iFrame); it != frames.end(); ++it, ++iFrame) {
            const int iType = int(it->type());
            const int nChannels = channelsOfType(iType);
            if (nChannels == 0) {
                std::cout << "CImageFileIO: Unknown type " << iType << std::endl;
            } else {
                if (!addFrame(*it, iFrame, nChannels, bFirst, image))
                    return 0;
                bFirst = false;
            }
        }
    } catch (const Magick::Exception& error) {
        std::cout << "Can't open image " << pcPath << std::endl << error.what() << std::endl;
        return 0;
    } catch (const std::bad_alloc&) {
        tirn::reportImageTooLarge(image.width(), image.height(), image.channels());
        return 0;
    }
    return 1;
}

template int CImageFileIO<unsigned char>::loadMagick(CImage<unsigned char>&, const char*);
template int CImageFileIO<unsigned short>::loadMagick(CImage<unsigned short>&, const char*);
template int CImageFileIO<float>::loadMagick(CImage<float>&, const char*);
