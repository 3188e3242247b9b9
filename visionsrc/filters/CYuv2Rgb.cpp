#include "filters/CYuv2Rgb.h"

#include <memory>
#include <type_traits>
#include <vector>

#include "filters/RowDriver.h"

namespace {

// Clamped to 0...255 whatever the depth, so 16-bit results stay below 256.
inline double clampByte(double dValue)
{
    if (dValue < 0)
        return 0;
    if (dValue > 255.0)
        return 255;
    return dValue;
}

template <class T> struct YuvToRgb
{
    bool bOffset;

    void operator()(T y0, T u0, T v0, T& r, T& g, T& b) const
    {
        // The offsets are taken in single precision before widening.
        double y, u, v;
        if (bOffset) {
            y = float(y0) - 16.0f;
            u = float(u0) - 128.0f;
            v = float(v0) - 128.0f;
        } else {
            y = float(y0);
            u = float(u0);
            v = float(v0);
        }
        r = tirn::toPixel<T>(clampByte(y + 1.402 * v));
        g = tirn::toPixel<T>(clampByte(y - 0.7141 * v - 0.3441 * u));
        b = tirn::toPixel<T>(clampByte(y + 1.772 * u));
    }
};

// The row kernel's store: clampByte leaves an integer-depth value in
// 0...255 (integer inputs hold no NaN), where truncation needs no wrap and
// the plain conversion vectorises.
template <class T> inline T storeClamped(double dValue)
{
    if constexpr (tirn::isIntegerPixel<T>())
        return T(int(dValue));
    else
        return tirn::toPixel<T>(dValue);
}

// 8-bit rows of many pixels by tables: R depends on (Y, V) and B on (Y, U)
// alone, so each is a table of every pair, filled by the same arithmetic.
// G = clamp((Y - 0.7141 V) - 0.3441 U) takes its first difference, rounded
// as the formula rounds it, from a table of (Y, V) pairs and its second
// term from a table of U.
struct YuvTables
{
    std::vector<unsigned char> vR, vB;
    std::vector<double> vYv, vU;

    explicit YuvTables(bool bOffset) : vR(65536), vB(65536), vYv(65536), vU(256)
    {
        auto level = [bOffset](int i, float fOffset) {
            return double(bOffset ? float(i) - fOffset : float(i));
        };
        for (int a = 0; a < 256; ++a)
            for (int c = 0; c < 256; ++c) {
                const double y = level(a, 16.0f), uv = level(c, 128.0f);
                vR[a * 256 + c] = (unsigned char)int(clampByte(y + 1.402 * uv));
                vB[a * 256 + c] = (unsigned char)int(clampByte(y + 1.772 * uv));
                vYv[a * 256 + c] = y - 0.7141 * uv;
            }
        for (int c = 0; c < 256; ++c)
            vU[c] = 0.3441 * level(c, 128.0f);
    }
};

} // namespace

template <class T>
CYuv2Rgb<T>::CYuv2Rgb(bool bOffset)
    : iSrcDepth(tirn::PixelTraits<T>::depth), iTgtDepth(tirn::PixelTraits<T>::depth),
      bYuvOffset(bOffset)
{
}

template <class T> void CYuv2Rgb<T>::exec(const CImage<T>* pSrc, CImage<T>* pTgt)
{
    if (static_cast<const void*>(pSrc) == static_cast<const void*>(pTgt))
        throw CException("CYuv2Rgb: target image must differ from source image!");
    const CImage<T>& src = *pSrc;
    CImage<T>& tgt = *pTgt;
    if (src.channels() != 3)
        throw CException("CYuv2Rgb needs 3 Channels assuming to be Y,U and V!");
    const int w = src.width(), h = src.height();
    if (tgt.width() != w || tgt.height() != h || tgt.channels() != 3)
        tgt.resize(w, h, 3);

    const YuvToRgb<T> convert{bYuvOffset};
    tirn::runKernel(
        tirn::Visit::AnyOrder, h, (long long)w * h,
        [&] {
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    T r, g, b;
                    convert(src.getPixel(x, y, 0), src.getPixel(x, y, 1),
                            src.getPixel(x, y, 2), r, g, b);
                    tgt.setPixel(x, y, 0, r);
                    tgt.setPixel(x, y, 1, g);
                    tgt.setPixel(x, y, 2, b);
                }
        },
        [&](int y0, int y1) {
        // Tables pay from some tens of thousands of pixels on; each band
        // fills its own.
        std::unique_ptr<YuvTables> pTables;
        if constexpr (std::is_same<T, unsigned char>::value)
            if ((long long)w * (y1 - y0) >= 65536)
                pTables = std::make_unique<YuvTables>(bYuvOffset);
        for (int y = y0; y < y1; ++y) {
            const T* pY = src.getChannelPtr(0)->getRowPtr(y);
            const T* pU = src.getChannelPtr(1)->getRowPtr(y);
            const T* pV = src.getChannelPtr(2)->getRowPtr(y);
            T* pR = tgt.getChannelPtr(0)->getRowPtr(y);
            T* pG = tgt.getChannelPtr(1)->getRowPtr(y);
            T* pB = tgt.getChannelPtr(2)->getRowPtr(y);
            // A target sharing channels with the source reads each pixel
            // before writing it, like the reference.
            if (pTables) {
                const YuvTables& t = *pTables;
                for (int x = 0; x < w; ++x) {
                    const int iY = int(pY[x]) << 8, iU = pU[x], iV = pV[x];
                    const T g = T(int(clampByte(t.vYv[iY + iV] - t.vU[iU])));
                    const T r = T(t.vR[iY + iV]);
                    const T b = T(t.vB[iY + iU]);
                    pR[x] = r;
                    pG[x] = g;
                    pB[x] = b;
                }
                continue;
            }
            const bool bOffset = convert.bOffset;
            for (int x = 0; x < w; ++x) {
                // YuvToRgb's arithmetic, step for step.
                const float fY = bOffset ? float(pY[x]) - 16.0f : float(pY[x]);
                const float fU = bOffset ? float(pU[x]) - 128.0f : float(pU[x]);
                const float fV = bOffset ? float(pV[x]) - 128.0f : float(pV[x]);
                const double y = fY, u = fU, v = fV;
                const T r = storeClamped<T>(clampByte(y + 1.402 * v));
                const T g = storeClamped<T>(clampByte(y - 0.7141 * v - 0.3441 * u));
                const T b = storeClamped<T>(clampByte(y + 1.772 * u));
                pR[x] = r;
                pG[x] = g;
                pB[x] = b;
            }
        }
        });
    tgt.setChannelInfo("R", 0);
    tgt.setChannelInfo("G", 1);
    tgt.setChannelInfo("B", 2);
    tgt.setName(src.getName());
}

template class CYuv2Rgb<unsigned char>;
template class CYuv2Rgb<unsigned short>;
template class CYuv2Rgb<float>;
