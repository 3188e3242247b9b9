#include "image/ImageBudget.h"

#include <cerrno>
#include <cstdlib>

#include "image/CImageChannel.h"

namespace tirn {

std::uint64_t imageBudget()
{
    const char* pcValue = std::getenv("TIRNVISION_MAX_IMAGE_BYTES");
    if (!pcValue || *pcValue < '0' || *pcValue > '9')
        return kDefaultImageBudget;
    char* pcEnd = nullptr;
    errno = 0;
    const unsigned long long n = std::strtoull(pcValue, &pcEnd, 10);
    if (errno != 0 || *pcEnd != '\0' || n == 0)
        return kDefaultImageBudget;
    return n;
}

bool imageFootprint(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels,
                    std::size_t nSampleBytes, std::uint64_t& nBytes)
{
    const std::uint64_t c = iChannels > 0 ? std::uint64_t(iChannels) : 0;
    // A channel object and its list entry exist whatever the plane size;
    // a million empty channels are not free.
    const std::uint64_t nPerChannel = sizeof(CImageChannel<float>) + sizeof(void*);
    std::uint64_t nChannel = nPerChannel;
    if (iWidth > 0 && iHeight > 0) {
        std::uint64_t nPixels, nRows;
        if (!checkedMul(std::uint64_t(iWidth), std::uint64_t(iHeight), nPixels) ||
            !checkedMul(nPixels, nSampleBytes, nPixels) ||
            !checkedMul(std::uint64_t(iHeight), sizeof(void*), nRows) ||
            !checkedAdd(nChannel, nPixels, nChannel) || !checkedAdd(nChannel, nRows, nChannel) ||
            !checkedAdd(nChannel, 31, nChannel))
            return false;
    }
    return checkedMul(nChannel, c, nBytes);
}

bool imageFitsBudget(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels,
                     std::size_t nSampleBytes)
{
    std::uint64_t nBytes, nSamples;
    if (!imageFootprint(iWidth, iHeight, iChannels, nSampleBytes, nBytes))
        return false;
    if (iWidth > 0 && iHeight > 0 && iChannels > 0 &&
        (!checkedMul(std::uint64_t(iWidth), std::uint64_t(iHeight), nSamples) ||
         !checkedMul(nSamples, std::uint64_t(iChannels), nSamples) || nSamples > INT32_MAX))
        return false;
    return nBytes <= imageBudget();
}

bool bufferFitsBudget(std::uint64_t nCount, std::size_t nElementBytes)
{
    std::uint64_t nBytes;
    return checkedMul(nCount, nElementBytes, nBytes) && nBytes <= imageBudget();
}

ImageTooLarge::ImageTooLarge(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels)
    : sMessage("Image too large (" + std::to_string(iWidth) + " x " + std::to_string(iHeight) +
               " x " + std::to_string(iChannels) + "): more than TIRNVISION_MAX_IMAGE_BYTES\n")
{
}

} // namespace tirn
