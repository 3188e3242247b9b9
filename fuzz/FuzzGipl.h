// The GIPL targets: a file whose type code the reader does not know ends the
// process by design, so such inputs are skipped, judged by the reader's own
// stream exactly as the reader reads the code.
#ifndef FUZZGIPL_H
#define FUZZGIPL_H

#include "FuzzCommon.h"
#include "fileio/CCompressedIFStream.h"

namespace tirnfuzz {

inline bool giplTypeKnown(const std::string& sPath)
{
    // The same reads in the same order as the reader: a .Z stream decodes
    // from the start on every seek, so what offset 8 yields can depend on
    // what was read before it.
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
    if (giplTypeKnown(sPath))
        loadAny(sPath, FORMAT_GIPL, size);
}

} // namespace tirnfuzz

#endif
