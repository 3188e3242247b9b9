#include "fileio/ImageSizeLimit.h"

#include <iostream>

namespace tirn {

bool imageSizeFits(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels,
                   std::size_t nBytesPerSample)
{
    if (imageFitsBudget(iWidth, iHeight, iChannels, nBytesPerSample))
        return true;
    reportImageTooLarge(iWidth, iHeight, iChannels);
    return false;
}

void reportImageTooLarge(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels)
{
    std::cout << " Image too large (" << iWidth << " x " << iHeight << " x " << iChannels
              << ")" << std::endl;
}

} // namespace tirn
