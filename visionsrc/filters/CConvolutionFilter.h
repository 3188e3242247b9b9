// Convolution of every channel with one square mask, generated from a type,
// an orientation and a zoom, or taken from the caller as it stands.
#ifndef FILTERS_CCONVOLUTIONFILTER_H
#define FILTERS_CCONVOLUTIONFILTER_H

#include <vector>

#include "filters/CTransformation.h"

// Mask types of MaskGenerator (the creation dialog's labels in comments).
enum TConvolutionMask : int
{
    MASK_GAUSS = 0,        // "Gauss"
    MASK_GAUSS_D1 = 1,     // "1.G"
    MASK_GAUSS_D2 = 2,     // "2.G"
    MASK_GAUSS_D3 = 3,     // "3.G"
    MASK_LAPLACE = 4,      // "Laplace"
    MASK_COMET = 5,        // "Comet"
    MASK_BAR = 6,          // "Bar"
    MASK_END_STOP = 7,     // "End-Stop"
    MASK_SIMPLEX = 8,      // "Simplex"
    MASK_AVERAGE = 9       // "Avarage"
};

// Layout (read by the host binding): after the virtual table the source and
// target depths as two ints, then the mask pointer and the parameters.
template <class T> class CConvolutionFilter : public CFilter<T, T>
{
public:
    // Both depth fields are 32 in every instantiation; the binding sets them.
    CConvolutionFilter(int iSize, float fType, float fOrientation, float fZoom, int iExternal);

    // Fills size x size weights at the mask pointer (or, while none is set,
    // in the filter's own buffer): the type's weight at every offset, turned
    // by the orientation (degrees) and scaled by the zoom, then normalised
    // so that positive weights sum to 1 and negative ones to -1.
    void MaskGenerator(int iSize, float fType, float fOrientation, float fZoom);
    static int clip2range(int iLow, int iValue, int iHigh);

    // Target = source's size and channel count; borders repeat the edge
    // pixels. Integer depths truncate and wrap every single product.
    void exec(const CImage<T>* pSrc, CImage<T>* pTgt) override;

    // The weights in use: the mask pointer, or the own buffer while it is
    // null. Null when neither exists.
    const float* mask() const;

    int iSrcDepth;
    int iTgtDepth;
    // Not owned: generated into, or the caller's weights when external.
    float* pfMask = nullptr;
    float fOrientation;
    float fZoom;
    float fType;
    int iSize;
    int iExternal;

    // Largest edge length accepted, so that size * size weights stay a
    // sensible allocation.
    static constexpr int kMaxSize = 4096;

private:
    void convolveReference(const CImage<T>& src, CImage<T>& tgt, int c, const float* pfWeights);
    void convolveRows(const CImage<T>& src, CImage<T>& tgt, int c, const float* pfWeights,
                      int y0, int y1) const;

    std::vector<float> ownMask;
};

extern template class CConvolutionFilter<unsigned char>;
extern template class CConvolutionFilter<unsigned short>;
extern template class CConvolutionFilter<float>;

#endif
