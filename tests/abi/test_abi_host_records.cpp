// The plug-in's view of the host's records and the emulator's own
// definitions describe the same bytes: every field at the same offset with
// the same size, every record of the same size.
#include <gtest/gtest.h>

#include <cstddef>

#include "HostRecords.h"
#include "binding/HostInterface.h"

namespace {

using namespace tirnhost;

// Both sides name the fields alike; FIELD is used inside RECORD only.
#define FIELD(f)                                                                                   \
    EXPECT_EQ(offsetof(H, f), offsetof(P, f)) << #f;                                               \
    EXPECT_EQ(sizeof(H::f), sizeof(P::f)) << #f
#define RECORD(Host, Plugin, ...)                                                                  \
    do {                                                                                           \
        using H = Host;                                                                            \
        using P = Plugin;                                                                          \
        SCOPED_TRACE(#Host);                                                                       \
        EXPECT_EQ(sizeof(H), sizeof(P));                                                           \
        __VA_ARGS__;                                                                               \
    } while (0)

TEST(AbiHostRecords, EveryFieldLiesWhereThePluginExpectsIt)
{
    RECORD(PinRecord, def_pin, FIELD(pValue); FIELD(iLength); FIELD(iHostOwned));
    RECORD(PinGroupRecord, def_pingroup, FIELD(iPins); FIELD(iReserved); FIELD(pPins));
    RECORD(UnitRecord, def_unittype, FIELD(pfExec); FIELD(pfRemove); FIELD(pfCtrl); FIELD(pfSave);
           FIELD(pfLoad); FIELD(pUserData); FIELD(iFlags); FIELD(iInputGroups);
           FIELD(pInputGroups); FIELD(iOutputGroups); FIELD(iReserved); FIELD(pOutputGroups);
           FIELD(pHost));
    RECORD(WindowInfo, def_winfo, FIELD(pcName); FIELD(iX); FIELD(iY); FIELD(iWidth);
           FIELD(iHeight); FIELD(iShown); FIELD(iSizeLocked); FIELD(pHost));
    RECORD(IconDef, QorIconDef_, FIELD(pReserved0); FIELD(pfCreate); FIELD(pfApply);
           FIELD(pcDialog); FIELD(pcDialog2); FIELD(pcLabel); FIELD(pcName); FIELD(pReserved7));
    RECORD(IconEntry, QorIconEntry_, FIELD(pcFolder); FIELD(pcIcon); FIELD(pDef);
           FIELD(pReserved3); FIELD(pReserved4));
    RECORD(FolderRecord, QorFolder_, FIELD(pReserved0); FIELD(pcName); FIELD(pIcons));
    RECORD(PinTypeRecord, TirnPinType, FIELD(pcName));
}

TEST(AbiHostRecords, TagsCodesAndSizesAgree)
{
    const std::pair<long, long> pairs[] = {
        {TagInputGroup, TIRN_TAG_INPUT_GROUP}, {TagOutputGroup, TIRN_TAG_OUTPUT_GROUP},
        {TagEnd, TIRN_TAG_END},                {TagTypedPin, TIRN_TAG_TYPED_PIN},
        {TagValuePins, TIRN_TAG_VALUE_PINS},   {TagDataPins, TIRN_TAG_VALUE_PINS2},
        {CtrlState, TIRN_CTRL_STATE},          {CtrlOriginalSize, TIRN_CTRL_ORIGINAL_SIZE},
        {CtrlRebind, TIRN_CTRL_REBIND},        {CtrlRebound, TIRN_CTRL_REBOUND},
        {CtrlFitZoom, TIRN_CTRL_FIT_ZOOM},     {CtrlFitZoom2, TIRN_CTRL_FIT_ZOOM2},
        {CtrlShow, TIRN_CTRL_SHOW},            {CtrlHide, TIRN_CTRL_HIDE},
        {CtrlClear, TIRN_CTRL_CLEAR},          {CtrlRedraw, TIRN_CTRL_REDRAW},
        {UnitHasWindow, TIRN_UNIT_HAS_WINDOW}, {PlacementSize, TIRN_PLACEMENT_SIZE}};
    for (const auto& [host, plugin] : pairs)
        EXPECT_EQ(host, plugin);
}

} // namespace
