// What every filter wrapper says about a depth that is none of 8, 16, 32:
// at construction, and for objects forged from the documented layouts
// (checked against real objects first). A refusing wrapper reads nothing but
// the depth, so the forgery is never used as an object.
#include <array>
#include <cstring>
#include <map>

#include "AbiFixture.h"

namespace abitest {
namespace {

// CTransformation<T>: virtual table, mask, multi-channel flag, source,
// target, selected count, depth.
struct ForgedTransformation
{
    void* pVirtualTable = nullptr;
    bool* pbMask = nullptr;
    bool bMultiChannel = false;
    const void* pSource = nullptr;
    void* pTarget = nullptr;
    int iSelected = 0;
    int iDepth = 0;
};

// CColormap<T>: type, input, output, depth; no virtual table.
struct ForgedColormap
{
    int iType = 0;
    void* pInput = nullptr;
    void* pOutput = nullptr;
    int iDepth = 0;
};

int intAt(void* pObject, std::size_t offset)
{
    int i;
    std::memcpy(&i, static_cast<char*>(pObject) + offset, sizeof i);
    return i;
}

class AbiFilterDepths : public AbiTest
{
protected:
    Errors callQuietly(const std::string& sExport, void* pObject, const std::vector<Arg>& args)
    {
        stdoutOf([&] { m->callExport(sExport, ValueType::Void, pObject, args); });
        return errors();
    }
};

// The negative aliases name the depths, as for images.
TEST_F(AbiFilterDepths, ForgedLayoutsMatchRealObjects)
{
    const std::pair<int, int> kCodes[] = {{8, 8}, {16, 16}, {32, 32}, {-1, 8}, {-2, 16}, {-3, 32}};
    for (const auto& [iCode, iDepth] : kCodes) {
        void* pMean = m->create("CMeanFilter", {I(iCode)});
        EXPECT_EQ(intAt(pMean, offsetof(ForgedTransformation, iDepth)), iDepth) << iCode;
        void* pMap = m->create("CColormap", {I(iCode), I(0)});
        EXPECT_EQ(intAt(pMap, offsetof(ForgedColormap, iDepth)), iDepth) << iCode;
        stdoutOf([&] {
            m->release(pMean);
            m->release(pMap);
        });
    }
}

TEST_F(AbiFilterDepths, EveryTransformationWrapperRefusesWithItsOwnText)
{
    // Borrowed and mixed texts, kept as scripts know them: the constructor,
    // FREE_, exec, setInput and setOutput, the setters. Every other class
    // says "Class" when constructed and "~Class" after.
    const std::map<std::string, std::array<std::string, 5>> kBorrowed = {
        {"CSelectChannel",
         {"CMeanFilter", "~CSelectChannel", "CSelectChannel", "~CSelectChannel", ""}},
        {"CGenericConvolution",
         {"CRankFilter", "~CMedianFilter", "~CMedianFilter", "~CGenericConvolution",
          "CRankFilter"}}};
    ForgedTransformation transformation;
    ForgedColormap colormap;
    transformation.iDepth = colormap.iDepth = 24;
    for (const FilterClass& k : filterClasses()) {
        const std::string sClass = k.pcClass, sPrefix = sClass + "_0_";
        if (!m->classTable(sClass).find("exec").front()->params.empty())
            continue; // a two-image filter
        std::array<std::string, 5> texts;
        texts.fill("~" + sClass);
        texts[0] = sClass;
        if (kBorrowed.count(sClass))
            texts = kBorrowed.at(sClass);
        const auto refusal = [&](int i) {
            return Errors{{"badarg", "unsupported depth for " + texts[i] + "\n"}};
        };
        for (int iCode : {0, -4, 7, 24, 5}) {
            std::vector<Arg> args = {I(iCode)};
            if (sClass == "CColormap")
                args.push_back(I(0));
            EXPECT_EQ(m->create(sClass, args), nullptr) << sClass << " " << iCode;
            EXPECT_EQ(errors(), refusal(0)) << sClass << " " << iCode;
        }
        void* p = sClass == "CColormap" ? static_cast<void*>(&colormap) : &transformation;
        void* pImage = image(32);
        EXPECT_EQ(callQuietly(sPrefix + "exec", p, {}), refusal(2)) << sClass;
        for (const char* pcMethod : {"setInput", "setOutput"})
            EXPECT_EQ(callQuietly(sPrefix + pcMethod, p, {Arg::image(pImage)}), refusal(3))
                << sClass << " " << pcMethod;
        for (const auto& [pcMethod, args] : k.calls)
            if (std::string(pcMethod).rfind("set", 0) == 0) {
                stdoutOf([&] { m->call(p, sClass, pcMethod, args); });
                EXPECT_EQ(errors(), refusal(4)) << sClass << " " << pcMethod;
            }
        // FREE_ refuses too, and leaves the object alone.
        auto pFree = reinterpret_cast<void (*)(void*)>(m->symbol(sPrefix + "FREE_" + sClass));
        ASSERT_NE(pFree, nullptr) << sClass;
        stdoutOf([&] { pFree(p); });
        EXPECT_EQ(errors(), refusal(1)) << sClass;
    }
    // Selection and the MMX permission do not dispatch on the depth.
    EXPECT_EQ(m->callExport("CCombineChannel_0_selected", ValueType::Int, &transformation, {}).i,
              0);
    for (const char* pcExport :
         {"CMeanFilter_0_prohibitMMX", "CGaussFilter_0_prohibitMMX", "CSobelFilter_0_prohibitMMX"})
        m->callExport(pcExport, ValueType::Void, &transformation, {});
    EXPECT_EQ(errors(), Errors());
}

// The two-image filters store source and target depth as the ints after the
// virtual table. Zero and every negative code but -1 and -2 mean float; only
// positive unknown depths are refused, when constructed and when stored.
TEST_F(AbiFilterDepths, TwoImageFiltersRefuseOnlyPositiveUnknownDepths)
{
    const std::pair<int, int> kAccepted[] = {{8, 8},   {16, 16}, {32, 32}, {-1, 8},   {-2, 16},
                                             {-3, 32}, {0, 32},  {-7, 32}, {-100, 32}};
    for (const char* pcClass : {"CsimpleMedian", "CHsiRgbFilter", "CConvolutionFilter", "CYuv2Rgb"}) {
        const std::string sClass = pcClass;
        for (int iCode : {12, 24, 1, 7}) {
            EXPECT_EQ(m->create(sClass, {I(iCode)}), nullptr) << sClass << " " << iCode;
            EXPECT_EQ(errors(), (Errors{{"badarg", "unsupported depth for FILTER_CONSTRUCTOR\n"}}));
        }
        for (const auto& [iCode, iDepth] : kAccepted) {
            void* p = m->create(sClass, {I(iCode)});
            ASSERT_NE(p, nullptr) << sClass << " " << iCode;
            EXPECT_EQ(intAt(p, sizeof(void*)) * 100 + intAt(p, sizeof(void*) + sizeof(int)),
                      iDepth * 101)
                << sClass << " " << iCode;
            m->release(p);
        }

        void* p = m->create(sClass, {I(32)});
        int* piSource = reinterpret_cast<int*>(static_cast<char*>(p) + sizeof(void*));
        void* pIn = image(32, 4, 4, 3);
        void* pOut = image(32);
        *piSource = 12;
        EXPECT_EQ(callQuietly(sClass + "_0_exec", p, {Arg::image(pIn), Arg::image(pOut)}),
                  (Errors{{"badarg", "unsupported depth for FILTER_EXECUTION\n"}}))
            << sClass;
        reinterpret_cast<void (*)(void*)>(m->symbol(sClass + "_0_FREE_" + sClass))(p);
        EXPECT_EQ(errors(), (Errors{{"badarg", "unsupported depth for FILTER_DESTRUCTOR\n"}}));

        *piSource = -5; // float, like 32
        callQuietly(sClass + "_0_exec", p, {Arg::image(pIn), Arg::image(pOut)});
        EXPECT_EQ(callInt(pOut, "width"), 4) << sClass;
        stdoutOf([&] { m->release(p); });
        EXPECT_EQ(errors(), Errors()) << sClass;
    }
}

} // namespace
} // namespace abitest
