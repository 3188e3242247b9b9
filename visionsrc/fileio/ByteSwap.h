// Byte reversal shared by the offset-addressed streams.
#ifndef BYTESWAP_H
#define BYTESWAP_H

#include <cstdint>
#include <cstring>

namespace tirn {

template <class U, class F> void reverseInPlace(char* p, long count, F reverse)
{
    for (long i = 0; i < count; ++i, p += sizeof(U)) {
        U v;
        std::memcpy(&v, p, sizeof v);
        v = reverse(v);
        std::memcpy(p, &v, sizeof v);
    }
}

// Reverses each of the count elements of nSize bytes, exchanging bytes
// between a and b from the outside in (in place when a == b).
inline void swapElements(char* a, char* b, int count, int nSize)
{
    // In place, whole samples at a time: what the volume readers and
    // writers do to every sample.
    if (a == b && nSize == 2)
        return reverseInPlace<std::uint16_t>(
            a, count, [](std::uint16_t v) { return __builtin_bswap16(v); });
    if (a == b && nSize == 4)
        return reverseInPlace<std::uint32_t>(
            a, count, [](std::uint32_t v) { return __builtin_bswap32(v); });
    if (a == b && nSize == 8)
        return reverseInPlace<std::uint64_t>(
            a, count, [](std::uint64_t v) { return __builtin_bswap64(v); });
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
