// Convolution filters on one channel, every depth, mask sizes 3, 5 and 9,
// the row driver beside the per-pixel reference (TIRN_REFERENCE) and
// OpenCV's nearest equivalents.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

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

template <class T, bool bReference> void BM_Gauss(benchmark::State& state)
{
    CGaussFilter<T> filter;
    // sigma 1, 2, 3 give sizes 3, 7, 9; close enough to the grid's masks.
    // The empty line per mask row must not break the benchmark's table.
    std::fflush(stdout);
    const int iSaved = dup(1);
    const int iNull = open("/dev/null", O_WRONLY);
    if (iNull >= 0)
        dup2(iNull, 1);
    filter.setBandwidth(state.range(2) == 3 ? 1.0f : state.range(2) == 5 ? 2.0f : 3.0f);
    std::fflush(stdout);
    if (iSaved >= 0)
        dup2(iSaved, 1), close(iSaved);
    if (iNull >= 0)
        close(iNull);
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
TIRN_BENCH_PATHS(BM_Gauss, grid)
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
    const int k = state.range(2) == 5 ? 7 : int(state.range(2));
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
BENCHMARK_TEMPLATE(BM_OpenCV_GaussianBlur, CV_8UC1)->Apply(grid);
BENCHMARK_TEMPLATE(BM_OpenCV_GaussianBlur, CV_32FC1)->Apply(grid);
BENCHMARK_TEMPLATE(BM_OpenCV_Sobel, CV_8UC1)->Apply(sobelGrid);
BENCHMARK_TEMPLATE(BM_OpenCV_Sobel, CV_32FC1)->Apply(sobelGrid);
#endif

} // namespace
