// What every filter wrapper says about an object whose depth is none of
// 8, 16, 32. Such objects are forged from the documented layouts (checked
// against real objects first); a refusing wrapper reads nothing but the
// depth, so the forgery is never used as an object.
#include <cstring>
#include <deque>

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

struct Setter
{
    const char* pcExport;
    std::vector<Arg> args;
};

struct ClassMessages
{
    const char* pcClass;
    const char* pcFree;
    const char* pcExec;
    const char* pcInputOutput;
    std::vector<Setter> setters;
    const char* pcSetter;
};

std::vector<float> g_mask(9, 1.0f);

std::vector<ClassMessages> allMessages()
{
    const auto same = [](const char* pcClass, std::vector<Setter> setters) {
        static std::deque<std::string> texts; // stable: keeps the c_str()s valid
        texts.push_back(std::string("unsupported depth for ~") + pcClass + "\n");
        const char* pc = texts.back().c_str();
        return ClassMessages{pcClass, pc, pc, pc, std::move(setters), pc};
    };
    std::vector<ClassMessages> all = {
        same("CMedianFilter", {{"CMedianFilter_0_setNeighborhood", {I(3)}}}),
        same("CCombineChannel", {{"CCombineChannel_0_setOperation", {I(1)}}}),
        same("CNormalizeRGB", {}),
        same("CDistance", {}),
        same("CThreshold", {}),
        same("CGaussFilter",
             {{"CGaussFilter_0_setBandwidth", {F(1.0f)}}}),
        same("CColormap", {{"CColormap_0_setType", {I(2)}}}),
        same("CMeanFilter",
             {{"CMeanFilter_0_setNeighborhood", {I(3)}},
              {"CMeanFilter_0_setParameters", {I(3), I(3)}}}),
        same("CSobelFilter",
             {{"CSobelFilter_0_setNeighborhood", {I(3)}},
              {"CSobelFilter_0_setDirection", {I(1)}}}),
        same("CRankFilter",
             {{"CRankFilter_0_setNeighborhood", {I(3)}}, {"CRankFilter_0_setRank", {I(1)}}}),
        same("CShadingFilter",
             {{"CShadingFilter_0_setSize", {I(3)}}, {"CShadingFilter_0_setConstant", {F(1)}}}),
    };
    // Borrowed and mixed texts, kept as scripts know them.
    all.push_back({"CSelectChannel", "unsupported depth for ~CSelectChannel\n",
                   "unsupported depth for CSelectChannel\n",
                   "unsupported depth for ~CSelectChannel\n", {}, nullptr});
    all.push_back({"CGenericConvolution", "unsupported depth for ~CMedianFilter\n",
                   "unsupported depth for ~CMedianFilter\n",
                   "unsupported depth for ~CGenericConvolution\n",
                   {{"CGenericConvolution_0_setParameters",
                     {Arg::floats(g_mask), F(1), I(3), I(3)}}},
                   "unsupported depth for CRankFilter\n"});
    return all;
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
    for (int d : {8, 16, 32}) {
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
    for (const ClassMessages& c : allMessages()) {
        const std::string sClass = c.pcClass, sPrefix = sClass + "_0_";
        void* p = forged(sClass);
        void* pImage = image(32);
        EXPECT_EQ(callQuietly(sPrefix + "exec", p, {}), (Errors{{"badarg", c.pcExec}})) << sClass;
        for (const char* pcMethod : {"setInput", "setOutput"})
            EXPECT_EQ(callQuietly(sPrefix + pcMethod, p, {Arg::image(pImage)}),
                      (Errors{{"badarg", c.pcInputOutput}}))
                << sClass << " " << pcMethod;
        for (const Setter& s : c.setters)
            EXPECT_EQ(callQuietly(s.pcExport, p, s.args), (Errors{{"badarg", c.pcSetter}}))
                << s.pcExport;
        // FREE_ refuses too, and leaves the object alone.
        auto pFree = reinterpret_cast<void (*)(void*)>(m->symbol(sPrefix + "FREE_" + sClass));
        ASSERT_NE(pFree, nullptr) << sClass;
        stdoutOf([&] { pFree(p); });
        EXPECT_EQ(errors(), (Errors{{"badarg", c.pcFree}})) << sClass;
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
