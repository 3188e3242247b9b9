// Colour conversions, colour maps and the mask-generator convolution, every
// depth, the row-wise paths beside the reference transcriptions
// (TIRN_REFERENCE) and OpenCV's nearest equivalents.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "BenchFilters.h"
#include "filters/CColormap.h"
#include "filters/CConvolutionFilter.h"
#include "filters/CHsiRgbFilter.h"
#include "filters/CRGB2HSI.h"

#ifdef TIRN_BENCH_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

void sizes(benchmark::internal::Benchmark* b)
{
    b->Args({512, 512})->Args({511, 512});
}

void maskGrid(benchmark::internal::Benchmark* b)
{
    for (int iMask : {3, 5, 9})
        b->Args({512, 512, iMask})->Args({511, 512, iMask});
}

// The colour scales and hue expect 0...1: float inputs are scaled there,
// integer ones stay as they are (the maps then saturate, as defined).
template <class T> CImage<T> colourImage(int w, int h, int c)
{
    CImage<T> image = randomImage<T>(w, h, c);
    if constexpr (!tirn::isIntegerPixel<T>()) {
        for (int ch = 0; ch < c; ++ch) {
            float* p = image.getChannelDataPtr(ch);
            for (int i = 0; i < image.pixelsPerChannel(); ++i)
                p[i] /= 256.0f;
        }
    }
    return image;
}

template <class T, int iMode, bool bReference> void BM_HsiRgb(benchmark::State& state)
{
    const CImage<T> src = colourImage<T>(int(state.range(0)), int(state.range(1)), 3);
    CImage<T> out(1, 1, 1);
    CHsiRgbFilter<T> filter(iMode);
    PathChoice path(bReference);
    for (auto _ : state) {
        filter.exec(&src, &out);
        benchmark::DoNotOptimize(out.getChannelDataPtr(0));
    }
    state.SetItemsProcessed(state.iterations() * src.pixelsPerChannel());
}

template <bool bReference> void BM_Rgb2Hsi(benchmark::State& state)
{
    const CImage<float> src = colourImage<float>(int(state.range(0)), int(state.range(1)), 3);
    CImage<float> out(1, 1, 1);
    CRGB2HSI<float> filter;
    filter.setInput(&src);
    filter.setOutput(&out);
    PathChoice path(bReference);
    for (auto _ : state) {
        filter.exec();
        benchmark::DoNotOptimize(out.getChannelDataPtr(0));
    }
    state.SetItemsProcessed(state.iterations() * src.pixelsPerChannel());
}

template <class T, int iType, bool bReference> void BM_Colormap(benchmark::State& state)
{
    const int iChannels = iType == COLORMAP_HSV ? 2 : 1;
    CImage<T> src = colourImage<T>(int(state.range(0)), int(state.range(1)), iChannels);
    CImage<T> out(1, 1, 1);
    CColormap<T> map{TColormapType(iType)};
    map.setInput(&src);
    map.setOutput(&out);
    PathChoice path(bReference);
    for (auto _ : state) {
        map.exec();
        benchmark::DoNotOptimize(out.getChannelDataPtr(0));
    }
    state.SetItemsProcessed(state.iterations() * src.pixelsPerChannel());
}

template <class T, bool bReference> void BM_MaskConvolution(benchmark::State& state)
{
    const CImage<T> src = randomImage<T>(int(state.range(0)), int(state.range(1)), 1);
    CImage<T> out(1, 1, 1);
    // A rotated first derivative: both signs, every weight in use.
    CConvolutionFilter<T> filter(int(state.range(2)), float(MASK_GAUSS_D1), 30.0f, 1.5f, 0);
    PathChoice path(bReference);
    for (auto _ : state) {
        filter.exec(&src, &out);
        benchmark::DoNotOptimize(out.getChannelDataPtr(0));
    }
    state.SetItemsProcessed(state.iterations() * src.pixelsPerChannel());
}

#define TIRN_BENCH_DEPTHS(name, extra, args)                                         \
    BENCHMARK_TEMPLATE(name, unsigned char, extra, false)->Apply(args);             \
    BENCHMARK_TEMPLATE(name, unsigned short, extra, false)->Apply(args);            \
    BENCHMARK_TEMPLATE(name, float, extra, false)->Apply(args);                     \
    BENCHMARK_TEMPLATE(name, unsigned char, extra, true)->Apply(args);              \
    BENCHMARK_TEMPLATE(name, float, extra, true)->Apply(args);

TIRN_BENCH_DEPTHS(BM_HsiRgb, 0, sizes)
TIRN_BENCH_DEPTHS(BM_HsiRgb, 1, sizes)
BENCHMARK_TEMPLATE(BM_Rgb2Hsi, false)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_Rgb2Hsi, true)->Apply(sizes);
TIRN_BENCH_DEPTHS(BM_Colormap, COLORMAP_PSEUDO, sizes)
TIRN_BENCH_DEPTHS(BM_Colormap, COLORMAP_LEHMANN, sizes)
TIRN_BENCH_DEPTHS(BM_Colormap, COLORMAP_HSV, sizes)

BENCHMARK_TEMPLATE(BM_MaskConvolution, unsigned char, false)->Apply(maskGrid);
BENCHMARK_TEMPLATE(BM_MaskConvolution, unsigned short, false)->Apply(maskGrid);
BENCHMARK_TEMPLATE(BM_MaskConvolution, float, false)->Apply(maskGrid);
BENCHMARK_TEMPLATE(BM_MaskConvolution, unsigned char, true)->Apply(maskGrid);
BENCHMARK_TEMPLATE(BM_MaskConvolution, float, true)->Apply(maskGrid);

#ifdef TIRN_BENCH_WITH_OPENCV
cv::Mat randomMat(int w, int h, int cvType, double dHigh)
{
    cv::Mat m(h, w, cvType);
    cv::randu(m, 0, dHigh);
    return m;
}

// HSV is OpenCV's nearest relative of the HSI conversion.
template <int cvType> void BM_OpenCV_RgbToHsv(benchmark::State& state)
{
    const double dHigh = CV_MAT_DEPTH(cvType) == CV_32F ? 1.0 : 255.0;
    const cv::Mat src = randomMat(int(state.range(0)), int(state.range(1)), cvType, dHigh);
    cv::Mat dst;
    for (auto _ : state) {
        cv::cvtColor(src, dst, cv::COLOR_RGB2HSV);
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * src.total());
}

template <int cvType> void BM_OpenCV_HsvToRgb(benchmark::State& state)
{
    const double dHigh = CV_MAT_DEPTH(cvType) == CV_32F ? 1.0 : 255.0;
    const cv::Mat src = randomMat(int(state.range(0)), int(state.range(1)), cvType, dHigh);
    cv::Mat dst;
    for (auto _ : state) {
        cv::cvtColor(src, dst, cv::COLOR_HSV2RGB);
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * src.total());
}

// applyColorMap takes 8-bit input only.
void BM_OpenCV_ApplyColorMap(benchmark::State& state)
{
    const cv::Mat src = randomMat(int(state.range(0)), int(state.range(1)), CV_8UC1, 255.0);
    cv::Mat dst;
    for (auto _ : state) {
        cv::applyColorMap(src, dst, cv::COLORMAP_JET);
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * src.total());
}

template <int cvType> void BM_OpenCV_Filter2D(benchmark::State& state)
{
    const cv::Mat src = randomMat(int(state.range(0)), int(state.range(1)), cvType, 255.0);
    const int k = int(state.range(2));
    cv::Mat kernel(k, k, CV_32F);
    cv::randu(kernel, -1.0, 1.0);
    cv::Mat dst;
    for (auto _ : state) {
        cv::filter2D(src, dst, -1, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
        benchmark::DoNotOptimize(dst.data);
    }
    state.SetItemsProcessed(state.iterations() * src.total());
}

BENCHMARK_TEMPLATE(BM_OpenCV_RgbToHsv, CV_8UC3)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_RgbToHsv, CV_32FC3)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_HsvToRgb, CV_8UC3)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_HsvToRgb, CV_32FC3)->Apply(sizes);
BENCHMARK(BM_OpenCV_ApplyColorMap)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_OpenCV_Filter2D, CV_8UC1)->Apply(maskGrid);
BENCHMARK_TEMPLATE(BM_OpenCV_Filter2D, CV_16UC1)->Apply(maskGrid);
BENCHMARK_TEMPLATE(BM_OpenCV_Filter2D, CV_32FC1)->Apply(maskGrid);
#endif

} // namespace
