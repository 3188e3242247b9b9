// The TIFF reader (libtiff, format 0).
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    tirnfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tirnfuzz::loadAny(tirnfuzz::writeScratch("tif", data, size), FORMAT_TIFF, size);
    return 0;
}
