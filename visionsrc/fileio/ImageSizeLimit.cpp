#include "fileio/ImageSizeLimit.h"

#include <algorithm>
#include <iostream>

#include <unistd.h>

namespace tirn {

namespace {

std::int64_t physicalMemory()
{
    const long nPages = sysconf(_SC_PHYS_PAGES);
    const long nPageSize = sysconf(_SC_PAGESIZE);
    if (nPages <= 0 || nPageSize <= 0)
        return INT64_MAX;
    return std::int64_t(nPages) * nPageSize;
}

} // namespace

bool imageSizeFits(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels,
                   std::size_t nBytesPerSample)
{
    // Each operand fits in 32 bits, so no product below overflows 64 bits.
    const std::int64_t w = std::max<std::int64_t>(iWidth, 0);
    const std::int64_t h = std::max<std::int64_t>(iHeight, 0);
    const std::int64_t c = std::max<std::int64_t>(iChannels, 0);
    const std::int64_t nSamples = w * h * c;
    // Empty channels still cost their bookkeeping; count them as one
    // sample's worth plus a little so that a million empty channels are
    // not free.
    const std::int64_t nBytes =
        std::max<std::int64_t>(w * h, 1) * c * std::int64_t(nBytesPerSample) + c * 256;
    if (nSamples <= INT32_MAX && nBytes <= physicalMemory())
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
