// One place for what depends on the element type: its depth code and the
// library's conversion of computed values into stored ones.
#ifndef PIXELTRAITS_H
#define PIXELTRAITS_H

#include <cstdint>
#include <type_traits>

namespace tirn {

// Float to integer pixel: truncate toward zero, keep the low bits (300.7 is
// 44 in 8 bits, -1 is 65535 in 16 bits). Values outside the 32-bit range and
// NaN give what the x86 truncating conversion gives (0x80000000), so every
// input has a defined result.
inline std::int32_t truncateToInt32(double dValue)
{
    if (dValue > -2147483649.0 && dValue < 2147483648.0)
        return static_cast<std::int32_t>(dValue);
    return INT32_MIN;
}

template <class T> struct PixelTraits;

template <> struct PixelTraits<unsigned char>
{
    static constexpr int depth = 8;
    static unsigned char fromFloat(double dValue)
    {
        return static_cast<unsigned char>(
            static_cast<std::uint32_t>(truncateToInt32(dValue)));
    }
};

template <> struct PixelTraits<unsigned short>
{
    static constexpr int depth = 16;
    static unsigned short fromFloat(double dValue)
    {
        return static_cast<unsigned short>(
            static_cast<std::uint32_t>(truncateToInt32(dValue)));
    }
};

template <> struct PixelTraits<float>
{
    static constexpr int depth = 32;
    static float fromFloat(double dValue) { return static_cast<float>(dValue); }
};

// Stores a computed value the library's way: truncation and wrap for the
// integer types, plain rounding to single precision for float.
template <class T> inline T toPixel(double dValue)
{
    return PixelTraits<T>::fromFloat(dValue);
}

// Plain conversion between element types, as C++ converts them but without
// undefined behaviour: float to integer truncates and wraps, integer to
// integer keeps the low bits, integer to float is exact.
template <class D, class S> inline D convertPixel(S value)
{
    if constexpr (std::is_same<S, float>::value)
        return toPixel<D>(value);
    else
        return static_cast<D>(value);
}

template <class T> constexpr bool isIntegerPixel()
{
    return !std::is_same<T, float>::value;
}

} // namespace tirn

#endif
