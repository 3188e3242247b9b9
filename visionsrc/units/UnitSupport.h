// What the unit families share: the host's records seen as pins and images,
// the one handler that keeps every failure inside a callback, and the names
// the entry file lists.
#ifndef UNITS_UNITSUPPORT_H
#define UNITS_UNITSUPPORT_H

#include <exception>

#include "binding/HostInterface.h"
#include "binding/TirnDispatch.h"
#include "image/PixelTraits.h"

// The plug-in's pin-type table; its first record is the image pin type.
TIRN_EXPORT const TirnPinType gasVisionPinTypes[];

// The icon definitions, each beside its unit; the entry file lists them.
TIRN_EXPORT const QorIconDef_ ICONDEF_CImageToPins;
TIRN_EXPORT const QorIconDef_ ICONDEF_PinsToCImage;
TIRN_EXPORT const QorIconDef_ ICONDEF_display_image;
TIRN_EXPORT const QorIconDef_ ICONDEF_HSI_RGB_Filter;
TIRN_EXPORT const QorIconDef_ ICONDEF_ConvolutionFilter;
TIRN_EXPORT const QorIconDef_ ICONDEF_CortLayerFilter;

namespace tirn::units {

// The second dialog of every icon without settings of its own: the
// Cancel / Ok row alone, one string for all of them.
extern const char gacButtonRow[];

inline const TirnPinType* imagePinType() { return &gasVisionPinTypes[0]; }

// Pins counted from 0 across a unit's groups, the way qor_reassign and
// qor_dim_of_dyn_inp count them; null past the last one.
inline def_pin* pinAt(const def_pingroup* pGroups, int iGroups, int iPin)
{
    for (int g = 0; g < iGroups && pGroups; ++g) {
        if (iPin < pGroups[g].iPins)
            return &pGroups[g].pPins[iPin];
        iPin -= pGroups[g].iPins;
    }
    return nullptr;
}
inline def_pin* inputPin(def_unittype* pUnit, int iPin)
{
    return pinAt(pUnit->pInputGroups, pUnit->iInputGroups, iPin);
}
inline def_pin* outputPin(def_unittype* pUnit, int iPin)
{
    return pinAt(pUnit->pOutputGroups, pUnit->iOutputGroups, iPin);
}
inline int pinCount(const def_pingroup* pGroups, int iGroups)
{
    int n = 0;
    for (int g = 0; g < iGroups && pGroups; ++g)
        n += pGroups[g].iPins;
    return n;
}

// A group of a unit, or null when the host gave it fewer groups.
inline def_pingroup* inputGroup(def_unittype* pUnit, int iGroup)
{
    return iGroup < pUnit->iInputGroups ? &pUnit->pInputGroups[iGroup] : nullptr;
}
inline def_pingroup* outputGroup(def_unittype* pUnit, int iGroup)
{
    return iGroup < pUnit->iOutputGroups ? &pUnit->pOutputGroups[iGroup] : nullptr;
}

// The first value of a group of value pins: the host keeps a group's
// values in one array, so filters read the whole group from here.
inline float* groupValues(def_pingroup* pGroup)
{
    return pGroup && pGroup->iPins > 0 ? static_cast<float*>(pGroup->pPins[0].pValue) : nullptr;
}

// The image on a pin, when it is one of the depth the unit was made for. A
// handle of another depth is never taken for T.
template <class T> CImage<T>* imageOn(const def_pin* pPin)
{
    if (!pPin || !pPin->pValue || binding::depthOf(pPin->pValue) != PixelTraits<T>::depth)
        return nullptr;
    return static_cast<CImage<T>*>(pPin->pValue);
}

// The depth of a unit's images from the dialogs' choice 0, 1, 2 (8, 16,
// 32 bit); 0 for any other choice.
inline int depthOfChoice(int iChoice)
{
    return iChoice == 0 ? 8 : iChoice == 1 ? 16 : iChoice == 2 ? 32 : 0;
}

// Every callback the host calls runs inside this: a failure becomes a
// warning with the unit's name, never an exception in the host.
template <class Op> int reportFailures(const char* pcName, Op&& op)
{
    try {
        return op();
    } catch (const std::exception& e) {
        qor_warning("%S: %s", pcName, e.what());
    } catch (...) {
        qor_warning("%S: unknown failure!", pcName);
    }
    return 0;
}

} // namespace tirn::units

#endif
