// Row loops of the colour conversions, compiled for every SIMD target the
// machine may have and chosen when first called. Each does the scalar
// arithmetic exactly: the same operations in the same precision and order,
// never a fused multiply-add.
#ifndef SIMDCOLOUR_H
#define SIMDCOLOUR_H

#include <cstddef>

namespace tirn::simd {

// YUV to RGB of n pixels as CYuv2Rgb defines it: the offsets (16 for Y, 128
// for U and V, when bOffset) taken in single precision, then
// R = Y + 1.402 V, G = (Y - 0.7141 V) - 0.3441 U, B = Y + 1.772 U in double,
// each clamped to 0...255 (NaN passes) and stored the library's way.
void yuvToRgbRow(const unsigned char* pY, const unsigned char* pU, const unsigned char* pV,
                 std::size_t n, bool bOffset, unsigned char* pR, unsigned char* pG,
                 unsigned char* pB);
void yuvToRgbRow(const unsigned short* pY, const unsigned short* pU, const unsigned short* pV,
                 std::size_t n, bool bOffset, unsigned short* pR, unsigned short* pG,
                 unsigned short* pB);
void yuvToRgbRow(const float* pY, const float* pU, const float* pV, std::size_t n,
                 bool bOffset, float* pR, float* pG, float* pB);

// The pseudo colour scale of n values, each component times 255.0f, all in
// single precision as the colour map computes and stores them. The scale
// writes nothing for a NaN: the row stops before the first vector holding
// one, and the number of values done is returned. pR may be pV: each vector
// of values is read before its colours are written.
std::size_t pseudoColourRow(const float* pV, std::size_t n, float* pR, float* pG, float* pB);

// RGB to HSI of n pixels in double as CHsiRgbFilter defines it:
// i = (r + g + b) * 0.3333333333, s = i <= 0 ? 0 : 1 - min(r, g, b) / i, and
// h = 0 where r == g == b, else theta / 2pi with
// theta = acos((r - (g + b) * 0.5) / sqrt((r - g)^2 + (r - b)(g - b))),
// taken from 2pi where b / i > g / i. The acos is the C library's.
void rgbToHsiRow(const double* pR, const double* pG, const double* pB, std::size_t n,
                 double* pH, double* pS, double* pI);

} // namespace tirn::simd

#endif
