// CTransformation: channel selection, the exec() drivers, assertions, layout.
#include <algorithm>
#include <tuple>

#include "FilterRun.h"

namespace {

// Adds 1 to every pixel in single-channel mode, recording what tgt held
// first at each call; records what multi-channel mode is handed (source and
// target channel counts, then each source channel's first pixel). Counts the
// pre/post calls.
template <class T> class Probe : public CTransformation<T>
{
public:
    int iPre = 0, iPost = 0, iSingle = 0;
    bool bUseBase = false, bOverwrites = false;
    std::vector<T> multiSeen, scratchFirstPixels;

    void wire(const CImage<T>& source, CImage<T>& target)
    {
        this->setInput(&source);
        this->setOutput(&target);
    }
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
        multiSeen = {T(src.channels()), T(tgt.channels())};
        for (int c = 0; c < src.channels(); ++c)
            multiSeen.push_back(src.getPixel(0, 0, c));
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

std::string lengthRefusal(int iSet, int iRequired)
{
    return " Illegal selection length: " + std::to_string(iSet) + " set but " +
           std::to_string(iRequired) + " required!\a\n Deselecting all channels!\n";
}

} // namespace

TEST(TransformationSelection, StringsAndMessages)
{
    const struct
    {
        int iChannels;
        const char* pcCommand;
        int iResult;
        std::string sMask;
        std::string sOutput;
    } cases[] = {
        {3, "X#X", 1, "X#X", ""},
        {3, "2#X", 1, "##X", ""},
        {3, "X*", 1, "X##", ""},
        {3, "#+", 1, "#XX", ""},
        {3, "*", 1, "###", ""},
        {3, "+", 1, "XXX", ""},
        {3, "0X2#", 1, "X##", ""},
        {3, "x 2 x", 1, "XXX", ""},
        {2, "x#", 1, "X#", ""},
        {12, "1 1X#", 1, std::string(11, 'X') + "#", ""}, // blanks do not end a number
        {3, "X#X7", 1, "X#X", ""},          // a pending count at the end is dropped
        {3, "X#X+garbage?", 1, "X#X", ""},  // the rest after '+' is ignored
        {0, "", 1, "", ""},
        // 512 symbols still fit; more is refused even when it matches the source.
        {512, "511#X", 1, std::string(511, '#') + "X", ""},
        {600, "+", 0, std::string(600, '#'), lengthRefusal(600, 600)},
        {3, "XX", 0, "###", lengthRefusal(2, 3)},
        {3, "XXXX*", 0, "###", lengthRefusal(4, 3)},
        {2, "3X", 0, "##", lengthRefusal(3, 2)},
        {1, "", 0, "#", lengthRefusal(0, 1)},
        {3, "513X", 0, "###", lengthRefusal(513, 3)},
        {3, "99999999999999999999999X", 0, "###", lengthRefusal(2147483647, 3)},
        {3, "X?X", 0, "###", " Illegal token in selection string: '?'! Deselecting all channels!\a\n"},
        {3, "X\tX", 0, "###", " Illegal token in selection string: '\t'! Deselecting all channels!\a\n"},
    };
    for (const auto& s : cases) {
        SCOPED_TRACE(s.pcCommand);
        CImage<float> image(1, 1, s.iChannels);
        Probe<float> t;
        t.setInput(&image);
        EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(t.selectChannel(s.pcCommand), s.iResult); }), s.sOutput);
        std::string sMask;
        for (int i = 0; i < s.iChannels; ++i)
            sMask += t.isSelected(i) ? 'X' : '#';
        EXPECT_EQ(sMask, s.sMask);
        EXPECT_EQ(t.selected(), std::count(s.sMask.begin(), s.sMask.end(), 'X'));
    }
}

template <class T> using TransformationTyped = ::testing::Test;
TYPED_TEST_SUITE(TransformationTyped, PixelTypes);

TYPED_TEST(TransformationTyped, MaskOperations)
{
    using T = TypeParam;
    CImage<T> image(2, 2, 4), target(1, 1, 1);
    Probe<T> t;
    EXPECT_EQ(t.depth(), tirn::PixelTraits<T>::depth);
    t.setInput(&image);
    EXPECT_EQ(t.selected(), 4);
    // Setting a channel to what it already is leaves the count alone.
    for (auto [iChannel, bOn, iCount] :
         {std::tuple{1, false, 3}, {1, false, 3}, {2, true, 3}, {1, true, 4}, {3, false, 3}}) {
        t.selectChannel(iChannel, bOn);
        EXPECT_EQ(t.selected(), iCount) << iChannel << bOn;
    }

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

    CImage<T> source(2, 2, 2);
    t.wire(source, target);
    t.selectChannel(0, false);
    source.resize(2, 2, 4); // the mask follows: new channels are selected
    EXPECT_EQ(t.selectChannel("#XXX"), 1);
    t.exec();
    EXPECT_EQ(t.iSingle, 3);
    source.resize(2, 2, 1);
    t.exec();
    EXPECT_EQ(t.iSingle, 3); // channel 0 was deselected and is all that is left

    // A source that dropped to no channels after setInput: the count of the
    // old selection must not survive a selection string.
    source.resize(2, 2, 3);
    t.setInput(&source);
    source.resize(2, 2, 0);
    EXPECT_EQ(t.selectChannel(""), 1);
    EXPECT_EQ(t.selected(), 0);
    source.resize(2, 2, 3);
    t.selectChannel(1, false);
    source.resize(2, 2, 0);
    stdoutOf([&] { EXPECT_EQ(t.selectChannel("X"), 0); });
    EXPECT_EQ(t.selected(), 0);
}

TYPED_TEST(TransformationTyped, SingleAndMultiChannelDriversAndNothingSelected)
{
    using T = TypeParam;
    const CImage<T> source = numbered<T>(3, 2, 3, 10, 1, 0);
    CImage<T> target(1, 1, 1);
    Probe<T> t;
    t.wire(source, target);
    ASSERT_EQ(t.selectChannel("X#X"), 1);
    t.exec();
    EXPECT_EQ(t.iPre, 1);
    EXPECT_EQ(t.iPost, 1);
    EXPECT_EQ(t.iSingle, 2);
    expectSameImage(source, numbered<T>(3, 2, 3, 10, 1, 0));
    expectSameImage(target, pixels<T>(3, 2, 3, {1, 2, 3, 2, 3, 4, 10, 11, 12, 11, 12, 13, 21, 22,
                                                 23, 22, 23, 24}));
    // Processed channels are the target's own; unselected ones are shared
    // with the source by the whole-image assignment.
    EXPECT_NE(target.getChannelPtr(0), source.getChannelPtr(0));
    EXPECT_EQ(target.getChannelPtr(1), source.getChannelPtr(1));

    // In place: the source is its own target.
    CImage<T> inPlace = numbered<T>(2, 2, 2, 10, 1, 0);
    t.wire(inPlace, inPlace);
    t.selectChannel(0, false);
    t.exec();
    EXPECT_EQ(inPlace.getPixel(1, 1, 0), T(2));
    EXPECT_EQ(inPlace.getPixel(1, 1, 1), T(13));

    const CImage<T> four = numbered<T>(3, 2, 4, 10, 1, 0);
    CImage<T> multiTarget(1, 1, 1);
    Probe<T> multi;
    multi.wire(four, multiTarget);
    // Nothing selected: neither mode runs, the target is left alone.
    stdoutOf([&] { EXPECT_EQ(multi.selectChannel("X!"), 0); });
    EXPECT_EQ(multi.selected(), 0);
    multi.exec();
    multi.setMutliChannelOp(true);
    multi.exec();
    EXPECT_EQ(multi.iPre + multi.iPost, 0);
    expectSameImage(multiTarget, CImage<T>(1, 1, 1));

    ASSERT_EQ(multi.selectChannel("#X#X"), 1);
    multi.exec();
    EXPECT_EQ(multi.multiSeen, (std::vector<T>{T(2), T(1), T(10), T(30)}));
    EXPECT_EQ(multiTarget.width(), 3);
    EXPECT_EQ(multiTarget.height(), 2);
    EXPECT_EQ(four.channels(), 4);
    EXPECT_EQ(multi.iPre + multi.iPost, 2);

    // The base class's modes only report; the target is still resized.
    const CImage<T> one(2, 1, 1);
    Probe<T> base;
    base.bUseBase = true;
    base.wire(one, multiTarget);
    EXPECT_EQ(stdoutOf([&] {
                  base.exec();
                  base.setMutliChannelOp(true);
                  base.exec();
              }),
              "No implementation for single-channel mode.\n"
              "No implementation for multi-channel mode.\n");
    EXPECT_EQ(multiTarget.width(), 2);
}

// An operation that overwrites its target gets the previous result's
// channel back as its scratch, but only where nothing else holds it.
TYPED_TEST(TransformationTyped, ScratchReusesOnlyAnUnsharedResult)
{
    using T = TypeParam;
    const CImage<T> source = numbered<T>(3, 2, 2, 10, 1, 0);
    for (bool bOverwrites : {false, true}) {
        SCOPED_TRACE(bOverwrites);
        CImage<T> target(1, 1, 1);
        Probe<T> t;
        t.bOverwrites = bOverwrites;
        t.wire(source, target);
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

// The binding reads every instantiation through the unsigned char one, and a
// two-image filter's depths straight from the object: the two ints right
// after the virtual table.
TYPED_TEST(TransformationTyped, LayoutTheBindingReads)
{
    using T = TypeParam;
    EXPECT_EQ(sizeof(CTransformation<T>), sizeof(CTransformation<unsigned char>));
    EXPECT_EQ(Probe<T>().fieldOffsets(), Probe<unsigned char>().fieldOffsets());
    const auto depths = [](const CFilter<T, T>& filter) {
        std::vector<int> v(2);
        std::memcpy(v.data(), reinterpret_cast<const char*>(&filter) + sizeof(void*),
                    2 * sizeof(int));
        return v;
    };
    const std::vector<int> own(2, tirn::PixelTraits<T>::depth);
    EXPECT_EQ(depths(CYuv2Rgb<T>(true)), own);
    EXPECT_EQ(depths(CHsiRgbFilter<T>(0)), own);
    EXPECT_EQ(depths(CCortLayerFilter<T>()), own);
    EXPECT_EQ(depths(CsimpleMedian<T>(1)), own);
    // The convolution filter starts at 32 whatever T is.
    EXPECT_EQ(depths(CConvolutionFilter<T>(3, 0.0f, 0.0f, 1.0f, 0)), std::vector<int>(2, 32));
}

TEST(TransformationDeathTest, AssertionsQuoteTheirCondition)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CImage<float> image(1, 1, 2);
    Probe<float> bare;
    EXPECT_DEATH(bare.setInput(nullptr), "CTransformation.cpp:.*Assertion `pSrc!=__null' failed");
    EXPECT_DEATH(bare.setOutput(nullptr), "Assertion `pTgt!=__null' failed");
    EXPECT_DEATH(bare.selectChannel(0, true), "Assertion `pSource!=__null' failed");
    EXPECT_DEATH(bare.selectChannel("X"), "Assertion `pSource!=__null' failed");
    EXPECT_DEATH(bare.resetMask(), "Assertion `pbMask!=__null' failed");
    bool flags[2];
    EXPECT_DEATH(bare.setMask(flags), "Assertion `pSource!=__null' failed");
    EXPECT_DEATH(bare.setMask(nullptr), "Assertion `pbMask!=__null' failed");
    EXPECT_DEATH(bare.exec(), "Assertion `pSource!=__null' failed");
    Probe<float> t;
    t.setInput(&image);
    EXPECT_DEATH(t.selectChannel(2, true), "Assertion `iChannel < pSource->channels\\(\\)' failed");
    EXPECT_DEATH(t.selectChannel(-1, true), "Assertion `iChannel >= 0' failed");
    EXPECT_DEATH(t.selectChannel(static_cast<const char*>(nullptr)),
                 "Assertion `pcCommand != __null' failed");
    EXPECT_DEATH(t.exec(), "Assertion `pTarget!=__null' failed");
}
