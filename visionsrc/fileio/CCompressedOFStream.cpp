#include "fileio/CCompressedOFStream.h"

#include "fileio/ByteSwap.h"

namespace {

// Writes count values of V, byte-reversed when the stream swaps; the
// caller's array is restored afterwards.
template <class V>
int writeSwapped(CCompressedOFStream& stream, V* values, int count, int offset)
{
    char* p = reinterpret_cast<char*>(values);
    const int nBytes = int(sizeof(V)) * count;
    const bool bSwap = stream.swapFlag() && sizeof(V) > 1;
    if (bSwap)
        tirn::swapElements(p, p, count, int(sizeof(V)));
    stream.Write(p, offset, nBytes);
    if (bSwap)
        tirn::swapElements(p, p, count, int(sizeof(V)));
    return nBytes;
}

} // namespace

CCompressedOFStream::CCompressedOFStream() : iSwap(swapping()) {}

CCompressedOFStream::CCompressedOFStream(const char* pcName, std::ios::openmode mode)
    : std::ofstream(pcName, mode), iSwap(swapping())
{
}

int CCompressedOFStream::Write(char* src, int offset, int nbytes)
{
    seekp(offset);
    write(src, nbytes);
    return nbytes;
}

int CCompressedOFStream::WriteAsChar(char value, int offset)
{
    return writeSwapped(*this, &value, 1, offset);
}

int CCompressedOFStream::WriteAsChar(char* values, int count, int offset)
{
    return writeSwapped(*this, values, count, offset);
}

int CCompressedOFStream::WriteAsUChar(unsigned char value, int offset)
{
    return writeSwapped(*this, &value, 1, offset);
}

int CCompressedOFStream::WriteAsUChar(unsigned char* values, int count, int offset)
{
    return writeSwapped(*this, values, count, offset);
}

int CCompressedOFStream::WriteAsShort(short value, int offset)
{
    return writeSwapped(*this, &value, 1, offset);
}

int CCompressedOFStream::WriteAsShort(short* values, int count, int offset)
{
    return writeSwapped(*this, values, count, offset);
}

int CCompressedOFStream::WriteAsUShort(unsigned short value, int offset)
{
    return writeSwapped(*this, &value, 1, offset);
}

int CCompressedOFStream::WriteAsUShort(unsigned short* values, int count, int offset)
{
    return writeSwapped(*this, values, count, offset);
}

int CCompressedOFStream::WriteAsInt(int value, int offset)
{
    return writeSwapped(*this, &value, 1, offset);
}

int CCompressedOFStream::WriteAsInt(int* values, int count, int offset)
{
    return writeSwapped(*this, values, count, offset);
}

int CCompressedOFStream::WriteAsUInt(unsigned int value, int offset)
{
    return writeSwapped(*this, &value, 1, offset);
}

int CCompressedOFStream::WriteAsUInt(unsigned int* values, int count, int offset)
{
    return writeSwapped(*this, values, count, offset);
}

int CCompressedOFStream::WriteAsFloat(float value, int offset)
{
    return writeSwapped(*this, &value, 1, offset);
}

int CCompressedOFStream::WriteAsFloat(float* values, int count, int offset)
{
    return writeSwapped(*this, values, count, offset);
}

int CCompressedOFStream::WriteAsDouble(double value, int offset)
{
    return writeSwapped(*this, &value, 1, offset);
}

int CCompressedOFStream::WriteAsDouble(double* values, int count, int offset)
{
    return writeSwapped(*this, values, count, offset);
}

void CCompressedOFStream::swap16(char* a, char* b, int count)
{
    if (iSwap)
        tirn::swapElements(a, b, count, 2);
}

void CCompressedOFStream::swap32(char* a, char* b, int count)
{
    if (iSwap)
        tirn::swapElements(a, b, count, 4);
}

void CCompressedOFStream::swap64(char* a, char* b, int count)
{
    if (iSwap)
        tirn::swapElements(a, b, count, 8);
}
