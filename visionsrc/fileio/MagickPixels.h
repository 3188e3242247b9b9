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

// The number of distinct colours of `frame`, counted like GraphicsMagick's
// own totalColors(): red, green and blue at full quantum precision, opacity
// not taken into account.
std::size_t countColours(const Magick::Image& frame);

} // namespace tirn

#endif
