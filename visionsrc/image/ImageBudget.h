// The one memory budget for everything that a file header or a script
// argument makes the library allocate: TIRNVISION_MAX_IMAGE_BYTES.
//
// Sizes come from untrusted places (a 21-byte file can declare 2^93
// samples), so every count here is combined with overflow checks; a size
// that does not fit in 64 bits is simply over budget.
#ifndef IMAGEBUDGET_H
#define IMAGEBUDGET_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <utility>

namespace tirn {

constexpr std::uint64_t kDefaultImageBudget = std::uint64_t(2) << 30; // 2 GiB

// The budget in bytes: TIRNVISION_MAX_IMAGE_BYTES when it holds a positive
// decimal number, else the default. Read at every check, so a host (or a
// test) may change it while the library is loaded.
std::uint64_t imageBudget();

// a * b and a + b in 64 bits; false when the result would not fit.
inline bool checkedMul(std::uint64_t a, std::uint64_t b, std::uint64_t& r)
{
    return !__builtin_mul_overflow(a, b, &r);
}
inline bool checkedAdd(std::uint64_t a, std::uint64_t b, std::uint64_t& r)
{
    return !__builtin_add_overflow(a, b, &r);
}

// Bytes held by an image of iChannels channels of iWidth x iHeight samples
// of nSampleBytes each: the pixels with their alignment slack, the row
// table (one pointer per row), the channel objects and the channel list.
// Negative sizes count as empty. False when the sum does not fit 64 bits.
bool imageFootprint(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels,
                    std::size_t nSampleBytes, std::uint64_t& nBytes);

// True when such an image fits the budget and its sample count
// (width * height * channels) is addressable by the int-based interface.
bool imageFitsBudget(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels,
                     std::size_t nSampleBytes);

// True when a plain buffer of nCount elements of nElementBytes fits.
bool bufferFitsBudget(std::uint64_t nCount, std::size_t nElementBytes);

// An allocation refused before it was tried. It is an allocation failure
// like any other to the image model; the host boundary reports its text.
class ImageTooLarge : public std::bad_alloc
{
public:
    ImageTooLarge(std::int64_t iWidth, std::int64_t iHeight, std::int64_t iChannels);
    explicit ImageTooLarge(std::string sText) : sMessage(std::move(sText)) {}
    const char* what() const noexcept override { return sMessage.c_str(); }

private:
    std::string sMessage;
};

} // namespace tirn

#endif
