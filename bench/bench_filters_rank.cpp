// Rank-order filters on one channel, every depth, window sides 3 and 5
// (and 9 for the median), the row drivers beside the reference
// transcriptions (TIRN_REFERENCE) and OpenCV's medianBlur.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iostream>

#include "BenchFilters.h"
#include "filters/CMedianFilter.h"
#include "filters/CRankFilter.h"
#include "filters/CsimpleMedian.h"

#ifdef TIRN_BENCH_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

void grid(benchmark::internal::Benchmark* b)
{
    for (int iSide : {3, 5})
        b->Args({512, 512, iSide})->Args({511, 512, iSide});
}

template <class T, bool bReference> void BM_Median(benchmark::State& state)
{
    CMedianFilter<T> filter;
    filter.setSize(int(state.range(2)));
    runFilter(state, filter, bReference);
}

template <class T, bool bReference> void BM_Rank(benchmark::State& state)
{
    CRankFilter<T> filter;
    filter.setNeighborhood(int(state.range(2)));
    filter.setRank(1);
    runFilter(state, filter, bReference);
}

template <class T, bool bReference> void BM_SimpleMedian(benchmark::State& state)
{
    const CImage<T> src = randomImage<T>(int(state.range(0)), int(state.range(1)), 1);
    CImage<T> out(src.width(), src.height(), 1);
    CsimpleMedian<T> filter(int(state.range(2)) / 2);
    PathChoice path(bReference);
    std::cerr.setstate(std::ios::failbit); // the trace line per call
    for (auto _ : state) {
        filter.exec(&src, &out);
        benchmark::DoNotOptimize(out.getChannelDataPtr(0));
    }
    std::cerr.clear();
    state.SetItemsProcessed(state.iterations() * src.pixelsPerChannel());
}

#define TIRN_BENCH_PATHS(name)                                                       \
    BENCHMARK_TEMPLATE(name, unsigned char, false)->Apply(grid);                    \
    BENCHMARK_TEMPLATE(name, unsigned short, false)->Apply(grid);                   \
    BENCHMARK_TEMPLATE(name, float, false)->Apply(grid);                            \
    BENCHMARK_TEMPLATE(name, unsigned char, true)->Apply(grid);                     \
    BENCHMARK_TEMPLATE(name, float, true)->Apply(grid);

TIRN_BENCH_PATHS(BM_Median)
TIRN_BENCH_PATHS(BM_Rank)
TIRN_BENCH_PATHS(BM_SimpleMedian)
BENCHMARK_TEMPLATE(BM_Median, unsigned char, false)->Args({512, 512, 9});

#ifdef TIRN_BENCH_WITH_OPENCV
template <int cvType> void BM_OpenCV_MedianBlur(benchmark::State& state)
{
    cv::Mat src(int(state.range(1)), int(state.range(0)), cvType);
    cv::randu(src, 0, 255);
    cv::Mat dst;
    for (auto _ : state) {
        cv::medianBlur(src, dst, int(state.range(2)));
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * src.total());
}

BENCHMARK_TEMPLATE(BM_OpenCV_MedianBlur, CV_8UC1)->Apply(grid);
BENCHMARK_TEMPLATE(BM_OpenCV_MedianBlur, CV_16UC1)->Apply(grid);
BENCHMARK_TEMPLATE(BM_OpenCV_MedianBlur, CV_32FC1)->Apply(grid);
BENCHMARK_TEMPLATE(BM_OpenCV_MedianBlur, CV_8UC1)->Args({512, 512, 9});
#endif

} // namespace
