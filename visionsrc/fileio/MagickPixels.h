// Bulk pixel work behind the GraphicsMagick reader and writer. Only those
// two (and their tests) include this header: it brings in Magick++.
#ifndef MAGICKPIXELS_H
#define MAGICKPIXELS_H

#include <cmath>
#include <cstddef>
#include <cstdint>

#include <Magick++.h>

namespace tirn {

// What GraphicsMagick's float "RGB" export followed by the reader's
// scaling (times 255, rintf) gives for a quantum; proven equal to the export
// for every quantum value in the tests.
inline unsigned char scaleQuantum(std::uint64_t q)
{
    const float f = static_cast<float>(double(q) / double(MaxRGB));
    return static_cast<unsigned char>(std::rint(255.0f * f));
}

// scaleQuantum() as the reader applies it to every sample. Up to 16-bit
// quanta it is plain integer rounding to the nearest of 255 steps (no
// quantum falls on a tie); the tests check every quantum against the export.
class QuantumToByte
{
public:
    unsigned char operator()(Magick::Quantum q) const
    {
#if QuantumDepth <= 16
        return static_cast<unsigned char>((unsigned(q) * 255u + MaxRGB / 2) / MaxRGB);
#else
        return scaleQuantum(q);
#endif
    }
};

// Row y of `frame` in GraphicsMagick's pixel cache, without a copy when the
// cache is in memory. Throws a Magick::Exception when it cannot be fetched.
const Magick::PixelPacket* pixelRow(const Magick::Image& frame, std::size_t y);

// Scales the n pixels at p to bytes with QuantumToByte, red, green and blue
// into their rows. True when every one of those quanta is exactly the
// quantum of its 8-bit value.
bool rowToBytes(const Magick::PixelPacket* p, std::size_t n, unsigned char* pRed,
                unsigned char* pGreen, unsigned char* pBlue);

// The distinct colours of a frame whose quanta are all 8-bit values, added
// row by row as the reader goes through the frame, so that the pixels are
// fetched once for both.
// One count at a time per thread: the bitset is the thread's own and is
// kept between counts.
class EightBitColours
{
public:
    EightBitColours();
    void addRow(const unsigned char* pRed, const unsigned char* pGreen,
                const unsigned char* pBlue, std::size_t n);
    // The count; the bitset is left clear for the next one.
    std::size_t count();

private:
    std::uint64_t* m_pSeen; // 2^24 bits, one per colour
};

// The number of distinct colours of `frame`, counted like GraphicsMagick's
// own totalColors(): red, green and blue at full quantum precision, opacity
// not taken into account.
std::size_t countColours(const Magick::Image& frame);

// The same count by sorting every pixel's quanta: for frames with a quantum
// between two 8-bit values, where EightBitColours does not apply.
std::size_t countColoursBySorting(const Magick::Image& frame);

} // namespace tirn

#endif
