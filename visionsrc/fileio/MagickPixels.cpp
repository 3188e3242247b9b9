#include "fileio/MagickPixels.h"

#include <algorithm>
#include <array>
#include <vector>

namespace tirn {

namespace {

// 8-bit values are stored as whole multiples of MaxRGB / 255.
static_assert(MaxRGB % 255 == 0, "8-bit values must map to whole quanta");

// Sorts keys of `nBits` significant bits with 16-bit digits, least
// significant first; a digit that is the same in every key is skipped.
[[maybe_unused]] void radixSort(std::vector<std::uint64_t>& keys, int nBits)
{
    std::vector<std::uint64_t> scratch(keys.size());
    std::vector<std::size_t> counts(65536);
    for (int iShift = 0; iShift < nBits; iShift += 16) {
        std::fill(counts.begin(), counts.end(), 0);
        for (std::uint64_t k : keys)
            ++counts[(k >> iShift) & 0xffff];
        if (counts[(keys[0] >> iShift) & 0xffff] == keys.size())
            continue;
        std::size_t nSum = 0;
        for (std::size_t& n : counts) {
            const std::size_t nHere = n;
            n = nSum;
            nSum += nHere;
        }
        for (std::uint64_t k : keys)
            scratch[counts[(k >> iShift) & 0xffff]++] = k;
        keys.swap(scratch);
    }
}

// The 8-bit value of a quantum and whether the quantum is exactly that
// value's quantum.
#if QuantumDepth == 16
// 8-bit values are stored times 257: both bytes the same.
inline unsigned byteOf(unsigned q) { return q >> 8; }
inline unsigned inexactBits(unsigned q) { return (q ^ (q >> 8)) & 0xff; }
#else
inline unsigned byteOf(unsigned q) { return q / (MaxRGB / 255); }
inline unsigned inexactBits(unsigned q) { return q % (MaxRGB / 255); }
#endif

// Set bits of a word, without relying on the build target's popcount.
inline unsigned bitsSet(std::uint64_t x)
{
    x = x - ((x >> 1) & 0x5555555555555555ULL);
    x = (x & 0x3333333333333333ULL) + ((x >> 2) & 0x3333333333333333ULL);
    x = (x + (x >> 4)) & 0x0f0f0f0f0f0f0f0fULL;
    return unsigned((x * 0x0101010101010101ULL) >> 56);
}

// Counts into a bitset of all 8-bit colours; false (count unfinished) as
// soon as a row holds a quantum between two 8-bit values.
bool countEightBitColours(const Magick::Image& frame, std::size_t nWidth,
                          std::size_t nHeight, std::size_t& nColours)
{
    // Kept from call to call: a fresh 2 MB block costs more in page faults
    // than a typical count takes.
    thread_local std::vector<std::uint64_t> seen;
    seen.assign(std::size_t(1) << 18, 0);
    for (std::size_t y = 0; y < nHeight; ++y) {
        const Magick::PixelPacket* p = pixelRow(frame, y);
        unsigned uInexact = 0;
        for (std::size_t x = 0; x < nWidth; ++x) {
            const unsigned r = p[x].red, g = p[x].green, b = p[x].blue;
            uInexact |= inexactBits(r) | inexactBits(g) | inexactBits(b);
            const std::uint32_t k = byteOf(r) << 16 | byteOf(g) << 8 | byteOf(b);
            seen[k >> 6] |= std::uint64_t(1) << (k & 63);
        }
        if (uInexact)
            return false;
    }
    nColours = 0;
    for (std::uint64_t word : seen)
        nColours += bitsSet(word);
    return true;
}

} // namespace

const Magick::PixelPacket* pixelRow(const Magick::Image& frame, std::size_t y)
{
    const Magick::PixelPacket* p = frame.getConstPixels(0, long(y), frame.columns(), 1);
    if (!p)
        throw Magick::ErrorCache("the pixels of a row cannot be fetched");
    return p;
}

std::size_t countColours(const Magick::Image& frame)
{
    std::size_t nColours = 0;
    const std::size_t nWidth = frame.columns();
    const std::size_t nHeight = frame.rows();
    if (nWidth == 0 || nHeight == 0)
        return 0;
    // Pictures from 8-bit files hold only the quanta of 8-bit values: their
    // colours fit a bitset of 2^24. Any other quantum sends the count to
    // sorting.
    if (countEightBitColours(frame, nWidth, nHeight, nColours))
        return nColours;

#if QuantumDepth > 16
    // Three 32-bit quanta do not fit one key.
    std::vector<std::array<std::uint32_t, 3>> triples;
    triples.reserve(nWidth * nHeight);
    for (std::size_t y = 0; y < nHeight; ++y) {
        const Magick::PixelPacket* p = pixelRow(frame, y);
        for (std::size_t x = 0; x < nWidth; ++x)
            triples.push_back({p[x].red, p[x].green, p[x].blue});
    }
    std::sort(triples.begin(), triples.end());
    return std::size_t(std::unique(triples.begin(), triples.end()) - triples.begin());
#else
    std::vector<std::uint64_t> keys(nWidth * nHeight);
    std::uint64_t* pKey = keys.data();
    for (std::size_t y = 0; y < nHeight; ++y) {
        const Magick::PixelPacket* p = pixelRow(frame, y);
        for (std::size_t x = 0; x < nWidth; ++x)
            *pKey++ = std::uint64_t(p[x].red) << (2 * QuantumDepth) |
                      std::uint64_t(p[x].green) << QuantumDepth | std::uint64_t(p[x].blue);
    }
    radixSort(keys, 3 * QuantumDepth);
    nColours = 1;
    for (std::size_t i = 1; i < keys.size(); ++i)
        nColours += keys[i] != keys[i - 1];
    return nColours;
#endif
}

} // namespace tirn
