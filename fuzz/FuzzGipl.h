// The GIPL targets: a file whose type code the reader does not know ends the
// process by design, so such inputs are skipped, judged by the reader's own
// stream exactly as the reader reads the code.
#ifndef FUZZGIPL_H
#define FUZZGIPL_H

#include "FuzzCommon.h"
#include "fileio/CCompressedIFStream.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace tirnfuzz {

// The LZW decoder's tables are shared by the whole process and a corrupt
// stream can follow entries that an earlier stream left there, so what a
// read yields depends on what was decoded before. Before the check and
// again before the reader, the entries the input can reach are given the
// same value by decoding a stream of zero codes (each defines the next
// entry as 0 after 0) to its end: the reader then reads what the check
// read. An input of n bytes holds fewer than n codes, so its codes stay
// below 2 (257 + n); twice that many zero bytes hold more zero codes.
inline void resetDecoderTables(std::size_t nInputBytes)
{
    const std::size_t nCodes = std::min<std::size_t>(2 * (257 + nInputBytes) + 64, 65536);
    const std::vector<std::uint8_t> zeros(2 * nCodes, 0);
    const std::uint8_t kHeader[3] = {0x1f, 0x9d, 0x10}; // 16 bits, no CLEAR
    const std::string sPath = writeScratch("reset.Z", zeros.data(), zeros.size(), kHeader, 3);
    CCompressedIFStream in(sPath.c_str(), std::ios::in | std::ios::binary);
    char c;
    in.CRead(&c, 1 << 30, 1); // stores nothing: decodes every code
}

inline bool giplTypeKnown(const std::string& sPath, std::size_t size)
{
    // The same reads in the same order as the reader: a .Z stream decodes
    // from the start on every seek, so what offset 8 yields can depend on
    // what was read before it.
    resetDecoderTables(size);
    CCompressedIFStream in(sPath.c_str(), std::ios::in | std::ios::binary);
    unsigned int iMagic = 0;
    unsigned short x = 0, y = 0, z = 0, iType = 0;
    in.CReadAsUInt(&iMagic, 1, 252);
    in.CReadAsUShort(&x, 1, 0);
    in.CReadAsUShort(&y, 1, 2);
    in.CReadAsUShort(&z, 1, 4);
    in.CReadAsUShort(&iType, 1, 8);
    switch (iType) {
    case 7: case 8: case 15: case 16: case 31: case 32: case 64:
        return true;
    default:
        return false;
    }
}

inline void loadGipl(const std::string& sPath, std::size_t size)
{
    if (!giplTypeKnown(sPath, size))
        return;
    resetDecoderTables(size);
    loadAny(sPath, FORMAT_GIPL, size);
}

} // namespace tirnfuzz

#endif
