// Keeps the selected channels, in order, with their infos.
#ifndef FILTERS_CSELECTCHANNEL_H
#define FILTERS_CSELECTCHANNEL_H

#include "filters/CTransformation.h"

template <class T> class CSelectChannel : public CTransformation<T>
{
public:
    CSelectChannel() { this->setMutliChannelOp(true); }

    // The working copy exec() hands over holds exactly the selected channels
    // and is discarded afterwards: sharing its channels gives the target
    // channels of its own.
    void multiChannelOperation(const CImage<T>& src, CImage<T>& tgt) override { tgt = src; }
    void preOperation() override {}
    void postOperation() override {}
};

#endif
