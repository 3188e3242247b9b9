// The library's own matrix format: a gzip stream holding a 20-byte header
// (version, width, height, channels, depth as native 32-bit ints) and one
// block per channel (64 bytes of info text, then the samples).
//
// Kept so on purpose: samples are stored column by column (x outer, y
// inner), unlike the row order of the image's memory.
#include "fileio/CImageFileIO.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "fileio/ImageSizeLimit.h"
#include "fileio/gzstream.h"

namespace {

constexpr int kInfoBytes = 64;

// Reads one sample of the file's type into `sample`. A failed read leaves
// the bytes of the previous sample there: a truncated file still loads,
// its missing samples repeating what the buffer last held.
template <class S, class T>
void readColumnMajor(igzstream& in, CImage<T>& image, int iChannel)
{
    if (image.width() < 1 || image.height() < 1)
        return; // an empty plane of a header's (unchecked) width
    S sample = S(0);
    for (int x = 0; x < image.width(); ++x)
        for (int y = 0; y < image.height(); ++y) {
            in.read(reinterpret_cast<char*>(&sample), sizeof sample);
            image.setPixel(x, y, iChannel, tirn::convertPixel<T>(sample));
        }
}

template <class T>
void writeColumnMajor(ogzstream& out, const CImage<T>& image, int iChannel)
{
    for (int x = 0; x < image.width(); ++x)
        for (int y = 0; y < image.height(); ++y) {
            const T sample = image.getPixel(x, y, iChannel);
            out.write(reinterpret_cast<const char*>(&sample), sizeof sample);
        }
}

} // namespace

template <class T> int CImageFileIO<T>::loadMTX(CImage<T>& image, const char* pcPath)
{
    std::cout << "Loading mtx" << std::endl;
    igzstream in(pcPath, std::ios::in | std::ios::binary);
    if (in.fail() || in.bad()) {
        std::cout << " Can't open file" << std::endl;
        return 0;
    }
    std::int32_t iVersion = 0, iWidth = 0, iHeight = 0, iChannels = 0, iDepth = 0;
    in.read(reinterpret_cast<char*>(&iVersion), 4);
    in.read(reinterpret_cast<char*>(&iWidth), 4);
    in.read(reinterpret_cast<char*>(&iHeight), 4);
    in.read(reinterpret_cast<char*>(&iChannels), 4);
    in.read(reinterpret_cast<char*>(&iDepth), 4);
    std::cout << "Version  " << iVersion << std::endl;
    std::cout << "Width    " << iWidth << std::endl;
    std::cout << "Height   " << iHeight << std::endl;
    std::cout << "Channels " << iChannels << std::endl;
    std::cout << " Depth    " << iDepth << std::endl;

    if (!tirn::resizeFromHeader(image, iWidth, iHeight, iChannels))
        return 0;

    // Any other version is not an error: the image keeps the header's size
    // and its samples stay unloaded.
    if (iVersion == 1 && iChannels > 0) {
        char acInfo[kInfoBytes + 1];
        std::memset(acInfo, 0, sizeof acInfo);
        for (int c = 0; c < iChannels; ++c) {
            // The writer always terminates the text; 64 characters without
            // a terminator are accepted too.
            in.read(acInfo, kInfoBytes);
            acInfo[kInfoBytes] = '\0';
            image.setChannelInfo(acInfo, c);
            switch (iDepth) {
            case 8:
                readColumnMajor<unsigned char>(in, image, c);
                break;
            case 16:
                readColumnMajor<unsigned short>(in, image, c);
                break;
            case 32:
                readColumnMajor<float>(in, image, c);
                break;
            default:
                break; // unknown sample size: nothing to read
            }
        }
    }
    in.close();
    return 1;
}

template <class T> int CImageFileIO<T>::saveMTX(const CImage<T>& image, const char* pcPath)
{
    // The sample size follows the image's own depth field. With typed
    // images it always matches T; the check guards against a handle whose
    // depth field says otherwise.
    const std::int32_t iDepth = image.depth();
    if (iDepth != 8 && iDepth != 16 && iDepth != 32) {
        std::cout << " File is not in MTX format!" << std::endl;
        return 1;
    }
    if (iDepth == 32)
        std::cout << "Saving 32 bit" << std::endl;

    ogzstream out(pcPath, std::ios::out | std::ios::binary);
    if (out.fail() || out.bad()) {
        std::cout << " Can't open file" << std::endl;
        return 0;
    }
    const std::int32_t aiHeader[5] = {1, image.width(), image.height(), image.channels(),
                                      iDepth};
    out.write(reinterpret_cast<const char*>(aiHeader), sizeof aiHeader);
    for (int c = 0; c < image.channels(); ++c) {
        // A 64-character info text loses its last character to the
        // terminator.
        char acInfo[kInfoBytes];
        std::memset(acInfo, 0, sizeof acInfo);
        std::snprintf(acInfo, sizeof acInfo, "%s", image.getChannelInfo(c));
        out.write(acInfo, sizeof acInfo);
        writeColumnMajor(out, image, c);
    }
    if (iDepth == 32)
        out.flush();
    out.close();
    if (iDepth == 32)
        std::cout << "Writing MTX file finished." << std::endl;
    return 1;
}

#define TIRN_INSTANTIATE_MTX(T)                                                    \
    template int CImageFileIO<T>::loadMTX(CImage<T>&, const char*);               \
    template int CImageFileIO<T>::saveMTX(const CImage<T>&, const char*);
TIRN_INSTANTIATE_MTX(unsigned char)
TIRN_INSTANTIATE_MTX(unsigned short)
TIRN_INSTANTIATE_MTX(float)
