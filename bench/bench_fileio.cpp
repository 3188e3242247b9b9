// The library's own file formats on a 512x512x3 image (one odd width too),
// every depth. The readers and writers report on standard output, so it is
// sent to /dev/null while they run. OpenCV has no equivalent of these
// formats, so nothing is timed beside them.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <unistd.h>

#include "BenchImages.h"
#include "fileio/CCompressedIFStream.h"
#include "fileio/CImageFileIO.h"

namespace {

// Silences standard output for the lifetime of the object.
class QuietStdout
{
public:
    QuietStdout()
    {
        std::fflush(stdout);
        iSaved = dup(1);
        const int iNull = open("/dev/null", O_WRONLY);
        dup2(iNull, 1);
        close(iNull);
    }
    ~QuietStdout()
    {
        std::cout.flush();
        std::fflush(stdout);
        dup2(iSaved, 1);
        close(iSaved);
    }

private:
    int iSaved;
};

std::string scratch(const char* pcName)
{
    return std::string("/tmp/tirn_bench_") + std::to_string(getpid()) + "_" + pcName;
}

void sizes(benchmark::internal::Benchmark* b) { b->Args({512, 512})->Args({511, 512}); }

template <class T> void BM_SaveMTX(benchmark::State& state)
{
    CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    const std::string sPath = scratch("save.mtx");
    QuietStdout quiet;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_MTX, IMAGE_SINGLE));
    std::remove(sPath.c_str());
}

template <class T> void BM_LoadMTX(benchmark::State& state)
{
    CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    const std::string sPath = scratch("load.mtx");
    QuietStdout quiet;
    CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_MTX, IMAGE_SINGLE);
    for (auto _ : state)
        benchmark::DoNotOptimize(CImageFileIO<T>().load(image, sPath.c_str(), FORMAT_MTX));
    std::remove(sPath.c_str());
}

template <class T> void BM_SaveGIPL(benchmark::State& state)
{
    CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    const std::string sPath = scratch("save.gipl");
    QuietStdout quiet;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_GIPL, IMAGE_SINGLE));
    std::remove(sPath.c_str());
}

template <class T> void BM_LoadGIPL(benchmark::State& state)
{
    CImage<T> image = randomImage<T>(int(state.range(0)), int(state.range(1)), 3);
    const std::string sPath = scratch("load.gipl");
    QuietStdout quiet;
    CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_GIPL, IMAGE_SINGLE);
    for (auto _ : state)
        benchmark::DoNotOptimize(CImageFileIO<T>().load(image, sPath.c_str(), FORMAT_GIPL));
    std::remove(sPath.c_str());
}

// The LZW decoder over a compress-made file of a repeating 9-bit-friendly
// pattern; decoding ends at the first sign-extended code, so this times
// the decoder's setup and its first codes per read.
void BM_LzwRead(benchmark::State& state)
{
    const std::string sPlain = scratch("lzw"), sPath = sPlain + ".Z";
    {
        FILE* f = std::fopen(sPlain.c_str(), "wb");
        for (int i = 0; i < 1 << 16; ++i)
            std::fputc((i * 7) % 61, f);
        std::fclose(f);
    }
    if (std::system(("compress -f " + sPlain).c_str()) != 0) {
        state.SkipWithError("the compress program is missing");
        return;
    }
    CCompressedIFStream in(sPath.c_str(), std::ios::in | std::ios::binary);
    char acBuffer[64];
    for (auto _ : state)
        benchmark::DoNotOptimize(in.CRead(acBuffer, 0, int(sizeof acBuffer)));
    std::remove(sPath.c_str());
}

} // namespace

BENCHMARK_TEMPLATE(BM_SaveMTX, unsigned char)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_SaveMTX, unsigned short)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_SaveMTX, float)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadMTX, unsigned char)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadMTX, unsigned short)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadMTX, float)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_SaveGIPL, unsigned char)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_SaveGIPL, unsigned short)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_SaveGIPL, float)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadGIPL, unsigned char)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadGIPL, unsigned short)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_LoadGIPL, float)->Apply(sizes);
BENCHMARK(BM_LzwRead);
