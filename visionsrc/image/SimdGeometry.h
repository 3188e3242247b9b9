// Row loops of the image geometry, compiled for every SIMD target the
// machine may have and chosen when first called. They do the scalar
// arithmetic exactly: the same operations in the same precision and order,
// never a fused multiply-add.
#ifndef SIMDGEOMETRY_H
#define SIMDGEOMETRY_H

#include <cstddef>

namespace tirn::simd {

// One row of a bilinear resampling: for x in [0, n)
//   out[x] = (1 - dx) * (1 - dy) * row0[ix0] + (1 - dy) * dx * row0[ix1]
//            + dx * dy * row1[ix1] + dy * (1 - dx) * row1[ix0]
// with dx = pDx[x], ix0 = pIx0[x], ix1 = pIx1[x], evaluated left to right in
// single precision. Every index must lie inside both rows. pPairRuns is
// pairRuns() of the indices, the same for every row.
void bilinearRow(float* out, const float* row0, const float* row1, const int* pIx0,
                 const int* pIx1, const int* pPairRuns, const float* pDx, float dy,
                 std::size_t n);

// pRuns[x] = how many columns from x on are neighbour pairs (ix1 = ix0 + 1),
// each pair two past the one before: the layout two plain loads provide.
void pairRuns(const int* pIx0, const int* pIx1, std::size_t n, int* pRuns);

// One row of n pixels of a rotation of a W x H plane about (cx, cy) with
// cosine c and sine s: the source position of pixel x is
//   fx = float((cx + c * (x - cx)) - s * dy), fy = float((cy + s * (x - cx)) + c * dy)
// in double; 0 where fx or fy is negative, not below float(W - 1) or
// float(H - 1), or NaN, else the bilinear sample there (as bilinearRow, with
// the truncated position and one more unless it is whole).
void rotateRow(float* out, const float* plane, int W, int H, double cx, double cy, double c,
               double s, double dy, std::size_t n);

} // namespace tirn::simd

#endif
