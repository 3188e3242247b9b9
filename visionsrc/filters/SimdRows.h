// Row loops that the convolution's fast paths spend their time in, compiled
// for every SIMD target the machine may have and chosen when first called.
// Each keeps the scalar arithmetic exactly: a product rounded to its type,
// then the sum (never a fused multiply-add), pixel by pixel across the row.
#ifndef SIMDROWS_H
#define SIMDROWS_H

#include <cstddef>
#include <cstdint>

namespace tirn::simd {

// What becomes of a sum before it is stored: times fFactor, or divided by
// fCount where fFactor is 0 (a NaN factor counts as set); a factor of 1
// leaves the sum as it is. Then, with bAbs, v > 0 ? v : -v.
struct SumFinish
{
    float fFactor = 1.0f;
    float fCount = 1.0f;
    bool bAbs = false;
};

// out[x] = the sum over k = 0 ... nTerms-1, in that order, of
// weights[k] * bases[k][x], in single precision starting from 0.0f, for x
// in [0, n), finished as given. The caller lists the terms in the order its
// sum is defined in. out must not overlap what the bases point to: pixels
// may be computed and stored more than once.
void sumTerms(float* out, const float* const* bases, const float* weights, int nTerms,
              std::size_t n, const SumFinish& finish = SumFinish());

// acc[x] += w * row[x] in 32-bit integers; the caller has proven that no
// product or sum leaves the range.
void addWeightedRow(std::int32_t* acc, const unsigned char* row, std::int32_t w, std::size_t n);
void addWeightedRow(std::int32_t* acc, const unsigned short* row, std::int32_t w, std::size_t n);

// sums[x] += (uint32) truncateToInt32(w * row[x]): the product in single
// precision, truncated toward zero, INT32_MIN for NaN and out of range, the
// sum wrapping modulo 2^32.
void addTruncatedProducts(std::uint32_t* sums, const float* row, float w, std::size_t n);

// prefix[x + 1] = prefix[x] + col[x] for x in [0, n), from prefix[0] = 0,
// modulo 2^32.
void prefixSums(const std::int32_t* col, std::uint32_t* prefix, std::size_t n);

// The name of the target the calls above run on ("AVX2", "SSE4", ...).
const char* targetName();

} // namespace tirn::simd

#endif
