// CTransformation: channel selection, the exec() drivers, assertions, layout.
#include <cstring>
#include <string>
#include <vector>

#include "FilterRun.h"
#include "PixelTypes.h"
#include "filters/CConvolutionFilter.h"
#include "filters/CCortLayerFilter.h"
#include "filters/CHsiRgbFilter.h"
#include "filters/CTransformation.h"
#include "filters/CYuv2Rgb.h"
#include "filters/CsimpleMedian.h"

namespace {

// Adds 1 to every pixel in single-channel mode; records what multi-channel
// mode is handed. Counts the pre/post calls.
template <class T> class Probe : public CTransformation<T>
{
public:
    int iPre = 0, iPost = 0, iSingle = 0;
    int iMultiChannels = -1, iTargetChannelsAtCall = -1;
    std::vector<T> firstPixels;
    bool bUseBase = false;
    bool bOverwrites = false;
    std::vector<T> scratchFirstPixels; // what tgt held at each single-channel call

    void preOperation() override { ++iPre; }
    bool overwritesTarget() const override { return bOverwrites; }
    void postOperation() override { ++iPost; }
    void singleChannelOperation(const CImage<T>& src, CImage<T>& tgt) override
    {
        if (bUseBase)
            return CTransformation<T>::singleChannelOperation(src, tgt);
        ++iSingle;
        scratchFirstPixels.push_back(tgt.getPixel(0, 0, 0));
        EXPECT_EQ(src.channels(), 1);
        for (int y = 0; y < src.height(); ++y)
            for (int x = 0; x < src.width(); ++x)
                tgt.setPixel(x, y, 0, T(src.getPixel(x, y, 0) + 1));
    }
    void multiChannelOperation(const CImage<T>& src, CImage<T>& tgt) override
    {
        if (bUseBase)
            return CTransformation<T>::multiChannelOperation(src, tgt);
        iMultiChannels = src.channels();
        iTargetChannelsAtCall = tgt.channels();
        for (int c = 0; c < src.channels(); ++c)
            firstPixels.push_back(src.getPixel(0, 0, c));
    }
    std::vector<long> fieldOffsets() const
    {
        const char* base = reinterpret_cast<const char*>(
            static_cast<const CTransformation<T>*>(this));
        auto at = [&](const void* p) { return long(static_cast<const char*>(p) - base); };
        return {at(&this->pbMask),  at(&this->bMultiChannel), at(&this->pSource),
                at(&this->pTarget), at(&this->iSelected),     at(&this->iDepth)};
    }
};

// The host binding reads a two-image filter's depths straight from the
// object: the two ints right after the virtual table.
template <class T> void expectDepthsAfterTheVirtualTable(const CFilter<T, T>& filter, int iDepth)
{
    int aiDepths[2];
    std::memcpy(aiDepths, reinterpret_cast<const char*>(&filter) + sizeof(void*), sizeof aiDepths);
    EXPECT_EQ(aiDepths[0], iDepth);
    EXPECT_EQ(aiDepths[1], iDepth);
}

std::string maskOf(const CTransformation<float>& t, int n)
{
    std::string s;
    for (int i = 0; i < n; ++i)
        s += t.isSelected(i) ? 'X' : '#';
    return s;
}

struct Selection
{
    int iChannels;
    const char* pcCommand;
    int iResult;
    const char* pcMask; // resulting flags
    const char* pcOutput;
};

const char* const kDeselect = " Deselecting all channels!\n";

} // namespace

TEST(TransformationSelection, StringsAndMessages)
{
    const Selection cases[] = {
        {3, "X#X", 1, "X#X", ""},
        {3, "2#X", 1, "##X", ""},
        {3, "X*", 1, "X##", ""},
        {3, "#+", 1, "#XX", ""},
        {3, "*", 1, "###", ""},
        {3, "+", 1, "XXX", ""},
        {3, "0X2#", 1, "X##", ""},
        {3, "x 2 x", 1, "XXX", ""},
        {2, "x#", 1, "X#", ""},
        {3, "X#X7", 1, "X#X", ""},          // a pending count at the end is dropped
        {3, "X#X+garbage?", 1, "X#X", ""},  // the rest after '+' is ignored
        {3, "XX", 0, "###", " Illegal selection length: 2 set but 3 required!\a\n"},
        {3, "XXXX*", 0, "###", " Illegal selection length: 4 set but 3 required!\a\n"},
        {2, "3X", 0, "##", " Illegal selection length: 3 set but 2 required!\a\n"},
        {3, "X?X", 0, "###", " Illegal token in selection string: '?'! Deselecting all channels!\a\n"},
        {3, "X\tX", 0, "###", " Illegal token in selection string: '\t'! Deselecting all channels!\a\n"},
        {1, "", 0, "#", " Illegal selection length: 0 set but 1 required!\a\n"},
        {0, "", 1, "", ""},
        {3, "513X", 0, "###", " Illegal selection length: 513 set but 3 required!\a\n"},
        {3, "99999999999999999999999X", 0, "###",
         " Illegal selection length: 2147483647 set but 3 required!\a\n"},
    };
    for (const Selection& s : cases) {
        SCOPED_TRACE(s.pcCommand);
        CImage<float> image(2, 2, s.iChannels);
        Probe<float> t;
        t.setInput(&image);
        testing::internal::CaptureStdout();
        EXPECT_EQ(t.selectChannel(s.pcCommand), s.iResult);
        std::string out = testing::internal::GetCapturedStdout();
        std::string expected = s.pcOutput;
        if (expected.find("length") != std::string::npos)
            expected += kDeselect;
        EXPECT_EQ(out, expected);
        EXPECT_EQ(maskOf(t, s.iChannels), s.pcMask);
        int n = 0;
        for (char c : std::string(s.pcMask))
            n += c == 'X';
        EXPECT_EQ(t.selected(), n);
    }
}

// A source that dropped to no channels after setInput: the count of the
// old selection must not survive a selection string.
TEST(TransformationSelection, SourceWithoutChannelsLeavesNothingSelected)
{
    CImage<float> source(2, 2, 2);
    Probe<float> t;
    t.setInput(&source);
    source.resize(2, 2, 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(t.selectChannel(""), 1);
    EXPECT_EQ(t.selected(), 0);
    t.setInput(&source);
    source.resize(2, 2, 3);
    t.selectChannel(1, false);
    source.resize(2, 2, 0);
    EXPECT_EQ(t.selectChannel("X"), 0);
    EXPECT_EQ(t.selected(), 0);
    testing::internal::GetCapturedStdout();
}

TEST(TransformationSelection, LongPatterns)
{
    CImage<unsigned char> twelve(1, 1, 12);
    Probe<unsigned char> t;
    t.setInput(&twelve);
    EXPECT_EQ(t.selectChannel("1 1X#"), 1); // blanks do not end a number
    EXPECT_EQ(t.selected(), 11);
    EXPECT_FALSE(t.isSelected(11));

    // 512 symbols still fit; more is refused even when it matches the source.
    CImage<unsigned char> wide512(1, 1, 512), wide600(1, 1, 600);
    t.setInput(&wide512);
    EXPECT_EQ(t.selectChannel("511#X"), 1);
    EXPECT_EQ(t.selected(), 1);
    EXPECT_TRUE(t.isSelected(511));
    t.setInput(&wide600);
    EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(t.selectChannel("+"), 0); }),
              std::string(" Illegal selection length: 600 set but 600 required!\a\n") + kDeselect);
    EXPECT_EQ(t.selected(), 0);
}

template <class T> class TransformationTyped : public ::testing::Test
{
};
TYPED_TEST_SUITE_P(TransformationTyped);

TYPED_TEST_P(TransformationTyped, MaskOperations)
{
    using T = TypeParam;
    CImage<T> image(2, 2, 4);
    Probe<T> t;
    EXPECT_EQ(t.depth(), tirn::PixelTraits<T>::depth);
    t.setInput(&image);
    EXPECT_EQ(t.selected(), 4);
    t.selectChannel(1, false);
    t.selectChannel(1, false); // already false: no change to the count
    t.selectChannel(2, true);  // already true
    EXPECT_EQ(t.selected(), 3);
    t.selectChannel(1, true);
    t.selectChannel(3, false);
    EXPECT_EQ(t.selected(), 3);

    bool caller[4] = {false, true, false, true};
    t.setMask(caller); // copies the object's selection into the caller's array
    EXPECT_TRUE(caller[0] && caller[1] && caller[2] && !caller[3]);
    EXPECT_FALSE(t.isSelected(3));
    EXPECT_EQ(t.selected(), 3);

    t.resetMask();
    EXPECT_EQ(t.selected(), 4);
    t.selectChannel(0, false);
    t.setInput(&image); // a new input selects everything again
    EXPECT_EQ(t.selected(), 4);
    EXPECT_TRUE(t.isSelected(0));
}

TYPED_TEST_P(TransformationTyped, SingleChannelDriver)
{
    using T = TypeParam;
    const CImage<T> source = numbered<T>(3, 2, 3, 10, 1, 0);
    CImage<T> target(7, 7, 1);
    Probe<T> t;
    t.setInput(&source);
    t.setOutput(&target);
    ASSERT_EQ(t.selectChannel("X#X"), 1);
    t.exec();
    EXPECT_EQ(t.iPre, 1);
    EXPECT_EQ(t.iPost, 1);
    EXPECT_EQ(t.iSingle, 2);
    ASSERT_EQ(target.channels(), 3);
    ASSERT_EQ(target.width(), 3);
    for (int c = 0; c < 3; ++c)
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 3; ++x) {
                const T in = T(10 * c + x + y);
                EXPECT_EQ(source.getPixel(x, y, c), in);
                EXPECT_EQ(target.getPixel(x, y, c), c == 1 ? in : T(in + 1));
            }
    // Processed channels are the target's own; unselected ones are shared
    // with the source by the whole-image assignment.
    EXPECT_NE(target.getChannelPtr(0), source.getChannelPtr(0));
    EXPECT_EQ(target.getChannelPtr(1), source.getChannelPtr(1));

    // In place: the source is its own target.
    CImage<T> inPlace = numbered<T>(2, 2, 2, 10, 1, 0);
    t.setInput(&inPlace);
    t.setOutput(&inPlace);
    t.selectChannel(0, false);
    t.exec();
    EXPECT_EQ(inPlace.getPixel(1, 1, 0), T(2));
    EXPECT_EQ(inPlace.getPixel(1, 1, 1), T(13));
}

// An operation that overwrites its target gets the previous result's
// channel back as its scratch, but only where nothing else holds it.
TYPED_TEST_P(TransformationTyped, ScratchReusesOnlyAnUnsharedResult)
{
    using T = TypeParam;
    const CImage<T> source = numbered<T>(3, 2, 2, 10, 1, 0);
    for (bool bOverwrites : {false, true}) {
        SCOPED_TRACE(bOverwrites);
        CImage<T> target(1, 1, 1);
        Probe<T> t;
        t.bOverwrites = bOverwrites;
        t.setInput(&source);
        t.setOutput(&target);
        t.exec();
        const CImageChannel<T>* pFirst = target.getChannelPtr(1);
        t.exec();
        // Channel 0's scratch holds channel 0's input + 1 when reused; the
        // second call's channel 1 starts from channel 0's result.
        const T reused = bOverwrites ? T(11) : T(0);
        EXPECT_EQ(t.scratchFirstPixels, (std::vector<T>{T(0), T(1), reused, T(1)}));
        EXPECT_EQ(target.getChannelPtr(1) == pFirst, bOverwrites);

        CImage<T> kept(1, 1, 1);
        kept = target; // shares the result (copy construction would not)
        t.exec();
        EXPECT_EQ(t.scratchFirstPixels.back(), T(1));
        EXPECT_EQ(t.scratchFirstPixels[4], T(0));
        EXPECT_NE(target.getChannelPtr(1), kept.getChannelPtr(1));
        EXPECT_EQ(kept.getPixel(2, 1, 1), T(14));
        EXPECT_EQ(target.getPixel(2, 1, 1), T(14));
    }
}

TYPED_TEST_P(TransformationTyped, MultiChannelDriver)
{
    using T = TypeParam;
    const CImage<T> source = numbered<T>(3, 2, 4, 10, 1, 0);
    CImage<T> target(5, 5, 3);
    Probe<T> t;
    t.setMutliChannelOp(true);
    t.setInput(&source);
    t.setOutput(&target);
    ASSERT_EQ(t.selectChannel("#X#X"), 1);
    t.exec();
    EXPECT_EQ(t.iMultiChannels, 2);
    EXPECT_EQ(t.iTargetChannelsAtCall, 1);
    EXPECT_EQ(t.firstPixels, (std::vector<T>{T(10), T(30)}));
    EXPECT_EQ(target.width(), 3);
    EXPECT_EQ(target.height(), 2);
    EXPECT_EQ(source.channels(), 4);
    EXPECT_EQ(t.iPre, 1);
    EXPECT_EQ(t.iPost, 1);
}

TYPED_TEST_P(TransformationTyped, NothingSelectedLeavesTargetAlone)
{
    using T = TypeParam;
    const CImage<T> source = numbered<T>(2, 2, 2, 10, 1, 0);
    CImage<T> target(1, 1, 1);
    target.setPixel(0, 0, 0, T(7));
    Probe<T> t;
    t.setInput(&source);
    t.setOutput(&target);
    testing::internal::CaptureStdout();
    EXPECT_EQ(t.selectChannel("X!"), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(t.selected(), 0);
    t.exec();
    t.setMutliChannelOp(true);
    t.exec();
    EXPECT_EQ(t.iPre + t.iPost, 0);
    EXPECT_EQ(target.width(), 1);
    EXPECT_EQ(target.getPixel(0, 0, 0), T(7));
}

TYPED_TEST_P(TransformationTyped, BaseModesOnlyReport)
{
    using T = TypeParam;
    const CImage<T> source = numbered<T>(2, 1, 1, 10, 1, 0);
    CImage<T> target(1, 1, 1);
    Probe<T> t;
    t.bUseBase = true;
    t.setInput(&source);
    t.setOutput(&target);
    testing::internal::CaptureStdout();
    t.exec();
    t.setMutliChannelOp(true);
    t.exec();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "No implementation for single-channel mode.\n"
              "No implementation for multi-channel mode.\n");
    EXPECT_EQ(target.width(), 2);
}

// The binding reads every instantiation through the unsigned char one.
TYPED_TEST_P(TransformationTyped, LayoutIndependentOfElementType)
{
    EXPECT_EQ(sizeof(CTransformation<TypeParam>), sizeof(CTransformation<unsigned char>));
    EXPECT_EQ(Probe<TypeParam>().fieldOffsets(), Probe<unsigned char>().fieldOffsets());
}

TYPED_TEST_P(TransformationTyped, TwoImageFiltersKeepTheirDepthsAfterTheVirtualTable)
{
    using T = TypeParam;
    const int iDepth = tirn::PixelTraits<T>::depth;
    expectDepthsAfterTheVirtualTable<T>(CYuv2Rgb<T>(true), iDepth);
    expectDepthsAfterTheVirtualTable<T>(CHsiRgbFilter<T>(0), iDepth);
    expectDepthsAfterTheVirtualTable<T>(CCortLayerFilter<T>(), iDepth);
    expectDepthsAfterTheVirtualTable<T>(CsimpleMedian<T>(1), iDepth);
    // The convolution filter starts at 32 whatever T is.
    expectDepthsAfterTheVirtualTable<T>(CConvolutionFilter<T>(3, 0.0f, 0.0f, 1.0f, 0), 32);
}

TYPED_TEST_P(TransformationTyped, SourceChangingChannelCount)
{
    using T = TypeParam;
    CImage<T> source = numbered<T>(2, 2, 2, 10, 1, 0);
    CImage<T> target(1, 1, 1);
    Probe<T> t;
    t.setInput(&source);
    t.setOutput(&target);
    t.selectChannel(0, false);
    source.resize(2, 2, 4); // the mask follows: new channels are selected
    EXPECT_EQ(t.selectChannel("#XXX"), 1);
    t.exec();
    EXPECT_EQ(t.iSingle, 3);
    source.resize(2, 2, 1);
    t.exec();
    EXPECT_EQ(t.iSingle, 3); // channel 0 was deselected and is all that is left
}

REGISTER_TYPED_TEST_SUITE_P(TransformationTyped, MaskOperations, SingleChannelDriver,
                            ScratchReusesOnlyAnUnsharedResult,
                            MultiChannelDriver, NothingSelectedLeavesTargetAlone,
                            BaseModesOnlyReport, LayoutIndependentOfElementType,
                            TwoImageFiltersKeepTheirDepthsAfterTheVirtualTable,
                            SourceChangingChannelCount);
INSTANTIATE_TYPED_TEST_SUITE_P(All, TransformationTyped, PixelTypes);

TEST(TransformationDeathTest, AssertionsQuoteTheirCondition)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CImage<float> image(1, 1, 2);
    {
        Probe<float> t;
        EXPECT_DEATH(t.setInput(nullptr), "CTransformation.cpp:.*Assertion `pSrc!=__null' failed");
        EXPECT_DEATH(t.setOutput(nullptr), "Assertion `pTgt!=__null' failed");
        EXPECT_DEATH(t.selectChannel(0, true), "Assertion `pSource!=__null' failed");
        EXPECT_DEATH(t.selectChannel("X"), "Assertion `pSource!=__null' failed");
        EXPECT_DEATH(t.resetMask(), "Assertion `pbMask!=__null' failed");
        bool flags[2];
        EXPECT_DEATH(t.setMask(flags), "Assertion `pSource!=__null' failed");
        EXPECT_DEATH(t.setMask(nullptr), "Assertion `pbMask!=__null' failed");
        EXPECT_DEATH(t.exec(), "Assertion `pSource!=__null' failed");
    }
    Probe<float> t;
    t.setInput(&image);
    EXPECT_DEATH(t.selectChannel(2, true), "Assertion `iChannel < pSource->channels\\(\\)' failed");
    EXPECT_DEATH(t.selectChannel(-1, true), "Assertion `iChannel >= 0' failed");
    EXPECT_DEATH(t.selectChannel(static_cast<const char*>(nullptr)),
                 "Assertion `pcCommand != __null' failed");
    EXPECT_DEATH(t.exec(), "Assertion `pTarget!=__null' failed");
}
