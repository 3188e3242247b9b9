// Y, U, V to R, G, B, clamped to 0...255 at every depth.
#ifndef FILTERS_CYUV2RGB_H
#define FILTERS_CYUV2RGB_H

#include "filters/CTransformation.h"

// Layout (read by the host binding): after the virtual table the source and
// target depths as two ints, then the offset flag.
template <class T> class CYuv2Rgb : public CFilter<T, T>
{
public:
    // bOffset: Y is taken relative to 16 and U, V relative to 128.
    explicit CYuv2Rgb(bool bOffset);

    // Throws for in-place use and for a source without exactly 3 channels.
    void exec(const CImage<T>* pSrc, CImage<T>* pTgt) override;

    int iSrcDepth;
    int iTgtDepth;
    bool bYuvOffset;
};

extern template class CYuv2Rgb<unsigned char>;
extern template class CYuv2Rgb<unsigned short>;
extern template class CYuv2Rgb<float>;

#endif
