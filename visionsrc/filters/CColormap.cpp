// Colour maps. Every constant and every precision below is part of the
// result (the outputs are compared bit for bit), so the formulas are written
// exactly as the scales define them, including where a product is rounded to
// float before it is used again.
#include "filters/CColormap.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <type_traits>
#include <vector>

#include "filters/RowDriver.h"
#include "filters/SimdColour.h"

namespace {

// The scale kernels return false when they write nothing; the public free
// functions are thin wrappers, the fast path uses the flag.
constexpr double kOneThird = 0.3333333333333333;
constexpr double kTwoThirds = 0.6666666666666666;

inline bool pseudoColor(float v, float& r, float& g, float& b)
{
    const float t = 7.0f * v;
    if (t <= 1) {
        r = 0; g = 0; b = t;
    } else if (t <= 2) {
        r = 0; g = t - 1; b = 1;
    } else if (t <= 3) {
        r = 0; g = 1; b = 1 - (t - 2);
    } else if (t <= 4) {
        r = t - 3; g = 1; b = 0;
    } else if (t <= 5) {
        r = 1; g = 1 - (t - 4); b = 0;
    } else if (t <= 6) {
        r = 1; g = 0; b = t - 5;
    } else if (t > 6) {
        r = 1; g = t - 6; b = 1;
    } else {
        return false; // NaN
    }
    return true;
}

inline bool lehmannColor(float v, float& r, float& g, float& b, float a, float c)
{
    const float fAngle = a * v + c;
    const float fRadius = float(1.2247449 * v * (1 - v));
    const double s = std::sin(fAngle) * fRadius;
    const double k = std::cos(fAngle) * fRadius;
    const float fDiagonal = float(1.7320508 * v);
    const double w = 2 * fDiagonal;
    r = float((2.7320508 * s - 0.73205081 * k + w) * 0.28867513);
    g = float((-0.73205081 * s + 2.7320508 * k + w) * 0.28867513);
    b = float((-2.0 * s - 2.0 * k + w) * 0.28867513);
    return true;
}

inline bool heatedObject(float v, float& r, float& g, float& b)
{
    // The equality row is unreachable for float input (no float equals the
    // double 2/3); it stays because it is the scale's definition.
    if (v <= kOneThird) {
        r = 3 * v; g = 0; b = 0;
    } else if (v < kTwoThirds) {
        r = 1; g = 3 * v - 1; b = 0;
    } else if (v == kTwoThirds) {
        r = 1; g = 1; b = 0;
    } else if (v > kTwoThirds) {
        r = 1; g = 1; b = 3 * v - 2;
    } else {
        return false;
    }
    return true;
}

inline bool magenta(float v, float& r, float& g, float& b)
{
    if (v <= kOneThird) {
        r = 3 * v; g = 0; b = 0;
    } else if (v <= kTwoThirds) {
        r = 1; g = 0; b = 3 * v - 1;
    } else if (v > kTwoThirds) {
        r = 1; g = 3 * v - 2; b = 1;
    } else {
        return false;
    }
    return true;
}

inline bool hsvToRgb(float h, float s, float v, float& r, float& g, float& b)
{
    const double dSector = 6.0 * h;
    const double dFloor = std::floor(dSector);
    // Hues outside 0...1 (and NaN) select no sector: nothing is written.
    if (!(dFloor >= 0.0 && dFloor <= 5.0))
        return false;
    const int i = int(dFloor);
    const double f = dSector - i;
    const float p = float((1.0 - s) * v);
    const float q = float((1.0 - s * f) * v);
    const float t = float((1.0 - (1.0 - f) * s) * v);
    switch (i) {
    case 0: r = v; g = t; b = p; break;
    case 1: r = q; g = v; b = p; break;
    case 2: r = p; g = v; b = t; break;
    case 3: r = p; g = q; b = v; break;
    case 4: r = t; g = p; b = v; break;
    default: r = v; g = p; b = q; break;
    }
    return true;
}

// Channels a scheme reads: 0 for an unknown scheme.
int channelsRead(TColormapType type)
{
    if (type >= COLORMAP_GRAY && type <= COLORMAP_MAGENTA)
        return 1;
    if (type >= COLORMAP_RED_BLUE && type <= COLORMAP_MAGENTA_GREEN)
        return 2;
    return type == COLORMAP_RGB ? 3 : 0;
}

// One scheme as a function of the channel values (v, w, u); false when it
// writes nothing.
template <class F> void withScheme(TColormapType type, F&& run)
{
    switch (type) {
    case COLORMAP_GRAY:
        return run([](float v, float, float, float& r, float& g, float& b) {
            r = g = b = v;
            return true;
        });
    case COLORMAP_PSEUDO:
        return run([](float v, float, float, float& r, float& g, float& b) {
            return pseudoColor(v, r, g, b);
        });
    case COLORMAP_LEHMANN:
        return run([](float v, float, float, float& r, float& g, float& b) {
            return lehmannColor(v, r, g, b, 6.2831855f, 0.0f);
        });
    case COLORMAP_HEATED:
        return run([](float v, float, float, float& r, float& g, float& b) {
            return heatedObject(v, r, g, b);
        });
    case COLORMAP_MAGENTA:
        return run([](float v, float, float, float& r, float& g, float& b) {
            return magenta(v, r, g, b);
        });
    case COLORMAP_RED_BLUE:
        return run([](float v, float w, float, float& r, float& g, float& b) {
            r = v; g = 0; b = w;
            return true;
        });
    case COLORMAP_GREEN_BLUE:
        return run([](float v, float w, float, float& r, float& g, float& b) {
            r = 0; g = v; b = w;
            return true;
        });
    case COLORMAP_HSV:
        return run([](float v, float w, float, float& r, float& g, float& b) {
            return hsvToRgb(v, w, 1.0f, r, g, b);
        });
    case COLORMAP_MAGENTA_GREEN:
        return run([](float v, float w, float, float& r, float& g, float& b) {
            r = v; g = w; b = v;
            return true;
        });
    default:
        return run([](float v, float w, float u, float& r, float& g, float& b) {
            r = v; g = w; b = u;
            return true;
        });
    }
}

template <class T> inline void storeColour(T* pR, T* pG, T* pB, int x, float r, float g, float b)
{
    pR[x] = tirn::toPixel<T>(255.0f * r);
    pG[x] = tirn::toPixel<T>(255.0f * g);
    pB[x] = tirn::toPixel<T>(255.0f * b);
}

} // namespace

void pseudoColorScale(float v, float& r, float& g, float& b) { pseudoColor(v, r, g, b); }

void lehmannColorScale(float v, float& r, float& g, float& b, float a, float c)
{
    lehmannColor(v, r, g, b, a, c);
}

void heatedObjectScale(float v, float& r, float& g, float& b) { heatedObject(v, r, g, b); }

void magentaScale(float v, float& r, float& g, float& b) { magenta(v, r, g, b); }

void hsvTorgb(float h, float s, float v, float& r, float& g, float& b)
{
    hsvToRgb(h, s, v, r, g, b);
}

template <class T>
CColormap<T>::CColormap(TColormapType type)
    : eType(type), iDepth(tirn::PixelTraits<T>::depth)
{
}

template <class T> int CColormap<T>::depth()
{
    std::printf(" depth %d\n", iDepth);
    return iDepth;
}

// The grey and scale schemes read channel 0 whatever the channel count; an
// input without channels has none to read and is refused like a wrong count.
template <class T> void CColormap<T>::checkChannels() const
{
    const int nRead = channelsRead(eType);
    if (nRead == 0)
        throw CException("Wrong color type");
    const int n = pInput->channels();
    if (nRead == 1 ? n < 1 : n != nRead)
        throw CException("Wrong number of channels");
}

template <class T> void CColormap<T>::mapToRGB(int x, int y, float& r, float& g, float& b)
{
    checkChannels();
    const CImage<T>& in = *pInput;
    const int nRead = channelsRead(eType);
    const float v = float(in.getPixel(x, y, 0));
    const float w = nRead > 1 ? float(in.getPixel(x, y, 1)) : 0.0f;
    const float u = nRead > 2 ? float(in.getPixel(x, y, 2)) : 0.0f;
    withScheme(eType, [&](auto map) { map(v, w, u, r, g, b); });
}

template <class T> void CColormap<T>::exec()
{
    // The binding's exec catches the library's exceptions: a script that
    // forgot an image gets an error instead of a crash.
    if (!pInput || !pOutput)
        throw CException("CColormap: set the input and output images before exec()!");
    // A pixel whose scale writes nothing repeats the colour visited before
    // it: the order shows, so one band. The pseudo colour scale writes every
    // pixel but a NaN: its rows go in bands, and should one hold a NaN the
    // whole image is done again in one. Not in place, where the first pass
    // would have changed the input.
    const int w = pInput->width(), h = pInput->height();
    const long long llPixels = (long long)w * h;
    if (eType == COLORMAP_PSEUDO && pInput != pOutput && w >= 1 && h >= 1) {
        pOutput->resize(w, h, 3); // no channel shared with the input after it
        checkChannels();
        std::atomic<bool> bEveryRow{true};
        tirn::runKernel(tirn::Visit::AnyOrder, h, llPixels, [&] { execReference(); },
                        [&](int y0, int y1) {
                            std::vector<float> rowValues, rowColours;
                            for (int y = y0; y < y1 && bEveryRow; ++y)
                                if (pseudoColourRow(y, rowValues, rowColours) < w)
                                    bEveryRow = false;
                        });
        if (!bEveryRow)
            execFast();
        return;
    }
    tirn::runKernel(
        tirn::Visit::InOrder, h, llPixels, [&] { execReference(); },
        [&](int, int) { execFast(); });
}

template <class T>
int CColormap<T>::pseudoColourRow(int y, std::vector<float>& rowValues,
                                   std::vector<float>& rowColours) const
{
    const int w = pInput->width();
    const T* pV = pInput->getChannelPtr(0)->getRowPtr(y);
    CImage<T>& out = *pOutput;
    if constexpr (std::is_same<T, float>::value) {
        // In place the value row is also the red one.
        return int(tirn::simd::pseudoColourRow(pV, std::size_t(w),
                                               out.getChannelPtr(0)->getRowPtr(y),
                                               out.getChannelPtr(1)->getRowPtr(y),
                                               out.getChannelPtr(2)->getRowPtr(y)));
    } else {
        // Whole numbers: never a NaN.
        rowValues.assign(pV, pV + w);
        rowColours.resize(3 * std::size_t(w));
        float* pColours = rowColours.data();
        tirn::simd::pseudoColourRow(rowValues.data(), std::size_t(w), pColours, pColours + w,
                                    pColours + 2 * w);
        for (int c = 0; c < 3; ++c) {
            T* pOut = out.getChannelPtr(c)->getRowPtr(y);
            const float* pFrom = pColours + std::size_t(c) * w;
            for (int x = 0; x < w; ++x)
                pOut[x] = tirn::toPixel<T>(pFrom[x]);
        }
        return w;
    }
}

template <class T> void CColormap<T>::execReference()
{
    const int w = pInput->width(), h = pInput->height();
    pOutput->resize(w, h, 3);
    // Carried from pixel to pixel: a pixel whose scale writes nothing gets
    // the colour of the one visited before it. Black before the first.
    float r = 0.0f, g = 0.0f, b = 0.0f;
    for (int x = 0; x < w; ++x)
        for (int y = 0; y < h; ++y) {
            mapToRGB(x, y, r, g, b);
            pOutput->setPixel(x, y, 0, tirn::toPixel<T>(255.0f * r));
            pOutput->setPixel(x, y, 1, tirn::toPixel<T>(255.0f * g));
            pOutput->setPixel(x, y, 2, tirn::toPixel<T>(255.0f * b));
        }
}

// Rows outermost. The pixels are visited column by column (x outer, y inner)
// by definition, and that order shows where a scale writes nothing: such a
// pixel repeats the colour of the pixel visited before it. Below row 0 that
// is the pixel above, final by the time its row is done, so the row pass
// copies it at once. A pixel in row 0 takes the colour at the bottom of the
// column to its left, known only after the whole pass: those columns are
// filled from row 0 down to their first written pixel at the end. The
// result is exactly that of the column walk.
template <class T> void CColormap<T>::execFast()
{
    const int w = pInput->width(), h = pInput->height();
    pOutput->resize(w, h, 3);
    if (w < 1 || h < 1)
        return; // no pixel: no colour computed, nothing refused
    checkChannels();
    const int nRead = channelsRead(eType);
    const CImage<T>& in = *pInput;
    CImage<T>& out = *pOutput;
    std::vector<int> firstWritten(w, -1), lastWritten(w, -1);
    // Rows written whole count for every column, folded in at the end.
    int iFirstWholeRow = -1, iLastWholeRow = -1;
    bool bAnyUnwritten = false;
    // The pseudo colour scale a row at a time on SIMD; from a NaN on (which
    // the scale writes nothing for) the row goes pixel by pixel below.
    std::vector<float> rowValues, rowColours;

    withScheme(eType, [&](auto map) {
        for (int y = 0; y < h; ++y) {
            const int iDone = eType == COLORMAP_PSEUDO ? pseudoColourRow(y, rowValues, rowColours) : 0;
            if (iDone == w) {
                if (iFirstWholeRow < 0)
                    iFirstWholeRow = y;
                iLastWholeRow = y;
                continue;
            }
            for (int x = 0; x < iDone; ++x) {
                if (firstWritten[x] < 0)
                    firstWritten[x] = y;
                lastWritten[x] = y;
            }
            // In place the input rows are the output rows: each pixel is read
            // before it is written, as in the column walk.
            const T* pV = in.getChannelPtr(0)->getRowPtr(y);
            const T* pW = nRead > 1 ? in.getChannelPtr(1)->getRowPtr(y) : pV;
            const T* pU = nRead > 2 ? in.getChannelPtr(2)->getRowPtr(y) : pV;
            T* pR = out.getChannelPtr(0)->getRowPtr(y);
            T* pG = out.getChannelPtr(1)->getRowPtr(y);
            T* pB = out.getChannelPtr(2)->getRowPtr(y);
            const T* pAboveR = y > 0 ? out.getChannelPtr(0)->getRowPtr(y - 1) : nullptr;
            const T* pAboveG = y > 0 ? out.getChannelPtr(1)->getRowPtr(y - 1) : nullptr;
            const T* pAboveB = y > 0 ? out.getChannelPtr(2)->getRowPtr(y - 1) : nullptr;
            for (int x = iDone; x < w; ++x) {
                float r, g, b;
                if (map(float(pV[x]), float(pW[x]), float(pU[x]), r, g, b)) {
                    storeColour(pR, pG, pB, x, r, g, b);
                    if (firstWritten[x] < 0)
                        firstWritten[x] = y;
                    lastWritten[x] = y;
                } else if (y > 0) {
                    // Wrong for now if the pixel above waits for the end as
                    // well; the final fill overwrites it then.
                    pR[x] = pAboveR[x];
                    pG[x] = pAboveG[x];
                    pB[x] = pAboveB[x];
                } else {
                    bAnyUnwritten = true;
                }
            }
        }
    });
    if (!bAnyUnwritten)
        return;
    if (iFirstWholeRow >= 0)
        for (int x = 0; x < w; ++x) {
            if (firstWritten[x] < 0 || iFirstWholeRow < firstWritten[x])
                firstWritten[x] = iFirstWholeRow;
            lastWritten[x] = std::max(lastWritten[x], iLastWholeRow);
        }
    // The colour entering column x: the last written pixel of the nearest
    // column to its left that has one; black before the first pixel.
    std::vector<T> carried(3 * std::size_t(w));
    T aCurrent[3] = {T(0), T(0), T(0)};
    for (int x = 0; x < w; ++x) {
        for (int c = 0; c < 3; ++c)
            carried[3 * x + c] = aCurrent[c];
        if (lastWritten[x] >= 0)
            for (int c = 0; c < 3; ++c)
                aCurrent[c] = out.getPixel(x, lastWritten[x], c);
    }
    for (int y = 0; y < h; ++y) {
        bool bRowTouched = false;
        for (int c = 0; c < 3; ++c) {
            T* pOut = out.getChannelPtr(c)->getRowPtr(y);
            for (int x = 0; x < w; ++x) {
                const int iEnd = firstWritten[x] < 0 ? h : firstWritten[x];
                if (y < iEnd) {
                    pOut[x] = carried[3 * x + c];
                    bRowTouched = true;
                }
            }
        }
        if (!bRowTouched)
            break; // every column has its first written pixel above
    }
}

template class CColormap<unsigned char>;
template class CColormap<unsigned short>;
template class CColormap<float>;
