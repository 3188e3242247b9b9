// Colour matching on 32-bit images: differences to another image and
// distances to a reference colour. Each function returns a new image that
// the caller owns.
//
// The colour distance of a pixel is the sum over channels, in channel order
// and single precision, of (ref[c] - pixel[c])^2; no square root is taken.
// The reference array is trusted to hold one entry per channel.
#ifndef FILTERS_CCOLORFILTERS_H
#define FILTERS_CCOLORFILTERS_H

#include "image/CImage.h"

// |a - b| per channel over the size common to both; a different size is
// reported on standard output and the rest of the result stays 0.
CImage<float> DiffImage(const CImage<float>* pA, const CImage<float>* pB);

// Colour distance times (squared distance to (x0, y0) + 1): small where the
// reference colour lies near the given point.
CImage<float> blob_emph(const CImage<float>* pImage, const float* pfRef, int x0, int y0);

// Colour distances; fResult receives the distance below which the fraction
// fFraction of all pixels lies, in steps of fLimit / 100 (at most fLimit).
CImage<float> HistogramDistance(const CImage<float>* pImage, const float* pfRef,
                                float fFraction, float fLimit, float& fResult);

// Colour distances, computed by walking the channel buffers; the two floats
// are accepted and ignored, and fResult is left alone.
CImage<float> PointerDistance(const CImage<float>* pImage, const float* pfRef,
                              float fUnused1, float fUnused2, float& fResult);

#endif
