// The display unit: selected channels of an image in a host window, grey
// (one channel per tile) or rgb (three per tile), enlarged by an integer
// zoom, the tiles side by side or stacked. The channel pins say which
// channels; the window, its size and zoom live in the unit's record.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "image/ImageBudget.h"
#include "units/UnitSupport.h"

using namespace tirn::units;
using tirn::binding::byPixelType;
using tirn::binding::TagPixel;

TIRN_EXPORT def_unittype* display_image(char* pcTitle, int iWidth, int iHeight, int iDepthCode,
                                        int iMode, int iZoom, int iTiles, char* pcOptions,
                                        def_unittype* pHost);

namespace {

const char kName[] = "display_image";

const char kDialog[] =
    " -- Displays selected channels of an image object%n Title    : %{Image%}%23t %n Position : "
    "%10i x %10i %n Size     : %80i x %80i %n Depth    : %1:3:3i (1 = 8bit, 2 = 16bit, 3 = "
    "32bit)%n Mode     : %0:1:1b%lgray|rgb%n Zoom     : %1i %n "
    "%[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";
const char kChannelDialog[] =
    " use channel(s) for display: %n R: %0i %n G: %1i %n B: %2i %n "
    "%[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";

// Input groups: the image, then one value pin per shown channel.
const int kImageGroup = 0;
const int kChannelGroup = 1;

// No screen is wider or taller; a larger window is a typing error.
const std::int64_t kMaxWindowSide = 65535;

// The unit's state between calls (user data, zero-filled, freed by remove).
struct DisplayRecord
{
    def_winfo* pWindow;
    int iWidth, iHeight;           // the image size the window is made for
    int iTiledWidth, iTiledHeight; // the window's picture before zoom
    char* pcName;                  // private copy
    int iDepthCode;                // 1 (8-bit) or 3 (32-bit)
    int iMode;                     // 0 grey, 1 rgb
    int iZoom;                     // at least 1
    int iLayout;                   // 1 stacked, 0 side by side
    int iTiles;
    int* piChannels;               // one per channel pin
    int iChannelPins;
    int iOptionR;                  // follow the input image's size
};

DisplayRecord* recordOf(def_unittype* pUnit)
{
    return static_cast<DisplayRecord*>(pUnit->pUserData);
}

void computeTiledSize(DisplayRecord& r)
{
    r.iTiledWidth = r.iLayout ? r.iWidth : r.iWidth * r.iTiles;
    r.iTiledHeight = r.iLayout ? r.iHeight * r.iTiles : r.iHeight;
}

// Acts on the window being drawn.
void applySizeConstraints(const DisplayRecord& r)
{
    std::printf("setting size constraints: %d, %d\n", r.iTiledWidth, r.iTiledHeight);
    qor_constrain_minsize(r.iTiledWidth, r.iTiledHeight);
    qor_constrain_maxsize(0, 0);
    qor_constrain_aspect(r.iTiledWidth, r.iTiledHeight);
    qor_constrain_resize(r.iTiledWidth, r.iTiledHeight);
}

// The host holds a window's pixels, up to three bytes each: a window is
// held to the memory budget as an image of its size would be.
bool windowFits(std::int64_t llWidth, std::int64_t llHeight, int iZoom)
{
    const std::int64_t llW = llWidth * iZoom, llH = llHeight * iZoom;
    if (llWidth < 0 || llHeight < 0 || llW > kMaxWindowSide || llH > kMaxWindowSide)
        return false;
    return llW <= 0 || llH <= 0 || tirn::bufferFitsBudget(std::uint64_t(llW * llH), 3);
}

// Draws the chosen channels; the channel pins are read on every run.
template <class T> int execDisplay(def_unittype* pUnit)
{
    return reportFailures(kName, [&] {
        DisplayRecord* pRecord = recordOf(pUnit);
        def_pingroup* pImagePins = inputGroup(pUnit, kImageGroup);
        CImage<T>* pImage =
            pImagePins && pImagePins->iPins > 0 ? imageOn<T>(&pImagePins->pPins[0]) : nullptr;
        if (!pRecord || !pImage)
            return 0;
        DisplayRecord& r = *pRecord;
        def_pingroup* pChannelPins = inputGroup(pUnit, kChannelGroup);
        const int iPins = std::min(r.iChannelPins, pChannelPins ? pChannelPins->iPins : 0);
        for (int i = 0; i < iPins; ++i) {
            const float* pfValue = static_cast<const float*>(pChannelPins->pPins[i].pValue);
            const int iChannel = pfValue ? tirn::truncateToInt32(*pfValue) : 0;
            if (iChannel < 0 || iChannel >= pImage->channels()) {
                qor_throw("badarg:value",
                          "Bad channel index: Index larger than number of channels (File:%s / "
                          "Line:%d)\n",
                          __FILE_NAME__, __LINE__);
                return 0;
            }
            r.piChannels[i] = iChannel;
        }
        if (!qor_begin_draw2(r.pWindow))
            return 0;
        if (!r.pWindow->iShown) {
            qor_end_draw();
            return 0;
        }
        const int w = pImage->width(), h = pImage->height();
        if (r.iOptionR && r.pWindow->iSizeLocked == 0 && (w != r.iWidth || h != r.iHeight)) {
            const std::int64_t llTiles = r.iTiles;
            if (windowFits(r.iLayout ? w : w * llTiles, r.iLayout ? h * llTiles : h, r.iZoom)) {
                r.iWidth = w;
                r.iHeight = h;
                computeTiledSize(r);
                applySizeConstraints(r);
                qor_winresize(r.iTiledWidth * r.iZoom, r.iTiledHeight * r.iZoom, 0);
            }
        }
        int iWindowWidth = 0, iWindowHeight = 0;
        qor_getsize(&iWindowWidth, &iWindowHeight);
        if (iWindowWidth != r.iTiledWidth * r.iZoom || iWindowHeight != r.iTiledHeight * r.iZoom)
            qor_clear();
        const int iDrawWidth = std::min(w, r.iWidth), iDrawHeight = std::min(h, r.iHeight);
        const int iPixelType = r.iDepthCode - 1;
        const int iTilesDrawn = r.iMode ? std::min(r.iTiles, iPins / 3) : std::min(r.iTiles, iPins);
        for (int t = 0; t < iTilesDrawn; ++t) {
            const int x = r.iLayout ? 0 : t * r.iWidth * r.iZoom;
            const int y = r.iLayout ? (r.iTiles - 1 - t) * r.iHeight * r.iZoom : 0;
            if (r.iMode)
                qor_XRGBrectwrite(pImage->getChannelDataPtr(r.piChannels[3 * t]),
                                  pImage->getChannelDataPtr(r.piChannels[3 * t + 1]),
                                  pImage->getChannelDataPtr(r.piChannels[3 * t + 2]), w, h, x, y,
                                  iDrawWidth, iDrawHeight, r.iZoom, iPixelType);
            else
                qor_Xrectwrite(pImage->getChannelDataPtr(r.piChannels[t]), w, h, x, y,
                               iDrawWidth, iDrawHeight, r.iZoom, iPixelType);
        }
        qor_end_draw();
        return 0;
    });
}

// Drawing does not nest: drawing ends before the unit's exec draws again
// and before the attached units are told.
int ctrlDisplay(int iCode, def_unittype* pUnit)
{
    return reportFailures(kName, [&] {
        DisplayRecord* pRecord = recordOf(pUnit);
        if (!pRecord)
            return 0;
        DisplayRecord& r = *pRecord;
        if (iCode == TIRN_CTRL_STATE)
            return r.pWindow->iShown;
        if (iCode == TIRN_CTRL_ORIGINAL_SIZE) {
            r.iZoom = 1;
            if (qor_begin_draw2(r.pWindow)) {
                qor_winresize(r.iTiledWidth, r.iTiledHeight, 0);
                qor_end_draw();
            }
            iCode = TIRN_CTRL_FIT_ZOOM;
        }
        if (iCode == TIRN_CTRL_REBIND) {
            if (def_winfo* pWindow = qor_host_for_subwindow(r.pcName, pUnit)) {
                qor_free_winfo(r.pWindow);
                r.pWindow = pWindow;
            }
            iCode = TIRN_CTRL_REBOUND;
        }
        const int iAnswer = ctrl_window(iCode, pUnit, r.pWindow);
        if (iAnswer == 0)
            return 0;
        if ((iCode == TIRN_CTRL_FIT_ZOOM || iCode == TIRN_CTRL_FIT_ZOOM2) && r.iTiledWidth > 0 &&
            r.iTiledHeight > 0)
            r.iZoom = std::max(1, std::min(r.pWindow->iHeight / r.iTiledHeight,
                                           r.pWindow->iWidth / r.iTiledWidth));
        if (!qor_begin_draw2(r.pWindow))
            return 0;
        if (iAnswer == TIRN_CTRL_SHOW) {
            applySizeConstraints(r);
            qor_activate_constraints();
        }
        if (!r.pWindow->iShown || (iAnswer != TIRN_CTRL_CLEAR && iAnswer != TIRN_CTRL_REDRAW)) {
            qor_end_draw();
            return 0;
        }
        if (iAnswer == TIRN_CTRL_CLEAR)
            qor_clear();
        qor_end_draw();
        if (iAnswer == TIRN_CTRL_REDRAW && pUnit->pfExec)
            pUnit->pfExec(pUnit);
        const TirnUnitCtrlFn pfOwn = pUnit->pfCtrl;
        pUnit->pfCtrl = qor_ctrl0;
        qor_ctrl_attached_units(iAnswer, pUnit);
        pUnit->pfCtrl = pfOwn;
        return 0;
    });
}

int saveDisplay(FILE* pFile, def_unittype* pUnit)
{
    return reportFailures(kName, [&] {
        const DisplayRecord* pRecord = recordOf(pUnit);
        if (!pRecord)
            return 0;
        const def_winfo& win = *pRecord->pWindow;
        qor_write_posinfo(pFile, win.iX, win.iY, win.iWidth, win.iHeight, win.iShown,
                          pRecord->pcName);
        std::fprintf(pFile, "zoom: %d\n", pRecord->iZoom);
        return 0;
    });
}

// The saved place and size are taken back as well, so that a loaded
// network shows its windows where they were.
int loadDisplay(FILE* pFile, def_unittype* pUnit)
{
    return reportFailures(kName, [&] {
        DisplayRecord* pRecord = recordOf(pUnit);
        if (!pRecord)
            return 0;
        DisplayRecord& r = *pRecord;
        int x = 0, y = 0, w = 0, h = 0, iShown = 0;
        char* pcName = nullptr;
        if (qor_read_posinfo(pFile, &x, &y, &w, &h, &iShown, &pcName)) {
            if (pcName) {
                std::free(r.pcName);
                r.pcName = pcName;
            }
            r.pWindow->iX = x;
            r.pWindow->iY = y;
            if (windowFits(w, h, 1) && qor_begin_draw2(r.pWindow)) {
                qor_winresize(w, h, 0);
                qor_end_draw();
            }
            if ((iShown != 0) != (r.pWindow->iShown != 0))
                ctrl_unit(iShown ? TIRN_CTRL_SHOW : TIRN_CTRL_HIDE, pUnit);
        }
        int iZoom = 0;
        if (std::fscanf(pFile, "%*s %d", &iZoom) == 1)
            r.iZoom = std::max(iZoom, 1);
        return 0;
    });
}

int removeDisplay(def_unittype* pUnit)
{
    DisplayRecord* pRecord = recordOf(pUnit);
    qor_ctrl_attached_units(TIRN_CTRL_CLEAR, pUnit);
    if (pRecord) {
        qor_free_winfo(pRecord->pWindow);
        qor_remove_windows_of(pUnit);
        std::free(pRecord->piChannels);
        std::free(pRecord->pcName);
        std::free(pRecord);
    }
    pUnit->pUserData = nullptr;
    return qor_remove0(pUnit);
}

// Creation without the checks: the unit, its record, image and window.
// Returns null (after undoing what it made) when something could not be
// made.
def_unittype* makeDisplay(DisplayRecord& proto, int iShow, int iX, int iY, def_unittype* pHost)
{
    const int P = proto.iChannelPins;
    def_unittype* pUnit = primitive_unit(TIRN_TAG_INPUT_GROUP, TIRN_TAG_TYPED_PIN, imagePinType(),
                                         TIRN_TAG_INPUT_GROUP, TIRN_TAG_VALUE_PINS, P,
                                         TIRN_TAG_END, pHost);
    if (!pUnit)
        return nullptr;
    DisplayRecord* pRecord = nullptr;
    try {
        def_pingroup* pChannelPins = inputGroup(pUnit, kChannelGroup);
        for (int i = 0; pChannelPins && i < pChannelPins->iPins; ++i)
            if (float* pfValue = static_cast<float*>(pChannelPins->pPins[i].pValue))
                *pfValue = float(i);
        pRecord = static_cast<DisplayRecord*>(std::calloc(1, sizeof(DisplayRecord)));
        if (!pRecord)
            throw std::bad_alloc();
        *pRecord = proto;
        pRecord->pcName = nullptr;
        pRecord->piChannels = nullptr;
        pUnit->pUserData = pRecord;
        pRecord->pcName = static_cast<char*>(std::malloc(std::strlen(proto.pcName) + 1));
        if (P > 0)
            pRecord->piChannels = static_cast<int*>(std::calloc(std::size_t(P), sizeof(int)));
        if (!pRecord->pcName || (P > 0 && !pRecord->piChannels))
            throw std::bad_alloc();
        std::strcpy(pRecord->pcName, proto.pcName);
        byPixelType(pRecord->iDepthCode == 1 ? 8 : 32, 0, [&](auto tag) {
            typedef TagPixel<decltype(tag)> T;
            inputGroup(pUnit, kImageGroup)->pPins[0].pValue = new CImage<T>(1, 1, P);
            pUnit->pfExec = execDisplay<T>;
            return 0;
        });
        DisplayRecord& r = *pRecord;
        computeTiledSize(r);
        r.pWindow = (r.iMode ? qor_init_rgb_window : qor_init_window)(
            r.pcName, iShow, iX, iY, r.iTiledWidth * r.iZoom, r.iTiledHeight * r.iZoom, 0, 0, 0,
            1, pUnit);
        if (!r.pWindow)
            throw std::bad_alloc();
        if (iShow) {
            applySizeConstraints(r);
            qor_activate_constraints();
        }
        qor_end_draw();
    } catch (...) {
        if (pRecord) {
            std::free(pRecord->piChannels);
            std::free(pRecord->pcName);
            std::free(pRecord);
        }
        pUnit->pUserData = nullptr;
        pUnit->pfExec = nullptr;
        qor_remove0(pUnit);
        return nullptr;
    }
    pUnit->pfLoad = loadDisplay;
    pUnit->pfSave = saveDisplay;
    pUnit->pfRemove = removeDisplay;
    pUnit->pfCtrl = ctrlDisplay;
    label(pUnit, kName);
    pUnit->iFlags |= TIRN_UNIT_HAS_WINDOW;
    return pUnit;
}

} // namespace

// The 16-bit code 2, which the creation dialog offers, is refused: kept so.
TIRN_EXPORT def_unittype* display_image(char* pcTitle, int iWidth, int iHeight, int iDepthCode,
                                        int iMode, int iZoom, int iTiles, char* pcOptions,
                                        def_unittype* pHost)
{
    if (is_not_unit(pHost)) {
        qor_warning("%S: illegal host unit!", kName);
        return nullptr;
    }
    if (iDepthCode != 1 && iDepthCode != 3) {
        qor_warning("%S: Unknown image depth!", kName);
        return nullptr;
    }
    DisplayRecord proto = {};
    proto.iWidth = iWidth;
    proto.iHeight = iHeight;
    proto.iDepthCode = iDepthCode;
    proto.iMode = iMode ? 1 : 0;
    proto.iZoom = std::max(iZoom, 1);
    proto.iLayout = iTiles >= 0 ? 1 : 0;
    const std::int64_t llTiles = std::llabs(std::int64_t(iTiles));
    const std::int64_t llTiledWidth = proto.iLayout ? iWidth : iWidth * llTiles;
    const std::int64_t llTiledHeight = proto.iLayout ? iHeight * llTiles : iHeight;
    if (iWidth < 1 || iHeight < 1 || !windowFits(llTiledWidth, llTiledHeight, proto.iZoom)) {
        qor_warning("%S: failed to create unit!", kName);
        return nullptr;
    }
    proto.iTiles = int(llTiles);
    proto.iChannelPins = proto.iTiles * (proto.iMode ? 3 : 1);

    // The placed title: the window's name, then its position.
    const char* pcPlaced = pcTitle ? pcTitle : "";
    char* pcName = static_cast<char*>(std::calloc(std::strlen(pcPlaced) + 1, 1));
    if (!pcName) {
        qor_warning("%S: failed to create unit!", kName);
        return nullptr;
    }
    int iX = 0, iY = 0;
    std::sscanf(pcPlaced, "%s %d %d", pcName, &iX, &iY);
    proto.pcName = pcName;

    int iShow = 1;
    const char* pcCursor = pcOptions ? pcOptions : "";
    while (int c = qor_options(&pcCursor, "HR")) {
        if (c == 'H')
            iShow = 0;
        else if (c == 'R')
            proto.iOptionR = 1;
    }

    def_unittype* pUnit = makeDisplay(proto, iShow, iX, iY, pHost);
    std::free(pcName);
    if (!pUnit)
        qor_warning("%S: failed to create unit!", kName);
    return pUnit;
}

TIRN_EXPORT def_unittype* _fun1_display_image(int, int, QorIconDef_*, def_unittype* pUnit)
{
    char acPlaced[TIRN_PLACEMENT_SIZE] = {0};
    const char* pcTitle = TVAL(0);
    if (tirn_window_placement)
        tirn_window_placement(acPlaced, pcTitle, IVAL(0), IVAL(1), IVAL(2), IVAL(3));
    else
        std::snprintf(acPlaced, sizeof acPlaced, "%s %d %d", pcTitle ? pcTitle : "", IVAL(0),
                      IVAL(1));
    acPlaced[sizeof acPlaced - 1] = 0;
    static char acNoOptions[] = "";
    return display_image(acPlaced, IVAL(2), IVAL(3), IVAL(4), IVAL(5), IVAL(6), 1, acNoOptions,
                         pUnit);
}

// The second dialog's answers R, G, B go to the channel pins in order.
TIRN_EXPORT int _fun2_display_image(int, int, QorIconDef_*, def_unittype* pUnit)
{
    def_pingroup* pChannelPins = pUnit ? inputGroup(pUnit, kChannelGroup) : nullptr;
    for (int i = 0; pChannelPins && i < pChannelPins->iPins; ++i)
        if (float* pfValue = static_cast<float*>(pChannelPins->pPins[i].pValue))
            *pfValue = FVAL(i);
    return 1;
}

TIRN_EXPORT const QorIconDef_ ICONDEF_display_image = {
    nullptr, _fun1_display_image, _fun2_display_image, kDialog, kChannelDialog,
    "display_image", "", nullptr};
