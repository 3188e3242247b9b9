// GIPL volumes: a 256-byte big-endian header, then the samples slice by
// slice (slice = channel), each slice row by row. Read and written through
// the offset-addressed streams, so a volume may also be LZW-compressed on
// reading.
#include "fileio/CImageFileIO.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "fileio/ByteSwap.h"
#include "fileio/CCompressedIFStream.h"
#include "fileio/CCompressedOFStream.h"
#include "fileio/ImageSizeLimit.h"

namespace {

constexpr unsigned int kGiplMagic = 719555000;
constexpr int kHeaderBytes = 256;

enum TGiplType
{
    GIPL_CHAR = 7,
    GIPL_U_CHAR = 8,
    GIPL_SHORT = 15,
    GIPL_U_SHORT = 16,
    GIPL_U_INT = 31,
    GIPL_INT = 32,
    GIPL_FLOAT = 64
};

template <class S> int readSlice(CCompressedIFStream& in, S* pSlice, int count, int offset);
template <> int readSlice(CCompressedIFStream& in, signed char* p, int n, int offset)
{
    return in.CReadAsChar(reinterpret_cast<char*>(p), n, offset);
}
template <> int readSlice(CCompressedIFStream& in, unsigned char* p, int n, int offset)
{
    return in.CReadAsUChar(p, n, offset);
}
template <> int readSlice(CCompressedIFStream& in, short* p, int n, int offset)
{
    return in.CReadAsShort(p, n, offset);
}
template <> int readSlice(CCompressedIFStream& in, unsigned short* p, int n, int offset)
{
    return in.CReadAsUShort(p, n, offset);
}
template <> int readSlice(CCompressedIFStream& in, unsigned int* p, int n, int offset)
{
    return in.CReadAsUInt(p, n, offset);
}
template <> int readSlice(CCompressedIFStream& in, int* p, int n, int offset)
{
    return in.CReadAsInt(p, n, offset);
}
template <> int readSlice(CCompressedIFStream& in, float* p, int n, int offset)
{
    return in.CReadAsFloat(p, n, offset);
}

template <class S, class T> void convertSlice(const std::vector<S>& slice, T* pChannel)
{
    for (std::size_t i = 0; i < slice.size(); ++i)
        pChannel[i] = tirn::convertPixel<T>(slice[i]);
}

// Samples a short file does not deliver stay as the slice buffer held them
// (zero for the first slice, the previous slice's values after it), and
// every read swaps the whole buffer, its stale part too. Once a slice comes
// up short, the slices after it read nothing and only swap the buffer
// again: they are the short slice and its swapped form in turn, copied
// instead of read, so a short file costs what it holds.
template <class S, class T> void readSlices(CCompressedIFStream& in, CImage<T>& image)
{
    // Without slices a header may claim any plane size; w * h is only
    // known to fit for a volume that has samples.
    if (image.channels() < 1 || image.width() < 1 || image.height() < 1)
        return;
    const int nSlice = image.width() * image.height();
    const int nSliceBytes = nSlice * int(sizeof(S));
    std::vector<S> slice(std::size_t(nSlice), S(0));
    for (int c = 0; c < image.channels(); ++c) {
        readSlice(in, slice.data(), nSlice, kHeaderBytes + c * nSliceBytes);
        convertSlice(slice, image.getChannelDataPtr(c));
        if (in.lastReadBytes() >= nSliceBytes)
            continue;
        const bool bAlternates = in.swapFlag() && sizeof(S) > 1;
        for (int d = c + 1; d < image.channels(); ++d) {
            if (bAlternates && d == c + 1) {
                tirn::swapElements(reinterpret_cast<char*>(slice.data()),
                                   reinterpret_cast<char*>(slice.data()), nSlice, int(sizeof(S)));
                convertSlice(slice, image.getChannelDataPtr(d));
            } else {
                const T* pSame = image.getChannelDataPtr(bAlternates ? d - 2 : c);
                std::copy(pSame, pSame + nSlice, image.getChannelDataPtr(d));
            }
        }
        return;
    }
}

int bytesPerSample(int iType)
{
    switch (iType) {
    case GIPL_CHAR:
    case GIPL_U_CHAR:
        return 1;
    case GIPL_SHORT:
    case GIPL_U_SHORT:
        return 2;
    case GIPL_U_INT:
    case GIPL_INT:
    case GIPL_FLOAT:
        return 4;
    default:
        return 0;
    }
}

} // namespace

template <class T> int CImageFileIO<T>::loadGIPL(CImage<T>& image, const char* pcPath)
{
    CCompressedIFStream in(pcPath, std::ios::in | std::ios::binary);
    // Kept lenient: an unreadable file is reported and then read anyway;
    // its header reads as zeros.
    const bool bOpened = !in.fail();
    if (!bOpened)
        std::cout << "Error opening file" << std::endl;

    unsigned int iMagic = 0;
    unsigned short x = 0, y = 0, z = 0, iType = 0;
    in.CReadAsUInt(&iMagic, 1, 252); // not checked
    in.CReadAsUShort(&x, 1, 0);
    in.CReadAsUShort(&y, 1, 2);
    in.CReadAsUShort(&z, 1, 4);
    std::cout << " Reading GIPL volume (size: " << x << "x" << y << "x" << z << ")."
              << std::endl;
    in.CReadAsUShort(&iType, 1, 8);
    std::cout << " Type " << iType << std::endl;

    const int nBytes = bytesPerSample(iType);
    // An unknown type code in a file ends the process, silently: this is
    // the format's documented behaviour, not an oversight. A file that is
    // not there has no type at all and only fails the load.
    if (nBytes == 0) {
        if (!bOpened)
            return 0;
        std::exit(1);
    }
    // Slice offsets are int byte offsets: the whole volume must be
    // addressable with them. A volume with slices also needs a slice buffer.
    const std::int64_t nVolumeBytes = std::int64_t(x) * y * z * nBytes;
    if (nVolumeBytes > INT32_MAX - kHeaderBytes ||
        (z > 0 && !tirn::bufferFitsBudget(std::uint64_t(x) * y, std::size_t(nBytes)))) {
        tirn::reportImageTooLarge(x, y, z);
        return 0;
    }
    if (!tirn::resizeFromHeader(image, x, y, z))
        return 0;

    switch (iType) {
    case GIPL_CHAR:
        readSlices<signed char>(in, image);
        break;
    case GIPL_U_CHAR:
        readSlices<unsigned char>(in, image);
        break;
    case GIPL_SHORT:
        readSlices<short>(in, image);
        break;
    case GIPL_U_SHORT:
        readSlices<unsigned short>(in, image);
        break;
    case GIPL_U_INT:
        readSlices<unsigned int>(in, image);
        break;
    case GIPL_INT:
        readSlices<int>(in, image);
        break;
    case GIPL_FLOAT:
        readSlices<float>(in, image);
        break;
    }
    in.close();
    return 1;
}

namespace {

int giplTypeOf(int iDepth)
{
    switch (iDepth) {
    case 8:
        return GIPL_U_CHAR;
    case 16:
        // Kept so on purpose: 16-bit images are labelled signed although
        // their unsigned values are stored.
        return GIPL_SHORT;
    case 32:
        return GIPL_FLOAT;
    default:
        return 0;
    }
}

void writeSamples(CCompressedOFStream& out, unsigned char* p, int n)
{
    out.WriteAsUChar(p, n, kHeaderBytes);
}
void writeSamples(CCompressedOFStream& out, unsigned short* p, int n)
{
    out.WriteAsUShort(p, n, kHeaderBytes);
}
void writeSamples(CCompressedOFStream& out, float* p, int n)
{
    out.WriteAsFloat(p, n, kHeaderBytes);
}

} // namespace

template <class T> int CImageFileIO<T>::saveGIPL(const CImage<T>& image, const char* pcPath)
{
    // The streams address bytes with int offsets and counts.
    if (std::int64_t(std::max(image.pixels(), 0)) * std::int64_t(sizeof(T)) >
        INT32_MAX - kHeaderBytes) {
        tirn::reportImageTooLarge(image.width(), image.height(), image.channels());
        return 0;
    }
    CCompressedOFStream out(pcPath, std::ios::out | std::ios::binary);
    // Kept lenient: the failure is reported and the writes go nowhere; the
    // result stays 1.
    if (out.fail())
        std::cout << "Error opening file" << std::endl;

    const int iType = giplTypeOf(image.depth());
    out.WriteAsUShort(static_cast<unsigned short>(image.width()), 0);
    out.WriteAsUShort(static_cast<unsigned short>(image.height()), 2);
    out.WriteAsUShort(static_cast<unsigned short>(image.channels()), 4);
    out.WriteAsUShort(static_cast<unsigned short>(1), 6);
    if (iType)
        out.WriteAsUShort(static_cast<unsigned short>(iType), 8);
    float afPixelSize[4] = {1.0f, 1.0f, 1.0f, 0.0f};
    out.WriteAsFloat(afPixelSize, 4, 10);
    char acDescription[80] = {};
    out.WriteAsChar(acDescription, 80, 26);
    float afMatrix[12];
    for (int i = 0; i < 12; ++i)
        afMatrix[i] = (i == 0 || i == 5 || i == 10) ? 1.0f : 0.0f;
    out.WriteAsFloat(afMatrix, 12, 106);
    out.WriteAsInt(0, 154);
    char acReserved[28] = {};
    out.WriteAsChar(acReserved, 28, 158);
    out.WriteAsChar(char(0), 186);
    out.WriteAsChar(char(0), 187);
    T minValue, maxValue;
    image.findMinMax(minValue, maxValue);
    out.WriteAsDouble(double(minValue), 188);
    out.WriteAsDouble(double(maxValue), 196);
    double adOrigin[4] = {0.0, 0.0, 0.0, 0.0};
    out.WriteAsDouble(adOrigin, 4, 204);
    float afCalibration[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    out.WriteAsFloat(afCalibration, 4, 236);
    out.WriteAsUInt(kGiplMagic, 252);
    if (iType)
        out.WriteAsUShort(static_cast<unsigned short>(iType), 8);

    // Slice c starts at c * width * height and holds the channel in its
    // own row order; samples go out as they are.
    std::vector<T> samples(std::size_t(image.pixels() > 0 ? image.pixels() : 0));
    // Negative sizes multiply to a positive count of samples no channel holds.
    const std::size_t nSlice = image.width() > 0 && image.height() > 0
                                   ? std::size_t(image.width()) * std::size_t(image.height())
                                   : 0;
    for (int c = 0; c < image.channels() && nSlice > 0; ++c)
        std::copy(image.getChannelDataPtr(c), image.getChannelDataPtr(c) + nSlice,
                  samples.begin() + long(c * nSlice));
    writeSamples(out, samples.data(), int(samples.size()));
    out.close();
    return 1;
}

#define TIRN_INSTANTIATE_GIPL(T)                                                   \
    template int CImageFileIO<T>::loadGIPL(CImage<T>&, const char*);              \
    template int CImageFileIO<T>::saveGIPL(const CImage<T>&, const char*);
TIRN_INSTANTIATE_GIPL(unsigned char)
TIRN_INSTANTIATE_GIPL(unsigned short)
TIRN_INSTANTIATE_GIPL(float)
