// What every filter wrapper says about an object whose depth is none of
// 8, 16, 32. Such objects are forged from the documented layouts (checked
// against real objects first); a refusing wrapper reads nothing but the
// depth, so the forgery is never used as an object.
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

template <class Forged> int depthAt(void* pObject)
{
    int i;
    std::memcpy(&i, static_cast<char*>(pObject) + offsetof(Forged, iDepth), sizeof i);
    return i;
}

class AbiFilterDepths : public AbiTest
{
protected:
    void* forged(const std::string& sClass)
    {
        if (sClass == "CColormap") {
            m_colormap.iDepth = 24;
            return &m_colormap;
        }
        m_transformation.iDepth = 24;
        return &m_transformation;
    }
    Errors callQuietly(const std::string& sExport, void* pObject, const std::vector<Arg>& args)
    {
        stdoutOf([&] { m->callExport(sExport, ValueType::Void, pObject, args); });
        return errors();
    }

    ForgedTransformation m_transformation;
    ForgedColormap m_colormap;
};

TEST_F(AbiFilterDepths, ForgedLayoutsMatchRealObjects)
{
    for (int d : kDepths) {
        void* pMean = m->create("CMeanFilter", {I(d)});
        EXPECT_EQ(depthAt<ForgedTransformation>(pMean), d);
        void* pMap = m->create("CColormap", {I(d), I(0)});
        EXPECT_EQ(depthAt<ForgedColormap>(pMap), d);
        stdoutOf([&] {
            m->release(pMean);
            m->release(pMap);
        });
    }
}

TEST_F(AbiFilterDepths, EveryTransformationWrapperRefusesWithItsOwnText)
{
    std::vector<float> mask(9, 1.0f);
    const struct
    {
        const char* pcClass;
        std::vector<std::pair<const char*, std::vector<Arg>>> setters;
    } kClasses[] = {
        {"CMedianFilter", {{"setNeighborhood", {I(3)}}}},
        {"CCombineChannel", {{"setOperation", {I(1)}}}},
        {"CNormalizeRGB", {}},
        {"CDistance", {}},
        {"CThreshold", {}},
        {"CGaussFilter", {{"setBandwidth", {F(1.0f)}}}},
        {"CColormap", {{"setType", {I(2)}}}},
        {"CMeanFilter", {{"setNeighborhood", {I(3)}}, {"setParameters", {I(3), I(3)}}}},
        {"CSobelFilter", {{"setNeighborhood", {I(3)}}, {"setDirection", {I(1)}}}},
        {"CRankFilter", {{"setNeighborhood", {I(3)}}, {"setRank", {I(1)}}}},
        {"CShadingFilter", {{"setSize", {I(3)}}, {"setConstant", {F(1)}}}},
        {"CSelectChannel", {}},
        {"CGenericConvolution", {{"setParameters", {Arg::floats(mask), F(1), I(3), I(3)}}}},
    };
    // Borrowed and mixed texts, kept as scripts know them: FREE_, exec,
    // setInput and setOutput, the setters. Every other class says "~Class".
    const std::map<std::string, std::array<std::string, 4>> kBorrowed = {
        {"CSelectChannel", {"~CSelectChannel", "CSelectChannel", "~CSelectChannel", ""}},
        {"CGenericConvolution",
         {"~CMedianFilter", "~CMedianFilter", "~CGenericConvolution", "CRankFilter"}}};
    for (const auto& k : kClasses) {
        const std::string sClass = k.pcClass, sPrefix = sClass + "_0_";
        std::array<std::string, 4> texts;
        texts.fill("~" + sClass);
        if (kBorrowed.count(sClass))
            texts = kBorrowed.at(sClass);
        const auto refusal = [&](int i) {
            return Errors{{"badarg", "unsupported depth for " + texts[i] + "\n"}};
        };
        void* p = forged(sClass);
        void* pImage = image(32);
        EXPECT_EQ(callQuietly(sPrefix + "exec", p, {}), refusal(1)) << sClass;
        for (const char* pcMethod : {"setInput", "setOutput"})
            EXPECT_EQ(callQuietly(sPrefix + pcMethod, p, {Arg::image(pImage)}), refusal(2))
                << sClass << " " << pcMethod;
        for (const auto& [pcSetter, args] : k.setters)
            EXPECT_EQ(callQuietly(sPrefix + pcSetter, p, args), refusal(3)) << sClass << pcSetter;
        // FREE_ refuses too, and leaves the object alone.
        auto pFree = reinterpret_cast<void (*)(void*)>(m->symbol(sPrefix + "FREE_" + sClass));
        ASSERT_NE(pFree, nullptr) << sClass;
        stdoutOf([&] { pFree(p); });
        EXPECT_EQ(errors(), refusal(0)) << sClass;
    }
}

// Selection and the MMX permission do not dispatch on the depth.
TEST_F(AbiFilterDepths, SelectionAndMMXWrappersReportNoDepth)
{
    void* p = forged("CCombineChannel");
    EXPECT_EQ(m->callExport("CCombineChannel_0_selected", ValueType::Int, p, {}).i, 0);
    for (const char* pcExport :
         {"CMeanFilter_0_prohibitMMX", "CGaussFilter_0_prohibitMMX", "CSobelFilter_0_prohibitMMX"})
        m->callExport(pcExport, ValueType::Void, p, {});
    EXPECT_EQ(errors(), Errors());
}

// The source depth is the first int after the virtual table; anything of
// zero or below counts as float there, other positive values are refused.
TEST_F(AbiFilterDepths, TwoImageWrappersReadTheStoredSourceDepth)
{
    for (const char* pcClass : {"CsimpleMedian", "CYuv2Rgb", "CHsiRgbFilter", "CConvolutionFilter"}) {
        const std::string sClass = pcClass;
        void* p = m->create(sClass, {I(32)});
        ASSERT_NE(p, nullptr);
        int* piSource = reinterpret_cast<int*>(static_cast<char*>(p) + sizeof(void*));
        void* pIn = image(32, 4, 4, 3);
        void* pOut = image(32);

        *piSource = 12;
        EXPECT_EQ(callQuietly(sClass + "_0_exec", p, {Arg::image(pIn), Arg::image(pOut)}),
                  (Errors{{"badarg", "unsupported depth for FILTER_EXECUTION\n"}}))
            << sClass;
        auto pFree = reinterpret_cast<void (*)(void*)>(m->symbol(sClass + "_0_FREE_" + sClass));
        pFree(p);
        EXPECT_EQ(errors(), (Errors{{"badarg", "unsupported depth for FILTER_DESTRUCTOR\n"}}));

        *piSource = -5; // float, like 32
        callQuietly(sClass + "_0_exec", p, {Arg::image(pIn), Arg::image(pOut)});
        EXPECT_EQ(callInt(pOut, "width"), 4) << sClass;
        EXPECT_EQ(errors(), Errors()) << sClass;
        stdoutOf([&] { m->release(p); });
        EXPECT_EQ(errors(), Errors()) << sClass;
    }
}

} // namespace
} // namespace abitest
