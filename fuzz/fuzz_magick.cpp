// The GraphicsMagick path (format 2) on a handful of small formats; the
// input's size picks the extension, GraphicsMagick the coder.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    tirnfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const char* const apcExtensions[] = {"png", "gif", "bmp", "pnm"};
    const std::string sPath = tirnfuzz::writeScratch(apcExtensions[size / 3 % 4], data, size);
    tirnfuzz::loadAny(sPath, FORMAT_DEFAULT, size);
    return 0;
}
