// What the host finds in the module: the exported tables and records, laid
// out as the host's own, and a dynamic symbol table holding exactly the
// plug-in's C names, with every undefined symbol bound either by the host or
// by a library the module needs.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "AbiFixture.h"
#include "HostRecords.h"
#include "binding/HostInterface.h"

namespace abitest {
namespace {

typedef std::set<std::string> Names;

std::string run(const std::string& sCommand)
{
    std::string out;
    FILE* pipe = popen(sCommand.c_str(), "r");
    char acBuffer[4096];
    for (std::size_t n; pipe && (n = std::fread(acBuffer, 1, sizeof acBuffer, pipe)) > 0;)
        out.append(acBuffer, n);
    if (pipe)
        pclose(pipe);
    return out;
}

// Symbol names from "nm -D -P" lines ("name type value size"), without their
// version ("@GLIBC_2.2.5"). Weak undefined references ('w', 'v') need no
// definition and are skipped.
Names dynamicSymbols(const std::string& sFile, const char* pcWhich)
{
    Names names;
    std::istringstream lines(run("nm -D -P " + std::string(pcWhich) + " '" + sFile + "'"));
    for (std::string name, type, rest; lines >> name >> type && std::getline(lines, rest);)
        if (type != "w" && type != "v")
            names.insert(name.substr(0, name.find('@')));
    return names;
}

Names difference(const Names& a, const Names& b)
{
    Names d;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(d, d.end()));
    return d;
}

// Group iGroup of every line the pattern finds in the text.
Names matches(std::istream&& lines, const char* pcPattern, int iGroup)
{
    const std::regex pattern(pcPattern);
    Names names;
    std::smatch match;
    for (std::string line; std::getline(lines, line);)
        if (std::regex_search(line, match, pattern))
            names.insert(match[iGroup]);
    return names;
}

using AbiSymbols = AbiTest;

TEST_F(AbiSymbols, ClassTablesInTheHostsOrder)
{
    const char* const kClassOrder[] = {
        "CImage",          "CImageTVGrab",   "CImageUSBGrab",       "CMedianFilter",
        "CsimpleMedian",   "CCombineChannel", "CNormalizeRGB",      "CDistance",
        "CThreshold",      "CGenericConvolution", "CGaussFilter",   "CColormap",
        "CMeanFilter",     "CSobelFilter",   "CRankFilter",         "CShadingFilter",
        "CSelectChannel",  "CHsiRgbFilter",  "CConvolutionFilter",  "CYuv2Rgb"};
    ASSERT_EQ(m->classes().size(), 20u);
    for (std::size_t i = 0; i < 20; ++i)
        EXPECT_EQ(m->classes()[i].name, kClassOrder[i]) << i;

    auto classes = static_cast<const char* const* const*>(m->symbol("CLASSES_tirnvision"));
    ASSERT_NE(classes, nullptr);
    EXPECT_EQ(classes[20], nullptr);
    int n = 0;
    while (classes[0][n])
        ++n;
    EXPECT_EQ(n, 59);
    // Spacing, capitals and defaults are the scripts' vocabulary.
    const std::pair<std::pair<int, int>, const char*> kLines[] = {
        {{0, 0}, "CImage_:"},
        {{0, 4}, "COMPATIBLE_CImage ()"},
        {{0, 34}, "void  histogram(int, float, float, int, float*)"},
        {{0, 58}, "void setPixel(int,int,float*)"},
        {{1, 4}, "void setsize(int,int=0)"},
        {{3, 1}, "CMedianFilter(int iDEpth = 32)"},
        {{3, 7}, "int selectChannel(  char*)"},
        {{5, 9}, "CCombineChannel_1_:"},
        {{13, 1}, "CSobelFilter(int iDepth = 32, int iWidth=3,int iDirection = 0)"}};
    for (const auto& [where, pcLine] : kLines)
        EXPECT_STREQ(classes[where.first][where.second], pcLine);
}

TEST_F(AbiSymbols, VersionRecordAndPinTable)
{
    auto version = static_cast<const char* const*>(m->symbol("Tirn_V_of_tirnvision"));
    ASSERT_NE(version, nullptr);
    EXPECT_STREQ(version[0], "7.9 17/07/02 KT");
    EXPECT_STREQ(version[1], "7.9 17/07/02 KT");

    // The pin type record, then the end record.
    auto pins = static_cast<void* const*>(m->symbol("gasVisionPinTypes"));
    ASSERT_NE(pins, nullptr);
    EXPECT_STREQ(static_cast<const char*>(pins[0]), "tirnvision.CImage");
    EXPECT_EQ(std::vector<void*>(pins + 1, pins + 7),
              (std::vector<void*>{m->symbol("CImage_COPY_CImage"),
                                  m->symbol("CImage_COMPATIBLE_CImage"),
                                  m->symbol("CImage_FREE_CImage"),
                                  m->symbol("CImage_DESCRIBE_CImage"), nullptr, nullptr}));

    auto functions = static_cast<const char* const*>(m->symbol("FUNCTIONS_tirnvision"));
    ASSERT_NE(functions, nullptr);
    EXPECT_STREQ(functions[0], "CColorFilters_0_:");
    EXPECT_STREQ(functions[3], "class CImage HistogramDistance(class CImage, float *, float, float, float*)");
    EXPECT_EQ(functions[5], nullptr);
}

TEST_F(AbiSymbols, ModuleExportsExactlyThePluginNames)
{
    const std::vector<std::string> declared = m->declaredExports();
    Names expected(declared.begin(), declared.end());
    // Documented extras: the entry points, the tables and records, the region
    // reads that no table line announces, and the units' folder, icon list
    // and creation functions.
    expected.insert({"vision_type_init", "vision_type_fini", "CLASSES_tirnvision",
                     "FUNCTIONS_tirnvision", "gasVisionPinTypes", "Tirn_V_of_tirnvision",
                     "CImage8_getChannelRegion", "CImage32_getChannelRegion", "gsFolder_tirnvision",
                     "gasIconsOfFolder_tirnvision", "display_image", "CImageToDynPins",
                     "CImageToFixPins", "DynPinsToCImage", "HSI_RGB_Filter", "ConvolutionFilter",
                     "CortLayerFilter", "CSobelFilter_0_prohibitMMX",
                     "CGaussFilter_0_prohibitMMX"});
    // Selection wrappers that classes export without declaring them.
    for (const std::string sClass : {"CMeanFilter", "CSobelFilter", "CGaussFilter",
                                     "CShadingFilter", "CRankFilter", "CMedianFilter"})
        expected.insert({sClass + "_0_selected", sClass + "_1_selectChannel"});
    // Per icon its definition and its two callbacks.
    for (const std::string sIcon : {"CImageToPins", "PinsToCImage", "display_image",
                                    "HSI_RGB_Filter", "ConvolutionFilter", "CortLayerFilter"})
        expected.insert({"ICONDEF_" + sIcon, "_fun1_" + sIcon, "_fun2_" + sIcon});

    // Less the names the linker defines in every shared object.
    const Names exported = difference(dynamicSymbols(TIRN_MODULE_PATH, "--defined-only"),
                                      {"_init", "_fini", "_edata", "_end", "__bss_start"});
    ASSERT_FALSE(exported.empty()) << "nm found nothing in " << TIRN_MODULE_PATH;
    EXPECT_EQ(difference(exported, expected), Names()) << "exported but not declared";
    EXPECT_EQ(difference(expected, exported), Names()) << "declared but not exported";
}

TEST_F(AbiSymbols, UndefinedSymbolsAreHostEntryPointsOrFromLinkedLibraries)
{
    // The TIRN_HOST_API declarations of the plug-in's host interface header:
    // the first name followed by "(" or, for a variable, by ";".
    const Names host =
        matches(std::ifstream(TIRN_HOST_INTERFACE_HEADER), "^TIRN_HOST_API .*?(\\w+) *[(;]", 1);
    ASSERT_TRUE(host.count("prog_throw")) << "header not read: " << TIRN_HOST_INTERFACE_HEADER;
    // The libraries the module was linked against, as the loader resolves them
    // ("libz.so.1 => /lib/x86_64-linux-gnu/libz.so.1 (0x...)"), and the dynamic
    // loader itself (which provides __tls_get_addr: "/lib64/ld-... (0x...)").
    const Names libraries = matches(std::istringstream(run("ldd '" TIRN_MODULE_PATH "'")),
                                    "^\\s*(\\S+ => )?(/\\S+)", 2);
    ASSERT_FALSE(libraries.empty());
    Names provided;
    for (const std::string& lib : libraries)
        for (const std::string& s : dynamicSymbols(lib, "--defined-only"))
            provided.insert(s);

    Names unexplained, fromHost;
    for (const std::string& s : dynamicSymbols(TIRN_MODULE_PATH, "--undefined-only")) {
        if (host.count(s))
            fromHost.insert(s);
        else if (!provided.count(s))
            unexplained.insert(s);
    }
    EXPECT_EQ(unexplained, Names());
    // The plug-in really leaves every declared entry point to the host, and
    // the header declares none it does not use. The one pin type has no base
    // type, so the compiler drops the call that would declare it.
    Names unused = difference(host, fromHost);
    unused.erase("qor_typedef_basetype");
    EXPECT_EQ(unused, Names());
    for (const std::string& s : fromHost)
        EXPECT_TRUE(provided.count(s) == 0) << s << " is also defined by a linked library";
}

// The plug-in's view of the host's records and the emulator's own definitions
// describe the same bytes. Both sides name the fields alike; FIELD is used
// inside RECORD only.
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
    using namespace tirnhost;
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
    using namespace tirnhost;
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
} // namespace abitest
