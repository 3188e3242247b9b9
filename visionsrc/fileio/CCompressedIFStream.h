#ifndef CCOMPRESSEDIFSTREAM_H
#define CCOMPRESSEDIFSTREAM_H

#include <fstream>

// A binary input file read as typed values at absolute byte offsets, with
// optional byte swapping. Files made by the Unix `compress` program (LZW,
// ".Z") are recognised by their magic bytes and decoded on the fly, so an
// offset always means an offset in the uncompressed data.
//
// The decoder keeps its tables in process-wide variables, as the classic
// `compress` does: only one compressed stream may be decoded at a time.
// Every read decodes the file again from its start.
class CCompressedIFStream : public std::ifstream
{
public:
    // The swap flag is set from swapping(): values are read big-endian on
    // this little-endian platform.
    CCompressedIFStream();
    CCompressedIFStream(const char* pcName, std::ios::openmode mode);

    // Copies nbytes bytes of the uncompressed content from offset on into
    // dst. 1 on success (also when the data ends early; the rest of dst is
    // then left as it was), 0 when a compressed file cannot be decoded.
    int CRead(char* dst, int offset, int nbytes);
    // How many bytes the last CRead stored into its destination; fewer than
    // it asked for means the data ended (or could not be decoded) there, so
    // a read further on stores nothing.
    int lastReadBytes() const { return nLastRead; }

    // Element counts first, byte offsets second; each returns the number of
    // bytes requested, whatever CRead reported.
    int CReadAsChar(char* dst, int count, int offset);
    int CReadAsUChar(unsigned char* dst, int count, int offset);
    int CReadAsShort(short* dst, int count, int offset);
    int CReadAsUShort(unsigned short* dst, int count, int offset);
    int CReadAsInt(int* dst, int count, int offset);
    int CReadAsUInt(unsigned int* dst, int count, int offset);
    int CReadAsFloat(float* dst, int count, int offset);
    int CReadAsDouble(double* dst, int count, int offset);

    // The next code of the current width, -1 at the end of the data. A
    // non-zero reset empties the code buffer first.
    int getcode(int reset);

    int swapping() { return 1; }
    // The flag the swap operations test; non-zero swaps.
    int swapFlag() const { return iSwap; }
    void setSwapFlag(int iFlag) { iSwap = iFlag; }
    // In place when a == b: reverse the bytes of each element, if the swap
    // flag is set.
    void swap16(char* a, char* b, int count);
    void swap32(char* a, char* b, int count);
    void swap64(char* a, char* b, int count);

private:
    int iReserved = 0; // read by no operation; kept with the swap flag
    int iSwap;
    int nLastRead = 0;
};

#endif
