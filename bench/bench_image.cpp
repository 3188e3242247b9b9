// The image core on a 1024x1024 image (one odd width too), every depth.
#include <benchmark/benchmark.h>

#include "BenchImages.h"

#ifdef TIRN_BENCH_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kSize = 1024;

void sizes(benchmark::internal::Benchmark* b)
{
    b->Args({kSize, kSize})->Args({1023, kSize});
}

template <class T> void BM_Construct(benchmark::State& state)
{
    for (auto _ : state) {
        CImage<T> image(int(state.range(0)), int(state.range(1)), 3);
        benchmark::DoNotOptimize(image.getChannelDataPtr(0));
    }
}

template <class T> void BM_DeepCopy(benchmark::State& state)
{
    const CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    for (auto _ : state) {
        CImage<T> copy = image.deepCopy();
        benchmark::DoNotOptimize(copy.getChannelDataPtr(0));
    }
}

template <class T> void BM_Resize(benchmark::State& state)
{
    CImage<T> image(int(state.range(0)), int(state.range(1)), 3);
    int i = 0;
    for (auto _ : state) {
        const int iDelta = (i++ & 1);
        image.resize(int(state.range(0)) - iDelta, int(state.range(1)), 3);
        benchmark::DoNotOptimize(image.getChannelDataPtr(0));
    }
}

template <class T> void BM_Rotate(benchmark::State& state)
{
    const CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 1);
    for (auto _ : state) {
        CImage<T> rotated = image.rotate(30.0f, -1, -1);
        benchmark::DoNotOptimize(rotated.getChannelDataPtr(0));
    }
}

template <class T, TScaleMethod method> void BM_Scale(benchmark::State& state)
{
    const CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 1);
    const float fZoom = method == SCALE_AVERAGE ? 0.5f : 1.5f;
    for (auto _ : state) {
        CImage<T> scaled = image.scale(fZoom, method);
        benchmark::DoNotOptimize(scaled.getChannelDataPtr(0));
    }
}

template <class T> void BM_ClipPercentage(benchmark::State& state)
{
    const CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    for (auto _ : state) {
        state.PauseTiming();
        CImage<T> work(image);
        state.ResumeTiming();
        work.clipPercentage(2.0f, 2.0f, true);
        benchmark::DoNotOptimize(work.getChannelDataPtr(0));
    }
}

#define TIRN_BENCH_ALL_DEPTHS(name)                                                 \
    BENCHMARK_TEMPLATE(name, unsigned char)->Apply(sizes);                          \
    BENCHMARK_TEMPLATE(name, unsigned short)->Apply(sizes);                         \
    BENCHMARK_TEMPLATE(name, float)->Apply(sizes);

TIRN_BENCH_ALL_DEPTHS(BM_Construct)
TIRN_BENCH_ALL_DEPTHS(BM_DeepCopy)
TIRN_BENCH_ALL_DEPTHS(BM_Resize)
TIRN_BENCH_ALL_DEPTHS(BM_Rotate)
TIRN_BENCH_ALL_DEPTHS(BM_ClipPercentage)
BENCHMARK_TEMPLATE(BM_Scale, unsigned char, SCALE_NEAREST)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Scale, float, SCALE_NEAREST)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Scale, unsigned char, SCALE_BILINEAR)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Scale, float, SCALE_BILINEAR)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Scale, unsigned char, SCALE_AVERAGE)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Scale, float, SCALE_AVERAGE)->Apply(sizes);

#ifdef TIRN_BENCH_WITH_OPENCV
// OpenCV's nearest equivalents, for the ratio.
template <int cvType> cv::Mat randomMat(int w, int h)
{
    cv::Mat m(h, w, cvType);
    cv::randu(m, 0, 255);
    return m;
}

template <int cvType> void BM_OpenCV_Rotate(benchmark::State& state)
{
    const cv::Mat src = randomMat<cvType>(int(state.range(0)), int(state.range(1)));
    const cv::Mat rotation =
        cv::getRotationMatrix2D(cv::Point2f(src.cols * 0.5f, src.rows * 0.5f), 30.0, 1.0);
    cv::Mat dst;
    for (auto _ : state) {
        cv::warpAffine(src, dst, rotation, src.size(), cv::INTER_LINEAR);
        benchmark::DoNotOptimize(dst.data);
    }
}

template <int cvType, int interpolation> void BM_OpenCV_Scale(benchmark::State& state)
{
    const cv::Mat src = randomMat<cvType>(int(state.range(0)), int(state.range(1)));
    const double fZoom = interpolation == cv::INTER_AREA ? 0.5 : 1.5;
    cv::Mat dst;
    for (auto _ : state) {
        cv::resize(src, dst, cv::Size(), fZoom, fZoom, interpolation);
        benchmark::DoNotOptimize(dst.data);
    }
}

BENCHMARK_TEMPLATE(BM_OpenCV_Rotate, CV_8UC1)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_Rotate, CV_32FC1)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_Scale, CV_8UC1, cv::INTER_NEAREST)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_Scale, CV_8UC1, cv::INTER_LINEAR)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_Scale, CV_8UC1, cv::INTER_AREA)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_Scale, CV_32FC1, cv::INTER_LINEAR)->Apply(sizes);
#endif

} // namespace
