// Collapses the channels (layers) of an image into one channel: the
// weighted mean of the layers at every pixel.
#ifndef FILTERS_CCORTLAYERFILTER_H
#define FILTERS_CCORTLAYERFILTER_H

#include "filters/CTransformation.h"

template <class T> class CCortLayerFilter : public CFilter<T, T>
{
public:
    CCortLayerFilter();

    // Target channel 0 = sum(layer_c * weight_c) / sum(weight_c). A target
    // of another size is resized to one channel (with a message); one of the
    // right size keeps its other channels. A zero weight sum is not guarded.
    void exec(const CImage<T>* pSrc, CImage<T>* pTgt) override;

    int iSrcDepth;
    int iTgtDepth;
    // One weight per source channel, owned by whoever sets it.
    float* pfWeights = nullptr;
};

extern template class CCortLayerFilter<unsigned char>;
extern template class CCortLayerFilter<unsigned short>;
extern template class CCortLayerFilter<float>;

#endif
