// The plug-in's view of the host's records and the emulator's own
// definitions describe the same bytes: every field at the same offset with
// the same size, every record of the same size.
#include <gtest/gtest.h>

#include <cstddef>

#include "HostRecords.h"
#include "binding/HostInterface.h"

namespace {

#define EXPECT_SAME_FIELD(HostRecord, hostField, PluginRecord, pluginField)                   \
    do {                                                                                     \
        EXPECT_EQ(offsetof(HostRecord, hostField), offsetof(PluginRecord, pluginField))      \
            << #HostRecord "::" #hostField;                                                  \
        EXPECT_EQ(sizeof(HostRecord::hostField), sizeof(PluginRecord::pluginField))          \
            << #HostRecord "::" #hostField;                                                  \
    } while (0)

using namespace tirnhost;

TEST(AbiHostRecords, EveryFieldLiesWhereThePluginExpectsIt)
{
    EXPECT_EQ(sizeof(PinRecord), sizeof(def_pin));
    EXPECT_SAME_FIELD(PinRecord, pValue, def_pin, pValue);
    EXPECT_SAME_FIELD(PinRecord, iLength, def_pin, iLength);
    EXPECT_SAME_FIELD(PinRecord, iHostOwned, def_pin, iHostOwned);

    EXPECT_EQ(sizeof(PinGroupRecord), sizeof(def_pingroup));
    EXPECT_SAME_FIELD(PinGroupRecord, iPins, def_pingroup, iPins);
    EXPECT_SAME_FIELD(PinGroupRecord, iReserved, def_pingroup, iReserved);
    EXPECT_SAME_FIELD(PinGroupRecord, pPins, def_pingroup, pPins);

    EXPECT_EQ(sizeof(UnitRecord), sizeof(def_unittype));
    EXPECT_SAME_FIELD(UnitRecord, pfExec, def_unittype, pfExec);
    EXPECT_SAME_FIELD(UnitRecord, pfRemove, def_unittype, pfRemove);
    EXPECT_SAME_FIELD(UnitRecord, pfCtrl, def_unittype, pfCtrl);
    EXPECT_SAME_FIELD(UnitRecord, pfSave, def_unittype, pfSave);
    EXPECT_SAME_FIELD(UnitRecord, pfLoad, def_unittype, pfLoad);
    EXPECT_SAME_FIELD(UnitRecord, pUserData, def_unittype, pUserData);
    EXPECT_SAME_FIELD(UnitRecord, iFlags, def_unittype, iFlags);
    EXPECT_SAME_FIELD(UnitRecord, iInputGroups, def_unittype, iInputGroups);
    EXPECT_SAME_FIELD(UnitRecord, pInputGroups, def_unittype, pInputGroups);
    EXPECT_SAME_FIELD(UnitRecord, iOutputGroups, def_unittype, iOutputGroups);
    EXPECT_SAME_FIELD(UnitRecord, iReserved, def_unittype, iReserved);
    EXPECT_SAME_FIELD(UnitRecord, pOutputGroups, def_unittype, pOutputGroups);
    EXPECT_SAME_FIELD(UnitRecord, pHost, def_unittype, pHost);

    EXPECT_EQ(sizeof(WindowInfo), sizeof(def_winfo));
    EXPECT_SAME_FIELD(WindowInfo, pcName, def_winfo, pcName);
    EXPECT_SAME_FIELD(WindowInfo, iX, def_winfo, iX);
    EXPECT_SAME_FIELD(WindowInfo, iY, def_winfo, iY);
    EXPECT_SAME_FIELD(WindowInfo, iWidth, def_winfo, iWidth);
    EXPECT_SAME_FIELD(WindowInfo, iHeight, def_winfo, iHeight);
    EXPECT_SAME_FIELD(WindowInfo, iShown, def_winfo, iShown);
    EXPECT_SAME_FIELD(WindowInfo, iSizeLocked, def_winfo, iSizeLocked);
    EXPECT_SAME_FIELD(WindowInfo, pHost, def_winfo, pHost);

    EXPECT_EQ(sizeof(IconDef), sizeof(QorIconDef_));
    EXPECT_SAME_FIELD(IconDef, pReserved0, QorIconDef_, pReserved0);
    EXPECT_SAME_FIELD(IconDef, pfCreate, QorIconDef_, pfCreate);
    EXPECT_SAME_FIELD(IconDef, pfApply, QorIconDef_, pfApply);
    EXPECT_SAME_FIELD(IconDef, pcDialog, QorIconDef_, pcDialog);
    EXPECT_SAME_FIELD(IconDef, pcDialog2, QorIconDef_, pcDialog2);
    EXPECT_SAME_FIELD(IconDef, pcLabel, QorIconDef_, pcLabel);
    EXPECT_SAME_FIELD(IconDef, pcName, QorIconDef_, pcName);
    EXPECT_SAME_FIELD(IconDef, pReserved7, QorIconDef_, pReserved7);

    EXPECT_EQ(sizeof(IconEntry), sizeof(QorIconEntry_));
    EXPECT_SAME_FIELD(IconEntry, pcFolder, QorIconEntry_, pcFolder);
    EXPECT_SAME_FIELD(IconEntry, pcIcon, QorIconEntry_, pcIcon);
    EXPECT_SAME_FIELD(IconEntry, pDef, QorIconEntry_, pDef);
    EXPECT_SAME_FIELD(IconEntry, pReserved3, QorIconEntry_, pReserved3);
    EXPECT_SAME_FIELD(IconEntry, pReserved4, QorIconEntry_, pReserved4);

    EXPECT_EQ(sizeof(FolderRecord), sizeof(QorFolder_));
    EXPECT_SAME_FIELD(FolderRecord, pReserved0, QorFolder_, pReserved0);
    EXPECT_SAME_FIELD(FolderRecord, pcName, QorFolder_, pcName);
    EXPECT_SAME_FIELD(FolderRecord, pIcons, QorFolder_, pIcons);

    EXPECT_EQ(sizeof(PinTypeRecord), sizeof(TirnPinType));
    EXPECT_SAME_FIELD(PinTypeRecord, pcName, TirnPinType, pcName);
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
