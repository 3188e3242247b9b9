// The GIPL reader through the LZW (.Z) stream: the input follows the two
// magic bytes, which are always put in front, so every input reaches the
// decoder (flags byte, then the codes).
#include "FuzzGipl.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    tirnfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::uint8_t kMagic[2] = {0x1f, 0x9d};
    tirnfuzz::loadGipl(tirnfuzz::writeScratch("gipl", data, size, kMagic, 2), size);
    return 0;
}
