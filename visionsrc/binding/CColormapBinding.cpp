// The scripting class CColormap. A colour map is a plain class, not a
// transformation: its wrappers learn the instantiation from its depth(),
// which also prints the depth (every wrapper's call shows in the output).
#include "binding/ClassTables.h"
#include "binding/FilterDispatch.h"
#include "filters/CColormap.h"

using namespace tirn::binding;

const char* const CColormap_c[] = {
    "CColormap_0_:",
    "CColormap(int iDepth,int)",
    "~CColormap(void)",
    "void setType(int)",
    "void setInput(class CImage)",
    "void setOutput(class CImage)",
    "void exec()",
    nullptr};

namespace {

constexpr TDepthMessages kColormap = {
    "unsupported depth for CColormap\n", "unsupported depth for ~CColormap\n",
    "unsupported depth for ~CColormap\n", "unsupported depth for ~CColormap\n",
    "unsupported depth for ~CColormap\n"};

// The fields of CColormap<T> do not depend on T (its own layout
// invariant), and it has no virtual operations, so depth() can be read
// through any instantiation.
int colormapDepth(void* pObject) { return static_cast<CColormap<unsigned char>*>(pObject)->depth(); }

template <class R = void, class Op> R onColormap(void* pObject, const char* pcRefusal, Op&& op)
{
    return byTransformationDepth<R>(colormapDepth(pObject), pcRefusal, [&](auto tag) -> R {
        return op(*static_cast<CColormap<TagPixel<decltype(tag)>>*>(pObject));
    });
}

void setColormapImage(void* pObject, void* pImage, bool bInput)
{
    if (colormapDepth(pObject) != colormapDepth(pObject))
        prog_throw("badarg", "Different filter and image depth.\n");
    onColormap(pObject, kColormap.pcInputOutput, [&](auto& map) {
        auto* pTyped = static_cast<CImage<FilterPixel<decltype(map)>>*>(pImage);
        bInput ? map.setInput(pTyped) : map.setOutput(pTyped);
    });
}

} // namespace

TIRN_EXPORT void* CColormap_0_CColormap([[maybe_unused]] int const* aiDims, void** apArgs)
{
    const TColormapType type = TColormapType(argInt(apArgs, 1));
    return byTransformationDepth<void*>(argInt(apArgs, 0), kColormap.pcConstructor,
                                        [&](auto tag) -> void* {
        return new CColormap<TagPixel<decltype(tag)>>(type);
    });
}

TIRN_EXPORT void CColormap_0_FREE_CColormap(void* pObject)
{
    if (!pObject)
        return;
    onColormap(pObject, kColormap.pcFree, [](auto& map) { delete &map; });
}

TIRN_WRAPPER(void, CColormap_0_setType)
{
    const TColormapType type = TColormapType(argInt(apArgs, 0));
    onColormap(pObject, kColormap.pcSetters, [&](auto& map) { map.setType(type); });
}

TIRN_WRAPPER(void, CColormap_0_setInput) { setColormapImage(pObject, apArgs[0], true); }
TIRN_WRAPPER(void, CColormap_0_setOutput) { setColormapImage(pObject, apArgs[0], false); }

// The one transformation exec whose library exceptions become host errors.
TIRN_WRAPPER(void, CColormap_0_exec)
{
    guarded<void>([&] { onColormap(pObject, kColormap.pcExec, [](auto& map) { map.exec(); }); });
}
