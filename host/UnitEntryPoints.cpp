// The host's entry points for units, dialogs and windows, as the plug-in
// binds to them at load time. Each checks the records it is handed and
// forwards to the network that owns them; misuse throws HostError.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Network.h"

#define TIRNHOST_ENTRY extern "C" __attribute__((visibility("default")))

using namespace tirnhost;

namespace {

Module& module(const char* pcWhat)
{
    Module* m = Module::current();
    if (!m)
        throw HostError(std::string(pcWhat) + " called with no module loaded");
    return *m;
}

const Dialog& dialog(const char* pcWhat)
{
    const Dialog* d = currentDialog();
    if (!d)
        throw HostError(std::string(pcWhat) + " called outside an icon callback");
    return *d;
}

// The host's placement: the title with its blanks made underscores (the
// plug-in reads the name as one word), then the position.
void placeWindow(char* pcBuffer, const char* pcTitle, int iX, int iY, int, int)
{
    if (!pcBuffer)
        throw HostError("tirn_window_placement: a null buffer");
    std::string name = pcTitle && *pcTitle ? pcTitle : "untitled";
    for (char& c : name)
        if (c == ' ' || c == '\t' || c == '\n')
            c = '_';
    std::snprintf(pcBuffer, PlacementSize, "%s %d %d", name.c_str(), iX, iY);
}

WindowInfo* openWindow(const char* pcCaller, bool bRgb, const char* pcName, int iShow, int iX,
                       int iY, int iWidth, int iHeight, UnitRecord* pUnit)
{
    Unit* p = Network::unitOf(pUnit, pcCaller);
    if (iWidth < 0 || iHeight < 0)
        return nullptr;
    WindowInfo* pInfo = p->network().openWindow(pcName, bRgb, iShow, iX, iY, iWidth, iHeight, p);
    beginDraw(static_cast<WindowSlot*>(pInfo->pHost));
    return pInfo;
}

void checkPixels(const char* pcCaller, const void* p)
{
    if (!p)
        throw HostError(std::string(pcCaller) + ": a null pixel array");
}

} // namespace

TIRNHOST_ENTRY int IVAL(int k)
{
    const Dialog& d = dialog("IVAL");
    return k >= 0 && k < int(d.numericFields().size()) ? d.ival(k) : 0;
}

TIRNHOST_ENTRY float FVAL(int k)
{
    const Dialog& d = dialog("FVAL");
    return k >= 0 && k < int(d.numericFields().size()) ? float(d.fval(k)) : 0.0f;
}

TIRNHOST_ENTRY char* TVAL(int k)
{
    static char acEmpty[1] = "";
    const Dialog& d = dialog("TVAL");
    return k >= 0 && k < int(d.textFields().size()) ? const_cast<char*>(d.tval(k).c_str())
                                                     : acEmpty;
}

typedef void (*PlacementFn)(char*, const char*, int, int, int, int);
extern "C" {
__attribute__((visibility("default"))) PlacementFn tirn_window_placement = placeWindow;
}

// "%S" is the host's plain text conversion.
TIRNHOST_ENTRY void qor_warning(const char* pcFormat, ...)
{
    std::string format = pcFormat ? pcFormat : "";
    for (std::size_t i = 0; i + 1 < format.size(); ++i)
        if (format[i] == '%') {
            if (format[i + 1] == 'S')
                format[i + 1] = 's';
            ++i;
        }
    va_list args;
    va_start(args, pcFormat);
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, format.c_str(), copy);
    va_end(copy);
    std::string s(std::size_t(n > 0 ? n : 0) + 1, '\0');
    std::vsnprintf(&s[0], s.size(), format.c_str(), args);
    va_end(args);
    s.pop_back();
    module("qor_warning").warn(s);
}

TIRNHOST_ENTRY int is_not_unit(UnitRecord* pUnit) { return Network::of(pUnit) ? 0 : 1; }

namespace {
constexpr int kMaxValuePins = 65536; // per tag: a 256 x 256 mask
} // namespace

TIRNHOST_ENTRY UnitRecord* primitive_unit(unsigned int uTag, ...)
{
    Module& m = module("primitive_unit");
    std::vector<std::vector<PinSpec>> inputs, outputs;
    std::vector<PinSpec>* pGroup = nullptr;
    UnitRecord* pHolder = nullptr;
    va_list args;
    va_start(args, uTag);
    try {
        for (unsigned int tag = uTag;; tag = va_arg(args, unsigned int)) {
            if (tag == TagEnd) {
                pHolder = va_arg(args, UnitRecord*);
                break;
            }
            if (tag == TagInputGroup || tag == TagOutputGroup) {
                auto& groups = tag == TagInputGroup ? inputs : outputs;
                groups.emplace_back();
                pGroup = &groups.back();
                continue;
            }
            if (tag != TagTypedPin && tag != TagValuePins && tag != TagDataPins) {
                char ac[16];
                std::snprintf(ac, sizeof ac, "0x%08x", tag);
                throw HostError(std::string("primitive_unit: unknown tag ") + ac);
            }
            if (!pGroup)
                throw HostError("primitive_unit: a pin before any group");
            if (tag == TagTypedPin) {
                const auto* pType = va_arg(args, const PinTypeRecord*);
                if (!pType || !pType->pcName)
                    throw HostError("primitive_unit: a typed pin without its type");
                if (!m.pinType(pType->pcName)) {
                    m.warn(std::string("primitive_unit: unknown pin type ") + pType->pcName);
                    va_end(args);
                    return nullptr;
                }
                PinSpec spec;
                spec.kind = PinKind::Image;
                spec.typeName = pType->pcName;
                pGroup->push_back(spec);
                continue;
            }
            const int n = va_arg(args, int);
            if (n < 0)
                throw HostError("primitive_unit: " + std::to_string(n) + " value pins");
            // A host's unit has as many pins as a person wires up: refused
            // beyond that, as an unknown type is, before anything is built.
            if (n > kMaxValuePins) {
                m.warn("primitive_unit: " + std::to_string(n) + " value pins, more than " +
                       std::to_string(kMaxValuePins));
                va_end(args);
                return nullptr;
            }
            PinSpec spec;
            spec.kind = PinKind::Value;
            spec.tag = tag;
            pGroup->insert(pGroup->end(), std::size_t(n), spec);
        }
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
    Network* pNet = Network::of(pHolder);
    if (!pNet)
        return nullptr;
    return pNet->newUnit(inputs, outputs)->record();
}

TIRNHOST_ENTRY UnitRecord* primitive_unit3(int nIn, char** apcIn, int nOut, char** apcOut,
                                           UnitRecord* pHolder)
{
    Module& m = module("primitive_unit3");
    Network* pNet = Network::of(pHolder);
    if (!pNet || nIn < 0 || nOut < 0 || (nIn && !apcIn) || (nOut && !apcOut))
        return nullptr;
    std::vector<std::vector<PinSpec>> inputs(1), outputs(1);
    for (int pass = 0; pass < 2; ++pass) {
        const int n = pass ? nOut : nIn;
        char** apc = pass ? apcOut : apcIn;
        for (int i = 0; i < n; ++i) {
            const std::string text = apc[i] ? apc[i] : "";
            try {
                PinSpec spec = pinSpecOf(text);
                if (spec.kind == PinKind::Image && !m.pinType(spec.typeName))
                    throw HostError("unknown pin type " + spec.typeName);
                (pass ? outputs : inputs)[0].push_back(spec);
            } catch (const HostError& e) {
                m.warn(std::string("primitive_unit3: ") + e.what());
                return nullptr;
            }
        }
    }
    return pNet->newUnit(inputs, outputs)->record();
}

TIRNHOST_ENTRY void label(UnitRecord* pUnit, const char* pcLabel)
{
    Network::unitOf(pUnit, "label")->setLabel(pcLabel ? pcLabel : "");
}

TIRNHOST_ENTRY void qor_reassign(UnitRecord* pUnit, int iPin, int, int iLength, void* pData)
{
    Unit* p = Network::unitOf(pUnit, "qor_reassign");
    const PinSpec& spec = p->outputSpec(iPin);
    if (spec.kind != PinKind::FloatArray && spec.kind != PinKind::ByteArray)
        throw HostError("qor_reassign: output pin " + std::to_string(iPin) + " of " + p->icon() +
                        " is no array pin");
    if (iLength < 0 || (iLength > 0 && !pData))
        throw HostError("qor_reassign: " + std::to_string(iLength) + " elements at " +
                        (pData ? "an array" : "null"));
    p->reassign(iPin, iLength, pData);
}

TIRNHOST_ENTRY int qor_dim_of_dyn_inp(UnitRecord* pUnit, int iPin, int)
{
    Unit* p = Network::unitOf(pUnit, "qor_dim_of_dyn_inp");
    const PinSpec& spec = p->inputSpec(iPin);
    if ((spec.kind != PinKind::FloatArray && spec.kind != PinKind::ByteArray) ||
        spec.fixedLength >= 0)
        throw HostError("qor_dim_of_dyn_inp: input pin " + std::to_string(iPin) + " of " +
                        p->icon() + " is no variable-length array pin");
    return p->input(iPin).iLength;
}

TIRNHOST_ENTRY int qor_remove0(UnitRecord* pUnit)
{
    Unit* p = Network::unitOf(pUnit, "qor_remove0");
    p->network().releasePins(p);
    return 0;
}

TIRNHOST_ENTRY int qor_ctrl0(int, UnitRecord*) { return 0; }

TIRNHOST_ENTRY int ctrl_unit(int iCode, UnitRecord* pUnit)
{
    Unit* p = Network::unitOf(pUnit, "ctrl_unit");
    return p->record()->pfCtrl ? p->record()->pfCtrl(iCode, pUnit) : 0;
}

TIRNHOST_ENTRY void qor_ctrl_attached_units(int iCode, UnitRecord* pUnit)
{
    Unit* p = Network::unitOf(pUnit, "qor_ctrl_attached_units");
    p->network().controlAttached(p, iCode);
}

TIRNHOST_ENTRY int qor_options(const char** ppcCursor, const char* pcLetters)
{
    if (!ppcCursor || !pcLetters)
        throw HostError("qor_options: a null cursor or letter set");
    if (!*ppcCursor)
        return 0;
    while (**ppcCursor) {
        const char c = *(*ppcCursor)++;
        if (std::strchr(pcLetters, c))
            return static_cast<unsigned char>(c);
        if (c != ' ')
            module("qor_options").warn(std::string("qor_options: unknown option '") + c + "'");
    }
    return 0;
}

TIRNHOST_ENTRY WindowInfo* qor_init_window(const char* pcName, int iShow, int iX, int iY,
                                           int iWidth, int iHeight, int, int, int, int,
                                           UnitRecord* pUnit)
{
    return openWindow("qor_init_window", false, pcName, iShow, iX, iY, iWidth, iHeight, pUnit);
}

TIRNHOST_ENTRY WindowInfo* qor_init_rgb_window(const char* pcName, int iShow, int iX, int iY,
                                               int iWidth, int iHeight, int, int, int, int,
                                               UnitRecord* pUnit)
{
    return openWindow("qor_init_rgb_window", true, pcName, iShow, iX, iY, iWidth, iHeight,
                      pUnit);
}

TIRNHOST_ENTRY int qor_begin_draw2(WindowInfo* pWin)
{
    if (!pWin)
        return 0;
    beginDraw(Network::slotOf(pWin, "qor_begin_draw2"));
    return 1;
}

TIRNHOST_ENTRY void qor_end_draw(void) { endDraw(); }

TIRNHOST_ENTRY void qor_clear(void) { drawingSlot("qor_clear")->window.clear(); }

TIRNHOST_ENTRY void qor_winresize(int iWidth, int iHeight, int)
{
    WindowSlot* s = drawingSlot("qor_winresize");
    s->window.resize(iWidth, iHeight);
    s->push();
}

TIRNHOST_ENTRY void qor_getsize(int* piWidth, int* piHeight)
{
    WindowSlot* s = drawingSlot("qor_getsize");
    if (!piWidth || !piHeight)
        throw HostError("qor_getsize: a null result pointer");
    *piWidth = s->window.width();
    *piHeight = s->window.height();
}

TIRNHOST_ENTRY void qor_Xrectwrite(const void* pData, int iSrcWidth, int iSrcHeight, int iX,
                                   int iY, int iWidth, int iHeight, int iZoom, int iPixelType)
{
    WindowSlot* s = drawingSlot("qor_Xrectwrite");
    if (iWidth > 0 && iHeight > 0)
        checkPixels("qor_Xrectwrite", pData);
    s->window.writeGrey(iX, iY, iWidth, iHeight, pData, iSrcWidth, iSrcHeight, iZoom,
                        iPixelType);
}

TIRNHOST_ENTRY void qor_XRGBrectwrite(const void* pRed, const void* pGreen, const void* pBlue,
                                      int iSrcWidth, int iSrcHeight, int iX, int iY, int iWidth,
                                      int iHeight, int iZoom, int iPixelType)
{
    WindowSlot* s = drawingSlot("qor_XRGBrectwrite");
    if (iWidth > 0 && iHeight > 0) {
        checkPixels("qor_XRGBrectwrite", pRed);
        checkPixels("qor_XRGBrectwrite", pGreen);
        checkPixels("qor_XRGBrectwrite", pBlue);
    }
    s->window.writeRgb(iX, iY, iWidth, iHeight, pRed, pGreen, pBlue, iSrcWidth, iSrcHeight,
                       iZoom, iPixelType);
}

TIRNHOST_ENTRY void qor_constrain_minsize(int w, int h)
{
    SizeConstraints& c = drawingSlot("qor_constrain_minsize")->window.constraints();
    c.minWidth = w;
    c.minHeight = h;
}

TIRNHOST_ENTRY void qor_constrain_maxsize(int w, int h)
{
    SizeConstraints& c = drawingSlot("qor_constrain_maxsize")->window.constraints();
    c.maxWidth = w;
    c.maxHeight = h;
}

TIRNHOST_ENTRY void qor_constrain_aspect(int w, int h)
{
    SizeConstraints& c = drawingSlot("qor_constrain_aspect")->window.constraints();
    c.aspectWidth = w;
    c.aspectHeight = h;
}

TIRNHOST_ENTRY void qor_constrain_resize(int w, int h)
{
    SizeConstraints& c = drawingSlot("qor_constrain_resize")->window.constraints();
    c.stepWidth = w;
    c.stepHeight = h;
}

TIRNHOST_ENTRY void qor_activate_constraints(void)
{
    drawingSlot("qor_activate_constraints")->window.constraints().active = true;
}

TIRNHOST_ENTRY int ctrl_window(int iCode, UnitRecord* pUnit, WindowInfo* pWin)
{
    Network::unitOf(pUnit, "ctrl_window");
    WindowSlot* s = Network::slotOf(pWin, "ctrl_window");
    switch (iCode) {
    case CtrlShow:
        s->window.setShown(true);
        s->push();
        return CtrlShow;
    case CtrlHide:
        s->window.setShown(false);
        s->push();
        return 0;
    case CtrlClear:
        return CtrlClear;
    case CtrlRedraw:
    case CtrlFitZoom:
    case CtrlFitZoom2:
    case CtrlRebound:
        return CtrlRedraw;
    default:
        return 0;
    }
}

TIRNHOST_ENTRY WindowInfo* qor_host_for_subwindow(const char* pcName, UnitRecord* pUnit)
{
    Unit* p = Network::unitOf(pUnit, "qor_host_for_subwindow");
    return p->network().subwindowFor(pcName ? pcName : "", p);
}

TIRNHOST_ENTRY void qor_free_winfo(WindowInfo* pWin)
{
    if (!pWin)
        return;
    WindowSlot* s = Network::slotOf(pWin, "qor_free_winfo");
    if (s->owner)
        s->owner->network().freeInfo(s);
}

TIRNHOST_ENTRY void qor_remove_windows_of(UnitRecord* pUnit)
{
    Unit* p = Network::unitOf(pUnit, "qor_remove_windows_of");
    p->network().removeWindowsOf(p);
}

TIRNHOST_ENTRY void qor_write_posinfo(std::FILE* pFile, int iX, int iY, int iWidth, int iHeight,
                                      int iShown, const char* pcName)
{
    if (!pFile)
        throw HostError("qor_write_posinfo: a null file");
    std::fprintf(pFile, "posinfo %d %d %d %d %d %s\n", iX, iY, iWidth, iHeight, iShown ? 1 : 0,
                 pcName ? pcName : "");
}

TIRNHOST_ENTRY int qor_read_posinfo(std::FILE* pFile, int* piX, int* piY, int* piWidth,
                                    int* piHeight, int* piShown, char** ppcName)
{
    if (!pFile || !piX || !piY || !piWidth || !piHeight || !piShown || !ppcName)
        throw HostError("qor_read_posinfo: a null argument");
    const long start = std::ftell(pFile);
    std::string line;
    int c;
    while ((c = std::fgetc(pFile)) != EOF && c != '\n')
        line += char(c);
    int v[5];
    int iName = 0;
    if (std::sscanf(line.c_str(), "posinfo %d %d %d %d %d %n", &v[0], &v[1], &v[2], &v[3], &v[4],
                    &iName) != 5 ||
        iName == 0) {
        std::fseek(pFile, start, SEEK_SET);
        return 0;
    }
    *piX = v[0];
    *piY = v[1];
    *piWidth = v[2];
    *piHeight = v[3];
    *piShown = v[4];
    *ppcName = strdup(line.c_str() + iName);
    return 1;
}
