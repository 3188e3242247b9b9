// Our operations beside OpenCV's nearest equivalents, timed interleaved in
// one benchmark so that a loaded machine slows both alike. Each row reports
// the medians of both sides and their ratio (ours / OpenCV; below 1 we are
// faster). Arguments: width, height, threads (both sides get the same).
// The default grid is 1024 x 1024 and an odd 1023 x 1021 at 1 and 2
// threads; TIRN_BENCH_FULL=1 adds 512 x 512 and 2048 x 2048.
#include <benchmark/benchmark.h>

#ifdef TIRN_BENCH_WITH_OPENCV

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <ctime>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "BenchFilters.h"
#include "filters/CColormap.h"
#include "filters/CConvolutionFilter.h"
#include "filters/CDistance.h"
#include "filters/CGaussFilter.h"
#include "filters/CGenericConvolution.h"
#include "filters/CHsiRgbFilter.h"
#include "filters/CMeanFilter.h"
#include "filters/CMedianFilter.h"
#include "filters/CNormalizeRGB.h"
#include "filters/CRankFilter.h"
#include "filters/CSobelFilter.h"
#include "filters/CThreshold.h"
#include "filters/CYuv2Rgb.h"
#include "filters/CsimpleMedian.h"

namespace {

// The same pixels for both sides: each channel of ours is a plane of the
// interleaved OpenCV matrix.
template <class T> cv::Mat toMat(const CImage<T>& image)
{
    const int depth = sizeof(T) == 1 ? CV_8U : sizeof(T) == 2 ? CV_16U : CV_32F;
    std::vector<cv::Mat> planes;
    for (int c = 0; c < image.channels(); ++c)
        planes.push_back(cv::Mat(image.height(), image.width(), CV_MAKETYPE(depth, 1),
                                 const_cast<T*>(image.getChannelDataPtr(c)))
                             .clone());
    cv::Mat m;
    cv::merge(planes, m);
    return m;
}

// The input scaled to 0...1 at depth 32, where the colour operations expect it.
template <class T> CImage<T> input(int w, int h, int c)
{
    CImage<T> image = randomImage<T>(w, h, c);
    if constexpr (!tirn::isIntegerPixel<T>())
        for (int ch = 0; ch < c; ++ch)
            for (int i = 0; i < image.pixelsPerChannel(); ++i)
                image.getChannelDataPtr(ch)[i] /= 256.0f;
    return image;
}

// exec() on a target that is kept from call to call, as OpenCV's is.
template <class T>
std::function<void()> execOn(CTransformation<T>& op, const CImage<T>& in, CImage<T>& out)
{
    op.setInput(&in);
    op.setOutput(&out);
    return [&op] { op.exec(); };
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Times ours and OpenCV's alternately; the benchmark's own time is ours.
void compare(benchmark::State& state, const std::function<void()>& ours,
             const std::function<void()>& theirs)
{
    const std::string sThreads = std::to_string(state.range(2));
    setenv("TIRNVISION_THREADS", sThreads.c_str(), 1);
    cv::setNumThreads(int(state.range(2)));
    ours(); // warm both up
    theirs();
    std::vector<double> vOurs, vTheirs;
    std::vector<double> vOursCpu, vTheirsCpu;
    using Clock = std::chrono::steady_clock;
    // The process's processor time as well: on a machine shared with other
    // work it is the steadier measure at one thread.
    auto cpu = [] {
        timespec t;
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
        return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
    };
    for (auto _ : state) {
        const double c0 = cpu();
        const auto t0 = Clock::now();
        ours();
        const auto t1 = Clock::now();
        const double c1 = cpu();
        theirs();
        const auto t2 = Clock::now();
        const double c2 = cpu();
        vOurs.push_back(std::chrono::duration<double>(t1 - t0).count());
        vTheirs.push_back(std::chrono::duration<double>(t2 - t1).count());
        vOursCpu.push_back(c1 - c0);
        vTheirsCpu.push_back(c2 - c1);
        state.SetIterationTime(vOurs.back());
    }
    unsetenv("TIRNVISION_THREADS");
    const double dOurs = median(vOurs), dTheirs = median(vTheirs);
    state.counters["ours_ms"] = 1e3 * dOurs;
    state.counters["opencv_ms"] = 1e3 * dTheirs;
    state.counters["ratio"] = dOurs / dTheirs;
    state.counters["cpu_ratio"] = median(vOursCpu) / median(vTheirsCpu);
}

void grid(benchmark::internal::Benchmark* b)
{
    std::vector<std::pair<int, int>> sizes = {{1023, 1021}, {1024, 1024}};
    if (const char* p = std::getenv("TIRN_BENCH_FULL"); p && *p == '1')
        sizes.insert(sizes.end(), {{512, 512}, {2048, 2048}});
    for (auto [w, h] : sizes)
        for (int nThreads : {1, 2})
            b->Args({w, h, nThreads});
    b->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(0.2);
}

#define W int(state.range(0))
#define H int(state.range(1))

// A filter's mask as an OpenCV kernel, with its factor folded in where the
// filter multiplies (OpenCV's filter2D does the same work).
template <class T> cv::Mat kernelOf(const CConvolution<T>& f)
{
    cv::Mat k(f.maskHeight(), f.maskWidth(), CV_32F);
    for (int i = 0; i < f.maskWidth() * f.maskHeight(); ++i)
        k.at<float>(i) = f.mask()[i] * (f.factor() != 0.0f ? f.factor() : 1.0f);
    return k;
}

template <class T> void convolutionRow(benchmark::State& state, CConvolution<T>& filter)
{
    const CImage<T> in = input<T>(W, H, 1);
    const cv::Mat src = toMat(in), k = kernelOf(filter);
    cv::Mat dst;
    CImage<T> out(1, 1, 1);
    compare(state, execOn(filter, in, out),
            [&] { cv::filter2D(src, dst, -1, k); });
}

void BM_Mean3x3_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CMeanFilter<float> f;
    f.setNeighborhood(3, 3);
    CImage<float> out(1, 1, 1);
    compare(state, execOn(f, in, out),
            [&] { cv::blur(src, dst, cv::Size(3, 3)); });
}

void BM_Mean15x15_u8(benchmark::State& state)
{
    const CImage<unsigned char> in = input<unsigned char>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CMeanFilter<unsigned char> f;
    f.setNeighborhood(15, 15);
    CImage<unsigned char> out(1, 1, 1);
    compare(state, execOn(f, in, out),
            [&] { cv::blur(src, dst, cv::Size(15, 15)); });
}

// sigma 1 gives a 3 x 3 mask, sigma 3 a 9 x 9 one; OpenCV runs the same mask.
template <int iSigma> void BM_Gauss_f32(benchmark::State& state)
{
    CGaussFilter<float> f;
    {
        QuietFd quiet(1); // one empty line per mask row
        f.setBandwidth(float(iSigma));
    }
    convolutionRow(state, f);
}

void BM_Sobel3_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CSobelFilter<float> f(3, CSobelFilter<float>::HORIZONTAL);
    CImage<float> out(1, 1, 1);
    compare(state, execOn(f, in, out), [&] {
        cv::Sobel(src, dst, CV_32F, 1, 0, 3);
        dst = cv::abs(dst);
    });
}

void BM_Generic5x5_f32(benchmark::State& state)
{
    std::vector<float> mask(25);
    for (int i = 0; i < 25; ++i)
        mask[i] = float((i * 7) % 11) * 0.1f - 0.5f;
    CGenericConvolution<float> f;
    f.setParameters(mask.data(), 0.04f, 5, 5);
    convolutionRow(state, f);
}

template <class T, int iSize> void BM_Median(benchmark::State& state)
{
    const CImage<T> in = input<T>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CMedianFilter<T> f;
    f.setSize(iSize);
    CImage<T> out(1, 1, 1);
    compare(state, execOn(f, in, out),
            [&] { cv::medianBlur(src, dst, iSize); });
}

void BM_RankMin3x3_u8(benchmark::State& state)
{
    const CImage<unsigned char> in = input<unsigned char>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CRankFilter<unsigned char> f;
    f.setNeighborhood(3);
    f.setRank(0);
    CImage<unsigned char> out(1, 1, 1);
    compare(state, execOn(f, in, out),
            [&] { cv::erode(src, dst, cv::Mat()); });
}

void BM_SimpleMedian3_u8(benchmark::State& state)
{
    const CImage<unsigned char> in = input<unsigned char>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CImage<unsigned char> out(W, H, 1);
    CsimpleMedian<unsigned char> f(1);
    QuietFd quiet(2); // one line per call
    compare(state, [&] { f.exec(&in, &out); }, [&] { cv::medianBlur(src, dst, 3); });
}

void BM_RgbToHsi_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 3);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CImage<float> out(W, H, 3);
    CHsiRgbFilter<float> f(0);
    compare(state, [&] { f.exec(&in, &out); },
            [&] { cv::cvtColor(src, dst, cv::COLOR_RGB2HSV); });
}

void BM_YuvToRgb_u8(benchmark::State& state)
{
    const CImage<unsigned char> in = input<unsigned char>(W, H, 3);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CImage<unsigned char> out(W, H, 3);
    CYuv2Rgb<unsigned char> f(true);
    compare(state, [&] { f.exec(&in, &out); },
            [&] { cv::cvtColor(src, dst, cv::COLOR_YUV2RGB); });
}

void BM_Colormap_f32(benchmark::State& state)
{
    CImage<float> in = input<float>(W, H, 1);
    cv::Mat src8;
    toMat(in).convertTo(src8, CV_8U, 255.0);
    cv::Mat dst;
    CImage<float> out(W, H, 3);
    CColormap<float> f(COLORMAP_PSEUDO);
    f.setInput(&in);
    f.setOutput(&out);
    compare(state, [&] { f.exec(); }, [&] { cv::applyColorMap(src8, dst, cv::COLORMAP_JET); });
}

void BM_Rotate_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    const cv::Mat m = cv::getRotationMatrix2D(cv::Point2f(W / 2.0f, H / 2.0f), 30.0, 1.0);
    compare(state, [&] { benchmark::DoNotOptimize(in.rotate(30.0f, -1, -1)); },
            [&] { cv::warpAffine(src, dst, m, src.size(), cv::INTER_LINEAR); });
}

void BM_ScaleHalf_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    compare(state, [&] { benchmark::DoNotOptimize(in.scale(0.5f, SCALE_BILINEAR)); },
            [&] { cv::resize(src, dst, cv::Size(), 0.5, 0.5, cv::INTER_LINEAR); });
}

void BM_MaskGenerator7x7_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 1);
    CImage<float> out(W, H, 1);
    CConvolutionFilter<float> f(7, 1.0f, 45.0f, 1.0f, 0);
    f.exec(&in, &out); // generates the mask
    cv::Mat k(7, 7, CV_32F);
    for (int i = 0; i < 49; ++i)
        k.at<float>(i) = f.mask()[i];
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    compare(state, [&] { f.exec(&in, &out); },
            [&] { cv::filter2D(src, dst, -1, k, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE); });
}

void BM_Threshold_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 1);
    const cv::Mat src = toMat(in);
    cv::Mat dst;
    CThreshold<float> f;
    CImage<float> out(1, 1, 1);
    compare(state, execOn(f, in, out),
            [&] { cv::threshold(src, dst, 0.5, 1.0, cv::THRESH_BINARY); });
}

void BM_Distance_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 3);
    const cv::Mat src = toMat(in);
    cv::Mat diff, dst;
    const cv::Vec3f ref = src.at<cv::Vec3f>(0, 0);
    const cv::Matx13f ones(1, 1, 1);
    CDistance<float> f;
    f.setMutliChannelOp(true);
    CImage<float> out(1, 1, 1);
    compare(state, execOn(f, in, out), [&] {
        cv::subtract(src, cv::Scalar(ref[0], ref[1], ref[2]), diff);
        cv::multiply(diff, diff, diff);
        cv::transform(diff, dst, ones);
    });
}

void BM_NormaliseRgb_f32(benchmark::State& state)
{
    const CImage<float> in = input<float>(W, H, 3);
    std::vector<cv::Mat> planes;
    cv::split(toMat(in), planes);
    cv::Mat sum, r, g;
    CNormalizeRGB<float> f;
    f.setMutliChannelOp(true);
    CImage<float> out(1, 1, 1);
    compare(state, execOn(f, in, out), [&] {
        cv::add(planes[0], planes[1], sum);
        cv::add(sum, planes[2], sum);
        cv::divide(planes[0], sum, r);
        cv::divide(planes[1], sum, g);
    });
}

BENCHMARK(BM_Mean3x3_f32)->Apply(grid);
BENCHMARK(BM_Mean15x15_u8)->Apply(grid);
BENCHMARK_TEMPLATE(BM_Gauss_f32, 1)->Name("BM_GaussSigma1_3x3_f32")->Apply(grid);
BENCHMARK_TEMPLATE(BM_Gauss_f32, 3)->Name("BM_GaussSigma3_9x9_f32")->Apply(grid);
BENCHMARK(BM_Sobel3_f32)->Apply(grid);
BENCHMARK(BM_Generic5x5_f32)->Apply(grid);
BENCHMARK_TEMPLATE(BM_Median, unsigned char, 3)->Name("BM_Median3x3_u8")->Apply(grid);
BENCHMARK_TEMPLATE(BM_Median, unsigned char, 7)->Name("BM_Median7x7_u8")->Apply(grid);
BENCHMARK_TEMPLATE(BM_Median, float, 5)->Name("BM_Median5x5_f32")->Apply(grid);
BENCHMARK(BM_RankMin3x3_u8)->Apply(grid);
BENCHMARK(BM_SimpleMedian3_u8)->Apply(grid);
BENCHMARK(BM_RgbToHsi_f32)->Apply(grid);
BENCHMARK(BM_YuvToRgb_u8)->Apply(grid);
BENCHMARK(BM_Colormap_f32)->Apply(grid);
BENCHMARK(BM_Rotate_f32)->Apply(grid);
BENCHMARK(BM_ScaleHalf_f32)->Apply(grid);
BENCHMARK(BM_MaskGenerator7x7_f32)->Apply(grid);
BENCHMARK(BM_Threshold_f32)->Apply(grid);
BENCHMARK(BM_Distance_f32)->Apply(grid);
BENCHMARK(BM_NormaliseRgb_f32)->Apply(grid);

} // namespace

#endif
