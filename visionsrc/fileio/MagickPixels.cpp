#include "fileio/MagickPixels.h"

#include <algorithm>
#include <array>
#include <vector>

#include "fileio/QuantumRows.h"

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

constexpr std::size_t kColourWords = std::size_t(1) << 18;

} // namespace

const Magick::PixelPacket* pixelRow(const Magick::Image& frame, std::size_t y)
{
    const Magick::PixelPacket* p = frame.getConstPixels(0, long(y), frame.columns(), 1);
    if (!p)
        throw Magick::ErrorCache("the pixels of a row cannot be fetched");
    return p;
}

bool rowToBytes(const Magick::PixelPacket* p, std::size_t n, unsigned char* pRed,
                unsigned char* pGreen, unsigned char* pBlue)
{
#if QuantumDepth == 16 && defined(MAGICK_PIXELS_BGRA)
    static_assert(sizeof(Magick::PixelPacket) == 4 * sizeof(std::uint16_t),
                  "the pixel cache must hold four plain 16-bit quanta per pixel");
    return simd::quantaToBytes(reinterpret_cast<const std::uint16_t*>(p), n, pRed, pGreen,
                               pBlue) == 0;
#else
    const QuantumToByte toByte;
    bool bExact = true;
    for (std::size_t x = 0; x < n; ++x) {
        pRed[x] = toByte(p[x].red);
        pGreen[x] = toByte(p[x].green);
        pBlue[x] = toByte(p[x].blue);
        bExact = bExact && p[x].red == pRed[x] * (MaxRGB / 255) &&
                 p[x].green == pGreen[x] * (MaxRGB / 255) &&
                 p[x].blue == pBlue[x] * (MaxRGB / 255);
    }
    return bExact;
#endif
}

// The thread's bitset, and whether a count left it unclear (one that was
// abandoned for sorting, or cut short by an exception).
struct ColourBits
{
    std::vector<std::uint64_t> words;
    bool bDirty = false;
};

ColourBits& threadColourBits()
{
    // Kept from count to count: a fresh 2 MB block costs more in page faults
    // than a typical count takes, and count() leaves it clear, so a count
    // after a finished one need not clear it again.
    thread_local ColourBits bits;
    return bits;
}

EightBitColours::EightBitColours()
{
    ColourBits& bits = threadColourBits();
    if (bits.words.size() != kColourWords)
        bits.words.assign(kColourWords, 0);
    else if (bits.bDirty)
        std::fill(bits.words.begin(), bits.words.end(), 0);
    bits.bDirty = true;
    m_pSeen = bits.words.data();
}

void EightBitColours::addRow(const unsigned char* pRed, const unsigned char* pGreen,
                             const unsigned char* pBlue, std::size_t n)
{
    simd::markColours(m_pSeen, pRed, pGreen, pBlue, n);
}

std::size_t EightBitColours::count()
{
    const std::size_t nColours = simd::countAndClear(m_pSeen, kColourWords);
    threadColourBits().bDirty = false;
    return nColours;
}

std::size_t countColours(const Magick::Image& frame)
{
    const std::size_t nWidth = frame.columns();
    const std::size_t nHeight = frame.rows();
    if (nWidth == 0 || nHeight == 0)
        return 0;
    // Pictures from 8-bit files hold only the quanta of 8-bit values: their
    // colours fit a bitset of 2^24. Any other quantum sends the count to
    // sorting.
    std::vector<unsigned char> bytes(3 * nWidth);
    EightBitColours colours;
    for (std::size_t y = 0; y < nHeight; ++y) {
        unsigned char* pRed = bytes.data();
        if (!rowToBytes(pixelRow(frame, y), nWidth, pRed, pRed + nWidth, pRed + 2 * nWidth))
            return countColoursBySorting(frame);
        colours.addRow(pRed, pRed + nWidth, pRed + 2 * nWidth, nWidth);
    }
    return colours.count();
}

std::size_t countColoursBySorting(const Magick::Image& frame)
{
    const std::size_t nWidth = frame.columns();
    const std::size_t nHeight = frame.rows();
    if (nWidth == 0 || nHeight == 0)
        return 0;
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
    std::size_t nColours = 1;
    for (std::size_t i = 1; i < keys.size(); ++i)
        nColours += keys[i] != keys[i - 1];
    return nColours;
#endif
}

} // namespace tirn
