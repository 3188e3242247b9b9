// The matrix reader behind the gzip stream: the input is the uncompressed
// content, compressed here, so mutations land on headers and samples rather
// than on the deflate bits.
#include <zlib.h>

#include "FuzzCommon.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    tirnfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string sPath = tirnfuzz::scratchDirectory() + "/in.mtx";
    gzFile f = gzopen(sPath.c_str(), "wb1");
    if (!f || (size && gzwrite(f, data, unsigned(size)) != int(size)) || gzclose(f) != Z_OK)
        std::abort();
    tirnfuzz::loadAny(sPath, FORMAT_MTX, size);
    return 0;
}
