// Bulk pixel work behind the GraphicsMagick reader and writer. Only those
// two (and their tests) include this header: it brings in Magick++.
#ifndef MAGICKPIXELS_H
#define MAGICKPIXELS_H

#include <cstddef>
#include <cstdint>

#include <Magick++.h>

namespace tirn {

// A quantum at the installed GraphicsMagick's depth as the reader stores
// it: fetched as a float in 0..1, times 255, rounded with rintf. The table
// form keeps that result exact without a float per sample.
unsigned char quantumToByte(Magick::Quantum q);

// The number of distinct colours of `frame`, counted like GraphicsMagick's
// own totalColors(): red, green and blue at full quantum precision, opacity
// not taken into account.
std::size_t countColours(const Magick::Image& frame);

// Row y of `frame` in GraphicsMagick's pixel cache, without a copy when the
// cache is in memory. Throws a Magick::Exception when it cannot be fetched.
const Magick::PixelPacket* pixelRow(const Magick::Image& frame, std::size_t y);

// 8-bit components to the quantum GraphicsMagick stores for them when it
// imports CharPixel data.
inline Magick::Quantum byteToQuantum(unsigned char c)
{
    return static_cast<Magick::Quantum>(c * (MaxRGB / 255));
}

} // namespace tirn

#endif
