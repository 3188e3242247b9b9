#include "fileio/CCompressedOFStream.h"

#include "fileio/ByteSwap.h"

namespace {

template <class V> char* bytesOf(V* p) { return reinterpret_cast<char*>(p); }

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
    return Write(&value, offset, 1);
}

int CCompressedOFStream::WriteAsChar(char* values, int count, int offset)
{
    return Write(values, offset, count);
}

int CCompressedOFStream::WriteAsUChar(unsigned char value, int offset)
{
    return Write(bytesOf(&value), offset, 1);
}

int CCompressedOFStream::WriteAsUChar(unsigned char* values, int count, int offset)
{
    return Write(bytesOf(values), offset, count);
}

int CCompressedOFStream::WriteAsShort(short value, int offset)
{
    swap16(bytesOf(&value), bytesOf(&value), 1);
    return Write(bytesOf(&value), offset, 2);
}

int CCompressedOFStream::WriteAsShort(short* values, int count, int offset)
{
    char* p = bytesOf(values);
    swap16(p, p, count);
    Write(p, offset, 2 * count);
    swap16(p, p, count);
    return 2 * count;
}

int CCompressedOFStream::WriteAsUShort(unsigned short value, int offset)
{
    swap16(bytesOf(&value), bytesOf(&value), 1);
    return Write(bytesOf(&value), offset, 2);
}

int CCompressedOFStream::WriteAsUShort(unsigned short* values, int count, int offset)
{
    char* p = bytesOf(values);
    swap16(p, p, count);
    Write(p, offset, 2 * count);
    swap16(p, p, count);
    return 2 * count;
}

int CCompressedOFStream::WriteAsInt(int value, int offset)
{
    swap32(bytesOf(&value), bytesOf(&value), 1);
    return Write(bytesOf(&value), offset, 4);
}

int CCompressedOFStream::WriteAsInt(int* values, int count, int offset)
{
    char* p = bytesOf(values);
    swap32(p, p, count);
    Write(p, offset, 4 * count);
    swap32(p, p, count);
    return 4 * count;
}

int CCompressedOFStream::WriteAsUInt(unsigned int value, int offset)
{
    swap32(bytesOf(&value), bytesOf(&value), 1);
    return Write(bytesOf(&value), offset, 4);
}

int CCompressedOFStream::WriteAsUInt(unsigned int* values, int count, int offset)
{
    char* p = bytesOf(values);
    swap32(p, p, count);
    Write(p, offset, 4 * count);
    swap32(p, p, count);
    return 4 * count;
}

int CCompressedOFStream::WriteAsFloat(float value, int offset)
{
    swap32(bytesOf(&value), bytesOf(&value), 1);
    return Write(bytesOf(&value), offset, 4);
}

int CCompressedOFStream::WriteAsFloat(float* values, int count, int offset)
{
    char* p = bytesOf(values);
    swap32(p, p, count);
    Write(p, offset, 4 * count);
    swap32(p, p, count);
    return 4 * count;
}

int CCompressedOFStream::WriteAsDouble(double value, int offset)
{
    swap64(bytesOf(&value), bytesOf(&value), 1);
    return Write(bytesOf(&value), offset, 8);
}

int CCompressedOFStream::WriteAsDouble(double* values, int count, int offset)
{
    char* p = bytesOf(values);
    swap64(p, p, count);
    Write(p, offset, 8 * count);
    swap64(p, p, count);
    return 8 * count;
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
