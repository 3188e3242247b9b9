#ifndef CCOMPRESSEDOFSTREAM_H
#define CCOMPRESSEDOFSTREAM_H

#include <fstream>

// The writing side of CCompressedIFStream: typed values at absolute byte
// offsets with optional byte swapping. It writes plain data; there is no
// compressor.
class CCompressedOFStream : public std::ofstream
{
public:
    // The swap flag is set from swapping(): values are written big-endian
    // on this little-endian platform.
    CCompressedOFStream();
    CCompressedOFStream(const char* pcName, std::ios::openmode mode);

    // Writes nbytes bytes at byte offset; returns nbytes.
    int Write(char* src, int offset, int nbytes);

    // Single values are swapped in a copy. Arrays are swapped in place,
    // written and swapped back, so the caller's data ends unchanged. All
    // return the number of bytes written (element size x count).
    int WriteAsChar(char value, int offset);
    int WriteAsChar(char* values, int count, int offset);
    int WriteAsUChar(unsigned char value, int offset);
    int WriteAsUChar(unsigned char* values, int count, int offset);
    int WriteAsShort(short value, int offset);
    int WriteAsShort(short* values, int count, int offset);
    int WriteAsUShort(unsigned short value, int offset);
    int WriteAsUShort(unsigned short* values, int count, int offset);
    int WriteAsInt(int value, int offset);
    int WriteAsInt(int* values, int count, int offset);
    int WriteAsUInt(unsigned int value, int offset);
    int WriteAsUInt(unsigned int* values, int count, int offset);
    int WriteAsFloat(float value, int offset);
    int WriteAsFloat(float* values, int count, int offset);
    int WriteAsDouble(double value, int offset);
    int WriteAsDouble(double* values, int count, int offset);

    int swapping() { return 1; }
    // The flag the swap operations test; non-zero swaps.
    int swapFlag() const { return iSwap; }
    void setSwapFlag(int iFlag) { iSwap = iFlag; }
    void swap16(char* a, char* b, int count);
    void swap32(char* a, char* b, int count);
    void swap64(char* a, char* b, int count);

private:
    int iReserved = 0; // written by no operation; kept with the swap flag
    int iSwap;
};

#endif
