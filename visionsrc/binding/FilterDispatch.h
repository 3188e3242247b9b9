// The generic part of the filter wrappers: the two depth rules, reading an
// object's depth without knowing its instantiation, and the wrapper kinds
// that every transformation class shares. A class's binding file then says
// only which class and which messages.
#ifndef FILTERDISPATCH_H
#define FILTERDISPATCH_H

#include <cstddef>
#include <cstring>

#include "binding/TirnDispatch.h"
#include "filters/CTransformation.h"

namespace tirn::binding {

// The depth-failure texts of one class's wrappers. Several are borrowed from
// other classes, and some non-destructor wrappers use the "~" form: the
// scripts' error handling knows these texts, so they stay exactly as they
// are.
struct TDepthMessages
{
    const char* pcConstructor;
    const char* pcFree;
    const char* pcExec;
    const char* pcInputOutput;
    const char* pcSetters;
};


// The element type of a filter reference handed to a generic lambda.
template <class Filter> struct FilterPixelOf;
template <template <class> class C, class T> struct FilterPixelOf<C<T>>
{
    typedef T type;
};
template <class Filter> using FilterPixel = typename FilterPixelOf<std::decay_t<Filter>>::type;

// Transformation classes: 32/-3 float, 16/-2 unsigned short, 8/-1 unsigned
// char; anything else is refused with the wrapper's message.
template <class R, class Op> R byTransformationDepth(int iCode, const char* pcRefusal, Op&& op)
{
    switch (canonicalDepth(iCode)) {
    case 32: return op(PixelTag<float>());
    case 16: return op(PixelTag<unsigned short>());
    case 8: return op(PixelTag<unsigned char>());
    default:
        prog_throw("badarg", "%s", pcRefusal);
        return zeroResult<R>();
    }
}

// Two-image classes, deliberately wider on the negative side: -1 and -2
// alias 8 and 16, every other code of zero or below means float; a positive
// code other than 8, 16, 32 is refused.
template <class R, class Op> R byTwoImageDepth(int iCode, const char* pcRefusal, Op&& op)
{
    if (iCode == 16 || iCode == -2)
        return op(PixelTag<unsigned short>());
    if (iCode == 8 || iCode == -1)
        return op(PixelTag<unsigned char>());
    if (iCode == 32 || iCode <= 0)
        return op(PixelTag<float>());
    prog_throw("badarg", "%s", pcRefusal);
    return zeroResult<R>();
}

// The depth field of CTransformation<T> sits at the same offset for every T
// (its fields do not depend on T). It is read as bytes: a member access
// through another instantiation than the object's own would be undefined.
template <class T> struct TransformationFields : CTransformation<T>
{
    static constexpr std::size_t depthOffset()
    {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
        return offsetof(TransformationFields, iDepth);
#pragma GCC diagnostic pop
    }
};
static_assert(TransformationFields<unsigned char>::depthOffset() ==
                      TransformationFields<unsigned short>::depthOffset() &&
                  TransformationFields<unsigned char>::depthOffset() ==
                      TransformationFields<float>::depthOffset(),
              "the depth must be readable without knowing the instantiation");

inline int transformationDepth(const void* pObject)
{
    return depthAt(pObject, TransformationFields<unsigned char>::depthOffset());
}

// Two-image filters keep their source depth as the first int after the
// table of virtual operations; each class's binding checks its own layout.
inline int twoImageSourceDepth(const void* pObject)
{
    return depthAt(pObject, sizeof(void*));
}

// --- Transformation classes ----------------------------------------------

// op(C<T>&) for the instantiation that the object's depth names.
template <template <class> class C, class R = void, class Op>
R onTransformation(void* pObject, const char* pcRefusal, Op&& op)
{
    return byTransformationDepth<R>(transformationDepth(pObject), pcRefusal, [&](auto tag) -> R {
        return op(*static_cast<C<TagPixel<decltype(tag)>>*>(pObject));
    });
}

template <template <class> class C> void* newTransformation(int iCode, const char* pcRefusal)
{
    return byTransformationDepth<void*>(iCode, pcRefusal, [](auto tag) -> void* {
        return new C<TagPixel<decltype(tag)>>();
    });
}

template <template <class> class C> void freeTransformation(void* pObject, const char* pcRefusal)
{
    if (!pObject)
        return;
    onTransformation<C>(pObject, pcRefusal, [](auto& filter) {
        CTransformation<FilterPixel<decltype(filter)>>* pBase = &filter;
        delete pBase; // through the virtual destructor
    });
}

template <template <class> class C> void execTransformation(void* pObject, const char* pcRefusal)
{
    onTransformation<C>(pObject, pcRefusal, [](auto& filter) { filter.exec(); });
}

template <template <class> class C>
// The image's own depth is never looked at: an image of another depth is
// taken as one of the filter's. Kept so on purpose.
void setTransformationImage(void* pObject, void* pImage, bool bInput, const char* pcRefusal)
{
    onTransformation<C>(pObject, pcRefusal, [&](auto& filter) {
        auto* pTyped = static_cast<CImage<FilterPixel<decltype(filter)>>*>(pImage);
        if (bInput)
            filter.setInput(pTyped);
        else
            filter.setOutput(pTyped);
    });
}

// The selection wrappers work on the base part alone, which is the same for
// every instantiation; they dispatch only to reach it through the object's
// own type.
template <class R, class Op> R onSelection(void* pObject, Op&& op)
{
    switch (transformationDepth(pObject)) {
    case 32: return op(*static_cast<CTransformation<float>*>(pObject));
    case 16: return op(*static_cast<CTransformation<unsigned short>*>(pObject));
    case 8: return op(*static_cast<CTransformation<unsigned char>*>(pObject));
    default: return zeroResult<R>();
    }
}

// --- Two-image classes -----------------------------------------------------

// FREE_ and exec of a CFilter<T,T> class report the library's exceptions,
// unlike the transformation wrappers.
template <template <class> class C> void freeTwoImage(void* pObject)
{
    if (!pObject)
        return;
    guarded<void>([&] {
        byTwoImageDepth<void>(twoImageSourceDepth(pObject),
                              "unsupported depth for FILTER_DESTRUCTOR\n", [&](auto tag) {
                                  CFilter<TagPixel<decltype(tag)>, TagPixel<decltype(tag)>>*
                                      pBase = static_cast<C<TagPixel<decltype(tag)>>*>(pObject);
                                  delete pBase;
                              });
    });
}

template <template <class> class C> void execTwoImage(void* pObject, void* pSource, void* pTarget)
{
    guarded<void>([&] {
        byTwoImageDepth<void>(twoImageSourceDepth(pObject),
                              "unsupported depth for FILTER_EXECUTION\n", [&](auto tag) {
                                  using T = TagPixel<decltype(tag)>;
                                  CFilter<T, T>* pBase = static_cast<C<T>*>(pObject);
                                  pBase->exec(static_cast<const CImage<T>*>(pSource),
                                              static_cast<CImage<T>*>(pTarget));
                              });
    });
}

} // namespace tirn::binding

// --- One line per wrapper ------------------------------------------------------
// Exported names are prefix + method, the prefix being "<Class>_0_" (and
// "<Class>_1_" for the two-int selectChannel).

#define TIRN_TRANSFORMATION_CONSTRUCTOR(Class, messages)                                 \
    TIRN_EXPORT void* Class##_0_##Class([[maybe_unused]] int const* aiDims, void** apArgs) \
    {                                                                                    \
        return tirn::binding::newTransformation<Class>(tirn::binding::argInt(apArgs, 0), \
                                                        messages.pcConstructor);         \
    }

#define TIRN_TRANSFORMATION_FREE(Class, messages)                                        \
    TIRN_EXPORT void Class##_0_FREE_##Class(void* pObject)                               \
    {                                                                                    \
        tirn::binding::freeTransformation<Class>(pObject, messages.pcFree);              \
    }

#define TIRN_TRANSFORMATION_EXEC(Class, messages)                                        \
    TIRN_WRAPPER(void, Class##_0_exec)                                                   \
    {                                                                                    \
        tirn::binding::execTransformation<Class>(pObject, messages.pcExec);              \
    }

#define TIRN_TRANSFORMATION_IMAGES(Class, messages)                                      \
    TIRN_WRAPPER(void, Class##_0_setInput)                                               \
    {                                                                                    \
        tirn::binding::setTransformationImage<Class>(pObject, apArgs[0], true,           \
                                                     messages.pcInputOutput);            \
    }                                                                                    \
    TIRN_WRAPPER(void, Class##_0_setOutput)                                              \
    {                                                                                    \
        tirn::binding::setTransformationImage<Class>(pObject, apArgs[0], false,          \
                                                     messages.pcInputOutput);            \
    }

// Constructor, FREE_, exec, setInput and setOutput.
#define TIRN_TRANSFORMATION_CLASS(Class, messages)                                       \
    TIRN_TRANSFORMATION_CONSTRUCTOR(Class, messages)                                     \
    TIRN_TRANSFORMATION_FREE(Class, messages)                                            \
    TIRN_TRANSFORMATION_EXEC(Class, messages)                                            \
    TIRN_TRANSFORMATION_IMAGES(Class, messages)

#define TIRN_SELECT_BY_TEXT(Class)                                                       \
    TIRN_WRAPPER(int, Class##_0_selectChannel)                                           \
    {                                                                                    \
        const char* pcCommand = tirn::binding::argText(apArgs, 0);                       \
        return tirn::binding::onSelection<int>(                                          \
            pObject, [&](auto& base) { return base.selectChannel(pcCommand); });         \
    }

// selected() and selectChannel(int, int): exported for every class that has
// them, declared by a table only where the table says so.
#define TIRN_SELECT_BY_INDEX(Class)                                                      \
    TIRN_WRAPPER(int, Class##_0_selected)                                                \
    {                                                                                    \
        return tirn::binding::onSelection<int>(pObject,                                  \
                                               [](auto& base) { return base.selected(); }); \
    }                                                                                    \
    TIRN_WRAPPER(void, Class##_1_selectChannel)                                          \
    {                                                                                    \
        const int iChannel = tirn::binding::argInt(apArgs, 0);                           \
        const bool bSelect = tirn::binding::argInt(apArgs, 1) != 0;                      \
        tirn::binding::onSelection<void>(                                                \
            pObject, [&](auto& base) { base.selectChannel(iChannel, bSelect); });        \
    }

#endif
