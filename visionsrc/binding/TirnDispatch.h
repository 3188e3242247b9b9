// The generic part of every exported wrapper: reading the host's argument
// vector, turning an untyped image handle into the right CImage<T>, and
// turning a CException into a host error. A wrapper then only says what it
// does with the image.
#ifndef TIRNDISPATCH_H
#define TIRNDISPATCH_H

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <type_traits>

#include "binding/HostInterface.h"
#include "binding/TirnExport.h"
#include "image/CImage.h"
#include "image/ImageBudget.h"

// Signature of every exported method wrapper: element counts of the array
// arguments, pointers to the argument values, the object's handle.
#define TIRN_WRAPPER(ResultType, name)                                        \
    TIRN_EXPORT ResultType name([[maybe_unused]] int const* aiDims,           \
                                [[maybe_unused]] void** apArgs,               \
                                [[maybe_unused]] void* pObject)

namespace tirn::binding {

// Argument i of the host's vector: ints and floats are passed by pointer to
// the value, arrays and texts as the array itself, images as their handle.
inline int argInt(void** apArgs, int i) { return *static_cast<const int*>(apArgs[i]); }
inline float argFloat(void** apArgs, int i) { return *static_cast<const float*>(apArgs[i]); }
inline char* argText(void** apArgs, int i) { return static_cast<char*>(apArgs[i]); }
inline float* argFloats(void** apArgs, int i) { return static_cast<float*>(apArgs[i]); }

// The one way a depth is read from a handle of unknown instantiation: every
// class the host holds keeps it as an int at a place that does not depend
// on the pixel type, and it is read there as bytes (a member access through
// another instantiation than the object's own would be undefined).
inline int depthAt(const void* pHandle, std::size_t uOffset)
{
    int iDepth;
    std::memcpy(&iDepth, static_cast<const char*>(pHandle) + uOffset, sizeof iDepth);
    return iDepth;
}

// An image handle's depth.
inline int depthOf(const void* pHandle)
{
    return depthAt(pHandle, CImage<unsigned char>::depthOffset());
}

// The host's depth codes: the negative aliases name the same depths. Returns
// 0 for a code that names no depth.
inline int canonicalDepth(int iCode)
{
    switch (iCode) {
    case 32: case -3: return 32;
    case 16: case -2: return 16;
    case 8: case -1: return 8;
    default: return 0;
    }
}

inline bool isKnownDepth(int iDepth)
{
    return iDepth == 8 || iDepth == 16 || iDepth == 32;
}

// What a wrapper does with a handle whose depth is none of 8, 16, 32.
enum class UnknownDepth
{
    Ignore, // nothing; the result is zero
    As8Bit  // "CImage unknown depth!" and then treat it as 8-bit
};

template <class R> R zeroResult()
{
    if constexpr (!std::is_void<R>::value)
        return R();
}

// Reports a library exception the way the host expects; the host may return.
inline void reportException(const CException& e)
{
    prog_throw("CImageException:", "%s", e.what());
}

// Called inside a handler of std::exception: reports what was thrown as a host
// error. A CException is the library's own report; anything else must not
// unwind into the host, which knows nothing of C++: an allocation refused by
// the memory budget (or one that failed) is a bad argument, any other
// standard exception a failed operation.
inline void reportCurrentException()
{
    try {
        throw;
    } catch (const CException& e) {
        reportException(e);
    } catch (const tirn::ImageTooLarge& e) {
        prog_throw("badarg", "%s", e.what());
    } catch (const std::bad_alloc&) {
        prog_throw("badarg", "out of memory\n");
    } catch (const std::exception& e) {
        prog_throw("badop", "%s\n", e.what());
    }
}

// Runs op() inside the handler that turns exceptions into host errors.
template <class R, class Op> R guarded(Op&& op)
{
    try {
        return op();
    } catch (const std::exception&) {
        reportCurrentException();
        return zeroResult<R>();
    }
}

// Calls op(CImage<T>&) for the instantiation that the depth names, guarded.
template <class R, class Op>
R withDepth(int iDepth, void* pHandle, Op&& op, UnknownDepth unknown = UnknownDepth::Ignore)
{
    return guarded<R>([&]() -> R {
        switch (iDepth) {
        case 16: return op(*static_cast<CImage<unsigned short>*>(pHandle));
        case 32: return op(*static_cast<CImage<float>*>(pHandle));
        case 8: return op(*static_cast<CImage<unsigned char>*>(pHandle));
        default:
            if (unknown == UnknownDepth::Ignore)
                return zeroResult<R>();
            std::fputs("CImage unknown depth!\n", stdout);
            return op(*static_cast<CImage<unsigned char>*>(pHandle));
        }
    });
}

// Names an element type where no image exists yet (creating one, choosing
// a filter's instantiation): op(PixelTag<T>()).
template <class T> struct PixelTag
{
    typedef T type;
};
template <class Tag> using TagPixel = typename std::decay_t<Tag>::type;

// Calls op(PixelTag<T>()) for the instantiation that the depth (8, 16, 32)
// names; any other depth gives the fallback without calling op. Not
// guarded: the caller decides what a failure means at its boundary.
template <class R, class Op> R byPixelType(int iDepth, R fallback, Op&& op)
{
    switch (iDepth) {
    case 16: return op(PixelTag<unsigned short>());
    case 32: return op(PixelTag<float>());
    case 8: return op(PixelTag<unsigned char>());
    default: return fallback;
    }
}

// For the operations that exist for float images only; the caller has
// checked the depth.
template <class R, class Op> R withFloatImage(void* pHandle, Op&& op)
{
    return guarded<R>([&]() -> R { return op(*static_cast<CImage<float>*>(pHandle)); });
}

// The usual case: dispatch on the image's own depth.
template <class R, class Op>
R withImage(void* pHandle, Op&& op, UnknownDepth unknown = UnknownDepth::Ignore)
{
    return withDepth<R>(depthOf(pHandle), pHandle, static_cast<Op&&>(op), unknown);
}

// An image result becomes a new handle the host owns: a heap image of the
// result's depth that shares the result's channels.
template <class T> void* newHandle(const CImage<T>& result)
{
    CImage<T>* pHandle = new CImage<T>(1, 1, 1);
    *pHandle = result;
    return pHandle;
}

// The element type of an image reference handed to a generic lambda.
template <class Image> struct ImagePixel;
template <class T> struct ImagePixel<CImage<T>> { typedef T type; };
template <class Image> using PixelOf = typename ImagePixel<std::decay_t<Image>>::type;

} // namespace tirn::binding

#endif
