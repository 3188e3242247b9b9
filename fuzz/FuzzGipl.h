// The GIPL targets: a file whose type code the reader does not know ends the
// process by design, so such inputs are skipped, judged by the reader's own
// stream exactly as the reader reads the code.
#ifndef FUZZGIPL_H
#define FUZZGIPL_H

#include "FuzzCommon.h"
#include "fileio/CCompressedIFStream.h"

#include <cstdio>
#include <vector>

namespace tirnfuzz {

// The LZW decoder's tables are shared by the whole process and a corrupt
// stream can follow entries that an earlier stream left there, so what a
// read yields depends on what was decoded before. Before the check and
// again before the reader, every entry is given the same value by decoding
// a stream of 16-bit zero codes (each defines the next entry as 0 after 0)
// to its end: the reader then reads what the check read.
inline void resetDecoderTables()
{
    static const std::string sPath = [] {
        std::vector<std::uint8_t> zeros(std::size_t(1) << 17, 0);
        const std::uint8_t kHeader[3] = {0x1f, 0x9d, 0x10}; // 16 bits, no CLEAR
        std::string sFile = writeScratch("reset.Z", zeros.data(), zeros.size(), kHeader, 3);
        const std::string sKept = scratchDirectory() + "/decoder_reset.Z";
        if (std::rename(sFile.c_str(), sKept.c_str()) != 0)
            std::abort();
        return sKept;
    }();
    CCompressedIFStream in(sPath.c_str(), std::ios::in | std::ios::binary);
    char c;
    in.CRead(&c, 1 << 30, 1); // stores nothing: decodes every code
}

inline bool giplTypeKnown(const std::string& sPath)
{
    // The same reads in the same order as the reader: a .Z stream decodes
    // from the start on every seek, so what offset 8 yields can depend on
    // what was read before it.
    resetDecoderTables();
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
    if (!giplTypeKnown(sPath))
        return;
    resetDecoderTables();
    loadAny(sPath, FORMAT_GIPL, size);
}

} // namespace tirnfuzz

#endif
