// Each reader and writer beside the codec under it alone (GraphicsMagick's
// readImages / write, libtiff's strip reads, zlib's inflate / deflate of
// the same bytes, a plain read of the file for the uncompressed formats)
// and OpenCV's imread / imwrite on the same file, on a 1024x1024 photo-like
// picture. The three run in turn inside every iteration, so a machine that
// other work slows down slows all three alike and the ratios stay fair. The
// benchmark's own time is ours; the counters hold the others per call and
// the ratios.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <list>
#include <string>
#include <unistd.h>
#include <vector>

#include <Magick++.h>
#include <tiffio.h>
#include <zlib.h>

#include "BenchImages.h"
#include "fileio/CImageFileIO.h"
#include "fileio/MagickSession.h"

#ifdef TIRN_BENCH_WITH_OPENCV
#include <opencv2/imgcodecs.hpp>
#endif

namespace {

constexpr int kSide = 1024;

// Standard output and standard error go to /dev/null while our readers and
// writers talk.
class Quiet
{
public:
    Quiet()
    {
        std::fflush(stdout);
        std::fflush(stderr);
        iOut = dup(1);
        iErr = dup(2);
        const int iNull = open("/dev/null", O_WRONLY);
        dup2(iNull, 1);
        dup2(iNull, 2);
        close(iNull);
    }
    ~Quiet()
    {
        std::fflush(stdout);
        std::fflush(stderr);
        dup2(iOut, 1);
        dup2(iErr, 2);
        close(iOut);
        close(iErr);
    }

private:
    int iOut, iErr;
};

std::string scratch(const std::string& sName)
{
    return "/tmp/tirn_bench_codecs_" + std::to_string(getpid()) + "_" + sName;
}

double secondsOf(const std::function<void()>& run)
{
    const auto t0 = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// Ours, the codec alone and OpenCV (when given) in turn, every iteration.
// A reader returns a new image, whose fresh pages the kernel must fault in
// and clear; `codecFresh`, when given, is the codec decoding into freshly
// allocated memory of that size, to show what that costs on its own.
void interleave(benchmark::State& state, const std::function<void()>& ours,
                const std::function<void()>& codec, const std::function<void()>& openCV,
                const std::function<void()>& codecFresh = {})
{
    double dOurs = 0, dCodec = 0, dOpenCV = 0, dFresh = 0;
    for (auto _ : state) {
        double d;
        {
            Quiet quiet;
            d = secondsOf(ours);
        }
        state.SetIterationTime(d);
        dOurs += d;
        dCodec += secondsOf(codec);
        if (openCV)
            dOpenCV += secondsOf(openCV);
        if (codecFresh)
            dFresh += secondsOf(codecFresh);
    }
    const double n = double(state.iterations());
    state.counters["codec_ms"] = dCodec / n * 1e3;
    state.counters["ours/codec"] = dOurs / dCodec;
    if (codecFresh) {
        state.counters["fresh_ms"] = dFresh / n * 1e3;
        state.counters["ours/fresh"] = dOurs / dFresh;
    }
    if (openCV) {
        state.counters["opencv_ms"] = dOpenCV / n * 1e3;
        state.counters["ours/opencv"] = dOurs / dOpenCV;
    }
}

std::vector<unsigned char> interleavedRGB(const CImage<unsigned char>& image, bool bBGR)
{
    std::vector<unsigned char> data(std::size_t(image.pixels()));
    for (int y = 0, i = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            for (int c = 0; c < 3; ++c)
                data[std::size_t(i++)] = image.getPixel(x, y, bBGR ? 2 - c : c);
    return data;
}

// The whole file in one read into a buffer of its size: what reading the
// uncompressed formats costs at the least.
std::vector<unsigned char> fileBytes(const std::string& sPath)
{
    std::vector<unsigned char> data;
    FILE* f = std::fopen(sPath.c_str(), "rb");
    if (!f)
        return data;
    std::fseek(f, 0, SEEK_END);
    data.resize(std::size_t(std::ftell(f)));
    std::fseek(f, 0, SEEK_SET);
    data.resize(std::fread(data.data(), 1, data.size(), f));
    std::fclose(f);
    return data;
}

std::vector<unsigned char> gunzipped(const std::string& sPath)
{
    std::vector<unsigned char> data;
    gzFile f = gzopen(sPath.c_str(), "rb");
    unsigned char ac[65536];
    int n;
    while ((n = gzread(f, ac, sizeof ac)) > 0)
        data.insert(data.end(), ac, ac + n);
    gzclose(f);
    return data;
}

#ifdef TIRN_BENCH_WITH_OPENCV
cv::Mat matOf(const CImage<unsigned char>& image)
{
    std::vector<unsigned char> bgr = interleavedRGB(image, true);
    return cv::Mat(image.height(), image.width(), CV_8UC3, bgr.data()).clone();
}
#define TIRN_OPENCV(...) [&] { __VA_ARGS__; }
#else
#define TIRN_OPENCV(...) std::function<void()>()
#endif

// PNG or JPEG through GraphicsMagick.
void BM_LoadMagick(benchmark::State& state, const char* pcExtension)
{
    tirn::ensureMagickInitialised();
    CImage<unsigned char> image = photoImage<unsigned char>(kSide, kSide, 3);
    const std::string sPath = scratch(std::string("photo.") + pcExtension);
    {
        Quiet quiet;
        CImageFileIO<unsigned char>().save(&image, sPath.c_str(), FORMAT_DEFAULT, IMAGE_SINGLE);
    }
    CImage<unsigned char> loaded(1, 1, 1);
    interleave(
        state, [&] { CImageFileIO<unsigned char>().load(loaded, sPath.c_str(), FORMAT_DEFAULT); },
        [&] {
            std::list<Magick::Image> frames;
            Magick::readImages(&frames, sPath);
        },
        TIRN_OPENCV(benchmark::DoNotOptimize(cv::imread(sPath, cv::IMREAD_COLOR))));
    std::remove(sPath.c_str());
}

void BM_SavePNG(benchmark::State& state)
{
    tirn::ensureMagickInitialised();
    CImage<unsigned char> image = photoImage<unsigned char>(kSide, kSide, 3);
    const std::string sOurs = scratch("ours.png"), sCodec = scratch("codec.png");
    std::vector<unsigned char> rgb = interleavedRGB(image, false);
    Magick::Image picture(kSide, kSide, "RGB", Magick::CharPixel, rgb.data());
    picture.depth(8);
#ifdef TIRN_BENCH_WITH_OPENCV
    const cv::Mat mat = matOf(image);
    const std::string sOpenCV = scratch("opencv.png");
#endif
    interleave(
        state,
        [&] { CImageFileIO<unsigned char>().save(&image, sOurs.c_str(), FORMAT_DEFAULT,
                                                 IMAGE_SINGLE); },
        [&] { Magick::Image(picture).write(sCodec); },
        TIRN_OPENCV(cv::imwrite(sOpenCV, mat)));
    std::remove(sOurs.c_str());
    std::remove(sCodec.c_str());
#ifdef TIRN_BENCH_WITH_OPENCV
    std::remove(sOpenCV.c_str());
#endif
}

// One grey page in strips of libtiff's default size, read through libtiff.
void BM_LoadGreyTIFF(benchmark::State& state)
{
    CImage<unsigned char> image = photoImage<unsigned char>(kSide, kSide, 1);
    const std::string sPath = scratch("grey.tif");
    TIFF* pOut = TIFFOpen(sPath.c_str(), "w");
    TIFFSetField(pOut, TIFFTAG_IMAGEWIDTH, kSide);
    TIFFSetField(pOut, TIFFTAG_IMAGELENGTH, kSide);
    TIFFSetField(pOut, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(pOut, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(pOut, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(pOut, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(pOut, 0));
    for (int y = 0; y < kSide; ++y)
        TIFFWriteScanline(pOut, image.getChannelDataPtr(0) + y * kSide, uint32_t(y), 0);
    TIFFClose(pOut);

    CImage<unsigned char> loaded(1, 1, 1);
    std::vector<unsigned char> buffer(std::size_t(kSide) * kSide);
    const auto readStrips = [&](std::vector<unsigned char>& into) {
        TIFF* pIn = TIFFOpen(sPath.c_str(), "r");
        std::size_t nOffset = 0;
        for (tstrip_t k = 0; k < TIFFNumberOfStrips(pIn); ++k)
            nOffset += std::size_t(TIFFReadEncodedStrip(pIn, k, into.data() + nOffset,
                                                        tmsize_t(into.size() - nOffset)));
        TIFFClose(pIn);
    };
    interleave(
        state, [&] { CImageFileIO<unsigned char>().load(loaded, sPath.c_str(), FORMAT_TIFF); },
        [&] { readStrips(buffer); },
        TIRN_OPENCV(benchmark::DoNotOptimize(cv::imread(sPath, cv::IMREAD_GRAYSCALE))),
        [&] {
            std::vector<unsigned char> fresh(buffer.size());
            readStrips(fresh);
        });
    std::remove(sPath.c_str());
}

// MTX against zlib inflating and deflating its very bytes.
template <class T> void BM_LoadMTX(benchmark::State& state)
{
    CImage<T> image = photoImage<T>(kSide, kSide, 3);
    const std::string sPath = scratch("photo.mtx");
    {
        Quiet quiet;
        CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_MTX, IMAGE_SINGLE);
    }
    std::vector<unsigned char> content(gunzipped(sPath).size());
    CImage<T> loaded(1, 1, 1);
    const auto inflate = [&](std::vector<unsigned char>& into) {
        gzFile f = gzopen(sPath.c_str(), "rb");
        benchmark::DoNotOptimize(gzread(f, into.data(), unsigned(into.size())));
        gzclose(f);
    };
    interleave(
        state, [&] { CImageFileIO<T>().load(loaded, sPath.c_str(), FORMAT_MTX); },
        [&] { inflate(content); }, nullptr,
        [&] {
            std::vector<unsigned char> fresh(content.size());
            inflate(fresh);
        });
    std::remove(sPath.c_str());
}

template <class T> void BM_SaveMTX(benchmark::State& state)
{
    CImage<T> image = photoImage<T>(kSide, kSide, 3);
    const std::string sOurs = scratch("ours.mtx"), sCodec = scratch("codec.mtx");
    {
        Quiet quiet;
        CImageFileIO<T>().save(&image, sOurs.c_str(), FORMAT_MTX, IMAGE_SINGLE);
    }
    const std::vector<unsigned char> content = gunzipped(sOurs);
    interleave(
        state,
        [&] { CImageFileIO<T>().save(&image, sOurs.c_str(), FORMAT_MTX, IMAGE_SINGLE); },
        [&] {
            gzFile f = gzopen(sCodec.c_str(), "wb");
            gzwrite(f, content.data(), unsigned(content.size()));
            gzclose(f);
        },
        nullptr);
    std::remove(sOurs.c_str());
    std::remove(sCodec.c_str());
}

// The uncompressed formats against reading or writing their bytes.
template <class T> void BM_LoadGIPL(benchmark::State& state)
{
    CImage<T> image = photoImage<T>(kSide, kSide, 3);
    const std::string sPath = scratch("photo.gipl");
    {
        Quiet quiet;
        CImageFileIO<T>().save(&image, sPath.c_str(), FORMAT_GIPL, IMAGE_SINGLE);
    }
    CImage<T> loaded(1, 1, 1);
    interleave(
        state, [&] { CImageFileIO<T>().load(loaded, sPath.c_str(), FORMAT_GIPL); },
        [&] { benchmark::DoNotOptimize(fileBytes(sPath)); }, nullptr);
    std::remove(sPath.c_str());
}

template <class T> void BM_SaveGIPL(benchmark::State& state)
{
    CImage<T> image = photoImage<T>(kSide, kSide, 3);
    const std::string sOurs = scratch("ours.gipl"), sCodec = scratch("codec.gipl");
    {
        Quiet quiet;
        CImageFileIO<T>().save(&image, sOurs.c_str(), FORMAT_GIPL, IMAGE_SINGLE);
    }
    const std::vector<unsigned char> bytes = fileBytes(sOurs);
    interleave(
        state,
        [&] { CImageFileIO<T>().save(&image, sOurs.c_str(), FORMAT_GIPL, IMAGE_SINGLE); },
        [&] {
            FILE* f = std::fopen(sCodec.c_str(), "wb");
            std::fwrite(bytes.data(), 1, bytes.size(), f);
            std::fclose(f);
        },
        nullptr);
    std::remove(sOurs.c_str());
    std::remove(sCodec.c_str());
}

template <class T> void BM_LoadLAN(benchmark::State& state)
{
    const CImage<unsigned char> image = photoImage<unsigned char>(kSide, kSide, 3);
    std::vector<unsigned char> bytes(128);
    std::memcpy(bytes.data(), "HEAD74", 6);
    bytes[8] = 3; // bands
    const std::int32_t aiSize[2] = {kSide, kSide};
    std::memcpy(&bytes[16], aiSize, sizeof aiSize);
    for (int y = 0; y < kSide; ++y)
        for (int c = 0; c < 3; ++c) {
            const unsigned char* pRow = image.getChannelDataPtr(c) + y * kSide;
            bytes.insert(bytes.end(), pRow, pRow + kSide);
        }
    const std::string sPath = scratch("photo.lan");
    FILE* f = std::fopen(sPath.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
    CImage<T> loaded(1, 1, 1);
    interleave(
        state, [&] { CImageFileIO<T>().load(loaded, sPath.c_str(), FORMAT_LAN); },
        [&] { benchmark::DoNotOptimize(fileBytes(sPath)); }, nullptr);
    std::remove(sPath.c_str());
}

} // namespace

BENCHMARK_CAPTURE(BM_LoadMagick, PNG, "png")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_LoadMagick, JPEG, "jpg")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SavePNG)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadGreyTIFF)->UseManualTime()->Unit(benchmark::kMillisecond);
#define TIRN_BENCH_DEPTHS(BM)                                                              \
    BENCHMARK_TEMPLATE(BM, unsigned char)->UseManualTime()->Unit(benchmark::kMillisecond); \
    BENCHMARK_TEMPLATE(BM, unsigned short)->UseManualTime()->Unit(benchmark::kMillisecond); \
    BENCHMARK_TEMPLATE(BM, float)->UseManualTime()->Unit(benchmark::kMillisecond);
TIRN_BENCH_DEPTHS(BM_LoadMTX)
TIRN_BENCH_DEPTHS(BM_SaveMTX)
TIRN_BENCH_DEPTHS(BM_LoadGIPL)
TIRN_BENCH_DEPTHS(BM_SaveGIPL)
TIRN_BENCH_DEPTHS(BM_LoadLAN)
