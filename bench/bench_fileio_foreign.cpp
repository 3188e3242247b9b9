// The formats behind libtiff and GraphicsMagick on 512x512 images (one odd
// width too), every depth: PNG written and read as RGB pictures, TIFF pages
// read through libtiff. The readers and writers report on standard output
// and standard error, so both go to /dev/null while they run. OpenCV's PNG
// codec is timed beside ours where OpenCV is there.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <unistd.h>

#include "BenchImages.h"
#include "fileio/CImageFileIO.h"

#ifdef TIRN_BENCH_WITH_OPENCV
#include <opencv2/imgcodecs.hpp>
#endif

namespace {

// Silences standard output and standard error for the lifetime of the
// object.
class QuietOutput
{
public:
    QuietOutput()
    {
        std::fflush(stdout);
        std::fflush(stderr);
        iSavedOut = dup(1);
        iSavedErr = dup(2);
        const int iNull = open("/dev/null", O_WRONLY);
        dup2(iNull, 1);
        dup2(iNull, 2);
        close(iNull);
    }
    ~QuietOutput()
    {
        std::cout.flush();
        std::cerr.flush();
        std::fflush(stdout);
        std::fflush(stderr);
        dup2(iSavedOut, 1);
        dup2(iSavedErr, 2);
        close(iSavedOut);
        close(iSavedErr);
    }

private:
    int iSavedOut;
    int iSavedErr;
};

std::string scratch(const char* pcName)
{
    return std::string("/tmp/tirn_bench_foreign_") + std::to_string(getpid()) + "_" + pcName;
}

void sizes(benchmark::internal::Benchmark* b) { b->Args({512, 512})->Args({511, 512}); }

template <class T> void BM_SavePNG(benchmark::State& state)
{
    CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    const std::string sPath = scratch("save.png");
    QuietOutput quiet;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_DEFAULT, IMAGE_SINGLE));
    std::remove(sPath.c_str());
}

template <class T> void BM_LoadPNG(benchmark::State& state)
{
    CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    const std::string sPath = scratch("load.png");
    QuietOutput quiet;
    CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_DEFAULT, IMAGE_SINGLE);
    CImage<T> loaded(1, 1, 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(CImageFileIO<T>().load(loaded, sPath.c_str(), FORMAT_DEFAULT));
    std::remove(sPath.c_str());
}

// Three grey pages, written as a channel stack, read back through libtiff.
template <class T> void BM_LoadTIFF(benchmark::State& state)
{
    CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    const std::string sPath = scratch("load.tif");
    QuietOutput quiet;
    CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_DEFAULT, IMAGE_CHANNEL_STACK);
    CImage<T> loaded(1, 1, 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(CImageFileIO<T>().load(loaded, sPath.c_str(), FORMAT_TIFF));
    std::remove(sPath.c_str());
}

#ifdef TIRN_BENCH_WITH_OPENCV
void BM_OpenCV_SavePNG(benchmark::State& state)
{
    CImage<unsigned char> image =
        randomImage<unsigned char>(int(state.range(0)), int(state.range(1)), 3);
    cv::Mat mat(image.height(), image.width(), CV_8UC3);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            for (int c = 0; c < 3; ++c)
                mat.at<cv::Vec3b>(y, x)[c] = image.getPixel(x, y, 2 - c);
    const std::string sPath = scratch("cv_save.png");
    for (auto _ : state)
        benchmark::DoNotOptimize(cv::imwrite(sPath, mat));
    std::remove(sPath.c_str());
}

void BM_OpenCV_LoadPNG(benchmark::State& state)
{
    CImage<unsigned char> image =
        randomImage<unsigned char>(int(state.range(0)), int(state.range(1)), 3);
    const std::string sPath = scratch("cv_load.png");
    {
        QuietOutput quiet;
        CImageFileIO<unsigned char>().save(&image, sPath.c_str(), FORMAT_DEFAULT, IMAGE_SINGLE);
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(cv::imread(sPath, cv::IMREAD_COLOR));
    std::remove(sPath.c_str());
}
#endif

} // namespace

BENCHMARK_TEMPLATE(BM_SavePNG, unsigned char)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_SavePNG, unsigned short)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_SavePNG, float)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadPNG, unsigned char)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadPNG, unsigned short)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadPNG, float)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadTIFF, unsigned char)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadTIFF, unsigned short)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadTIFF, float)->Apply(sizes);
#ifdef TIRN_BENCH_WITH_OPENCV
BENCHMARK(BM_OpenCV_SavePNG)->Apply(sizes);
BENCHMARK(BM_OpenCV_LoadPNG)->Apply(sizes);
#endif
