// Convolution filters on one channel, every depth, mask sizes 3, 5 and 9,
// the row driver beside the per-pixel reference (TIRN_REFERENCE) and
// OpenCV's nearest equivalents.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "BenchFilters.h"
#include "filters/CGaussFilter.h"
#include "filters/CMeanFilter.h"
#include "filters/CSobelFilter.h"

#ifdef TIRN_BENCH_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

void grid(benchmark::internal::Benchmark* b)
{
    for (int iMask : {3, 5, 9})
        b->Args({512, 512, iMask})->Args({511, 512, iMask});
}

void gaussGrid(benchmark::internal::Benchmark* b)
{
    for (int iMask : {3, 7, 9})
        b->Args({512, 512, iMask})->Args({511, 512, iMask});
}

void sobelGrid(benchmark::internal::Benchmark* b)
{
    for (int iMask : {3, 5})
        b->Args({512, 512, iMask})->Args({511, 512, iMask});
}

template <class T, bool bReference> void BM_Mean(benchmark::State& state)
{
    CMeanFilter<T> filter;
    filter.setNeighborhood(int(state.range(2)), int(state.range(2)));
    runFilter(state, filter, bReference);
}

// The grid's mask size names the sigma that gives it: 3 -> 1, 7 -> 2, 9 -> 3.
template <class T, bool bReference> void BM_Gauss(benchmark::State& state)
{
    CGaussFilter<T> filter;
    {
        QuietFd quiet(1); // one empty line per mask row
        filter.setBandwidth(float(state.range(2) == 3 ? 1 : state.range(2) == 7 ? 2 : 3));
    }
    runFilter(state, filter, bReference);
}

template <class T, bool bReference> void BM_Sobel(benchmark::State& state)
{
    CSobelFilter<T> filter(int(state.range(2)), CSobelFilter<T>::HORIZONTAL);
    runFilter(state, filter, bReference);
}

#define TIRN_BENCH_PATHS(name, args)                                                 \
    BENCHMARK_TEMPLATE(name, unsigned char, false)->Apply(args);                    \
    BENCHMARK_TEMPLATE(name, unsigned short, false)->Apply(args);                   \
    BENCHMARK_TEMPLATE(name, float, false)->Apply(args);                            \
    BENCHMARK_TEMPLATE(name, unsigned char, true)->Apply(args);                     \
    BENCHMARK_TEMPLATE(name, float, true)->Apply(args);

TIRN_BENCH_PATHS(BM_Mean, grid)
TIRN_BENCH_PATHS(BM_Gauss, gaussGrid)
TIRN_BENCH_PATHS(BM_Sobel, sobelGrid)

#ifdef TIRN_BENCH_WITH_OPENCV
template <int cvType> cv::Mat randomMat(int w, int h)
{
    cv::Mat m(h, w, cvType);
    cv::randu(m, 0, 255);
    return m;
}

template <int cvType> void BM_OpenCV_Blur(benchmark::State& state)
{
    const cv::Mat src = randomMat<cvType>(int(state.range(0)), int(state.range(1)));
    const int k = int(state.range(2));
    cv::Mat dst;
    for (auto _ : state) {
        cv::blur(src, dst, cv::Size(k, k));
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * src.total());
}

template <int cvType> void BM_OpenCV_GaussianBlur(benchmark::State& state)
{
    const cv::Mat src = randomMat<cvType>(int(state.range(0)), int(state.range(1)));
    const int k = int(state.range(2));
    const double sigma = k == 3 ? 1.0 : k == 7 ? 2.0 : 3.0;
    cv::Mat dst;
    for (auto _ : state) {
        cv::GaussianBlur(src, dst, cv::Size(k, k), sigma);
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * src.total());
}

template <int cvType> void BM_OpenCV_Sobel(benchmark::State& state)
{
    const cv::Mat src = randomMat<cvType>(int(state.range(0)), int(state.range(1)));
    cv::Mat dst;
    for (auto _ : state) {
        cv::Sobel(src, dst, CV_32F, 1, 0, int(state.range(2)));
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * src.total());
}

BENCHMARK_TEMPLATE(BM_OpenCV_Blur, CV_8UC1)->Apply(grid);
BENCHMARK_TEMPLATE(BM_OpenCV_Blur, CV_32FC1)->Apply(grid);
BENCHMARK_TEMPLATE(BM_OpenCV_GaussianBlur, CV_8UC1)->Apply(gaussGrid);
BENCHMARK_TEMPLATE(BM_OpenCV_GaussianBlur, CV_32FC1)->Apply(gaussGrid);
BENCHMARK_TEMPLATE(BM_OpenCV_Sobel, CV_8UC1)->Apply(sobelGrid);
BENCHMARK_TEMPLATE(BM_OpenCV_Sobel, CV_32FC1)->Apply(sobelGrid);
#endif

} // namespace
