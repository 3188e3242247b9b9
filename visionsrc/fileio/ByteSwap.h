// Byte reversal shared by the offset-addressed streams.
#ifndef BYTESWAP_H
#define BYTESWAP_H

namespace tirn {

// Reverses each of the count elements of nSize bytes, exchanging bytes
// between a and b from the outside in (in place when a == b).
inline void swapElements(char* a, char* b, int count, int nSize)
{
    for (long i = 0; i < count; ++i) {
        char* pa = a + i * nSize;
        char* pb = b + i * nSize;
        for (int k = 0; k < nSize / 2; ++k) {
            const char t = pa[k];
            pa[k] = pb[nSize - 1 - k];
            pb[nSize - 1 - k] = t;
        }
    }
}

} // namespace tirn

#endif
