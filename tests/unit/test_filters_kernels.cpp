// Every kernel's fast path against its reference, bit for bit, at every
// depth, on tiny, odd, wide and banded sizes and at 1, 2 and 3 threads. One
// table: a kernel is a name and a run on an input image.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>

#include <hwy/targets.h>

#include "FilterRun.h"

namespace {

template <class T> struct Kernel
{
    std::string sName;
    int nChannels;
    // Runs on the banded size too (the slowest references do not).
    bool bBanded;
    std::function<CImage<T>(const CImage<T>&)> run;
};

// A CTransformation kernel: F default-constructed, then set up. It runs on
// another image first: an operation that overwrites its target then gets that
// result back as its scratch, where a pixel the fast path left alone would
// show the old value.
template <class F, class T, class Setup>
void add(std::vector<Kernel<T>>& k, std::string sName, int n, bool bBanded, Setup setup,
         const char* pcSelection = nullptr)
{
    k.push_back({std::move(sName), n, bBanded, [setup, pcSelection](const CImage<T>& in) {
                     const CImage<T> other =
                         randomTestImage<T>(in.width(), in.height(), in.channels(), 99, true);
                     F filter;
                     setup(filter);
                     return run(filter, in, pcSelection, &other);
                 }});
}

template <class T> std::vector<Kernel<T>> kernels()
{
    std::vector<Kernel<T>> k;
    // Convolutions. Mean 16x16 is the largest box whose 16-bit sums stay
    // below 2^24; 17x17 takes the float path.
    for (auto [w, h] : {std::pair{0, 2}, {-1, -1}, {1, 1}, {2, 2}, {3, 3}, {4, 3}, {5, 5},
                        {15, 15}, {16, 16}, {17, 17}})
        add<CMeanFilter<T>>(k, "mean " + std::to_string(w) + "x" + std::to_string(h), 1, w == 5,
                            [w = w, h = h](CMeanFilter<T>& f) { f.setNeighborhood(w, h); });
    for (float fSigma : {0.5f, 1.0f, 3.0f})
        add<CGaussFilter<T>>(k, "gauss " + std::to_string(fSigma), 1, fSigma == 1.0f,
                             [fSigma](CGaussFilter<T>& f) { f.setBandwidth(fSigma); });
    for (int n : {3, 5})
        for (auto dir : {CSobelFilter<T>::HORIZONTAL, CSobelFilter<T>::VERTICAL})
            add<CSobelFilter<T>>(k, "sobel " + std::to_string(n) + " dir " + std::to_string(dir), 1,
                                 n == 3 && dir == CSobelFilter<T>::HORIZONTAL,
                                 [n, dir](CSobelFilter<T>& f) {
                                     f.setDirection(dir);
                                     f.setNeighborhood(n, n);
                                 });
    // Generic masks: fractional weights, integer weights (exact in integers
    // at depths 8 and 16), even sizes, rows and columns.
    const std::vector<float> vfFraction = {0.3f, -1.7f, 2.25f, 0.01f, 1.0f, -0.5f,
                                           3.0f, 0.2f,  -2.0f, 1.5f,  0.7f, -0.1f};
    for (auto [w, h, fFactor, bInteger] :
         {std::tuple{3, 3, 0.0f, false}, {2, 3, 0.37f, false}, {5, 1, 1.0f, true},
          {1, 4, 0.0f, true}, {3, 3, 0.0625f, true}, {9, 9, 0.01f, true}})
        add<CGenericConvolution<T>>(
            k, "generic " + std::to_string(w) + "x" + std::to_string(h), 1, fFactor == 0.0625f,
            [=, w = w, h = h, fFactor = fFactor, bInteger = bInteger](CGenericConvolution<T>& f) {
                std::vector<float> mask(w * h);
                for (int i = 0; i < w * h; ++i)
                    mask[i] = bInteger ? float((i * 7) % 5 - 2) : vfFraction[i % 12];
                f.setParameters(mask.data(), fFactor, w, h);
            });
    // A weight that is not finite keeps the border from being padded with
    // zeros (0 * inf is NaN): those pixels take the per-pixel sum.
    for (auto [n, fFactor] : {std::pair{3, 0.0f}, {5, 0.5f}})
        add<CGenericConvolution<T>>(k, "generic " + std::to_string(n) + " not finite", 1, n == 5,
                                    [n = n, fFactor = fFactor](CGenericConvolution<T>& f) {
                                        std::vector<float> mask(n * n, 0.25f);
                                        mask[1] = std::numeric_limits<float>::infinity();
                                        mask[n * n - 2] = std::nanf("");
                                        f.setParameters(mask.data(), fFactor, n, n);
                                    });
    for (int i : {0, 1, 3, 5, 7})
        k.push_back({"mask generator " + std::to_string(i), 2, i == 3, [i](const CImage<T>& in) {
                         return run(CConvolutionFilter<T>(i, float(i), 37.5f * i, 1.5f, 0), in);
                     }});
    k.push_back({"mask beyond the int range", 1, false, [](const CImage<T>& in) {
                     std::vector<float> mask = {3e9f, -3e9f, std::nanf(""), 0.5f, 2147483520.0f,
                                                -1.0f, 1e-3f, 7.0f, -2147483648.0f};
                     CConvolutionFilter<T> filter(3, 0.0f, 0.0f, 1.0f, 1);
                     filter.pfMask = mask.data();
                     return run(std::move(filter), in);
                 }});
    for (int n : {-1, 0, 1, 2, 3, 4, 5, 7}) {
        add<CMedianFilter<T>>(k, "median " + std::to_string(n), 1, n == 5,
                              [n](CMedianFilter<T>& f) { f.setSize(n); });
        for (int r : {0, 4, 12, 60})
            add<CRankFilter<T>>(k, "rank " + std::to_string(n) + " " + std::to_string(r), 1,
                                n == 3 && r == 0, [n, r](CRankFilter<T>& f) {
                                    f.setNeighborhood(n);
                                    f.setRank(r);
                                });
    }
    for (int r : {0, 1, 2, 3})
        k.push_back({"simple median " + std::to_string(r), 2, r == 1,
                     [r](const CImage<T>& in) { return run(CsimpleMedian<T>(r), in); }});
    for (const char* pcSelection : {"XXX", "X#X", "##X"})
        for (int iOp = 0; iOp <= 5; ++iOp)
            add<CCombineChannel<T>>(
                k, std::string("combine ") + pcSelection + " " + std::to_string(iOp), 3, iOp == 0,
                [iOp](CCombineChannel<T>& f) { f.setOperator(TOperation(iOp)); }, pcSelection);
    const auto asIs = [](auto&) {};
    add<CDistance<T>>(k, "distance", 3, true, asIs);
    add<CThreshold<T>>(k, "threshold", 1, true, asIs);
    for (int n : {1, 2, 3})
        add<CShadingFilter<T>>(k, "shading " + std::to_string(n), 1, n == 3,
                               [n](CShadingFilter<T>& f) { f.setSize(n); });
    add<CNormalizeRGB<T>>(k, "normalise", 3, true, asIs);
    add<CRGB2HSI<T>>(k, "rgb2hsi", 3, true, asIs);
    for (bool bOffset : {false, true})
        k.push_back({"yuv " + std::to_string(bOffset), 3, bOffset,
                     [bOffset](const CImage<T>& in) { return run(CYuv2Rgb<T>(bOffset), in); }});
    for (int iMode : {0, 1}) {
        k.push_back({"hsi " + std::to_string(iMode), 7, iMode == 0,
                     [iMode](const CImage<T>& in) { return run(CHsiRgbFilter<T>(iMode), in); }});
        // In place, channel 3 sharing channel 0's data: group 1 reads what
        // group 0 wrote.
        k.push_back({"hsi in place " + std::to_string(iMode), 7, iMode == 1,
                     [iMode](const CImage<T>& in) {
                         CImage<T> image(in);
                         image.attachChannel(3, 0, image);
                         CHsiRgbFilter<T>(iMode).exec(&image, &image);
                         return image;
                     }});
    }
    for (int iType = 0; iType <= 9; ++iType) {
        const int n = iType <= 4 ? 1 : iType <= 8 ? 2 : 3;
        k.push_back({"colour map " + std::to_string(iType), n, iType == 7,
                     [iType](const CImage<T>& in) { return colourMap(in, iType); }});
        // In place the target takes three channels: only the schemes that
        // read channel 0 alone, or all three, accept it.
        if (n == 1 || n == 3)
            k.push_back({"colour map in place " + std::to_string(iType), n, false,
                         [iType](const CImage<T>& in) { return colourMap(in, iType, true); }});
    }
    // Without a NaN the pseudo colour scale runs in bands.
    k.push_back({"colour map pseudo without NaN", 1, true, [](const CImage<T>& in) {
                     const CImage<T> noNaN = randomTestImage<T>(in.width(), in.height(), 1, 3);
                     return colourMap(noNaN, COLORMAP_PSEUDO);
                 }});
    static float afWeights[] = {-0.5f, -0.2f, 0.1f, 0.4f, 0.7f};
    for (int n : {1, 3, 5})
        k.push_back({"cortical layers " + std::to_string(n), n, n == 3, [](const CImage<T>& in) {
                         CCortLayerFilter<T> filter;
                         filter.pfWeights = afWeights;
                         return run(std::move(filter), in);
                     }});
    // 0 and 90 degrees put many positions on whole pixels and on the edges.
    for (const auto& [fAngle, iCentre] :
         {std::pair<float, int>{30.0f, -1}, {-147.5f, 2}, {0.0f, -1}, {90.0f, 1}})
        k.push_back({"rotate " + std::to_string(fAngle), 2, true,
                     [fAngle = fAngle, iCentre = iCentre](const CImage<T>& in) {
                         return in.rotate(fAngle, iCentre, iCentre);
                     }});
    for (float fZoom : {0.5f, 0.37f, 1.5f})
        k.push_back({"scale bilinear " + std::to_string(fZoom), 2, fZoom < 1.0f,
                     [fZoom](const CImage<T>& in) { return in.scale(fZoom, SCALE_BILINEAR); }});
    // Colour matching: every function's result in one image.
    if constexpr (std::is_same<T, float>::value)
        k.push_back({"colour matching", 3, true, [](const CImage<float>& in) {
                         static const float afRef[3] = {0.5f, 0.0f, -0.25f};
                         CImage<float> other(in);
                         other.removeChannel(0);
                         other.appendChannel(0, in);
                         CImage<float> out = DiffImage(&in, &other);
                         float fResult = 0.0f;
                         out.appendImage(HistogramDistance(&in, afRef, 0.3f, 0.8f, fResult));
                         out.setPixel(0, 0, 3, fResult); // the result is part of the contract
                         out.appendImage(PointerDistance(&in, afRef, 0.0f, 0.0f, fResult));
                         out.appendImage(blob_emph(&in, afRef, in.width() / 2, -1));
                         return out;
                     }});
    return k;
}

// Each kernel of the given families (all if none) on each size, fast against
// reference, on a random image that prepare may change; the banded size only
// for the kernels marked so. What the filters print is captured and shown only
// with a failure.
template <class T>
void expectKernels(const std::vector<std::pair<int, int>>& sizes, unsigned uSeed,
                   const std::vector<std::string>& families, void (*prepare)(CImage<T>&) = nullptr)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    for (const Kernel<T>& kernel : kernels<T>())
        for (const auto& [w, h] : sizes) {
            const std::string sFamily = kernel.sName.substr(0, kernel.sName.find(' '));
            if ((!kernel.bBanded && w * h > 10000) ||
                (!families.empty() &&
                 std::find(families.begin(), families.end(), sFamily) == families.end()))
                continue;
            SCOPED_TRACE(testing::Message() << kernel.sName << " on " << w << "x" << h);
            CImage<T> in = randomTestImage<T>(w, h, kernel.nChannels, ++uSeed, true);
            if (prepare)
                prepare(in);
            expectFastMatchesReference([&] { return kernel.run(in); });
        }
    const std::string sPrinted =
        testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout();
    if (::testing::Test::HasFailure())
        std::fputs(sPrinted.c_str(), stderr);
}

} // namespace

template <class T> using Kernels = ::testing::Test;
TYPED_TEST_SUITE(Kernels, PixelTypes);

TYPED_TEST(Kernels, FastMatchesReferenceAtEveryThreadCount)
{
    std::vector<std::pair<int, int>> sizes = awkwardSizes(), wide = wideSizes();
    sizes.insert(sizes.end(), wide.begin(), wide.end());
    expectKernels<TypeParam>(sizes, 1, {});
}

// The row loops on Highway (convolutions, ranks, colour conversions and maps,
// geometry) once on every SIMD target this machine can run, each against the
// same reference.
TYPED_TEST(Kernels, SimdKernelsMatchOnEverySimdTarget)
{
    for (std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        EXPECT_STREQ(tirn::simd::targetName(), hwy::TargetName(target));
        expectKernels<TypeParam>({{1, 1}, {3, 1}, {5, 4}, {17, 9}, {35, 4}, {66, 3}, {307, 3}}, 11,
                                 {"mean", "gauss", "sobel", "generic", "mask", "median", "rank",
                                  "simple", "yuv", "colour", "scale", "rotate", "hsi"});
    }
    hwy::SetSupportedTargetsForTest(0);
}

// Ties and NaN in every window: where a NaN lands in the selection shows
// which order the window was collected in.
TYPED_TEST(Kernels, RankFiltersOnTiesAndNaN)
{
    using T = TypeParam;
    std::vector<std::pair<int, int>> sizes = awkwardSizes();
    sizes.push_back({307, 29});
    expectKernels<T>(sizes, 7, {"median", "rank", "simple"}, [](CImage<T>& in) {
        for (int c = 0; c < in.channels(); ++c)
            for (int k = 0; k < in.pixelsPerChannel(); ++k) {
                T& v = in.getChannelDataPtr(c)[k];
                if (!std::isnan(float(v)))
                    v = T(int(float(v) * 7.0f) % 5);
            }
    });
}
