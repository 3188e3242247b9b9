#include "filters/CYuv2Rgb.h"

#include <cstddef>

#include "filters/RowDriver.h"
#include "filters/SimdColour.h"

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
            for (int y = y0; y < y1; ++y)
                tirn::simd::yuvToRgbRow(
                    src.getChannelPtr(0)->getRowPtr(y), src.getChannelPtr(1)->getRowPtr(y),
                    src.getChannelPtr(2)->getRowPtr(y), std::size_t(w), bYuvOffset,
                    tgt.getChannelPtr(0)->getRowPtr(y), tgt.getChannelPtr(1)->getRowPtr(y),
                    tgt.getChannelPtr(2)->getRowPtr(y));
        });
    tgt.setChannelInfo("R", 0);
    tgt.setChannelInfo("G", 1);
    tgt.setChannelInfo("B", 2);
    tgt.setName(src.getName());
}

template class CYuv2Rgb<unsigned char>;
template class CYuv2Rgb<unsigned short>;
template class CYuv2Rgb<float>;
