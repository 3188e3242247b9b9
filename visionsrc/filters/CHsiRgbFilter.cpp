// The constants are the conversion's own: two spellings of one third
// (0.3333333333 forward, 0.33333333 backward) and 60/120/240 degrees to seven
// decimals. Everything is evaluated in double on the pixel values and stored
// the library's way (truncated at the integer depths).
#include "filters/CHsiRgbFilter.h"

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

#include "filters/RowDriver.h"
#include "filters/SimdColour.h"

namespace {

constexpr double kTwoPi = 6.283185307179586;

struct RgbToHsi
{
    void operator()(double r, double g, double b, double& h, double& s, double& i) const
    {
        i = (r + g + b) * 0.3333333333;
        s = i <= 0 ? 0.0 : 1.0 - std::min(std::min(r, g), b) / i;
        if (r == g && g == b) {
            h = 0.0;
        } else {
            double theta =
                std::acos((r - (g + b) * 0.5) / std::sqrt((r - g) * (r - g) + (r - b) * (g - b)));
            if (b / i > g / i)
                theta = kTwoPi - theta;
            h = theta / kTwoPi;
        }
    }
};

struct HsiToRgb
{
    void operator()(double hue, double sat, double inten, double& r, double& g, double& b) const
    {
        const double h = hue * kTwoPi;
        const double k = (1 - sat) * 0.33333333;
        auto f = [sat](double a) {
            return (1 + sat * std::cos(a) / std::cos(1.0471976 - a)) * 0.33333333;
        };
        if (h <= 2.0943951) {
            b = k;
            r = f(h);
            g = 1 - (k + r);
        } else if (h <= 4.1887902) {
            r = k;
            g = f(h - 2.0943951);
            b = 1 - (k + g);
        } else {
            g = k;
            b = f(h - 4.1887902);
            r = 1 - (k + b);
        }
        const double dScale = 3 * inten;
        r *= dScale;
        g *= dScale;
        b *= dScale;
    }
};

// One group of three channels. Every pixel's three values are read before
// its three results are written (in the order of the channels), so a target
// that is the source, or shares channels with it, sees what the reference
// walk sees.
template <class T, class Convert>
void convertGroupReference(const CImage<T>& src, CImage<T>& tgt, int c0, Convert convert)
{
    for (int x = 0; x < src.width(); ++x)
        for (int y = 0; y < src.height(); ++y) {
            double a, b, c;
            convert(double(src.getPixel(x, y, c0)), double(src.getPixel(x, y, c0 + 1)),
                    double(src.getPixel(x, y, c0 + 2)), a, b, c);
            tgt.setPixel(x, y, c0, tirn::toPixel<T>(a));
            tgt.setPixel(x, y, c0 + 1, tirn::toPixel<T>(b));
            tgt.setPixel(x, y, c0 + 2, tirn::toPixel<T>(c));
        }
}

// A pixel depends only on the same pixel of the source, so rows may go
// outermost. RGB to HSI a row at a time on SIMD: the row is read whole
// before any of it is written, and each pixel reads only itself.
template <class T, class Convert>
void convertGroupRows(const CImage<T>& src, CImage<T>& tgt, int c0, Convert convert, int y0,
                      int y1)
{
    if constexpr (std::is_same<Convert, RgbToHsi>::value) {
        const std::size_t w = std::size_t(src.width());
        std::vector<double> in(3 * w), out(3 * w);
        for (int y = y0; y < y1; ++y) {
            for (int c = 0; c < 3; ++c) {
                const T* p = src.getChannelPtr(c0 + c)->getRowPtr(y);
                std::copy(p, p + w, in.begin() + std::ptrdiff_t(c * w));
            }
            tirn::simd::rgbToHsiRow(in.data(), in.data() + w, in.data() + 2 * w, w, out.data(),
                                    out.data() + w, out.data() + 2 * w);
            for (int c = 0; c < 3; ++c) {
                T* q = tgt.getChannelPtr(c0 + c)->getRowPtr(y);
                const double* pFrom = out.data() + c * w;
                for (std::size_t x = 0; x < w; ++x)
                    q[x] = tirn::toPixel<T>(pFrom[x]);
            }
        }
        return;
    }
    for (int y = y0; y < y1; ++y) {
        const T* p0 = src.getChannelPtr(c0)->getRowPtr(y);
        const T* p1 = src.getChannelPtr(c0 + 1)->getRowPtr(y);
        const T* p2 = src.getChannelPtr(c0 + 2)->getRowPtr(y);
        T* q0 = tgt.getChannelPtr(c0)->getRowPtr(y);
        T* q1 = tgt.getChannelPtr(c0 + 1)->getRowPtr(y);
        T* q2 = tgt.getChannelPtr(c0 + 2)->getRowPtr(y);
        for (int x = 0; x < src.width(); ++x) {
            double a, b, c;
            convert(double(p0[x]), double(p1[x]), double(p2[x]), a, b, c);
            q0[x] = tirn::toPixel<T>(a);
            q1[x] = tirn::toPixel<T>(b);
            q2[x] = tirn::toPixel<T>(c);
        }
    }
}

template <class T, class Convert>
void convertGroups(const CImage<T>& src, CImage<T>& tgt, Convert convert)
{
    const int nGroups = src.channels() / 3;
    const int w = src.width(), h = src.height();
    for (int iGroup = 0; iGroup < nGroups; ++iGroup) {
        const int c0 = 3 * iGroup;
        // Used in place, a pixel reads only what it writes itself; the order
        // is kept all the same, so nothing depends on that.
        bool bShared = false;
        for (int k = 0; k < 3 && w > 0 && h > 0; ++k)
            for (int m = 0; m < 3; ++m)
                bShared = bShared || src.getChannelDataPtr(c0 + k) == tgt.getChannelDataPtr(c0 + m);
        tirn::runKernel(
            bShared ? tirn::Visit::InOrder : tirn::Visit::AnyOrder, h, (long long)w * h,
            [&] { convertGroupReference(src, tgt, c0, convert); },
            [&](int y0, int y1) { convertGroupRows(src, tgt, c0, convert, y0, y1); });
    }
}

} // namespace

template <class T>
CHsiRgbFilter<T>::CHsiRgbFilter(int iMode_)
    : iSrcDepth(tirn::PixelTraits<T>::depth), iTgtDepth(tirn::PixelTraits<T>::depth),
      iMode(iMode_)
{
}

template <class T> void CHsiRgbFilter<T>::exec(const CImage<T>* pSrc, CImage<T>* pTgt)
{
    const CImage<T>& src = *pSrc;
    CImage<T>& tgt = *pTgt;
    if (tgt.width() != src.width() || tgt.height() != src.height() ||
        tgt.channels() != src.channels())
        tgt.resize(src.width(), src.height(), src.channels());
    if (iMode == 0)
        convertGroups(src, tgt, RgbToHsi());
    else if (iMode == 1)
        convertGroups(src, tgt, HsiToRgb());
}

template class CHsiRgbFilter<unsigned char>;
template class CHsiRgbFilter<unsigned short>;
template class CHsiRgbFilter<float>;
