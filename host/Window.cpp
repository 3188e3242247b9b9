#include "Window.h"

#include <Magick++.h>

#include <algorithm>
#include <cmath>
#include <mutex>

#include "TirnHost.h"

namespace tirnhost {

unsigned char greyLevel(double v)
{
    if (!(v > 0)) // also NaN
        return 0;
    return v >= 255 ? 255 : static_cast<unsigned char>(v);
}

Window::Window(const std::string& sName, bool bRgb, bool bShown, int x, int y, int w, int h)
    : m_sName(sName), m_bRgb(bRgb), m_bShown(bShown), m_iX(x), m_iY(y)
{
    resize(w, h);
}

void Window::resize(int w, int h)
{
    if (w < 0 || h < 0)
        throw HostError("window \"" + m_sName + "\": size " + std::to_string(w) + "x" +
                        std::to_string(h) + " is negative");
    std::vector<unsigned char> pixels(std::size_t(w) * std::size_t(h) * 3, 0);
    for (int y = 0; y < std::min(h, m_iHeight); ++y)
        std::copy_n(&m_pixels[std::size_t(y) * std::size_t(m_iWidth) * 3],
                    std::size_t(std::min(w, m_iWidth)) * 3,
                    &pixels[std::size_t(y) * std::size_t(w) * 3]);
    m_iWidth = w;
    m_iHeight = h;
    m_pixels.swap(pixels);
}

void Window::clear() { std::fill(m_pixels.begin(), m_pixels.end(), 0); }

unsigned char Window::at(int x, int y, int c) const
{
    if (x < 0 || y < 0 || x >= m_iWidth || y >= m_iHeight || c < 0 || c > 2)
        throw HostError("window \"" + m_sName + "\" has no pixel (" + std::to_string(x) + ", " +
                        std::to_string(y) + ")");
    return m_pixels[(std::size_t(y) * std::size_t(m_iWidth) + std::size_t(x)) * 3 +
                    std::size_t(c)];
}

void Window::writeGrey(int x, int y, int w, int h, const void* pData, int srcW, int srcH,
                       int zoom, int pixelType)
{
    const void* const planes[3] = {pData, pData, pData};
    write(x, y, w, h, planes, srcW, srcH, zoom, pixelType);
}

void Window::writeRgb(int x, int y, int w, int h, const void* pRed, const void* pGreen,
                      const void* pBlue, int srcW, int srcH, int zoom, int pixelType)
{
    const void* const planes[3] = {pRed, pGreen, pBlue};
    write(x, y, w, h, planes, srcW, srcH, zoom, pixelType);
}

void Window::write(int x, int y, int w, int h, const void* const apPlanes[3], int srcW,
                   int srcH, int zoom, int pixelType)
{
    const std::string sWhere = "drawing into window \"" + m_sName + "\": ";
    if (w < 0 || h < 0 || w > srcW || h > srcH)
        throw HostError(sWhere + "a " + std::to_string(w) + "x" + std::to_string(h) +
                        " rectangle from a " + std::to_string(srcW) + "x" +
                        std::to_string(srcH) + " source");
    if (zoom < 1)
        throw HostError(sWhere + "zoom " + std::to_string(zoom) + " is below 1");
    if (pixelType != PixelBytes && pixelType != PixelShorts && pixelType != PixelFloats)
        throw HostError(sWhere + "unknown pixel type " + std::to_string(pixelType) +
                        " (0 bytes, 1 shorts, 2 floats)");
    if (w > 0 && h > 0)
        for (int c = 0; c < 3; ++c)
            if (!apPlanes[c])
                throw HostError(sWhere + "a null pixel array");
    for (int row = 0; row < h; ++row)
        for (int col = 0; col < w; ++col) {
            const std::size_t src = std::size_t(row) * std::size_t(srcW) + std::size_t(col);
            unsigned char rgb[3];
            for (int c = 0; c < 3; ++c) {
                double v;
                if (pixelType == PixelBytes)
                    v = static_cast<const unsigned char*>(apPlanes[c])[src];
                else if (pixelType == PixelShorts)
                    v = static_cast<const unsigned short*>(apPlanes[c])[src];
                else
                    v = static_cast<const float*>(apPlanes[c])[src];
                rgb[c] = greyLevel(v);
            }
            // The first source row is the picture's bottom row.
            for (int dy = 0; dy < zoom; ++dy) {
                const long py = long(y) + long(h - 1 - row) * zoom + dy;
                if (py < 0 || py >= m_iHeight)
                    continue;
                for (int dx = 0; dx < zoom; ++dx) {
                    const long px = long(x) + long(col) * zoom + dx;
                    if (px < 0 || px >= m_iWidth)
                        continue;
                    unsigned char* p = &m_pixels[(std::size_t(py) * std::size_t(m_iWidth) +
                                                  std::size_t(px)) * 3];
                    p[0] = rgb[0];
                    p[1] = rgb[1];
                    p[2] = rgb[2];
                }
            }
        }
}

void Window::savePng(const std::string& sPath) const
{
    if (m_iWidth == 0 || m_iHeight == 0)
        throw HostError("window \"" + m_sName + "\" is empty; nothing to save");
    static std::once_flag initialised;
    std::call_once(initialised, [] {
        // Signals belong to the program that hosts the emulator.
        MagickLib::ExceptionInfo exception;
        MagickLib::GetExceptionInfo(&exception);
        MagickLib::InitializeMagickEx(nullptr, MAGICK_OPT_NO_SIGNAL_HANDER, &exception);
        MagickLib::DestroyExceptionInfo(&exception);
    });
    try {
        Magick::Image image(unsigned(m_iWidth), unsigned(m_iHeight), "RGB", Magick::CharPixel,
                            m_pixels.data());
        if (!m_bRgb)
            image.type(Magick::GrayscaleType);
        image.magick("PNG");
        image.write(sPath);
    } catch (const Magick::Exception& e) {
        throw HostError("cannot save window \"" + m_sName + "\" as " + sPath + ": " + e.what());
    }
}

} // namespace tirnhost
