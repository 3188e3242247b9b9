// The matrix reader on the file as given: plain content, or gzip data that
// zlib decodes (the corpus holds both).
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    tirnfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tirnfuzz::loadAny(tirnfuzz::writeScratch("mtx", data, size), FORMAT_MTX, size);
    return 0;
}
