// Sizes read from file headers are untrusted: they are checked here against
// the memory budget (image/ImageBudget.h), without overflow, before anything
// is multiplied in int or allocated.
#ifndef IMAGESIZELIMIT_H
#define IMAGESIZELIMIT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

#include "image/CImage.h"
#include "image/ImageBudget.h"

namespace tirn {

// True if an image of this header size can be built: at most INT32_MAX
// samples (what the int-based image interface addresses), pixels, row
// tables and channels within TIRNVISION_MAX_IMAGE_BYTES. Negative sizes
// count as empty. Otherwise prints " Image too large (W x H x C)" and a
// line end on standard output.
bool imageSizeFits(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels,
                   std::size_t nBytesPerSample);

// Prints the " Image too large" line for sizes the image itself refused.
void reportImageTooLarge(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels);

// Resizes `image` to a header's size, or reports and returns false. A
// negative channel count gives an image without channels, like negative
// widths and heights give empty channels.
template <class T>
bool resizeFromHeader(CImage<T>& image, int iWidth, int iHeight, int iChannels)
{
    if (!imageSizeFits(iWidth, iHeight, iChannels, sizeof(T)))
        return false;
    try {
        image.resize(iWidth, iHeight, std::max(iChannels, 0));
    } catch (const std::bad_alloc&) {
        reportImageTooLarge(iWidth, iHeight, iChannels);
        return false;
    }
    return true;
}

} // namespace tirn

#endif
