// Rank-order filters and the statistics helpers they share.
#include <sstream>
#include <tuple>

#include "FilterRun.h"

// A network of min/max steps selects correctly from any values if it does
// from every choice of 0s and 1s. The inputs are run 64 at a time, one bit
// each: min is AND, max is OR. Every rank of nine and the median of 25 on
// all 2^25 inputs; the median of 49 on a million inputs with 20 to 29 zeros,
// where a wrong step shows first.
TEST(RankNetwork, EveryZeroOneInput)
{
    const auto check = [](int nWires, int k, auto input, std::uint64_t nBatches) {
        const tirn::RankNetwork network = tirn::rankNetwork(nWires, k);
        for (std::uint64_t uBatch = 0; uBatch < nBatches; ++uBatch) {
            std::uint64_t v[64] = {}, uWant = 0;
            for (int j = 0; j < 64; ++j) {
                const std::uint64_t uInput = input(uBatch * 64 + std::uint64_t(j));
                for (int i = 0; i < nWires; ++i)
                    v[i] |= ((uInput >> i) & 1) << j;
                // Rank k is 1 when at most k of the inputs are 0.
                if (nWires - __builtin_popcountll(uInput) <= k)
                    uWant |= std::uint64_t(1) << j;
            }
            for (int i = 0; i < network.nSteps; ++i) {
                const tirn::RankStep& s = network.steps[i];
                const std::uint64_t lo = v[s.a] & v[s.b], hi = v[s.a] | v[s.b];
                if (s.bLow)
                    v[s.a] = lo;
                if (s.bHigh)
                    v[s.b] = hi;
            }
            ASSERT_EQ(v[k], uWant) << nWires << " wires, rank " << k << ", batch " << uBatch;
        }
    };
    const auto every = [](std::uint64_t u) { return u; };
    for (int k = 0; k < 9; ++k)
        check(9, k, every, (1u << 9) / 64);
    check(25, 12, every, (1u << 25) / 64);
    std::mt19937_64 random(49);
    const auto nearTheMedian = [&random](std::uint64_t) {
        std::uint64_t u = (std::uint64_t(1) << 49) - 1;
        const int nZeros = 20 + int(random() % 10);
        for (int n = 0; n < nZeros;) {
            const std::uint64_t uBit = std::uint64_t(1) << (random() % 49);
            n += (u & uBit) != 0;
            u &= ~uBit;
        }
        return u;
    };
    check(49, 24, nearTheMedian, (1u << 20) / 64);
}

TEST(StatisticsHelpers, WorkedValues)
{
    float a[] = {3, 1, 2, 4};
    EXPECT_EQ(median(a, 4), 2.0f);
    float b[] = {2, 1, 1};
    EXPECT_EQ(minidx(b, 3), 1);
    float c[] = {1, 3, 3, 0};
    EXPECT_EQ(maxidx(c, 4), 1);
    EXPECT_EQ(minidx(c, 0), 0);
    EXPECT_EQ(mul(c, 0), 1.0f);
    EXPECT_EQ(sum(c, 0), 0.0f);
    EXPECT_EQ(mul(c, 3), 9.0f);
    float d[] = {1, 2, 3, 4};
    EXPECT_EQ(variance(d, 4), 1.25f);
    EXPECT_EQ(mean(d, 4), 2.5f);
    EXPECT_TRUE(std::isnan(mean(d, 0)));
    unsigned char e[] = {200, 100, 3};
    EXPECT_EQ(sum(e, 3), 47);        // wraps in 8 bits
    EXPECT_EQ(mul(e, 2), 32);        // 20000 mod 256
    EXPECT_EQ(mean(e, 3), 101.0f);   // the float sum does not wrap
    EXPECT_EQ(minval(e, 3), 3);
    EXPECT_EQ(maxval(e, 3), 200);
    EXPECT_EQ(minval(e, 0), 200);    // a[0] when the count is empty
    unsigned short f[] = {9, 7, 5, 8};
    EXPECT_EQ(median(f, 4), 7);
    EXPECT_EQ(median(f, 3), 7);
    EXPECT_EQ(getRank(-3, 4, f), 5);  // clamped to the smallest
    EXPECT_EQ(getRank(99, 4, f), 9);  // and to the largest
    EXPECT_EQ(getRank(0, 0, f), 0);
}

template <class T> using RankTyped = ::testing::Test;
TYPED_TEST_SUITE(RankTyped, PixelTypes);

// The lower median of the pixels inside the image: 1, 2, 4, 5 give 2.
TYPED_TEST(RankTyped, MedianRankAndSimpleMedianFilters)
{
    using T = TypeParam;
    CMedianFilter<T> median;
    EXPECT_EQ(median.size(), 3);
    expectSameImage(run(median, counting<T>(3, 3)),
                    pixels<T>(3, 3, 1, {2, 3, 3, 4, 5, 5, 5, 6, 6}));
    float afMedian[] = {5.9f};
    median.setParameters(afMedian);
    EXPECT_EQ(median.size(), 5);
    expectSameImage(run(median, counting<T>(3, 3)), filled<T>(3, 3, {T(5)}));
    median.setSize(-1); // collects nothing
    expectSameImage(run(median, counting<T>(2, 2)), filled<T>(2, 2, {T(0)}));

    const CImage<T> src = counting<T>(4, 3);
    CImage<T> tgt(1, 1, 1);
    CRankFilter<T> rank;
    rank.setInput(&src);
    rank.setOutput(&tgt);
    expectRefusal([&] { rank.exec(); }, "CRankFilter: no rank set! Set the rank before exec().");
    EXPECT_EQ(tgt.width(), 1);
    rank.setRank(0);
    // The one-pixel border is the input.
    expectSameImage(run(rank, src), pixels<T>(4, 3, 1, {1, 2, 3, 4, 5, 1, 2, 8, 9, 10, 11, 12}));
    // Rank 100 is clamped to the largest.
    for (auto [iRank, a, b] : {std::tuple{4, 6, 7}, {100, 11, 12}}) {
        rank.setRank(iRank);
        const CImage<T> out = run(rank, src);
        EXPECT_EQ(out.getPixel(1, 1, 0), T(a)) << iRank;
        EXPECT_EQ(out.getPixel(2, 1, 0), T(b)) << iRank;
    }
    rank.setNeighborhood(4); // never complete: the input comes back
    rank.setRank(0);
    expectSameImage(run(rank, src), src);

    float afRank[] = {3.7f, 8.2f};
    rank.setParameters(afRank);
    EXPECT_EQ(rank.size(), 3);
    EXPECT_EQ(rank.rank(), 8);
    EXPECT_EQ(run(rank, src).getPixel(1, 1, 0), T(11));
    rank.setNeighborhood(1 << 20);
    EXPECT_THROW(run(rank, src), CException);

    // The simple median prints its call to standard error.
    CImage<T> source = counting<T>(3, 3);
    source.setName("source");
    source.setChannelInfo("luma", 0);
    CImage<T> target(3, 3, 1);
    const std::string sPrinted = stderrOf([&] { CsimpleMedian<T>(1).exec(&source, &target); });
    std::ostringstream expected;
    const int iDepth = tirn::PixelTraits<T>::depth;
    expected << "CImage: CsimpleMedian.cpp:33: exec inp:" << static_cast<const void*>(&source)
             << "(" << iDepth << ") outp:" << static_cast<const void*>(&target) << "(" << iDepth
             << ") MaskSize:9\n";
    EXPECT_EQ(sPrinted, expected.str() + std::string(1, '\0'));
    // Rank N/2-1, the 4th smallest of 1..9; the border is 0.
    CImage<T> want = pixels<T>(3, 3, 1, {0, 0, 0, 0, 4});
    want.setName("source");
    want.setChannelInfo("luma", 0);
    expectSameImage(target, want);

    // 5x5 window: the 12th smallest of 25; resized with a warning.
    const CImage<T> big = counting<T>(5, 5);
    CImage<T> small(2, 2, 3);
    EXPECT_NE(stderrOf([&] { CsimpleMedian<T>(2).exec(&big, &small); }).find(
                  std::string("CImage: CsimpleMedian.cpp:43: different size of input and "
                              "output images! doing resize!") +
                  std::string(1, '\0')),
              std::string::npos);
    expectSameImage(small, pixels<T>(5, 5, 1, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 12}));

    source = counting<T>(3, 3);
    CsimpleMedian<T> filter(1);
    testing::internal::CaptureStderr();
    expectRefusal([&] { filter.exec(&source, &source); },
                  "CsimpleMedian: target image must differ from source image!");
    // Neither that nor a target sharing the source's channels corrupts the
    // source.
    CImage<T> shared(1, 1, 1);
    shared = source;
    filter.exec(&source, &shared);
    expectSameImage(source, counting<T>(3, 3));
    EXPECT_EQ(shared.getPixel(1, 1, 0), T(4));

    CsimpleMedian<T>(0).exec(&source, &target); // a 1x1 window: the input itself
    expectSameImage(target, source);
    expectRefusal([&] { CsimpleMedian<T>(1 << 20).exec(&source, &target); },
                  "Medianfilter failed to alloc temporary memory!");
    EXPECT_THROW(CsimpleMedian<T>(-2).exec(&source, &target), CException);

    CImage<T> empty(3, 3, 0), emptyOut(3, 3, 0);
    empty.setName("nothing");
    filter.exec(&empty, &emptyOut);
    EXPECT_STREQ(emptyOut.getName(), "nothing");
    testing::internal::GetCapturedStderr();
}

