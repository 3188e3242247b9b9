// The GIPL reader on plain files.
#include "FuzzGipl.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    tirnfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tirnfuzz::loadGipl(tirnfuzz::writeScratch("gipl", data, size), size);
    return 0;
}
