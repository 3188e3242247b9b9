// Combines the selected channel values of every pixel into one value.
#ifndef FILTERS_CCOMBINECHANNEL_H
#define FILTERS_CCOMBINECHANNEL_H

#include "filters/CTransformation.h"

// The statistics function applied to each pixel's values.
enum TOperation : int
{
    OP_SUM = 0,
    OP_MUL = 1,
    OP_MAX = 2,
    OP_MIN = 3,
    OP_MEAN = 4,
    OP_MEDIAN = 5
};

template <class T> class CCombineChannel : public CTransformation<T>
{
public:
    CCombineChannel() { this->setMutliChannelOp(true); }

    void setOperator(TOperation operation) { eOperation = operation; }
    // The scripting name of setOperator.
    void setOperation(int iOperation) { eOperation = TOperation(iOperation); }
    // The operation is p[0], truncated.
    void setParameters(float* p);
    TOperation operation() const { return eOperation; }

    // Prints the size, refuses an unknown operation by ending the process,
    // and stores the operation's value for every pixel in one channel.
    void multiChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    void preOperation() override {}
    void postOperation() override {}

private:
    TOperation eOperation = OP_MEAN;
};

extern template class CCombineChannel<unsigned char>;
extern template class CCombineChannel<unsigned short>;
extern template class CCombineChannel<float>;

#endif
