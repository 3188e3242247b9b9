// The filter classes as scripts see them: the class list, the two depth
// rules with their borrowed messages, the quirks the wrappers keep, and the
// colour-matching functions.
#include <cmath>
#include <cstring>

#include "AbiFixture.h"

namespace abitest {
namespace {

typedef void (*FreeFn)(void*);
typedef void (*MethodFn)(const int*, void**, void*);

const char* const kClassOrder[] = {
    "CImage",          "CImageTVGrab",   "CImageUSBGrab",       "CMedianFilter",
    "CsimpleMedian",   "CCombineChannel", "CNormalizeRGB",      "CDistance",
    "CThreshold",      "CGenericConvolution", "CGaussFilter",   "CColormap",
    "CMeanFilter",     "CSobelFilter",   "CRankFilter",         "CShadingFilter",
    "CSelectChannel",  "CHsiRgbFilter",  "CConvolutionFilter",  "CYuv2Rgb"};

// Constructor refusals of the transformation classes, borrowed texts
// included.
struct Refusal
{
    const char* pcClass;
    const char* pcMessage;
};
const Refusal kTransformationRefusals[] = {
    {"CMedianFilter", "unsupported depth for CMedianFilter\n"},
    {"CCombineChannel", "unsupported depth for CCombineChannel\n"},
    {"CNormalizeRGB", "unsupported depth for CNormalizeRGB\n"},
    {"CDistance", "unsupported depth for CDistance\n"},
    {"CThreshold", "unsupported depth for CThreshold\n"},
    {"CGenericConvolution", "unsupported depth for CRankFilter\n"},
    {"CGaussFilter", "unsupported depth for CGaussFilter\n"},
    {"CColormap", "unsupported depth for CColormap\n"},
    {"CMeanFilter", "unsupported depth for CMeanFilter\n"},
    {"CSobelFilter", "unsupported depth for CSobelFilter\n"},
    {"CRankFilter", "unsupported depth for CRankFilter\n"},
    {"CShadingFilter", "unsupported depth for CShadingFilter\n"},
    {"CSelectChannel", "unsupported depth for CMeanFilter\n"},
};
const char* const kTwoImageClasses[] = {"CsimpleMedian", "CHsiRgbFilter", "CConvolutionFilter",
                                        "CYuv2Rgb"};

// The ints after the virtual table of a two-image filter: source and
// target depth, the layout the wrappers read.
int storedDepth(void* pFilter, int k)
{
    int i;
    std::memcpy(&i, static_cast<char*>(pFilter) + sizeof(void*) + k * sizeof(int), sizeof i);
    return i;
}

class AbiFilters : public AbiTest
{
protected:
    void* filter(const std::string& sClass, const std::vector<Arg>& args)
    {
        return m->create(sClass, args);
    }
    void run(void* pFilter, const std::string& sClass, void* pIn, void* pOut)
    {
        m->call(pFilter, sClass, "setInput", {Arg::image(pIn)});
        m->call(pFilter, sClass, "setOutput", {Arg::image(pOut)});
        m->call(pFilter, sClass, "exec");
    }
    // A one-row image holding the given values.
    void* row(int iDepth, const std::vector<float>& values)
    {
        void* p = image(iDepth, int(values.size()), 1, 1);
        for (std::size_t x = 0; x < values.size(); ++x)
            setPixel(p, int(x), 0, 0, values[x]);
        return p;
    }
    void freeNull(const std::string& sClass)
    {
        const std::string sName = sClass + "_0_FREE_" + sClass;
        auto pFree = reinterpret_cast<FreeFn>(m->symbol(sName));
        ASSERT_NE(pFree, nullptr) << sName;
        pFree(nullptr);
    }
};

TEST_F(AbiFilters, TwentyClassesInTheHostsOrderAndFourFunctions)
{
    ASSERT_EQ(m->classes().size(), 20u);
    for (std::size_t i = 0; i < 20; ++i)
        EXPECT_EQ(m->classes()[i].name, kClassOrder[i]) << i;
    EXPECT_TRUE(m->missingExports().empty());

    auto classes = static_cast<const char* const* const*>(m->symbol("CLASSES_tirnvision"));
    EXPECT_EQ(classes[20], nullptr);
    // Spacing, capitals and defaults are the scripts' vocabulary.
    EXPECT_STREQ(classes[3][1], "CMedianFilter(int iDEpth = 32)");
    EXPECT_STREQ(classes[3][7], "int selectChannel(  char*)");
    EXPECT_STREQ(classes[5][9], "CCombineChannel_1_:");
    EXPECT_STREQ(classes[13][1], "CSobelFilter(int iDepth = 32, int iWidth=3,int iDirection = 0)");
    EXPECT_STREQ(classes[18][1],
                 "CConvolutionFilter(int iSrcDepth=8, float*=0, int=1, int=0, float=0, float=1, int=0)");
    EXPECT_STREQ(classes[1][4], "void setsize(int,int=0)");

    std::vector<std::string> functions;
    for (const auto& p : m->functions().prototypes)
        functions.push_back(p.exportName);
    EXPECT_EQ(functions, (std::vector<std::string>{
                             "CColorFilters_0_DiffImage", "CColorFilters_0_blob_emph",
                             "CColorFilters_0_HistogramDistance", "CColorFilters_0_PointerDistance"}));
}

TEST_F(AbiFilters, TransformationConstructorsRefuseOtherDepthsWithTheirMessage)
{
    for (const Refusal& r : kTransformationRefusals)
        for (int iCode : {0, -4, 7, 24, 5}) {
            std::vector<Arg> args = {I(iCode)};
            if (std::string(r.pcClass) == "CColormap")
                args.push_back(I(0));
            EXPECT_EQ(filter(r.pcClass, args), nullptr) << r.pcClass << " " << iCode;
            EXPECT_EQ(errors(), (Errors{{"badarg", r.pcMessage}})) << r.pcClass << " " << iCode;
        }
}

TEST_F(AbiFilters, TwoImageConstructorsRefuseOnlyPositiveUnknownDepths)
{
    for (const char* pcClass : kTwoImageClasses) {
        for (int iCode : {12, 24, 1, 7}) {
            EXPECT_EQ(filter(pcClass, {I(iCode)}), nullptr) << pcClass << " " << iCode;
            EXPECT_EQ(errors(), (Errors{{"badarg", "unsupported depth for FILTER_CONSTRUCTOR\n"}}));
        }
        // Zero and every negative code but -1 and -2 mean float.
        const std::pair<int, int> accepted[] = {{8, 8},  {16, 16}, {32, 32}, {-1, 8},  {-2, 16},
                                                {-3, 32}, {0, 32},  {-7, 32}, {-100, 32}};
        for (const auto& [iCode, iDepth] : accepted) {
            void* p = filter(pcClass, {I(iCode)});
            ASSERT_NE(p, nullptr) << pcClass << " " << iCode;
            EXPECT_EQ(storedDepth(p, 0), iDepth) << pcClass << " " << iCode;
            EXPECT_EQ(storedDepth(p, 1), iDepth) << pcClass << " " << iCode;
            m->release(p);
        }
        EXPECT_EQ(errors(), Errors());
    }
}

TEST_F(AbiFilters, FreeOfANullHandleDoesNothingForEveryClass)
{
    for (std::size_t i = 1; i < 20; ++i)
        freeNull(kClassOrder[i]);
    auto pFreeImage = reinterpret_cast<FreeFn>(m->symbol("CImage_FREE_CImage"));
    pFreeImage(nullptr);
    EXPECT_EQ(errors(), Errors());

    // Only the channel selector's exec accepts a null handle.
    const std::string out = stdoutOf([&] {
        m->callExport("CSelectChannel_0_exec", ValueType::Void, nullptr, {});
    });
    EXPECT_EQ(out, "");
    EXPECT_EQ(errors(), Errors());
}

// Mean of 300 and 301 in each depth: wrapped to 44 and 45 in 8 bits,
// truncated in 16, exact in float.
TEST_F(AbiFilters, NegativeAliasesCreateTheNamedDepth)
{
    const std::pair<int, float> cases[] = {{-1, 44.0f}, {-2, 300.0f}, {-3, 300.5f},
                                           {8, 44.0f},  {16, 300.0f}, {32, 300.5f}};
    for (const auto& [iCode, fMean] : cases) {
        const int iDepth = iCode == -1 ? 8 : iCode == -2 ? 16 : iCode == -3 ? 32 : iCode;
        void* pMean = filter("CMeanFilter", {I(iCode)});
        ASSERT_NE(pMean, nullptr) << iCode;
        m->call(pMean, "CMeanFilter", "setNeighborhood", {I(3)});
        void* pIn = row(iDepth, {300, 301});
        void* pOut = image(iDepth);
        run(pMean, "CMeanFilter", pIn, pOut);
        EXPECT_EQ(channel(pOut), (std::vector<float>{fMean, fMean})) << iCode;
    }
    // The colour map says its depth whenever a wrapper asks for it.
    void* pMap = nullptr;
    EXPECT_EQ(stdoutOf([&] { pMap = filter("CColormap", {I(-2), I(0)}); }), "");
    EXPECT_EQ(stdoutOf([&] { m->call(pMap, "CColormap", "setType", {I(1)}); }), " depth 16\n");
    EXPECT_EQ(errors(), Errors());
}

TEST_F(AbiFilters, SetInputTakesAnImageOfAnotherDepthAsOneOfTheFilters)
{
    void* pFilter = filter("CGaussFilter", {I(32)});
    void* pByte = image(8, 4, 4);
    m->call(pFilter, "CGaussFilter", "setInput", {Arg::image(pByte)});
    m->call(pFilter, "CGaussFilter", "setOutput", {Arg::image(pByte)});
    EXPECT_EQ(errors(), Errors()); // the equality test compares the filter with itself
    // No depth test at all for these three.
    for (const char* pcClass : {"CNormalizeRGB", "CDistance", "CThreshold"}) {
        void* p = filter(pcClass, {I(16)});
        m->call(p, pcClass, "setInput", {Arg::image(pByte)});
        EXPECT_EQ(errors(), Errors()) << pcClass;
    }
}

TEST_F(AbiFilters, MeanSetParametersUsesItsFirstArgumentOnly)
{
    void* pMean = filter("CMeanFilter", {I(32)});
    m->call(pMean, "CMeanFilter", "setParameters", {I(5), I(9)});
    void* pIn = row(32, {0, 1, 2, 3, 4, 5, 6, 7, 8});
    void* pOut = image(32);
    run(pMean, "CMeanFilter", pIn, pOut);
    // 5 x 5: x = 0 averages x 0..2, x = 8 averages 6..8 (9 x 9 would give 2 and 6).
    const std::vector<float> out = channel(pOut);
    ASSERT_EQ(out.size(), 9u);
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[4], 4.0f);
    EXPECT_EQ(out[8], 7.0f);
}

TEST_F(AbiFilters, GaussBandwidthTwentyGivesZeroWeightsAndAnInfiniteScale)
{
    void* pGauss = filter("CGaussFilter", {I(32)});
    const std::string out = stdoutOf([&] {
        m->call(pGauss, "CGaussFilter", "setBandwidth", {F(20.0f)});
    });
    EXPECT_EQ(out, std::string(61, '\n')); // one line per row of the 61 x 61 mask
    void* pIn = row(32, {1, 2, 3});
    void* pOut = image(32);
    run(pGauss, "CGaussFilter", pIn, pOut);
    for (float v : channel(pOut))
        EXPECT_TRUE(std::isnan(v)) << v; // 0 times +infinity

    // Sigma 1: a 3 x 3 mask, three lines.
    EXPECT_EQ(stdoutOf([&] { m->call(pGauss, "CGaussFilter", "setBandwidth", {F(1.0f)}); }),
              "\n\n\n");
}

// Rows 0, 10, 20: the vertical 3 x 3 kernel sums -80 at the centre, times
// 0.0626, absolute at depth 32; the horizontal one sums 0.
TEST_F(AbiFilters, SobelDirectionAppliesToTheFirstMaskAndIsRebuilt)
{
    void* pIn = image(32, 3, 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            setPixel(pIn, x, y, 0, float(10 * y));
    void* pOut = image(32);
    void* pSobel = filter("CSobelFilter", {I(32), I(3), I(1)});
    run(pSobel, "CSobelFilter", pIn, pOut);
    EXPECT_EQ(pixel(pOut, 1, 1), 80.0f * 0.0626f);

    m->call(pSobel, "CSobelFilter", "setDirection", {I(0)});
    m->call(pSobel, "CSobelFilter", "exec");
    EXPECT_EQ(pixel(pOut, 1, 1), 0.0f);

    // Sizes other than 3 and 5 fall back to 5 x 5 with the filter's notice.
    EXPECT_EQ(stdoutOf([&] { m->call(pSobel, "CSobelFilter", "setNeighborhood", {I(4)}); }),
              " Only 3x3 anf 5x5 sobel filter implemented! Switching to 5x5\n");
}

TEST_F(AbiFilters, SelectionByStringAndByIndex)
{
    void* pCombine = filter("CCombineChannel", {I(32)});
    void* pIn = image(32, 2, 2, 4);
    m->call(pCombine, "CCombineChannel", "setInput", {Arg::image(pIn)});
    EXPECT_EQ(m->call(pCombine, "CCombineChannel", "selected").i, 4);
    EXPECT_EQ(m->call(pCombine, "CCombineChannel", "selectChannel", {Arg::text("X#X#")}).i, 1);
    EXPECT_EQ(m->call(pCombine, "CCombineChannel", "selected").i, 2);

    // Any non-zero second argument selects.
    m->call(pCombine, "CCombineChannel", "selectChannel", {Arg::text("####")});
    m->call(pCombine, "CCombineChannel", "selectChannel", {I(2), I(7)});
    EXPECT_EQ(m->call(pCombine, "CCombineChannel", "selected").i, 1);
    m->call(pCombine, "CCombineChannel", "selectChannel", {I(2), I(0)});
    EXPECT_EQ(m->call(pCombine, "CCombineChannel", "selected").i, 0);

    // The undeclared exports behave the same on the other classes.
    void* pRank = filter("CRankFilter", {I(8)});
    void* pByte = image(8, 2, 2, 3);
    m->call(pRank, "CRankFilter", "setInput", {Arg::image(pByte)});
    m->callExport("CRankFilter_1_selectChannel", ValueType::Void, pRank, {I(1), I(0)});
    EXPECT_EQ(m->callExport("CRankFilter_0_selected", ValueType::Int, pRank, {}).i, 2);

    // A string that selects nothing reports and returns 0.
    const std::string out = stdoutOf([&] {
        EXPECT_EQ(m->call(pRank, "CRankFilter", "selectChannel", {Arg::text("Q")}).i, 0);
    });
    EXPECT_NE(out, "");
    EXPECT_EQ(errors(), Errors());
}

// CSelectChannel keeps only the selected channels; run through the host.
TEST_F(AbiFilters, SelectChannelCopiesTheChosenChannels)
{
    void* pSelect = filter("CSelectChannel", {I(-1)});
    void* pIn = numbered(8, 2, 1, 3);
    void* pOut = image(8);
    m->call(pSelect, "CSelectChannel", "setInput", {Arg::image(pIn)});
    m->call(pSelect, "CSelectChannel", "selectChannel", {Arg::text("#X#")});
    m->call(pSelect, "CSelectChannel", "setOutput", {Arg::image(pOut)});
    m->call(pSelect, "CSelectChannel", "exec");
    EXPECT_EQ(callInt(pOut, "channels"), 1);
    EXPECT_EQ(channel(pOut), (std::vector<float>{100, 101}));
}

TEST_F(AbiFilters, ConvolutionFilterKeepsTheHostsMaskAndRefusesCleanly)
{
    // A refused depth: a reported error and a null handle, nothing stored.
    std::vector<float> mask(9, 0.0f);
    EXPECT_EQ(filter("CConvolutionFilter", {I(12), Arg::floats(mask), I(3)}), nullptr);
    EXPECT_EQ(errors(), (Errors{{"badarg", "unsupported depth for FILTER_CONSTRUCTOR\n"}}));

    // An array too short for the mask is refused before the filter exists.
    std::vector<float> shortMask(4, 0.0f);
    EXPECT_EQ(filter("CConvolutionFilter", {I(32), Arg::floats(shortMask), I(3)}), nullptr);
    EXPECT_EQ(errors(), (Errors{{"badarg",
                                 "CConvolutionFilter: a 3 x 3 mask needs 9 values, got 4\n"}}));

    // An external mask is read from the host's array as it is at exec time.
    void* pFilter = filter("CConvolutionFilter",
                           {I(32), Arg::floats(mask), I(3), I(0), F(0), F(1), I(1)});
    ASSERT_NE(pFilter, nullptr);
    mask[4] = 2.0f; // identity times two, set after construction
    void* pIn = row(32, {1.5f, -3.0f});
    void* pOut = image(32);
    m->call(pFilter, "CConvolutionFilter", "exec", {Arg::image(pIn), Arg::image(pOut)});
    EXPECT_EQ(channel(pOut), (std::vector<float>{3.0f, -6.0f}));

    // An internal mask is generated into the host's array.
    void* pAverage = filter("CConvolutionFilter",
                            {I(32), Arg::floats(mask), I(3), I(9), F(0), F(1), I(0)});
    m->call(pAverage, "CConvolutionFilter", "exec", {Arg::image(pIn), Arg::image(pOut)});
    EXPECT_EQ(mask[0], 1.0f / 9.0f);
    EXPECT_EQ(errors(), Errors());
}

TEST_F(AbiFilters, TwoImageExecReportsLibraryExceptions)
{
    void* pYuv = filter("CYuv2Rgb", {I(8), I(1)});
    void* pTwo = image(8, 2, 2, 2); // not three channels
    void* pOut = image(8);
    m->call(pYuv, "CYuv2Rgb", "exec", {Arg::image(pTwo), Arg::image(pOut)});
    const Errors e = errors();
    ASSERT_EQ(e.size(), 1u);
    EXPECT_EQ(e[0].kind, "CImageException:");

    // Three-channel HSI round trip at depth 32 through the host.
    void* pRgb = image(32, 1, 1, 3);
    setPixel(pRgb, 0, 0, 0, 0.5f);
    setPixel(pRgb, 0, 0, 1, 0.25f);
    setPixel(pRgb, 0, 0, 2, 0.125f);
    void* pHsi = image(32);
    void* pBack = image(32);
    void* pToHsi = filter("CHsiRgbFilter", {I(32), I(0)});
    void* pToRgb = filter("CHsiRgbFilter", {I(32), I(1)});
    m->call(pToHsi, "CHsiRgbFilter", "exec", {Arg::image(pRgb), Arg::image(pHsi)});
    m->call(pToRgb, "CHsiRgbFilter", "exec", {Arg::image(pHsi), Arg::image(pBack)});
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(pixel(pBack, 0, 0, c), pixel(pRgb, 0, 0, c), 1e-5) << c;
    EXPECT_EQ(errors(), Errors());
}

TEST_F(AbiFilters, ColormapExecReportsOthersPassExceptionsThrough)
{
    void* pMap = filter("CColormap", {I(32), I(42)}); // no such scheme
    void* pIn = image(32, 2, 2, 1);
    void* pOut = image(32);
    stdoutOf([&] { run(pMap, "CColormap", pIn, pOut); });
    EXPECT_EQ(errors(), (Errors{{"CImageException:", "Wrong color type"}}));
    // The RGB assignment needs exactly three channels.
    m->call(pMap, "CColormap", "setType", {I(9)});
    stdoutOf([&] { m->call(pMap, "CColormap", "exec"); });
    EXPECT_EQ(errors(), (Errors{{"CImageException:", "Wrong number of channels"}}));

    // The transformation wrappers leave library exceptions to the host.
    void* pGauss = filter("CGaussFilter", {I(32)});
    EXPECT_ANY_THROW(m->call(pGauss, "CGaussFilter", "setBandwidth", {F(1.0e7f)}));
    EXPECT_EQ(errors(), Errors());
}

TEST_F(AbiFilters, GenericConvolutionBorrowsMessagesAndChecksTheMaskLength)
{
    EXPECT_EQ(filter("CGenericConvolution", {I(5)}), nullptr);
    EXPECT_EQ(errors(), (Errors{{"badarg", "unsupported depth for CRankFilter\n"}}));

    void* pConv = filter("CGenericConvolution", {I(16)});
    std::vector<float> mask = {0, 1, 0, 1, 0, 1}; // 3 x 2: right neighbour plus ...
    m->call(pConv, "CGenericConvolution", "setParameters",
            {Arg::floats(mask), F(0.5f), I(2), I(4)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "setParameters: a 2 x 4 mask needs 8 values, got 6\n"}}));

    std::vector<float> pair = {0, 2, 0}; // factor 0.5 gives the centre back
    m->call(pConv, "CGenericConvolution", "setParameters",
            {Arg::floats(pair), F(0.5f), I(3), I(1)});
    void* pIn = row(16, {1000, 2000, 3000});
    void* pOut = image(16);
    run(pConv, "CGenericConvolution", pIn, pOut);
    EXPECT_EQ(channel(pOut), (std::vector<float>{1000, 2000, 3000}));
    EXPECT_EQ(errors(), Errors());
}

// The base class's assertions end the process; no wrapper translates them.
TEST_F(AbiFilters, SelectionBeforeSetInputEndsTheProcess)
{
    void* pCombine = filter("CCombineChannel", {I(32)});
    EXPECT_DEATH(m->call(pCombine, "CCombineChannel", "selectChannel", {I(0), I(1)}),
                 "pSource!=__null");
}

// --- Colour-matching functions -------------------------------------------

TEST_F(AbiFilters, DiffImageReturnsANewFloatImage)
{
    void* pA = row(32, {1, 5, -2});
    void* pB = row(32, {4, 2, -2});
    Value v = m->callFunction("DiffImage", {Arg::image(pA), Arg::image(pB)});
    ASSERT_NE(v.handle, nullptr);
    EXPECT_TRUE(m->owns(v.handle));
    EXPECT_NE(v.handle, pA);
    EXPECT_EQ(callInt(v.handle, "depth"), 32);
    EXPECT_EQ(channel(v.handle), (std::vector<float>{3, 3, 0}));
}

// Regression: an 8-bit image was read as floats past the end of its buffer.
TEST_F(AbiFilters, ColourFunctionsRefuseImagesThatAreNotFloat)
{
    void* pFloat = row(32, {1, 5, -2});
    void* pByte = row(8, {4, 2, 1});
    EXPECT_EQ(m->callFunction("DiffImage", {Arg::image(pFloat), Arg::image(pByte)}).handle,
              nullptr);
    std::vector<float> ref = {0.0f}, out = {-1.0f};
    EXPECT_EQ(m->callFunction("HistogramDistance", {Arg::image(pByte), Arg::floats(ref), F(0.5f),
                                                    F(10.0f), Arg::floats(out)})
                  .handle,
              nullptr);
    EXPECT_EQ(out[0], -1.0f);
    EXPECT_EQ(errors(),
              (Errors{{"badarg", "DiffImage: image argument 2 has depth 8, 32 needed\n"},
                      {"badarg", "HistogramDistance: image argument 1 has depth 8, 32 needed\n"}}));
}

TEST_F(AbiFilters, DistancesWriteTheirResultIntoTheFifthArgument)
{
    // Ten pixels at distances 0..9 from the reference 0, limit 10.
    void* pImage = image(32, 10, 1, 1);
    for (int x = 0; x < 10; ++x)
        setPixel(pImage, x, 0, 0, std::sqrt(float(x)));
    std::vector<float> ref = {0.0f};
    std::vector<float> out = {-1.0f, 77.0f};
    Value v = m->callFunction("HistogramDistance",
                              {Arg::image(pImage), Arg::floats(ref), F(0.5f), F(10.0f),
                               Arg::floats(out)});
    ASSERT_NE(v.handle, nullptr);
    EXPECT_EQ(out[0], 4.1f);
    EXPECT_EQ(out[1], 77.0f);
    EXPECT_EQ(callInt(v.handle, "depth"), 32);
    EXPECT_EQ(pixel(v.handle, 4, 0), 4.0f);

    // PointerDistance leaves its reference output alone: the wrapper's own
    // zero arrives.
    out = {-1.0f};
    Value p = m->callFunction("PointerDistance",
                              {Arg::image(pImage), Arg::floats(ref), F(9.0f), F(-9.0f),
                               Arg::floats(out)});
    ASSERT_NE(p.handle, nullptr);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(pixel(p.handle, 9, 0), 9.0f);

    // A reference colour shorter than the channel count is refused.
    void* pRgb = image(32, 2, 2, 3);
    std::vector<float> shortRef = {0.0f, 0.0f};
    EXPECT_EQ(m->callFunction("PointerDistance", {Arg::image(pRgb), Arg::floats(shortRef), F(0),
                                                  F(0), Arg::floats(out)})
                  .handle,
              nullptr);
    EXPECT_EQ(errors(), (Errors{{"badarg",
                                 "PointerDistance: the reference colour needs 3 values, got 2\n"}}));
}

TEST_F(AbiFilters, BlobEmphasisWeighsByDistanceToThePoint)
{
    void* pImage = image(32, 3, 1, 1);
    setPixel(pImage, 0, 0, 0, 1.0f);
    setPixel(pImage, 1, 0, 0, 2.0f);
    setPixel(pImage, 2, 0, 0, 3.0f);
    std::vector<float> ref = {1.0f};
    Value v;
    const std::string out = stdoutOf([&] {
        v = m->callFunction("blob_emph", {Arg::image(pImage), Arg::floats(ref), I(0), I(0)});
    });
    EXPECT_EQ(out, "Reference for blob_emph: 1\n");
    ASSERT_NE(v.handle, nullptr);
    // (colour distance) * (squared distance to (0,0) + 1)
    EXPECT_EQ(channel(v.handle), (std::vector<float>{0.0f, 1.0f * 2.0f, 4.0f * 5.0f}));
}

} // namespace
} // namespace abitest
