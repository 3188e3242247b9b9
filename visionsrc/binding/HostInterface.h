// The host application's entry points that the plug-in calls, and the
// host's records that the plug-in reads and writes. The entry points are not
// defined anywhere in the plug-in: the module leaves them undefined and the
// dynamic linker binds them to the host's own definitions when the host
// loads it. Every entry point is declared here and nowhere else (the
// exported-symbol test reads the TIRN_HOST_API lines of this file; a
// declaration's name stands on its TIRN_HOST_API line). A host written from
// this file alone must define every TIRN_HOST_API name with the behaviour
// its comment asks for.
#ifndef HOSTINTERFACE_H
#define HOSTINTERFACE_H

#include <stdio.h>

#define TIRN_HOST_API extern "C"

// Pin-type callbacks, as the host stores them.
typedef int (*TirnCompatibleFn)(void* pA, void* pB);
typedef void* (*TirnCopyFn)(void* pTarget, void* pSource);
typedef void (*TirnFreeFn)(void* p);
typedef const char* (*TirnDescribeFn)(void* p);

// One record of the plug-in's pin-type table (gasVisionPinTypes; a null
// name ends it). The host reads it through vision_type_init's calls, and
// primitive_unit receives a pointer to one record for a typed pin.
typedef struct TirnPinType
{
    const char* pcName;
    TirnCopyFn pfCopy;
    TirnCompatibleFn pfCompatible;
    TirnFreeFn pfFree;
    TirnDescribeFn pfDescribe; // optional
    const char* pcBaseName;    // optional
} TirnPinType;

// Raises a script error of the given kind with a printf-style message. The
// host may return from it; callers then return a zero or null result.
TIRN_HOST_API void prog_throw(const char* pcKind, const char* pcFormat, ...)
    __attribute__((format(printf, 2, 3)));

// Registers a pin type; three nulls unregister it.
TIRN_HOST_API void qor_typedef(const char* pcName, TirnCompatibleFn pfCompatible,
                               TirnCopyFn pfCopy, TirnFreeFn pfFree);
TIRN_HOST_API void qor_typedef_description(const char* pcName, TirnDescribeFn pfDescribe);
TIRN_HOST_API void qor_typedef_basetype(const char* pcName, const char* pcBaseName);

// ---------------------------------------------------------------------------
// Units, dialogs and windows.
//
// The host owns every record below except the folder, icon list and icon
// definitions, which are the plug-in's static data. All records are plain C
// structs of pointer-sized and int fields; a host must lay its own
// definitions out field for field the same way (x86-64, natural alignment).
// ---------------------------------------------------------------------------

typedef struct def_unittype def_unittype;
typedef struct QorIconDef_ QorIconDef_;

// Control codes the display unit reacts to. The host sends them through a
// unit's control hook (ctrl_unit) and answers them from ctrl_window.
enum
{
    TIRN_CTRL_STATE = -50,        // asks for the window's state value
    TIRN_CTRL_ORIGINAL_SIZE = -57, // zoom 1, window at the picture's own size
    TIRN_CTRL_REBIND = -38,       // the window moved into a host subwindow
    TIRN_CTRL_REBOUND = -48,      // what -38 becomes once rebound
    TIRN_CTRL_FIT_ZOOM = -32,     // the user resized the window: fit the zoom
    TIRN_CTRL_FIT_ZOOM2 = -56,    // as -32
    TIRN_CTRL_SHOW = -15,         // show the window
    TIRN_CTRL_HIDE = -14,         // hide the window
    TIRN_CTRL_CLEAR = -9,         // clear the window
    TIRN_CTRL_REDRAW = -8         // draw the picture again
};

// Tags of primitive_unit's argument list, each passed as an unsigned int;
// what follows a tag is listed beside it.
static const unsigned int TIRN_TAG_INPUT_GROUP = 0xfa0a1f01u;  // opens an input group
static const unsigned int TIRN_TAG_OUTPUT_GROUP = 0xfa0a1f02u; // opens an output group
static const unsigned int TIRN_TAG_END = 0xfa0a1f03u;       // then def_unittype*: the holding unit; ends the list
static const unsigned int TIRN_TAG_TYPED_PIN = 0xfa0a1f04u; // then a pin-type record pointer (its first
                                                            // field is the type's name): one pin of that type
static const unsigned int TIRN_TAG_VALUE_PINS = 0xfa0a1f06u;  // then int n: n value pins (parameters)
static const unsigned int TIRN_TAG_VALUE_PINS2 = 0xfa0a1f0au; // then int n: n value pins (data, e.g. a mask)

// Flag the display unit sets in def_unittype::iFlags: the unit owns a
// window (the host offers the window's controls on it).
enum { TIRN_UNIT_HAS_WINDOW = 0x10000 };

// One pin. What pValue means depends on the pin's type:
// - an image pin ("<tirnvision.CImage>" or TIRN_TAG_TYPED_PIN with the
//   image pin type): pValue IS the image handle. The plug-in stores a new
//   image there right after creating the unit; from then on the host owns
//   it: it fills it from a connected output with the pin type's copy
//   function (target = this handle, so the handle stays the same) and frees
//   it with the pin type's free function when the pin goes. The unit's exec
//   reads and writes the image in place.
// - a value pin (TIRN_TAG_VALUE_PINS, TIRN_TAG_VALUE_PINS2): pValue points
//   at one float the host owns. The floats of the value pins of one group
//   lie in one array, in pin order: the plug-in hands the first pin's
//   address to filters that read the whole group as an array (a group
//   without pins gives the plug-in nothing to read). The host sets the
//   initial values; the plug-in reads them on every exec and writes them
//   only where said (display_image's channel pins).
// - an array pin ("<F>", "<C>": any length; "f64", "c16": fixed length):
//   pValue points at the first element (float or unsigned char), iLength
//   is the element count. The host allocates fixed-length outputs with
//   iLength elements; the plug-in fills them. A variable-length output is
//   re-pointed by the plug-in only through qor_reassign. A variable-length
//   input shows the connected output's array (or none: null, 0).
// - "s2": pValue points at two floats (width, height); iLength is 2.
typedef struct def_pin
{
    void* pValue;     // host writes (plug-in only for image pins, once)
    int iLength;      // host writes; plug-in reads (array pins)
    int iHostOwned;   // host's bookkeeping word of the current value:
                      // non-zero when the host allocated the array and must
                      // free it when the pin is re-pointed or removed. The
                      // plug-in zeroes it before re-pointing a pin at memory
                      // the host must not free.
} def_pin;

// A group of pins, in order.
typedef struct def_pingroup
{
    int iPins;        // host writes: number of pins
    int iReserved;    // zero
    def_pin* pPins;   // host writes: iPins pins
} def_pingroup;

// Callbacks the plug-in installs on a unit; the host calls them. Each
// returns 0 unless said otherwise.
typedef int (*TirnUnitExecFn)(def_unittype* pUnit);            // run once with the current inputs
typedef int (*TirnUnitRemoveFn)(def_unittype* pUnit);          // the unit is deleted
typedef int (*TirnUnitCtrlFn)(int iCode, def_unittype* pUnit); // a control code arrives
typedef int (*TirnUnitFileFn)(FILE* pFile, def_unittype* pUnit); // save/load of a network

// A unit of a network. Built by primitive_unit or primitive_unit3, owned by
// the host.
//
// primitive_unit gives the groups its tag list asks for. primitive_unit3
// gives one input group holding all its inputs and one output group holding
// all its outputs (groups present even when empty). Pin indices passed to
// qor_reassign and qor_dim_of_dyn_inp count the unit's output resp. input
// pins from 0 across its groups.
//
// Deleting a unit: the host calls pfRemove, or qor_remove0 when pfRemove is
// null. After that returns, the host frees the record and whatever
// qor_remove0 did not release (a remove callback need not call it).
struct def_unittype
{
    TirnUnitExecFn pfExec;      // plug-in writes; host calls when the unit runs (null: nothing to run)
    TirnUnitRemoveFn pfRemove;  // plug-in writes (may stay null)
    TirnUnitCtrlFn pfCtrl;      // host presets qor_ctrl0; plug-in may replace it;
                                // ctrl_unit calls it
    TirnUnitFileFn pfSave;      // plug-in writes (may stay null); host calls when saving a network,
                                // with the file positioned where the unit's state goes
    TirnUnitFileFn pfLoad;      // plug-in writes (may stay null); host calls when loading, with the
                                // file positioned where pfSave started writing
    void* pUserData;            // plug-in writes and reads; host never touches it
    int iFlags;                 // host presets 0; plug-in ORs in TIRN_UNIT_HAS_WINDOW
    int iInputGroups;           // host writes
    def_pingroup* pInputGroups; // host writes
    int iOutputGroups;          // host writes
    int iReserved;              // zero
    def_pingroup* pOutputGroups; // host writes
    void* pHost;                // the host's own; the plug-in never touches it
};

// A host window, as the plug-in sees it. Created by qor_init_window or
// qor_init_rgb_window, freed by qor_free_winfo. Coordinates in pixels,
// origin top left, y downwards.
typedef struct def_winfo
{
    char* pcName;     // host writes: the window's name
    int iX, iY;       // host writes: position on screen; plug-in writes them
                      // when it loads a saved position
    int iWidth;       // host writes: current size of the drawing area
    int iHeight;
    int iShown;       // host writes: first state value, non-zero while the
                      // window is shown; the display unit answers -50 with it
    int iSizeLocked;  // host writes: second state value; non-zero while the
                      // window must keep its size (e.g. the user is dragging
                      // its frame). The display unit's automatic resize only
                      // happens while it is 0
    void* pHost;      // the host's own; the plug-in never touches it
} def_winfo;

// Icon callbacks. The plug-in ignores the two ints and the icon definition.
// First callback: pUnit is the unit that is to hold the new unit; returns
// the new unit or null. Second callback: pUnit is the unit whose second
// dialog was answered; returns 1.
typedef def_unittype* (*TirnIconCreateFn)(int, int, QorIconDef_* pIcon, def_unittype* pUnit);
typedef int (*TirnIconApplyFn)(int, int, QorIconDef_* pIcon, def_unittype* pUnit);

// An icon definition (plug-in's static data; the host reads it).
struct QorIconDef_
{
    void* pReserved0;            // null
    TirnIconCreateFn pfCreate;   // called after the first dialog was confirmed
    TirnIconApplyFn pfApply;     // called after the second dialog was confirmed
    const char* pcDialog;        // first (creation) dialog description
    const char* pcDialog2;       // second dialog description
    const char* pcLabel;         // icon label, "|" separates its lines
    const char* pcName;          // a further name ("" for most icons)
    void* pReserved7;            // null
};

// One entry of a folder's icon list (plug-in's static data). The list ends
// with an entry whose folder and icon names are both "".
typedef struct QorIconEntry_
{
    const char* pcFolder;        // the folder's name
    const char* pcIcon;          // the icon's name
    const QorIconDef_* pDef;     // its definition (null in the end entry)
    void* pReserved3;            // null
    void* pReserved4;            // null
} QorIconEntry_;

// The folder record the host finds by name (gsFolder_<plug-in name>).
typedef struct QorFolder_
{
    void* pReserved0;              // null
    const char* pcName;            // the folder's name
    const QorIconEntry_* pIcons;   // the icon list
} QorFolder_;

// Dialog answers, valid inside an icon callback: the k-th numeric field
// (numbered from 0 in the order of the description; a choice counts as
// numeric and gives its label's index) as int or float, and the k-th text
// field (numbered separately). A numeric field the dialog does not have
// gives 0; a text field it does not have gives "".
TIRN_HOST_API int IVAL(int k);
TIRN_HOST_API float FVAL(int k);
TIRN_HOST_API char* TVAL(int k);

// Size of the buffer the plug-in hands to the window-placement function,
// terminating zero included.
enum { TIRN_PLACEMENT_SIZE = 100 };

// Host variable holding its window-placement function. Called with a buffer
// of TIRN_PLACEMENT_SIZE characters, the title the user gave and the wanted
// position and size; writes the window description into the buffer: the
// window's name (no blanks), its x and its y as decimal integers, separated
// by blanks; anything after that is the host's. Never more than the buffer
// holds.
typedef void (*TirnWindowPlacementFn)(char* pcBuffer, const char* pcTitle, int iX, int iY,
                                      int iWidth, int iHeight);
TIRN_HOST_API TirnWindowPlacementFn tirn_window_placement;

// Warns the user, printf-style except that %S takes a plain char* (the
// unit's name). Returns.
TIRN_HOST_API void qor_warning(const char* pcFormat, ...);

// Raises an error of the given kind, printf-style, in the host (from a
// unit's callback: the run of the network stops). The host may return; the
// plug-in then leaves the callback at once.
TIRN_HOST_API void qor_throw(const char* pcKind, const char* pcFormat, ...)
    __attribute__((format(printf, 2, 3)));

// Non-zero when pUnit is not a unit that can hold a new one (null included).
TIRN_HOST_API int is_not_unit(def_unittype* pUnit);

// Builds a unit from a tag list (TIRN_TAG_*, ending with TIRN_TAG_END and
// the holding unit) inside the holding unit, or returns null (also for a
// list it cannot build, such as more pins than it supports). Callbacks,
// user data and image pin values are null, flags 0, pfCtrl qor_ctrl0.
TIRN_HOST_API def_unittype* primitive_unit(unsigned int uTag, ...);

// Builds a unit with nIn input and nOut output pins inside the holding unit,
// or returns null. Each pin's type is a text: "<tirnvision.CImage>" an image
// pin; "<F>"/"<C>" a float/byte array of any length (outputs start empty:
// null, 0); "f"/"c" + a length ("f64") a float/byte array of that length,
// allocated zero-filled by the host; "s2" two floats. Same presets as
// primitive_unit.
TIRN_HOST_API def_unittype* primitive_unit3(int nIn, char** apcInTypes, int nOut,
                                            char** apcOutTypes, def_unittype* pHolder);

// Gives the unit its label ("|" separates lines); the host keeps a copy.
TIRN_HOST_API void label(def_unittype* pUnit, const char* pcLabel);

// Re-points output pin iPin (counted over all output pins) at iLength
// elements at pData (null with 0 empties it). If the pin's iHostOwned is
// set, the host frees the old array first. The new array stays the
// plug-in's (iHostOwned 0). iReserved: always 0.
TIRN_HOST_API void qor_reassign(def_unittype* pUnit, int iPin, int iReserved, int iLength,
                                void* pData);

// Current element count of variable-length input pin iPin (counted over
// all input pins). iReserved: always 0.
TIRN_HOST_API int qor_dim_of_dyn_inp(def_unittype* pUnit, int iPin, int iReserved);

// The host's default removal: releases the unit's pins (image values
// through the pin type's free function, host-owned arrays, value pins) and
// takes it out of its network and windows. Returns 0.
TIRN_HOST_API int qor_remove0(def_unittype* pUnit);

// The host's default control hook (what pfCtrl starts as). Returns 0.
TIRN_HOST_API int qor_ctrl0(int iCode, def_unittype* pUnit);

// Sends a control code to a unit: calls its pfCtrl and returns the answer.
// The display unit sends -15 (show) or -14 (hide) to itself.
TIRN_HOST_API int ctrl_unit(int iCode, def_unittype* pUnit);

// Passes a control code to the units attached to pUnit (units drawing in
// the same window or fed by it); pUnit itself is not called again.
TIRN_HOST_API void qor_ctrl_attached_units(int iCode, def_unittype* pUnit);

// Walks an options string: returns the next character of *ppcCursor that is
// one of pcLetters and moves the cursor past it; characters not among the
// letters are skipped (the host may warn about them); 0 at the string's end.
TIRN_HOST_API int qor_options(const char** ppcCursor, const char* pcLetters);

// Opens a grey (qor_init_window) or colour (qor_init_rgb_window) window for
// pUnit: name, shown (0: created hidden), position, size of the drawing
// area; the plug-in always passes 0, 0, 0 for the reserved arguments and
// iUnitOwned 1 (the window belongs to pUnit and goes with
// qor_remove_windows_of). Returns the window, cleared to black, with drawing
// begun on it (the plug-in ends drawing), or null.
TIRN_HOST_API def_winfo* qor_init_window(const char* pcName, int iShow, int iX, int iY,
                                         int iWidth, int iHeight, int iReserved0, int iReserved1,
                                         int iReserved2, int iUnitOwned, def_unittype* pUnit);
TIRN_HOST_API def_winfo* qor_init_rgb_window(const char* pcName, int iShow, int iX, int iY,
                                             int iWidth, int iHeight, int iReserved0,
                                             int iReserved1, int iReserved2, int iUnitOwned,
                                             def_unittype* pUnit);

// Drawing happens between qor_begin_draw2 (or window creation) and
// qor_end_draw, on that one window; the calls below up to
// qor_activate_constraints act on it. qor_begin_draw2 returns non-zero when
// drawing may begin (a hidden window may be drawn on), 0 when not. The
// plug-in never nests them: it ends drawing before anything it calls may
// begin again.
TIRN_HOST_API int qor_begin_draw2(def_winfo* pWin);
TIRN_HOST_API void qor_end_draw(void);

// Fills the drawing area with black.
TIRN_HOST_API void qor_clear(void);

// Sets the drawing area's size (iReserved: always 0); the picture is kept
// where it still fits, new area is black. Updates iWidth and iHeight.
TIRN_HOST_API void qor_winresize(int iWidth, int iHeight, int iReserved);

// The drawing area's current size.
TIRN_HOST_API void qor_getsize(int* piWidth, int* piHeight);

// Writes the top-left iWidth x iHeight pixels of a row-major source of
// iSrcWidth x iSrcHeight pixels into the window at (iX, iY), each pixel as an
// iZoom x iZoom block, clipped to the drawing area. Pixel types: 0 unsigned
// char, 1 unsigned short, 2 float; how values become screen levels is the
// host's (a float is expected to show as its value clamped to 0..255).
// qor_Xrectwrite draws one grey channel, qor_XRGBrectwrite three channels
// as red, green and blue; in a grey window a colour write shows grey levels
// of its own choice, in a colour window a grey write shows grey.
TIRN_HOST_API void qor_Xrectwrite(const void* pData, int iSrcWidth, int iSrcHeight, int iX,
                                  int iY, int iWidth, int iHeight, int iZoom, int iPixelType);
TIRN_HOST_API void qor_XRGBrectwrite(const void* pRed, const void* pGreen, const void* pBlue,
                                     int iSrcWidth, int iSrcHeight, int iX, int iY, int iWidth,
                                     int iHeight, int iZoom, int iPixelType);

// Size constraints for the user's resizing of the window: minimum size,
// maximum size (0, 0: none), aspect ratio width : height, size step. They
// take effect with qor_activate_constraints. None of them resizes the
// window by itself.
TIRN_HOST_API void qor_constrain_minsize(int iWidth, int iHeight);
TIRN_HOST_API void qor_constrain_maxsize(int iWidth, int iHeight);
TIRN_HOST_API void qor_constrain_aspect(int iWidth, int iHeight);
TIRN_HOST_API void qor_constrain_resize(int iWidth, int iHeight);
TIRN_HOST_API void qor_activate_constraints(void);

// The host's generic reaction of a unit's window to a control code (show,
// hide, resize, ...). Returns 0 when the unit has nothing more to do,
// otherwise a code saying what it should do next: -15 the window was just
// shown (set its constraints again), -9 clear it, -8 draw the picture
// again; any other non-zero code: nothing more to draw. Expected answers:
// -15 to -15 (after showing), -14 0 (after hiding), -9 -9, -8 -8, -32 and
// -56 -8 (the window has its new size), -48 -8.
TIRN_HOST_API int ctrl_window(int iCode, def_unittype* pUnit, def_winfo* pWin);

// The window the host made for a subwindow of that name, now to be used by
// pUnit, or null.
TIRN_HOST_API def_winfo* qor_host_for_subwindow(const char* pcName, def_unittype* pUnit);

// Frees a window information record (not the window).
TIRN_HOST_API void qor_free_winfo(def_winfo* pWin);

// Closes and forgets every window that belongs to pUnit.
TIRN_HOST_API void qor_remove_windows_of(def_unittype* pUnit);

// Writes / reads one window position record at the file's position (one
// line, the host's format, read back by qor_read_posinfo exactly as written).
// qor_read_posinfo returns 1 and fills all six when a record was read, 0
// (and leaves them alone) otherwise; *ppcName then is a new text from
// malloc that the plug-in frees with free().
TIRN_HOST_API void qor_write_posinfo(FILE* pFile, int iX, int iY, int iWidth, int iHeight,
                                     int iShown, const char* pcName);
TIRN_HOST_API int qor_read_posinfo(FILE* pFile, int* piX, int* piY, int* piWidth, int* piHeight,
                                   int* piShown, char** ppcName);

#endif
