// The host's records that a plug-in's units read and write, laid out as the
// host lays them out (plain C structs, x86-64, natural alignment). The
// emulator's own definitions: a plug-in declares the same layout on its
// side, and a test compares the two field by field.
#ifndef TIRNHOST_HOSTRECORDS_H
#define TIRNHOST_HOSTRECORDS_H

#include <cstdio>

namespace tirnhost {

struct UnitRecord;
struct IconDef;

// Tags of primitive_unit's list.
enum : unsigned int
{
    TagInputGroup = 0xfa0a1f01u,
    TagOutputGroup = 0xfa0a1f02u,
    TagEnd = 0xfa0a1f03u,       // then the holding unit
    TagTypedPin = 0xfa0a1f04u,  // then a pin-type record (its first field: the name)
    TagValuePins = 0xfa0a1f06u, // then a count: parameter value pins
    TagDataPins = 0xfa0a1f0au   // then a count: data value pins (e.g. a mask)
};

// Control codes of the host's windows.
enum ControlCode
{
    CtrlState = -50,
    CtrlOriginalSize = -57,
    CtrlRebind = -38,
    CtrlRebound = -48,
    CtrlFitZoom = -32,
    CtrlFitZoom2 = -56,
    CtrlShow = -15,
    CtrlHide = -14,
    CtrlClear = -9,
    CtrlRedraw = -8
};

enum : int { UnitHasWindow = 0x10000 };
enum : int { PlacementSize = 100 }; // the buffer the plug-in hands to the placement function

// One pin. pValue: the image handle (image pins), the address of the pin's
// float in its group's array (value pins), the first element (array pins)
// or two floats ("s2").
struct PinRecord
{
    void* pValue;
    int iLength;
    int iHostOwned; // the host allocated pValue's array and frees it
};

struct PinGroupRecord
{
    int iPins;
    int iReserved;
    PinRecord* pPins;
};

typedef int (*UnitExecFn)(UnitRecord*);
typedef int (*UnitRemoveFn)(UnitRecord*);
typedef int (*UnitCtrlFn)(int, UnitRecord*);
typedef int (*UnitFileFn)(std::FILE*, UnitRecord*);

struct UnitRecord
{
    UnitExecFn pfExec;
    UnitRemoveFn pfRemove;
    UnitCtrlFn pfCtrl;
    UnitFileFn pfSave;
    UnitFileFn pfLoad;
    void* pUserData;
    int iFlags;
    int iInputGroups;
    PinGroupRecord* pInputGroups;
    int iOutputGroups;
    int iReserved;
    PinGroupRecord* pOutputGroups;
    void* pHost; // the emulator's Unit
};

// What the plug-in sees of a window.
struct WindowInfo
{
    char* pcName;
    int iX, iY;
    int iWidth;
    int iHeight;
    int iShown;      // first state value
    int iSizeLocked; // second state value
    void* pHost;     // the emulator's window slot
};

typedef UnitRecord* (*IconCreateFn)(int, int, IconDef*, UnitRecord*);
typedef int (*IconApplyFn)(int, int, IconDef*, UnitRecord*);

struct IconDef
{
    void* pReserved0;
    IconCreateFn pfCreate;
    IconApplyFn pfApply;
    const char* pcDialog;
    const char* pcDialog2;
    const char* pcLabel;
    const char* pcName;
    void* pReserved7;
};

struct IconEntry
{
    const char* pcFolder;
    const char* pcIcon;
    const IconDef* pDef;
    void* pReserved3;
    void* pReserved4;
};

struct FolderRecord
{
    void* pReserved0;
    const char* pcName;
    const IconEntry* pIcons;
};

// The pin-type record a typed pin's tag points at.
struct PinTypeRecord
{
    const char* pcName;
    void* pfCopy;
    void* pfCompatible;
    void* pfFree;
    void* pfDescribe;
    const char* pcBaseName;
};

} // namespace tirnhost

#endif
