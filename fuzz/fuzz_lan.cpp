// The ERDAS/LAN reader.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    tirnfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tirnfuzz::loadAny(tirnfuzz::writeScratch("lan", data, size), FORMAT_LAN, size);
    return 0;
}
