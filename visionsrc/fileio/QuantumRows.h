// The row loops of the GraphicsMagick reader, compiled for every SIMD target
// the machine may have and chosen when first called. They take the pixel
// cache's 16-bit quanta as plain words so that only the reader needs
// Magick++.
#ifndef QUANTUMROWS_H
#define QUANTUMROWS_H

#include <cstddef>
#include <cstdint>

namespace tirn::simd {

// Scales n pixels of 16-bit quanta, stored blue, green, red, opacity, to
// bytes as (q * 255 + 32767) / 65535 (what the float export followed by
// rintf gives). Returns 0 when every red, green and blue quantum is exactly
// an 8-bit value times 257, else non-zero.
unsigned quantaToBytes(const std::uint16_t* pBGRA, std::size_t n, std::uint8_t* pRed,
                       std::uint8_t* pGreen, std::uint8_t* pBlue);

// Sets the bit of every colour (red << 16 | green << 8 | blue) of the row in
// a bitset of 2^24 bits.
void markColours(std::uint64_t* pSeen, const std::uint8_t* pRed, const std::uint8_t* pGreen,
                 const std::uint8_t* pBlue, std::size_t n);

// The number of set bits in the nWords words at pSeen, each word cleared on
// the way.
std::size_t countAndClear(std::uint64_t* pSeen, std::size_t nWords);

} // namespace tirn::simd

#endif
