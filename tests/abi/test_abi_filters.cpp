// The filter and grabber classes as scripts see them: every class at every
// depth, the two depth rules with their borrowed messages, the wrappers'
// quirks, the host arrays they use, the colour-matching functions; what the
// filters compute belongs to the filter unit tests. Unknown depths are also
// tried on objects forged from the layouts below: a refusing wrapper reads
// nothing but the depth. The grabbers run against the fake video devices
// that this executable puts in front of the driver libraries.
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <set>

#include "AbiFixture.h"
#include "unit/FakeVideoDevices.h"

namespace abitest {
namespace {

typedef void (*FreeFn)(void*);

typedef std::vector<std::pair<const char*, std::vector<Arg>>> Calls;

// Every filter class with the constructor arguments after the depth, the
// channel count of its input and the calls a script makes between setOutput
// and exec. Only the names starting with "set" dispatch on the depth; the
// two-image classes take no calls.
struct FilterClass
{
    const char* pcClass;
    std::vector<Arg> ctor;
    int iChannels;
    Calls calls;
};

std::vector<float> gMask = {1, 2, 1}, gConvolution(25, 0.0f);
const Arg X = Arg::text("X");
const std::vector<FilterClass> kFilterClasses = {
    {"CMedianFilter", {}, 3, {{"setNeighborhood", {I(3)}}, {"selectChannel", {Arg::text("X#X")}}}},
    {"CCombineChannel", {}, 3,
     {{"setOperation", {I(0)}}, {"selectChannel", {Arg::text("XX#")}},
      {"selectChannel", {I(2), I(1)}}, {"selected", {}}}},
    {"CNormalizeRGB", {}, 3, {}},
    {"CDistance", {}, 3, {}},
    {"CThreshold", {}, 3, {}},
    {"CGenericConvolution", {}, 2,
     {{"setParameters", {Arg::floats(gMask), F(0.25f), I(3), I(1)}},
      {"selectChannel", {Arg::text("XX")}}}},
    {"CGaussFilter", {}, 1, {{"setBandwidth", {F(1.0f)}}, {"selectChannel", {X}}}},
    {"CMeanFilter", {}, 2,
     {{"prohibitMMX", {}}, {"setParameters", {I(3), I(3)}}, {"setNeighborhood", {I(3)}},
      {"selectChannel", {Arg::text("+")}}}},
    {"CSobelFilter", {}, 1,
     {{"setNeighborhood", {I(5)}}, {"setDirection", {}}, {"selectChannel", {X}}}},
    {"CRankFilter", {}, 1,
     {{"setNeighborhood", {I(3)}}, {"setRank", {I(4)}}, {"selectChannel", {X}}}},
    {"CShadingFilter", {}, 1,
     {{"setSize", {I(3)}}, {"setConstant", {F(2.0f)}}, {"selectChannel", {X}}}},
    {"CSelectChannel", {}, 3, {{"selectChannel", {Arg::text("#XX")}}}},
    {"CColormap", {I(0)}, 1, {{"setType", {I(1)}}}},
    {"CsimpleMedian", {I(1)}, 1, {}},
    {"CHsiRgbFilter", {I(1)}, 3, {}},
    {"CConvolutionFilter", {Arg::floats(gConvolution), I(5), I(1), F(30), F(2), I(0)}, 1, {}},
    {"CYuv2Rgb", {I(0)}, 3, {}},
};

const std::pair<int, int> kAliases[] = {{-1, 8}, {-2, 16}, {-3, 32}};

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

std::vector<Arg> ctorAt(const FilterClass& k, int iCode)
{
    std::vector<Arg> args = {I(iCode)};
    args.insert(args.end(), k.ctor.begin(), k.ctor.end());
    return args;
}

bool takesTwoImages(tirnhost::Module& m, const std::string& sClass)
{
    return !m.classTable(sClass).find("exec").front()->params.empty();
}

// Every method the class declares is among the names called.
void expectAllCalled(tirnhost::Module& m, const std::string& sClass, std::set<std::string> names,
                     const Calls& calls = {})
{
    for (const auto& [pcMethod, args] : calls)
        names.insert(pcMethod);
    for (const tirnhost::Prototype& p : m.classTable(sClass).prototypes)
        EXPECT_TRUE(p.kind != tirnhost::LineKind::Method || names.count(p.name)) << p.line;
}

int sizeOf(tirnhost::Module& m, void* pImage)
{
    return m.call(pImage, "CImage", "width").i * 1000 + m.call(pImage, "CImage", "height").i;
}

class AbiFilters : public AbiTest
{
protected:
    // setInput, setOutput, the calls a script makes between, and exec.
    void run(void* pFilter, const std::string& sClass, void* pIn, void* pOut,
             const Calls& calls = {})
    {
        m->call(pFilter, sClass, "setInput", {Arg::image(pIn)});
        m->call(pFilter, sClass, "setOutput", {Arg::image(pOut)});
        for (const auto& [pcMethod, args] : calls)
            m->call(pFilter, sClass, pcMethod, args);
        m->call(pFilter, sClass, "exec");
    }
    Errors callQuietly(const std::string& sExport, void* pObject, const std::vector<Arg>& args)
    {
        stdoutOf([&] { m->callExport(sExport, ValueType::Void, pObject, args); });
        return errors();
    }
};

using AbiFilterDepths = AbiFilters;

// Every transformation at every depth code, run as a script runs it: the
// output takes the input's size. Then every wrapper refuses a depth that is
// none of 8, 16, 32 with its own text.
TEST_F(AbiFilterDepths, EveryTransformationRunsAtEveryDepthAndRefusesTheOthers)
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
    for (const FilterClass& k : kFilterClasses) {
        const std::string sClass = k.pcClass, sPrefix = sClass + "_0_";
        if (takesTwoImages(*m, sClass))
            continue;
        expectAllCalled(*m, sClass, {"setInput", "setOutput", "exec"}, k.calls);
        const bool bColormap = sClass == "CColormap";
        // The negative aliases name the depths, as for images.
        for (const auto& [iCode, iDepth] : kAliases) {
            void* pFilter = m->create(sClass, ctorAt(k, iCode));
            ASSERT_NE(pFilter, nullptr) << sClass << " " << iCode;
            EXPECT_EQ(intAt(pFilter, bColormap ? offsetof(ForgedColormap, iDepth)
                                               : offsetof(ForgedTransformation, iDepth)),
                      iDepth)
                << sClass << " " << iCode;
            void* pOut = image(iDepth);
            // Masks, selections and colour maps talk on standard output.
            stdoutOf([&] {
                run(pFilter, sClass, numbered(iDepth, 7, 5, k.iChannels), pOut, k.calls);
                m->release(pFilter);
            });
            EXPECT_EQ(sizeOf(*m, pOut), 7005) << sClass << " " << iCode;
        }
        EXPECT_EQ(errors(), Errors()) << sClass;

        const std::string sGone = "~" + sClass;
        const std::array<std::string, 5> texts =
            kBorrowed.count(sClass) ? kBorrowed.at(sClass)
                                    : std::array{sClass, sGone, sGone, sGone, sGone};
        const auto refusal = [&](int i) {
            return Errors{{"badarg", "unsupported depth for " + texts[i] + "\n"}};
        };
        for (int iCode : {0, -4, 7, 24, 5}) {
            EXPECT_EQ(m->create(sClass, ctorAt(k, iCode)), nullptr) << sClass << " " << iCode;
            EXPECT_EQ(errors(), refusal(0)) << sClass << " " << iCode;
        }
        void* p = bColormap ? static_cast<void*>(&colormap) : &transformation;
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
        auto pFree = reinterpret_cast<FreeFn>(m->symbol(sPrefix + "FREE_" + sClass));
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
    // A null handle is no object: every class's FREE_ lets it be, and the
    // channel selector's exec alone accepts one.
    for (const tirnhost::ClassTable& c : m->classes()) {
        const std::string sName =
            c.name == "CImage" ? "CImage_FREE_CImage" : c.name + "_0_FREE_" + c.name;
        reinterpret_cast<FreeFn>(m->symbol(sName))(nullptr);
    }
    EXPECT_EQ(
        stdoutOf([&] { m->callExport("CSelectChannel_0_exec", ValueType::Void, nullptr, {}); }),
        "");

    // setInput takes an image of another depth as one of the filters: the
    // equality test compares the filter with itself. Three classes have no
    // depth test at all.
    void* pGauss = m->create("CGaussFilter", {I(32)});
    void* pByte = image(8, 4, 4);
    m->call(pGauss, "CGaussFilter", "setInput", {Arg::image(pByte)});
    m->call(pGauss, "CGaussFilter", "setOutput", {Arg::image(pByte)});
    for (const char* pcClass : {"CNormalizeRGB", "CDistance", "CThreshold"})
        m->call(m->create(pcClass, {I(16)}), pcClass, "setInput", {Arg::image(pByte)});
    EXPECT_EQ(errors(), Errors());
}

// The two-image filters store source and target depth as the ints after the
// virtual table. Zero and every negative code but -1 and -2 mean float; only
// positive unknown depths are refused, when constructed and when stored. Every
// accepted code runs exec.
TEST_F(AbiFilterDepths, TwoImageFiltersRefuseOnlyPositiveUnknownDepths)
{
    const std::pair<int, int> kAccepted[] = {{8, 8},   {16, 16}, {32, 32}, {-1, 8},   {-2, 16},
                                             {-3, 32}, {0, 32},  {-7, 32}, {-100, 32}};
    for (const FilterClass& k : kFilterClasses) {
        const std::string sClass = k.pcClass;
        if (!takesTwoImages(*m, sClass))
            continue;
        expectAllCalled(*m, sClass, {"exec"});
        for (int iCode : {12, 24, 1, 7}) {
            EXPECT_EQ(m->create(sClass, ctorAt(k, iCode)), nullptr) << sClass << " " << iCode;
            EXPECT_EQ(errors(), (Errors{{"badarg", "unsupported depth for FILTER_CONSTRUCTOR\n"}}));
        }
        for (const auto& [iCode, iDepth] : kAccepted) {
            void* p = m->create(sClass, ctorAt(k, iCode));
            ASSERT_NE(p, nullptr) << sClass << " " << iCode;
            EXPECT_EQ(intAt(p, sizeof(void*)) * 100 + intAt(p, sizeof(void*) + sizeof(int)),
                      iDepth * 101)
                << sClass << " " << iCode;
            void* pIn = numbered(iDepth, 7, 5, k.iChannels);
            void* pOut = image(iDepth);
            stdoutOf([&] { m->call(p, sClass, "exec", {Arg::image(pIn), Arg::image(pOut)}); });
            EXPECT_EQ(sizeOf(*m, pOut), 7005) << sClass << " " << iCode;
            m->release(p);
        }
        EXPECT_EQ(errors(), Errors()) << sClass;

        void* p = m->create(sClass, {I(32)});
        int* piSource = reinterpret_cast<int*>(static_cast<char*>(p) + sizeof(void*));
        void *pIn = image(32, 4, 4, 3), *pOut = image(32);
        *piSource = 12;
        EXPECT_EQ(callQuietly(sClass + "_0_exec", p, {Arg::image(pIn), Arg::image(pOut)}),
                  (Errors{{"badarg", "unsupported depth for FILTER_EXECUTION\n"}}))
            << sClass;
        reinterpret_cast<FreeFn>(m->symbol(sClass + "_0_FREE_" + sClass))(p);
        EXPECT_EQ(errors(), (Errors{{"badarg", "unsupported depth for FILTER_DESTRUCTOR\n"}}));

        *piSource = -5; // float, like 32
        callQuietly(sClass + "_0_exec", p, {Arg::image(pIn), Arg::image(pOut)});
        EXPECT_EQ(callInt(pOut, "width"), 4) << sClass;
        stdoutOf([&] { m->release(p); });
        EXPECT_EQ(errors(), Errors()) << sClass;
    }
}

// The selection wrappers pass the script's ints on: any non-zero second
// argument selects. The classes that export them undeclared behave the same.
TEST_F(AbiFilters, SelectionByStringAndByIndex)
{
    void* pCombine = m->create("CCombineChannel", {I(32)});
    m->call(pCombine, "CCombineChannel", "setInput", {Arg::image(image(32, 2, 2, 4))});
    EXPECT_EQ(m->call(pCombine, "CCombineChannel", "selectChannel", {Arg::text("X#X#")}).i, 1);
    m->call(pCombine, "CCombineChannel", "selectChannel", {I(1), I(7)});
    EXPECT_EQ(m->call(pCombine, "CCombineChannel", "selected").i, 3);
    m->call(pCombine, "CCombineChannel", "selectChannel", {I(0), I(0)});
    EXPECT_EQ(m->call(pCombine, "CCombineChannel", "selected").i, 2);

    void* pRank = m->create("CRankFilter", {I(8)});
    m->call(pRank, "CRankFilter", "setInput", {Arg::image(image(8, 2, 2, 3))});
    m->callExport("CRankFilter_1_selectChannel", ValueType::Void, pRank, {I(1), I(0)});
    EXPECT_EQ(m->callExport("CRankFilter_0_selected", ValueType::Int, pRank, {}).i, 2);
    EXPECT_EQ(errors(), Errors());
}

TEST_F(AbiFilters, ConvolutionFilterKeepsTheHostsMask)
{
    std::vector<float> mask(9, 0.0f), shortMask(4, 0.0f);
    EXPECT_EQ(m->create("CConvolutionFilter", {I(32), Arg::floats(shortMask), I(3)}), nullptr);
    EXPECT_EQ(errors(), (Errors{{"badarg",
                                 "CConvolutionFilter: a 3 x 3 mask needs 9 values, got 4\n"}}));

    // An external mask is read from the host's array as it is at exec time.
    void* pFilter = m->create("CConvolutionFilter",
                              {I(32), Arg::floats(mask), I(3), I(0), F(0), F(1), I(1)});
    ASSERT_NE(pFilter, nullptr);
    mask[4] = 2.0f; // identity times two, set after construction
    void *pIn = row(32, {1.5f, -3.0f}), *pOut = image(32);
    m->call(pFilter, "CConvolutionFilter", "exec", {Arg::image(pIn), Arg::image(pOut)});
    EXPECT_EQ(channel(pOut), (Floats{3.0f, -6.0f}));

    // An internal mask is generated into the host's array.
    void* pAverage = m->create("CConvolutionFilter",
                               {I(32), Arg::floats(mask), I(3), I(9), F(0), F(1), I(0)});
    m->call(pAverage, "CConvolutionFilter", "exec", {Arg::image(pIn), Arg::image(pOut)});
    EXPECT_EQ(mask[0], 1.0f / 9.0f);
    EXPECT_EQ(errors(), Errors());
}

TEST_F(AbiFilters, ExecReportsLibraryExceptionsOrPassesThemThrough)
{
    void* pYuv = m->create("CYuv2Rgb", {I(8), I(1)});
    m->call(pYuv, "CYuv2Rgb", "exec", {Arg::image(image(8, 2, 2, 2)), Arg::image(image(8))});
    EXPECT_EQ(errors(),
              (Errors{{"CImageException:", "CYuv2Rgb needs 3 Channels assuming to be Y,U and V!"}}));

    void* pMap = m->create("CColormap", {I(32), I(42)}); // no such scheme
    stdoutOf([&] { run(pMap, "CColormap", image(32, 2, 2, 1), image(32)); });
    EXPECT_EQ(errors(), (Errors{{"CImageException:", "Wrong color type"}}));
    // The colour map says its depth whenever a wrapper asks for it.
    void* pMap16 = nullptr;
    EXPECT_EQ(stdoutOf([&] { pMap16 = m->create("CColormap", {I(-2), I(0)}); }), "");
    EXPECT_EQ(stdoutOf([&] { m->call(pMap16, "CColormap", "setType", {I(1)}); }), " depth 16\n");

    // The transformation wrappers leave library exceptions to the host.
    void* pGauss = m->create("CGaussFilter", {I(32)});
    EXPECT_ANY_THROW(m->call(pGauss, "CGaussFilter", "setBandwidth", {F(1.0e7f)}));
    EXPECT_EQ(errors(), Errors());
}

// setParameters as scripts have it: the mean filter takes its box from the
// first argument only, the generic convolution checks the mask length against
// its size.
TEST_F(AbiFilters, SetParametersOfTheMeanAndTheGenericConvolution)
{
    void* pMean = m->create("CMeanFilter", {I(32)});
    m->call(pMean, "CMeanFilter", "setParameters", {I(5), I(9)});
    void* pMeanOut = image(32);
    run(pMean, "CMeanFilter", row(32, {0, 1, 2, 3, 4, 5, 6, 7, 8}), pMeanOut);
    // 5 x 5: x = 0 averages x 0..2, x = 8 averages 6..8 (9 x 9 would give 2 and 6).
    EXPECT_EQ(pixel(pMeanOut, 0, 0), 1.0f);
    EXPECT_EQ(pixel(pMeanOut, 8, 0), 7.0f);

    void* pConv = m->create("CGenericConvolution", {I(16)});
    std::vector<float> six(6, 1.0f), seven(7, 1.0f);
    for (std::vector<float>* pMask : {&six, &seven})
        m->call(pConv, "CGenericConvolution", "setParameters",
                {Arg::floats(*pMask), F(0.5f), I(2), I(4)});
    EXPECT_EQ(errors(), (Errors{{"badarg", "setParameters: a 2 x 4 mask needs 8 values, got 6\n"},
                                {"badarg", "setParameters: a 2 x 4 mask needs 8 values, got 7\n"}}));

    std::vector<float> pair = {0, 2, 0}; // factor 0.5 gives the centre back
    m->call(pConv, "CGenericConvolution", "setParameters",
            {Arg::floats(pair), F(0.5f), I(3), I(1)});
    void* pOut = image(16);
    run(pConv, "CGenericConvolution", row(16, {1000, 2000, 3000}), pOut);
    EXPECT_EQ(channel(pOut), (Floats{1000, 2000, 3000}));
    EXPECT_EQ(errors(), Errors());
}

// The colour functions take float images only (regression: an 8-bit image was
// read as floats past the end of its buffer) and return new owned float
// images; the distances write their result into the first element of the
// fifth argument.
TEST_F(AbiFilters, ColourFunctionsRefuseOrReturnNewImagesAndFillTheirArrays)
{
    void* pImage = image(32, 10, 1, 1);
    for (int x = 0; x < 10; ++x)
        setPixel(pImage, x, 0, 0, std::sqrt(float(x))); // distances 0..9 from 0
    void* pByte = row(8, {4, 2, 1});
    Floats ref = {0.0f}, shortRef = {0.0f, 0.0f}, out = {-1.0f, 77.0f};
    const auto distance = [&](const char* pcName, void* p, Floats& reference, float a, float b) {
        return m->callFunction(pcName, {Arg::image(p), Arg::floats(reference), F(a), F(b),
                                        Arg::floats(out)});
    };
    EXPECT_EQ(m->callFunction("DiffImage", {Arg::image(pImage), Arg::image(pByte)}).handle,
              nullptr);
    EXPECT_EQ(distance("HistogramDistance", pByte, ref, 0.5f, 10.0f).handle, nullptr);
    // A reference colour shorter than the channel count is refused.
    EXPECT_EQ(distance("PointerDistance", image(32, 2, 2, 3), shortRef, 0, 0).handle, nullptr);
    EXPECT_EQ(out, (Floats{-1.0f, 77.0f}));
    EXPECT_EQ(errors(),
              (Errors{{"badarg", "DiffImage: image argument 2 has depth 8, 32 needed\n"},
                      {"badarg", "HistogramDistance: image argument 1 has depth 8, 32 needed\n"},
                      {"badarg",
                       "PointerDistance: the reference colour needs 3 values, got 2\n"}}));

    const std::size_t nOwned = m->ownedCount();
    Value h = distance("HistogramDistance", pImage, ref, 0.5f, 10.0f);
    EXPECT_EQ(out, (Floats{4.1f, 77.0f}));
    // PointerDistance leaves its reference output alone: the wrapper's own
    // zero arrives.
    Value p = distance("PointerDistance", pImage, ref, 9.0f, -9.0f);
    EXPECT_EQ(out[0], 0.0f);
    Value d = m->callFunction("DiffImage", {Arg::image(pImage), Arg::image(pImage)});
    Value b;
    Floats one = {1.0f};
    EXPECT_EQ(stdoutOf([&] {
                  b = m->callFunction("blob_emph", {Arg::image(row(32, {1, 2, 3})),
                                                    Arg::floats(one), I(2), I(0)});
              }),
              "Reference for blob_emph: 1\n");
    // (colour distance) * (squared distance to (2,0) + 1)
    EXPECT_EQ(channel(b.handle), (Floats{0.0f, 2.0f, 4.0f}));
    EXPECT_EQ(m->ownedCount(), nOwned + 5);
    for (const Value& v : {h, p, d, b}) {
        EXPECT_TRUE(m->owns(v.handle));
        EXPECT_EQ(callInt(v.handle, "depth"), 32);
    }
    EXPECT_EQ(callInt(d.handle, "width"), 10);
}

class AbiGrabbers : public AbiTest
{
protected:
    void SetUp() override
    {
        fake::resetV4L1();
        fake::resetV4L2();
        AbiTest::SetUp();
    }
};

// The fake devices deliver red = row, green = column, blue = frame number.
// Failures become script errors, and grab gives -1.
TEST_F(AbiGrabbers, AgainstTheFakeDevices)
{
    EXPECT_EQ(m->create("CImageTVGrab", {I(200), I(0), I(7)}), nullptr);
    EXPECT_EQ(errors(), (Errors{{"CImageException:",
                                 "vfl: no device /dev/video7, only /dev/video0 to /dev/video3 \n"}}));

    void* pTV = m->create("CImageTVGrab");
    ASSERT_NE(pTV, nullptr) << ::testing::PrintToString(errors());
    void* pFrame = image(8);
    m->call(pTV, "CImageTVGrab", "setsize", {I(160)}); // height 3/4 of the width
    m->call(pTV, "CImageTVGrab", "grab", {Arg::image(pFrame)});
    EXPECT_EQ(sizeOf(*m, pFrame), 160120);
    m->release(pTV);
    EXPECT_EQ(fake::v4l1Stats(0).closes, 1);
    expectAllCalled(*m, "CImageTVGrab", {"grab", "setsize"});

    fake::resetV4L2();
    void* pUSB = m->create("CImageUSBGrab");
    ASSERT_NE(pUSB, nullptr);
    const auto usb = [&](const char* pcMethod, const std::vector<Arg>& args) {
        return m->call(pUSB, "CImageUSBGrab", pcMethod, args).f;
    };
    for (int d : kDepths) {
        void* pImage = image(d);
        EXPECT_GE(usb("grab", {Arg::image(pImage)}), 0.0f);
        EXPECT_EQ(pixel(pImage, 5, 0, 1), 5.0f) << d; // green is the column
    }
    usb("setsize", {I(300), I(250)}); // the camera's nearest is 320 x 240
    void* pLarge = image(8);
    usb("grab", {Arg::image(pLarge), I(1)});
    EXPECT_EQ(sizeOf(*m, pLarge), 320240);
    // An image of no known depth is refused before the camera is asked.
    ForgedImage forged;
    forged.iDepth = 24;
    float fTime = 0.0f;
    EXPECT_EQ(stdoutOf([&] { fTime = usb("grab", {Arg::image(&forged)}); }),
              "CImage unknown depth!\n");
    EXPECT_EQ(fTime, -1.0f);
    m->release(pUSB);
    EXPECT_FALSE(fake::v4l2Stats().open);
    expectAllCalled(*m, "CImageUSBGrab", {"grab", "setsize"});
    EXPECT_EQ(errors(), Errors());

    // The capture thread's failure reaches the next grab as a script error.
    // Slow frames leave the first grab time to take the one good frame even
    // on a loaded machine.
    fake::V4L2Config failing;
    failing.failDequeueAfter = 1;
    failing.intervalMs = 300;
    fake::resetV4L2(failing);
    pUSB = m->create("CImageUSBGrab");
    ASSERT_NE(pUSB, nullptr);
    EXPECT_GE(usb("grab", {Arg::image(pLarge)}), 0.0f);
    EXPECT_EQ(usb("grab", {Arg::image(pLarge)}), -1.0f);
    EXPECT_EQ(errors(), (Errors{{"CImageException:", "vfl:VIDIOC_DQBUF: Input/output error\n"}}));
    m->release(pUSB);
}

} // namespace
} // namespace abitest
