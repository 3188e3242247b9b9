// The library's own matrix format: a gzip stream holding a 20-byte header
// (version, width, height, channels, depth as native 32-bit ints) and one
// block per channel (64 bytes of info text, then the samples).
//
// Kept so on purpose: samples are stored column by column (x outer, y
// inner), unlike the row order of the image's memory.
#include "fileio/CImageFileIO.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <vector>

#include "fileio/ImageSizeLimit.h"
#include "fileio/gzstream.h"

namespace {

constexpr int kInfoBytes = 64;
// Samples per read or write: large blocks for zlib, a bounded buffer
// whatever size a header declares.
constexpr std::size_t kBlockSamples = std::size_t(1) << 16;

// Where the file's order (x outer, y inner) is in the image's row-major
// storage.
struct ColumnMajorCursor
{
    std::size_t nWidth, nHeight, x = 0, y = 0;
    std::size_t index() const { return y * nWidth + x; }
    void next()
    {
        if (++y == nHeight) {
            y = 0;
            ++x;
        }
    }
};

// Blocks hold whole columns when a column fits, so that they are turned
// into rows (and back) one row at a time rather than one sample per row.
std::size_t columnsPerBlock(std::size_t nHeight)
{
    return nHeight <= kBlockSamples ? kBlockSamples / nHeight : 0;
}

// Reads the channel's samples in blocks. Where the file ends, the missing
// samples read as what a failed read leaves in the sample: the bytes of a
// half-read sample over the one before it, that value for the rest of the
// channel, zero for the channels after it. They are filled in one pass, so
// a short file costs what it holds, not what its header declares.
template <class S, class T>
void readColumnMajor(igzstream& in, CImage<T>& image, int iChannel)
{
    if (image.width() < 1 || image.height() < 1)
        return; // an empty plane of a header's (unchecked) width
    ColumnMajorCursor at{std::size_t(image.width()), std::size_t(image.height())};
    const std::size_t nSamples = at.nWidth * at.nHeight;
    const std::size_t nColumns = columnsPerBlock(at.nHeight);
    const std::size_t nBlock = nColumns ? nColumns * at.nHeight : kBlockSamples;
    T* pChannel = image.getChannelDataPtr(iChannel);
    std::vector<S> block(std::min(nSamples, nBlock));
    S sample = S(0);
    for (std::size_t nDone = 0; nDone < nSamples;) {
        const std::size_t nWanted = std::min(nSamples - nDone, nBlock);
        in.read(reinterpret_cast<char*>(block.data()), std::streamsize(nWanted * sizeof(S)));
        const std::size_t nBytes = std::size_t(in.gcount());
        const std::size_t nWhole = nBytes / sizeof(S);
        std::size_t i = 0;
        if (nColumns && at.y == 0) {
            // Whole columns, row by row.
            const std::size_t nFull = nWhole / at.nHeight;
            for (std::size_t y = 0; y < at.nHeight && nFull; ++y) {
                T* pRow = pChannel + y * at.nWidth + at.x;
                for (std::size_t k = 0; k < nFull; ++k)
                    pRow[k] = tirn::convertPixel<T>(block[k * at.nHeight + y]);
            }
            i = nFull * at.nHeight;
            at.x += nFull;
            if (i > 0)
                sample = block[i - 1];
        }
        for (; i < nWhole; ++i, at.next()) {
            sample = block[i];
            pChannel[at.index()] = tirn::convertPixel<T>(sample);
        }
        nDone += nWhole;
        if (nWhole < nWanted) {
            std::memcpy(&sample, reinterpret_cast<const char*>(block.data()) + nBytes - nBytes % sizeof(S),
                        nBytes % sizeof(S));
            // The rest of column at.x from row at.y on, and every later column.
            const T value = tirn::convertPixel<T>(sample);
            for (std::size_t y = 0; y < at.nHeight; ++y) {
                const std::size_t nFrom = y >= at.y ? at.x : at.x + 1;
                if (nFrom < at.nWidth)
                    std::fill(pChannel + y * at.nWidth + nFrom, pChannel + (y + 1) * at.nWidth,
                              value);
            }
            return;
        }
    }
}

template <class T>
bool writeColumnMajor(ogzstream& out, const CImage<T>& image, int iChannel)
{
    if (image.width() < 1 || image.height() < 1)
        return true;
    ColumnMajorCursor at{std::size_t(image.width()), std::size_t(image.height())};
    const std::size_t nSamples = at.nWidth * at.nHeight;
    const std::size_t nColumns = columnsPerBlock(at.nHeight);
    const std::size_t nBlock = nColumns ? nColumns * at.nHeight : kBlockSamples;
    const T* pChannel = image.getChannelDataPtr(iChannel);
    std::vector<T> block(std::min(nSamples, nBlock));
    for (std::size_t nDone = 0; nDone < nSamples;) {
        const std::size_t n = std::min(nSamples - nDone, nBlock);
        if (nColumns) {
            const std::size_t nFull = n / at.nHeight; // blocks end at column ends
            for (std::size_t y = 0; y < at.nHeight; ++y) {
                const T* pRow = pChannel + y * at.nWidth + at.x;
                for (std::size_t k = 0; k < nFull; ++k)
                    block[k * at.nHeight + y] = pRow[k];
            }
            at.x += nFull;
        } else {
            for (std::size_t i = 0; i < n; ++i, at.next())
                block[i] = pChannel[at.index()];
        }
        if (!out.write(reinterpret_cast<const char*>(block.data()),
                       std::streamsize(n * sizeof(T))))
            return false; // a failed write stays failed; nothing more goes out
        nDone += n;
    }
    return true;
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
        if (!writeColumnMajor(out, image, c))
            break;
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
